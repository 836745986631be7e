#include "tools/streams/hostile_streams.h"

namespace kelflac_streams {

std::vector<NamedStream> HostileStreams() {
    const StreamBuilder sound = StreamBuilder{}.Frames(0, 3, 200);
    return {
        {"no-marker", Bytes(1000)},
        {"zeros-behind-the-marker", Cat({Text("fLaC"), Bytes(8 << 20)})},
        {"picture-of-4-gib",
         StreamBuilder(sound).Picture({Text("P"), 3, "m", "d", {}, {}, 0xFFFFFFF0}).Build()},
    };
}

}  // namespace kelflac_streams
