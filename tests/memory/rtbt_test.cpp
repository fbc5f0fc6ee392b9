// SPDX-License-Identifier: MIT
// Right-threaded tree. Against a model: long random runs of inserts, take-outs
// and searches at every level of ownership, plain and balanced, with and
// without duplicates, over plain words and over counted heap elements; after
// every step the tree must hold what a std::multiset holds, keep every
// structural invariant, and have called dup and release exactly as ownership
// says. Then what callers rely on beyond the contents: balanced shapes,
// copies, moves, destruction, the reports (facility 506), the depth limit of
// the balanced forms, failing dup and allocator, walks and the dump.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <numeric>
#include <random>
#include <set>
#include <string>
#include <unordered_set>
#include <vector>

#include "support/status.hpp"
#include "vesk.h"

namespace {

using vesk_test::Status;
constexpr int64_t status_of(int32_t code) { return int32_t((506u << 16) | uint32_t(code)); }
const NuBtninfo *const kWords = &_G_default_btninfo_opv;

// Counted elements: heap boxes holding a key; a null element sorts as key 0.
struct Elem {
    uintptr_t key;
};
uintptr_t key_of(uintptr_t e) { return e ? reinterpret_cast<const Elem *>(e)->key : 0; }

struct Counting {
    static inline int dups, releases, live, fail_dup_at;  // fail_dup_at: n-th dup from now
    static inline std::vector<uintptr_t> dup_order;
    static void reset() { dups = releases = live = fail_dup_at = 0, dup_order.clear(); }

    static uintptr_t dup(uintptr_t info, uintptr_t a1, uintptr_t a2, VeskErr *status) {
        EXPECT_TRUE(info != 0 && a1 == 0 && a2 == 0) << "dup of a null element";
        ++dups;
        if (fail_dup_at != 0 && --fail_dup_at == 0)
            return VeskMkerr(nullptr, status, 0, 0, 0, 0, 32773, 12, 1, "@dup"), 0;
        dup_order.push_back(key_of(info));
        return ++live, reinterpret_cast<uintptr_t>(new Elem{key_of(info)});
    }
    static int32_t release(uintptr_t e, uint32_t flags, VeskErr *status) {
        EXPECT_TRUE(e != 0 && flags == 1 && status == nullptr) << "release of a null element";
        return ++releases, drop(e), 0;
    }
    static void drop(uintptr_t e) { --live, delete reinterpret_cast<Elem *>(e); }
    static intptr_t compare(uintptr_t a, uintptr_t b) {
        return key_of(a) < key_of(b) ? -1 : key_of(a) > key_of(b);
    }
    static constexpr NuBtninfo table = {dup, nullptr, release, compare, nullptr};
};

// Node words are the keys themselves (stock table) or counted elements.
struct Keys {
    bool boxed;
    const NuBtninfo *table() const { return boxed ? &Counting::table : kWords; }
    uintptr_t key(uintptr_t data) const { return boxed ? key_of(data) : data; }
};
// The word that asks for `key`: for counted elements a probe that lives as long.
struct Request {
    Elem probe;
    uintptr_t word;
    Request(Keys k, uintptr_t key) : probe{key}, word(k.boxed ? uintptr_t(&probe) : key) {}
};

int bal(const NuRTBTNode *n) { return static_cast<int8_t>(static_cast<uint8_t>(n->flags)) >> 5; }

// ---------------------------------------------------------------------------
// The invariant checker: head words, contents and order, threads to the
// in-order successor (the head for the last), one first and one last bit, no
// stray flags; balanced trees: every balance factor is the real height
// difference and the height is within the AVL bound; plain ones: no factor set.

struct Shape {
    std::vector<const NuRTBTNode *> inorder;
    int height = 0;
};

int collect(const NuRTBTNode *n, bool balanced, Shape &s, std::string &error) {
    if (s.inorder.size() > 100000)
        return error = "cycle", 0;
    if (n->flags & ~(NU_RTBT_RTHREAD | NU_RTBT_FIRST | NU_RTBT_LAST | NU_RTBT_BALANCE))
        error = "flag bits the tree never sets";
    const int hl = n->left ? collect(n->left, balanced, s, error) : 0;
    s.inorder.push_back(n);
    const bool thread = n->flags & NU_RTBT_RTHREAD;
    if (!thread && !n->right)
        error = "null right link without the thread bit";
    const int hr = !thread && n->right ? collect(n->right, balanced, s, error) : 0;
    if (bal(n) != (balanced ? hr - hl : 0))
        error = "balance factor " + std::to_string(bal(n)) + " for heights " +
                std::to_string(hl) + "/" + std::to_string(hr);
    return 1 + std::max(hl, hr);
}

::testing::AssertionResult check(const NuRTBT &t, Keys keys, bool balanced, uintptr_t count,
                                 const std::vector<uintptr_t> &expected, Shape *out = nullptr) {
    Shape s;
    std::string error;
    if (t.self != &t || t.reserved != 0 || t.count != count)
        error = "head words: count " + std::to_string(t.count) + " for " + std::to_string(count);
    else if (t.root)
        s.height = collect(t.root, balanced, s, error);
    const auto &v = s.inorder;
    if (error.empty() && v.size() != expected.size())
        error = std::to_string(v.size()) + " nodes for " + std::to_string(expected.size());
    for (size_t i = 0; error.empty() && i < v.size(); ++i) {
        const void *next = i + 1 < v.size() ? static_cast<const void *>(v[i + 1]) : &t;
        if (keys.key(v[i]->data) != expected[i])
            error = "order differs from the model at " + std::to_string(i);
        else if ((v[i]->flags & NU_RTBT_RTHREAD) && v[i]->right != next)
            error = "thread not to the successor at " + std::to_string(i);
        else if (bool(v[i]->flags & NU_RTBT_FIRST) != (i == 0) ||
                 bool(v[i]->flags & NU_RTBT_LAST) != (i + 1 == v.size()))
            error = "first/last bit wrong at " + std::to_string(i);
    }
    if (error.empty() && balanced && !v.empty() &&
        s.height > 1.4405 * std::log2(double(v.size()) + 2) - 0.3277)
        error = "height " + std::to_string(s.height) + " beyond the AVL bound";
    if (!error.empty())
        return ::testing::AssertionFailure() << error;
    if (out)
        *out = std::move(s);
    return ::testing::AssertionSuccess();
}

// ---------------------------------------------------------------------------
// The model driver: one level of ownership, plain or balanced.

enum class Level { element, detached, node, link };
struct Param {
    Level level;
    bool balanced, dups, boxed;
};

struct OwnedNode {  // a caller's node and, in counted trees, its element
    NuRTBTNode node;
    Elem elem;
};

class Driver {
public:
    explicit Driver(const Param &p) : p_(p), keys_{p.boxed} { NuRTBTInit(&tree_); }
    ~Driver() {
        if (tree_owns())
            NuRTBTDestroy(&tree_, keys_.table());
        for (NuRTBTNode *n : owned_)
            delete reinterpret_cast<OwnedNode *>(n);
    }

