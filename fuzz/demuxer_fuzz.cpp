// The demuxer over a source that misbehaves. All statuses must be documented, and the bytes handed
// out must be the source's at the place of the read.
#include "fuzz/fuzzing.h"
#include "tools/host/demuxer.h"

using kelflac_host::DemuxerPlayer;

static int Read(Source* source, const DemuxerPlayer& player, int32_t capacity, bool look_only) {
    static Bytes buffer(102400);
    uint8_t* const to = look_only ? nullptr : &*buffer.end() - capacity;
    KELFLACFD_CTX* const ctx = player.ctx;
    const bool by_search = ctx->full_check_count != 0;
    const auto [status, bytes, time, next, length] = player.ReadTo(to, capacity);
    for (int64_t answer : {int64_t{status}, int64_t{length}, time, next}) source->Note(answer);
    assert(status == 0 || status == KELFLACFD_END || (status == -7 && !look_only));
    if (status != 0 || look_only) return status;

    const int64_t pos = logical_pos(&ctx->fal) - length;
    assert(pos >= 0 && length > 0 && pos + length <= static_cast<int64_t>(source->data.size()));
    assert(memcmp(to, source->data.data() + pos, length) == 0);
    assert(!by_search || (length >= 4 && to[0] == 0xFF && to[1] >> 1 == 0x7C));
    assert(static_cast<int>(length) <= std::min(capacity, ctx->info.max_frm_size));
    return status;
}

static void Seek(Source* source, const DemuxerPlayer& player, int64_t time) {
    int64_t landed = -1;
    const int status = player.Seek(time, &landed);
    assert(status == 0 ? player.ctx->full_check_count == KELFLACFD_FULL_CHECK_COUNT : status == -3);
    source->Note(landed);
}

void Run(Source* source) {
    const DemuxerPlayer player(source, source->Take64());
    KELFLACFD_CTX* const ctx = player.ctx;
    assert(ctx != nullptr ? player.err == 0 : player.err <= -2 && player.err >= -6);
    source->Note(player.err);
    for (int n = 50; ctx != nullptr && n > 0 && source->script.remaining_bytes() > 0; --n) {
        const size_t op = source->Take(), kind = op % 8;
        const int32_t capacity = op < 128 ? 102400 : op < 192 ? 4096 : op < 240 ? 100 : 5;
        int reads = kind < 4 ? 1 : kind == 4 ? 50 : 0;
        while (reads > 0 && Read(source, player, capacity, false) != KELFLACFD_END) --reads;
        if (kind == 5) Read(source, player, capacity, true);
        if (kind == 6)
            Seek(source, player, player.info.duration / 256 * static_cast<int64_t>(source->Take()));
        if (kind == 7) Seek(source, player, source->Take64());
        const KELFLACF_FAL& fal = ctx->fal;
        assert(fal.rd >= 0 && fal.rd < fal.size && fal.wr >= 0 && fal.wr < fal.size);
    }
}
