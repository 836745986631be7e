// The plug-in as a loaded library.
#pragma once

#include <memory>
#include <string>

#include "media/MediaExtractorPluginApi.h"

namespace kelflac {

/** A loaded plug-in. Everything made by it must be gone before it is destroyed. */
class Plugin {
  public:
    /** Loads the library at `path` and takes its definition. Throws PluginError when that fails or
        the definition is not of version 3 with a sniffer, or not for flac files. */
    explicit Plugin(const std::string& path);

    const android::ExtractorDef& definition() const { return mDefinition; }

    /** The place of the plug-in that was built with the program. */
    static std::string defaultPath();

  private:
    std::unique_ptr<void, int (*)(void*)> mLibrary;
    android::ExtractorDef mDefinition;
};

}  // namespace kelflac
