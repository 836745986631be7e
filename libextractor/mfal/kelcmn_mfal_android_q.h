// The data-source bridge: an I/O callback record for the framework's DataSourceHelper.
//
// A handle has a current position; the framework reads at an offset. The callbacks never report an
// error of the source. A failed read counts as the end of the data. A failed size query gives what
// the source stored, or 0. A null argument that is needed is logged and refused. Never use one
// handle from two threads at the same time.
#pragma once

#include <android/log.h>
#include <media/MediaExtractorPluginHelper.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "libextractor/mfal/kelcmn_mfal.h"
#include "libextractor/mfal/wrap_arith.h"

/** The parameter block, to which `open_param` of the record points. */
struct KELCMN_MFAL_PARAM {
    uint8_t reserved[4096];                  ///< Zero; not read here.
    android::DataSourceHelper* data_source;  ///< Borrowed, see kelcmn_mfal_fill.
};

/** One open handle: the `fp` of every callback but open. */
struct KELCMN_MFAL_HANDLE {
    android::DataSourceHelper* source;  ///< Borrowed.
    int64_t pos;                        ///< Offset of the next read; may be outside the source.
};

namespace kelcmn_mfal_diagnostic {

constexpr const char* LOG_TAG = "KelFLACExtractorSO";
constexpr const char* SOURCE_PATH = "libextractor/mfal/kelcmn_mfal_android_q.h";

// The line numbers in the diagnostics are a fixed part of the log's text. They don't change when
// lines move.
constexpr int OPEN_MFAL = 102;
constexpr int CLOSE_FP = 134;
constexpr int READ_BUF = 151;
constexpr int READ_FP = 152;
constexpr int WRITE_FP = 165;
constexpr int GETPOS_P = 174;
constexpr int GETPOS_FP = 175;
constexpr int SETPOS_P = 188;
constexpr int SETPOS_FP = 189;
constexpr int SKIP_FSIZE = 203;
constexpr int SKIP_FP = 204;
constexpr int GETSIZE_FSIZE = 224;
constexpr int GETSIZE_FP = 225;
constexpr int IOCTL_FP = 239;
constexpr int IOCTL_ARG = 240;

/** Whether an argument is null. Logs a diagnostic if it is. */
inline bool is_null(const void* arg, const char* name, int line) {
    if (arg != nullptr) return false;
    __android_log_print(ANDROID_LOG_ERROR, LOG_TAG, "[%s:%d] assert failed! (%s)\n", SOURCE_PATH,
                        line, name);
    return true;
}

}  // namespace kelcmn_mfal_diagnostic

/** Opens a handle at position 0 on the source of the record's parameter block. Returns null when
    there is no source or no memory. */
inline void* kelcmn_mfal_open(_KELCMN_MFAL* mfal, unsigned long /*mode*/) {
    namespace diagnostic = kelcmn_mfal_diagnostic;
    if (diagnostic::is_null(mfal, "mfal", diagnostic::OPEN_MFAL)) return nullptr;
    auto* handle = static_cast<KELCMN_MFAL_HANDLE*>(calloc(1, sizeof(KELCMN_MFAL_HANDLE)));
    if (handle == nullptr) return nullptr;
    handle->source = mfal->open_param->data_source;
    if (handle->source == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, diagnostic::LOG_TAG, "not supported");
        free(handle);
        return nullptr;
    }
    return handle;
}

/** Frees the handle; the data source is not touched. */
inline void kelcmn_mfal_close(void* fp) {
    namespace diagnostic = kelcmn_mfal_diagnostic;
    if (diagnostic::is_null(fp, "fp", diagnostic::CLOSE_FP)) return;
    free(fp);
}

/** Reads at the position with one call of the source, and moves past the bytes. Returns the
    source's count, at least 0, or -1 for a null argument. Returns 0 for a size below 1, also when
    an argument is null. */
inline int kelcmn_mfal_read(void* fp, void* buf, int size) {
    namespace diagnostic = kelcmn_mfal_diagnostic;
    if (size < 1) return 0;
    if (diagnostic::is_null(buf, "buf", diagnostic::READ_BUF)) return -1;
    if (diagnostic::is_null(fp, "fp", diagnostic::READ_FP)) return -1;
    auto* handle = static_cast<KELCMN_MFAL_HANDLE*>(fp);
    const auto count = static_cast<int>(
        std::max<ssize_t>(handle->source->readAt(handle->pos, buf, static_cast<size_t>(size)), 0));
    handle->pos = wrap_add(handle->pos, count);
    return count;
}

