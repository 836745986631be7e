// The memory source's header under the package's name.
#pragma once

#include "libextractor/mfal/kelcmn_mfal_memory.h"
