// SPDX-License-Identifier: MIT
// Linking through the exported steps, with the modules of link_modules.c:
// describe, register and plug, their undoing, and what each leaves behind in
// the records and the registries.
#include <cstring>
#include <string>

#include "link_modules.h"
#include "linked.hpp"

namespace {

using vesk_test::expect_rt_report;
using vesk_test::key;

int g_file;  // stands for a module file: a module with a handle can be unplugged

const VeskOpfn kNotsupported = VESK_FN(_VeskOpNotsupported);
const VeskOpfn kNotconfigured = VESK_FN(_VeskOpNotconfigured);
const VeskOid kA1 = key(VESK_OPNUM_NONE, {3, 950, 1});

template <class T>
void append(std::string &s, const T *p, size_t n = sizeof(T)) {
    s.append(reinterpret_cast<const char *>(p), n);
}
std::string rows_of(const VeskOps *set) {
    std::string s;
    append(s, set->rows, set->opcount * sizeof(VeskOprow));
    return s;
}
// Each test class has its SE block right behind it.
VeskSeblock *block_of(VeskClass *cls) { return reinterpret_cast<VeskSeblock *>(cls + 1); }
VeskSe &se_of(VeskClass *cls, uint32_t i) { return block_of(cls)->se[i]; }
bool on_stub(const VeskSe &se) {
    return std::strcmp(se.ops->rec.longkey, "operations/stub/null") == 0;
}

// Every byte linking writes in a module: its record, sets, classes, elements.
std::string snapshot(const VeskModule *m) {
    std::string s;
    append(s, m);
    for (uint32_t i = 0; i < m->opsc; ++i)
        append(s, &m->opsv[i]->rec), s += rows_of(m->opsv[i]);
    for (uint32_t i = 0; i < m->clsc; ++i) {
        const VeskSeblock *block = block_of(m->clsv[i]);
        append(s, m->clsv[i]);
        append(s, block, sizeof(VeskSeblock) + block->count * sizeof(VeskSe));
    }
    return s;
}

class Link : public ::testing::Test {
protected:
    void SetUp() override {
        for (VeskModule *m : {lk_alpha, lk_beta, lk_lone, lk_once, lk_empty, lk_bad, lk_cycle})
            m->handle = &g_file;
        lk_once_log[0] = lk_once_fail = '\0';
        lk_bad_fail = 0;
    }
    // Describe all, register all, then plug all, as a loader takes a load list.
    static void prepare(std::initializer_list<VeskModule *> mods) {
        for (VeskModule *m : mods)
            ASSERT_GE(_VeskModDescribe(m, nullptr), 0);
        for (VeskModule *m : mods)
            ASSERT_EQ(_VeskModRegister(m, nullptr), 1);
    }
    static void link(std::initializer_list<VeskModule *> mods) {
        prepare(mods);
        for (VeskModule *m : mods)
            ASSERT_EQ(_VeskModPlug(m, nullptr), 1);
    }
    static void unload(std::initializer_list<VeskModule *> mods) {
        for (VeskModule *m : mods)
            ASSERT_EQ(_VeskModUnload(m, nullptr), 0);
    }
    VeskErr st = vesk_test::garbage_status();
};

TEST_F(Link, ModulesImportingFromEachOtherResolveAndRelinkIdentically) {
    const std::string a1_static = rows_of(lk_a1), b2_static = rows_of(lk_b2);
    link({lk_alpha, lk_beta});
    EXPECT_EQ(lk_alpha->rec.state, 0x7u);
    EXPECT_EQ(lk_beta->rec.state, 0x7u);
    for (const VeskOps *set : {lk_a1, lk_b1, lk_b2})
        EXPECT_EQ(set->rec.state, 0x3u) << set->rec.longkey;
    const struct {
        const VeskOps *set;
        unsigned row;
        VeskOpfn fn;
        const VeskOps *owner;
        int opnum;  // of an import's source; -1 for an alias
    } want[] = {
        {lk_a1, 5, lk_fb5, lk_b1, 5},             // 0xFFFF: the same row of B1
        {lk_a1, 6, lk_fb4, lk_b1, 4},             // a numbered row of B1
        {lk_a1, 7, lk_fa4, lk_a1, -1},            // alias to a row ahead: pass 0
        {lk_a1, 8, lk_fa9, lk_a1, -1},            // alias to a row behind: pass 1
        {lk_a1, 10, kNotsupported, lk_a1, -1},    // alias cycle
        {lk_a1, 11, kNotsupported, lk_a1, -1},
        {lk_a1, 12, kNotsupported, lk_a1, -1},    // alias beyond the set
        {lk_a1, 13, kNotsupported, nullptr, 40},  // import beyond the source
        {lk_b1, 6, lk_fb4, lk_b1, -1},
        {lk_b2, 4, lk_fa9, lk_a1, 9},
        {lk_b2, 5, lk_fb5, lk_b1, 5},             // through A1 row 5 to its origin in B1
        {lk_b2, 6, lk_fb4, lk_b1, 6},             // origin B1 row 4; source still names A1 row 6
        {lk_b2, 7, lk_fa4, lk_a1, 7},             // through A1's alias to A1 row 4
        {lk_b2, 8, kNotsupported, nullptr, 10},   // A1's alias cycle leads nowhere
    };
    for (const auto &w : want) {
        const VeskOprow &row = w.set->rows[w.row];
        EXPECT_EQ(row.fn, w.fn) << w.set->rec.longkey << " row " << w.row;
        EXPECT_EQ(row.owner, w.owner) << w.set->rec.longkey << " row " << w.row;
        EXPECT_TRUE(w.opnum < 0 || row.source.opnum == w.opnum)
            << w.set->rec.longkey << " row " << w.row;
    }
    // Origins are held: A1 by two rows of B2; B1 by four rows and the class's element.
    EXPECT_EQ(lk_a1->rec.holds, 2);
    EXPECT_EQ(lk_b1->rec.holds, 5);
    EXPECT_EQ(se_of(lk_alpha_cls, 1).ops, lk_b1);

    const std::string alpha_linked = snapshot(lk_alpha), beta_linked = snapshot(lk_beta);
    ASSERT_EQ(_VeskModUnplug(lk_beta, &st), 0);
    ASSERT_EQ(_VeskModUnplug(lk_alpha, &st), 0);
    EXPECT_EQ(rows_of(lk_a1), a1_static);
    EXPECT_EQ(rows_of(lk_b2), b2_static);
    EXPECT_EQ(lk_a1->rec.holds + lk_b1->rec.holds, 0);
    EXPECT_TRUE(on_stub(se_of(lk_alpha_cls, 1)));

    ASSERT_EQ(_VeskModPlug(lk_alpha, nullptr), 1);
    ASSERT_EQ(_VeskModPlug(lk_beta, nullptr), 1);
    EXPECT_EQ(snapshot(lk_alpha), alpha_linked);  // every row, element, state and hold
    EXPECT_EQ(snapshot(lk_beta), beta_linked);
    unload({lk_beta, lk_alpha});
    EXPECT_EQ(_VeskGetops(&kA1, nullptr), nullptr);
    EXPECT_EQ(_VeskVgetmodule(950, -1), nullptr);
    EXPECT_EQ(lk_b1->rec.holds, 0);
}

TEST_F(Link, UnresolvableImportsStayNotconfiguredHoweverOftenPlugged) {
    VeskModule *stub = _VeskVgetmodule(1, -1);
    ASSERT_NE(stub, nullptr);
    const uint32_t stub_state = stub->rec.state;
    prepare({lk_lone, lk_cycle});
    for (int plug = 0; plug < 2; ++plug) {
        EXPECT_EQ(_VeskModPlug(lk_lone, &st), 0);
        expect_rt_report(st, 518, 0, 4);  // the registry has no 3.959.1
        EXPECT_EQ(lk_l1->rec.state & VESK_ST_RESOLVED, 0u);
        for (const VeskOprow *row : {&lk_l1->rows[4], &lk_l2->rows[4], &lk_l2->rows[5]})
            EXPECT_TRUE(row->fn == kNotconfigured && row->owner == nullptr) << row->cname;
        EXPECT_EQ(lk_l1->rec.holds, 1);  // by the class's element alone
        EXPECT_EQ(lk_lone_cls->rec.state, VESK_ST_STARTED);
        EXPECT_TRUE(on_stub(se_of(lk_lone_cls, 1)));
        // The dependency, found among the alternatives, is connected once both ways.
        ASSERT_EQ(lk_lone->uses.count, 1u);
        EXPECT_EQ(lk_lone->uses.storage[0], stub);
        ASSERT_EQ(stub->usedby.count, 1u);
        EXPECT_EQ(stub->usedby.storage[0], lk_lone);

        EXPECT_EQ(_VeskModPlug(lk_cycle, &st), 0);  // C1 and C2 import from each other
        expect_rt_report(st, 771, 22, 2);
        for (const VeskOps *set : {lk_c1, lk_c2})
            EXPECT_TRUE(set->rows[4].fn == kNotconfigured && set->rec.holds == 0)
                << set->rec.longkey;
    }
    // The row reports when called, under the family of the set that holds it.
    VeskClosure cl;
    const VeskOid k = key(4, {3, 952});
    const VeskOprow *row = VeskLookupop(lk_lone_cls, &k, &cl, nullptr);
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(reinterpret_cast<int64_t (*)(VeskClosure *, VeskErr *)>(row->fn)(&cl, &st), -1);
    EXPECT_EQ(st.status, (952 << 16) | 518);
    EXPECT_EQ(st.variant, 0u);

    // Unloading lets go of the dependency; the stub refuses to go with it and stays.
    unload({lk_cycle, lk_lone});
    EXPECT_EQ(lk_lone->uses.count + stub->usedby.count, 0u);
    EXPECT_EQ(stub->rec.state, stub_state);
    EXPECT_EQ(_VeskVgetmodule(1, -1), stub);
}

TEST_F(Link, FailingInitOnceIsUndoneInReverseAndFiniRunsInReverseOfInit) {
    lk_once_fail = '3';
    prepare({lk_once});
    EXPECT_EQ(_VeskModPlug(lk_once, nullptr), -7);
    EXPECT_STREQ(lk_once_log, "+m+1+2+3-2-1-m");
    EXPECT_EQ(lk_once->rec.state, VESK_ST_STARTED);
    EXPECT_EQ(lk_once_cls->rec.state, VESK_ST_STARTED);
    for (uint32_t i = 0; i < 3; ++i)
        EXPECT_EQ(se_of(lk_once_cls, i).once, 0) << i;
    // What a loader does next runs nothing more.
    _VeskModUnplug(lk_once, nullptr);
    _VeskModUnregister(lk_once, nullptr);
    _VeskModFinish(lk_once, nullptr);
    EXPECT_STREQ(lk_once_log, "+m+1+2+3-2-1-m");

    lk_once_fail = 0;
    lk_once_log[0] = '\0';
    link({lk_once});
    EXPECT_STREQ(lk_once_log, "+m+1+2+3");
    unload({lk_once});
    EXPECT_STREQ(lk_once_log, "+m+1+2+3-3-2-1-m");
}

TEST_F(Link, UnplugRefusalsChangeNothing) {
    lk_empty->handle = nullptr;  // a module of the library itself
    link({lk_empty});            // no on_link, sets or classes: complete at once
    EXPECT_EQ(lk_empty->rec.state, 0x7u);
    EXPECT_EQ(_VeskModUnplug(lk_empty, &st), -1);
    expect_rt_report(st, 771, 22, 2);
    EXPECT_EQ(lk_empty->rec.state, 0x7u);
    lk_empty->handle = &g_file;
    unload({lk_empty});

    link({lk_alpha, lk_beta});
    const std::string linked = snapshot(lk_alpha);
    EXPECT_EQ(_VeskModPlug(lk_alpha, nullptr), 1);  // plugged already: returns at once
    EXPECT_EQ(snapshot(lk_alpha), linked);
    const VeskOid cls_key = key(VESK_OPNUM_NONE, {4, 950});
    const VeskOid mod_key = key(VESK_OPNUM_NONE, {5, 950});
    for (const VeskOid *held_key : {&cls_key, &mod_key, static_cast<const VeskOid *>(nullptr)}) {
        void *held = held_key != nullptr ? VeskGetcobject(held_key, nullptr) : nullptr;
        if (held_key == nullptr)
            lk_alpha->rec.state |= VESK_ST_LOADHELD;  // requested by a load
        const std::string busy = snapshot(lk_alpha);
        st = vesk_test::garbage_status();
        EXPECT_EQ(_VeskModUnplug(lk_alpha, &st), -1);
        expect_rt_report(st, 49218, 0, 3);
        EXPECT_EQ(snapshot(lk_alpha), busy);
        lk_alpha->rec.state &= ~VESK_ST_LOADHELD;
        EXPECT_TRUE(held == nullptr || VeskEndcobject(held, nullptr) == 0);
    }
    EXPECT_EQ(snapshot(lk_alpha), linked);
    unload({lk_alpha, lk_beta});
}

TEST_F(Link, FailedDescribeAndRegisterTakeThemselvesBack) {
    lk_bad_fail = 1;
    EXPECT_EQ(_VeskModDescribe(lk_bad, nullptr), -5);
    EXPECT_EQ(lk_bad_cls1->selist.ready + lk_bad->selist.ready, 0);
    EXPECT_EQ(block_of(lk_bad_cls1)->links.next, nullptr);  // free to be pushed again
    lk_bad_fail = 0;
    ASSERT_EQ(_VeskModDescribe(lk_bad, nullptr), 0);  // the smallest on_link result

    // Its set has A1's identifier: registering it after Alpha fails, and
    // neither that nor undoing it once more disturbs Alpha.
    prepare({lk_alpha});
    EXPECT_EQ(_VeskModRegister(lk_bad, &st), -1);
    expect_rt_report(st, 49201, 0, 1);
    EXPECT_EQ(_VeskVgetmodule(955, -1), nullptr);
    EXPECT_EQ(_VeskModUnregister(lk_bad, nullptr), 0);
    EXPECT_EQ(_VeskGetops(&kA1, nullptr), lk_a1);
    _VeskModFinish(lk_bad, nullptr);
    _VeskModUnregister(lk_alpha, nullptr);
    _VeskModFinish(lk_alpha, nullptr);
    EXPECT_EQ(_VeskGetops(&kA1, nullptr), nullptr);
}

}  // namespace
