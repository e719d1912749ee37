/// \file
/// Runs a fuzz target with every file of the folders that are named, as the fuzzer's own main does, for builds without
/// it. The name of a file is printed before it is run, so that the last one printed is the one that failed.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace {

std::vector<std::filesystem::path> files_in(const std::filesystem::path &folder) {
    std::vector<std::filesystem::path> files;
    if (std::filesystem::is_directory(folder))
        for (const auto &entry : std::filesystem::directory_iterator(folder))
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<std::uint8_t> content_of(const std::filesystem::path &file) {
    std::ifstream in(file, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    return std::vector<std::uint8_t>(text.begin(), text.end());
}

}  // namespace

int main(int count, char **arguments) {
    std::size_t run = 0;
    for (int i = 1; i < count; ++i) {
        for (const std::filesystem::path &file : files_in(arguments[i])) {
            std::cout << file.string() << std::endl;
            const std::vector<std::uint8_t> bytes = content_of(file);
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
            ++run;
        }
    }
    std::cout << run << " cases\n";
    return run > 0 ? 0 : 1;
}
