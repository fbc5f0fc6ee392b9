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
// Balance not zero: one test of the flag word, no sign extension.
inline bool leans(const NuRTBTNode *n) { return (n->flags & NU_RTBT_BALANCE) != 0; }

inline NuRTBTNode *rightmost(NuRTBTNode *n) {
    while (!right_is_thread(n))
        n = n->right;
    return n;
}

// ---------------------------------------------------------------------------
// Comparison. The stock table's comparison is known here and run inline: for
// trees of plain words that saves an indirect call at every level. Being a
// pure subtraction, it may also be run again where a caller's comparison
// (which may count its calls, or be slow) is remembered instead: a comparison
// type says so with kRepeatable.

inline intptr_t word_compare(uintptr_t a, uintptr_t b) { return static_cast<intptr_t>(a - b); }
// The stock duplicate: a plain word is its own copy.
inline uintptr_t word_dup(uintptr_t info, uintptr_t, uintptr_t, VeskErr *) { return info; }
// The stock release: nothing is owned.
inline int32_t word_release(uintptr_t, uint32_t, VeskErr *) { return 1; }

struct WordCompare {
    static constexpr bool kRepeatable = true;
    intptr_t operator()(uintptr_t a, uintptr_t b) const { return word_compare(a, b); }
};
struct TableCompare {
    intptr_t (*fn)(uintptr_t, uintptr_t);
    intptr_t operator()(uintptr_t a, uintptr_t b) const { return fn(a, b); }
};

template <class Cmp>
inline constexpr bool repeatable() {
    if constexpr (requires { Cmp::kRepeatable; })
        return Cmp::kRepeatable;
    else
        return false;
}