/** Writes nothing. Returns 0, or -1 for a null handle. */
inline int kelcmn_mfal_write(void* fp, void* /*buf*/, int /*size*/) {
    namespace diagnostic = kelcmn_mfal_diagnostic;
    return diagnostic::is_null(fp, "fp", diagnostic::WRITE_FP) ? -1 : 0;
}

/** Stores the position. Returns 0, or -1 for a null argument. */
inline int kelcmn_mfal_getpos(void* fp, long long* p) {
    namespace diagnostic = kelcmn_mfal_diagnostic;
    if (diagnostic::is_null(p, "p", diagnostic::GETPOS_P)) return -1;
    if (diagnostic::is_null(fp, "fp", diagnostic::GETPOS_FP)) return -1;
    *p = static_cast<KELCMN_MFAL_HANDLE*>(fp)->pos;
    return 0;
}

/** Sets the position, which may be outside the source. Returns 0, or -1 for a null argument. */
inline int kelcmn_mfal_setpos(void* fp, long long* p) {
    namespace diagnostic = kelcmn_mfal_diagnostic;
    if (diagnostic::is_null(p, "p", diagnostic::SETPOS_P)) return -1;
    if (diagnostic::is_null(fp, "fp", diagnostic::SETPOS_FP)) return -1;
    static_cast<KELCMN_MFAL_HANDLE*>(fp)->pos = *p;
    return 0;
}

/** Moves forward by the count at `fsize`, 1 or more. Returns 0, or -1 for another count or a null
    argument. */
inline int kelcmn_mfal_skip(void* fp, long long* fsize) {
    namespace diagnostic = kelcmn_mfal_diagnostic;
    if (diagnostic::is_null(fsize, "fsize", diagnostic::SKIP_FSIZE)) return -1;
    if (diagnostic::is_null(fp, "fp", diagnostic::SKIP_FP)) return -1;
    if (*fsize < 1) return -1;
    auto* handle = static_cast<KELCMN_MFAL_HANDLE*>(fp);
    handle->pos = wrap_add(handle->pos, *fsize);
    return 0;
}

/** Stores what the source stores as its size, or 0. Returns 0, or -1 for a null argument. */
inline int kelcmn_mfal_getsize(void* fp, long long* fsize) {
    namespace diagnostic = kelcmn_mfal_diagnostic;
    if (diagnostic::is_null(fsize, "fsize", diagnostic::GETSIZE_FSIZE)) return -1;
    if (diagnostic::is_null(fp, "fp", diagnostic::GETSIZE_FP)) return -1;
    off64_t size = 0;
    static_cast<KELCMN_MFAL_HANDLE*>(fp)->source->getSize(&size);
    *fsize = size;
    return 0;
}

/** Does nothing. Returns 0 for command 1, and -1 for another command or a null argument. */
inline int kelcmn_mfal_ioctl(void* fp, int cmd, void* arg) {
    namespace diagnostic = kelcmn_mfal_diagnostic;
    constexpr int ACCEPTED_COMMAND = 1;
    if (diagnostic::is_null(fp, "fp", diagnostic::IOCTL_FP)) return -1;
    if (diagnostic::is_null(arg, "arg", diagnostic::IOCTL_ARG)) return -1;
    return cmd == ACCEPTED_COMMAND ? 0 : -1;
}

/**
 * Fills a record with the callbacks above and a new parameter block. The caller deletes the block
 * after the last handle is closed.
 *
 * @param source borrowed. After it is freed, handles may only be closed.
 * @return false when there is no memory; `open_param` is then null.
 */
inline bool kelcmn_mfal_fill(_KELCMN_MFAL* mfal, android::DataSourceHelper* source) {
    *mfal = {};
    mfal->open = kelcmn_mfal_open;
    mfal->close = kelcmn_mfal_close;
    mfal->read = kelcmn_mfal_read;
    mfal->write = kelcmn_mfal_write;
    mfal->getpos = kelcmn_mfal_getpos;
    mfal->setpos = kelcmn_mfal_setpos;
    mfal->skip = kelcmn_mfal_skip;
    mfal->getsize = kelcmn_mfal_getsize;
    mfal->ioctl = kelcmn_mfal_ioctl;
    auto* param = new (std::nothrow) KELCMN_MFAL_PARAM{};
    if (param == nullptr) return false;
    param->data_source = source;
    mfal->open_param = param;
    return true;
}
