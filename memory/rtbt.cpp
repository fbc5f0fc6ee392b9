// SPDX-License-Identifier: MIT
// Right-threaded tree: the insert and take-out entry points.
//
// Sixteen entry points, one algorithm. Each is the core of rtbt.hpp (plain or
// balanced) wrapped in one level of ownership, which decides only what
// happens at the ends:
//
//   level            insert           take out                ends
//   element          NuRTBTInsert     NuRTBTDelete            node allocated, element dup'ed /
//                                                             released, node freed; counted
//   element, handed  NuRTBTInsert     NuRTBTRemove            node freed, element returned
//   node             NuRTBTInsnode    NuRTBTRmnode            caller's node; counted
//   link only        _NuRTBTLinknode  _NuRTBTUnlinknode       caller's node; not counted, no
//                                                             report, first/last kept for the caller
#include "memory/rtbt.hpp"

using namespace vesk::rtbt;

namespace {

[[gnu::cold, gnu::noinline]] void report(VeskErr *status, Outcome outcome, const char *param) {
    switch (outcome) {
    case Outcome::exists:
        VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_RTBT, VESK_E_ENTRYEXISTS, 0, 2, param);
        break;
    case Outcome::too_deep:
        VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_RTBT, VESK_E_TOODEEP, 0, 0);
        break;
    case Outcome::missing:
        VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_RTBT, VESK_E_NOMATCH, 0, 2, "@request");
        break;
    case Outcome::done:
        break;
    }
}

// The counted levels report into the caller's record and keep `count`; the
// caller's first and last pointers are not theirs to write.
struct Counted {
    VeskErr *status;
    void null_argument(const char *param) const { report_null(status, param); }
    static Ends ends() { return {}; }
    static void entered(NuRTBT *tree) { ++tree->count; }
    static void left(NuRTBT *tree) { --tree->count; }
    void failed(Outcome outcome, const char *param) const { report(status, outcome, param); }
};

// The link level has no record and no count: the caller keeps its own first
// and last node instead.
struct Linked {
    Ends pointers;
    static void null_argument(const char *) {}
    Ends ends() const { return pointers; }
    static void entered(NuRTBT *) {}
    static void left(NuRTBT *) {}
    static void failed(Outcome, const char *) {}
};

// --- Insert ends ------------------------------------------------------------

struct ElementIn : Counted {
    static constexpr const char *kParam = "@user-info";
    NuRTBTNode *node_for(const NuBtninfo *btninfo, uintptr_t info) const {
        return make_element_node(btninfo, info, status);
    }
    static void undo(const NuBtninfo *btninfo, NuRTBTNode *node) {
        release_element(btninfo, node->data);
        NuMfree(node);
    }
    static NuRTBTNode *result(NuRTBTNode *node) { return node; }
    static NuRTBTNode *failure() { return nullptr; }
};

struct NodeIn : Counted {
    static constexpr const char *kParam = "@node";
    NuRTBTNode *node_for(const NuBtninfo *, NuRTBTNode *node) const {
        if (node == nullptr)
            null_argument(kParam);
        return node;
    }
    static void undo(const NuBtninfo *, NuRTBTNode *) {}
    static NuRTBTNode *result(NuRTBTNode *node) { return node; }
    static NuRTBTNode *failure() { return nullptr; }
};

struct LinkIn : Linked {
    static constexpr const char *kParam = nullptr;
    static NuRTBTNode *node_for(const NuBtninfo *, NuRTBTNode *node) { return node; }
    static void undo(const NuBtninfo *, NuRTBTNode *) {}
    static int64_t result(NuRTBTNode *) { return 0; }
    static int64_t failure() { return -1; }
};

// A refused insertion reports first, then gives back what the level made, so
// the tree is as it was and the comparisons are the only effect.
template <class Level>
inline bool arguments_ok(const NuRTBT *tree, const NuBtninfo *btninfo, const Level &level) {
    if (tree != nullptr && can_compare(btninfo)) [[likely]]
        return true;
    level.null_argument(tree == nullptr ? "@tree" : "@btninfo");
    return false;
}

template <bool kBalanced, class Level, class Input>
inline auto insert(NuRTBT *tree, const NuBtninfo *btninfo, Input input, int dups,
                   const Level &level) {
    if (!arguments_ok(tree, btninfo, level))
        return Level::failure();
    NuRTBTNode *const node = level.node_for(btninfo, input);
    if (node == nullptr)
        return Level::failure();
    const Outcome outcome = with_compare(btninfo, [&](auto cmp) {
        return insert_node<kBalanced>(tree, cmp, node, dups != 0, level.ends());
    });
    if (outcome != Outcome::done) [[unlikely]] {
        level.failed(outcome, Level::kParam);
        level.undo(btninfo, node);
        return Level::failure();
    }
    level.entered(tree);
    return Level::result(node);
}

// --- Take-out ends ----------------------------------------------------------

struct DeleteOut : Counted {
    static int64_t taken(const NuBtninfo *btninfo, NuRTBTNode *node) {
        release_element(btninfo, node->data);
        NuMfree(node);
        return 0;
    }
    static int64_t failure() { return -1; }
};

// A null element is a legitimate result, so failure is the all-ones word.
struct RemoveOut : Counted {
    static uintptr_t taken(const NuBtninfo *, NuRTBTNode *node) {
        const uintptr_t element = node->data;
        NuMfree(node);
        return element;
    }
    static uintptr_t failure() { return NU_RTBT_NOELEMENT; }
};

struct RmnodeOut : Counted {
    static NuRTBTNode *taken(const NuBtninfo *, NuRTBTNode *node) { return node; }
    static NuRTBTNode *failure() { return nullptr; }
};