template <class Fn>
inline auto with_compare(const NuBtninfo *btninfo, Fn &&fn) {
    if (btninfo->compare == &word_compare) [[likely]]
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
// with a non-zero balance (the only one that can go out of balance), by the
// link that leads to it (in its parent z, or the head's root), then sets the
// balances from y down to the new node on a second pass instead of keeping a
// stack. That pass must take the directions the descent took: a repeatable
// comparison is simply run again; a caller's comparison is not, and the
// descent keeps its directions one bit per level (48 levels fit in a word),
// so that it runs once per level, not twice.

using DirBits = uint64_t;  // bit k: the direction taken below the node at depth k
static_assert(NU_RTBT_MAXDEPTH <= 64);

// Where a descent stopped: the new node goes below q on side dir.
struct Spot {
    NuRTBTNode *q;
    Dir dir;
};

// The directions of the path from y to the new node, as the descent took
// them: from the comparison again, or from the bits it kept.
template <class Cmp>
struct PathDirs {
    DirBits bits = 0;
    unsigned ydepth = 0;
    void took(unsigned depth, Dir d) { bits |= DirBits{d} << depth; }
    void y_at(unsigned depth) { ydepth = depth; }
    unsigned start() const { return ydepth; }
    Dir at(const NuRTBTNode *, unsigned depth, Cmp, uintptr_t) const {
        return Dir((bits >> depth) & 1);
    }
};

template <class Cmp>
    requires(repeatable<Cmp>())
struct PathDirs<Cmp> {
    static void took(unsigned, Dir) {}
    static void y_at(unsigned) {}
    static unsigned start() { return 0; }
    static Dir at(const NuRTBTNode *p, unsigned, Cmp cmp, uintptr_t value) {
        return dir_of(cmp(p->data, value));
    }
};

// y is found through ylink; the nodes below it on the path to `node` all had
// balance 0 and now lean towards the new node.
template <class Cmp>
inline void rebalance_after_insert(NuRTBTNode **ylink, const PathDirs<Cmp> &path, Cmp cmp,
                                   NuRTBTNode *node) {
    NuRTBTNode *const y = *ylink;
    const uintptr_t value = node->data;
    unsigned depth = path.start();
    const Dir ydir = path.at(y, depth, cmp, value);
    // Every link from y down to the new node is a child, not a thread: the
    // attach made the last one a child.
    NuRTBTNode *const w = ydir == kRight ? y->right : y->left;
    for (NuRTBTNode *p = w; p != node;) {
        const Dir d = path.at(p, ++depth, cmp, value);
        set_balance(p, sign_of(d));
        p = d == kRight ? p->right : p->left;
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
    *ylink = top;
}

// The descent of an insertion below a non-empty root, which rootlink leads
// to. Equal elements go right of one another; with kDups false an equal one
// ends the descent refused. The loop calls nothing but the comparison.
template <bool kBalanced, bool kDups, class Cmp>
inline Outcome descend_for_insert(NuRTBTNode **rootlink, Cmp cmp, uintptr_t value, Spot &spot,
                                  [[maybe_unused]] NuRTBTNode **&ylink,
                                  [[maybe_unused]] PathDirs<Cmp> &path) {
    NuRTBTNode *c = *rootlink;
    [[maybe_unused]] NuRTBTNode **link = rootlink;
    [[maybe_unused]] unsigned depth = 0;
    for (;;) {
        if constexpr (kBalanced) {
            // The root is at depth 0; a node 48 levels below it is out of reach.
            if (depth == NU_RTBT_MAXDEPTH) [[unlikely]]
                return Outcome::too_deep;
            if (leans(c)) {
                ylink = link;
                path.y_at(depth);
            }
        }
        const intptr_t r = cmp(c->data, value);
        if (!kDups && r == 0) [[unlikely]]
            return Outcome::exists;
        // Without duplicates r is not 0 here, and "below zero" lets the
        // stock comparison's subtraction decide by its own flags.
        const bool right = kDups ? r <= 0 : r < 0;
        NuRTBTNode *next;
        if (right) {
            if constexpr (kBalanced) {
                path.took(depth, kRight);
                link = &c->right;
            }
            next = right_is_thread(c) ? nullptr : c->right;
            if (next == nullptr) {
                spot = {c, kRight};
                return Outcome::done;
            }
        } else {
            if constexpr (kBalanced) {
                path.took(depth, kLeft);
                link = &c->left;
            }
            next = c->left;
            if (next == nullptr) {
                spot = {c, kLeft};
                return Outcome::done;
            }
        }
        if constexpr (kBalanced)
            ++depth;
        c = next;
    }
}

template <bool kBalanced, bool kDups, class Head, class Cmp, class EndsT>
Outcome insert_node_as(Head *tree, Cmp cmp, NuRTBTNode *node, const EndsT &ends) {
    NuRTBTNode *const head = head_node(tree);
    if (head->left == nullptr) {
        attach(tree, head, kLeft, node, ends);
        return Outcome::done;
    }
    Spot spot{};
    // y starts as the root, whatever its balance.
    NuRTBTNode **ylink = &head->left;
    PathDirs<Cmp> path;
    const Outcome outcome =
        descend_for_insert<kBalanced, kDups>(&head->left, cmp, node->data, spot, ylink, path);
    if (outcome != Outcome::done) [[unlikely]]
        return outcome;
    attach(tree, spot.q, spot.dir, node, ends);
    if constexpr (kBalanced)
        rebalance_after_insert(ylink, path, cmp, node);
    return Outcome::done;
}

template <bool kBalanced, class Head, class Cmp, class EndsT>
Outcome insert_node(Head *tree, Cmp cmp, NuRTBTNode *node, bool dups, const EndsT &ends) {
    if (dups)
        return insert_node_as<kBalanced, true>(tree, cmp, node, ends);
    return insert_node_as<kBalanced, false>(tree, cmp, node, ends);
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
        // r is not 0: "below zero" lets the stock subtraction decide by its flags.
        if (r < 0) {
            dir = kRight;
            n = right_is_thread(q) ? nullptr : q->right;
        } else {
            dir = kLeft;
            n = q->left;
        }
        if (!push(q, dir)) [[unlikely]]
            return Outcome::too_deep;
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
// The sign is tested as "below zero" so that, for the stock comparison, the
// subtraction's own flags decide both branches.
template <class Cmp>
inline NuRTBTNode *find_node(const NuRTBT *tree, Cmp cmp, uintptr_t request) {
    NuRTBTNode *n = tree->root;
    while (n != nullptr) {
        const intptr_t r = cmp(n->data, request);
        if (r == 0)
            return n;
        if (r < 0) {
            if (right_is_thread(n))
                return nullptr;
            n = n->right;
        } else {
            n = n->left;
        }
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
        node->data = btninfo->dup == &word_dup ? info : btninfo->dup(info, 0, 0, status);
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
    if (element != 0 && btninfo->release != nullptr && btninfo->release != &word_release)
        btninfo->release(element, 1, nullptr);
}

}  // namespace vesk::rtbt
