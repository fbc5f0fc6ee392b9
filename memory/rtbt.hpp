// SPDX-License-Identifier: MIT
// Right-threaded tree: the one descent, attach and detach behind every insert
// and take-out, in a plain and a height-balanced (AVL) form.
//
// The entry points differ only in who owns the node and the element; that is
// settled at the ends (rtbt.cpp). Everything here works on nodes the caller of
// the core has in hand, allocates nothing and reports nothing: it answers with
// an Outcome and the level of ownership decides what the caller sees.
//
// The head is laid out like a node (root where `left` is, its own address
// where `right` is), so a descent starts at the head going left and treats
// the root as the head's left child. The head's flag word is the low half of
// its reserved word: nothing here reads or writes the flags of the head.
//
// The core is written over the head type and over where the head keeps its
// first and last nodes (`Ends`), so that the sequenced tree, whose head is
// larger and keeps them itself, runs this same code: everything that tree
// adds happens after the core has answered (rtbt_levels.hpp).
#pragma once

#include <cstdint>

#include "nu.h"
#include "rtbt_order.hpp"
#include "vesk.h"

namespace vesk::rtbt {

// Entries of the removal path: the head plus one per level a balanced insert
// can create (it attaches at most one level below NU_RTBT_MAXDEPTH - 1), so
// any tree the balanced forms built can be taken apart again.
inline constexpr unsigned kPathMax = NU_RTBT_MAXDEPTH + 1;

enum Dir : bool { kLeft = false, kRight = true };

inline Dir opposite(Dir d) { return d == kLeft ? kRight : kLeft; }
// A comparison above zero sends a descent left; zero (a duplicate) and below
// send it right, so equal elements line up to the right of one another.
inline Dir dir_of(intptr_t cmp) { return cmp > 0 ? kLeft : kRight; }

inline NuRTBTNode *head_node(NuRTBT *tree) { return reinterpret_cast<NuRTBTNode *>(tree); }
inline NuRTBTNode *head_node(NuSRTBT *tree) { return reinterpret_cast<NuRTBTNode *>(tree); }


// The child in direction d, or null where there is none (a thread is none).
inline NuRTBTNode *child(const NuRTBTNode *n, Dir d) {
    if (d == kLeft)
        return n->left;
    return right_is_thread(n) ? nullptr : n->right;
}

inline void set_link(NuRTBTNode *n, Dir d, NuRTBTNode *to) { (d == kLeft ? n->left : n->right) = to; }

inline void set_flag(NuRTBTNode *n, unsigned bits) { n->flags = static_cast<uint16_t>(n->flags | bits); }
inline void clear_flag(NuRTBTNode *n, unsigned bits) {
    n->flags = static_cast<uint16_t>(n->flags & ~bits);
}

// The balance factor is a signed 3-bit field in bits 5-7, the top of the low
// byte, so an arithmetic shift of that byte sign-extends it.
inline int balance(const NuRTBTNode *n) {
    return static_cast<int8_t>(static_cast<uint8_t>(n->flags)) >> 5;
}
inline void set_balance(NuRTBTNode *n, int b) {
    n->flags = static_cast<uint16_t>((n->flags & ~NU_RTBT_BALANCE) |
                                     ((static_cast<unsigned>(b) & 7u) << 5));
}
inline int sign_of(Dir d) { return d == kRight ? 1 : -1; }

inline NuRTBTNode *rightmost(NuRTBTNode *n) {
    while (!right_is_thread(n))
        n = n->right;
    return n;
}

// ---------------------------------------------------------------------------
// Comparison. The stock table's comparison is known here and run inline: for
// trees of plain words that saves an indirect call at every level.

inline intptr_t word_compare(uintptr_t a, uintptr_t b) { return static_cast<intptr_t>(a - b); }

struct WordCompare {
    intptr_t operator()(uintptr_t a, uintptr_t b) const { return word_compare(a, b); }
};
struct TableCompare {
    intptr_t (*fn)(uintptr_t, uintptr_t);
    intptr_t operator()(uintptr_t a, uintptr_t b) const { return fn(a, b); }
};

template <class Fn>
inline auto with_compare(const NuBtninfo *btninfo, Fn &&fn) {
    if (btninfo->compare == &word_compare)
        return fn(WordCompare{});
    return fn(TableCompare{btninfo->compare});
}

// ---------------------------------------------------------------------------
// What the core answers, and the caller's first/last pointers (link level).
// Any type with set_first and set_last can stand in for Ends.

enum class Outcome { done, exists, too_deep, missing };

struct Ends {
    NuRTBTNode **first = nullptr;
    NuRTBTNode **last = nullptr;
    void set_first(NuRTBTNode *n) const {
        if (first != nullptr)
            *first = n;
    }
    void set_last(NuRTBTNode *n) const {
        if (last != nullptr)
            *last = n;
    }
};

// Hangs `node` below q in direction dir, where the descent ended, and threads
// it. Its own data is kept; every other field is written. The first and last
// bits move to the new node when it takes over the end of the order.
template <class Head, class EndsT>
inline void attach(Head *tree, NuRTBTNode *q, Dir dir, NuRTBTNode *node, const EndsT &ends) {
    node->left = nullptr;
    node->right = q;
    if (q == head_node(tree)) {
        node->flags = NU_RTBT_NEWROOT;
        tree->root = node;
        ends.set_first(node);
        ends.set_last(node);
        return;
    }
    if (dir == kRight) {
        node->right = q->right;  // q's thread: q's successor, or the head
        node->flags = static_cast<uint16_t>(NU_RTBT_RTHREAD | (q->flags & NU_RTBT_LAST));
        if (q->flags & NU_RTBT_LAST) {
            clear_flag(q, NU_RTBT_LAST);
            ends.set_last(node);
        }
        q->right = node;
        clear_flag(q, NU_RTBT_RTHREAD);
    } else {
        // A left child's successor is its parent: the thread set above stays.
        node->flags = static_cast<uint16_t>(NU_RTBT_RTHREAD | (q->flags & NU_RTBT_FIRST));
        if (q->flags & NU_RTBT_FIRST) {
            clear_flag(q, NU_RTBT_FIRST);
            ends.set_first(node);
        }
        q->left = node;
    }
}

// ---------------------------------------------------------------------------
// Rotations. `heavy` is the side of y that became too tall, w y's child on
// that side. The first and last bits stay with their nodes; only links,
// right threads and (in rotate_double) balance factors change.

inline void rotate_single(NuRTBTNode *y, NuRTBTNode *w, Dir heavy) {
    if (heavy == kRight) {
        NuRTBTNode *t = w->left;
        if (t == nullptr) {  // y keeps no right child: its successor is w
            set_flag(y, NU_RTBT_RTHREAD);
            t = w;
        }
        y->right = t;
        w->left = y;
    } else {
        NuRTBTNode *t = w->right;
        if (right_is_thread(w)) {  // the thread pointed at y, which becomes w's child
            clear_flag(w, NU_RTBT_RTHREAD);
            t = nullptr;
        }
        y->left = t;
        w->right = y;
    }
}

// Rotates x, w's child away from the heavy side, over w and then over y, and
// sets the three balance factors. Returns x, the subtree's new root.
inline NuRTBTNode *rotate_double(NuRTBTNode *y, NuRTBTNode *w, Dir heavy) {
    NuRTBTNode *x;
    if (heavy == kRight) {
        x = w->left;
        NuRTBTNode *t = x->right;
        if (right_is_thread(x)) {
            clear_flag(x, NU_RTBT_RTHREAD);
            t = nullptr;
        }
        w->left = t;
        NuRTBTNode *c = x->left;
        x->right = w;
        if (c == nullptr) {
            set_flag(y, NU_RTBT_RTHREAD);
            c = x;
        }
        y->right = c;
        x->left = y;
    } else {
        x = w->right;
        NuRTBTNode *c = x->left;
        if (c == nullptr) {
            set_flag(w, NU_RTBT_RTHREAD);
            c = x;
        }
        w->right = c;
        NuRTBTNode *t = x->right;
        if (right_is_thread(x)) {
            clear_flag(x, NU_RTBT_RTHREAD);
            t = nullptr;
        }
        x->left = w;
        y->left = t;
        x->right = y;
    }
    const int s = sign_of(heavy);
    const int bx = balance(x);
    set_balance(w, bx == -s ? s : 0);
    set_balance(y, bx == s ? -s : 0);
    set_balance(x, 0);
    return x;
}

// ---------------------------------------------------------------------------
// Insertion. The balanced form also remembers y, the deepest node on the path
// with a non-zero balance (the only one that can go out of balance), its
// parent z, and the directions, then sets the balances from y down to the new
// node on a second pass instead of keeping a stack. That pass follows the
// directions the descent took, kept one bit per level (48 levels fit in a
// word), so the caller's comparison runs once per level, not twice.

using DirBits = uint64_t;  // bit k: the direction taken below the node at depth k
static_assert(NU_RTBT_MAXDEPTH <= 64);

inline void rebalance_after_insert(NuRTBTNode *z, Dir zdir, NuRTBTNode *y, unsigned ydepth,
                                   DirBits dirs, NuRTBTNode *node) {
    const Dir ydir = Dir((dirs >> ydepth) & 1);
    NuRTBTNode *const w = child(y, ydir);
    unsigned depth = ydepth + 1;
    for (NuRTBTNode *p = w; p != node; ++depth) {
        const Dir d = Dir((dirs >> depth) & 1);
        set_balance(p, sign_of(d));
        p = child(p, d);
    }
    const int s = sign_of(ydir);
    const int b = balance(y);
    if (b == 0) {
        set_balance(y, s);
        return;
    }
    if (b == -s) {
        set_balance(y, 0);
        return;
    }
    NuRTBTNode *top;
    if (balance(w) == s) {
        rotate_single(y, w, ydir);
        set_balance(y, 0);
        set_balance(w, 0);
        top = w;
    } else {
        top = rotate_double(y, w, ydir);
    }
    set_link(z, zdir, top);
}

template <bool kBalanced, class Head, class Cmp, class EndsT>
Outcome insert_node(Head *tree, Cmp cmp, NuRTBTNode *node, bool dups, const EndsT &ends) {
    NuRTBTNode *const head = head_node(tree);
    const uintptr_t value = node->data;
    NuRTBTNode *q = head;
    Dir dir = kLeft;
    [[maybe_unused]] NuRTBTNode *y = nullptr, *z = head;
    [[maybe_unused]] Dir zdir = kLeft;
    [[maybe_unused]] unsigned depth = 0, ydepth = 0;
    [[maybe_unused]] DirBits dirs = 0;
    for (NuRTBTNode *c = tree->root; c != nullptr; c = child(q, dir)) {
        if constexpr (kBalanced) {
            // The root is at depth 0; a node 48 levels below it is out of reach.
            if (depth == NU_RTBT_MAXDEPTH)
                return Outcome::too_deep;
        }
        const intptr_t r = cmp(c->data, value);
        if (r == 0 && !dups)
            return Outcome::exists;
        const Dir next = dir_of(r);
        if constexpr (kBalanced) {
            dirs |= DirBits{next} << depth;
            if (q == head || balance(c) != 0) {
                z = q;
                zdir = dir;
                y = c;
                ydepth = depth;
            }
            ++depth;
        }
        q = c;
        dir = next;
    }
    attach(tree, q, dir, node, ends);
    if constexpr (kBalanced) {
        if (q != head)
            rebalance_after_insert(z, zdir, y, ydepth, dirs, node);
    }
    return Outcome::done;
}

// ---------------------------------------------------------------------------
// Removal. The balanced form records the path (node left, direction) from the
// head down, and walks it back up after the detachment.

struct PathEntry {
    NuRTBTNode *node;
    Dir dir;
};

// The subtree of path[i].node on side path[i].dir has become one shorter.
inline void rebalance_after_detach(PathEntry *path, unsigned top) {
    for (unsigned i = top; i >= 1; --i) {
        NuRTBTNode *const y = path[i].node;
        const Dir d = path[i].dir;
        const int s = sign_of(d);
        const int b = balance(y);
        if (b == 0) {
            set_balance(y, -s);
            return;
        }
        if (b == s) {
            set_balance(y, 0);
            continue;
        }
        const Dir heavy = opposite(d);
        NuRTBTNode *const w = child(y, heavy);
        const int bw = balance(w);
        NuRTBTNode *top_node;
        if (bw != s) {
            rotate_single(y, w, heavy);
            top_node = w;
        } else {
            top_node = rotate_double(y, w, heavy);
        }
        set_link(path[i - 1].node, path[i - 1].dir, top_node);
        if (bw == 0) {  // the subtree kept its height
            set_balance(w, s);
            return;
        }
        if (bw != s) {
            set_balance(w, 0);
            set_balance(y, 0);
        }
    }
}

template <bool kBalanced, class Head, class Cmp, class EndsT>
Outcome detach_node(Head *tree, Cmp cmp, uintptr_t request, const EndsT &ends,
                    NuRTBTNode *&found) {
    NuRTBTNode *const head = head_node(tree);
    [[maybe_unused]] PathEntry path[kBalanced ? kPathMax : 1];
    unsigned top = 0;
    auto push = [&]([[maybe_unused]] NuRTBTNode *n, [[maybe_unused]] Dir d) {
        if constexpr (kBalanced) {
            if (++top == kPathMax)
                return false;
            path[top] = {n, d};
        }
        return true;
    };
    if constexpr (kBalanced)
        path[0] = {head, kLeft};

    NuRTBTNode *q = head;
    Dir dir = kLeft;
    NuRTBTNode *n = tree->root;
    for (;;) {
        if (n == nullptr)
            return Outcome::missing;
        const intptr_t r = cmp(n->data, request);
        if (r == 0)
            break;
        q = n;
        dir = dir_of(r);
        if (!push(q, dir))
            return Outcome::too_deep;
        n = child(q, dir);
    }

    NuRTBTNode *r;  // the neighbour that inherits n's first or last bit
    if (q == head && n->left == nullptr && right_is_thread(n)) {
        tree->root = nullptr;
        ends.set_first(nullptr);
        ends.set_last(nullptr);
        found = n;
        return Outcome::done;
    }
    if (!right_is_thread(n)) {
        // n's successor m, the leftmost node of its right subtree, takes its place.
        NuRTBTNode *const c = n->right;
        const unsigned place = top;  // path slot of n's place, filled below
        if (!push(n, kRight))
            return Outcome::too_deep;
        NuRTBTNode *m = c;
        if (c->left != nullptr) {
            NuRTBTNode *p = c;
            if (!push(c, kLeft))
                return Outcome::too_deep;
            for (m = c->left; m->left != nullptr; m = m->left) {
                if (!push(m, kLeft))
                    return Outcome::too_deep;
                p = m;
            }
            p->left = right_is_thread(m) ? nullptr : m->right;
            m->right = c;
            clear_flag(m, NU_RTBT_RTHREAD);
        }
        set_link(q, dir, m);
        m->left = n->left;
        if (m->left != nullptr)
            rightmost(m->left)->right = m;
        if constexpr (kBalanced) {
            path[place + 1] = {m, kRight};
            set_balance(m, balance(n));
        }
        r = m;
    } else if (dir == kRight && n->left == nullptr) {
        q->right = n->right;
        set_flag(q, NU_RTBT_RTHREAD);
        r = q;
    } else {
        // n has no right child; in a balanced tree its left subtree is then a
        // single node, so the walk to its rightmost node is one step.
        set_link(q, dir, n->left);
        if (n->left == nullptr) {
            r = q;
        } else {
            r = rightmost(n->left);
            r->right = n->right;
        }
    }
    if (n->flags & NU_RTBT_FIRST) {
        set_flag(r, NU_RTBT_FIRST);
        ends.set_first(r);
    }
    if (n->flags & NU_RTBT_LAST) {
        set_flag(r, NU_RTBT_LAST);
        ends.set_last(r);
    }
    if constexpr (kBalanced)
        rebalance_after_detach(path, top);
    found = n;
    return Outcome::done;
}

// Branches, not selects, on the direction: a mispredicted branch costs a
// flush, but a select would make every level wait for the comparison before
// the next node's load could even start (measured: slower at every size).
template <class Cmp>
inline NuRTBTNode *find_node(const NuRTBT *tree, Cmp cmp, uintptr_t request) {
    NuRTBTNode *n = tree->root;
    while (n != nullptr) {
        const intptr_t r = cmp(n->data, request);
        if (r == 0)
            return n;
        n = child(n, dir_of(r));
    }
    return nullptr;
}

// ---------------------------------------------------------------------------
// Arguments. A null tree, table or node is reported (258, the parameter's
// name) by the operations that have a status record and refused silently by
// the link level; nothing is changed.

[[gnu::cold, gnu::noinline]] inline void report_null(VeskErr *status, const char *param) {
    VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_RTBT, VESK_E_FAULT, 0, 1, param);
}

