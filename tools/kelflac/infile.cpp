#include <FLAC/metadata.h>

#include <memory>

#include "commands.h"
#include "errors.h"
#include "original.h"
#include "text.h"

namespace kelflac {
namespace {

/** Calls `handle` with each block. Throws FileError where libFLAC can't read them. */
template <class Handler>
void forEachBlock(Original& original, const Handler& handle) {
    const std::unique_ptr<FLAC__Metadata_Chain, void (*)(FLAC__Metadata_Chain*)> chain(
        FLAC__metadata_chain_new(), FLAC__metadata_chain_delete);
    const std::unique_ptr<FLAC__Metadata_Iterator, void (*)(FLAC__Metadata_Iterator*)> walk(
        FLAC__metadata_iterator_new(), FLAC__metadata_iterator_delete);
    if (chain == nullptr || walk == nullptr) throw std::bad_alloc();
    if (FLAC__metadata_chain_read(chain.get(), original.input().path().c_str()) == 0) {
        throw FileError(FLAC__Metadata_ChainStatusString[FLAC__metadata_chain_status(chain.get())]);
    }
    FLAC__metadata_iterator_init(walk.get(), chain.get());
    do {
        handle(*FLAC__metadata_iterator_get_block(walk.get()));
    } while (FLAC__metadata_iterator_next(walk.get()) != 0);
}

std::string_view viewOf(const void* data, size_t size) {
    return {static_cast<const char*>(data), data != nullptr ? size : 0};
}

/** A list of what `describe` gives for each of the first `count` things. */
template <class Thing, class Describe>
Json listOf(const Thing* things, uint32_t count, const Describe& describe) {
    Json list = Json::array();
    for (uint32_t i = 0; i < count; ++i) list.push_back(describe(things[i]));
    return list;
}

Json commentsOf(const FLAC__StreamMetadata_VorbisComment& block) {
    using Entry = FLAC__StreamMetadata_VorbisComment_Entry;
    const auto text = [](const Entry& entry) { return viewOf(entry.entry, entry.length); };
    return {{"vendor", text(block.vendor_string)},
            {"comment", listOf(block.comments, block.num_comments, text)}};
}

Json pictureOf(const FLAC__StreamMetadata_Picture& block) {
    return {{"kind", FLAC__StreamMetadata_Picture_TypeString[block.type]},
            {"mime", block.mime_type},
            {"description", reinterpret_cast<const char*>(block.description)},
            {"width", block.width},
            {"height", block.height},
            {"format", pictureFormat(viewOf(block.data, block.data_length))},
            {"bytes", block.data_length}};
}

std::string pointText(const FLAC__StreamMetadata_SeekPoint& point) {
    return "sample " + std::to_string(point.sample_number) + " at +" +
           std::to_string(point.stream_offset);
}

std::string trackText(const FLAC__StreamMetadata_CueSheet_Track& track) {
    return "number " + std::to_string(track.number) + ", sample " + std::to_string(track.offset) +
           ", index points " + std::to_string(track.num_indices) + ", ISRC " + track.isrc;
}

Json contentOf(const FLAC__StreamMetadata& block) {
    switch (block.type) {
        case FLAC__METADATA_TYPE_STREAMINFO:
            return {{"md5", hexText(viewOf(block.data.stream_info.md5sum, 16))}};
        case FLAC__METADATA_TYPE_APPLICATION:
            return {{"id", viewOf(block.data.application.id, 4)}};
        case FLAC__METADATA_TYPE_SEEKTABLE:
            return {{"point", listOf(block.data.seek_table.points, block.data.seek_table.num_points,
                                     pointText)}};
        case FLAC__METADATA_TYPE_VORBIS_COMMENT:
            return commentsOf(block.data.vorbis_comment);
        case FLAC__METADATA_TYPE_CUESHEET:
            return {{"catalog", block.data.cue_sheet.media_catalog_number},
                    {"track", listOf(block.data.cue_sheet.tracks, block.data.cue_sheet.num_tracks,
                                     trackText)}};
        case FLAC__METADATA_TYPE_PICTURE:
            return pictureOf(block.data.picture);
        default:
            return Json::object();
    }
}

}  // namespace

Json inFile(Original& original) {
    const Head head = original.head();
    Json out = Json::object();
    for (const auto& [at, size] : head.id3_tags)
        out["id3v2"].push_back({{"offset", at}, {"length", size}});
    if (const auto at = original.id3v1()) out["id3v1"] = {{"offset", *at}, {"length", 128}};
    auto at = static_cast<uint64_t>(head.marker_end);
    try {
        forEachBlock(original, [&](const FLAC__StreamMetadata& block) {
            const auto type = std::min(block.type, FLAC__METADATA_TYPE_UNDEFINED);
            Json json = {
                {"type", FLAC__MetadataTypeString[type]}, {"offset", at}, {"length", block.length}};
            json.update(contentOf(block));
            out["block"].push_back(std::move(json));
            at += Original::kBlockHeader + block.length;
        });
    } catch (const FileError& e) {
        out["unreadable"] = e.what();
    }
    return out;
}

std::string pictureInFile(Original& original, unsigned number) {
    std::string data;
    unsigned met = 0;
    forEachBlock(original, [&](const FLAC__StreamMetadata& block) {
        if (block.type != FLAC__METADATA_TYPE_PICTURE || ++met != number) return;
        data = viewOf(block.data.picture.data, block.data.picture.data_length);
    });
    if (met < number) throw FileError("has " + std::to_string(met) + " pictures");
    return data;
}

}  // namespace kelflac
