// The plug-in in a framework's hands, as the tests drive it.
#pragma once

#include <gtest/gtest.h>

#include "tools/host/session.h"
#include "tools/streams/stream_builder.h"

namespace kelflac_test {

using namespace kelflac_host;
using namespace kelflac_streams;

/** A session whose track is started. */
struct Started : Session {
    explicit Started(Bytes bytes, const Hook& hook = {}) : Session(std::move(bytes), hook) {
        EXPECT_EQ(Start(), AMEDIA_OK);
    }
};

}  // namespace kelflac_test