    // A refusal names the level's parameter and leaves the caller's node as
    // it was; a report is asked for at odd keys, so that both ways run.
    void insert(uintptr_t key) {
        const bool expected = p_.dups || !model_.count(key);
        const int dups0 = Counting::dups, releases0 = Counting::releases;
        const bool b = p_.balanced;
        Status r;
        VeskErr *const st = key % 2 ? &r.err : nullptr;
        bool ok;
        if (tree_owns()) {
            Request info(keys_, key);
            NuRTBTNode *n = (b ? NuRTBTInsert_b : NuRTBTInsert)(&tree_, keys_.table(), info.word,
                                                                 p_.dups, st);
            ok = n && keys_.key(n->data) == key;
            expect_calls(dups0 + 1, releases0 + !ok);  // a refused copy is given back
        } else {
            auto *o = new OwnedNode{{}, {key}};
            // Garbage in every field the tree must overwrite.
            o->node = {&o->node, &o->node, 0xFFFF, p_.boxed ? uintptr_t(&o->elem) : key};
            ok = p_.level == Level::node
                     ? (b ? NuRTBTInsnode_b : NuRTBTInsnode)(&tree_, keys_.table(), &o->node,
                                                              p_.dups, st) == &o->node
                     : (b ? _NuRTBTLinknode_b : _NuRTBTLinknode)(
                           &tree_, keys_.table(), &o->node, p_.dups, &first_, &last_) == 0;
            EXPECT_TRUE(ok || (o->node.left == &o->node && o->node.flags == 0xFFFF));
            ok ? void(owned_.insert(&o->node)) : delete o;
            expect_calls(dups0, releases0);
        }
        EXPECT_EQ(ok, expected) << "insert " << key;
        if (ok)
            model_.insert(key);
        else if (st && p_.level != Level::link)
            expect_refusal(r, 49201, std::string("The entry, pointed to by the parameter '") +
                                         (tree_owns() ? "@user-info" : "@node") +
                                         "', already exists.");
    }

    void take_out(uintptr_t key) {
        const bool expected = model_.count(key);
        const int dups0 = Counting::dups, releases0 = Counting::releases;
        const Request req(keys_, key);
        const NuBtninfo *tb = keys_.table();
        const bool b = p_.balanced;
        Status r;
        VeskErr *const st = key % 2 ? &r.err : nullptr;
        bool ok = false;
        if (p_.level == Level::element) {
            ok = (b ? NuRTBTDelete_b : NuRTBTDelete)(&tree_, tb, req.word, st) == 0;
        } else if (p_.level == Level::detached) {
            const uintptr_t e = (b ? NuRTBTRemove_b : NuRTBTRemove)(&tree_, tb, req.word, st);
            if ((ok = e != NU_RTBT_NOELEMENT)) {
                EXPECT_EQ(keys_.key(e), key);
                if (p_.boxed)
                    Counting::drop(e);
            }
        } else {
            NuRTBTNode *n = p_.level == Level::node
                                ? (b ? NuRTBTRmnode_b : NuRTBTRmnode)(&tree_, tb, req.word, st)
                                : (b ? _NuRTBTUnlinknode_b : _NuRTBTUnlinknode)(
                                      &tree_, tb, req.word, &first_, &last_);
            if ((ok = n != nullptr)) {
                EXPECT_EQ(owned_.erase(n), 1u) << "a node the caller never gave";
                EXPECT_EQ(keys_.key(n->data), key);
                delete reinterpret_cast<OwnedNode *>(n);
            }
        }
        EXPECT_EQ(ok, expected) << "take out " << key;
        expect_calls(dups0, releases0 + (ok && p_.level == Level::element));
        if (ok)
            model_.erase(model_.find(key));
        else if (st && p_.level != Level::link)
            expect_refusal(r, 49170, "@request: name does not match the name of any entry.");
    }

