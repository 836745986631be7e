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

using Command = int (*)(const Plugin&, const Options&);

struct CommandLine {
    std::string plugin = Plugin::defaultPath();
    uid_t uid = 0;
    Options options;
    Command command = nullptr;
};

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
}

void addCommands(CLI::App* app, CommandLine* line) {
    Options* options = &line->options;
    CLI::App* info = app->add_subcommand("info", "Show the track format and the tags");
    info->add_option("FILE", options->files, "The files")->required();
    info->add_flag("--json", options->json, "Print one JSON object for each file");
    info->add_option("--art", options->art, "Save the album art of the one file here");
    info->callback([=] {
        line->command = runInfo;
        if (options->art.empty() || options->files.size() == 1) return;
        throw CLI::ValidationError("--art", "takes a single FILE");
    });

    CLI::App* frames = app->add_subcommand("frames", "List the buffers that the track hands out");
    frames->add_option("FILE", options->file, "The file")->required();
    frames->add_option("--seek", options->seek, "Seek to a time in seconds first");
    frames->add_option("--count", options->count, "Stop after so many buffers")
        ->check([](const std::string& text) {
            // The conversion would wrap a negative number round.
            const bool positive = text.find('-') == text.npos && text != "0";
            return positive ? "" : "must be 1 or more";
        });
    frames->add_flag("--json", options->json, "Print JSON objects, last one with the end's status");
    frames->callback([=] {
        constexpr double kMaxSeconds = 9e12;  // In microseconds it still fits 64 bits.
        line->command = runFrames;
        if (std::abs(options->seek.value_or(0)) <= kMaxSeconds) return;
        throw CLI::ValidationError("--seek", "out of range");
    });

    CLI::App* extract = app->add_subcommand("extract", "Write the stream as a FLAC file");
    extract->add_option("FILE", options->file, "The file")->required();
    extract->add_option("-o,--output", options->output, "The file to write, - = standard output")
        ->required();
    extract->callback([=] { line->command = runExtract; });
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
    try {
        return line.command(plugin, line.options);
    } catch (const FileError& e) {
        reportError(line.options.file, e.what());
        return kExitFile;
    }
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
