// SPDX-License-Identifier: MIT
// Right-threaded tree: the life of a head. Creation, copy, move, destruction.
//
// The last node's thread points at the head, so a head is tied to its
// address: moving it is re-threading, and a destroyed head is all zeros
// (self included) until it is initialised again.
#include <cerrno>

#include "memory/rtbt.hpp"
#include "memory/rtbt_stack.hpp"

using namespace vesk::rtbt;

namespace {

void init_head(NuRTBT *tree) { *tree = NuRTBT{nullptr, tree, 0, 0}; }

bool has_right_child(const NuRTBTNode *n) { return !right_is_thread(n) && n->right != nullptr; }

// Copies the tree under `root` in pre-order as the left child of the copy's
// head. Each node is attached where its source stands rather than where a
// descent would put it, so the copy keeps the shape, the balance factors and
// the order of equal elements exactly; dup runs once per element, in
// pre-order. The right children still to copy wait on a stack of their own,
// so a deep source costs heap, not the thread's stack.
bool copy_tree(NuRTBT *tree, const NuBtninfo *btninfo, const NuRTBTNode *root, VeskErr *status) {
    struct Pending {
        const NuRTBTNode *src;
        NuRTBTNode *parent;
        Dir dir;
    };
    WalkStack<Pending> stack;
    Pending p{root, head_node(tree), kLeft};
    for (;;) {
        NuRTBTNode *const node = make_element_node(btninfo, p.src->data, status);
        if (node == nullptr)
            return false;
        attach(tree, p.parent, p.dir, node, Ends{});
        set_flag(node, p.src->flags & NU_RTBT_BALANCE);
        ++tree->count;
        if (has_right_child(p.src) && !stack.push({p.src->right, node, kRight})) {
            VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_RTBT, VESK_E_NOMEM, ENOMEM, 1,
                      "@walk.stack");
            return false;
        }
        if (const NuRTBTNode *l = left_child(p.src)) {
            p = {l, node, kLeft};
        } else if (stack.empty()) {
            return true;
        } else {
            p = stack.pop();
        }
    }
}

}  // namespace

extern "C" {

VESK_API int64_t NuRTBTInit(NuRTBT *tree) {
    if (tree == nullptr)
        return -1;
    init_head(tree);
    return 0;
}

VESK_API NuRTBT *NuRTBTCreate(VeskErr *status) {
    auto *tree = static_cast<NuRTBT *>(_NuMalloc(sizeof(NuRTBT), status));
    if (tree == nullptr) {
        VESK_STATUS_RESTAMP(status, VESK_FAC_RTBT);
        return nullptr;
    }
    init_head(tree);
    return tree;
}

VESK_API void NuRTBTDestroy(NuRTBT *tree, const NuBtninfo *btninfo) {
    if (tree == nullptr)
        return;
    NuRTBTNode *const head = head_node(tree);
    // Only `count` nodes are the tree's: nodes linked by the caller are not
    // counted and stay the caller's. The head check keeps a count that is
    // larger than the tree from running off its end.
    NuRTBTNode *node = tree->root != nullptr ? leftmost(tree->root) : head;
    for (uintptr_t n = tree->count; n != 0 && node != head; --n) {
        NuRTBTNode *const next = successor(node);
        if (btninfo != nullptr)
            release_element(btninfo, node->data);
        NuMfree(node);
        node = next;
    }
    *tree = NuRTBT{};
}

VESK_API void NuRTBTFree(NuRTBT *tree, const NuBtninfo *btninfo) {
    if (tree == nullptr)
        return;
    NuRTBTDestroy(tree, btninfo);
    NuMfree(tree);
}

VESK_API int64_t NuRTBTInit_cp(NuRTBT *tree, const NuRTBT *source, const NuBtninfo *btninfo,
                               VeskErr *status) {
    if (tree == nullptr) {
        report_null(status, "@tree");
        return -1;
    }
    init_head(tree);
    // Empty is what `count` says: nodes linked by hand are not the tree's.
    if (source == nullptr || source->count == 0 || source->root == nullptr)
        return 0;
    if (btninfo == nullptr) {
        report_null(status, "@btninfo");
        return -1;
    }
    if (!copy_tree(tree, btninfo, source->root, status)) {
        NuRTBTDestroy(tree, btninfo);
        return -1;
    }
    return 1;
}

VESK_API int64_t NuRTBTInit_mv(NuRTBT *tree, NuRTBT *source) {
    if (tree == nullptr || source == nullptr)
        return -1;
    if (tree == source)
        return 0;
    if (source->count == 0 || source->root == nullptr) {
        init_head(tree);
    } else {
        *tree = *source;
        tree->self = tree;
        rightmost(tree->root)->right = head_node(tree);
    }
    *source = NuRTBT{};
    return 0;
}

}  // extern "C"
