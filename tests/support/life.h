// The whole life of a demuxer, or of the plug-in, over one file: opened, asked everything, read to
// the end, sought and closed. What holds over every file is checked on the way: statuses are
// documented ones, what is stored and delivered are the file's bytes, memory is bounded, reading
// and seeking allocate nothing, and nothing is left behind.
#pragma once

#include <set>

#include "tests/support/demuxer_host.h"

namespace kelflac_test {

struct Life {
    /** Of the plug-in: every answer. Of the demuxer: its error, or title, date, "<picture>"s (where
        long their sizes), the number of frames up to the end, and "!" where a seek failed that need
        not: "Song2020<PNG>12". */
    std::string told;
    std::set<Bytes> frames;
};

Life DemuxerLife(const Bytes& file, const Hook& hook = {});
Life PluginLife(const Bytes& file, const Hook& hook = {});  ///< Hooked: read and getsize.

}  // namespace kelflac_test
