#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "commands.h"
#include "errors.h"
#include "host/media_format.h"
#include "output.h"
#include "session.h"
#include "text.h"

namespace kelflac {
namespace {

using host::FormatEntry;
using host::FormatType;

Json jsonOf(const AMediaFormat* format) {
    Json object = Json::object();
    FormatEntry entry{};
    for (size_t i = 0; host::formatEntry(format, i, &entry); ++i) {
        const std::string data(static_cast<const char*>(entry.data), entry.size);
        Json& value = object[entry.key];
        if (entry.type == FormatType::kString) {
            value = data;
        } else if (entry.type != FormatType::kBuffer) {
            value = entry.number;
        } else if (strcmp(entry.key, AMEDIAFORMAT_KEY_ALBUMART) == 0) {
            value = {{"bytes", entry.size}, {"type", pictureFormat(data)}};
        } else {
            value = hexText(data);
        }
    }
    return object;
}

/** A label for a key: "Duration" for "durationUs", "Max input size" for "max-input-size". */
std::string labelOf(std::string key) {
    static const std::pair<const char*, const char*> kLabels[] = {
        {"durationUs", "Duration"},    {"csd-0", "Codec data"},        {"mime", "MIME type"},
        {"albumart", "Album art"},     {"cdtracknum", "Track number"}, {"track", "Track format"},
        {"metadata", "File metadata"}, {"in_file", "In the file"}};
    for (const auto& [known, label] : kLabels) {
        if (key == known) return label;
    }
    std::replace(key.begin(), key.end(), '-', ' ');
    key[0] = static_cast<char>(toupper(static_cast<unsigned char>(key[0])));
    return key;
}

/** Prints a value and its parts: `most` bytes of a text, `most` / 8 elements of a list. */
// NOLINTNEXTLINE(misc-no-recursion): no deeper than the program's own objects, five levels.
void show(const std::string& key, const Json& value, int depth, size_t most) {
    constexpr int kLabelWidth = 20;
    const std::string label = std::string(static_cast<size_t>(depth), ' ') + labelOf(key);
    if (value.is_object()) {
        puts(label.c_str());
        for (const auto& [name, part] : value.items()) show(name, part, depth + 1, most);
    } else if (value.is_array()) {
        const size_t count = std::min(value.size(), std::max<size_t>(most / 8, 1));
        for (size_t i = 0; i < count; ++i)
            show(key + " " + std::to_string(i + 1), value[i], depth, most);
        if (count < value.size()) {
            printf("%s: %zu more, --full shows them\n", label.c_str(), value.size() - count);
        }
    } else {
        std::string text = value.is_string() ? value.get<std::string>() : value.dump();
        if (key == "durationUs") text = durationText(value);
        const size_t size = text.size();
        if (size > most) text.resize(most);
        printf("%-*s %s", kLabelWidth, label.c_str(), displayText(text).c_str());
        if (size > most) printf("... (%zu bytes)", size);
        puts("");
    }
}

void saveArt(Session& session, const Options& options, const std::string& file) {
    std::string art;
    if (*options.art > 0) {
        Original original(file);
        art = pictureInFile(original, *options.art);
    } else {
        session.open();
        art = Session::bufferOf(session.fileMeta(), AMEDIAFORMAT_KEY_ALBUMART);
        if (art.empty()) throw FileError("has no album art");
    }
    Output output(options.output, file, options.force);
    output.write(art);
    output.close();
}

}  // namespace

void showInfo(const Plugin& plugin, const Options& options, const std::string& file) {
    Session session(plugin, file, options.size_known);
    if (options.art) return saveArt(session, options, file);
    std::string error;
    try {
        session.open();
        error = session.input().failure();
    } catch (const FileError& e) {
        error = e.what();
    }
    Json object = {{"file", file}, {"claimed", session.confidence().has_value()}};
    // Rounded, because a float's 0.7 has more digits as a double.
    if (auto value = session.confidence()) object["confidence"] = std::round(*value * 1e3) / 1e3;
    if (session.isOpen()) {
        object["name"] = session.name();
        object["flags"] = session.flags();
        object["track"] = jsonOf(session.trackFormat());
        object["metadata"] = jsonOf(session.fileMeta());
    }
    Original original(file);
    object["in_file"] = inFile(original);
    if (!error.empty()) object["error"] = error;
    constexpr size_t kMost = 80;
    const bool shorten = !options.full && isatty(STDOUT_FILENO) != 0;
    if (options.json) {
        printJson(object);
    } else {
        puts(displayText(file).c_str());
        for (const auto& [key, value] : object.items()) {
            if (key != "file") show(key, value, 1, shorten ? kMost : std::string::npos);
        }
    }
    if (!error.empty()) throw FileError(error);
}

}  // namespace kelflac
