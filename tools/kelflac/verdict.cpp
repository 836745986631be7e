#include <xxhash.h>

#include <algorithm>
#include <cstdlib>

#include "commands.h"
#include "errors.h"
#include "media/ExtMediaFormatDef.h"
#include "original.h"
#include "session.h"
#include "text.h"

namespace kelflac {
namespace {

/** Tests the plug-in on one file. */
class Trial {
  public:
    Trial(const Plugin& plugin, const Options& options, const std::string& file, Original* original,
          const Decoded& decoded)
        : mOptions(options),
          mOriginal(*original),
          mDecoded(decoded),
          mSession(plugin, file, options.size_known) {}

    /** Opens the file, reads all of it, and seeks. */
    void run();
    Json record() const;

  private:
    void compareFormat();
    void readAll();
    Decoded decodeAll();
    const Frame* takeNext();
    void follow(const Frame& frame, bool refused);
    void judgeEnd();
    void compareTime(const Frame& frame, std::optional<int64_t> byte);
    void compareSamples(const Decoded& handed_out);
    void judgeSeek(int64_t asked_us, const Frame* frame);
    void digest(const AMediaFormat* format);
    void digest(const Frame& frame);
    void digest(std::string_view bytes) {
        mDigest = XXH3_64bits_withSeed(bytes.data(), bytes.size(), mDigest);
    }
    void digest(int64_t number) { digest(std::to_string(number)); }

    void fault(const char* code, const std::string& text, std::optional<int64_t> byte,
               std::optional<int64_t> time_us = std::nullopt) {
        mFaults.add({code, text, byte, time_us});
    }
    std::string codecData() {
        return Session::bufferOf(mSession.trackFormat(), AMEDIAFORMAT_KEY_CSD_0);
    }
    bool isFaultless() const { return mDecoded.known && mDecoded.faults.none(); }
    /** Damage, jumps in the numbers or very different frame sizes can make a seek land anywhere. In
        a source of unknown size every seek fails. */
    bool seeksJudged() const {
        constexpr uint64_t kMuch = 10;
        return isFaultless() && mDecoded.largest_frame < kMuch * mDecoded.smallest_frame &&
               mOptions.size_known;
    }

