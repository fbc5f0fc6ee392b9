// SPDX-License-Identifier: MIT
// Right-threaded tree: the two exported element tables.
#include "memory/rtbt.hpp"

namespace {

// Plain words: the element is its own value and nothing is owned.
int32_t word_retain(uintptr_t, VeskErr *) { return 1; }
void word_dump(void *, uintptr_t, int32_t) {}

}  // namespace

extern "C" {

// The comparison, the duplicate and the release are the ones the tree
// recognises and runs inline. `extern` because a const at namespace scope
// would otherwise have internal linkage.
VESK_API extern const NuBtninfo _G_default_btninfo_opv = {
    vesk::rtbt::word_dup, word_retain, vesk::rtbt::word_release, vesk::rtbt::word_compare, word_dump,
};

// _G_ucntl_btninfo_opv, the table for trees of runtime objects, stands beside
// the object front ends it is made of (runtime/lifecycle.cpp).

}  // extern "C"
