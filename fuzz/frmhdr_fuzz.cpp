// Frame headers: the tests against a reading bit by bit, the searches against a loop.
#include "fuzz/fuzzing.h"

/** A frame header (RFC 9639, 9.1). Behind a malformed number all is as it stands here. */
struct Header {
    bool sync = false, sound = false;
    std::array<int64_t, 4> fields = {0, -1, -1, -1};  // number, rate, channels, sample size
};

/** Takes one field after another, zeros behind the end. */
static Header ReadHeader(const Bytes& bytes, size_t at) {
    at *= 8;       // in bits
    int rest = 0;  // of the bits taken, as a polynomial, divided by x^8 + x^2 + x + 1
    const auto take = [&](int count) {
        int value = 0;
        for (; count > 0; --count, ++at) {
            const int bit = at / 8 < bytes.size() ? bytes[at / 8] >> (7 - at % 8) & 1 : 0;
            value = value << 1 | bit;
            rest = (rest << 1 | bit) ^ (rest >= 0x80 ? 0x107 : 0);
        }
        return value;
    };
    Header h;
    const int code = take(15), strategy = take(1), block = take(4), rate = take(4);
    const int channels = take(4), depth = take(3), reserved = take(1), lead = take(8);
    h.sync = code == 0x7FFC && strategy < 2 && block != 0 && rate != 15 && channels < 11 &&
             depth != 3 && depth != 7 && reserved == 0;
    int ones = 0;  // in front of the number, one for each byte of it; the second may be a zero
    while (ones < 8 && ((lead | (lead >> 1 & 0x40)) << ones & 0x80) != 0) ++ones;
    if (ones == 8) return h;
    int64_t number = lead & 0x7F >> ones;
    for (; ones > 1; --ones) {
        h.fields[0] = number;
        if (take(2) != 2) return h;
        number = number << 6 | take(6);
    }
    const int count = channels < 8 ? channels + 1 : channels < 11 ? 2 : 0;
    h.fields = {number, rate < 12 ? rate : 0, count, depth};
    take(block == 6 ? 8 : block == 7 ? 16 : 0);
    take(rate == 12 ? 8 : rate == 13 || rate == 14 ? 16 : 0);
    take(8);  // the CRC-8
    const int error = rest, zero_bit = take(1), type = take(6);
    h.sound = error == 0 && zero_bit == 0 && (type < 2 || (type > 7 && type < 16) || type > 31);
    return h;
}

static void Compare(KELFLACF_FAL* fal, const Bytes& held, int from) {
    const auto count = static_cast<int>(held.size());
    int first = count, last = -1;
    KELFLACFD_FRM_HDR hdr;
    for (int at = 0; at < count; ++at) {
        if (held[static_cast<size_t>(at)] != 0xFF && at != from) continue;
        const Header h = ReadHeader(held, static_cast<size_t>(at));
        const bool word_in_sight = at + 4 <= count;
        assert(check_frm_sync(kelflacf_fal_peek4(fal, at)) == (h.sync && word_in_sight));
        hdr = {9, -1, -1, -1};
        const int status =
            check_frm_hdr(fal, at, &hdr.frm_num, &hdr.hz_code, &hdr.ch, &hdr.bits_code);
        assert(status == (h.sound ? KELFLACFD_OK : KELFLACFD_E_MALFORMED));
        const auto number = static_cast<int64_t>(hdr.frm_num);
        assert((h.fields == std::array<int64_t, 4>{number, hdr.hz_code, hdr.ch, hdr.bits_code}));
        if (h.sync && h.sound) last = at;
        if (last == at && word_in_sight && at >= from) first = std::min(first, at);
    }
    assert(find_frm_hdr(fal, from, count, &hdr) == first);
    assert(find_last_frm_hdr(fal, count, &hdr) == last && kelflacf_fal_buffered(fal) == count);
}

void Run(Source* source) {
    _KELCMN_MFAL record = source->Record();
    KELFLACF_FAL fal;
    if (kelflacf_fal_create(&fal, &record, KELFLACF_FAL_CHUNK) < 0) return;
    for (int i = 0; i < 2; ++i) {  // what is in sight may then lie around the ring's end
        kelflacf_fal_skip(&fal, static_cast<int>(source->Take(0x1FFF)));
        kelflacf_fal_bytes_peek(&fal);
    }
    fal.eof = 1;  // and stays as it is
    const auto* const at = source->data.data() + logical_pos(&fal);
    const Bytes held(at, at + kelflacf_fal_buffered(&fal));
    Compare(&fal, held, static_cast<int>(source->Take(held.size())));
    kelflacf_fal_delete(&fal);
}
