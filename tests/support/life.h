// The whole life of a demuxer, or of the plug-in, over one file: opened, asked everything, read to
// the end, sought and closed. What holds over every file is checked on the way: statuses are
// documented ones, what is stored and delivered are the file's bytes, memory is bounded, reading
// and seeking allocate nothing, and nothing is left behind.
#pragma once

#include <set>

#include "tests/support/demuxer_host.h"

namespace kelflac_test {

/** What a demuxer made of a file, in words. Of a file that it refuses only `opens` is set. */
struct Account {
    std::string opens;                  ///< "opens", or "refused: malformed" and the like.
    std::string title, date, pictures;  ///< "none", the text itself, or its size: "30,000 bytes".
    std::string frames;                 ///< How many were handed out up to the end.
    std::string seek;                   ///< "works", or "fails" where one of five did.

    Texts Cells() const { return {opens, title, date, pictures, frames, seek}; }
    /** What is told here and differs there: "title none, frames 2". */
    std::string Unlike(const Account& other) const;
};

struct Life {
    Account account;         ///< The demuxer's alone.
    std::string answers;     ///< The plug-in's alone: all of them.
    std::set<Bytes> frames;  ///< Delivered in reads and after seeks.
};

Life DemuxerLife(const Bytes& file, const Hook& hook = {});
Life PluginLife(const Bytes& file, const Hook& hook = {});  ///< Hooked: read and getsize.

}  // namespace kelflac_test
