// SPDX-License-Identifier: MIT
// Reports of the object runtime proper (facility 1000).
#pragma once

#include <cerrno>

#include "oid.hpp"
#include "vesk.h"

namespace vesk::rt {

// Scope word that opens the runtime's argument reports.
inline constexpr const char *kScope = "vesk-runtime";

template <class... Args>
inline void report(VeskErr *status, int32_t code, int32_t syserr, uint32_t variant, Args... args) {
    VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_RUNTIME, code, syserr, variant, args...);
}

// A null argument: VESK_E_FAULT, variant 3, scope, function, "@parameter".
inline void report_null_arg(VeskErr *status, const char *function, const char *param) {
    report(status, VESK_E_FAULT, EFAULT, 3, kScope, function, param);
}

// A caller's key is checked where it enters: a null key or one whose count
// isn't 1 to 6 gives VESK_E_INVAL, variant 3, scope, function, "@oid".
[[gnu::cold, gnu::noinline]] inline void report_bad_key(VeskErr *status, const char *function) {
    report(status, VESK_E_INVAL, 0, 3, kScope, function, "@oid");
}

inline bool key_ok(const VeskOid *key, VeskErr *status, const char *function) {
    if (oid_usable(key)) [[likely]]
        return true;
    report_bad_key(status, function);
    return false;
}

// The same for a pointer the call writes through or reads: VESK_E_FAULT.
inline bool pointer_ok(const void *p, VeskErr *status, const char *function, const char *param) {
    if (p != nullptr) [[likely]]
        return true;
    report_null_arg(status, function, param);
    return false;
}

// A string argument for %s that is never a null pointer.
inline const char *printable(const char *s) { return s != nullptr ? s : "(null)"; }

}  // namespace vesk::rt
