// The demuxer's header under the package's name. It includes others by their paths in the source
// tree. The package has them under the same paths, in the folder of this file.
#pragma once

#include "libextractor/flac/demuxer/kelflacfd.h"
