#include "decoder.h"

#include <FLAC/stream_decoder.h>

#include <algorithm>
#include <memory>
#include <string_view>

namespace kelflac {
namespace {

using Decoder = FLAC__StreamDecoder;

/** How many bytes have been decoded completely. */
int64_t position(const Decoder* decoder) {
    FLAC__uint64 position = 0;
    FLAC__stream_decoder_get_decode_position(decoder, &position);
    return static_cast<int64_t>(position);
}

class Decoding {
  public:
    explicit Decoding(const Pull& pull) : mPull(pull) {}
    Decoded run();

  private:
    static Decoding* of(void* client) { return static_cast<Decoding*>(client); }

    void takeInfo(const Decoder* decoder, const FLAC__StreamMetadata& block);
    void takeFrame(int64_t end, const FLAC__FrameHeader& header, const FLAC__int32* const planes[]);
    void takeError(FLAC__StreamDecoderErrorStatus status);
    void compareHeader(const FLAC__FrameHeader& header);
    void compareSize(uint64_t size);

    bool isPastEnd() const {
        return mOut.stated_samples > 0 && mOut.samples >= mOut.stated_samples;
    }
    void fault(const char* code, const std::string& text) {
        std::optional<int64_t> time_us;
        if (mOut.rate > 0) time_us = static_cast<int64_t>(mOut.samples * 1'000'000 / mOut.rate);
        mOut.faults.add({code, text, mOut.end, time_us});
    }
    void contradicts(const char* code, const char* what, uint64_t found, uint64_t stated) {
        if (found == stated || !mOut.has_info) return;
        fault(code, std::string(what) + std::to_string(found) + ", STREAMINFO states " +
                        std::to_string(stated));
    }

