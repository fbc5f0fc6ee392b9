// SPDX-License-Identifier: MIT
// The fuzz targets link lower-layer sources alone, without the runtime. These
// stand in for the two calls by which the lower layer reaches up: VeskMkerr
// records the report and reads the text argument that every report of these
// functions begins with, so that the sanitizer sees a pointer that is not a
// readable string; VeskStartAdd takes start records and runs none. Include
// this in one source file of a target.
#pragma once

#include <cstdarg>
#include <cstring>

#include "vesk.h"

extern "C" int64_t VeskMkerr(void *, VeskErr *err, uint32_t, uint32_t, uint32_t, int32_t facility,
                             int32_t code, int32_t syserr, uint32_t variant, ...) {
    va_list args;
    va_start(args, variant);
    volatile size_t n = std::strlen(va_arg(args, const char *));
    (void)n;
    va_end(args);
    if (err != nullptr) {
        err->status = VESK_STATUS(facility, code);
        err->syserr = syserr;
        err->variant = variant;
    }
    return 0;
}

extern "C" int64_t VeskStartAdd(VeskStartRec *) { return 0; }
