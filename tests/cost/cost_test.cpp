// The cost law over honest and hostile files and over six kinds of source.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/cost/meter.h"
#include "tools/host/memory_source.h"
#include "tools/streams/costly_streams.h"

namespace kelflac_test {

using namespace kelflac_host;
using namespace kelflac_streams;

static Bill Meter(const std::string& name, const Bytes& file, const Hook& hook = {}) {
    MemorySource source(file, hook);
    source.keeps_calls = false;
    const Bill bill = MeterLife(name.c_str(), &source);
    TellMost(bill);
    return bill;
}

/** Plays a file over six kinds of source. */
static void MeterAll(const std::string& name, const Bytes& file) {
    constexpr int64_t kSniffed = 10, kLarger = 32 << 20;
    const auto middle = static_cast<int64_t>(file.size() / 2);
    const std::pair<const char*, Hook> sources[] = {
        {"is honest", {}},
        {"has no size", UnknownSize},
        {"gives a larger size", [](Call& c) { c.result += c.op == "getsize" ? kLarger : 0; }},
        {"shortens reads", [](Call& c) { c.result /= c.op == "read" && c.arg > kSniffed ? 3 : 1; }},
        {"fails sometimes",
         [](Call& c) { c.result = c.op == "read" && c.index % 5 == 4 ? -1 : c.result; }},
        {"fails from the middle on",
         [=](Call& c) { c.result = c.op == "read" && c.pos > middle ? -1 : c.result; }}};
    for (const auto& [manners, hook] : sources)
        Meter(name + ", over a source that " + manners, file, hook);
}

TEST(Cost, OfStreamsThatRepeatOneThingIsWithinTheLaw) {
    for (const size_t size : {size_t{64} << 10, size_t{512} << 10})
        for (const auto& [name, bytes] : RepeatingStreams(size))
            MeterAll(name + " for " + std::to_string(size), bytes);
}

TEST(Cost, OfHostileStreamsIsWithinTheLaw) {
    for (const auto& [name, bytes] : HostileStreams()) MeterAll(name, bytes);
}

TEST(Cost, OfManyDatesIsNearThatOfOtherComments) {
    constexpr size_t kSize = 16 << 20;
    for (const bool in_blocks : {false, true}) {
        const size_t size = in_blocks ? kSize : kSize - 100;  // a block's length has 24 bits
        const Bill date = Meter("many dates", DateStream(size, false, in_blocks));
        const Bill other = Meter("many comments", DateStream(size, true, in_blocks));
        EXPECT_LE(date.blocks, 3 * other.blocks) << "in blocks: " << in_blocks;
    }
}

static Bytes Contents(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

TEST(Cost, OfAnHonestFileIsFarBelowTheLawAndTheSameOnEachRun) {
    const Bytes sample = Contents(KELFLAC_SAMPLE);
    const Bill bill = Meter("the sample", sample);
    EXPECT_GT(bill.bytes, sample.size()) << "the sample was not read";
    EXPECT_GT(bill.blocks, sample.size() / 64) << "too little was counted";
    EXPECT_LE(bill.PerByte(), kHonestBlocksPerByte);
    EXPECT_EQ(Meter("the sample", sample).blocks, bill.blocks);
}

TEST(Cost, OfPublicFilesIsWithinTheLaw) {
    const char* const folder = std::getenv("KELFLAC_TEST_FILES");
    if (folder == nullptr) GTEST_SKIP() << "KELFLAC_TEST_FILES names no folder of FLAC files";
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.is_regular_file()) MeterAll(entry.path().filename(), Contents(entry.path()));
}

}  // namespace kelflac_test