    const Pull& mPull;
    uint64_t mPulled = 0;  ///< Bytes.
    FLAC__StreamMetadata_StreamInfo mInfo{};
    bool mSound = true;      ///< No error since the last frame.
    uint32_t mBlock = 0;     ///< Samples of the last frame; 0 = there is none.
    uint64_t mLastSize = 0;  ///< Bytes of the last frame that was measured, or 0.
    Decoded mOut;
};

void Decoding::takeInfo(const Decoder* decoder, const FLAC__StreamMetadata& block) {
    mInfo = block.data.stream_info;
    mOut.rate = mInfo.sample_rate;
    mOut.has_info = true;
    mOut.has_md5 = std::any_of(std::begin(mInfo.md5sum), std::end(mInfo.md5sum),
                               [](FLAC__byte byte) { return byte != 0; });
    mOut.stated_samples = mInfo.total_samples;
    mOut.info_at = position(decoder) - block.length;
}

void Decoding::takeFrame(int64_t end, const FLAC__FrameHeader& header,
                         const FLAC__int32* const planes[]) {
    if (mOut.rate == 0) mOut.rate = header.sample_rate;
    compareHeader(header);
    if (mOut.frames++ == 0) mOut.first_end = end;
    // libFLAC fills gaps with frames of silence, which have no bytes.
    if (mSound && end > mOut.end) compareSize(static_cast<uint64_t>(end - mOut.end));
    mOut.end = end;
    mOut.samples += header.blocksize;
    if (mOut.stated_samples > 0 && mOut.samples > mOut.stated_samples)
        fault("audio-past-end", "the audio goes on after the stated end");
    mSound = true;
    for (uint32_t channel = 0; channel < header.channels; ++channel) {
        const std::string_view plane(reinterpret_cast<const char*>(planes[channel]),
                                     header.blocksize * sizeof(FLAC__int32));
        mOut.hash = mOut.hash * 31 + std::hash<std::string_view>()(plane);
    }
}

/** Compares a header with STREAMINFO and with the frames before it. */
void Decoding::compareHeader(const FLAC__FrameHeader& header) {
    contradicts("rate-contradicts", "sample rate ", header.sample_rate, mInfo.sample_rate);
    contradicts("channels-contradict", "channels ", header.channels, mInfo.channels);
    contradicts("bits-contradict", "bits a sample ", header.bits_per_sample, mInfo.bits_per_sample);
    // Only the last block may be shorter than the stated minimum.
    constexpr const char* kBlockSize = "block-size-contradicts";
    const uint32_t before = mBlock > 0 ? mBlock : mInfo.min_blocksize;
    mBlock = header.blocksize;
    contradicts(kBlockSize, "block size ", std::min(before, mInfo.min_blocksize),
                mInfo.min_blocksize);
    contradicts(kBlockSize, "block size ", std::max(mBlock, mInfo.max_blocksize),
                mInfo.max_blocksize);
    const uint64_t sample = header.number.sample_number;
    if (sample == mOut.samples || !mSound) return;  // Gaps are faults already.
    fault("frame-out-of-order", "a frame at sample " + std::to_string(sample) + ", not at " +
                                    std::to_string(mOut.samples));
}

void Decoding::compareSize(uint64_t size) {
    const uint64_t most = mInfo.max_framesize > 0 ? mInfo.max_framesize : size;
    const uint64_t bound = std::max<uint64_t>(std::min(size, most), mInfo.min_framesize);
    contradicts("frame-size-contradicts", "bytes of a frame ", size, bound);
    if (mLastSize > 0) {
        const uint64_t least = mOut.smallest_frame > 0 ? mOut.smallest_frame : mLastSize;
        mOut.smallest_frame = std::min(least, mLastSize);
        mOut.largest_frame = std::max(mOut.largest_frame, mLastSize);
    }
    mLastSize = size;
}

void Decoding::takeError(FLAC__StreamDecoderErrorStatus status) {
    constexpr const char* kReasons[][2] = {
        {"lost-sync", "no frame where one should begin"},
        {"frame-header", "a frame with a wrong header"},
        {"frame-crc", "a frame with a wrong CRC"},
        {"frame-unknown", "a frame of an unknown kind"},
        {"metadata", "a metadata block that makes no sense"},
    };
    const size_t index = std::min<size_t>(status, std::size(kReasons) - 1);
    // decodeFile looks at what follows the stated end.
    if (!isPastEnd()) fault(kReasons[index][0], kReasons[index][1]);
    mSound = false;
}

Decoded Decoding::run() {
    const std::unique_ptr<Decoder, void (*)(Decoder*)> handle(FLAC__stream_decoder_new(),
                                                              FLAC__stream_decoder_delete);
    Decoder* decoder = handle.get();
    if (decoder == nullptr) throw std::bad_alloc();
    FLAC__stream_decoder_set_md5_checking(decoder, 1);
    FLAC__stream_decoder_set_metadata_respond(decoder, FLAC__METADATA_TYPE_VORBIS_COMMENT);
    const auto status = FLAC__stream_decoder_init_stream(
        decoder,
        [](const Decoder*, FLAC__byte to[], size_t* count, void* client) {
            *count = of(client)->mPull(to, *count);
            of(client)->mPulled += *count;
            return *count > 0 ? FLAC__STREAM_DECODER_READ_STATUS_CONTINUE
                              : FLAC__STREAM_DECODER_READ_STATUS_END_OF_STREAM;
        },
        nullptr,
        [](const Decoder*, FLAC__uint64* at, void* client) {
            *at = of(client)->mPulled;
            return FLAC__STREAM_DECODER_TELL_STATUS_OK;
        },
        nullptr, nullptr,
        [](const Decoder* d, const FLAC__Frame* f, const FLAC__int32* const p[], void* client) {
            of(client)->takeFrame(position(d), f->header, p);
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
        fault("undecodable", std::string("stopped: ") + FLAC__StreamDecoderStateString[state]);
    }
    if (mOut.samples < mOut.stated_samples) {
        fault("samples-missing", std::to_string(mOut.samples) + " samples of " +
                                     std::to_string(mOut.stated_samples) + " stated");
    }
    if (FLAC__stream_decoder_finish(decoder) == 0 && mOut.samples > 0) {
        fault("md5", "the samples have another MD5 than STREAMINFO states");
    }
    return mOut;
}

}  // namespace

Pull inFront(std::string bytes, Pull others) {
    return [head = std::move(bytes), given = size_t{0}, rest = std::move(others)](
               uint8_t* to, size_t room) mutable {
        size_t count = head.copy(reinterpret_cast<char*>(to), room, given);
        given += count;
        for (size_t more = 1; count < room && more > 0; count += more)
            more = rest(to + count, room - count);
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

Decoded decode(const Pull& pull) {
    return Decoding(pull).run();
}

Decoded decodeFile(FileInput& file) {
    Decoded out = decode(bytesOf(file, 0));
    off64_t size = 0;
    file.getSize(&size);
    const bool past_end = out.samples > 0 && out.samples >= out.stated_samples;
    if (past_end && out.end < size) {
        std::string bytes(8, '\0');  // They often show what kind of data it is.
        file.readAt(out.end, bytes.data(), bytes.size());
        out.faults.add({"foreign-bytes",
                        std::to_string(size - out.end) + " bytes after the audio: " + bytes,
                        out.end});
    }
    return out;
}

}  // namespace kelflac
