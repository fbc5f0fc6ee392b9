// SPDX-License-Identifier: MIT
// The fuzz targets link lower-layer sources alone, without the runtime. These
// stand in for the two calls by which the lower layer reaches up. VeskMkerr
// keeps the last report in `vesk_fuzz::last_report` and reads the two text
// arguments that every report of the linked functions begins with (a
// function or text, then a parameter name), so that the sanitizer sees a
// pointer that is not a readable string; VeskStartAdd takes start records
// and runs none. Include this in one source file of a target.
#pragma once

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>

#include "vesk.h"

namespace vesk_fuzz {

struct Report {
    int32_t facility = 0, code = 0, syserr = 0;
    uint32_t variant = 0;
    std::string param;  // the second text argument
};
inline Report last_report;

}  // namespace vesk_fuzz

extern "C" int64_t VeskMkerr(void *, VeskErr *err, uint32_t, uint32_t, uint32_t, int32_t facility,
                             int32_t code, int32_t syserr, uint32_t variant, ...) {
    va_list args;
    va_start(args, variant);
    const char *first = va_arg(args, const char *);
    const char *second = va_arg(args, const char *);
    va_end(args);
    if (first == nullptr || second == nullptr)
        std::abort();
    volatile size_t n = std::strlen(first);
    (void)n;
    vesk_fuzz::last_report = {facility, code, syserr, variant, second};
    if (err != nullptr) {
        err->status = VESK_STATUS(facility, code);
        err->syserr = syserr;
        err->variant = variant;
    }
    return 0;
}

extern "C" int64_t VeskStartAdd(VeskStartRec *) { return 0; }