// Every descent compares, so every operation that descends needs this much.
inline bool can_compare(const NuBtninfo *btninfo) {
    return btninfo != nullptr && btninfo->compare != nullptr;
}

// ---------------------------------------------------------------------------
// Element ownership, shared by the element-level inserts and the copy.

// A node of `size` bytes (the tree's node record) holding dup(info), or null
// after a report re-stamped with the tree's family. A null info is stored as
// 0 without calling dup; a table without dup can't take any other.
inline NuRTBTNode *make_element_node(const NuBtninfo *btninfo, uintptr_t info, VeskErr *status,
                                     size_t size = sizeof(NuRTBTNode)) {
    if (info != 0 && btninfo->dup == nullptr) {
        report_null(status, "@btninfo");
        return nullptr;
    }
    auto *node = static_cast<NuRTBTNode *>(_NuMcalloc(1, size, status));
    if (node == nullptr) {
        VESK_STATUS_RESTAMP(status, VESK_FAC_RTBT);
        return nullptr;
    }
    if (info != 0) {
        node->data = btninfo->dup(info, 0, 0, status);
        if (node->data == 0) {
            NuMfree(node);
            VESK_STATUS_RESTAMP(status, VESK_FAC_RTBT);
            return nullptr;
        }
    }
    return node;
}

// A table without release owns its elements in name only: nothing to call.
inline void release_element(const NuBtninfo *btninfo, uintptr_t element) {
    if (element != 0 && btninfo->release != nullptr)
        btninfo->release(element, 1, nullptr);
}

}  // namespace vesk::rtbt
