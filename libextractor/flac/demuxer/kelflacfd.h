// The FLAC demuxer's public face: its records, its status codes and its operations.
//
// The demuxer splits a native FLAC stream (RFC 9639) into its frames and reads its STREAMINFO,
// Vorbis comments and pictures. It never decodes. It knows nothing of the media framework: bytes
// come from an I/O callback record, results go into plain records.
//
// Conventions:
// 1. Times are signed counts of 100 ns (10,000,000 per second). Positions and sizes are bytes.
// 2. Every operation on a handle first checks it: null or a wrong `magic` gives KELFLACFD_E_HANDLE.
// 3. Nothing is locked. One context serves one thread at a time.
#pragma once

#include <cstdint>

#include "libextractor/flac/demuxer/kelflacf_fal.h"
#include "libextractor/mfal/kelcmn_mfal.h"

/** Status codes. Each operation lists those that it returns. */
enum {
    KELFLACFD_OK = KELFLACF_FAL_OK,
    KELFLACFD_END = KELFLACF_FAL_END,
    KELFLACFD_E_HANDLE = -1,  ///< Null handle, or memory that is not a context.
    KELFLACFD_E_MEMORY = KELFLACF_FAL_E_MEMORY,
    KELFLACFD_E_MALFORMED = -3,  ///< Bad block, or no frame header where one must be.
    KELFLACFD_E_SOURCE = KELFLACF_FAL_E_SOURCE,
    KELFLACFD_E_MARKER = -5,      ///< No "fLaC" marker.
    KELFLACFD_E_VARIABLE = -6,    ///< Minimum and maximum block size differ.
    KELFLACFD_E_FRAME_SIZE = -7,  ///< A frame larger than the buffer or the stated maximum.
};

constexpr uint32_t KELFLACFD_MAGIC = 0x464C4344;  ///< In memory on little-endian: "DCLF".
constexpr int32_t KELFLACFD_CODEC_FLAC = 0xF1AC;  ///< KELFLACFD_INFO::codec of an open stream.
constexpr int64_t KELFLACFD_TICKS_PER_SECOND = 10'000'000;
constexpr uint32_t KELFLACFD_ENC_FIRST = 700;  ///< Lowest KELFLACFD_TXT::enc code.
constexpr uint32_t KELFLACFD_ENC_UTF8 = 703;   ///< The code of every Vorbis comment value.
constexpr int32_t KELFLACFD_MAX_PICTURES = 16;
constexpr int KELFLACFD_HZ_CODES = 12;  ///< Codes 12 to 14 count as 0.
constexpr int KELFLACFD_MAX_CHANNELS = 8;
constexpr int KELFLACFD_BITS_CODES = 7;
constexpr int KELFLACFD_FMT_BYTES = 42;  ///< "fLaC", a block header and STREAMINFO.

/** One text value. Empty: all members zero. */
struct KELFLACFD_TXT {
    uint32_t enc;   ///< Text encoding, 700 to 703; 703 is UTF-8.
    uint32_t len;   ///< Bytes at `data`, without the terminator. May be 0 for a stored value.
    uint8_t* data;  ///< The value as stored in the file and one NUL; owned by the context.
};

/** One stored picture. */
struct KELFLACFD_PIC {
    uint8_t* data;  ///< The image file's bytes (or a link, if the file says so); owned by the
                    ///< context.
    uint32_t len;   ///< Bytes at `data`.
};

/** Tags and pictures of a stream. A number of -1 is absent; other negative values come from
    digit runs beyond 32 bits and count as absent too. */
struct KELFLACFD_TAG {
    KELFLACFD_TXT title;
    KELFLACFD_TXT artist;
    KELFLACFD_TXT album;
    KELFLACFD_TXT genre;
    KELFLACFD_TXT album_artist;
    KELFLACFD_TXT author;
    KELFLACFD_TXT composer;
    KELFLACFD_TXT lyricist;
    KELFLACFD_TXT date;
    int32_t year;         ///< Leading digits of `date`.
    int32_t track_num;    ///< TRACKNUMBER, the digits before a "/".
    int32_t track_total;  ///< TRACKNUMBER, the digits behind a "/".
    int32_t disc_num;
    int32_t compilation;
    int32_t pic_num;  ///< Pictures stored, 0 to 16. Entries of `pic` beyond it mean nothing.
    KELFLACFD_PIC pic[KELFLACFD_MAX_PICTURES];  ///< In stream order.
    int32_t date_year;  ///< Leading digits of `date`, read once, for each later DATE comment.
};

/** What is known of an open stream. A plain record, copied as a whole. */
struct KELFLACFD_INFO {
    int32_t codec;         ///< KELFLACFD_CODEC_FLAC once open.
    int32_t max_frm_size;  ///< Largest frame in bytes, as STREAMINFO has it; where that is 0,
                           ///< ch * min_block * (bits / 8).
    int32_t hz;            ///< Sample rate, 0 to 2^20 - 1.
    int32_t bits;          ///< Bits per sample, 1 to 32.
    int32_t ch;            ///< Channels, 1 to 8.
    int32_t seekable;      ///< 1 when seeks may be tried, else 0.
    int32_t byte_rate;     ///< Average bytes per second of audio; 0 when the size is unknown.
    int64_t samples;       ///< Samples per channel, 0 to 2^36 - 1; 0 = the stream does not say.
    int32_t min_block;     ///< Smallest block in samples, 16 to 65535.
    int32_t max_block;     ///< Largest block in samples; equal to min_block in an open stream.
    int32_t min_frm;       ///< Smallest frame in bytes, 0 = the stream does not say.
    int64_t duration;      ///< In 100 ns.
    KELFLACFD_TAG* tag;    ///< Into the context, valid as long as it; null without tags.
};

