// The entry of the fuzz targets that compare answers. Each target is one file that defines Run.
#pragma once

#include "fuzz/faulty_source.h"

void Run(Source* source);  ///< What a target does with an input.

/** Runs an input twice, over sources that leave different bytes in the buffers of their reads. */
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Source first(data, size, 0xFF), second(data, size, 0x5A);
    for (Source* source : {&first, &second}) Run(source);
    assert(first.answers == second.answers);
    return 0;
}
