#include "decoder.h"

#include <FLAC/stream_decoder.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string_view>

#include "text.h"

namespace kelflac {
namespace {

using Decoder = FLAC__StreamDecoder;
using Handle = std::unique_ptr<Decoder, void (*)(Decoder*)>;

class Decoding {
  public:
    explicit Decoding(const Pull& pull) : mPull(pull) {}
    Decoded run();

  private:
    static Decoding* of(void* client) { return static_cast<Decoding*>(client); }

    FLAC__StreamDecoderReadStatus read(FLAC__byte* to, size_t* count);
    void takeInfo(const Decoder* decoder, const FLAC__StreamMetadata& block);
    void takeFrame(const Decoder* decoder, const FLAC__Frame& frame,
                   const FLAC__int32* const planes[]);
    void takeError(FLAC__StreamDecoderErrorStatus status);
    void compareHeader(const FLAC__FrameHeader& header);
    void compareSize(uint64_t size);
    void compareTotals(bool md5_ok);

    /** Where the decoder stands: behind what it has made sense of. */
    static int64_t position(const Decoder* decoder) {
        FLAC__uint64 position = 0;
        FLAC__stream_decoder_get_decode_position(decoder, &position);
        return static_cast<int64_t>(position);
    }
    void fault(const char* code, const std::string& text) {
        std::optional<int64_t> time_us;
        if (mOut.rate > 0) time_us = static_cast<int64_t>(mOut.samples * 1'000'000 / mOut.rate);
        mOut.faults.add({code, text, mOut.end, time_us});
    }
    void contradiction(const char* code, const char* what, uint64_t found, uint64_t stated) {
        if (found == stated || !mOut.has_info) return;
        fault(code, std::string(what) + " " + std::to_string(found) + ", STREAMINFO states " +
                        std::to_string(stated));
    }

