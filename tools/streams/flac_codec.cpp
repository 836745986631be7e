#include "tools/streams/flac_codec.h"

#include <FLAC/stream_decoder.h>
#include <FLAC/stream_encoder.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace kelflac_streams {

Pcm MakePcm(size_t length, uint32_t channels, uint32_t bits, uint32_t rate) {
    Pcm pcm{{}, channels, bits, rate};
    uint64_t state = 1;
    for (size_t i = 0; i < length * channels; i++) {
        const size_t at = i / channels * (1 + i % channels);
        const double phase = 0.03 * static_cast<double>(at);
        const double noise = static_cast<double>(NextRandom(state) % 1000) / 1e5;
        const double value = 0.4 * std::sin(phase) + 0.2 * std::sin(5.1 * phase) + noise;
        pcm.samples.push_back(static_cast<int32_t>(std::ldexp(value, static_cast<int>(bits) - 1)));
    }
    return pcm;
}

Bytes Encode(const Pcm& pcm, uint32_t blocksize, StreamBuilder metadata, bool total_known) {
    constexpr ptrdiff_t kInfo = 8, kInfoBytes = 34;  // STREAMINFO in the file
    constexpr ptrdiff_t kTotal = 13;                 // the sample count in STREAMINFO
    Bytes bare(5 * pcm.samples.size() + 100000);     // larger than any encoding
    std::FILE* const file = fmemopen(bare.data(), bare.size(), "wb");  // libFLAC closes it
    FLAC__StreamEncoder* const e = FLAC__stream_encoder_new();
    FLAC__stream_encoder_set_streamable_subset(e, false);
    FLAC__stream_encoder_set_blocksize(e, blocksize);
    FLAC__stream_encoder_set_channels(e, pcm.channels);
    FLAC__stream_encoder_set_bits_per_sample(e, pcm.bits);
    FLAC__stream_encoder_set_sample_rate(e, pcm.rate);
    const auto length = static_cast<uint32_t>(pcm.samples.size() / pcm.channels);
    FLAC__stream_encoder_init_FILE(e, file, nullptr, nullptr);
    FLAC__stream_encoder_process_interleaved(e, pcm.samples.data(), length);
    FLAC__stream_encoder_finish(e);
    FLAC__stream_encoder_delete(e);
    const std::vector<FrameSpan> frames = Decode(bare).frames;  // `bare` ends with zeros
    const size_t audio = frames.at(0).offset, end = frames.back().offset + frames.back().size;
    Bytes stream = metadata.Raw({&bare[audio], &bare[end]}).Build();
    std::copy_n(bare.begin() + kInfo, kInfoBytes, stream.begin() + kInfo);
    if (total_known) return stream;
    stream[kInfo + kTotal] &= 0xF0;  // the high nibble is of the sample size
    std::fill_n(stream.begin() + kInfo + kTotal + 1, 4, uint8_t{0});
    return stream;
}

static size_t Position(const FLAC__StreamDecoder* decoder) {
    FLAC__uint64 position = 0;
    FLAC__stream_decoder_get_decode_position(decoder, &position);
    return static_cast<size_t>(position);
}

static auto TakeFrame(const FLAC__StreamDecoder* decoder, const FLAC__Frame* frame,
                      const FLAC__int32* const planes[], void* client) {
    auto& out = *static_cast<Decoded*>(client);
    const FLAC__FrameHeader& h = frame->header;
    for (size_t i = 0; i < size_t{h.blocksize} * h.channels; i++)
        out.samples.push_back(planes[i % h.channels][i / h.channels]);
    const size_t start = out.frames.back().offset, end = Position(decoder);
    out.frames.back() = {start, end - start, h.number.sample_number, h.blocksize};
    out.frames.push_back({end, 0, 0, 0});  // the start of the next frame
    return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
}

Decoded Decode(Bytes stream) {
    Decoded out;
    std::FILE* const file = fmemopen(stream.data(), stream.size(), "rb");  // libFLAC closes it
    FLAC__StreamDecoder* const d = FLAC__stream_decoder_new();
    const auto count_error = [](const FLAC__StreamDecoder*, FLAC__StreamDecoderErrorStatus,
                                void* client) { static_cast<Decoded*>(client)->errors++; };
    FLAC__stream_decoder_set_md5_checking(d, true);
    FLAC__stream_decoder_init_FILE(d, file, TakeFrame, nullptr, count_error, &out);
    FLAC__stream_decoder_process_until_end_of_metadata(d);
    out.frames.push_back({Position(d), 0, 0, 0});
    FLAC__stream_decoder_process_until_end_of_stream(d);
    out.frames.pop_back();
    out.md5_ok = FLAC__stream_decoder_finish(d);
    FLAC__stream_decoder_delete(d);
    return out;
}

EncodedStream EncodeKind(uint32_t channels, size_t length) {
    constexpr uint32_t kBits[] = {16, 16, 24, 24, 8, 20, 12, 24},
                       kBlocks[] = {192, 4096, 1152, 4608, 1000, 2048, 200, 576},
                       kRates[] = {8000, 44100, 48000, 96000, 12345, 192000, 22050, 655350};
    const uint32_t kind = channels - 1;
    StreamBuilder tags;
    if (channels % 2 != 0) tags.Block(kSeekTable, Bytes(36)).Picture({Bytes(20000, 0xFF)});
    EncodedStream out = {
        MakePcm(length, channels, kBits[kind], kRates[kind]), kBlocks[kind], {}, {}};
    out.stream = Encode(out.pcm, out.block, tags, channels % 3 != 0);
    out.frames = Decode(out.stream).frames;
    return out;
}

}  // namespace kelflac_streams
