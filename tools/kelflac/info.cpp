#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "commands.h"
#include "errors.h"
#include "host/media_format.h"
#include "image.h"
#include "media/ExtMediaFormatDef.h"
#include "output.h"
#include "session.h"
#include "text.h"
#include "walk.h"

namespace kelflac {
namespace {

using host::FormatEntry;
using host::FormatType;

bool isKey(const FormatEntry& entry, const char* key) {
    return strcmp(entry.key, key) == 0;
}

std::string bytesOf(const FormatEntry& entry) {
    return {static_cast<const char*>(entry.data), entry.size};
}

Json jsonOfArt(const std::string& bytes) {
    const Image image = describeImage(bytes);
    return {{"bytes", bytes.size()},
            {"type", image.type},
            {"width", image.width},
            {"height", image.height}};
}

std::string artText(const std::string& bytes) {
    const Image image = describeImage(bytes);
    const std::string pixels =
        std::to_string(image.width) + "x" + std::to_string(image.height) + " pixels, ";
    return image.type + ", " + (image.width > 0 && image.height > 0 ? pixels : "") +
           std::to_string(bytes.size()) + " bytes";
}

Json jsonOf(const AMediaFormat* format) {
    Json object = Json::object();
    FormatEntry entry{};
    for (size_t i = 0; host::formatEntry(format, i, &entry); ++i) {
        Json& value = object[entry.key];
        if (entry.type == FormatType::kString) {
            value = bytesOf(entry);
        } else if (entry.type != FormatType::kBuffer) {
            value = entry.number;
        } else if (isKey(entry, AMEDIAFORMAT_KEY_CSD_0)) {
            value = hexText(bytesOf(entry));
        } else {
            value = jsonOfArt(bytesOf(entry));
        }
    }
    return object;
}

void printAsJson(const std::string& file, const Session& session, std::optional<int64_t> missing_us,
                 const std::string& error) {
    Json object = {{"file", file}, {"claimed", session.confidence().has_value()}};
    // Rounded: a float's 0.7 is not a double's.
    if (auto value = session.confidence()) object["confidence"] = std::round(*value * 1e3) / 1e3;
    if (session.isOpen()) {
        object["name"] = session.name();
        object["flags"] = session.flags();
        object["track"] = jsonOf(session.trackFormat());
        object["metadata"] = jsonOf(session.fileMeta());
        object["truncated"] = truncatedJson(missing_us);
    }
    if (!error.empty()) object["error"] = error;
    printJson(object);
}

std::string flagsText(uint32_t flags) {
    // From bit 0 upwards.
    constexpr const char* kNames[] = {"seek backward", "seek forward", "pause", "seek"};
    std::string text;
    for (size_t bit = 0; bit < std::size(kNames); ++bit) {
        if ((flags >> bit & 1U) == 0) continue;
        text += (text.empty() ? "can " : ", ") + std::string(kNames[bit]);
    }
    return text.empty() ? "none" : text;
}

struct Label {
    const char* key;
    std::string text;
    const char* unit;
};

/** How to show a key. Most are their own labels. */
Label labelOf(const char* key) {
    static const Label kLabels[] = {
        {AMEDIAFORMAT_KEY_MIME, "Type", ""},
        {AMEDIAFORMAT_KEY_DURATION, "Duration", ""},
        {AMEDIAFORMAT_KEY_SAMPLE_RATE, "Sample rate", " Hz"},
        {AMEDIAFORMAT_KEY_MAX_INPUT_SIZE, "Max input size", " bytes"},
        {android::AMEDIAFORMAT_KEY_MIN_BLOCK_SIZE, "Min block size", " samples"},
        {android::AMEDIAFORMAT_KEY_MAX_BLOCK_SIZE, "Max block size", " samples"},
        {android::AMEDIAFORMAT_KEY_MIN_FRAME_SIZE, "Min frame size", " bytes"},
        {android::AMEDIAFORMAT_KEY_MAX_FRAME_SIZE, "Max frame size", " bytes"},
        {AMEDIAFORMAT_KEY_CSD_0, "Codec data", ""},
        {AMEDIAFORMAT_KEY_PCM_ENCODING, "PCM encoding", ""},
        {AMEDIAFORMAT_KEY_ALBUMART, "Album art", ""},
        {AMEDIAFORMAT_KEY_ALBUMARTIST, "Album artist", ""},
        {AMEDIAFORMAT_KEY_CDTRACKNUMBER, "Track number", ""},
        {AMEDIAFORMAT_KEY_DISCNUMBER, "Disc number", ""},
        {android::AMEDIAFORMAT_KEY_WRITER, "Lyricist", ""},
    };
    for (const Label& label : kLabels) {
        if (strcmp(label.key, key) == 0) return label;
    }
    Label label{key, key, ""};
    std::replace(label.text.begin(), label.text.end(), '-', ' ');
    label.text[0] = static_cast<char>(toupper(static_cast<unsigned char>(label.text[0])));
    return label;
}

std::string valueText(const FormatEntry& entry, const char* unit) {
    constexpr int64_t kPcm16Bit = 2;
    constexpr int64_t kPcmFloat = 4;
    if (entry.type == FormatType::kString) return bytesOf(entry);
    if (entry.type == FormatType::kBuffer) {
        return isKey(entry, AMEDIAFORMAT_KEY_ALBUMART) ? artText(bytesOf(entry))
                                                       : std::to_string(entry.size) + " bytes";
    }
    if (isKey(entry, AMEDIAFORMAT_KEY_DURATION)) return durationText(entry.number);
    if (isKey(entry, AMEDIAFORMAT_KEY_PCM_ENCODING)) {
        if (entry.number == kPcm16Bit) return "16-bit";
        if (entry.number == kPcmFloat) return "float";
    }
    return std::to_string(entry.number) + unit;
}

void printLine(const std::string& label, const std::string& value) {
    constexpr int kLabelWidth = 20;
    printf("  %-*s %s\n", kLabelWidth, label.c_str(), displayText(value).c_str());
}

void printFormat(const AMediaFormat* format) {
    FormatEntry entry{};
    for (size_t i = 0; host::formatEntry(format, i, &entry); ++i) {
        const Label label = labelOf(entry.key);
        printLine(label.text, valueText(entry, label.unit));
    }
}

void printForPeople(const std::string& file, const Session& session) {
    printf("%s\n", displayText(file).c_str());
    const long percent = std::lround(session.confidence().value_or(0) * 100);
    printLine("Claimed", session.confidence()
                             ? "yes, with a confidence of " + std::to_string(percent) + "%"
                             : "no");
    if (!session.isOpen()) return;
    printLine("Extractor", session.name());
    printLine("Flags", flagsText(session.flags()));
    printf(" Track\n");
    printFormat(session.trackFormat());
    printf(" File\n");
    printFormat(session.fileMeta());
}

void saveArt(const Session& session, const std::string& path, const std::string& file) {
    void* art = nullptr;
    size_t size = 0;
    if (!AMediaFormat_getBuffer(session.fileMeta(), AMEDIAFORMAT_KEY_ALBUMART, &art, &size)) {
        throw FileError("has no album art");
    }
    Output output(path, file);
    output.write(art, size);
    output.close();
}

}  // namespace

void showInfo(const Plugin& plugin, const Options& options, const std::string& file) {
    Session session(plugin, file, options.size_known);
    std::string error;
    std::optional<int64_t> missing_us;
    try {
        session.open();
        if (!options.art.empty()) saveArt(session, options.art, file);
        session.startTrack();
        missing_us = missingAudio(session, std::nullopt);
        error = session.input().failure();
    } catch (const FileError& e) {
        error = e.what();
    }
    options.json ? printAsJson(file, session, missing_us, error) : printForPeople(file, session);
    reportWarning(file, truncationText(missing_us));
    if (!error.empty()) throw FileError(error);
}

}  // namespace kelflac
