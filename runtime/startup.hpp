// SPDX-License-Identifier: MIT
// Built-in modules: each one announces itself to the bootstrap with its rank
// from a load-time constructor, and the bootstrap links them by rank, lowest
// first, so that each may import from those before it. The runtime names none
// of them.
#pragma once

#include "vesk.h"

namespace vesk::rt {

// Ranks run from 0 to kBuiltinRanks - 1; each rank is taken once.
inline constexpr int kBuiltinRanks = 8;

void builtin_module_add(int rank, VeskModule *module);

}  // namespace vesk::rt

// Announces `module_expr` (a VeskModule *) at `rank` when the library loads.
#define VESK_BUILTIN_MODULE(name, rank, module_expr)                                \
    __attribute__((constructor(VESK_START_PRIORITY_REGISTER))) static void name() { \
        vesk::rt::builtin_module_add((rank), (module_expr));                        \
    }
