#include "host/text/text_encoding.h"

#include "host/text/words.h"

#include <iconv.h>

#include <array>
#include <cerrno>
#include <utility>

namespace kelpo {
namespace {

constexpr std::string_view utf8_mark = "\xEF\xBB\xBF", little_endian_mark = "\xFF\xFE", big_endian_mark = "\xFE\xFF";

bool begins_with(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

class Converter {
public:
    explicit Converter(const char *from) : handle_(iconv_open("UTF-8", from)) {}
    ~Converter() {
        if (is_open())
            iconv_close(handle_);
    }
    Converter(const Converter &) = delete;
    Converter &operator=(const Converter &) = delete;

    // Nothing when a part of it is not text in that encoding, or the system does not know the encoding.
    std::optional<std::string> converted(std::string_view bytes) {
        if (!is_open())
            return std::nullopt;
        std::string text;
        std::array<char, 4096> piece;
        // iconv takes its input by a pointer that could write to it, and does not.
        char *from = const_cast<char *>(bytes.data());
        std::size_t left = bytes.size();
        while (left > 0) {
            char *to = piece.data();
            std::size_t room = piece.size();
            const std::size_t result = iconv(handle_, &from, &left, &to, &room);
            text.append(piece.data(), piece.size() - room);
            if (result == static_cast<std::size_t>(-1) && errno != E2BIG)
                return std::nullopt;
        }
        return text;
    }

private:
    bool is_open() const {
        // How iconv says that it cannot.
        // NOLINTNEXTLINE(performance-no-int-to-ptr)
        return handle_ != reinterpret_cast<iconv_t>(-1);
    }

    iconv_t handle_;
};

DecodedText decoded_as(TextEncoding encoding, const char *name, std::string_view bytes) {
    auto text = Converter(name).converted(bytes);
    if (!text)
        return {"", TextEncoding::unknown};
    return {std::move(*text), encoding};
}

}  // namespace

DecodedText decoded(std::string bytes) {
    const std::string_view all = bytes;
    if (begins_with(all, little_endian_mark))
        return decoded_as(TextEncoding::utf16, "UTF-16LE", all.substr(little_endian_mark.size()));
    if (begins_with(all, big_endian_mark))
        return decoded_as(TextEncoding::utf16, "UTF-16BE", all.substr(big_endian_mark.size()));
    if (is_utf8(all)) {
        if (begins_with(all, utf8_mark))
            bytes.erase(0, utf8_mark.size());
        return {std::move(bytes), TextEncoding::utf8};
    }
    return decoded_as(TextEncoding::windows_1252, "WINDOWS-1252", bytes);
}

}  // namespace kelpo
