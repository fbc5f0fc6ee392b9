// SPDX-License-Identifier: MIT
// The records of "modules/stub": what everything ending in orstub falls back on.
#pragma once

#include "vesk.h"

namespace vesk::rt {

VeskClass *stub_class();    // "objects/Nustub", 4.1
VeskOps *stub_ops();        // "operations/stub/null", 3.1.0

// The row a failed orstub lookup answers with.
inline constexpr int kStubInappropriateRow = 5;

// The answer to a failed walk: row "inappropriate" of the stub set, bound to
// the object the walk started from (when the caller gave a closure to bind).
[[gnu::cold]] VeskOprow *stub_row(void *self, VeskClosure *closure);

}  // namespace vesk::rt
