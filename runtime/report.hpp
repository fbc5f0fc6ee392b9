// Reports of the object runtime proper (facility 1000).
#pragma once

#include <cerrno>

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

// A string argument for %s that is never a null pointer.
inline const char *printable(const char *s) { return s != nullptr ? s : "(null)"; }

}  // namespace vesk::rt
