// The plug-in as a loaded library.
#pragma once

#include <memory>
#include <string>

#include "media/MediaExtractorPluginApi.h"

namespace kelflac {

/** A loaded plug-in. Everything made by it must be gone before it is destroyed. */
class Plugin {
  public:
    /** Loads the library at `path` and takes its definition. That must be of version 3, with a
        sniffer, for the type "flac". Throws PluginError. */
    explicit Plugin(const std::string& path);

    const android::ExtractorDef& definition() const { return mDefinition; }

    /** The place of the plug-in that was built with the program. */
    static std::string defaultPath();

  private:
    std::unique_ptr<void, int (*)(void*)> mLibrary;
    android::ExtractorDef mDefinition;
};

}  // namespace kelflac
