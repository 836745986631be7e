#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "commands.h"
#include "errors.h"
#include "media/ExtMediaFormatDef.h"
#include "output.h"
#include "session.h"
#include "text.h"
#include "walk.h"

namespace kelflac {
namespace {

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

constexpr double kUsPerSecond = 1e6;

File temporaryFile() {
    File file(tmpfile(), fclose);
    if (file == nullptr) throw FileError(std::string("no temporary file: ") + strerror(errno));
    return file;
}

/** Runs gnuplot from one file into another, so that neither program waits for the other. */
void runGnuplot(FILE* script, FILE* picture) {
    if (fflush(script) != 0 || ferror(script) != 0) {
        throw FileError(std::string("can't write a temporary file: ") + strerror(errno));
    }
    rewind(script);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fileno(script), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, fileno(picture), STDOUT_FILENO);
    char name[] = "gnuplot";
    char no_user_settings[] = "-d";
    char* arguments[] = {name, no_user_settings, nullptr};
    pid_t child = 0;
    const int error = posix_spawnp(&child, name, &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error == ENOENT) throw FileError("drawing needs gnuplot (Debian package gnuplot-nox)");
    if (error != 0) throw FileError(std::string("can't run gnuplot: ") + strerror(error));
    int status = 0;
    if (waitpid(child, &status, 0) != child || status != 0) throw FileError("gnuplot failed");
    rewind(picture);
}

void writePoint(FILE* script, int64_t time_us, size_t size) {
    fprintf(script, "%.6f %zu\n", static_cast<double>(time_us) / kUsPerSecond, size);
}

/** A data block of steps: each frame's start and end. An empty line marks a gap. Adds up the time
    that no frame covers. */
Run writeFrames(FILE* script, Session& session, int64_t* uncovered_us) {
    constexpr int64_t kRoundingUs = 2;
    int64_t end_us = 0;
    const auto noteGap = [&](int64_t next_us) {
        if (next_us - end_us <= kRoundingUs) return;
        *uncovered_us += next_us - end_us;
        fputs("\n", script);
    };
    fputs("$frames << END\n", script);
    Run run = walkFrames(session, std::nullopt, [&](const Frame& frame) {
        const int64_t time_us = frame.time_us.value_or(0);
        noteGap(time_us);
        end_us = time_us + frame.duration_us.value_or(0);
        writePoint(script, time_us, frame.size);
        writePoint(script, end_us, frame.size);
        return true;
    });
    noteGap(session.durationUs());
    fputs("END\n", script);
    return run;
}

/** A data block of lines from the times asked for up to the frames landed on. */
void writeLandings(FILE* script, Session& session) {
    fputs("$landings << END\n", script);
    seekEvenly(session, [&](int64_t asked_us, const Frame* frame) {
        if (frame == nullptr) return;
        writePoint(script, asked_us, 0);
        writePoint(script, frame->time_us.value_or(0), frame->size);
        fputs("\n", script);
    });
    fputs("END\n", script);
}

void writePlot(FILE* script, const std::string& file, const Session& session) {
    int32_t max_size = 0;
    AMediaFormat_getInt32(session.trackFormat(), android::AMEDIAFORMAT_KEY_MAX_FRAME_SIZE,
                          &max_size);
    std::string title = displayText(file);
    std::replace(title.begin(), title.end(), '\'', '`');  // The one character that ends the quotes.
    fprintf(script,
            "set terminal svg size 1200,500 background 'white' noenhanced\n"
            "set encoding utf8\n"
            "set title '%s'\n"
            "set xlabel 'Time (s)'\n"
            "set ylabel 'Frame size (bytes)'\n"
            "set xrange [0:%.6f]\n"
            "set yrange [0:*]\n"
            "set key outside bottom center horizontal\n"
            "plot %d with lines dashtype 2 title 'Stated or assumed maximum', "
            "$frames with lines title 'Frames'%s\n",
            title.c_str(), static_cast<double>(session.durationUs()) / kUsPerSecond, max_size,
            session.canSeek() ? ", $landings with linespoints pointtype 7 pointsize 0.5 "
                                "title 'Seeks: time asked for, frame landed on'"
                              : "");
}

}  // namespace

void plot(const Plugin& plugin, const Options& options, const std::string& file) {
    Session session(plugin, file, options.size_known);
    session.open();
    session.startTrack();
    const File script = temporaryFile();
    int64_t uncovered_us = 0;
    const Run run = writeFrames(script.get(), session, &uncovered_us);
    writeLandings(script.get(), session);
    writePlot(script.get(), file, session);
    const File picture = temporaryFile();
    runGnuplot(script.get(), picture.get());

    Output output(options.output, file);
    char chunk[4096];
    while (const size_t count = fread(chunk, 1, sizeof(chunk), picture.get()))
        output.write(chunk, count);
    if (ferror(picture.get()) != 0) {
        throw FileError(std::string("can't read a temporary file: ") + strerror(errno));
    }
    output.close();
    if (uncovered_us > 0) {
        reportWarning(file, "no frames were found for " + durationText(uncovered_us) +
                                " of the stated duration");
    }
    const std::string& failure = run.failure.empty() ? session.input().failure() : run.failure;
    if (!failure.empty()) throw FileError(failure);
}

}  // namespace kelflac
