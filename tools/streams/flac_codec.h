// Real FLAC streams, encoded and decoded by libFLAC.
#pragma once

#include "tools/streams/stream_builder.h"

namespace kelflac_streams {

struct Pcm {
    std::vector<int32_t> samples;  ///< Interleaved, right-justified.
    uint32_t channels = 2, bits = 16, rate = 44100;
};

/** `length` samples per channel of tones and noise. The same arguments give the same samples. */
Pcm MakePcm(size_t length, uint32_t channels = 2, uint32_t bits = 16, uint32_t rate = 44100);

/** libFLAC's STREAMINFO, the blocks of `metadata` and libFLAC's frames. Without `total_known` the
    sample count is 0. Throws std::out_of_range when libFLAC makes no frame. */
Bytes Encode(const Pcm& pcm, uint32_t blocksize = 4096, StreamBuilder metadata = StreamBuilder{},
             bool total_known = true);

/** A frame's place in its file, and its samples. */
struct FrameSpan {
    size_t offset, size;
    uint64_t first_sample;
    uint32_t blocksize;
};

struct Decoded {
    std::vector<int32_t> samples;   ///< As in Pcm.
    std::vector<FrameSpan> frames;  ///< Each begins where the one before ends.
    bool md5_ok = false;            ///< Also true when STREAMINFO holds no MD5.
    int errors = 0;                 ///< Errors that libFLAC reports.
};

Decoded Decode(Bytes stream);

/** Audio encoded by libFLAC. */
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

/** `length` samples of 1 to 8 channels. The number of channels decides about the rate, the block
    size, the sample size, the metadata, and whether the sample count is stated. */
EncodedStream EncodeKind(uint32_t channels, size_t length);

}  // namespace kelflac_streams
