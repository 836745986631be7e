// The demuxer under its package's name. The headers name each other by their paths in the source
// tree, which is installed beside this file as it stands.
#pragma once

#include "libextractor/flac/demuxer/kelflacfd.h"
