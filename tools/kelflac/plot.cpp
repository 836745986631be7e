#include <sys/wait.h>

#include <algorithm>
#include <cstdio>

#include "commands.h"
#include "errors.h"
#include "media/ExtMediaFormatDef.h"
#include "output.h"
#include "session.h"
#include "text.h"
#include "walk.h"

namespace kelflac {
namespace {

double seconds(int64_t us) {
    return static_cast<double>(us) / 1e6;
}

/** Text between gnuplot's single quotes. */
std::string quoted(const std::string& text) {
    std::string out = "'";
    for (const char c : displayText(text)) out += c == '\'' ? "''" : std::string(1, c);
    return out + "'";
}

/** What is drawn, as gnuplot's data: lines of numbers. */
struct Data {
    std::string frames;    ///< Each frame's start and end with its size; an empty line is a gap.
    std::string landings;  ///< Time asked for, frame landed on, its size, how far off it is.
    std::string failed;    ///< Times asked for where no frame was found.
    int64_t end_us = 0;    ///< Of the last frame.
    int64_t uncovered_us = 0;  ///< Of the stated duration, without a frame.
};

void add(std::string* lines, std::initializer_list<double> numbers) {
    for (const double number : numbers) *lines += std::to_string(number) + " ";
    *lines += "\n";
}

/** Reads and seeks through the track. */
Run collect(Session& session, Data* data) {
    constexpr int64_t kRoundingUs = 2;
    const auto noteGap = [&](int64_t next_us) {
        if (next_us - data->end_us <= kRoundingUs) return;
        data->uncovered_us += next_us - data->end_us;
        data->frames += "\n";
    };
    Run run = walkFrames(session, std::nullopt, [&](const Frame& frame) {
        const int64_t time_us = frame.time_us.value_or(0);
        noteGap(time_us);
        data->end_us = time_us + frame.duration_us.value_or(0);
        const auto size = static_cast<double>(frame.bytes.size());
        for (const int64_t us : {time_us, data->end_us}) add(&data->frames, {seconds(us), size});
        return true;
    });
    noteGap(session.durationUs());
    seekEvenly(session, [&](int64_t asked_us, const Frame* frame) {
        if (frame == nullptr) return add(&data->failed, {seconds(asked_us), 0});
        const int64_t time_us = frame->time_us.value_or(0);
        add(&data->landings,
            {seconds(asked_us), seconds(time_us), static_cast<double>(frame->bytes.size()),
             seconds(time_us - asked_us)});
    });
    return run;
}

/** Colours that the colour-blind tell apart; lines and points differ in shape too. */
constexpr const char* kStyle = R"(set terminal svg size 1200,760 background 'white' noenhanced
set encoding utf8
set style line 1 linecolor rgb '#56B4E9'
set style line 2 linecolor rgb '#000000' dashtype 2
set style line 3 linecolor rgb '#D55E00' pointtype 7 pointsize 0.6
set style line 4 linecolor rgb '#CC79A7' pointtype 2 pointsize 1.4 linewidth 2
set multiplot layout 2,1
set lmargin 12
set key outside bottom center horizontal
set xlabel 'Time (s)'
)";

void draw(FILE* gnuplot, const std::string& file, const Session& session, const Data& data) {
    int32_t most = 0;
    AMediaFormat_getInt32(session.trackFormat(), android::AMEDIAFORMAT_KEY_MAX_FRAME_SIZE, &most);
    const double stated = seconds(session.durationUs());
    const double end = std::max(stated, seconds(data.end_us));
    fprintf(gnuplot, "$frames << END\n%sEND\n$landings << END\n%sEND\n$failed << END\n%sEND\n%s",
            data.frames.c_str(), data.landings.c_str(), data.failed.c_str(), kStyle);
    fprintf(gnuplot, "set xrange [0:%f]\nset title %s\n", end > 0 ? end : 1, quoted(file).c_str());
    if (end > stated + 0.001) {
        fprintf(gnuplot,
                "set object 1 rect from %f,graph 0 to %f,graph 1 behind fillcolor rgb '#E8E8E8' "
                "fillstyle solid noborder\n"
                "set label 1 'past the stated end' at %f,graph 0.95 right\n",
                stated, end, end);
    }
    const char* failed = data.failed.empty() ? ""
                                             : ", $failed with points linestyle 4 title "
                                               "'Seeks that find no frame'";
    fprintf(gnuplot,
            "set ylabel 'Frame size (bytes)'\nset yrange [0:*]\n"
            "plot $frames with lines linestyle 1 title 'Frames', "
            "%d with lines linestyle 2 title 'Stated or assumed maximum'%s%s\n",
            most,
            data.landings.empty() ? ""
                                  : ", $landings using 2:3 with points linestyle 3 title "
                                    "'Frames that seeks land on'",
            failed);
    fprintf(gnuplot,
            "unset title\nunset label 1\nset ylabel 'Landing, too late (s)'\n"
            "set yrange [*:*]\nplot 0 with lines linestyle 2 notitle%s%s\n",
            data.landings.empty() ? ""
                                  : ", $landings using 1:4 with impulses linestyle 3 notitle, "
                                    "$landings using 1:4 with points linestyle 3 title "
                                    "'Frame landed on, after the time asked for'",
            failed);
}

}  // namespace

void plot(const Plugin& plugin, const Options& options, const std::string& file) {
    Session session(plugin, file, options.size_known);
    session.open();
    session.startTrack();
    Data data;
    const Run run = collect(session, &data);
    Output output(options.output, file, options.force);
    const std::string command = "exec gnuplot -d >&" + std::to_string(output.descriptor());
    FILE* gnuplot = popen(command.c_str(), "w");
    if (gnuplot == nullptr) throw FileError("can't run gnuplot");
    draw(gnuplot, file, session, data);
    const int status = pclose(gnuplot);
    constexpr int kNotFound = 127;  // By the shell.
    if (WIFEXITED(status) && WEXITSTATUS(status) == kNotFound) {
        throw FileError("drawing needs gnuplot (Debian package gnuplot-nox)");
    }
    if (status != 0) throw FileError("gnuplot failed");
    output.close();
    if (data.uncovered_us > 0 && !options.quiet) {
        reportError(file, "warning: no frames were found for " + durationText(data.uncovered_us) +
                              " of the stated duration");
    }
    const std::string& failure = run.failure.empty() ? session.input().failure() : run.failure;
    if (!failure.empty()) throw FileError(failure);
}

}  // namespace kelflac