    const Pull& mPull;
    uint64_t mPulled = 0;
    FLAC__StreamMetadata_StreamInfo mInfo{};
    bool mSound = true;      ///< No error since the last frame.
    uint32_t mBlock = 0;     ///< Of the last frame.
    uint64_t mLastSize = 0;  ///< Bytes of the last frame; 0 = not known.
    Decoded mOut;
};

FLAC__StreamDecoderReadStatus Decoding::read(FLAC__byte* to, size_t* count) {
    *count = mPull(to, *count);
    mPulled += *count;
    return *count > 0 ? FLAC__STREAM_DECODER_READ_STATUS_CONTINUE
                      : FLAC__STREAM_DECODER_READ_STATUS_END_OF_STREAM;
}

void Decoding::takeInfo(const Decoder* decoder, const FLAC__StreamMetadata& block) {
    mInfo = block.data.stream_info;
    mOut.rate = mInfo.sample_rate;
    constexpr FLAC__byte kUnset[sizeof(mInfo.md5sum)] = {};
    mOut.has_info = true;
    mOut.has_md5 = memcmp(mInfo.md5sum, kUnset, sizeof(kUnset)) != 0;
    mOut.stated_samples = mInfo.total_samples;
    mOut.info_at = position(decoder) - block.length;
}

void Decoding::takeFrame(const Decoder* decoder, const FLAC__Frame& frame,
                         const FLAC__int32* const planes[]) {
    const FLAC__FrameHeader& header = frame.header;
    if (mOut.rate == 0) mOut.rate = header.sample_rate;
    compareHeader(header);
    const int64_t end = position(decoder);
    if (mOut.frames++ == 0) mOut.first_end = end;
    // libFLAC fills gaps with frames of silence, which have no bytes.
    if (mSound && end > mOut.end) compareSize(static_cast<uint64_t>(end - mOut.end));
    mOut.end = end;
    mOut.samples += header.blocksize;
    mSound = true;
    for (uint32_t channel = 0; channel < header.channels; ++channel) {
        const std::string_view plane(reinterpret_cast<const char*>(planes[channel]),
                                     header.blocksize * sizeof(FLAC__int32));
        mOut.hash = mOut.hash * 31 + std::hash<std::string_view>()(plane);
    }
}

/** Compares a header with STREAMINFO and with the frames in front of it. */
void Decoding::compareHeader(const FLAC__FrameHeader& header) {
    contradiction("rate-contradicts", "sample rate", header.sample_rate, mInfo.sample_rate);
    contradiction("channels-contradict", "channels", header.channels, mInfo.channels);
    contradiction("bits-contradict", "bits a sample", header.bits_per_sample,
                  mInfo.bits_per_sample);
    // The last block alone may be shorter than the smallest that is stated.
    if (mBlock > 0 && mBlock < mInfo.min_blocksize) {
        contradiction("block-size-contradicts", "block size", mBlock, mInfo.min_blocksize);
    }
    mBlock = header.blocksize;
    if (mBlock > mInfo.max_blocksize) {
        contradiction("block-size-contradicts", "block size", mBlock, mInfo.max_blocksize);
    }
    if (header.number.sample_number == mOut.samples) return;
    mOut.in_order = false;
    if (!mSound) return;  // The frames that are missing have been told of.
    fault("frame-out-of-order", "a frame of sample " + std::to_string(header.number.sample_number) +
                                    " where sample " + std::to_string(mOut.samples) +
                                    " should follow");
}

void Decoding::compareSize(uint64_t size) {
    constexpr const char* kCode = "frame-size-contradicts";
    if (size < mInfo.min_framesize) contradiction(kCode, "frame of", size, mInfo.min_framesize);
    if (size > mInfo.max_framesize && mInfo.max_framesize > 0) {
        contradiction(kCode, "frame of", size, mInfo.max_framesize);
    }
    // The last frame is not counted: it may be short.
    mOut.largest_frame = std::max(mOut.largest_frame, mLastSize);
    if (mLastSize > 0 && (mOut.smallest_frame == 0 || mLastSize < mOut.smallest_frame)) {
        mOut.smallest_frame = mLastSize;
    }
    mLastSize = size;
}

void Decoding::takeError(FLAC__StreamDecoderErrorStatus status) {
    switch (status) {
        case FLAC__STREAM_DECODER_ERROR_STATUS_BAD_HEADER:
            fault("frame-header", "a frame with a wrong header");
            break;
        case FLAC__STREAM_DECODER_ERROR_STATUS_FRAME_CRC_MISMATCH:
            fault("frame-crc", "a frame with a wrong CRC");
            break;
        case FLAC__STREAM_DECODER_ERROR_STATUS_UNPARSEABLE_STREAM:
            fault("frame-unknown", "a frame of an unknown kind");
            break;
        case FLAC__STREAM_DECODER_ERROR_STATUS_BAD_METADATA:
            fault("metadata", "a metadata block that makes no sense");
            break;
        default:
            fault("lost-sync", "no frame where one should begin");
    }
    mSound = false;
}

void Decoding::compareTotals(bool md5_ok) {
    if (mOut.samples < mOut.stated_samples) {
        fault("samples-missing", std::to_string(mOut.samples) + " samples of " +
                                     std::to_string(mOut.stated_samples) + " stated");
    }
    if (!md5_ok && mOut.samples > 0)
        fault("md5", "the samples have another MD5 than STREAMINFO states");
}

Decoded Decoding::run() {
    const Handle handle(FLAC__stream_decoder_new(), FLAC__stream_decoder_delete);
    Decoder* decoder = handle.get();
    if (decoder == nullptr) throw std::bad_alloc();
    FLAC__stream_decoder_set_md5_checking(decoder, 1);
    FLAC__stream_decoder_set_metadata_respond(decoder, FLAC__METADATA_TYPE_VORBIS_COMMENT);
    const auto status = FLAC__stream_decoder_init_stream(
        decoder,
        [](const Decoder*, FLAC__byte to[], size_t* count, void* client) {
            return of(client)->read(to, count);
        },
        nullptr,
        [](const Decoder*, FLAC__uint64* at, void* client) {
            *at = of(client)->mPulled;
            return FLAC__STREAM_DECODER_TELL_STATUS_OK;
        },
        nullptr, nullptr,
        [](const Decoder* d, const FLAC__Frame* frame, const FLAC__int32* const planes[],
           void* client) {
            of(client)->takeFrame(d, *frame, planes);
            return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
        },
        [](const Decoder* d, const FLAC__StreamMetadata* block, void* client) {
            if (block->type == FLAC__METADATA_TYPE_STREAMINFO) of(client)->takeInfo(d, *block);
        },
        [](const Decoder*, FLAC__StreamDecoderErrorStatus error, void* client) {
            of(client)->takeError(error);
        },
        this);
    if (status != FLAC__STREAM_DECODER_INIT_STATUS_OK) throw std::bad_alloc();
    mOut.known = true;
    bool done = FLAC__stream_decoder_process_until_end_of_metadata(decoder) != 0;
    mOut.metadata_end = mOut.end = position(decoder);
    done = done && FLAC__stream_decoder_process_until_end_of_stream(decoder) != 0;
    const auto state = FLAC__stream_decoder_get_state(decoder);
    if (!done && state == FLAC__STREAM_DECODER_END_OF_STREAM) {
        fault("no-audio", "the file ends before its audio begins");
    } else if (!done) {
        fault("undecodable", std::string("gives up: ") + FLAC__StreamDecoderStateString[state]);
    }
    compareTotals(FLAC__stream_decoder_finish(decoder) != 0);
    return mOut;
}

/** A head for bytes taken from a file: its STREAMINFO, without a sample count and an MD5. */
std::string headForTail(FileInput& file, int64_t info_at) {
    constexpr size_t kInfo = 8;
    constexpr size_t kTotal = kInfo + 13;  // A nibble and four bytes; the MD5 follows.
    std::string head("fLaC\x80\0\0\x22", kInfo);
    head.resize(kInfo + 34);
    file.readAt(info_at, &head[kInfo], head.size() - kInfo);
    head[kTotal] = static_cast<char>(head[kTotal] & 0xF0);
    std::fill(head.begin() + kTotal + 1, head.end(), '\0');
    return head;
}

/** A word for what often follows the audio. */
std::string kindOf(FileInput& file, int64_t at) {
    std::array<char, 8> bytes{};
    file.readAt(at, bytes.data(), bytes.size());
    const std::string_view text(bytes.data(), bytes.size());
    if (text.substr(0, 3) == "TAG") return " (an ID3v1 tag)";
    if (text.substr(0, 3) == "ID3") return " (an ID3v2 tag)";
    return text == "APETAGEX" ? " (an APE tag)" : "";
}

/** Tells the bytes behind the stated number of samples apart: more frames, or anything else. */
void examineTail(FileInput& file, off64_t size, Decoded* out) {
    const Decoded tail = decode(inFront(headForTail(file, out->info_at), bytesOf(file, out->end)));
    uint64_t bad = 0;
    bool foreign = tail.frames == 0;
    for (const Reason& fault : tail.faults.all()) {
        // Other faults come with the frames' numbers, which don't begin at 0.
        if (fault.code == "frame-crc") bad = fault.count;
        foreign = foreign || fault.code == "lost-sync" || fault.code == "frame-crc" ||
                  fault.code == "frame-header" || fault.code == "frame-unknown";
    }
    std::optional<int64_t> end_us;
    if (out->rate > 0) end_us = static_cast<int64_t>(out->samples * 1'000'000 / out->rate);
    if (tail.frames > bad) {
        out->faults.add({"audio-past-end",
                         std::to_string(tail.samples) + " samples behind the stated end", out->end,
                         end_us});
    }
    if (foreign) {
        out->faults.add({"foreign-bytes",
                         std::to_string(size - out->end) + " bytes behind the stated end" +
                             kindOf(file, out->end),
                         out->end, end_us});
    }
}

}  // namespace

Pull inFront(std::string bytes, Pull others) {
    return [head = std::move(bytes), given = size_t{0}, rest = std::move(others)](
               uint8_t* to, size_t room) mutable {
        size_t count = std::min(room, head.size() - given);
        std::copy_n(head.begin() + static_cast<ptrdiff_t>(given), count, to);
        given += count;
        while (count < room) {
            const size_t more = rest(to + count, room - count);
            if (more == 0) break;
            count += more;
        }
        return count;
    };
}

Pull bytesOf(FileInput& file, int64_t at) {
    return [&file, at](uint8_t* to, size_t room) mutable {
        const auto count = static_cast<size_t>(std::max<ssize_t>(file.readAt(at, to, room), 0));
        at += static_cast<int64_t>(count);
        return count;
    };
}

bool canDecode() {
    return true;
}

Decoded decode(const Pull& pull) {
    return Decoding(pull).run();
}

Decoded decodeFile(FileInput& file) {
    Decoded out = decode(bytesOf(file, 0));
    off64_t size = 0;
    file.getSize(&size);
    if (out.has_info && out.samples >= out.stated_samples && out.end < size) {
        examineTail(file, size, &out);
    }
    return out;
}

}  // namespace kelflac
