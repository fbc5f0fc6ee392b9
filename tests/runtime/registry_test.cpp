// SPDX-License-Identifier: MIT
// The registry: the reports of its front ends, holds taken and given back,
// exact and prefix searches over a module entered by linking's first two
// steps, refused entries, and readers side by side.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "linked.hpp"

namespace {

using namespace vesk_test;

// The registry's reports, as the stock error service words them.
class Registry : public ::testing::Test {
protected:
    void expect_message(int32_t code, int32_t syserr, uint32_t variant, const std::string &msg) {
        expect_rt_report(report.err, code, syserr, variant);
        EXPECT_EQ(std::string(report.buf), msg);
    }

    Status report;
};

TEST_F(Registry, RefusalsNameTheCalledFunction) {
    VeskClass cls{};
    cls.rec.kind = VESK_KIND_CLASS;
    VESK_OPS_T(4) ops{};
    ops.rec.kind = VESK_KIND_OPS;
    VeskInstance inst{VESK_KIND_INSTANCE, VESK_F_SUPER, &cls};
    const VeskOid category_only = key(0, {4}), set = key(0, {3, 1006}), none = key(0, {}),
                  cls_key = key(0, {4, 900}), unknown = key(0, {6, 1});
    VeskForeachFn fn{0, [](void *, VeskForeachFn *) -> int64_t { return 1; }};
    const struct {
        std::function<bool(VeskErr *)> refused;
        const char *message;
    } cases[] = {
        {[&](VeskErr *e) { return !VeskGetcobject(&category_only, e); }, "VeskGetcobject(@oid)"},
        {[&](VeskErr *e) { return !VeskGetcobject_nlk(&set, e); }, "VeskGetcobject_nlk(@oid)"},
        {[&](VeskErr *e) { return !_VeskGetcobject(&unknown, e); }, "_VeskGetcobject(@oid)"},
        {[&](VeskErr *e) { return !_VeskGetcobject_nlk(nullptr, e); }, "_VeskGetcobject_nlk(@oid)"},
        {[&](VeskErr *e) { return !VeskGetops(&cls_key, e); }, "VeskGetops(@oid)"},
        {[&](VeskErr *e) { return !_VeskGetops(&none, e); }, "_VeskGetops(@oid)"},
        {[&](VeskErr *e) { return VeskForeach(&set, &fn, e) == -1; }, "VeskForeach(@oid)"},
        {[&](VeskErr *e) { return VeskForeach_nlk(&none, &fn, e) == -1; }, "VeskForeach_nlk(@oid)"},
        {[&](VeskErr *e) { return VeskEndcobject(&inst, e) == -1; }, "VeskEndcobject(@self)"},
        {[&](VeskErr *e) { return VeskEndcobject_nlk(&ops, e) == -1; },
         "VeskEndcobject_nlk(@self)"},
        {[&](VeskErr *e) { return VeskEndops(VESK_OPS(&cls), e) == -1; }, "VeskEndops(@self)"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.message);
        report.err.status = 0;
        EXPECT_TRUE(c.refused(&report.err));
        expect_message(259, 0, 3, std::string("vesk-runtime:") + c.message + ": invalid argument.");
    }
}

// 5.970 with the set 3.970.1 and the classes 4.969, 4.970.1 to 4.970.9 and
// 4.971.1, in that order: the prefix 4.970 spans several levels of the tree
// and has neighbours on either side.
class Registered : public Registry {
protected:
    void SetUp() override {
        Registry::SetUp();
        ASSERT_EQ(m.enter(&report.err), 1) << report.buf;
    }
    VeskRecord *cls(size_t i) { return &m.clsv[i]->rec; }
    std::vector<VeskRecord *> classes(size_t from, size_t to) {
        std::vector<VeskRecord *> v;
        while (from < to)
            v.push_back(cls(from++));
        return v;
    }
    void expect_no_holds() {
        for (VeskRecord *rec : classes(0, m.clsv.size()))
            EXPECT_EQ(rec->holds, 0) << rec->longkey;
        EXPECT_TRUE(m.mod.rec.holds == 0 && m.opsv[0]->rec.holds == 0);
    }

