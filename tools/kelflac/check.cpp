#include <algorithm>
#include <atomic>
#include <cstdio>
#include <mutex>
#include <thread>

#include "commands.h"
#include "errors.h"
#include "original.h"
#include "progress.h"
#include "session.h"
#include "text.h"
#include "walk.h"

namespace kelflac {
namespace {

using Faults = std::vector<std::string>;

/** Reads to the end and follows the buffers through the file, from the metadata's end on. */
Run checkReading(Session& session, Original& original, Json* record, Faults* faults) {
    off64_t next = original.audioStart();
    off64_t left_out = 0;
    uint64_t bytes = 0;
    bool found = true;
    Run run = session.read(std::nullopt, [&](const Frame& frame) {
        const auto at = original.find(frame, next);
        found = at.has_value();
        if (!found) return false;
        left_out += *at - next;
        bytes += frame.size;
        next = *at + static_cast<off64_t>(frame.size);
        return true;
    });
    if (found) left_out += std::max<off64_t>(original.size() - next, 0);
    record->update({{"buffers", run.buffers},
                    {"pieces", run.pieces},
                    {"refused", run.refused},
                    {"bytes", bytes},
                    {"left_out", left_out}});
    if (!run.failure.empty()) faults->push_back(run.failure);
    if (!found)
        faults->push_back("a buffer is not in the file behind byte " + std::to_string(next));
    if (left_out > 0) faults->push_back(std::to_string(left_out) + " bytes of audio left out");
    return run;
}

void checkSeeks(Session& session, Original& original, Json* record, Faults* faults) {
    const off64_t start = original.audioStart();
    uint64_t seeks = 0;
    uint64_t lost = 0;
    uint64_t foreign = 0;
    int64_t off_us = 0;  // The farthest.
    seekEvenly(session, [&](int64_t asked_us, const Frame* frame) {
        ++seeks;
        if (frame == nullptr) {
            if (asked_us < session.durationUs()) ++lost;  // At the end there may be none.
            return;
        }
        const int64_t time_us = frame->time_us.value_or(0);
        const int64_t end_us = time_us + frame->duration_us.value_or(0);
        off_us = std::max({off_us, time_us - asked_us, asked_us - end_us});
        if (!original.find(*frame, start)) ++foreign;
    });
    constexpr int64_t kFarUs = 1'000'000;  // What nobody takes for the place asked for.
    record->update({{"seeks", seeks}, {"seeks_lost", lost}, {"seeks_off_us", off_us}});
    if (lost > 0) faults->push_back("no frame at " + std::to_string(lost) + " of the seeks");
    if (off_us > kFarUs) faults->push_back("seeks land up to " + durationText(off_us) + " off");
    if (foreign > 0)
        faults->push_back("foreign bytes at " + std::to_string(foreign) + " of the seeks");
}

/** Checks one file. The record is what --json prints. */
Json checkFile(const Plugin& plugin, const std::string& file, bool size_known) {
    Json record = {{"file", file}, {"ok", false}};
    Faults faults;
    try {
        Session session(plugin, file, size_known);
        Original original(file);
        session.open();
        session.startTrack();
        const Run run = checkReading(session, original, &record, &faults);
        checkSeeks(session, original, &record, &faults);
        const auto missing_us = missingAudio(session, run.end_us);
        record["truncated"] = truncatedJson(missing_us);
        if (missing_us.value_or(0) > 0) faults.push_back(truncationText(missing_us));
    } catch (const std::exception& e) {
        faults.emplace_back(e.what());
    }
    record["ok"] = faults.empty();
    record["faults"] = faults;
    return record;
}

void printForPeople(const Json& record) {
    std::string text;
    if (record["ok"]) {
        text = record["bytes"].dump() + " bytes, " + record["buffers"].dump() + " buffers";
        if (record["pieces"] > 0) text += " (" + record["pieces"].dump() + " of them pieces)";
        text += ", " + record["seeks"].dump() + " seeks at most " +
                durationText(record["seeks_off_us"]) + " off";
    }
    for (const std::string fault : record["faults"]) text += (text.empty() ? "" : "; ") + fault;
    printf("%-4s %s: %s\n", record["ok"] ? "ok" : "FAIL",
           displayText(record["file"].get<std::string>()).c_str(), displayText(text).c_str());
}

}  // namespace

int check(const Plugin& plugin, const Options& options) {
    const size_t count = options.files.size();
    std::atomic<size_t> taken{0};
    std::mutex lock;  // Guards what follows.
    std::vector<Json> records(count);
    size_t done = 0;
    size_t printed = 0;
    size_t ok = 0;
    ProgressBar bar(!options.verbose);
    const auto work = [&] {
        for (size_t i = taken++; i < count; i = taken++) {
            Json record = checkFile(plugin, options.files[i], options.size_known);
            const std::lock_guard<std::mutex> held(lock);
            records[i] = std::move(record);
            bar.wipe();
            // In the order of the files, whichever ends first.
            for (; printed < count && !records[printed].is_null(); ++printed) {
                options.json ? printJson(records[printed]) : printForPeople(records[printed]);
                if (records[printed]["ok"]) ++ok;
            }
            fflush(stdout);
            bar.update(++done, count);
        }
    };
    bar.update(0, count);
    std::vector<std::thread> threads;
    for (size_t i = 1; i < std::min<size_t>(options.jobs, count); ++i) threads.emplace_back(work);
    work();
    for (std::thread& thread : threads) thread.join();
    bar.wipe();
    if (options.json) printJson({{"files", count}, {"ok", ok}, {"failed", count - ok}});
    if (!options.json) printf("%zu files: %zu ok, %zu failed\n", count, ok, count - ok);
    return ok == count ? kExitOk : kExitFile;
}

}  // namespace kelflac
