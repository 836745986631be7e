// What can go wrong.
#pragma once

#include <stdexcept>

namespace kelflac {

enum ExitCode {
    kExitOk = 0,
    kExitFile = 1,    ///< Any other failure; most are of a file.
    kExitUsage = 2,   ///< The command line was wrong.
    kExitPlugin = 3,  ///< The plug-in can't be loaded or is not the kind expected.
};

/** One file's failure. The text doesn't name the input. */
struct FileError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/** A failure to load the plug-in. The message has its path, if there is one. */
struct PluginError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

}  // namespace kelflac
