#include <cinttypes>
#include <cstdio>
#include <mutex>
#include <thread>

#include "commands.h"
#include "errors.h"
#include "names.h"
#include "progress.h"
#include "text.h"

namespace kelflac {
namespace {

/** A verdict with its reasons. */
std::string verdictText(const Json& verdict) {
    std::string text = verdict["verdict"];
    const char* separator = ": ";
    for (const Json& reason : verdict["reasons"]) {
        text += separator + reason["text"].get<std::string>();
        if (reason.contains("byte")) text += ", byte " + reason["byte"].dump();
        if (reason.contains("seconds")) {
            text +=
                ", " + durationText(static_cast<int64_t>(reason["seconds"].get<double>() * 1e6));
        }
        if (reason["count"] > 1) text += " (first of " + reason["count"].dump() + ")";
        separator = "; ";
    }
    return text;
}

std::string textFor(const Json& record) {
    if (record.contains("error")) return record["error"];
    const Json& plugin = record["plugin"];
    std::string text =
        "plug-in " + verdictText(plugin) + " | file " + verdictText(record["stream"]);
    if (!record["ok"]) return text;
    text += " | " + plugin["bytes"].dump() + " bytes, " + plugin["buffers"].dump() + " buffers";
    if (plugin["pieces"] > 0) text += " (" + plugin["pieces"].dump() + " of them pieces)";
    return text + ", " + plugin["seeks"].dump() + " seeks, the farthest " +
           durationText(plugin["seeks_off_us"]) + " off" +
           (plugin["seeks_judged"] ? "" : " (not judged)");
}

void print(const Json& record, const Options& options) {
    if (options.json) return printJson(record);
    if (record["ok"] && options.quiet) return;
    const std::string file = record["file"];
    printf("%-4s %s: %s\n", record["ok"] ? "ok" : "FAIL", displayText(file).c_str(),
           displayText(textFor(record)).c_str());
}

}  // namespace

int check(const Plugin& plugin, const Options& options, Names& names) {
    std::mutex lock;  // Guards the next four variables, and the output.
    uint64_t done = 0;
    uint64_t bytes = 0;
    uint64_t ok = 0;
    Progress progress(!options.verbose && !options.quiet, 0);
    const auto work = [&] {
        while (const auto file = names.next()) {
            Json record = {{"file", *file}, {"ok", false}};
            try {
                record = judge(plugin, options, *file);
            } catch (const std::exception& e) {
                record["error"] = e.what();
            }
            const std::lock_guard<std::mutex> held(lock);
            progress.wipe();
            print(record, options);
            fflush(stdout);
            if (record["ok"]) ++ok;
            bytes += record.value("size", uint64_t{0});
            progress.update(bytes, ", " + std::to_string(++done) + " files");
        }
    };
    std::vector<std::thread> threads;
    for (size_t i = 1; i < options.jobs; ++i) threads.emplace_back(work);
    work();
    for (std::thread& thread : threads) thread.join();
    progress.wipe();
    if (!options.json && !options.quiet) {
        printf("%" PRIu64 " files: %" PRIu64 " ok, %" PRIu64 " failed\n", done, ok, done - ok);
    }
    return ok == done && !names.failed() ? kExitOk : kExitFile;
}

}  // namespace kelflac
