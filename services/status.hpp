// SPDX-License-Identifier: MIT
// Status reports: helpers for the library's own operations.
#pragma once

#include "vesk.h"

namespace vesk {

// The status value of a report: (facility << 16) | code as a signed 32-bit
// number, sign-extended.
constexpr int64_t status_value(int32_t facility, int32_t code) {
    return VESK_STATUS(facility, code);
}

// Passes a nested failure on from a running operation: the code, syserr,
// variant and message stay; the family of the running set (its primary
// identifier, or a Nu family number) goes into the high half. A null record
// is left alone.
inline void restamp(VeskErr *err, int32_t family) { VESK_STATUS_RESTAMP(err, family); }
inline void restamp(VeskErr *err, const VeskClosure *running) {
    restamp(err, running->ops->rec.oid.comp[1]);
}

// Row `opnum` of the error set on `service` (null: the default service), with
// its closure filled; null when there is no service or no such function.
VeskOprow *error_service_row(void *service, uint16_t opnum, VeskClosure *closure);

}  // namespace vesk
