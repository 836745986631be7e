// Frame headers: the searches against a test of one place after another, wherever the ring ends.
#include "fuzz/fuzzing.h"

static void Compare(KELFLACF_FAL* fal, const Bytes& held, int from) {
    const auto count = static_cast<int>(held.size());
    const auto byte = [&](int at) { return at < count ? held[static_cast<size_t>(at)] : 0U; };
    int first = count, last = -1;
    KELFLACFD_FRM_HDR hdr;
    for (int at = 0; at < count; ++at) {
        const uint32_t word =
            byte(at) << 24 | byte(at + 1) << 16 | byte(at + 2) << 8 | byte(at + 3);
        const bool is_whole = at + KELFLACFD_SYNC_BYTES <= count;
        assert(kelflacf_fal_peek4(fal, at) == (is_whole ? word : 0));
        if (!check_frm_sync(word) || check_frm_hdr(fal, at, &hdr.frm_num, &hdr.hz_code, &hdr.ch,
                                                   &hdr.bits_code) != KELFLACFD_OK)
            continue;
        last = at;
        if (is_whole && at >= from) first = std::min(first, at);
    }
    assert(find_frm_hdr(fal, from, count, &hdr) == first);
    assert(find_last_frm_hdr(fal, count, &hdr) == last && kelflacf_fal_buffered(fal) == count);
}

void Run(Source* source) {
    _KELCMN_MFAL record = source->Record();
    KELFLACF_FAL fal;
    if (kelflacf_fal_create(&fal, &record, KELFLACF_FAL_CHUNK) < 0) return;
    for (int i = 0; i < 2; ++i) {  // what is buffered may then lie around the ring's end
        kelflacf_fal_skip(&fal, static_cast<int>(source->Take(0x1FFF)));
        kelflacf_fal_bytes_peek(&fal);
    }
    fal.eof = 1;  // and stays as it is
    const auto* const at = source->data.data() + logical_pos(&fal);
    const Bytes held(at, at + kelflacf_fal_buffered(&fal));
    Compare(&fal, held, static_cast<int>(source->Take(held.size())));
    kelflacf_fal_delete(&fal);
}
