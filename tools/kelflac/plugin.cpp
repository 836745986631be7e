#include "plugin.h"

#include <dlfcn.h>

#include <filesystem>

#include "errors.h"

namespace fs = std::filesystem;

namespace kelflac {
namespace {

void* load(const std::string& path) {
    // A bare name would be looked for among the system's libraries.
    std::error_code unnamed;
    const fs::path absolute = fs::absolute(path, unnamed);
    if (unnamed) throw PluginError("the plug-in has no path");
    void* library = dlopen(absolute.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) throw PluginError(dlerror());
    return library;
}

bool claimsType(const android::ExtractorDef& definition, const std::string& wanted) {
    const char** type = definition.u.v3.supported_types;
    while (type != nullptr && *type != nullptr && *type != wanted) ++type;
    return type != nullptr && *type != nullptr;
}

android::ExtractorDef takeDefinition(void* library, const std::string& path) {
    constexpr uint32_t kVersion = 3;
    const auto entry =
        reinterpret_cast<android::GetExtractorDef>(dlsym(library, "GETEXTRACTORDEF"));
    if (entry == nullptr) throw PluginError(path + ": has no GETEXTRACTORDEF");
    const android::ExtractorDef definition = entry();
    if (definition.def_version != kVersion) {
        throw PluginError(path + ": unexpected definition version " +
                          std::to_string(definition.def_version));
    }
    if (definition.u.v3.sniff == nullptr) throw PluginError(path + ": has no sniffer");
    if (!claimsType(definition, "flac")) throw PluginError(path + ": not for flac files");
    return definition;
}

}  // namespace

Plugin::Plugin(const std::string& path)
    : mLibrary(load(path), dlclose), mDefinition(takeDefinition(mLibrary.get(), path)) {}

std::string Plugin::defaultPath() {
    return (fs::read_symlink("/proc/self/exe").parent_path() / KELFLAC_PLUGIN).lexically_normal();
}

}  // namespace kelflac
