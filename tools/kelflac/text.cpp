#include "text.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <cwctype>
#include <iterator>

namespace kelflac {
namespace {

/** Whether `c` is a control, a line separator or a mark of direction, or not a character. */
bool isUnsafe(wchar_t c) {
    return c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF) || iswcntrl(static_cast<wint_t>(c)) != 0 ||
           c == 0x061C || c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E) ||
           (c >= 0x2066 && c <= 0x2069);
}

}  // namespace

std::string displayText(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        wchar_t character = L'\0';
        mbstate_t start{};
        size_t bytes = mbrtowc(&character, text.data(), text.size(), &start);
        const bool malformed = bytes > text.size();
        if (malformed || bytes == 0) bytes = 1;  // mbrtowc gives 0 for a NUL.
        if (!malformed && !isUnsafe(character)) {
            out += text.substr(0, bytes);
        } else if (text[0] == '\n') {
            out += "\\n";
        } else {
            for (size_t i = 0; i < bytes; ++i) out += "\\x" + hexText(text.substr(i, 1));
        }
        text.remove_prefix(bytes);
    }
    return out;
}

std::string hexText(std::string_view bytes) {
    constexpr const char* kDigits = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) text += {kDigits[byte >> 4 & 15], kDigits[byte & 15]};
    return text;
}

std::string durationText(int64_t us) {
    const auto size = us < 0 ? 0 - static_cast<uint64_t>(us) : static_cast<uint64_t>(us);
    const unsigned long long ms = size / 1000;
    const unsigned long long hours = ms / 3'600'000;
    char text[48];
    const int start = hours > 0
                          ? snprintf(text, sizeof(text), "%llu:%02llu", hours, ms / 60'000 % 60)
                          : snprintf(text, sizeof(text), "%llu", ms / 60'000);
    snprintf(text + start, sizeof(text) - static_cast<size_t>(start), ":%02llu.%03llu",
             ms / 1000 % 60, ms % 1000);
    return (us < 0 ? "-" : "") + std::string(text);
}

std::optional<int64_t> timeFromText(const std::string& text) {
    constexpr double kMaxSeconds = 9e12;  // In microseconds it still fits 64 bits.
    const bool negative = text.substr(0, 1) == "-";
    double seconds = 0;
    const char* at = text.c_str() + (negative ? 1 : 0);
    for (int parts = 0; parts < 3; ++parts) {
        char* end = nullptr;
        if (isdigit(static_cast<unsigned char>(*at)) == 0) return std::nullopt;
        seconds = seconds * 60 + strtod(at, &end);
        if (*end != ':') {
            if (*end != '\0' || !(seconds <= kMaxSeconds)) return std::nullopt;
            return std::llround((negative ? -seconds : seconds) * 1e6);
        }
        at = end + 1;
    }
    return std::nullopt;
}

std::string statusText(media_status_t status) {
    // From AMEDIA_ERROR_BASE downwards.
    constexpr const char* kErrors[] = {
        "UNKNOWN",           "MALFORMED",         "UNSUPPORTED",   "INVALID_OBJECT",
        "INVALID_PARAMETER", "INVALID_OPERATION", "END_OF_STREAM", "IO"};
    if (status == AMEDIA_OK) return "AMEDIA_OK (0)";
    const auto error = static_cast<size_t>(AMEDIA_ERROR_BASE - status);
    const std::string name =
        error < std::size(kErrors) ? "AMEDIA_ERROR_" + std::string(kErrors[error]) : "status";
    return name + " (" + std::to_string(static_cast<int>(status)) + ")";
}

const char* pictureFormat(std::string_view picture) {
    using namespace std::string_view_literals;
    const auto has = [=](std::string_view mark, size_t at = 0) {
        return picture.size() >= at && picture.substr(at, mark.size()) == mark;
    };
    if (has("\x89PNG\r\n\x1A\n"sv)) return "PNG";
    if (has("\xFF\xD8\xFF"sv)) return "JPEG";
    if (has("GIF87a"sv) || has("GIF89a"sv)) return "GIF";
    if (has("RIFF"sv) && has("WEBP"sv, 8)) return "WebP";
    if (has("ftypavif"sv, 4) || has("ftypavis"sv, 4)) return "AVIF";
    return has("BM"sv) ? "BMP" : "unknown";
}

void reportError(const std::string& file, const std::string& reason) {
    fflush(stdout);  // So that the two streams keep their order on one terminal.
    fprintf(stderr, "kelflac: %s: %s\n", displayText(file).c_str(), displayText(reason).c_str());
}

}  // namespace kelflac
