// SPDX-License-Identifier: MIT
// Right-threaded tree: the insert and take-out entry points.
//
// Sixteen entry points, one algorithm. Each is the core of rtbt.hpp (plain or
// balanced) wrapped in one level of ownership (rtbt_levels.hpp), which
// decides only what happens at the ends:
//
//   level            insert           take out                ends
//   element          NuRTBTInsert     NuRTBTDelete            node allocated, element dup'ed /
//                                                             released, node freed; counted
//   element, handed  NuRTBTInsert     NuRTBTRemove            node freed, element returned
//   node             NuRTBTInsnode    NuRTBTRmnode            caller's node; counted
//   link only        _NuRTBTLinknode  _NuRTBTUnlinknode       caller's node; not counted, no
//                                                             report, first/last kept for the caller
#include "memory/rtbt_levels.hpp"

using namespace vesk::rtbt;

namespace {

using Element = ElementIn<PlainTree>;
using Nodes = NodeIn<PlainTree>;
using Delete = DeleteOut<PlainTree>;
using Remove = RemoveOut<PlainTree>;
using Rmnode = RmnodeOut<PlainTree>;

[[gnu::cold, gnu::noinline]] NuRTBTNode *missing(VeskErr *status) {
    report(status, Outcome::missing, nullptr);
    return nullptr;
}

[[gnu::cold, gnu::noinline]] NuRTBTNode *refuse_null(const char *param, VeskErr *status) {
    report_null(status, param);
    return nullptr;
}

// Everything but a valid tree searched with the stock comparison.
[[gnu::noinline]] NuRTBTNode *find_other(const NuRTBT *tree, const NuBtninfo *btninfo,
                                         uintptr_t request, VeskErr *status) {
    if (tree == nullptr || !can_compare(btninfo)) [[unlikely]]
        return refuse_null(tree == nullptr ? "@tree" : "@btninfo", status);
    NuRTBTNode *const node = find_node(tree, TableCompare{btninfo->compare}, request);
    return node != nullptr ? node : missing(status);
}

}  // namespace

extern "C" {

// A search is the tree's hottest call, so it is kept a leaf: the report is a
// tail call, and the path with a caller's comparison lies outside it.
VESK_API NuRTBTNode *NuRTBTFind(const NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                VeskErr *status) {
    // The stock comparison is not null: one test covers both.
    if (tree != nullptr && btninfo != nullptr && btninfo->compare == &word_compare) [[likely]] {
        NuRTBTNode *const node = find_node(tree, WordCompare{}, request);
        return node != nullptr ? node : missing(status);
    }
    return find_other(tree, btninfo, request, status);
}

// --- Element level ----------------------------------------------------------

VESK_API NuRTBTNode *NuRTBTInsert(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t userinfo,
                                  int dups, VeskErr *status) {
    return insert<false>(tree, btninfo, userinfo, dups, Element{{status}});
}

VESK_API NuRTBTNode *NuRTBTInsert_b(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t userinfo,
                                    int dups, VeskErr *status) {
    return insert<true>(tree, btninfo, userinfo, dups, Element{{status}});
}

VESK_API int64_t NuRTBTDelete(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                              VeskErr *status) {
    return take_out<false>(tree, btninfo, request, Delete{{status}});
}

VESK_API int64_t NuRTBTDelete_b(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                VeskErr *status) {
    return take_out<true>(tree, btninfo, request, Delete{{status}});
}

VESK_API uintptr_t NuRTBTRemove(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                VeskErr *status) {
    return take_out<false>(tree, btninfo, request, Remove{{status}});
}

VESK_API uintptr_t NuRTBTRemove_b(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                  VeskErr *status) {
    return take_out<true>(tree, btninfo, request, Remove{{status}});
}

// --- Node level -------------------------------------------------------------

VESK_API NuRTBTNode *NuRTBTInsnode(NuRTBT *tree, const NuBtninfo *btninfo, NuRTBTNode *node,
                                   int dups, VeskErr *status) {
    return insert<false>(tree, btninfo, node, dups, Nodes{{status}});
}

VESK_API NuRTBTNode *NuRTBTInsnode_b(NuRTBT *tree, const NuBtninfo *btninfo, NuRTBTNode *node,
                                     int dups, VeskErr *status) {
    return insert<true>(tree, btninfo, node, dups, Nodes{{status}});
}

VESK_API NuRTBTNode *NuRTBTRmnode(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                  VeskErr *status) {
    return take_out<false>(tree, btninfo, request, Rmnode{{status}});
}

VESK_API NuRTBTNode *NuRTBTRmnode_b(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                    VeskErr *status) {
    return take_out<true>(tree, btninfo, request, Rmnode{{status}});
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
