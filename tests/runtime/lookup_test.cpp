// SPDX-License-Identifier: MIT
// Operation lookup: the walk from instance to class to module, references,
// the V forms, element lookups, and what a failure leaves behind.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "linked.hpp"

namespace {

using namespace vesk_test;

using Lookup = Linked;

// What a lookup must answer: the row of `ops` at the key's opnum, and the
// closure. The underscore form treats a reference as one more record.
struct Found {
    const char *what;
    bool underscore;
    void *obj;
    VeskOid key;
    const VeskOps *ops;
    const void *self, *holder, *pod;
};

TEST_F(Lookup, TheWalkTakesTheFirstMatchingElementOfEachRecordAndItsPod) {
    FxGadget g;  // Widget's instance set, its POD at another place
    fx_gadget_init(&g);
    FxWidget other;
    fx_widget_init(&other);
    FxPod elsewhere{};
    // Bound to w's instance set, its holder and POD pointed where no walk goes.
    VeskSeobj ref = bound_to_counter();
    expect_closure(ref.cl, &w, &w, &w.pod, fx_inst_ops, -1);
    EXPECT_TRUE(ref.kind == VESK_KIND_SEOBJ && ref.flags == 0);
    ref.cl.holder = &other;
    ref.cl.pod = &elsewhere;
    VeskSeobj loose{VESK_KIND_SEOBJ, 0, {nullptr, &other, &elsewhere, fx_inst_ops, -1}};
    VeskSeobj on_class{VESK_KIND_SEOBJ, 0, {fx_widget, fx_widget, nullptr, fx_cls_ops, -1}};
    VeskSeobj on_short{VESK_KIND_SEOBJ, 0, {fx_widget, fx_widget, nullptr, fx_short_ops, -1}};
    void *const c = fx_widget, *const m = fx_module;
    const FxPod *const cpod = fx_widget_pod, *const mpod = fx_module_pod;
    const Found cases[] = {
        {"class set from the class", false, c, key(4, {3, 901}), fx_cls_ops, c, c, cpod},
        {"class set from an instance", false, &w, key(4, {3, 901}), fx_cls_ops, &w, c, cpod},
        {"opcount - 1", false, &w, key(5, {3, 901}), fx_cls_ops, &w, c, cpod},
        {"instance set", false, &w, key(4, {3, 905}), fx_inst_ops, &w, &w, &w.pod},
        {"instance set of another class", false, &g, key(4, {3, 905}), fx_inst_ops, &g, &g, &g.pod},
        {"a short set answers its rows", false, c, key(4, {3, 902}), fx_short_ops, c, c, nullptr},
        {"a set too short sends the walk on", false, c, key(5, {3, 902}), fx_long_ops, c, m, mpod},
        {"on to the module from an instance", false, &w, key(7, {3, 902}), fx_long_ops, &w, m, mpod},
        // 3.903.1 (5 rows) stands before 3.903.2 (9 rows) in Widget's list.
        {"the first matching element", false, &w, key(4, {3, 903}), fx_first_ops, &w, c, nullptr},
        {"a longer key for the later one", false, &w, key(6, {3, 903, 2}), fx_later_ops, &w, c,
         nullptr},
        {"a reference answers its bound set", false, &ref, key(6, {3, 905}), fx_inst_ops, &w,
         &other, &elsewhere},
        {"other sets by a walk from its self", false, &ref, key(4, {3, 901}), fx_cls_ops, &w, c, cpod},
        {"up to the module from its self", false, &ref, key(5, {3, 902}), fx_long_ops, &w, m, mpod},
        {"a reference without self", false, &loose, key(4, {3, 905, 6}), fx_inst_ops, nullptr,
         &other, &elsewhere},
        {"underscore: through a reference", true, &ref, key(4, {3, 905}), fx_inst_ops, &ref, &w,
         &w.pod},
        // The extra level makes a reference around a class the holder of the
        // class's instance service.
        {"underscore: around a class", true, &on_class, key(4, {3, 905}), fx_inst_ops, &on_class,
         &on_class, reinterpret_cast<char *>(&on_class) + offsetof(FxWidget, pod)},
        {"underscore: the walk goes past a bound set", true, &on_short, key(5, {3, 902}),
         fx_long_ops, &on_short, m, mpod},
    };
    for (const Found &f : cases) {
        SCOPED_TRACE(f.what);
        VeskClosure cl;
        fill_pattern(cl);
        ASSERT_EQ((f.underscore ? _VeskLookupop : VeskLookupop)(f.obj, &f.key, &cl, nullptr),
                  &f.ops->rows[f.key.opnum]);
        expect_closure(cl, f.self, f.holder, f.pod, f.ops, f.key.opnum);
    }
}

TEST_F(Lookup, VFormsBuildTheSameKeys) {
    VeskClosure v;
    const VeskOprow *row = &fx_inst_ops->rows[5];
    EXPECT_EQ(VeskVlookupop(&w, &v, nullptr, 5, 905, 6, -1), row);
    expect_closure(v, &w, &w, &w.pod, fx_inst_ops, 5);
    EXPECT_EQ(VeskVlookupop(&w, &v, nullptr, 5, 905, -1), row) << "c1 alone: 3.905";

    // Four further components need no -1; each is part of the key.
    EXPECT_EQ(VeskVlookupop(fx_widget, &v, nullptr, 4, 904, 1, 2, 3, 4), &fx_later_ops->rows[4]);
    EXPECT_EQ(VeskVlookupop(fx_widget, &v, nullptr, 4, 904, 1, 2, 3, -1), &fx_first_ops->rows[4]);
    EXPECT_EQ(_VeskVlookupop(fx_widget, &v, nullptr, 4, 904, 1, 2, 3, 4), &fx_later_ops->rows[4]);

    // The underscore V form walks through a reference; the other answers from it.
    VeskSeobj ref = bound_to_counter();
    FxPod elsewhere{};
    ref.cl.pod = &elsewhere;
    ASSERT_EQ(_VeskVlookupop(&ref, &v, nullptr, 5, 905, -1), row);
    expect_closure(v, &ref, &w, &w.pod, fx_inst_ops, 5);
    ASSERT_EQ(VeskVlookupop(&ref, &v, nullptr, 5, 905, -1), row);
    expect_closure(v, &w, &w, &elsewhere, fx_inst_ops, 5);
}

// An element and the holder that a lookup of it names.
using SeAt = std::pair<const void *, const void *>;
SeAt se_at(VeskSe *(*lookup)(void *, const VeskOid *, void **, VeskErr *), void *obj,
           const VeskOid &k) {
    void *holder = nullptr;
    const VeskSe *se = lookup(obj, &k, &holder, nullptr);
    return {se, holder};
}

TEST_F(Lookup, ElementsPodsAndBindings) {
    const VeskOid counter = key(0, {3, 905}), cls = key(0, {3, 901}), probe = key(0, {3, 902});
    const VeskSe *se = fx_widget_block->se;
    VeskSeobj ref = bound_to_counter();
    FxPod elsewhere{};
    ref.cl.pod = &elsewhere;
    ref.cl.opnum = 7;
    EXPECT_EQ(se_at(VeskLookupSE, &w, counter), SeAt(&se[FX_SE_INSTANCE], &w));
    EXPECT_EQ(se_at(_VeskLookupSE, &w, cls), SeAt(&se[FX_SE_CLASS], fx_widget));
    EXPECT_EQ(se_at(VeskLookupSE, &ref, cls), SeAt(&se[FX_SE_CLASS], fx_widget));
    const SeAt on_module = se_at(_VeskLookupSE, &w, key(0, {3, 902, 2}));
    ASSERT_NE(on_module.first, nullptr);
    EXPECT_EQ(static_cast<const VeskSe *>(on_module.first)->ops, fx_long_ops);
    EXPECT_EQ(on_module.second, fx_module);

    // PODs: by a walk, or the one stored in a reference to the set asked for.
    EXPECT_EQ(VeskLookupPOD(&w, &counter, nullptr), &w.pod);
    EXPECT_EQ(VeskLookupPOD(&w, &cls, nullptr), fx_widget_pod);
    EXPECT_EQ(VeskLookupPOD(&ref, &counter, nullptr), &elsewhere);
    EXPECT_EQ(VeskLookupPOD(&ref, &cls, nullptr), fx_widget_pod);
    EXPECT_EQ(_VeskLookupPOD(&ref, &counter, nullptr), &w.pod);
    // An element without POD: null, and the status record is not touched.
    VeskErr st = garbage_status(), before = st;
    EXPECT_EQ(VeskLookupPOD(fx_widget, &probe, &st), nullptr);
    EXPECT_EQ(_VeskLookupPOD(&w, &probe, &st), nullptr);
    EXPECT_EQ(std::memcmp(&before, &st, sizeof st), 0);

    // Bindings: a copy of a reference to the set asked for, else bound anew from its self.
    VeskSeobj out;
    fill_pattern(out);
    ASSERT_EQ(VeskSeobject(&w, &cls, &out, nullptr), &out);
    EXPECT_TRUE(out.kind == VESK_KIND_SEOBJ && out.flags == 0);
    expect_closure(out.cl, &w, fx_widget, fx_widget_pod, fx_cls_ops, -1);
    ASSERT_EQ(VeskSeobject(&ref, &counter, &out, nullptr), &out);
    expect_closure(out.cl, &w, &w, &elsewhere, fx_inst_ops, -1);
    ASSERT_EQ(VeskSeobject(&ref, &cls, &out, nullptr), &out);
    expect_closure(out.cl, &w, fx_widget, fx_widget_pod, fx_cls_ops, -1);
    VeskClosure c;
    ASSERT_EQ(_VeskClosure(fx_widget, &cls, &c, nullptr), &c);
    expect_closure(c, fx_widget, fx_widget, fx_widget_pod, fx_cls_ops, -1);
    ASSERT_EQ(_VeskClosure(&ref, &counter, &c, nullptr), &c) << "the reference as any record";
    expect_closure(c, &ref, &w, &w.pod, fx_inst_ops, -1);
}

// The walk passes at most 8 records (runtime/lookup.hpp). References nested
// around the instance lengthen the chain of the underscore forms: n
// references, the instance and the class are n + 2 records.
TEST_F(Lookup, ChainsLongerThanTheWalkBoundFailCleanly) {
    constexpr unsigned kBound = 8;
    std::vector<VeskSeobj> refs(20);
    auto nest = [&](unsigned n) {
        void *obj = &w;
        for (unsigned i = 0; i < n; ++i)
            refs[i] = {VESK_KIND_SEOBJ, 0, {obj, nullptr, nullptr, fx_short_ops, -1}}, obj = &refs[i];
        return obj;
    };
    const VeskOid cls = key(4, {3, 901});
    VeskClosure cl;
    void *fits = nest(kBound - 2);
    ASSERT_EQ(_VeskLookupop(fits, &cls, &cl, nullptr), &fx_cls_ops->rows[4]);
    expect_closure(cl, fits, fx_widget, fx_widget_pod, fx_cls_ops, 4);

    for (unsigned n : {kBound - 1, 20u}) {
        SCOPED_TRACE(n);
        void *deep = nest(n);
        VeskErr st = garbage_status();
        fill_pattern(cl);
        EXPECT_EQ(_VeskLookupop(deep, &cls, &cl, &st), nullptr);
        expect_rt_report(st, 1025, 0, 5);
        EXPECT_TRUE(untouched(cl));
        st = garbage_status();
        EXPECT_EQ(_VeskLookupSE(deep, &cls, nullptr, &st), nullptr);
        expect_rt_report(st, 49170, 0, 1);
        // VeskLookupSE follows every reference before it walks.
        EXPECT_EQ(se_at(VeskLookupSE, deep, cls), SeAt(&fx_widget_block->se[FX_SE_CLASS], fx_widget));
    }
}

// ---------------------------------------------------------------------------
// Failures

// Every failure reports exactly, through the stock error service where the
// sentence is given, and writes no result.
TEST_F(Lookup, EveryFailureReportsExactlyAndWritesNoResult) {
    VeskSeobj ref = bound_to_counter();
    VeskSeobj on_short{VESK_KIND_SEOBJ, 0, {fx_widget, fx_widget, nullptr, fx_short_ops, -1}};
    VeskSeobj on_class{VESK_KIND_SEOBJ, 0, {fx_widget, fx_widget, nullptr, fx_cls_ops, -1}};
    VeskSe stranger{};
    union Out {
        VeskClosure cl;
        VeskSeobj obj;
        void *holder;
    };
    using Call = std::function<const void *(VeskErr *, Out &)>;
    const VeskOid missing = key(4, {3, 999});
    constexpr int32_t kInapt = 1025, kNomatch = 49170;
    auto op = [](void *obj, VeskOid k, bool underscore = false) -> Call {
        return [=](VeskErr *st, Out &o) {
            return (underscore ? _VeskLookupop : VeskLookupop)(obj, &k, &o.cl, st);
        };
    };
    auto se = [](void *obj, VeskOid k, bool underscore) -> Call {
        return [=](VeskErr *st, Out &o) {
            return (underscore ? _VeskLookupSE : VeskLookupSE)(obj, &k, &o.holder, st);
        };
    };
    const struct {
        const char *what;
        Call call;
        int32_t code;
        uint32_t variant;
        const char *text;  // null: the sentence is not checked
    } cases[] = {
        {"instance service on the class", op(fx_widget, key(5, {3, 905}), true), kInapt, 5,
         "5{objects/Widget}: inappropriate operation."},
        {"on the module", op(fx_module, key(4, {3, 901})), kInapt, 5,
         "4{modules/fixture}: inappropriate operation."},
        {"a reference around a class, walked from the class", op(&on_class, key(4, {3, 905})),
         kInapt, 5, nullptr},
        {"opnum == opcount", op(&w, key(6, {3, 901})), kInapt, 5, nullptr},
        {"past the module's set", op(&w, key(8, {3, 902})), kInapt, 5, nullptr},
        {"no element on the chain", op(&w, missing), kInapt, 5, nullptr},
        {"bound set too short", op(&ref, key(7, {3, 905})), kInapt, 5, nullptr},
        {"bound set too short, though the module answers", op(&on_short, key(5, {3, 902})),
         kInapt, 5, nullptr},
        {"V form", [&](VeskErr *st, Out &o) { return VeskVlookupop(&w, &o.cl, st, 5, 905, 7, -1); },
         kInapt, 5, nullptr},
        {"V form on a reference",
         [&](VeskErr *st, Out &o) { return VeskVlookupop(&ref, &o.cl, st, 9, 905, -1); }, kInapt,
         5, "9{objects/Widget}: inappropriate operation."},
        {"underscore V form",
         [&](VeskErr *st, Out &o) { return _VeskVlookupop(fx_widget, &o.cl, st, 4, 905, -1); },
         kInapt, 5, nullptr},
        {"_VeskLookupSE, depth 1 from the class", se(fx_widget, key(0, {3, 905}), true), kNomatch,
         1, nullptr},
        {"_VeskLookupSE", se(&w, missing, true), kNomatch, 1,
         "999: name does not match the name of any entry."},
        {"VeskLookupSE", se(&ref, missing, false), kNomatch, 1, nullptr},
        {"VeskLookupPOD", [&](VeskErr *st, Out &) { return VeskLookupPOD(&ref, &missing, st); },
         kNomatch, 1, nullptr},
        {"_VeskLookupPOD", [&](VeskErr *st, Out &) { return _VeskLookupPOD(&w, &missing, st); },
         kNomatch, 1, nullptr},
        {"VeskSeobject",
         [&](VeskErr *st, Out &o) { return VeskSeobject(&ref, &missing, &o.obj, st); }, kNomatch,
         1, nullptr},
        {"_VeskClosure", [&](VeskErr *st, Out &o) { return _VeskClosure(&w, &missing, &o.cl, st); },
         kNomatch, 1, nullptr},
        {"_VeskSelistLookup_ptr_nlk",
         [&](VeskErr *st, Out &) { return _VeskSelistLookup_ptr_nlk(&fx_widget->selist, &stranger, st); },
         kNomatch, 2, "@service-element: name does not match the name of any entry."},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        Out out;
        fill_pattern(out);
        Status text;
        VeskErr st = garbage_status(text.buf, sizeof text.buf);
        EXPECT_EQ(c.call(&st, out), nullptr);
        expect_rt_report(st, c.code, 0, c.variant);
        EXPECT_STREQ(c.text != nullptr ? text.buf : nullptr, c.text);
        EXPECT_EQ(c.call(nullptr, out), nullptr) << "no status record";
        EXPECT_TRUE(untouched(out));
    }
}

}  // namespace
