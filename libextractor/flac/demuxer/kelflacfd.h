// The FLAC demuxer.
//
// It hands out the frames of a native FLAC stream (RFC 9639), and reads its STREAMINFO, Vorbis
// comments and pictures. It never decodes. It reads its source through an I/O callback record
// (kelcmn_mfal.h). This function reads a file in memory, then moves to its middle:
//
//     #include <kelflac/kelflacfd.h>
//     #include <kelflac/memory_source.h>
//
//     bool read_then_seek(const void* bytes, size_t size, uint8_t* buf, int32_t room) {
//         KELCMN_MFAL_MEMORY file = {bytes, size};
//         _KELCMN_MFAL source = kelcmn_mfal_memory(&file);
//         KELFLACFD_INFO info;
//         KELFLACFD_CTX* stream = kelflacfd_create(&source, nullptr, &info, nullptr);
//         if (stream == nullptr) return false;
//         uint32_t length = 0;
//         int64_t time = 0, next = 0;
//         while (kelflacfd_get_frm(stream, buf, room, &length, &time, &next) == KELFLACFD_OK) {
//             // The next `length` bytes of the file's frames are at `buf`.
//         }
//         const int64_t middle = info.duration / 2;
//         const bool moved = kelflacfd_seek(stream, &middle, &time) == KELFLACFD_OK;
//         kelflacfd_delete(stream);
//         return moved;
//     }
//
// Conventions:
// 1. Times are signed counts of 100 ns (10,000,000 per second). Positions and lengths are bytes.
// 2. Nothing is locked. Never use one handle from two threads at the same time.
// 3. A pointer argument must not be null, unless its description allows it.
#pragma once

#include <cstdint>

#include "libextractor/flac/demuxer/kelflacf_fal.h"
#include "libextractor/flac/demuxer/kelflacfd_seen.h"
#include "libextractor/mfal/kelcmn_mfal.h"

// Statuses. Each operation lists those that it returns.

enum {
    KELFLACFD_OK = 0,
    KELFLACFD_END = 1,            ///< The data ended.
    KELFLACFD_E_HANDLE = -1,      ///< The handle is null, or what it points to is not a stream.
    KELFLACFD_E_MEMORY = -2,      ///< An allocation failed.
    KELFLACFD_E_MALFORMED = -3,   ///< Bad or missing metadata, no frame found, or no duration.
    KELFLACFD_E_SOURCE = -4,      ///< The source could not be opened.
    KELFLACFD_E_MARKER = -5,      ///< The marker "fLaC" is missing.
    KELFLACFD_E_VARIABLE = -6,    ///< Minimum and maximum block size differ.
    KELFLACFD_E_FRAME_SIZE = -7,  ///< A frame or piece larger than the buffer or `max_frm_size`.
};

// Records that a caller reads.

constexpr int64_t KELFLACFD_TICKS_PER_SECOND = 10'000'000;
constexpr int32_t KELFLACFD_CODEC_FLAC = 0xF1AC;  ///< KELFLACFD_INFO::codec of an open stream.
constexpr uint32_t KELFLACFD_ENC_FIRST = 700;     ///< Lowest code of a text encoding.
constexpr uint32_t KELFLACFD_ENC_UTF8 = 703;      ///< UTF-8: the code of each stored text.
constexpr int32_t KELFLACFD_MAX_PICTURES = 16;
constexpr int KELFLACFD_FMT_BYTES = 42;  ///< "fLaC", a block header and STREAMINFO.

/** One text value. If none is stored, all members are 0. */
struct KELFLACFD_TXT {
    uint32_t enc;   ///< Text encoding: KELFLACFD_ENC_UTF8.
    uint32_t len;   ///< Bytes at `data`, without the NUL. May be 0 for a stored value.
    uint8_t* data;  ///< The value's bytes from the file and one NUL; owned by the stream.
};

/** One stored picture. */
struct KELFLACFD_PIC {
    uint8_t* data;  ///< The image file, or its URL without a NUL; owned by the stream.
    uint32_t len;   ///< Bytes at `data`.
};