struct UnlinkOut : Linked {
    static NuRTBTNode *taken(const NuBtninfo *, NuRTBTNode *node) { return node; }
    static NuRTBTNode *failure() { return nullptr; }
};

template <bool kBalanced, class Level>
inline auto take_out(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                     const Level &level) {
    if (!arguments_ok(tree, btninfo, level))
        return Level::failure();
    NuRTBTNode *node = nullptr;
    const Outcome outcome = with_compare(btninfo, [&](auto cmp) {
        return detach_node<kBalanced>(tree, cmp, request, level.ends(), node);
    });
    if (outcome != Outcome::done) [[unlikely]] {
        level.failed(outcome, nullptr);
        return Level::failure();
    }
    level.left(tree);
    return Level::taken(btninfo, node);
}

[[gnu::cold, gnu::noinline]] NuRTBTNode *missing(VeskErr *status) {
    report(status, Outcome::missing, nullptr);
    return nullptr;
}

[[gnu::cold, gnu::noinline]] NuRTBTNode *refuse_null(const char *param, VeskErr *status) {
    report_null(status, param);
    return nullptr;
}

[[gnu::noinline]] NuRTBTNode *find_by_table(const NuRTBT *tree,
                                            intptr_t (*compare)(uintptr_t, uintptr_t),
                                            uintptr_t request, VeskErr *status) {
    NuRTBTNode *const node = find_node(tree, TableCompare{compare}, request);
    return node != nullptr ? node : missing(status);
}

}  // namespace

extern "C" {

// A search is the tree's hottest call, so it is kept a leaf: the report is a
// tail call, and the path with a caller's comparison lies outside it.
VESK_API NuRTBTNode *NuRTBTFind(const NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                VeskErr *status) {
    if (tree == nullptr || !can_compare(btninfo)) [[unlikely]]
        return refuse_null(tree == nullptr ? "@tree" : "@btninfo", status);
    if (btninfo->compare != &word_compare)
        return find_by_table(tree, btninfo->compare, request, status);
    NuRTBTNode *const node = find_node(tree, WordCompare{}, request);
    return node != nullptr ? node : missing(status);
}

// --- Element level ----------------------------------------------------------

VESK_API NuRTBTNode *NuRTBTInsert(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t userinfo,
                                  int dups, VeskErr *status) {
    return insert<false>(tree, btninfo, userinfo, dups, ElementIn{{status}});
}

VESK_API NuRTBTNode *NuRTBTInsert_b(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t userinfo,
                                    int dups, VeskErr *status) {
    return insert<true>(tree, btninfo, userinfo, dups, ElementIn{{status}});
}

VESK_API int64_t NuRTBTDelete(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                              VeskErr *status) {
    return take_out<false>(tree, btninfo, request, DeleteOut{{status}});
}

VESK_API int64_t NuRTBTDelete_b(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                VeskErr *status) {
    return take_out<true>(tree, btninfo, request, DeleteOut{{status}});
}

VESK_API uintptr_t NuRTBTRemove(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                VeskErr *status) {
    return take_out<false>(tree, btninfo, request, RemoveOut{{status}});
}

VESK_API uintptr_t NuRTBTRemove_b(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                  VeskErr *status) {
    return take_out<true>(tree, btninfo, request, RemoveOut{{status}});
}

// --- Node level -------------------------------------------------------------

VESK_API NuRTBTNode *NuRTBTInsnode(NuRTBT *tree, const NuBtninfo *btninfo, NuRTBTNode *node,
                                   int dups, VeskErr *status) {
    return insert<false>(tree, btninfo, node, dups, NodeIn{{status}});
}

VESK_API NuRTBTNode *NuRTBTInsnode_b(NuRTBT *tree, const NuBtninfo *btninfo, NuRTBTNode *node,
                                     int dups, VeskErr *status) {
    return insert<true>(tree, btninfo, node, dups, NodeIn{{status}});
}

VESK_API NuRTBTNode *NuRTBTRmnode(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                  VeskErr *status) {
    return take_out<false>(tree, btninfo, request, RmnodeOut{{status}});
}

VESK_API NuRTBTNode *NuRTBTRmnode_b(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                    VeskErr *status) {
    return take_out<true>(tree, btninfo, request, RmnodeOut{{status}});
}

// --- Link level -------------------------------------------------------------

VESK_API int64_t _NuRTBTLinknode(NuRTBT *tree, const NuBtninfo *btninfo, NuRTBTNode *node,
                                 int dups, NuRTBTNode **first, NuRTBTNode **last) {
    return insert<false>(tree, btninfo, node, dups, LinkIn{{{first, last}}});
}

VESK_API int64_t _NuRTBTLinknode_b(NuRTBT *tree, const NuBtninfo *btninfo, NuRTBTNode *node,
                                   int dups, NuRTBTNode **first, NuRTBTNode **last) {
    return insert<true>(tree, btninfo, node, dups, LinkIn{{{first, last}}});
}

VESK_API NuRTBTNode *_NuRTBTUnlinknode(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                       NuRTBTNode **first, NuRTBTNode **last) {
    return take_out<false>(tree, btninfo, request, UnlinkOut{{{first, last}}});
}

VESK_API NuRTBTNode *_NuRTBTUnlinknode_b(NuRTBT *tree, const NuBtninfo *btninfo,
                                         uintptr_t request, NuRTBTNode **first,
                                         NuRTBTNode **last) {
    return take_out<true>(tree, btninfo, request, UnlinkOut{{{first, last}}});
}

}  // extern "C"
