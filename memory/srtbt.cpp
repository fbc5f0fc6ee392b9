// SPDX-License-Identifier: MIT
// Sequenced threaded tree: the right-threaded tree with its nodes also on a
// ring in the order in which they came.
//
// The tree part is the plain tree's own code: the same levels of ownership
// (rtbt_levels.hpp) over the same descent, attach, detach and balancing
// (rtbt.hpp), instantiated for a larger head and a larger node. What this
// tree adds is a kind of tree whose head keeps the first and last node in
// sorted order and which, once the core has linked a node in or out, puts
// it on the ring or takes it off. The ring runs through the head: an empty
// ring is the head's pair of links pointing at itself, so that appending and
// unlinking never test for an end.
//
// The links hold the address of a pair of links, not of a node. All of them
// are read and written as NuSRTBTLink pairs, the head's as well as the nodes'.
#include <cerrno>
#include <cstddef>

#include "memory/rtbt_levels.hpp"

using namespace vesk::rtbt;

namespace {

// The head and the node must lay their tree fields out as the plain ones do,
// since the core and NuRTBTFind, NuBTWalk and NuRTBTDump read them as such;
// and a node's or a head's two links must be one NuSRTBTLink.
static_assert(offsetof(NuSRTBT, root) == offsetof(NuRTBT, root));
static_assert(offsetof(NuSRTBT, self) == offsetof(NuRTBT, self));
static_assert(offsetof(NuSRTBT, reserved) == offsetof(NuRTBT, reserved));
static_assert(offsetof(NuSRTBTNode, left) == offsetof(NuRTBTNode, left));
static_assert(offsetof(NuSRTBTNode, right) == offsetof(NuRTBTNode, right));
static_assert(offsetof(NuSRTBTNode, flags) == offsetof(NuRTBTNode, flags));
static_assert(offsetof(NuSRTBTNode, data) == offsetof(NuRTBTNode, data));
static_assert(offsetof(NuSRTBTNode, seq_next) >= sizeof(NuRTBTNode));
static_assert(offsetof(NuSRTBTNode, seq_prev) - offsetof(NuSRTBTNode, seq_next) ==
              offsetof(NuSRTBTLink, seq_prev));
static_assert(offsetof(NuSRTBT, seq_prev) - offsetof(NuSRTBT, seq_next) ==
              offsetof(NuSRTBTLink, seq_prev));

NuSRTBTLink *links_of(NuSRTBTNode *node) {
    return reinterpret_cast<NuSRTBTLink *>(&node->seq_next);
}
NuSRTBTLink *ring_of(NuSRTBT *tree) { return reinterpret_cast<NuSRTBTLink *>(&tree->seq_next); }
const NuSRTBTLink *ring_of(const NuSRTBT *tree) {
    return reinterpret_cast<const NuSRTBTLink *>(&tree->seq_next);
}
NuSRTBTNode *node_of(const NuSRTBTLink *link) {
    return reinterpret_cast<NuSRTBTNode *>(
        reinterpret_cast<uintptr_t>(link) - offsetof(NuSRTBTNode, seq_next));
}

void set_tail(NuSRTBTLink *link) { set_flag(tree_node(node_of(link)), NU_SRTBT_TAIL); }
void clear_tail(NuSRTBTLink *link) { clear_flag(tree_node(node_of(link)), NU_SRTBT_TAIL); }

// The node that came last takes over the tail bit from the one before it.
// A head of zeros (static, or destroyed) is taken as the empty head it
// stands for, as a plain tree's head of zeros is.
void append(NuSRTBT *tree, NuSRTBTNode *node) {
    NuSRTBTLink *const ring = ring_of(tree), *const link = links_of(node);
    NuSRTBTLink *tail = ring->seq_prev;
    if (tail == nullptr) [[unlikely]] {
        tree->self = tree;
        ring->seq_next = tail = ring;
    }
    if (tail != ring)
        clear_tail(tail);
    set_tail(link);
    link->seq_next = ring;
    link->seq_prev = tail;
    tail->seq_next = link;
    ring->seq_prev = link;
}

// A node taken off the ring keeps null links and no tail bit; the tail bit
// goes to whichever node now came last.
void unlink(NuSRTBT *tree, NuSRTBTNode *node) {
    NuSRTBTLink *const link = links_of(node), *const ring = ring_of(tree);
    clear_tail(link);
    link->seq_prev->seq_next = link->seq_next;
    link->seq_next->seq_prev = link->seq_prev;
    link->seq_next = link->seq_prev = nullptr;
    if (ring->seq_prev != ring)
        set_tail(ring->seq_prev);
}

// The core writes the ends of the sorted order into the head itself.
struct HeadEnds {
    NuSRTBT *tree;
    void set_first(NuRTBTNode *n) const { tree->first = record_of<NuSRTBTNode>(n); }
    void set_last(NuRTBTNode *n) const { tree->last = record_of<NuSRTBTNode>(n); }
};

struct SequencedTree {
    using Head = NuSRTBT;
    using Node = NuSRTBTNode;
    static HeadEnds ends(NuSRTBT *tree) { return {tree}; }
    static void entered(NuSRTBT *tree, NuRTBTNode *node) {
        append(tree, record_of<NuSRTBTNode>(node));
        ++tree->count;
    }
    static void left(NuSRTBT *tree, NuRTBTNode *node) {
        unlink(tree, record_of<NuSRTBTNode>(node));
        --tree->count;
    }
};

using Element = ElementIn<SequencedTree>;
using Nodes = NodeIn<SequencedTree>;
using Delete = DeleteOut<SequencedTree>;
using Remove = RemoveOut<SequencedTree>;
using Rmnode = RmnodeOut<SequencedTree>;

void init_head(NuSRTBT *tree) {
    *tree = NuSRTBT{};
    tree->self = tree;
    tree->seq_next = tree->seq_prev = ring_of(tree);
}

// Copies the elements of `source` in the order in which they came, into a
// balanced tree whatever the source's shape. At most `count` steps: a ring
// that does not come back to its head is not followed round for ever.
bool copy_sequence(NuSRTBT *tree, const NuSRTBT *source, const NuBtninfo *btninfo,
                   VeskErr *status) {
    const NuSRTBTLink *const ring = ring_of(source);
    const NuSRTBTLink *link = ring->seq_next;
    for (uintptr_t n = source->count; n != 0 && link != ring && link != nullptr; --n) {
        if (insert<true>(tree, btninfo, node_of(link)->data, 1, Element{{status}}) == nullptr)
            return false;
        link = link->seq_next;
    }
    return true;
}

}  // namespace

