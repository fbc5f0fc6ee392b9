// SPDX-License-Identifier: MIT
// The tree of table rows that the table-driven services share (the error
// service by code, charset identification by number and by name).
//
// A service links the rows of a caller's table into a balanced tree through
// a node inside each row, and takes them out again when the table goes: the
// service allocates nothing and copies nothing. A node's data is its row's
// address, which is also how a row is known to be linked: a row whose node
// holds its own address is in the tree and is passed over when added again,
// so that its node is never tied into a loop; a row whose node doesn't is
// passed over when removed. A row that would lie deeper than the tree's
// limit of levels is passed over without a word.
//
// Orders are comparisons of the tree's core, (node data, request): above zero
// sends a descent left, zero and below right. Rows with equal keys line up to
// the right of one another, and a search stops at the equal nearest the root.
#pragma once

#include <cstdint>

#include "memory/rtbt.hpp"
#include "memory/rtbt_order.hpp"

namespace vesk::svc::row_tree {

// The row nearest the root whose key compares equal to `key`, or 0.
template <class KeyCmp>
uintptr_t find(const NuRTBT *tree, KeyCmp cmp, uintptr_t key) {
    const NuRTBTNode *n = rtbt::find_node(tree, cmp, key);
    return n == nullptr ? 0 : n->data;
}

inline bool is_linked(const NuRTBTNode *node, uintptr_t row) { return node->data == row; }

// Links `row` through `node`, ordered by `order` (row against row). True when
// it went in.
template <class Order>
bool link(NuRTBT *tree, Order order, NuRTBTNode *node, uintptr_t row) {
    if (is_linked(node, row))
        return false;
    *node = {};
    node->data = row;
    if (rtbt::insert_node<true>(tree, order, node, true, rtbt::Ends{}) != rtbt::Outcome::done) {
        *node = {};
        return false;
    }
    ++tree->count;
    return true;
}

// Takes `row` out. `exact` must lead a descent to this very row, not merely
// to one with an equal key (see among_equals below). True when it came out.
template <class Exact>
bool unlink(NuRTBT *tree, Exact exact, NuRTBTNode *node, uintptr_t row) {
    if (!is_linked(node, row))
        return false;
    NuRTBTNode *found = nullptr;
    if (rtbt::detach_node<true>(tree, exact, row, rtbt::Ends{}, found) != rtbt::Outcome::done)
        return false;
    --tree->count;
    *node = {};
    return true;
}

// An exact order for a tree whose equal keys stand in the order they came
// in: keys first; among equal keys, the row sought lies right of a row met on
// the way when it follows that row in order, and left otherwise. Equal keys
// are few (a name in two tables), so the walk along them is short.
// `key_order(a, b)` compares two rows by key, `node_of(row)` is the row's
// node in this tree.
template <class KeyOrder, class NodeOf>
struct AmongEquals {
    const NuRTBT *tree;
    KeyOrder key_order;
    NodeOf node_of;

    intptr_t operator()(uintptr_t met, uintptr_t sought) const {
        const intptr_t c = key_order(met, sought);
        if (c != 0 || met == sought)
            return c;
        const NuRTBTNode *head = reinterpret_cast<const NuRTBTNode *>(tree);
        for (const NuRTBTNode *n = rtbt::successor(node_of(met)); n != head && n != nullptr;
             n = rtbt::successor(n)) {
            if (key_order(n->data, sought) != 0)
                break;
            if (n->data == sought)
                return -1;
        }
        return 1;
    }
};

template <class KeyOrder, class NodeOf>
AmongEquals<KeyOrder, NodeOf> among_equals(const NuRTBT *tree, KeyOrder key_order, NodeOf node_of) {
    return {tree, key_order, node_of};
}

}  // namespace vesk::svc::row_tree
