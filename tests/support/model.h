// A slow and simple demuxer: it looks at one byte after another. The library must give the same
// answers and make the same calls at its source, but a long seek of the library may end earlier.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <tuple>

#include "tests/support/demuxer_host.h"

namespace kelflac_test {

/** The library opens the stream. After that the model calls only its reader and header tests. */
struct Model : Demuxer {
    using Demuxer::Demuxer;
    KELFLACF_FAL* const fal = ctx != nullptr ? &ctx->fal : nullptr;

    Frame Read(int32_t buf_size) {
        const bool searches = ctx->full_check_count != 0;
        uint64_t number = 0;
        uint32_t length = static_cast<uint32_t>(info.max_frm_size);
        if (searches && !FindFrame(&length, &number)) return {KELFLACFD_END};
        if (number != 0) --ctx->full_check_count;
        Frame frame = {KELFLACFD_OK, Bytes(length)};
        if (buf_size != 0) {
            const auto count = static_cast<int32_t>(length);
            if (count > buf_size || count > info.max_frm_size) {
                kelflacf_fal_skip(fal, count);
                return {KELFLACFD_E_FRAME_SIZE};
            }
            const int copied = kelflacf_fal_read(fal, frame.bytes.data(), count);
            if (!searches && copied == 0) return {KELFLACFD_END};
            frame.bytes.resize(static_cast<size_t>(copied));
        }
        if (info.hz >= 1) frame.time = Time(number);
        if (info.hz >= 1) frame.next_time = Time(number + 1);
        return frame;
    }

    int Seek(int64_t time, int64_t* landed) {
        const uint64_t rate = Wide(info.hz), block = Wide(info.max_block);
        const uint64_t frame_bytes = Divide(block * Wide(info.byte_rate), rate);
        const uint64_t target =
            Divide(Divide(Wide(time) * rate, block), KELFLACFD_TICKS_PER_SECOND);
        const uint64_t probe = target * frame_bytes + Wide(ctx->first_frm_pos);
        MoveTo(probe);
        const int64_t size = source_size(fal), tail = size - info.max_frm_size;
        uint64_t last_number = 0;
        if (tail < 0 || MoveTo(Wide(tail)) != 0) return KELFLACFD_E_MALFORMED;
        if (!FindLastFrame(&last_number)) return KELFLACFD_E_MALFORMED;
        MoveTo(probe);
        const uint64_t number = Search(target, probe, last_number, Wide(size));
        *landed = info.hz >= 1 ? Time(number) : 0;
        ctx->full_check_count = KELFLACFD_FULL_CHECK_COUNT;
        return KELFLACFD_OK;
    }

  private:
    /** Unsigned: sums, differences and products keep their low 64 bits. */
    static uint64_t Wide(int64_t value) { return static_cast<uint64_t>(value); }
    /** Divides as signed numbers. Division by 0 gives 0. */
    static uint64_t Divide(uint64_t a, uint64_t b) {
        return b == 0 ? 0 : Wide(static_cast<int64_t>(a) / static_cast<int64_t>(b));
    }
    int64_t Time(uint64_t number) const {
        const uint64_t ticks = number * Wide(info.min_block) * KELFLACFD_TICKS_PER_SECOND;
        return static_cast<int64_t>(ticks / Wide(info.hz));
    }
    int MoveTo(uint64_t pos) {
        const auto target = static_cast<long long>(pos);
        return kelflacf_fal_setpos(fal, &target);
    }

    /** Whether a header stands at `offset`, where the first four bytes are `word`. */
    bool IsHeader(int offset, uint32_t word, KELFLACFD_FRM_HDR* hdr) {
        return check_frm_sync(word) && check_frm_hdr(fal, offset, &hdr->frm_num, &hdr->hz_code,
                                                     &hdr->ch, &hdr->bits_code) == 0;
    }
    static auto Kind(const KELFLACFD_FRM_HDR& h) { return std::tie(h.hz_code, h.ch, h.bits_code); }

    /** Returns false when the data ended. */
    bool FindFrame(uint32_t* length, uint64_t* number) {
        for (; fal->rd != fal->wr || fal->eof == 0; kelflacf_fal_skip(fal, 1)) {
            KELFLACFD_FRM_HDR hdr, next;
            if (!IsHeader(0, kelflacf_fal_peek4(fal, 0), &hdr)) continue;
            const int buffered = kelflacf_fal_bytes_peek(fal);
            int k = KELFLACFD_SYNC_BYTES;
            while (k < buffered &&
                   !(IsHeader(k, kelflacf_fal_peek4(fal, k), &next) && Kind(next) == Kind(hdr)))
                ++k;
            *length = static_cast<uint32_t>(k);
            *number = hdr.frm_num;
            if (k < buffered || logical_pos(fal) + buffered == source_size(fal)) return true;
        }
        return false;
    }

    /** Returns false when the buffered bytes hold none. */
    bool FindLastFrame(uint64_t* number) {
        KELFLACFD_FRM_HDR hdr;
        uint32_t word = 0;
        for (int k = kelflacf_fal_bytes_peek(fal) - 1; k >= 0; --k) {
            word = static_cast<uint32_t>(kelflacf_fal_peek1(fal, k)) << 24 | word >> 8;
            if (!IsHeader(k, word, &hdr)) continue;
            *number = hdr.frm_num;
            kelflacf_fal_skip(fal, k);
            return true;
        }
        return false;
    }

    /** Probes from the reader's position on. Returns the last number, or the best noted one. */
    uint64_t Search(uint64_t target, uint64_t probe, uint64_t high_number, uint64_t high) {
        uint64_t low_number = 0, low = Wide(ctx->first_frm_pos), number = 0, step = 0;
        std::vector<uint64_t> noted;  // the first nine different numbers
        bool full = false;            // a tenth number came; 0 counts as noted then
        int repeats = 0;
        const auto distance = [&](uint64_t n) {
            return std::abs(static_cast<int64_t>(target - n));
        };
        const auto nearer = [&](uint64_t a, uint64_t b) { return distance(a) < distance(b); };
        for (uint32_t unused; FindFrame(&unused, &number); MoveTo(probe += step)) {
            if (distance(number) < 2) break;
            const bool met =
                std::count(noted.begin(), noted.end(), number) != 0 || (full && number == 0);
            repeats += met ? 1 : 0;
            if (full || repeats > 9) number = *std::min_element(noted.begin(), noted.end(), nearer);
            if (repeats > 9) break;
            full = full || (!met && noted.size() == 9);
            if (!full && !met) noted.push_back(number);
            const bool below = number < target;
            step = below ? Divide((high - probe) * (target - number), high_number - number)
                         : Divide((probe - low) * (target - number), number - low_number);
            if (step == 0) break;
            if (below && low_number < number) std::tie(low_number, low) = std::tie(number, probe);
            if (!below && number < high_number)
                std::tie(high_number, high) = std::tie(number, probe);
        }
        return number;
    }
};

}  // namespace kelflac_test