/**
 * What a failed search for a successor has learned of the reader's ring: of each kind of header
 * that stands there, the last. A header whose kind comes no more is false without another search,
 * so that a ring full of false headers costs one pass and not one for each of them.
 */
struct KELFLACFD_SEEN {
    int64_t noted;  ///< Headers from the failed search up to this place are noted.
    /** By sample-rate code, channels - 1 and sample-size code: a place, 0 = none. */
    int64_t last[KELFLACFD_HZ_CODES][KELFLACFD_MAX_CHANNELS][KELFLACFD_BITS_CODES];
};

/** One open stream. The fields are the demuxer's own; callers hold the pointer as a handle. */
struct KELFLACFD_CTX {
    uint32_t magic;            ///< KELFLACFD_MAGIC.
    KELFLACFD_CTX* self;       ///< This context: the handle.
    KELFLACF_FAL fal;          ///< The reader. Between reads it stands at the next frame header.
    KELFLACFD_INFO info;       ///< Final once the open has returned.
    int64_t first_frm_pos;     ///< File offset of the first frame.
    KELFLACFD_TAG tag_rec;     ///< Owns its buffers.
    uint8_t* streaminfo_blk;   ///< KELFLACFD_FMT_BYTES bytes, owned; null without a STREAMINFO.
    uint8_t full_check_count;  ///< Frames that are still located by search; then fixed-size reads.
    KELFLACFD_SEEN seen;       ///< Places are those of KELFLACF_FAL::reach.
};

#ifdef KELFLACFD_SHARED  // A shared library of the demuxer alone exports what follows.
#pragma GCC visibility push(default)
#endif

/**
 * Opens a stream and stands at its first frame.
 *
 * Checks the marker (behind at most one ID3v2 tag), walks the metadata blocks, works out the
 * duration and finds the first frame.
 *
 * @param mfal the source; copied, so it need not outlive the call, but what it points to must.
 * @param in_duration a duration in 100 ns that overrides the stream's own; 0 = work it out.
 * @param info receives the stream information on success; zeroed on failure, and untouched when
 *     there was no memory for the context.
 * @param err may be null; receives 0, or the code of the failure: -2, -3, -4, -5 or -6.
 * @return the handle, owned by the caller until kelflacfd_delete; null on failure, with the source
 *     closed and nothing left behind.
 */
KELFLACFD_CTX* kelflacfd_create(_KELCMN_MFAL* mfal, const int64_t* in_duration,
                                KELFLACFD_INFO* info, int* err);

/** Closes the source and frees the context with everything it owns. Ignores a bad handle. */
void kelflacfd_delete(KELFLACFD_CTX* ctx);

/** Copies the stream information out. Returns 0 or -1. */
int kelflacfd_get_info(KELFLACFD_CTX* ctx, KELFLACFD_INFO* info);

/**
 * Copies out what a FLAC decoder needs before the first frame: the "fLaC" marker, a header of a
 * last metadata block of type 0 and length 34, and the stream's STREAMINFO (RFC 9639, 8.2).
 *
 * @param dst at least KELFLACFD_FMT_BYTES bytes, or null to ask for the size.
 * @param len receives KELFLACFD_FMT_BYTES, or 0 when the stream had no STREAMINFO.
 * @return 0; -1; -3 when the stream had no STREAMINFO.
 */
int kelflacfd_get_fmt(KELFLACFD_CTX* ctx, uint8_t* dst, int* len);

/**
 * Hands out the next frame and moves behind it.
 *
 * The first frames since the open or a seek (up to 244 with a number above 0) are located by
 * search; from then on each call hands out the next `max_frm_size` bytes, with frame number 0.
 *
 * @param frm_buf destination; null to learn the frame's length and times without moving.
 * @param buf_size capacity of `frm_buf` in bytes.
 * @param frm_len receives the frame's length in bytes.
 * @param frm_time receives the frame's start in 100 ns (untouched when the stream has no rate).
 * @param next_frm_time receives the next frame's start, likewise.
 * @return 0; 1 at the end of the stream; -7 when the frame is larger than `buf_size` or the
 *     stream's maximum frame size (it is skipped); -1.
 */
int kelflacfd_get_frm(KELFLACFD_CTX* ctx, uint8_t* frm_buf, int32_t buf_size, uint32_t* frm_len,
                      int64_t* frm_time, int64_t* next_frm_time);

/**
 * Whether the next kelflacfd_get_frm looks for a frame and hands out that one alone, with its own
 * times. If not, it hands out a piece of fixed size, wherever frames begin; a seek that succeeds
 * brings frames back.
 *
 * @return false for a bad handle too.
 */
bool kelflacfd_reads_frames(const KELFLACFD_CTX* ctx);

/**
 * Moves to the frame that holds a time, or to one of its neighbours.
 *
 * @param seek_time the time in 100 ns, 0 to the stream's duration.
 * @param out_time receives the start of the frame landed on, in 100 ns.
 * @return 0 (also when the search met the end of the data: the next read then ends the stream);
 *     -3 when the end of the source could not be examined, with the position lost; -1.
 */
int kelflacfd_seek(KELFLACFD_CTX* ctx, const int64_t* seek_time, int64_t* out_time);

#ifdef KELFLACFD_SHARED
#pragma GCC visibility pop
#endif
