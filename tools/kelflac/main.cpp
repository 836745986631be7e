// Plays the media framework on the command line: loads the plug-in and shows what it does.
#include <CLI/CLI.hpp>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <filesystem>

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
    std::vector<std::string> files;
    std::string list;  ///< A file with a list of FILEs.
    bool nul = false;  ///< Each name in it ends with a NUL.
    Options options;
    FileCommand command = nullptr;  ///< Null for check, which takes several files at once.
};

constexpr const char* kFooter =
    R"(FILE may be -, standard input of up to 64 MiB. FILE... may be a folder: all *.flac below it.

Examples:
  kelflac info song.flac
  kelflac check -j 4 --json music | jq -r 'select(.ok | not).file'

Exit status: 0 no failure; 1 a failure, for example a file is refused or damaged, or the plug-in
is wrong about one; 2 the command line is wrong; 3 the plug-in can't be used.
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
    app->add_flag("-q,--quiet", line->options.quiet, "No progress, totals, warnings, ok lines");
    app->require_subcommand(1);
    app->fallthrough();
    app->footer(kFooter);
}

/** A command on several files. */
CLI::App* addCommand(CLI::App* app, CommandLine* line, const char* name, const char* help,
                     const char* json_help) {
    CLI::App* command = app->add_subcommand(name, help);
    command->add_option("FILE", line->files, "The files, or folders of them");
    command->add_option("--files-from", line->list,
                        "A list of FILEs, one a line; - = standard input");
    command->add_flag("-0,--null", line->nul, "Names in that list end with a NUL");
    command->add_flag("--json", line->options.json, json_help);
    return command;
}

CLI::Option* addOutput(CLI::App* command, Options* options) {
    command->add_flag("--force", options->force, "Overwrite");
    return command->add_option("-o,--output", options->output,
                               "The file to write, - = standard output");
}

/** A command on one file that writes one. */
CLI::App* addConversion(CLI::App* app, CommandLine* line, const char* name, const char* help,
                        FileCommand run) {
    CLI::App* command = app->add_subcommand(name, help);
    command->add_option("FILE", line->files, "The file")->required()->expected(1);
    addOutput(command, &line->options)->required();
    command->callback([=] { line->command = run; });
    return command;
}

void addInfo(CLI::App* app, CommandLine* line) {
    Options* options = &line->options;
    CLI::App* info = addCommand(app, line, "info", "Show the track format and the tags",
                                "Print one JSON object for each file");
    info->add_flag("--full", options->full, "Shorten nothing");
    CLI::Option* art = info->add_option("--art", options->art,
                                        "Write the picture of this number, 0 = the published one");
    art->needs(addOutput(info, options)->needs(art));
    info->callback([=] { line->command = showInfo; });
}

void addFrames(CLI::App* app, CommandLine* line) {
    Options* options = &line->options;
    CLI::App* frames = addCommand(app, line, "frames", "List the buffers that the track hands out",
                                  "Print JSON objects, at the end one with the status");
    frames->add_option_function<std::string>(
        "--seek",
        [=](const std::string& text) {
            options->seek_us = timeFromText(text);
            if (!options->seek_us) throw CLI::ValidationError("--seek", "not a time: " + text);
        },
        "Seek first: seconds, m:ss or h:mm:ss");
    frames->add_option("--count", options->count, "List at most this many buffers of each file")
        ->check([](const std::string& text) {
            // The conversion would wrap a negative number round.
            const bool positive = text.find('-') == text.npos && text != "0";
            return positive ? "" : "must be 1 or more";
        });
    frames->add_flag("--all", options->all, "Seek again instead of listing pieces");
    frames->add_flag("--csv", options->csv, "Print comma-separated values")->excludes("--json");
    frames->callback([=] { line->command = listFrames; });
}

void addCommands(CLI::App* app, CommandLine* line) {
    addInfo(app, line);
    addFrames(app, line);
    CLI::App* check_app =
        addCommand(app, line, "check", "Judge files, and how the plug-in reads them",
                   "Print one JSON object for each file");
    check_app->add_option("-j,--jobs", line->options.jobs, "Files to check at once, at most 256")
        ->check(CLI::Range(1, 256));
    check_app->add_flag_callback(
        "--no-decode", [=] { line->options.decode = false; }, "Don't decode the audio");
    addConversion(app, line, "extract", "Write the stream as a FLAC file without tags", extract);
    CLI::App* plot_app =
        addConversion(app, line, "plot", "Draw frame sizes and seeks as SVG, with gnuplot", plot);
    plot_app->callback([=] {
        const std::string& name = line->options.output;
        line->command = plot;
        if (name == "-" || (name.size() > 4 && name.substr(name.size() - 4) == ".svg")) return;
        throw CLI::ValidationError("--output", "must be - or end in .svg");
    });
}

/** Runs a command on each file; goes on after one that fails. */
int runOnEach(FileCommand command, const Plugin& plugin, const Options& options, Names& names) {
    int exit_code = kExitOk;
    while (const auto file = names.next()) {
        try {
            command(plugin, options, *file);
        } catch (const FileError& e) {
            reportError(*file, e.what());
            exit_code = kExitFile;
        }
    }
    return names.failed() ? kExitFile : exit_code;
}

int run(int argc, char** argv) {
    CommandLine line;
    CLI::App app("Runs a media-extractor plug-in on files, as the media framework would.",
                 "kelflac");
    addCommon(&app, &line);
    addCommands(&app, &line);
    try {
        app.parse(argc, argv);
        if (line.files.empty() && line.list.empty()) throw CLI::RequiredError("FILE");
        std::error_code none;
        line.options.several = line.files.size() != 1 || !line.list.empty() ||
                               std::filesystem::is_directory(line.files[0], none);
        if (line.options.several && !line.options.output.empty())
            throw CLI::ValidationError("--output", "takes a single FILE");
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? kExitOk : kExitUsage;
    }
    host::setLogMinPriority(line.options.verbose ? ANDROID_LOG_VERBOSE : ANDROID_LOG_SILENT);
    host::setCallingUid(line.uid);
    const Plugin plugin(line.plugin);
    Names names(line.files, line.list, line.nul ? '\0' : '\n');
    if (line.options.csv) puts("file,index,time_us,size,duration_us,sync,offset,piece");
    if (line.command == nullptr) return check(plugin, line.options, names);
    return runOnEach(line.command, plugin, line.options, names);
}

}  // namespace
}  // namespace kelflac

int main(int argc, char** argv) {
    using namespace kelflac;
    int exit_code = kExitFile;
    try {
        // Tags are UTF-8 whatever the user's locale. Without this call all but ASCII is escaped.
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
