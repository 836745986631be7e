// One file in the plug-in's hands: everything that the framework does with a source, in the
// framework's order, through the callback tables alone.
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
    uint64_t index;  ///< Counts the buffers handed out, from 0.
    std::string_view bytes;
    std::optional<int64_t> time_us;
    std::optional<int64_t> duration_us;
    bool sync;
    bool single;  ///< A frame of the stream, not a piece of it that was cut to a fixed size.
};

/** Takes one buffer. Returns false for no more. */
using FrameHandler = std::function<bool(const Frame&)>;

/** What a run of reads came to. */
struct Run {
    uint64_t buffers = 0;               ///< Handed out.
    uint64_t pieces = 0;                ///< Of the buffers, those that are not single frames.
    uint64_t refused = 0;               ///< Reads refused because the frame was too large.
    media_status_t status = AMEDIA_OK;  ///< Of the last read.
    std::string failure;                ///< What went wrong in the run; empty when nothing did.
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
    /** The sniffer's confidence; nothing when it did not claim the file. */
    std::optional<float> confidence() const;

    // For an open session:
    std::string name() const { return mPlayer->extractor->name(mPlayer->extractor->data); }
    uint32_t flags() const { return mPlayer->Flags(); }
    bool canSeek() const { return (flags() & kCanSeek) != 0; }
    int64_t durationUs() const;  ///< 0 when it is not stated.
    int32_t maxFrameSize() const;
    AMediaFormat* trackFormat() const { return mTrackFormat.get(); }
    AMediaFormat* fileMeta() const { return mFileMeta.get(); }
    /** A buffer of a format; empty when there is none. */
    static std::string bufferOf(AMediaFormat* format, const char* key);

    /** Starts the track with a buffer group of its own. Throws FileError. */
    void startTrack();

    // For a started track:
    /** Begins a run of reads, from where the track stands or by a seek. */
    void begin(std::optional<int64_t> seek_us);
    /** The next buffer; null when the track has nothing more, fails or goes on refusing. Some
        refused reads are passed over. */
    const Frame* next();
    /** What the run came to so far. */
    const Run& run();
    /** A whole run. It ends also when `handle` returns false. */
    Run read(std::optional<int64_t> seek_us, const FrameHandler& handle);

    FileInput& input() { return mInput; }

  private:
    static constexpr uint32_t kCanSeek = 8;  // in flags()

    [[noreturn]] void refuse(const std::string& reason) const;

    // Destroyed from the last to the first: each uses those above it.
    const Plugin& mPlugin;
    FileInput mInput;
    std::optional<kelflac_host::Player> mPlayer;
    kelflac_host::Owned<AMediaFormat> mTrackFormat;
    kelflac_host::Owned<AMediaFormat> mFileMeta;
    kelflac_host::Read mRead{};  ///< The latest.
    bool mStarted = false;
    uint64_t mReads = 0;             ///< Since the open or the latest seek.
    std::optional<int64_t> mSeekUs;  ///< Where the next read seeks to.
    bool mSought = false;            ///< The latest read was a seek.
    Run mRun;
    Frame mFrame{};
};

// Ways through a started track; its position is lost.

/** Reads from `from_us` on, or from where the track stands, as single frames. Where the plug-in
    stops searching, a seek to the newest frame starts it again. Frames come in order and once; one
    is missed where such a seek lands after it. Returns the last run, with the first failure and all
   refused reads. */
Run walkFrames(Session& session, std::optional<int64_t> from_us, const FrameHandler& handle);

/** Takes a time asked for and the frame landed on, null when there was none. */
using SeekHandler = std::function<void(int64_t asked_us, const Frame* frame)>;

/** Seeks to 11 evenly spaced times from 0 to the stated duration; to none on a track that can't. */
void seekEvenly(Session& session, const SeekHandler& handle);

}  // namespace kelflac
