// The whole life of a demuxer, or of the plug-in, over one file: open, formats, reads, seeks,
// close. It checks what holds for every file: statuses are documented, delivered bytes are the
// file's, and nothing leaks. A demuxer's stored bytes are the file's too, its memory is bounded,
// and its reads and seeks allocate nothing.
#pragma once

#include <set>

#include "tests/support/demuxer_host.h"

namespace kelflac_test {

/** What a demuxer made of a file, in words. Only `opens` is set for a refused file. */
struct Account {
    std::string opens;                  ///< "opens", or "refused: malformed" and the like.
    std::string title, date, pictures;  ///< "none", a short text, or its size: "30,000 bytes".
    std::string frames;                 ///< How many reads gave one, or a piece.
    std::string seek;                   ///< "works", or "fails" if one of five failed.

    Texts Cells() const { return {opens, title, date, pictures, frames, seek}; }
    /** What this account says and another one doesn't: "title none, frames 2". */
    std::string Unlike(const Account& other) const;
};

struct Life {
    Account account;         ///< Only of a demuxer's life.
    std::string answers;     ///< Only of a plug-in's life: all answers.
    std::set<Bytes> frames;  ///< Handed out in reads and after seeks.
};

Life DemuxerLife(const Bytes& file, const Hook& hook = {});
Life PluginLife(const Bytes& file, const Hook& hook = {});  ///< The hook sees read and getsize.

}  // namespace kelflac_test
