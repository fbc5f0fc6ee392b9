// SPDX-License-Identifier: MIT
// Levels of ownership around the tree core of rtbt.hpp: who makes and who
// gives back the node and the element, what is reported, and what a kind of
// tree does besides the links of the tree when a node comes in or goes out.
//
// A level decides only what happens at the ends of an insert or a take-out;
// a kind of tree (the plain tree, the sequenced tree) decides what its head
// keeps. Both trees run the same insert() and take_out() below, and through
// them the same descent, attach, detach and balancing.
#pragma once

#include "memory/rtbt.hpp"

namespace vesk::rtbt {
// Local to each file that includes it, as if written there: the entry points
// of one file are then the only callers the compiler weighs when it decides
// what to inline, and the plain tree's entry points compile as they did when
// these lines lived in rtbt.cpp (with external linkage they did not: the
// failure paths and the caller-comparison paths came out differently).
namespace {

[[gnu::cold, gnu::noinline]] void report(VeskErr *status, Outcome outcome,
                                                const char *param) {
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

// The plain tree: the head counts its nodes and keeps nothing else; the
// counted levels don't write anyone's first and last pointers.
struct PlainTree {
    using Head = NuRTBT;
    using Node = NuRTBTNode;
    static Ends ends(NuRTBT *) { return {}; }
    static void entered(NuRTBT *tree, NuRTBTNode *) { ++tree->count; }
    static void left(NuRTBT *tree, NuRTBTNode *) { --tree->count; }
};

// The node record a caller of a kind of tree hands in and gets back; the
// core sees its leading NuRTBTNode.
template <class Node>
inline NuRTBTNode *tree_node(Node *node) {
    static_assert(offsetof(Node, data) == offsetof(NuRTBTNode, data));
    return reinterpret_cast<NuRTBTNode *>(node);
}
template <class Node>
inline Node *record_of(NuRTBTNode *node) {
    return reinterpret_cast<Node *>(node);
}

// The counted levels report into the caller's record and let the kind of
// tree keep its head.
template <class Kind>
struct Counted {
    using Head = typename Kind::Head;
    using Node = typename Kind::Node;
    VeskErr *status;
    void null_argument(const char *param) const { report_null(status, param); }
    static auto ends(Head *tree) { return Kind::ends(tree); }
    static void entered(Head *tree, NuRTBTNode *node) { Kind::entered(tree, node); }
    static void left(Head *tree, NuRTBTNode *node) { Kind::left(tree, node); }
    void failed(Outcome outcome, const char *param) const { report(status, outcome, param); }
};

// The link level (plain tree only) has no record and no count: the caller
// keeps its own first and last node instead.
struct Linked {
    using Head = NuRTBT;
    using Node = NuRTBTNode;
    Ends pointers;
    static void null_argument(const char *) {}
    Ends ends(NuRTBT *) const { return pointers; }
    static void entered(NuRTBT *, NuRTBTNode *) {}
    static void left(NuRTBT *, NuRTBTNode *) {}
    static void failed(Outcome, const char *) {}
};

// --- Insert ends ------------------------------------------------------------

template <class Kind>
struct ElementIn : Counted<Kind> {
    using Node = typename Kind::Node;
    static constexpr const char *kParam = "@user-info";
    NuRTBTNode *node_for(const NuBtninfo *btninfo, uintptr_t info) const {
        return make_element_node(btninfo, info, this->status, sizeof(Node));
    }
    static void undo(const NuBtninfo *btninfo, NuRTBTNode *node) {
        release_element(btninfo, node->data);
        NuMfree(node);
    }
    static Node *result(NuRTBTNode *node) { return record_of<Node>(node); }
    static Node *failure() { return nullptr; }
};

template <class Kind>
struct NodeIn : Counted<Kind> {
    using Node = typename Kind::Node;
    static constexpr const char *kParam = "@node";
    NuRTBTNode *node_for(const NuBtninfo *, Node *node) const {
        if (node == nullptr)
            this->null_argument(kParam);
        return tree_node(node);
    }
    static void undo(const NuBtninfo *, NuRTBTNode *) {}
    static Node *result(NuRTBTNode *node) { return record_of<Node>(node); }
    static Node *failure() { return nullptr; }
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
template <class Head, class Level>
inline bool arguments_ok(const Head *tree, const NuBtninfo *btninfo, const Level &level) {
    if (tree != nullptr && can_compare(btninfo)) [[likely]]
        return true;
    level.null_argument(tree == nullptr ? "@tree" : "@btninfo");
    return false;
}

template <bool kBalanced, class Level, class Input>
inline auto insert(typename Level::Head *tree, const NuBtninfo *btninfo, Input input, int dups,
                   const Level &level) {
    if (!arguments_ok(tree, btninfo, level))
        return Level::failure();
    NuRTBTNode *const node = level.node_for(btninfo, input);
    if (node == nullptr)
        return Level::failure();
    const Outcome outcome = with_compare(btninfo, [&](auto cmp) {
        return insert_node<kBalanced>(tree, cmp, node, dups != 0, level.ends(tree));
    });
    if (outcome != Outcome::done) [[unlikely]] {
        level.failed(outcome, Level::kParam);
        level.undo(btninfo, node);
        return Level::failure();
    }
    level.entered(tree, node);
    return Level::result(node);
}

// --- Take-out ends ----------------------------------------------------------

template <class Kind>
struct DeleteOut : Counted<Kind> {
    static int64_t taken(const NuBtninfo *btninfo, NuRTBTNode *node) {
        release_element(btninfo, node->data);
        NuMfree(node);
        return 0;
    }
    static int64_t failure() { return -1; }
};

// A null element is a legitimate result, so failure is the all-ones word.
template <class Kind>
struct RemoveOut : Counted<Kind> {
    static uintptr_t taken(const NuBtninfo *, NuRTBTNode *node) {
        const uintptr_t element = node->data;
        NuMfree(node);
        return element;
    }
    static uintptr_t failure() { return NU_RTBT_NOELEMENT; }
};

template <class Kind>
struct RmnodeOut : Counted<Kind> {
    using Node = typename Kind::Node;
    static Node *taken(const NuBtninfo *, NuRTBTNode *node) { return record_of<Node>(node); }
    static Node *failure() { return nullptr; }
};

struct UnlinkOut : Linked {
    static NuRTBTNode *taken(const NuBtninfo *, NuRTBTNode *node) { return node; }
    static NuRTBTNode *failure() { return nullptr; }
};

template <bool kBalanced, class Level>
inline auto take_out(typename Level::Head *tree, const NuBtninfo *btninfo, uintptr_t request,
                     const Level &level) {
    if (!arguments_ok(tree, btninfo, level))
        return Level::failure();
    NuRTBTNode *node = nullptr;
    const Outcome outcome = with_compare(btninfo, [&](auto cmp) {
        return detach_node<kBalanced>(tree, cmp, request, level.ends(tree), node);
    });
    if (outcome != Outcome::done) [[unlikely]] {
        level.failed(outcome, nullptr);
        return Level::failure();
    }
    level.left(tree, node);
    return Level::taken(btninfo, node);
}

}  // namespace
}  // namespace vesk::rtbt