extern "C" {

// --- Heads ------------------------------------------------------------------

VESK_API int64_t NuSRTBTInit(NuSRTBT *tree) {
    if (tree == nullptr)
        return -1;
    init_head(tree);
    return 0;
}

VESK_API NuSRTBT *NuSRTBTCreate(VeskErr *status) {
    auto *tree = static_cast<NuSRTBT *>(_NuMalloc(sizeof(NuSRTBT), status));
    if (tree == nullptr) {
        VESK_STATUS_RESTAMP(status, VESK_FAC_RTBT);
        return nullptr;
    }
    init_head(tree);
    return tree;
}

// Runs along the ring, not the tree: no stack and no descent, whatever the
// shape. The head check keeps a count larger than the ring from running on.
VESK_API void NuSRTBTDestroy(NuSRTBT *tree, const NuBtninfo *btninfo) {
    if (tree == nullptr)
        return;
    NuSRTBTLink *const ring = ring_of(tree);
    for (NuSRTBTLink *link = ring->seq_next; tree->count != 0 && link != ring && link != nullptr;
         link = ring->seq_next) {
        NuSRTBTLink *const next = link->seq_next;
        ring->seq_next = next;
        if (next != nullptr)
            next->seq_prev = ring;
        --tree->count;
        NuSRTBTNode *const node = node_of(link);
        if (btninfo != nullptr)
            release_element(btninfo, node->data);
        NuMfree(node);
    }
    *tree = NuSRTBT{};
}

VESK_API void NuSRTBTFree(NuSRTBT *tree, const NuBtninfo *btninfo) {
    if (tree == nullptr)
        return;
    NuSRTBTDestroy(tree, btninfo);
    NuMfree(tree);
}

VESK_API int64_t NuSRTBTInit_cp(NuSRTBT *tree, const NuSRTBT *source, const NuBtninfo *btninfo,
                                VeskErr *status) {
    if (tree == nullptr) {
        report_null(status, "@tree");
        return -1;
    }
    // Initialising the copy would empty its own source.
    if (tree == source) {
        VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_RTBT, VESK_E_INVAL, EINVAL, 2,
                  "NuSRTBTInit_cp", "@source");
        return -1;
    }
    init_head(tree);
    if (source == nullptr || source->count == 0 || source->root == nullptr)
        return 0;
    if (!copy_sequence(tree, source, btninfo, status)) {
        NuSRTBTDestroy(tree, btninfo);
        return -1;
    }
    return 0;
}