    const Options& mOptions;
    Original& mOriginal;
    const Decoded& mDecoded;
    Session mSession;
    std::optional<StreamInfo> mInfo;  ///< In the codec-specific data.
    Reasons mFaults;
    Reasons mRefusals;
    uint64_t mDigest = 0;  ///< Of all that was handed out; the same on every machine.
    Run mRun;
    uint64_t mBytes = 0;        ///< Handed out.
    uint64_t mLeftOut = 0;      ///< Bytes before each buffer and after the last.
    off64_t mFirst = 0;         ///< Where the first buffer stands in the file.
    off64_t mNext = 0;          ///< Where the next buffer should stand in the file.
    uint64_t mRefusedThen = 0;  ///< Reads refused before the latest buffer.
    bool mLost = false;         ///< A buffer was not found: later ones are not followed.
    uint64_t mSeeks = 0;
    uint64_t mSeeksLost = 0;
    int64_t mSeeksOffUs = 0;  ///< The farthest.
};

void Trial::run() {
    try {
        mSession.open();
    } catch (const FileError& e) {
        const auto reason = mOriginal.refusal(mDecoded, mOptions.size_known);
        if (reason) return mRefusals.add(*reason);
        return fault("refused-without-reason", e.what(), {});
    }
    digest(mSession.trackFormat());
    digest(mSession.fileMeta());
    digest(int64_t{mSession.flags()});
    compareFormat();
    mSession.startTrack();
    readAll();
    if (mOptions.size_known && !mSession.canSeek()) fault("no-seeks", "is not seekable", {});
    seekEvenly(mSession, [&](int64_t asked_us, const Frame* frame) { judgeSeek(asked_us, frame); });
}

void Trial::compareFormat() {
    const auto differs = [&](const char* key) {
        fault("format", std::string(key) + " is not that of STREAMINFO", {});
    };
    const std::string data = codecData();
    const std::string_view marks("fLaC\x80\0\0\x22", 8);
    StreamInfo info{};
    if (data.size() != marks.size() + info.body.size() || data.compare(0, marks.size(), marks) != 0)
        return differs(AMEDIAFORMAT_KEY_CSD_0);
    const std::string_view body = std::string_view(data).substr(marks.size());
    std::copy(body.begin(), body.end(), info.body.begin());
    mInfo = info;
    // If the file may have faults, STREAMINFO may stand anywhere in it.
    const bool certain = isFaultless() && mDecoded.has_info;
    if (certain ? !mOriginal.standsAt(body, mDecoded.info_at) : !mOriginal.find(body, 0)) {
        differs(AMEDIAFORMAT_KEY_CSD_0);
    }
    const int64_t most = info.channels() * info.minBlock() * (info.bits() / 8);
    const std::pair<const char*, int64_t> kNumbers[] = {
        {AMEDIAFORMAT_KEY_CHANNEL_COUNT, info.channels()},
        {AMEDIAFORMAT_KEY_SAMPLE_RATE, info.rate()},
        {AMEDIAFORMAT_KEY_BITS_PER_SAMPLE, info.bits()},
        {android::AMEDIAFORMAT_KEY_MIN_BLOCK_SIZE, info.minBlock()},
        {android::AMEDIAFORMAT_KEY_MAX_BLOCK_SIZE, info.maxBlock()},
        {android::AMEDIAFORMAT_KEY_MIN_FRAME_SIZE, info.minFrame()},
        {android::AMEDIAFORMAT_KEY_MAX_FRAME_SIZE, info.maxFrame() > 0 ? info.maxFrame() : most},
    };
    for (const auto& [key, wanted] : kNumbers) {
        int32_t value = 0;
        if (!AMediaFormat_getInt32(mSession.trackFormat(), key, &value) || value != wanted)
            differs(key);
    }
    const auto samples = static_cast<uint64_t>(info.samples());
    if (samples > 0 && mSession.durationUs() != timeUs(samples, info.rate())) {
        differs(AMEDIAFORMAT_KEY_DURATION);
    }
}

void Trial::readAll() {
    mSession.begin(std::nullopt);
    Decoded handed_out;
    if (mDecoded.known && mInfo) handed_out = decodeAll();
    while (takeNext() != nullptr) continue;  // What the decoder has not asked for.
    mRun = mSession.run();
    if (!mSession.input().failure().empty()) throw FileError(mSession.input().failure());
    digest(int64_t{mRun.status});
    judgeEnd();
    compareSamples(handed_out);
}

/** Decodes what is handed out, and reads as the decoder asks. */
Decoded Trial::decodeAll() {
    std::string_view left;
    return decode(inFront(codecData(), [&](uint8_t* to, size_t room) {
        if (left.empty()) {
            const Frame* frame = takeNext();
            if (frame != nullptr) left = frame->bytes;
        }
        const size_t count = std::min(room, left.size());
        std::copy_n(left.begin(), count, to);
        left.remove_prefix(count);
        return count;
    }));
}

const Frame* Trial::takeNext() {
    const Frame* frame = mSession.next();
    if (frame == nullptr) return nullptr;
    const uint64_t refused = mSession.run().refused;
    digest(static_cast<int64_t>(refused));
    digest(*frame);
    mBytes += frame->bytes.size();
    if (!mLost) follow(*frame, refused > mRefusedThen);
    mRefusedThen = refused;
    const off64_t at = mNext - static_cast<off64_t>(frame->bytes.size());
    if (frame->single) compareTime(*frame, mLost ? std::nullopt : std::optional(at));
    return frame;
}

/** Looks where the buffer stands in the file, and what was left out before it. */
void Trial::follow(const Frame& frame, bool refused) {
    std::optional<off64_t> at = mNext;
    if (frame.index == 0 || !mOriginal.standsAt(frame.bytes, mNext)) {
        at = mOriginal.find(frame.bytes, mNext);
    }
    if (!at) {
        mLost = true;
        const bool before = mOriginal.find(frame.bytes, 0).has_value();
        return fault(before ? "out-of-order" : "not-in-file",
                     before ? "a buffer is out of order" : "a buffer is not in the file", mNext,
                     frame.time_us);
    }
    if (frame.index == 0) {
        mFirst = *at;
        // Bytes before the first buffer count only if they hold a frame.
        const bool first_too = mDecoded.frames > 0 && mDecoded.first_end <= *at;
        mNext = first_too ? mDecoded.metadata_end : *at;
    }
    const off64_t left_out = *at - mNext;
    mLeftOut += static_cast<uint64_t>(left_out);
    if (left_out > 0 && !refused) {
        fault("left-out", std::to_string(left_out) + " bytes left out, but no read refused", mNext,
              frame.time_us);
    }
    mNext = *at + static_cast<off64_t>(frame.bytes.size());
}

void Trial::judgeEnd() {
    if (mRun.refused > 0) {
        mRefusals.add({"frame-too-large", std::to_string(mRun.refused) +
                                              " reads refused as too large: frames left out"});
    }
    if (mRun.status != AMEDIA_ERROR_END_OF_STREAM && mRun.status != AMEDIA_ERROR_UNKNOWN) {
        fault("read-failed", "read failed: " + statusText(mRun.status), mNext);
    }
    const off64_t after = mLost ? 0 : std::max<off64_t>(mOriginal.size() - mNext, 0);
    mLeftOut += static_cast<uint64_t>(after);
    // With unknown size a search misses the last frame.
    if (after == 0 || mRun.refused > mRefusedThen || !mOptions.size_known) return;
    fault("left-out", std::to_string(after) + " bytes left out at the end", mNext);
}

void Trial::compareTime(const Frame& frame, std::optional<int64_t> byte) {
    if (!mInfo || mInfo->rate() == 0) return;
    const auto place = placeOf(frame.bytes, mInfo->maxBlock());
    if (!place) {
        return fault("no-header", "a buffer of a whole frame does not begin with its header", byte,
                     frame.time_us);
    }
    const int64_t wanted = timeUs(place->sample, mInfo->rate());
    if (frame.time_us == wanted) return;
    fault("time",
          "a frame at " + std::to_string(wanted) + " us has the time " +
              std::to_string(frame.time_us.value_or(-1)),
          byte, wanted);
}

void Trial::compareSamples(const Decoded& handed_out) {
    // Frames may be missing, or the decoder may begin elsewhere.
    const bool may_differ = mRun.refused > 0 || !mOptions.size_known ||
                            mFirst < mDecoded.metadata_end || mFirst >= mDecoded.first_end;
    if (may_differ || !handed_out.known || handed_out.hash == mDecoded.hash) return;
    // With codec data in place of its own metadata, a damaged file may decode differently.
    const Pull same = inFront(codecData(), bytesOf(mOriginal.input(), mFirst));
    if (!mDecoded.faults.none() && decode(same).hash == handed_out.hash) return;
    fault("samples-differ", "what is handed out decodes to other samples than the file", {});
}

void Trial::judgeSeek(int64_t asked_us, const Frame* frame) {
    ++mSeeks;
    digest(int64_t{frame != nullptr});
    const double blocks =
        mInfo ? static_cast<double>(mInfo->rate()) / static_cast<double>(mInfo->maxBlock()) : 0;
    const auto asked = static_cast<int64_t>(static_cast<double>(asked_us) / 1e6 * blocks);
    if (frame == nullptr) {
        ++mSeeksLost;
        // The last frame may be missed. Seeks fail if the stated largest frame exceeds the file.
        const bool near_end = asked + 1 >= static_cast<int64_t>(mDecoded.frames);
        const bool tiny = mOriginal.size() < mSession.maxFrameSize();
        if (!seeksJudged() || near_end || tiny) return;
        return fault("seek-lost", "a seek finds no frame", {}, asked_us);
    }
    digest(*frame);
    const int64_t time_us = frame->time_us.value_or(0);
    const int64_t end_us = time_us + frame->duration_us.value_or(0);
    mSeeksOffUs = std::max({mSeeksOffUs, time_us - asked_us, asked_us - end_us});
    const auto at = mOriginal.find(frame->bytes, 0);
    compareTime(*frame, at);
    if (!at) fault("seek-not-in-file", "a seek hands out what is not in the file", {}, asked_us);
    // Neighbours of the frame asked for are near enough.
    const auto place = placeOf(frame->bytes, 1);
    if (!seeksJudged() || !place || std::abs(place->number - asked) <= 1) return;
    fault("seek-far-off", "a seek lands at " + durationText(time_us), {}, asked_us);
}

void Trial::digest(const AMediaFormat* format) {
    host::FormatEntry entry{};
    for (size_t i = 0; host::formatEntry(format, i, &entry); ++i) {
        digest(std::string_view(entry.key));
        digest(entry.number);
        digest(std::string_view(static_cast<const char*>(entry.data), entry.size));
    }
}

void Trial::digest(const Frame& frame) {
    digest(frame.bytes);
    for (const int64_t number :
         {frame.time_us.value_or(-1), frame.duration_us.value_or(-1), int64_t{frame.sync}})
        digest(number);
}

Json jsonOf(const Reasons& reasons) {
    Json all = Json::array();
    for (const Reason& reason : reasons.all()) {
        Json one = {{"code", reason.code}, {"text", reason.text}, {"count", reason.count}};
        if (reason.byte) one["byte"] = *reason.byte;
        if (reason.time_us) one["seconds"] = static_cast<double>(*reason.time_us) / 1e6;
        all.push_back(one);
    }
    return all;
}

Json Trial::record() const {
    const char* verdict = !mFaults.none() ? "wrong" : !mRefusals.none() ? "refused" : "sound";
    Json reasons = jsonOf(mFaults);
    for (const Json& refusal : jsonOf(mRefusals)) reasons.push_back(refusal);
    return {{"verdict", verdict},          {"reasons", reasons},
            {"buffers", mRun.buffers},     {"pieces", mRun.pieces},
            {"refused", mRun.refused},     {"bytes", mBytes},
            {"left_out", mLeftOut},        {"seeks", mSeeks},
            {"seeks_lost", mSeeksLost},    {"seeks_judged", seeksJudged()},
            {"seeks_off_us", mSeeksOffUs}, {"digest", std::to_string(mDigest)}};
}

}  // namespace

Json judge(const Plugin& plugin, const Options& options, const std::string& file) {
    Original original(file);
    Decoded decoded;
    if (options.decode) decoded = decodeFile(original.input());
    if (!original.input().failure().empty()) throw FileError(original.input().failure());
    Trial trial(plugin, options, file, &original, decoded);
    trial.run();
    const char* verdict = !decoded.known          ? "unchecked"
                          : decoded.faults.none() ? "sound"
                                                  : "damaged";
    Json record = {{"file", file},
                   {"ok", false},
                   {"size", original.size()},
                   {"plugin", trial.record()},
                   {"stream", {{"verdict", verdict}, {"reasons", jsonOf(decoded.faults)}}}};
    if (decoded.known) {
        record["stream"]["samples"] = decoded.samples;
        record["stream"]["md5"] = decoded.has_md5 ? "stated" : "none";
    }
    record["ok"] = record["plugin"]["verdict"] == "sound" && decoded.faults.none();
    return record;
}

}  // namespace kelflac