    TestModule m{key(0, {5, 970}), {key(0, {3, 970, 1})}, [] {
                     std::vector<VeskOid> v{key(0, {4, 969})};
                     for (uint16_t i = 1; i <= 9; ++i)
                         v.push_back(key(0, {4, 970, i}));
                     v.push_back(key(0, {4, 971, 1}));
                     return v;
                 }()};
};

TEST_F(Registered, GettersAreExactAndEndsGiveTheirHoldsBack) {
    const VeskOid k = key(0, {4, 970, 3}), mk = key(0, {5, 970}), sk = key(0, {3, 970, 1});
    VeskRecord *c = cls(3), *set = &m.opsv[0]->rec;
    const std::pair<void *(*)(const VeskOid *, VeskErr *), int32_t> getters[] = {
        {VeskGetcobject, 1}, {VeskGetcobject_nlk, 2}, {_VeskGetcobject, 2},
        {_VeskGetcobject_nlk, 2}};
    for (const auto &[get, holds] : getters) {
        EXPECT_EQ(get(&k, nullptr), c);
        EXPECT_EQ(c->holds, holds);
    }
    EXPECT_EQ(VeskGetcobject(&mk, nullptr), &m.mod);
    EXPECT_EQ(VeskGetops(&sk, nullptr), m.opsv[0]);
    EXPECT_EQ(_VeskGetops(&sk, nullptr), m.opsv[0]);
    EXPECT_EQ(m.mod.rec.holds + set->holds, 2);
    EXPECT_EQ(_VeskVgetmodule(970, -1), &m.mod);
    EXPECT_EQ(_VeskVgetmodule(970, 1, 2, 3, 4, -1), nullptr);

    // Each end gives one hold back, and at 0 refuses, naming itself.
    const std::tuple<const char *, std::function<int64_t(VeskErr *)>, VeskRecord *> ends[] = {
        {"VeskEndcobject", [&](VeskErr *e) { return VeskEndcobject(c, e); }, c},
        {"VeskEndcobject_nlk", [&](VeskErr *e) { return VeskEndcobject_nlk(&m.mod, e); },
         &m.mod.rec},
        {"VeskEndops", [&](VeskErr *e) { return VeskEndops(m.opsv[0], e); }, set},
    };
    for (const auto &[name, end, rec] : ends) {
        while (rec->holds > 0)
            ASSERT_EQ(end(nullptr), 0) << name;
        EXPECT_EQ(end(&report.err), -1);
        EXPECT_EQ(rec->holds, 0) << name << " keeps it at 0";
        expect_message(771, EINVAL, 2,
                       std::string("{") + name + ":" + rec->longkey +
                           "}: wrong [object] state to perform operation.");
    }

    // The whole identifier must match, wildcards aside.
    const VeskOid shorter = key(0, {4, 970}), wildcard_tail = key(0, {4, 969, 0});
    EXPECT_EQ(VeskGetcobject(&shorter, &report.err), nullptr);
    expect_message(518, 0, 4, "970: resource not ready to use or no such resource.");
    EXPECT_EQ(_VeskGetcobject(&wildcard_tail, nullptr), cls(0));
}

struct Visits {
    explicit Visits(int64_t (*a)(size_t)) : answer(a) {}
    VeskForeachFn fn{0, [](void *rec, VeskForeachFn *self) {
                         auto *v = reinterpret_cast<Visits *>(self);
                         v->seen.push_back(static_cast<VeskRecord *>(rec));
                         v->holds.push_back(v->seen.back()->holds);
                         return v->answer(v->seen.size());
                     }};
    int64_t (*answer)(size_t call);
    std::vector<VeskRecord *> seen;
    std::vector<int32_t> holds;
};

TEST_F(Registered, ForeachWalksThePrefixInOrderHoldingEachRecord) {
    const struct {
        VeskOid key;
        int64_t (*answer)(size_t);
        int64_t result;
        std::vector<VeskRecord *> seen;
    } cases[] = {
        {key(0, {4, 970}), [](size_t n) -> int64_t { return n; }, 9, classes(1, 10)},
        {key(0, {4, 970}), [](size_t n) -> int64_t { return n == 2 ? 0 : 1; }, 0, classes(1, 3)},
        {key(0, {4, 970}), [](size_t n) -> int64_t { return n == 3 ? -7 : 1; }, -7, classes(1, 4)},
        {key(0, {4, 970, 7}), [](size_t) -> int64_t { return 1; }, 1, {cls(7)}},
        {key(0, {4, 31999}), [](size_t) -> int64_t { return 1; }, 0, {}},
    };
    for (auto foreach : {VeskForeach, VeskForeach_nlk})
        for (const auto &c : cases) {
            Visits v(c.answer);
            EXPECT_EQ(foreach(&c.key, &v.fn, nullptr), c.result);
            EXPECT_EQ(v.seen, c.seen);
            EXPECT_EQ(v.holds, std::vector<int32_t>(c.seen.size(), 1));
            expect_no_holds();
        }

    // The category alone walks every class, the library's own among them.
    Visits v([](size_t) -> int64_t { return 1; });
    const VeskOid category = key(0, {4});
    EXPECT_EQ(VeskForeach(&category, &v.fn, nullptr), 1);
    EXPECT_TRUE(std::is_sorted(v.seen.begin(), v.seen.end(),
                               [](auto *a, auto *b) { return VeskOidlcmp(&a->oid, &b->oid) < 0; }));
    const std::vector<VeskRecord *> ours = classes(0, m.clsv.size());
    EXPECT_NE(std::search(v.seen.begin(), v.seen.end(), ours.begin(), ours.end()), v.seen.end());
}

TEST_F(Registered, EnteringARecordTwiceIsRefusedAndTakenBack) {
    const struct {
        VeskOid cls;
        void (*fault)(TestModule &);
        int32_t code;
        const char *named;
    } cases[] = {
        {key(0, {4, 970, 5}), [](TestModule &) {}, 49201, "4.970.5: such entry already exists."},
        {key(0, {4, 980}), [](TestModule &t) { t.clsv.push_back(t.clsv[0]); }, 49201,
         "4.980: such entry already exists."},
        {key(0, {4, 980}), [](TestModule &t) { t.opsv.push_back(VESK_OPS(t.clsv[0])); }, 49209,
         "4.980: entry is already inserted into a some tree."},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.named);
        TestModule bad(key(0, {5, 980}), {}, {c.cls});
        c.fault(bad);
        EXPECT_EQ(bad.enter(&report.err), -1);
        expect_message(c.code, 0, 1, c.named);
        EXPECT_EQ(_VeskVgetmodule(980, -1), nullptr);
        EXPECT_EQ(bad.classes[0].rec.idowner, nullptr);
        EXPECT_EQ(bad.classes[0].rec.idnode.data, 0u);
    }
    const VeskOid k = key(0, {4, 970, 5});
    EXPECT_EQ(_VeskGetcobject(&k, nullptr), cls(5)) << "the first one stands";
}

}  // namespace