    void find(uintptr_t key) {
        const Request req(keys_, key);
        Status r;
        const NuRTBTNode *n = NuRTBTFind(&tree_, keys_.table(), req.word, key % 2 ? &r.err : nullptr);
        EXPECT_EQ(n ? keys_.key(n->data) : ~key, model_.count(key) ? key : ~key) << "find";
        if (!n && key % 2)
            expect_refusal(r, 49170, "@request: name does not match the name of any entry.");
    }

    // The link level writes the caller's first and last pointers when, and
    // only when, that end of the order moves to another node: between steps
    // they hold poison, which must stay where the end stayed.
    ::testing::AssertionResult sound() {
        Shape s;
        const uintptr_t count = p_.level == Level::link ? 0 : model_.size();
        auto r = check(tree_, keys_, p_.balanced, count, {model_.begin(), model_.end()}, &s);
        if (r && p_.level == Level::link) {
            const NuRTBTNode *ends[2] = {s.inorder.empty() ? nullptr : s.inorder.front(),
                                         s.inorder.empty() ? nullptr : s.inorder.back()};
            NuRTBTNode **ptrs[2] = {&first_, &last_};
            for (int i = 0; i < 2; ++i) {
                const bool written = *ptrs[i] != &poison_[i];
                if (written != (ends[i] != ends_[i]) || (written && *ptrs[i] != ends[i]))
                    r = ::testing::AssertionFailure() << (i ? "last" : "first") << " pointer "
                                                      << (written ? "written" : "not written");
                ends_[i] = ends[i];
                *ptrs[i] = &poison_[i];
            }
        }
        if (r && p_.boxed && Counting::live != (tree_owns() ? int(model_.size()) : 0))
            return ::testing::AssertionFailure() << Counting::live << " live elements";
        return r;
    }

    size_t size() const { return model_.size(); }
    uintptr_t any_key(std::mt19937_64 &rng) const {
        return *std::next(model_.begin(), long(rng() % model_.size()));
    }

private:
    bool tree_owns() const { return p_.level == Level::element || p_.level == Level::detached; }
    static void expect_refusal(const Status &r, int32_t code, const std::string &text) {
        EXPECT_TRUE(r.err.status == status_of(code) && r.err.syserr == 0) << r.err.status;
        EXPECT_EQ(r.buf, text);
    }
    void expect_calls(int dups, int releases) const {
        EXPECT_TRUE(!p_.boxed || (Counting::dups == dups && Counting::releases == releases))
            << "dup/release calls " << Counting::dups << "/" << Counting::releases
            << " where ownership says " << dups << "/" << releases;
    }

