// What can go wrong.
#pragma once

#include <stdexcept>

namespace kelflac {

enum ExitCode {
    kExitOk = 0,
    kExitFile = 1,    ///< A file was refused or damaged, or could not be read or written.
    kExitUsage = 2,   ///< The command line was wrong.
    kExitPlugin = 3,  ///< The plug-in can't be loaded or is not the kind expected.
};

/** One file's failure. The text is the reason, without the file's name. */
struct FileError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/** The plug-in's failure. The text names its file. */
struct PluginError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

}  // namespace kelflac
