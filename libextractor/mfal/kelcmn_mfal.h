// The I/O callback record: the one way in which the demuxer reaches the bytes of a file.
//
// A record is a plain table of function pointers over a handle with a current position, in the
// manner of stdio. Whoever opens a demuxer fills one; the demuxer's reader copies it whole.
#pragma once

#include <type_traits>

struct KELCMN_MFAL_PARAM;

/**
 * I/O callbacks over one byte source. Zero the whole record before setting callbacks.
 *
 * `fp` is the handle that open() returned. Status results are 0 for success and another value
 * (the bridge gives -1) for failure. Positions and sizes are byte counts from the source's start.
 * The record doesn't own open_param, and is used from one thread at a time.
 */
struct _KELCMN_MFAL {
    /** Opens the source at position 0. Returns the handle, owned by the caller until close(), or
        null. `mfal` is the caller's own record, not a copy; `mode` may be ignored. */
    void* (*open)(_KELCMN_MFAL* mfal, unsigned long mode);

    /** Frees the handle. The source behind it stays usable. */
    void (*close)(void* fp);

    /** Reads up to `size` bytes at the position and advances it by the count returned, 0 to
        `size`. 0 stands for the end of the data and for a failed source alike. */
    int (*read)(void* fp, void* buf, int size);

    /** Not called by the demuxer. */
    int (*write)(void* fp, void* buf, int size);

    /** Stores the position at `p`. */
    int (*getpos)(void* fp, long long* p);

    /** Moves to the position at `p`, which may lie outside the source. */
    int (*setpos)(void* fp, long long* p);

    /** Moves forward by the count at `fsize`. Not called by the demuxer. */
    int (*skip)(void* fp, long long* fsize);

    /** Stores the source's size at `fsize`, 0 when it is unknown. */
    int (*getsize)(void* fp, long long* fsize);

    /** Not called by the demuxer. */
    int (*ioctl)(void* fp, int cmd, void* arg);

    void* reserved_callbacks[4];    ///< Zero.
    KELCMN_MFAL_PARAM* open_param;  ///< For open() alone.
    void* reserved_params[3];       ///< Zero.
};

static_assert(std::is_trivially_copyable_v<_KELCMN_MFAL>, "the reader copies the record whole");
