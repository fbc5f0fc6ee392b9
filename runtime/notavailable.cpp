// SPDX-License-Identifier: MIT
// Rows that fail when called.
//
// They stand in the stub set, in rows that linking could not resolve, and in
// modules' own sets for what an implementation doesn't do. Each reports under
// the family of the set it was reached through (the primary identifier of
// closure->ops), so that a failure names the interface that was asked, and
// ignores whatever arguments the caller passed behind the status record.
#include "report.hpp"

namespace {

// Codes of the stock table these rows report.

// Results, as the rows' callers translate them.
constexpr int64_t kFailed = -1;
constexpr int64_t kNotImplemented = -3;
constexpr int64_t kUnsupported = -4;

// A row called by hand with no closure, or one bound to no set, still gives
// its failure: under the runtime's own family, row -1, set "(null)".
inline const VeskOps *set_of(const VeskClosure *cl) { return cl != nullptr ? cl->ops : nullptr; }

template <class... Args>
inline void report_for(const VeskClosure *cl, VeskErr *status, int32_t code, uint32_t variant,
                       Args... args) {
    const VeskOps *ops = set_of(cl);
    const int32_t family = ops != nullptr ? int32_t{ops->rec.oid.comp[1]} : int32_t{VESK_FAC_RUNTIME};
    VeskMkerr(nullptr, status, 0, 0, 0, family, code, 0, variant, args...);
}

inline const char *set_name(const VeskClosure *cl) {
    const VeskOps *ops = set_of(cl);
    return vesk::rt::printable(ops != nullptr ? ops->rec.name : nullptr);
}

inline int row_of(const VeskClosure *cl) { return cl != nullptr ? int{cl->opnum} : -1; }

}  // namespace

extern "C" {

VESK_API int64_t VeskOpStubNotconfigured(VeskClosure *closure, VeskErr *status) {
    report_for(closure, status, VESK_E_NOTREADY, 0);
    return kNotImplemented;
}

VESK_API int64_t _VeskOpNotconfigured(VeskClosure *closure, VeskErr *status) {
    report_for(closure, status, VESK_E_NOTREADY, 0);
    return kFailed;
}

VESK_API int64_t _VeskOpInappropriate(VeskClosure *closure, VeskErr *status) {
    report_for(closure, status, VESK_E_INAPPROPRIATE, 5, row_of(closure), set_name(closure));
    return kUnsupported;
}

VESK_API int64_t _VeskOpNotimplemented(VeskClosure *closure, VeskErr *status) {
    report_for(closure, status, VESK_E_NOTIMPL, 1, "operation");
    return kNotImplemented;
}

VESK_API int64_t _VeskOpNotavailable(VeskClosure *closure, VeskErr *status) {
    report_for(closure, status, VESK_E_INAPPROPRIATE_IMPL, 5, row_of(closure), set_name(closure));
    return kUnsupported;
}

VESK_API int64_t _VeskOpNotsupported(VeskClosure *closure, VeskErr *status) {
    report_for(closure, status, VESK_E_OPNOTSUPP, 5, set_name(closure), row_of(closure));
    return kUnsupported;
}

// Variant 1, "{%d}: operation not allowed on the entry.": the one form of the
// code that shows the row number as a number; the word "entry" is the
// sentence's own.
VESK_API int64_t _VeskOpNotallowed(VeskClosure *closure, VeskErr *status) {
    report_for(closure, status, VESK_E_NOTALLOWED, 1, row_of(closure));
    return kFailed;
}

}  // extern "C"