VESK_API int64_t NuSRTBTInit_mv(NuSRTBT *tree, NuSRTBT *source) {
    if (tree == nullptr || source == nullptr)
        return -1;
    if (tree == source)
        return 0;
    const NuSRTBTLink *const old_ring = ring_of(source);
    if (source->count == 0 || source->root == nullptr || source->seq_next == old_ring) {
        init_head(tree);
    } else {
        *tree = *source;
        tree->self = tree;
        NuRTBTNode *const last =
            tree->last != nullptr ? tree_node(tree->last) : rightmost(tree->root);
        last->right = head_node(tree);
        NuSRTBTLink *const ring = ring_of(tree);
        tree->seq_prev->seq_next = ring;
        tree->seq_next->seq_prev = ring;
    }
    *source = NuSRTBT{};
    return 0;
}

// --- Element level ----------------------------------------------------------

VESK_API NuSRTBTNode *NuSRTBTInsert(NuSRTBT *tree, const NuBtninfo *btninfo, uintptr_t userinfo,
                                    int dups, VeskErr *status) {
    return insert<false>(tree, btninfo, userinfo, dups, Element{{status}});
}

VESK_API NuSRTBTNode *NuSRTBTInsert_b(NuSRTBT *tree, const NuBtninfo *btninfo,
                                      uintptr_t userinfo, int dups, VeskErr *status) {
    return insert<true>(tree, btninfo, userinfo, dups, Element{{status}});
}

VESK_API int64_t NuSRTBTDelete(NuSRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                               VeskErr *status) {
    return take_out<false>(tree, btninfo, request, Delete{{status}});
}

VESK_API int64_t NuSRTBTDelete_b(NuSRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                 VeskErr *status) {
    return take_out<true>(tree, btninfo, request, Delete{{status}});
}

VESK_API uintptr_t NuSRTBTRemove(NuSRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                 VeskErr *status) {
    return take_out<false>(tree, btninfo, request, Remove{{status}});
}

VESK_API uintptr_t NuSRTBTRemove_b(NuSRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                   VeskErr *status) {
    return take_out<true>(tree, btninfo, request, Remove{{status}});
}

// --- Node level -------------------------------------------------------------

VESK_API NuSRTBTNode *NuSRTBTInsnode(NuSRTBT *tree, const NuBtninfo *btninfo, NuSRTBTNode *node,
                                     int dups, VeskErr *status) {
    return insert<false>(tree, btninfo, node, dups, Nodes{{status}});
}

VESK_API NuSRTBTNode *NuSRTBTInsnode_b(NuSRTBT *tree, const NuBtninfo *btninfo,
                                       NuSRTBTNode *node, int dups, VeskErr *status) {
    return insert<true>(tree, btninfo, node, dups, Nodes{{status}});
}

VESK_API NuSRTBTNode *NuSRTBTRmnode(NuSRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                    VeskErr *status) {
    return take_out<false>(tree, btninfo, request, Rmnode{{status}});
}

VESK_API NuSRTBTNode *NuSRTBTRmnode_b(NuSRTBT *tree, const NuBtninfo *btninfo,
                                      uintptr_t request, VeskErr *status) {
    return take_out<true>(tree, btninfo, request, Rmnode{{status}});
}

}  // extern "C"
