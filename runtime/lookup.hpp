// SPDX-License-Identifier: MIT
// The lookup walks for the runtime's own callers that answer a miss in
// their own way (the orstub forms): no report, no status record.
#pragma once

#include <cstdarg>

#include "vesk.h"

namespace vesk::rt {

// What such a caller answers on a miss, given the object that a hit would
// have had as `self` (a reference's own `self` in the kind-aware form) and
// the caller's closure.
using MissFn = VeskOprow *(*)(void *self, VeskClosure *closure);

// As VeskLookupop / _VeskLookupop without a report: the row with `closure`
// filled, or what `miss` answers. The walk is the plain forms' own, so a
// caller that passes its arguments straight on pays for nothing else.
VeskOprow *find_op(void *object, const VeskOid *key, VeskClosure *closure, MissFn miss);
VeskOprow *find_op_plain(void *object, const VeskOid *key, VeskClosure *closure, MissFn miss);

// The key of the V forms: `category`, c1, then up to four components ended
// by -1 (at most four are read).
VeskOid oid_from_args(uint16_t category, int opnum, int c1, va_list args);

}  // namespace vesk::rt
