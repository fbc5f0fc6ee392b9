// SPDX-License-Identifier: MIT
// Right-threaded tree: walks in the three orders, and the dump.
//
// Both honour the left-thread bit, which this tree never sets, so that they
// can walk any tree of the same node family. Walks write nothing, so readers
// may walk one tree together while nobody changes it.
#include <cerrno>

#include "memory/rtbt.hpp"
#include "memory/rtbt_stack.hpp"

using namespace vesk::rtbt;

namespace {

NuRTBTNode *right_child(const NuRTBTNode *n) { return right_is_thread(n) ? nullptr : n->right; }

struct Walk {
    NuBTWalkfn fn;
    void *argument;
    void *context;
    VeskErr *status;
    int64_t last = 1;
    WalkStack<const NuRTBTNode *> stack;

    // false once a callback has stopped the walk (a result of 0 or below).
    bool visit(const NuRTBTNode *n) {
        last = fn(n->data, argument, context, status);
        return last > 0;
    }

    // Each walk keeps the nodes still to come back to on its own stack. The
    // results: 1 walked to the end, 0 stopped by a callback, -1 out of memory.
    int preorder(const NuRTBTNode *n) {
        for (;;) {
            if (!visit(n))
                return 0;
            const NuRTBTNode *l = left_child(n), *r = right_child(n);
            if (l != nullptr && r != nullptr && !stack.push(r))
                return -1;
            if (l != nullptr || r != nullptr) {
                n = l != nullptr ? l : r;
            } else if (stack.empty()) {
                return 1;
            } else {
                n = stack.pop();
            }
        }
    }

    // Stacks n and its left descendants; false when out of memory.
    bool push_left_side(const NuRTBTNode *n) {
        for (; n != nullptr; n = left_child(n))
            if (!stack.push(n))
                return false;
        return true;
    }

    int inorder(const NuRTBTNode *n) {
        for (;;) {
            if (!push_left_side(n))
                return -1;
            if (stack.empty())
                return 1;
            const NuRTBTNode *up = stack.pop();
            if (!visit(up))
                return 0;
            n = right_child(up);
        }
    }

    int postorder(const NuRTBTNode *n) {
        const NuRTBTNode *done = nullptr;  // the node visited last
        for (;;) {
            if (!push_left_side(n))
                return -1;
            n = nullptr;
            if (stack.empty())
                return 1;
            const NuRTBTNode *up = stack.top();
            const NuRTBTNode *r = right_child(up);
            if (r != nullptr && r != done) {
                n = r;
                continue;
            }
            if (!visit(up))
                return 0;
            done = stack.pop();
        }
    }
};

// dump(element, level) for a node, then its right subtree one level down,
// then its left; a missing child is a call with element 0 that ends its
// branch. A null node on the stack stands for such a call.
void dump_tree(const NuBtninfo *btninfo, void *context, const NuRTBTNode *root) {
    struct Entry {
        const NuRTBTNode *node;
        int32_t level;
    };
    WalkStack<Entry> stack;
    Entry e{root, 0};
    for (;;) {
        btninfo->dump(context, e.node != nullptr ? e.node->data : 0, e.level);
        if (e.node != nullptr) {
            const int32_t below = e.level + 1;
            // Out of memory the dump ends early: it has no report to give.
            if (!stack.push({left_child(e.node), below}))
                return;
            e = {right_child(e.node), below};
            continue;
        }
        if (stack.empty())
            return;
        e = stack.pop();
    }
}

}  // namespace

extern "C" {

VESK_API int64_t NuBTWalk(const NuRTBT *tree, void *argument, int order, NuBTWalkfn fn,
                          void *context, VeskErr *status) {
    if (tree == nullptr || fn == nullptr) [[unlikely]] {
        report_null(status, tree == nullptr ? "@tree" : "@function");
        return -1;
    }
    if (tree->root == nullptr)
        return 1;
    Walk walk{fn, argument, context, status, 1, {}};
    const int walked = order == NU_BTWALK_PREORDER    ? walk.preorder(tree->root)
                       : order == NU_BTWALK_POSTORDER ? walk.postorder(tree->root)
                                                      : walk.inorder(tree->root);
    if (walked < 0) {
        VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_RTBT, VESK_E_NOMEM, ENOMEM, 1, "@walk.stack");
        return -1;
    }
    // A stop gives 0 whatever the stopping result was: callers keep their
    // reasons in the context.
    return walked > 0 ? walk.last : 0;
}

VESK_API void NuRTBTDump(const NuRTBT *tree, const NuBtninfo *btninfo, void *context) {
    if (context == nullptr || tree == nullptr || tree->root == nullptr || btninfo == nullptr ||
        btninfo->dump == nullptr)
        return;
    dump_tree(btninfo, context, tree->root);
}

}  // extern "C"
