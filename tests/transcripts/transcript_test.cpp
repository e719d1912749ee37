#include "player.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace {

const std::filesystem::path folder = TRANSCRIPT_FOLDER;

std::vector<std::string> subjects() {
    std::vector<std::string> names;
    for (const std::filesystem::directory_entry &entry : std::filesystem::directory_iterator(folder))
        if (entry.path().extension() == ".txt" && entry.path().filename() != "CMakeLists.txt")
            names.push_back(entry.path().stem().string());
    std::sort(names.begin(), names.end());
    return names;
}

class Transcript : public ::testing::TestWithParam<std::string> {};

TEST_P(Transcript, HappensAsWritten) {
    const std::string file = (folder / (GetParam() + ".txt")).string();
    std::ifstream text(file);
    ASSERT_TRUE(text.is_open()) << file;
    for (const transcripts::Complaint &complaint : transcripts::play(text))
        ADD_FAILURE_AT(file.c_str(), complaint.line) << complaint.text;
}

INSTANTIATE_TEST_SUITE_P(Exchanges, Transcript, ::testing::ValuesIn(subjects()),
                         [](const ::testing::TestParamInfo<std::string> &subject) { return subject.param; });

}  // namespace