/** Tags and pictures of a stream. The five numbers from `year` to `compilation` are those of the
    last comment block: -1 if the comment is absent, 0 if it has no digits. Too many digits may give
    another negative number, which counts as absent too. */
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
    int32_t track_num;    ///< TRACKNUMBER, the leading digits.
    int32_t track_total;  ///< TRACKNUMBER, the digits after a "/" that comes next.
    int32_t disc_num;
    int32_t compilation;
    int32_t pic_num;  ///< Pictures stored, 0 to 16.
    /** In stream order. Only the first `pic_num` entries are valid. */
    KELFLACFD_PIC pic[KELFLACFD_MAX_PICTURES];
    /** For the demuxer alone: the year in `date`, kept for later DATE comments. */
    int32_t date_year;
};

/** What is known of a stream. A plain record, copied as a whole. Without a STREAMINFO, the numbers
    from it are 0. */
struct KELFLACFD_INFO {
    int32_t codec;         ///< KELFLACFD_CODEC_FLAC once open.
    int32_t max_frm_size;  ///< Largest frame in bytes, from STREAMINFO. If that says 0:
                           ///< ch * min_block * (bits / 8); the division rounds down.
    int32_t hz;            ///< Sample rate, 0 to 2^20 - 1.
    int32_t bits;          ///< Bits per sample, 1 to 32.
    int32_t ch;            ///< Channels, 1 to 8.
    int32_t seekable;      ///< 1 if the size is known or there is a SEEKTABLE, else 0.
    int32_t byte_rate;     ///< Average bytes per second of audio; 0 when the size is unknown.
    int64_t samples;       ///< Samples per channel, 0 to 2^36 - 1; 0 when unknown.
    int32_t min_block;     ///< Smallest block in samples, 16 to 65535.
    int32_t max_block;     ///< Largest block in samples; equal to min_block in an open stream.
    int32_t min_frm;       ///< Smallest frame in bytes; 0 when unknown.
    int64_t duration;      ///< In 100 ns.
    KELFLACFD_TAG* tag;    ///< Owned by the stream, valid until kelflacfd_delete; null without a
                           ///< valid comment or picture block.
};

// Operations. Each one that takes a handle checks it. Those that return a status return
// KELFLACFD_E_HANDLE for a bad one. A handle that has been deleted must not be used again.

/** A stream. Its members are in the last section of this file; callers don't use them. */
struct KELFLACFD_CTX;

#ifdef KELFLACFD_SHARED  // The demuxer's own shared library exports what follows.
#pragma GCC visibility push(default)
#endif

/**
 * Opens a stream and moves to its first frame.
 *
 * Checks the marker. One ID3v2 tag may come before it. Then reads the metadata blocks, works out
 * the duration and finds the first frame.
 *
 * @param mfal the source. The record is copied. What it points to must exist until
 *     kelflacfd_delete.
 * @param in_duration a duration in 100 ns, 1 or more, that replaces the stream's own. Null or 0:
 *     nothing is replaced.
 * @param info receives the stream information. After a failure it is zero, or unchanged if there
 *     was no memory for the handle.
 * @param err may be null. Receives KELFLACFD_OK, or why the open failed: KELFLACFD_E_MEMORY,
 *     KELFLACFD_E_MALFORMED, KELFLACFD_E_SOURCE, KELFLACFD_E_MARKER or KELFLACFD_E_VARIABLE.
 * @return the handle, owned by the caller until kelflacfd_delete. Null on failure; the source is
 *     then closed and all memory freed.
 */
KELFLACFD_CTX* kelflacfd_create(_KELCMN_MFAL* mfal, const int64_t* in_duration,
                                KELFLACFD_INFO* info, int* err);

/** Closes the source and frees the stream with all that it owns. Null and other bad handles are
    ignored. No other operation may be running on the stream. */
void kelflacfd_delete(KELFLACFD_CTX* ctx);

/** Copies the stream information out. Returns KELFLACFD_OK or KELFLACFD_E_HANDLE. */
int kelflacfd_get_info(KELFLACFD_CTX* ctx, KELFLACFD_INFO* info);

