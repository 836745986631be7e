#include <algorithm>
#include <csignal>
#include <cstdio>

#include "commands.h"
#include "errors.h"
#include "output.h"
#include "plot_script.h"
#include "session.h"
#include "text.h"

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
    std::string frames;  // These three as in plot.gp.
    std::string landings;
    std::string failures;
    int64_t end_us = 0;        ///< Of the last frame.
    int64_t uncovered_us = 0;  ///< The track's time that no frame covers.
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
        if (frame == nullptr) return add(&data->failures, {seconds(asked_us)});
        const int64_t time_us = frame->time_us.value_or(0);
        add(&data->landings,
            {seconds(asked_us), seconds(time_us), static_cast<double>(frame->bytes.size()),
             seconds(time_us - asked_us)});
    });
    return run;
}

void draw(FILE* gnuplot, const std::string& file, const Session& session, const Data& data) {
    const double stated = seconds(session.durationUs());
    const double end = std::max({stated, seconds(data.end_us), 0.001});
    fprintf(gnuplot, "name = %s\nstated = %f\nend = %f\nmost = %d\n", quoted(file).c_str(), stated,
            end, session.maxFrameSize());
    // gnuplot can't draw an empty block of data.
    for (const auto& [name, lines] :
         {std::pair("frames", &data.frames), std::pair("landings", &data.landings),
          std::pair("failures", &data.failures)})
        fprintf(gnuplot, "$%s << END\n%sNaN NaN NaN NaN\nEND\n", name, lines->c_str());
    fputs(kPlotScript, gnuplot);
}

}  // namespace

void plot(const Plugin& plugin, const Options& options, const std::string& file) {
    Session session(plugin, file, options.size_known);
    session.open();
    session.startTrack();
    Data data;
    const Run run = collect(session, &data);
    Output output(options.output, file, options.force);
    signal(SIGPIPE, SIG_IGN);  // Without gnuplot, a write must fail and not end the program.
    const std::string command = "exec gnuplot -d >&" + std::to_string(output.descriptor());
    FILE* gnuplot = popen(command.c_str(), "w");  // NOLINT(cert-env33-c): fixed text, one number.
    if (gnuplot == nullptr) throw FileError("can't run gnuplot");
    draw(gnuplot, file, session, data);
    const int status = pclose(gnuplot);
    if (status != 0) throw FileError("drawing failed; it needs gnuplot (package gnuplot-nox)");
    output.close();
    if (data.uncovered_us > 0 && !options.quiet) {
        reportError(file, "warning: no frames came for " + durationText(data.uncovered_us) +
                              " of the track");
    }
    const std::string& failure = run.failure.empty() ? session.input().failure() : run.failure;
    if (!failure.empty()) throw FileError(failure);
}

}  // namespace kelflac
