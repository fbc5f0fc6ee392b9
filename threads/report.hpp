// SPDX-License-Identifier: MIT
// Reports of the lock and thread families, all through VeskMkerr with no
// particular facility, as their callers read them.
#pragma once

#include "vesk.h"

namespace vesk::threads {

// A platform call failed: "<errno>: runtime error.", -1.
inline int64_t report_system(VeskErr *err, int errnum) {
    VeskMkerr(nullptr, err, 0, 0, 0, VESK_FAC_NONE, VESK_E_SYSTEM, 0, 1, errnum);
    return -1;
}

// "<function>: operation timed out.", -6.
inline int64_t report_timed_out(VeskErr *err, const char *function) {
    VeskMkerr(nullptr, err, 0, 0, 0, VESK_FAC_NONE, VESK_E_TIMEDOUT, 0, 1, function);
    return -6;
}

// "<function>:@mutex: resource is used ...": a try-lock that found the lock
// taken, 0.
inline int64_t report_busy(VeskErr *err, const char *function) {
    VeskMkerr(nullptr, err, 0, 0, 0, VESK_FAC_NONE, VESK_E_BUSY, 0, 2, function, "@mutex");
    return 0;
}

// A span in milliseconds beyond the 32-bit range: "<function>(@duration):
// invalid argument.", -1.
inline int64_t refuse_duration(VeskErr *err, const char *function) {
    VeskMkerr(nullptr, err, 0, 0, 0, VESK_FAC_NONE, VESK_E_INVAL, 0, 2, function,
              "@duration");
    return -1;
}

// A null pointer argument: "<function>(<@param>): the argument points outside
// an allocated address space of the process.", -1.
inline int64_t refuse_null(VeskErr *err, const char *function, const char *param) {
    VeskMkerr(nullptr, err, 0, 0, 0, VESK_FAC_NONE, VESK_E_FAULT, 0, 2, function, param);
    return -1;
}

// A priority outside -4 .. 4: "<function><@priority>: implementation does
// not support the feature [of the standard].", -4.
inline int64_t refuse_priority(VeskErr *err, const char *function) {
    VeskMkerr(nullptr, err, 0, 0, 0, VESK_FAC_NONE, VESK_E_NOTSUP, 0, 5, function, "@priority");
    return -4;
}

}  // namespace vesk::threads