/**
 * Copies out what a FLAC decoder needs before the first frame: the "fLaC" marker, a metadata block
 * header (last block, type 0, length 34) and the stream's STREAMINFO (RFC 9639, 8.2).
 *
 * @param dst at least KELFLACFD_FMT_BYTES bytes, or null to ask for the size.
 * @param len receives KELFLACFD_FMT_BYTES, or 0 when the stream has no STREAMINFO.
 * @return KELFLACFD_OK; KELFLACFD_E_HANDLE; KELFLACFD_E_MALFORMED when the stream has no
 *     STREAMINFO.
 */
int kelflacfd_get_fmt(KELFLACFD_CTX* ctx, uint8_t* dst, int* len);

/**
 * Hands out the next frame or piece and moves past it.
 *
 * After an open or a successful seek, frames are found by search until 244 frames with a number
 * above 0 have been found. After that each call hands out a piece: the next `max_frm_size` bytes,
 * fewer at the end, with the times of frame 0.
 *
 * @param frm_buf destination, or null to learn the length and times and stay before the frame.
 *     Null for a piece always gives `max_frm_size` and KELFLACFD_OK.
 * @param buf_size capacity of `frm_buf` in bytes. Below `max_frm_size`, every call for a piece
 *     returns KELFLACFD_E_FRAME_SIZE, also at the end.
 * @param frm_len receives the length in bytes. It means nothing with KELFLACFD_END.
 * @param frm_time receives the frame's start in 100 ns. It is set only with KELFLACFD_OK, and not
 *     when the sample rate is 0.
 * @param next_frm_time receives the next frame's start, in the same way.
 * @return KELFLACFD_OK; KELFLACFD_END after the last frame; KELFLACFD_E_FRAME_SIZE when the frame
 *     or piece is larger than `buf_size` or `max_frm_size` (it is skipped); KELFLACFD_E_HANDLE.
 */
int kelflacfd_get_frm(KELFLACFD_CTX* ctx, uint8_t* frm_buf, int32_t buf_size, uint32_t* frm_len,
                      int64_t* frm_time, int64_t* next_frm_time);

/**
 * Whether the next kelflacfd_get_frm looks for one whole frame with its own times. If not, it hands
 * out a piece of at most `max_frm_size` bytes, in which frames may begin and end anywhere.
 *
 * @return true after an open and after each successful seek; false for a bad handle too.
 */
bool kelflacfd_reads_frames(const KELFLACFD_CTX* ctx);

/**
 * Moves to the frame that holds a time. It may land on another frame, mostly a neighbour.
 *
 * @param seek_time the time in 100 ns, 0 to the stream's duration.
 * @param out_time receives the start of the frame where the seek landed. In a few cases it is that
 *     of another frame which the search met.
 * @return KELFLACFD_OK, also when the search met the end of the data: the next read then returns
 *     KELFLACFD_END. KELFLACFD_E_MALFORMED when no header was found at the end of the source: the
 *     old position is lost. KELFLACFD_E_HANDLE.
 */
int kelflacfd_seek(KELFLACFD_CTX* ctx, const int64_t* seek_time, int64_t* out_time);

#ifdef KELFLACFD_SHARED
#pragma GCC visibility pop
#endif

// The inside of a stream, for the demuxer's own files and tests.

constexpr uint32_t KELFLACFD_MAGIC = 0x464C4344;  ///< In little-endian memory: "DCLF".

struct KELFLACFD_CTX {
    uint32_t magic;            ///< KELFLACFD_MAGIC, which tells a good handle from a bad one.
    KELFLACFD_CTX* self;       ///< This context: the handle.
    KELFLACF_FAL fal;          ///< The reader, at the byte where the next read begins.
    KELFLACFD_INFO info;       ///< Doesn't change after the open.
    int64_t first_frm_pos;     ///< File offset of the first frame.
    KELFLACFD_TAG tag_rec;     ///< Owns its buffers.
    uint8_t* streaminfo_blk;   ///< KELFLACFD_FMT_BYTES bytes, owned; null without a STREAMINFO.
    uint8_t full_check_count;  ///< Frames still to be found by search. Number 0 doesn't count.
    KELFLACFD_SEEN seen;       ///< What the search remembers.
};
