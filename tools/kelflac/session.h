// One file in the plug-in: what the framework does with a source, in the framework's order, only
// through the callback tables.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "input.h"
#include "plugin.h"
#include "tools/host/player.h"

namespace kelflac {

/** One buffer that the track handed out. The bytes are valid until the next read. */
struct Frame {
    uint64_t index;  ///< Its number in the run, from 0.
    std::string_view bytes;
    std::optional<int64_t> time_us;
    std::optional<int64_t> duration_us;
    bool sync;
    bool single;  ///< A whole frame, not a piece of a fixed size.
};

/** Takes one buffer. Returns false for no more. */
using FrameHandler = std::function<bool(const Frame&)>;

/** The results of a run of reads. */
struct Run {
    uint64_t buffers = 0;               ///< Handed out.
    uint64_t pieces = 0;                ///< Of the buffers, those that are not single frames.
    uint64_t refused = 0;               ///< Reads refused: the frame or piece was too large.
    media_status_t status = AMEDIA_OK;  ///< Of the last read.
    std::string failure;                ///< What went wrong so far; empty when nothing did.
};

/** One file's life in the plug-in. Not copied: the plug-in keeps pointers into it. */
class Session {
  public:
    Session(const Plugin& plugin, const std::string& path, bool size_known)
        : mPlugin(plugin), mInput(path, size_known) {}
    ~Session();

    /** Lets the plug-in sniff the file, create an extractor and give its formats. Throws
        FileError. */
    void open();
    bool isOpen() const { return mFileMeta != nullptr; }
    /** The sniffer's confidence; nothing if it has not claimed the file. */
    std::optional<float> confidence() const;

    // For an open session:
    std::string name() const { return mPlayer->extractor->name(mPlayer->extractor->data); }
    uint32_t flags() const { return mPlayer->Flags(); }
    bool canSeek() const { return (flags() & kCanSeek) != 0; }
    int64_t durationUs() const;  ///< 0 when the format has none.
    int32_t maxFrameSize() const;
    AMediaFormat* trackFormat() const { return mTrackFormat.get(); }
    AMediaFormat* fileMeta() const { return mFileMeta.get(); }
    /** The bytes of a format's key; empty when there are none. */
    static std::string bufferOf(AMediaFormat* format, const char* key);

    /** Starts the track with the player's buffer group. Throws FileError. */
    void startTrack();

    // For a started track:
    /** Begins a run of reads. With `seek_us`, the first one seeks. */
    void begin(std::optional<int64_t> seek_us);
    /** The next buffer. Passes over refused reads. Null at the end, after a failure, and after 256
        refused reads in a row; then it stays null until begin(). */
    const Frame* next();
    /** The run's results so far. */
    const Run& run();
    /** A whole run. It ends also when `handle` returns false. */
    Run read(std::optional<int64_t> seek_us, const FrameHandler& handle);

    FileInput& input() { return mInput; }

  private:
    static constexpr uint32_t kCanSeek = 8;  // in flags()

    [[noreturn]] void refuse(const std::string& reason) const;

    // Destroyed from the last to the first: some use those above them.
    const Plugin& mPlugin;
    FileInput mInput;
    std::optional<kelflac_host::Player> mPlayer;
    kelflac_host::Owned<AMediaFormat> mTrackFormat;
    kelflac_host::Owned<AMediaFormat> mFileMeta;
    kelflac_host::Read mRead{};  ///< The latest.
    bool mStarted = false;
    uint64_t mReads = 0;             ///< From the open or the latest seek on.
    std::optional<int64_t> mSeekUs;  ///< Where the next read seeks to.
    bool mSought = false;            ///< The latest read was a seek.
    Run mRun;
    Frame mFrame{};
};

// These read a started track and move its position.

/** Reads from `from_us` on, or from where the track stands, as single frames. Where the plug-in
    stops searching, a seek into the newest frame starts the search again, as long as newer frames
    come. No frame comes twice. If such a seek lands too late, frames are missed. Returns the last
    run, with the first failure and all refused reads. */
Run walkFrames(Session& session, std::optional<int64_t> from_us, const FrameHandler& handle);

/** Takes a time asked for and the first frame read there, null when there was none. */
using SeekHandler = std::function<void(int64_t asked_us, const Frame* frame)>;

/** Seeks to 11 evenly spaced times from 0 to durationUs() and reads, if canSeek(). */
void seekEvenly(Session& session, const SeekHandler& handle);

}  // namespace kelflac
