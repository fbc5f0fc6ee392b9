// Right-threaded tree: walks in the three orders, and the dump.
//
// Both honour the left-thread bit, which this tree never sets, so that they
// can walk any tree of the same node family. Walks write nothing, so readers
// may walk one tree together while nobody changes it.
#include "memory/rtbt.hpp"

using namespace vesk::rtbt;

namespace {

NuRTBTNode *right_child(const NuRTBTNode *n) { return right_is_thread(n) ? nullptr : n->right; }

struct Walk {
    int order;
    NuBTWalkfn fn;
    void *argument;
    void *context;
    VeskErr *status;
    int64_t last = 1;

    // false once a callback has stopped the walk (a result of 0 or below).
    bool visit(const NuRTBTNode *n) {
        last = fn(n->data, argument, context, status);
        return last > 0;
    }

    // Recurses on the left; the right spine is a loop in pre- and in-order,
    // so a tree that leans right costs no stack.
    bool subtree(const NuRTBTNode *n) {
        for (;;) {
            if (order == NU_BTWALK_PREORDER && !visit(n))
                return false;
            if (const NuRTBTNode *l = left_child(n); l != nullptr && !subtree(l))
                return false;
            if (order != NU_BTWALK_PREORDER && order != NU_BTWALK_POSTORDER && !visit(n))
                return false;
            const NuRTBTNode *r = right_child(n);
            if (order == NU_BTWALK_POSTORDER) {
                if (r != nullptr && !subtree(r))
                    return false;
                return visit(n);
            }
            if (r == nullptr)
                return true;
            n = r;
        }
    }
};

// dump(element, level) for n, then its right subtree one level down, then its
// left; a missing child is a call with element 0 that ends its branch.
void dump_subtree(const NuBtninfo *btninfo, void *context, const NuRTBTNode *n, int32_t level) {
    for (;;) {
        btninfo->dump(context, n->data, level);
        ++level;
        if (const NuRTBTNode *r = right_child(n))
            dump_subtree(btninfo, context, r, level);
        else
            btninfo->dump(context, 0, level);
        n = left_child(n);
        if (n == nullptr) {
            btninfo->dump(context, 0, level);
            return;
        }
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
    Walk walk{order, fn, argument, context, status};
    // A stop gives 0 whatever the stopping result was: callers keep their
    // reasons in the context.
    return walk.subtree(tree->root) ? walk.last : 0;
}

VESK_API void NuRTBTDump(const NuRTBT *tree, const NuBtninfo *btninfo, void *context) {
    if (context == nullptr || tree == nullptr || tree->root == nullptr || btninfo == nullptr ||
        btninfo->dump == nullptr)
        return;
    dump_subtree(btninfo, context, tree->root, 0);
}

}  // extern "C"
