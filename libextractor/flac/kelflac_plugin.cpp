// The plug-in's entry: its definition, the sniffer and the creator.
#include <media/MediaExtractorPluginApi.h>
#include <media/MediaExtractorPluginHelper.h>
#include <media/NdkMediaFormat.h>

#include <cstring>
#include <new>

#include "libextractor/flac/demuxer/big_endian.h"
#include "libextractor/flac/demuxer/id3v2.h"
#include "libextractor/flac/kelflac_extractor.h"

namespace android {
namespace {

constexpr uint32_t DEFINITION_VERSION = 3;
constexpr uint32_t EXTRACTOR_VERSION = 1;
constexpr media_uuid_t EXTRACTOR_UUID = {{0x1D, 0xBE, 0xFB, 0x4D, 0x2D, 0x82, 0x4B, 0x58, 0xAB,
                                          0x40, 0x02, 0xB0, 0xE3, 0x74, 0x7E, 0x8D}};
constexpr float CONFIDENCE = 0.7F;

const char* supportedTypes[] = {"flac", nullptr};

/** Returns null when there is no memory. */
KelFLACExtractor* newExtractor(CDataSource* source) {
    auto* helper = new (std::nothrow) DataSourceHelper(source);
    AMediaFormat* fileMeta = AMediaFormat_new();
    AMediaFormat* trackFormat = AMediaFormat_new();
    if (helper != nullptr && fileMeta != nullptr && trackFormat != nullptr) {
        auto* extractor = new (std::nothrow) KelFLACExtractor(helper, fileMeta, trackFormat);
        if (extractor != nullptr) return extractor;
    }
    AMediaFormat_delete(trackFormat);
    AMediaFormat_delete(fileMeta);
    delete helper;
    return nullptr;
}

/** Makes an extractor for the source. Returns its callback table, owned by the caller, or null when
    there is no memory. */
CMediaExtractor* CreateExtractor(CDataSource* source, void* /*meta*/) {
    KelFLACExtractor* extractor = newExtractor(source);
    if (extractor == nullptr) return nullptr;
    CMediaExtractor* table = wrap(extractor);
    if (table == nullptr) delete extractor;
    return table;
}

/** Claims a source with the "fLaC" marker and 6 more bytes, at its start or after ID3v2 tags. A
    tag's footer is not skipped. */
CreatorFunc Sniff(CDataSource* source, float* confidence, void** /*meta*/, FreeMetaFunc* /*free*/) {
    uint8_t header[ID3V2_HEADER_BYTES] = {};
    int64_t offset = 0;
    for (;;) {
        const ssize_t count = source->readAt(source->handle, offset, header, sizeof(header));
        if (count != ssize_t{sizeof(header)}) return nullptr;
        if (memcmp(header, "ID3", 3) != 0) break;
        offset += id3v2_tag_bytes(be32(header + ID3V2_SIZE_OFFSET));
    }
    if (memcmp(header, "fLaC", 4) != 0) return nullptr;
    *confidence = CONFIDENCE;
    return CreateExtractor;
}

}  // namespace
}  // namespace android

extern "C" __attribute__((visibility("default"))) android::ExtractorDef GETEXTRACTORDEF();

/** The plug-in's definition, which the framework reads when it loads the library. */
android::ExtractorDef GETEXTRACTORDEF() {
    using namespace android;
    ExtractorDef definition = {
        DEFINITION_VERSION, EXTRACTOR_UUID, EXTRACTOR_VERSION, "Nuvo FLAC Extractor", {}};
    definition.u.v3 = {Sniff, supportedTypes};
    return definition;
}
