// SPDX-License-Identifier: MIT
// In-order steps over right-threaded nodes: the one walk that the tree's own
// operations, the start chain and the registries share.
#pragma once

#include "nu.h"

namespace vesk::rtbt {

inline bool right_is_thread(const NuRTBTNode *n) { return (n->flags & NU_RTBT_RTHREAD) != 0; }

// The left child as the walks see it: a left thread, which other trees of the
// same node family may set, is no child either.
inline NuRTBTNode *left_child(const NuRTBTNode *n) {
    return (n->flags & NU_RTBT_LTHREAD) ? nullptr : n->left;
}

inline NuRTBTNode *leftmost(NuRTBTNode *n) {
    while (NuRTBTNode *l = left_child(n))
        n = l;
    return n;
}

// In-order successor along the right link; the last node's is the head (or,
// in a tree that doesn't thread its last node, null).
inline NuRTBTNode *successor(const NuRTBTNode *n) {
    return right_is_thread(n) ? n->right : leftmost(n->right);
}

}  // namespace vesk::rtbt