    Param p_;
    Keys keys_;
    NuRTBT tree_;
    NuRTBTNode poison_[2] = {};
    NuRTBTNode *first_ = &poison_[0], *last_ = &poison_[1];
    const NuRTBTNode *ends_[2] = {};
    std::multiset<uintptr_t> model_;
    std::unordered_set<NuRTBTNode *> owned_;
};

class TreeModel : public ::testing::TestWithParam<Param> {
protected:
    void SetUp() override { Counting::reset(); }
};

// Grows the tree, shrinks it, then empties it; every step checked.
TEST_P(TreeModel, RandomRunMatchesAMultisetAndKeepsTheInvariants) {
    constexpr int kSteps = 3000;
    std::mt19937_64 rng(20240611);
    {
        Driver d(GetParam());
        for (int step = 0; step < kSteps; ++step) {
            const uintptr_t key = rng() % 300;
            const unsigned roll = rng() % 100;
            if (roll < (step < kSteps / 2 ? 60u : 30u))
                d.insert(key);
            else if (roll < 92)
                d.take_out(roll % 2 && d.size() ? d.any_key(rng) : key);
            else
                d.find(key);
            ASSERT_TRUE(d.sound()) << "after step " << step;
        }
        while (d.size()) {
            d.take_out(d.any_key(rng));
            ASSERT_TRUE(d.sound()) << "while emptying, " << d.size() << " left";
        }
    }
    EXPECT_EQ(Counting::live, 0);
}

std::vector<Param> every_level() {
    std::vector<Param> out;
    for (Level level : {Level::element, Level::detached, Level::node, Level::link})
        for (int bits = 0; bits < 8; ++bits)
            out.push_back({level, bool(bits & 4), bool(bits & 2), bool(bits & 1)});
    return out;
}
std::string label(const Param &p) {
    const char *const levels[] = {"Element", "Detached", "Node", "Link"};
    return std::string(levels[int(p.level)]) + (p.balanced ? "Balanced" : "Plain") +
           (p.dups ? "Dups" : "Unique") + (p.boxed ? "Counted" : "Words");
}
std::string name_of(const ::testing::TestParamInfo<Param> &i) { return label(i.param); }
// Printed by name: gtest's byte dump would read the padding behind the flags.
void PrintTo(const Param &p, std::ostream *os) { *os << label(p); }
INSTANTIATE_TEST_SUITE_P(Levels, TreeModel, ::testing::ValuesIn(every_level()), name_of);

// ---------------------------------------------------------------------------
// Shapes, copies, moves and destruction, on counted elements.

int64_t push_key(uintptr_t e, void *out, void *keys, VeskErr *) {
    auto *v = static_cast<std::vector<uintptr_t> *>(out);
    return v->push_back(static_cast<Keys *>(keys)->key(e)), 1;
}
std::vector<uintptr_t> walk_keys(const NuRTBT &tree, int order, Keys keys = Keys{true}) {
    std::vector<uintptr_t> out;
    NuBTWalk(&tree, &out, order, push_key, &keys, nullptr);
    return out;
}

class TreeShape : public ::testing::Test {
protected:
    void SetUp() override { Counting::reset(), NuRTBTInit(&tree); }
    void TearDown() override {
        NuRTBTDestroy(&tree, &Counting::table);
        EXPECT_EQ(Counting::live, 0);
    }
    void insert(uintptr_t key, bool balanced) {
        Elem info{key};
        (balanced ? NuRTBTInsert_b : NuRTBTInsert)(&tree, &Counting::table, uintptr_t(&info), 1,
                                                    nullptr);
    }
    void erase(uintptr_t key, bool balanced) {
        Elem probe{key};
        (balanced ? NuRTBTDelete_b : NuRTBTDelete)(&tree, &Counting::table, uintptr_t(&probe),
                                                    nullptr);
    }
    void renew() { NuRTBTDestroy(&tree, &Counting::table), NuRTBTInit(&tree); }
    static ::testing::AssertionResult sound(const NuRTBT &t, bool balanced, Shape *s = nullptr) {
        return check(t, Keys{true}, balanced, t.count, walk_keys(t, NU_BTWALK_INORDER), s);
    }
    NuRTBT tree;
};

// Same keys at the same places with the same flags, each with its own element.
void expect_same_shape(const NuRTBTNode *a, const NuRTBTNode *b) {
    ASSERT_EQ(!a, !b);
    if (!a)
        return;
    EXPECT_EQ(key_of(a->data), key_of(b->data));
    EXPECT_NE(a->data, b->data) << "the copy shares an element";
    ASSERT_EQ(a->flags, b->flags);
    expect_same_shape(a->left, b->left);
    if (!(a->flags & NU_RTBT_RTHREAD))
        expect_same_shape(a->right, b->right);
}

// A thinned balanced tree copies node for node, balance factors included, so
// the copy stays good for the balanced forms; a plain tree with runs of equal
// elements keeps them where they were. dup runs once per element, in pre-order.
// A copy of nothing or of an empty tree is an empty tree.
TEST_F(TreeShape, CopyKeepsShapeAndDupsInPreorder) {
    NuRTBT copy;
    std::memset(&copy, 0xAB, sizeof copy);
    EXPECT_EQ(NuRTBTInit_cp(&copy, nullptr, &Counting::table, nullptr), 0);
    EXPECT_TRUE(sound(copy, true));
    EXPECT_EQ(NuRTBTInit_cp(&copy, &tree, &Counting::table, nullptr), 0);
    EXPECT_TRUE(sound(copy, true));
    std::mt19937_64 rng(7);
    for (bool balanced : {true, false}) {
        for (int i = 0; i < 400; ++i)
            i % 3 == 2 ? erase(rng() % 50, balanced) : insert(rng() % 50, balanced);
        Counting::dup_order.clear();
        ASSERT_EQ(NuRTBTInit_cp(&copy, &tree, &Counting::table, nullptr), 1);
        EXPECT_EQ(Counting::dup_order, walk_keys(tree, NU_BTWALK_PREORDER));
        ASSERT_TRUE(sound(copy, balanced));
        expect_same_shape(tree.root, copy.root);

        NuRTBTDestroy(&tree, &Counting::table);
        NuRTBTInit_mv(&tree, &copy);
        for (int i = 0; i < 200; ++i)
            i % 2 ? erase(rng() % 50, balanced) : insert(rng() % 50, balanced);
        ASSERT_TRUE(sound(tree, balanced)) << "the copy does not stand on its own";
        renew();
    }

    // The 8th dup fails: the seven made are released, the copy is emptied,
    // and dup's report comes back re-stamped with the tree's family.
    for (uintptr_t k = 1; k <= 20; ++k)
        insert(k, true);
    VeskErr err{};
    const int releases = Counting::releases;
    Counting::fail_dup_at = 8;
    EXPECT_EQ(NuRTBTInit_cp(&copy, &tree, &Counting::table, &err), -1);
    EXPECT_TRUE(Counting::releases - releases == 7 && Counting::live == 20);
    EXPECT_TRUE(copy.root == nullptr && copy.count == 0);
    EXPECT_TRUE(err.status == status_of(32773) && err.syserr == 12 && err.variant == 1);
}

// The last node's thread is the one link to the head, so a move re-threads it.
TEST_F(TreeShape, MoveRethreadsTheLastNodeAndZeroesTheSource) {
    for (uintptr_t k : {5, 3, 8, 1, 4, 9})
        insert(k, true);
    NuRTBT moved, empty;
    std::memset(&moved, 0xAB, sizeof moved);
    EXPECT_EQ(NuRTBTInit_mv(&moved, &tree), 0);
    const NuRTBT zeros{};
    EXPECT_EQ(std::memcmp(&tree, &zeros, sizeof tree), 0);
    EXPECT_EQ(moved.count, 6u);
    ASSERT_TRUE(sound(moved, true));
    NuRTBTInit(&tree);
    NuRTBTInit_mv(&tree, &moved);
    ASSERT_TRUE(sound(tree, true));

    std::memset(&moved, 0xAB, sizeof moved);
    NuRTBTInit(&empty);
    NuRTBTInit_mv(&moved, &empty);  // an empty source initialises the target
    EXPECT_TRUE(sound(moved, true));

    // Nodes linked by hand are not counted: such a tree copies and moves as
    // empty, because `count` is what says empty.
    NuRTBTNode by_hand{};
    by_hand.data = 42;
    NuRTBT linked, copy;
    NuRTBTInit(&linked);
    ASSERT_EQ(_NuRTBTLinknode(&linked, &Counting::table, &by_hand, 1, nullptr, nullptr), 0);
    ASSERT_TRUE(linked.root == &by_hand && linked.count == 0);
    EXPECT_EQ(NuRTBTInit_cp(&copy, &linked, &Counting::table, nullptr), 0);
    EXPECT_TRUE(copy.root == nullptr && copy.count == 0);
    NuRTBTInit_mv(&moved, &linked);
    EXPECT_TRUE(moved.root == nullptr && linked.root == nullptr);
}

// Destroy frees `count` nodes and releases their non-null elements (none with
// a null table); linked nodes are not counted, so it leaves them alone.
TEST_F(TreeShape, DestroyReleasesCountedNodesOnly) {
    for (uintptr_t k = 0; k < 50; ++k)
        insert(k * 7 % 50, k % 2);
    NuRTBTInsert(&tree, &Counting::table, 0, 1, nullptr);  // a null element
    NuRTBTDestroy(&tree, &Counting::table);
    EXPECT_EQ(Counting::releases, 50);
    const NuRTBT zeros{};
    EXPECT_EQ(std::memcmp(&tree, &zeros, sizeof tree), 0) << "the head is not all zeros";

    NuRTBTInit(&tree);
    std::vector<OwnedNode> nodes(10);
    for (size_t i = 0; i < nodes.size(); ++i) {
        nodes[i] = {{nullptr, nullptr, 0, uintptr_t(&nodes[i].elem)}, {i}};
        ASSERT_EQ(_NuRTBTLinknode_b(&tree, &Counting::table, &nodes[i].node, 0, nullptr, nullptr),
                  0);
    }
    EXPECT_EQ(tree.count, 0u);
    NuRTBTNode *const root = tree.root;
    const NuRTBTNode before = *root;
    NuRTBTDestroy(&tree, &Counting::table);
    EXPECT_EQ(Counting::releases, 50);
    // Field by field: the padding behind `flags` is nobody's.
    EXPECT_TRUE(root->left == before.left && root->right == before.right &&
                root->flags == before.flags && root->data == before.data);

    NuRTBTInit(&tree);
    for (uintptr_t k = 0; k < 5; ++k)
        insert(k, false);
    const std::vector<uintptr_t> elements = walk_keys(tree, NU_BTWALK_INORDER, Keys{false});
    NuRTBTDestroy(&tree, nullptr);
    EXPECT_EQ(Counting::releases, 50);
    for (uintptr_t e : elements)
        Counting::drop(e);
    NuRTBTInit(&tree);
}

// Null elements call neither dup nor release (Counting checks that); a
// detaching take-out returns one as a success and tells failure by all ones.
// A failing dup's report stays, re-stamped with the tree's family.
TEST_F(TreeShape, NullElementsAndAFailingDup) {
    for (bool b : {false, true}) {
        auto insert = b ? NuRTBTInsert_b : NuRTBTInsert;
        auto remove = b ? NuRTBTRemove_b : NuRTBTRemove;
        auto erase = b ? NuRTBTDelete_b : NuRTBTDelete;
        Elem seven{7}, six{6};
        ASSERT_TRUE(insert(&tree, &Counting::table, 0, 1, nullptr) &&
                    insert(&tree, &Counting::table, 0, 1, nullptr));
        ASSERT_TRUE(insert(&tree, &Counting::table, uintptr_t(&seven), 1, nullptr));
        EXPECT_EQ(remove(&tree, &Counting::table, 0, nullptr), 0u);
        EXPECT_EQ(erase(&tree, &Counting::table, 0, nullptr), 0);
        EXPECT_EQ(remove(&tree, &Counting::table, 0, nullptr), NU_RTBT_NOELEMENT);
        EXPECT_EQ(Counting::releases, b ? 1 : 0);

        Counting::fail_dup_at = 1;
        VeskErr err{};
        EXPECT_EQ(insert(&tree, &Counting::table, uintptr_t(&six), 0, &err), nullptr);
        EXPECT_TRUE(err.status == status_of(32773) && err.syserr == 12 && err.variant == 1);
        EXPECT_EQ(Counting::releases, b ? 1 : 0);
        EXPECT_EQ(tree.count, 1u);
        EXPECT_EQ(erase(&tree, &Counting::table, uintptr_t(&seven), nullptr), 0);
        EXPECT_EQ(Counting::dups + Counting::releases, b ? 6 : 3);
    }
}

// ---------------------------------------------------------------------------
// Reports, on plain words.

class WordTree : public ::testing::Test {
protected:
    void SetUp() override { NuRTBTInit(&tree); }
    void TearDown() override { NuRTBTDestroy(&tree, kWords); }
    void fill(std::initializer_list<uintptr_t> keys, bool balanced = false) {
        for (uintptr_t k : keys)
            ASSERT_TRUE((balanced ? NuRTBTInsert_b : NuRTBTInsert)(&tree, kWords, k, 1, nullptr));
    }
    NuRTBT tree;
};

// The balanced descent stops 48 levels below the root. Only the plain form can
// build a chain that deep, so the limit is reached through one.
TEST_F(WordTree, BalancedFormsStopAtTheDepthLimit) {
    for (uintptr_t k = 1; k <= NU_RTBT_MAXDEPTH; ++k)  // depths 0 to 47
        fill({k});
    NuRTBTNode deepest{nullptr, nullptr, 0, NU_RTBT_MAXDEPTH + 1};
    ASSERT_EQ(_NuRTBTLinknode_b(&tree, kWords, &deepest, 0, nullptr, nullptr), 0) << "depth 48";

    const uintptr_t beyond = NU_RTBT_MAXDEPTH + 2;
    VeskErr e1{}, e2{}, e3{};
    EXPECT_EQ(NuRTBTInsert_b(&tree, kWords, beyond, 0, &e1), nullptr);
    NuRTBTNode node{nullptr, nullptr, 0, beyond};
    EXPECT_EQ(NuRTBTInsnode_b(&tree, kWords, &node, 1, &e2), nullptr);
    EXPECT_EQ(_NuRTBTLinknode_b(&tree, kWords, &node, 1, nullptr, nullptr), -1);
    for (const VeskErr &e : {e1, e2})
        EXPECT_TRUE(e.status == status_of(49219) && e.variant == 0) << e.status;

    // A balanced removal refuses a tree deeper than it can build, rather than
    // overrun its path, and changes nothing.
    ASSERT_TRUE(NuRTBTInsert(&tree, kWords, beyond, 0, nullptr));  // depth 49
    EXPECT_EQ(NuRTBTDelete_b(&tree, kWords, beyond, &e3), -1);
    EXPECT_EQ(e3.status, status_of(49219));
    EXPECT_EQ(_NuRTBTUnlinknode_b(&tree, kWords, NU_RTBT_MAXDEPTH + 1, nullptr, nullptr), nullptr);
    std::vector<uintptr_t> all(NU_RTBT_MAXDEPTH + 2);
    std::iota(all.begin(), all.end(), 1);
    EXPECT_EQ(walk_keys(tree, NU_BTWALK_INORDER, Keys{false}), all) << "nothing changed";
    // The plain forms know no limit.
    EXPECT_EQ(NuRTBTDelete(&tree, kWords, beyond, nullptr), 0);
    EXPECT_EQ(_NuRTBTUnlinknode(&tree, kWords, NU_RTBT_MAXDEPTH + 1, nullptr, nullptr), &deepest);
}

// A failing allocator can be installed only before the process first
// allocates, so this runs in a fresh process of its own.
TEST(TreeAllocation, FailuresAreReportedWithTheTreeFamily) {
    vesk_test::expect_in_fresh_process([] {
        const NuMallocOpv failing = {[](size_t) -> void * { return nullptr; },
                                     [](size_t, size_t) -> void * { return nullptr; }, nullptr,
                                     nullptr};
        CHILD_CHECK(_NuMallocOpv(&failing, nullptr) == 0);
        const std::string tail = ": operation failure: can not perform local memory allocation.";
        Status head;
        CHILD_CHECK(NuRTBTCreate(&head.err) == nullptr && head.err.status == status_of(32773));
        CHILD_CHECK(head.buf == "_S_malloc.mm_alloc" + tail);
        NuRTBT tree;
        NuRTBTInit(&tree);
        Counting::reset();
        for (auto insert : {NuRTBTInsert, NuRTBTInsert_b}) {
            Elem one{1};
            Status node;
            CHILD_CHECK(insert(&tree, &Counting::table, uintptr_t(&one), 0, &node.err) == nullptr);
            CHILD_CHECK(node.err.status == status_of(32773) &&
                        node.buf == "_S_malloc.mm_calloc" + tail);
        }
        CHILD_CHECK(Counting::dups == 0 && tree.root == nullptr && tree.count == 0);
    });
}

// ---------------------------------------------------------------------------
// Search among equals, walks and the dump.

// Equal elements go right of one another; a search finds the one nearest the root.
TEST_F(WordTree, DuplicatesLineUpToTheRight) {
    fill({5, 5, 5});
    EXPECT_EQ(NuRTBTFind(&tree, kWords, 5, nullptr), tree.root);
    EXPECT_TRUE(tree.root->left == nullptr && tree.root->right->data == 5u);
}

// A caller's comparison that counts its calls and orders as the stock one.
struct CountedWords {
    static inline int calls;
    static intptr_t compare(uintptr_t a, uintptr_t b) { return ++calls, intptr_t(a - b); }
    static constexpr NuBtninfo table = {nullptr, nullptr, nullptr, compare, nullptr};
};

// Nodes an insert compares against: the root down to an empty link or, when
// equals are refused, to the first equal.
int descent_length(const NuRTBT &t, uintptr_t key, bool dups) {
    int n = 0;
    for (const NuRTBTNode *c = t.root; c != nullptr; ++n) {
        const intptr_t r = intptr_t(c->data - key);
        if (r == 0 && !dups)
            return n + 1;
        c = r > 0 ? c->left : (c->flags & NU_RTBT_RTHREAD) ? nullptr : c->right;
    }
    return n;
}

void expect_same_nodes(const NuRTBTNode *a, const NuRTBTNode *b) {
    ASSERT_EQ(!a, !b);
    if (!a)
        return;
    ASSERT_EQ(a->data, b->data);
    ASSERT_EQ(a->flags, b->flags) << "at " << a->data;
    expect_same_nodes(a->left, b->left);
    if (!(a->flags & NU_RTBT_RTHREAD))
        expect_same_nodes(a->right, b->right);
}

// The stock comparison runs inline and a caller's through its table, by two
// ways of retracing an insert's path; both must build the very same balanced
// tree, and a caller's comparison runs once per node of the descent, never
// twice, with or without duplicates.
TEST(TreeCompare, StockAndCallerComparisonsBuildTheSameTreeWithOneCallPerLevel) {
    constexpr int kSteps = 4000;
    std::vector<NuRTBTNode> stock(kSteps), caller(kSteps);
    NuRTBT a, b;
    NuRTBTInit(&a), NuRTBTInit(&b);
    std::mt19937_64 rng(7);
    for (int i = 0; i < kSteps; ++i) {
        const uintptr_t key = rng() % 200;
        if (rng() % 3 == 0) {
            NuRTBTNode *const x = NuRTBTRmnode_b(&a, kWords, key, nullptr);
            ASSERT_EQ(!x, !NuRTBTRmnode_b(&b, &CountedWords::table, key, nullptr));
        } else {
            const int dups = int(rng() % 2);
            stock[i].data = caller[i].data = key;
            const int expected = descent_length(b, key, dups);
            CountedWords::calls = 0;
            NuRTBTNode *const in =
                NuRTBTInsnode_b(&b, &CountedWords::table, &caller[i], dups, nullptr);
            EXPECT_EQ(CountedWords::calls, expected) << "insert of " << key;
            ASSERT_EQ(!in, !NuRTBTInsnode_b(&a, kWords, &stock[i], dups, nullptr));
        }
        ASSERT_EQ(a.count, b.count);
        expect_same_nodes(a.root, b.root);
        if (HasFatalFailure())
            FAIL() << "after step " << i;
    }
}

struct Visits {
    std::vector<uintptr_t> seen;
    int64_t stop_at_third = 1;  // the third call's result; 1 lets the walk go on
    static int64_t fn(uintptr_t element, void *argument, void *context, VeskErr *status) {
        auto *v = static_cast<Visits *>(context);
        EXPECT_TRUE(argument == &v->seen && status == reinterpret_cast<VeskErr *>(8));
        v->seen.push_back(element);
        return v->seen.size() == 3 && v->stop_at_third < 1 ? v->stop_at_third
                                                           : int64_t(element) + 100;
    }
    int64_t walk(const NuRTBT &tree, int order) {
        seen.clear();
        return NuBTWalk(&tree, &seen, order, fn, this, reinterpret_cast<VeskErr *>(8));
    }
};

TEST_F(WordTree, WalkOrdersAndResults) {
    Visits v;
    EXPECT_EQ(v.walk(tree, NU_BTWALK_INORDER), 1) << "an empty tree gives 1";
    EXPECT_TRUE(v.seen.empty());

    fill({4, 2, 6, 1, 3, 5, 7});
    using W = std::vector<uintptr_t>;
    EXPECT_EQ(v.walk(tree, NU_BTWALK_PREORDER), 107) << "the last result";
    EXPECT_EQ(v.seen, (W{4, 2, 1, 3, 6, 5, 7}));
    EXPECT_EQ(v.walk(tree, NU_BTWALK_POSTORDER), 104);
    EXPECT_EQ(v.seen, (W{1, 3, 2, 5, 7, 6, 4}));
    EXPECT_EQ(v.walk(tree, 99), 107) << "other orders walk in order";
    EXPECT_EQ(v.seen, (W{1, 2, 3, 4, 5, 6, 7}));

    // A result of 0 or below stops the whole walk, which then gives 0.
    for (int64_t stop : {-1, 0, -7}) {
        v.stop_at_third = stop;
        for (int order : {NU_BTWALK_PREORDER, NU_BTWALK_POSTORDER, NU_BTWALK_INORDER}) {
            EXPECT_EQ(v.walk(tree, order), 0) << "stop " << stop << ", order " << order;
            EXPECT_EQ(v.seen.size(), 3u);
        }
    }

    // Trees of the same node family may keep left threads; walks skip them.
    NuRTBTNode *six = tree.root->right;
    NuRTBTNode *const five = six->left;
    six->left = tree.root;
    six->flags = uint16_t(six->flags | NU_RTBT_LTHREAD);
    v.stop_at_third = 1;
    v.walk(tree, NU_BTWALK_POSTORDER);
    EXPECT_EQ(v.seen, (W{1, 3, 2, 7, 6, 4}));
    six->left = five;
    six->flags = uint16_t(six->flags & ~NU_RTBT_LTHREAD);
}

// Node, then its right subtree a level down, then its left; every missing
// child is a call with element 0 at its level.
TEST_F(WordTree, DumpCallSequence) {
    using Calls = std::vector<std::pair<uintptr_t, int32_t>>;
    NuBtninfo table = _G_default_btninfo_opv;
    table.dump = [](void *calls, uintptr_t element, int32_t level) {
        static_cast<Calls *>(calls)->emplace_back(element, level);
    };
    Calls calls;
    NuRTBTDump(&tree, &table, &calls);
    EXPECT_TRUE(calls.empty()) << "empty tree";
    fill({4, 2, 6, 5});
    NuRTBTDump(&tree, &table, nullptr);  // no context: nothing
    NuRTBTDump(&tree, &table, &calls);
    EXPECT_EQ(calls, (Calls{{4, 0}, {6, 1}, {0, 2}, {5, 2}, {0, 3}, {0, 3}, {2, 1}, {0, 2}, {0, 2}}));
}

// A tree linked by hand can be as deep as it has nodes: a left chain of 300,000
// would need tens of megabytes of the thread's stack if the walks, the dump or
// the copy recursed. Each must visit every node, in its order.
TEST(DeepTree, WalksDumpAndCopyDoNotGrowTheThreadsStack) {
    constexpr uintptr_t kDepth = 300000;
    std::vector<NuRTBTNode> chain(kDepth);
    NuRTBT tree;
    NuRTBTInit(&tree);
    for (uintptr_t i = 0; i < kDepth; ++i) {  // keys kDepth..1 down the left side
        NuRTBTNode &n = chain[i];
        n.data = kDepth - i;
        n.left = i + 1 < kDepth ? &chain[i + 1] : nullptr;
        n.right = i == 0 ? reinterpret_cast<NuRTBTNode *>(&tree) : &chain[i - 1];
        n.flags = uint16_t(NU_RTBT_RTHREAD | (i == 0 ? NU_RTBT_LAST : 0) |
                           (i + 1 == kDepth ? NU_RTBT_FIRST : 0));
    }
    tree.root = &chain[0];
    tree.count = kDepth;

    struct Seen {
        uintptr_t count = 0, previous = 0;
        bool ascending = true;
    };
    auto visit = [](uintptr_t e, void *seen, void *, VeskErr *) -> int64_t {
        auto *s = static_cast<Seen *>(seen);
        s->ascending = s->ascending && e > s->previous;
        s->previous = e;
        return int64_t(++s->count);
    };
    for (int order : {NU_BTWALK_PREORDER, NU_BTWALK_INORDER, NU_BTWALK_POSTORDER}) {
        Seen seen;
        EXPECT_EQ(NuBTWalk(&tree, &seen, order, visit, nullptr, nullptr), int64_t(kDepth));
        EXPECT_EQ(seen.count, kDepth);
        EXPECT_EQ(seen.ascending, order != NU_BTWALK_PREORDER) << "order " << order;
    }
    NuBtninfo table = _G_default_btninfo_opv;
    static uintptr_t dumped;
    dumped = 0;
    table.dump = [](void *, uintptr_t element, int32_t) { dumped += element != 0; };
    NuRTBTDump(&tree, &table, &dumped);
    EXPECT_EQ(dumped, kDepth);

    NuRTBT copy;
    ASSERT_EQ(NuRTBTInit_cp(&copy, &tree, &_G_default_btninfo_opv, nullptr), 1);
    Seen in_copy;
    EXPECT_EQ(NuBTWalk(&copy, &in_copy, NU_BTWALK_INORDER, visit, nullptr, nullptr), int64_t(kDepth));
    EXPECT_TRUE(in_copy.ascending && copy.count == kDepth);
    NuRTBTDestroy(&copy, &_G_default_btninfo_opv);
}

}  // namespace
