// Real FLAC streams, and an independent account of them, by way of libFLAC.
#pragma once

#include "tools/streams/stream_builder.h"

namespace kelflac_streams {

struct Pcm {
    std::vector<int32_t> samples;  ///< Interleaved, right-justified.
    uint32_t channels = 2, bits = 16, rate = 44100;
};

/** `length` samples per channel of tones with some noise; the same for the same arguments. */
Pcm MakePcm(size_t length, uint32_t channels = 2, uint32_t bits = 16, uint32_t rate = 44100);

/** libFLAC's STREAMINFO (its sample count 0 unless `total_known`), the blocks of `metadata` and
    libFLAC's frames. Throws std::out_of_range when libFLAC does not encode such a stream. */
Bytes Encode(const Pcm& pcm, uint32_t blocksize = 4096, StreamBuilder metadata = StreamBuilder{},
             bool total_known = true);

/** Where a frame lies in its file, and its samples. */
struct FrameSpan {
    size_t offset, size;
    uint64_t first_sample;
    uint32_t blocksize;
};

struct Decoded {
    std::vector<int32_t> samples;   ///< As in Pcm.
    std::vector<FrameSpan> frames;  ///< Each from the end of the one before.
    bool md5_ok = false;            ///< Also true when STREAMINFO holds no MD5.
    int errors = 0;                 ///< Lost syncs, bad checksums.
};

Decoded Decode(Bytes stream);

/** Audio that libFLAC has encoded. */
struct EncodedStream {
    Pcm pcm;
    uint32_t block;
    Bytes stream;
    std::vector<FrameSpan> frames;

    Bytes Frame(size_t n) const {
        const uint8_t* const at = &stream[frames.at(n).offset];
        return {at, at + frames[n].size};
    }
};

/** `length` samples of 1 to 8 channels: with each number of channels other sizes, other rates, tags
    or none, a sample count or none. */
EncodedStream EncodeKind(uint32_t channels, size_t length);

}  // namespace kelflac_streams
