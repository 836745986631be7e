// The I/O callback record, through which the demuxer reads a source.
//
// A record is a plain table of functions for a handle with a current position, like those of stdio.
// The demuxer's caller fills one, and the demuxer copies it as a whole.
#pragma once

#include <type_traits>

struct KELCMN_MFAL_PARAM;

/**
 * I/O callbacks of one byte source. Set the whole record to zero before setting callbacks.
 * Callbacks that the demuxer calls must not be null.
 *
 * `fp` is the handle that open() returned. Statuses are 0 for success and another value for
 * failure. Positions count bytes from the source's start. The record doesn't own open_param. The
 * demuxer uses the callbacks only within its own operations, on the caller's thread.
 */
struct _KELCMN_MFAL {
    /** Opens the source at position 0. Returns the handle, or null. The demuxer closes it. `mfal`
        is the record that the demuxer's caller filled; `mode` may be ignored. */
    void* (*open)(_KELCMN_MFAL* mfal, unsigned long mode);

    /** Frees the handle. The source stays usable. */
    void (*close)(void* fp);

    /** Reads up to `size` bytes at the position and moves it past them. Returns their count; 0 at
        the end of the data and when the source fails. */
    int (*read)(void* fp, void* buf, int size);

    /** Not called by the demuxer. */
    int (*write)(void* fp, void* buf, int size);

    /** Stores the position at `p`. */
    int (*getpos)(void* fp, long long* p);

    /** Moves to the position at `p`, which may be outside the source. */
    int (*setpos)(void* fp, long long* p);

    /** Moves forward by the count at `fsize`. Not called by the demuxer. */
    int (*skip)(void* fp, long long* fsize);

    /** Stores the source's size at `fsize`, 0 when it is unknown. */
    int (*getsize)(void* fp, long long* fsize);

    /** Not called by the demuxer. */
    int (*ioctl)(void* fp, int cmd, void* arg);

    void* reserved_callbacks[4];    ///< Zero.
    KELCMN_MFAL_PARAM* open_param;  ///< For open() only.
    void* reserved_params[3];       ///< Zero.
};

static_assert(std::is_trivially_copyable_v<_KELCMN_MFAL>,
              "the reader copies the record as a whole");
