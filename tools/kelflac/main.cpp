// Plays the media framework on the command line: loads the plug-in and shows what it does.
#include <CLI/CLI.hpp>
#include <cerrno>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "android/log.h"
#include "commands.h"
#include "errors.h"
#include "host/binder.h"
#include "host/log.h"
#include "text.h"

namespace kelflac {
namespace {

struct CommandLine {
    std::string plugin = Plugin::defaultPath();
    uid_t uid = 0;
    Options options;
    FileCommand command = nullptr;  ///< Null for check, which takes the files at once.
};

constexpr const char* kFooter = R"(FILE may be -, standard input of up to 64 MiB.

Examples:
  kelflac info song.flac
  kelflac info --json *.flac | jq -r .metadata.title
  kelflac frames --seek 30 --count 5 song.flac
  cat song.flac | kelflac extract - -o untagged.flac
  kelflac check -j 4 music/*.flac
  kelflac plot song.flac -o song.svg

Exit status: 0 all is well; 1 a file was refused or damaged, or could not be read or
written; 2 the command line is wrong; 3 the plug-in can't be used.
)";

void addCommon(CLI::App* app, CommandLine* line) {
    app->set_version_flag("--version", KELFLAC_VERSION);
    app->add_option("--plugin", line->plugin, "The plug-in's library");
    app->add_option_function<std::string>(
           "--source-size", [=](const std::string& v) { line->options.size_known = v == "known"; },
           "Whether the source can tell its size: known or unknown")
        ->check(CLI::IsMember({"known", "unknown"}));
    app->add_option("--uid", line->uid, "The user id that seems to call the plug-in");
    app->add_flag("-v,--verbose", line->options.verbose, "Show the plug-in's log");
    app->require_subcommand(1);
    app->fallthrough();
    app->footer(kFooter);
}

/** A command on several files. */
CLI::App* addCommand(CLI::App* app, CommandLine* line, const char* name, const char* help,
                     const char* json_help) {
    CLI::App* command = app->add_subcommand(name, help);
    command->add_option("FILE", line->options.files, "The files")->required();
    command->add_flag("--json", line->options.json, json_help);
    return command;
}

/** A command on one file that writes one. */
void addConversion(CLI::App* app, CommandLine* line, const char* name, const char* help,
                   FileCommand run) {
    CLI::App* command = app->add_subcommand(name, help);
    command->add_option("FILE", line->options.files, "The file")->required()->expected(1);
    command
        ->add_option("-o,--output", line->options.output, "The file to write, - = standard output")
        ->required();
    command->callback([=] { line->command = run; });
}

void addCommands(CLI::App* app, CommandLine* line) {
    Options* options = &line->options;
    CLI::App* info = addCommand(app, line, "info", "Show the track format and the tags",
                                "Print one JSON object for each file");
    info->add_option("--art", options->art, "Save the album art of the one file here");
    info->callback([=] {
        line->command = showInfo;
        if (options->art == "-") throw CLI::ValidationError("--art", "would mix with the text");
        if (options->art.empty() || options->files.size() == 1) return;
        throw CLI::ValidationError("--art", "takes a single FILE");
    });

    CLI::App* frames =
        addCommand(app, line, "frames", "List the buffers that the track hands out",
                   "Print JSON objects, for each file last one with the end's status");
    frames->add_option("--seek", options->seek, "Seek to a time in seconds first");
    frames->add_option("--count", options->count, "Stop after so many buffers")
        ->check([](const std::string& text) {
            // The conversion would wrap a negative number round.
            const bool positive = text.find('-') == text.npos && text != "0";
            return positive ? "" : "must be 1 or more";
        });
    frames->callback([=] {
        constexpr double kMaxSeconds = 9e12;  // In microseconds it still fits 64 bits.
        line->command = listFrames;
        if (std::abs(options->seek.value_or(0)) <= kMaxSeconds) return;
        throw CLI::ValidationError("--seek", "out of range");
    });

    CLI::App* check_app = addCommand(app, line, "check", "Read, seek, and compare with the files",
                                     "Print one JSON object for each file and one for all");
    check_app->add_option("-j,--jobs", options->jobs, "Files to check at once, at most 256")
        ->check(CLI::Range(1, 256));

    addConversion(app, line, "extract", "Write the stream as a FLAC file without tags", extract);
    addConversion(app, line, "plot", "Draw frame sizes and seeks as SVG, with gnuplot", plot);
}

/** Runs a command on each file; goes on after one that fails. */
int runOnEach(FileCommand command, const Plugin& plugin, const Options& options) {
    int exit_code = kExitOk;
    for (const std::string& file : options.files) {
        try {
            command(plugin, options, file);
        } catch (const FileError& e) {
            reportError(file, e.what());
            exit_code = kExitFile;
        }
    }
    return exit_code;
}

int run(int argc, char** argv) {
    CommandLine line;
    CLI::App app("Runs a media-extractor plug-in on files, as the media framework would.",
                 "kelflac");
    addCommon(&app, &line);
    addCommands(&app, &line);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? kExitOk : kExitUsage;
    }
    host::setLogMinPriority(line.options.verbose ? ANDROID_LOG_VERBOSE : ANDROID_LOG_SILENT);
    host::setCallingUid(line.uid);
    const Plugin plugin(line.plugin);
    if (line.command == nullptr) return check(plugin, line.options);
    return runOnEach(line.command, plugin, line.options);
}

}  // namespace
}  // namespace kelflac

int main(int argc, char** argv) {
    using namespace kelflac;
    int exit_code = kExitFile;
    try {
        // Tags are UTF-8 whatever the user's locale. Without it their other letters are escaped.
        setlocale(LC_CTYPE, "C.UTF-8");
        exit_code = run(argc, argv);
    } catch (const PluginError& e) {
        fprintf(stderr, "kelflac: %s\n", displayText(e.what()).c_str());
        exit_code = kExitPlugin;
    } catch (const std::exception& e) {
        fprintf(stderr, "kelflac: %s\n", displayText(e.what()).c_str());
    }
    if (fflush(stdout) != 0 || ferror(stdout) != 0) {
        reportError("standard output", strerror(errno));
        if (exit_code == kExitOk) exit_code = kExitFile;
    }
    return exit_code;
}
