// What a file holds beside what the plug-in publishes.
#pragma once

#include <string>

#include "commands.h"
#include "original.h"

namespace kelflac {

/** The ID3 tags by their headers, and the metadata blocks as libFLAC reads them. */
Json inFile(Original& original);

/** The data of a picture in the file, the first one is 1. Throws FileError when there is none. */
std::string pictureInFile(Original& original, unsigned number);

}  // namespace kelflac
