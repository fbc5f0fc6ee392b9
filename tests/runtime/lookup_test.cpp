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

class Lookup : public Linked {
protected:
    // Looks key up on obj; the row, with the closure in cl.
    const VeskOprow *find(void *obj, const VeskOid &k) {
        fill_pattern(cl);
        return VeskLookupop(obj, &k, &cl, nullptr);
    }
    VeskClosure cl;
};

TEST_F(Lookup, ClassServiceFromTheClassAndFromAnInstance) {
    for (void *self : {static_cast<void *>(fx_widget), static_cast<void *>(&w)}) {
        SCOPED_TRACE(self == &w ? "instance" : "class");
        const VeskOprow *row = find(self, key(4, {3, 901}));
        ASSERT_EQ(row, &fx_cls_ops->rows[4]);
        expect_closure(cl, self, fx_widget, fx_widget_pod, fx_cls_ops, 4);

        VeskErr st{};
        const int32_t before = fx_widget_pod->value;
        EXPECT_EQ(call_row(row, &cl, &st, 5), before + 5) << "the row runs on the class POD";
        expect_closure(fx_seen.cl, self, fx_widget, fx_widget_pod, fx_cls_ops, 4);
        EXPECT_EQ(fx_seen.status, &st);
    }
    EXPECT_EQ(fx_seen.calls, 2);
}

TEST_F(Lookup, InstanceServiceFromInstancesOnly) {
    const VeskOid counter = key(4, {3, 1006});
    const VeskOprow *row = find(&w, counter);
    ASSERT_EQ(row, &fx_inst_ops->rows[4]);
    expect_closure(cl, &w, &w, &w.pod, fx_inst_ops, 4);
    EXPECT_EQ(call_row(row, &cl, nullptr, 7), 7);
    EXPECT_EQ(w.pod.value, 7);

    FxGadget g; // the same set, its POD at another place
    fx_gadget_init(&g, 0x9);
    ASSERT_EQ(find(&g, counter), &fx_inst_ops->rows[4]);
    expect_closure(cl, &g, &g, &g.pod, fx_inst_ops, 4);

    // The element has depth 1: from the class itself it is ignored, and the
    // module has nothing under 3.1006.
    EXPECT_EQ(find(fx_widget, counter), nullptr);
    EXPECT_TRUE(untouched(cl));
}

TEST_F(Lookup, OpnumBoundOfTheSetFound) {
    EXPECT_EQ(find(&w, key(5, {3, 901})), &fx_cls_ops->rows[5]) << "opcount - 1";
    EXPECT_EQ(find(&w, key(6, {3, 901})), nullptr) << "opcount";
}

TEST_F(Lookup, ASetTooShortSendsTheWalkOnToTheModule) {
    // Widget's 3.902.1 has 5 rows, the module's 3.902.2 has 8.
    EXPECT_EQ(find(fx_widget, key(4, {3, 902})), &fx_short_ops->rows[4]);
    expect_closure(cl, fx_widget, fx_widget, nullptr, fx_short_ops, 4);

    const VeskOprow *row = find(fx_widget, key(5, {3, 902}));
    ASSERT_EQ(row, &fx_long_ops->rows[5]);
    expect_closure(cl, fx_widget, fx_module, fx_module_pod, fx_long_ops, 5);
    EXPECT_EQ(call_row(row, &cl, nullptr, 2), 2);
    EXPECT_EQ(fx_module_pod->value, 2);

    EXPECT_EQ(find(&w, key(7, {3, 902})), &fx_long_ops->rows[7]);
    expect_closure(cl, &w, fx_module, fx_module_pod, fx_long_ops, 7);
    EXPECT_EQ(find(&w, key(8, {3, 902})), nullptr) << "no record has row 8";
}

TEST_F(Lookup, OnlyTheFirstMatchingElementOfAListIsConsidered) {
    // 3.903.1 (5 rows) stands before 3.903.2 (9 rows) in Widget's list.
    EXPECT_EQ(find(&w, key(4, {3, 903})), &fx_first_ops->rows[4]);
    EXPECT_EQ(find(&w, key(6, {3, 903})), nullptr) << "the later element is not tried";
    EXPECT_EQ(find(&w, key(6, {3, 903, 2})), &fx_later_ops->rows[6]) << "though it would answer";
}

TEST_F(Lookup, AReferenceAnswersItsBoundSetWithoutAWalk) {
    VeskSeobj ref = bound_to_counter();
    EXPECT_EQ(ref.kind, VESK_KIND_SEOBJ);
    EXPECT_EQ(ref.flags, 0);
    expect_closure(ref.cl, &w, &w, &w.pod, fx_inst_ops, -1);

    // Point the stored holder and POD elsewhere: a walk would not find them.
    FxWidget other;
    fx_widget_init(&other, 0x2);
    FxPod elsewhere{0, 0x77};
    ref.cl.holder = &other;
    ref.cl.pod = &elsewhere;

    const VeskOprow *row = find(&ref, key(6, {3, 1006}));
    ASSERT_EQ(row, &fx_inst_ops->rows[6]);
    expect_closure(cl, &w, &other, &elsewhere, fx_inst_ops, 6);
    EXPECT_EQ(call_row(row, &cl, nullptr, 3), 3);
    EXPECT_EQ(elsewhere.value, 3);
    EXPECT_EQ(w.pod.value, 0);

    EXPECT_EQ(find(&ref, key(7, {3, 1006})), nullptr) << "opcount of the bound set";
    EXPECT_TRUE(untouched(cl));

    // A row past a bound set fails even where a walk would go on and answer.
    VeskSeobj on_short{};
    const VeskOid probe = key(5, {3, 902});
    ASSERT_NE(VeskSeobject(fx_widget, &probe, &on_short, nullptr), nullptr);
    EXPECT_EQ(find(&on_short, probe), nullptr);
    EXPECT_EQ(_VeskLookupop(&on_short, &probe, &cl, nullptr), &fx_long_ops->rows[5]);

    // Other sets are found by a walk from the reference's self.
    EXPECT_EQ(find(&ref, key(4, {3, 901})), &fx_cls_ops->rows[4]);
    expect_closure(cl, &w, fx_widget, fx_widget_pod, fx_cls_ops, 4);
    EXPECT_EQ(find(&ref, key(5, {3, 902})), &fx_long_ops->rows[5]);
    expect_closure(cl, &w, fx_module, fx_module_pod, fx_long_ops, 5);

    // No walk at all: a reference without self still answers its set.
    VeskSeobj loose{VESK_KIND_SEOBJ, 0, {nullptr, &other, &elsewhere, fx_inst_ops, -1}};
    EXPECT_EQ(find(&loose, key(4, {3, 1006, 6})), &fx_inst_ops->rows[4]);
    expect_closure(cl, nullptr, &other, &elsewhere, fx_inst_ops, 4);
}

TEST_F(Lookup, UnderscoreFormsPassThroughAReferenceAtOneMoreLevel) {
    VeskSeobj ref = bound_to_counter();
    FxPod elsewhere{0, 0x77};
    ref.cl.pod = &elsewhere;

    fill_pattern(cl);
    const VeskOid counter = key(4, {3, 1006});
    ASSERT_EQ(_VeskLookupop(&ref, &counter, &cl, nullptr), &fx_inst_ops->rows[4]);
    expect_closure(cl, &ref, &w, &w.pod, fx_inst_ops, 4);

    // Around a class, the extra level makes the reference the holder of
    // the class's instance service; the kind-3 aware form walks from the
    // class and finds nothing.
    VeskSeobj on_class{VESK_KIND_SEOBJ, 0, {fx_widget, fx_widget, nullptr, fx_cls_ops, -1}};
    ASSERT_EQ(_VeskLookupop(&on_class, &counter, &cl, nullptr), &fx_inst_ops->rows[4]);
    expect_closure(cl, &on_class, &on_class,
                   reinterpret_cast<char *>(&on_class) + offsetof(FxWidget, pod), fx_inst_ops, 4);
    EXPECT_EQ(find(&on_class, counter), nullptr);
}

TEST_F(Lookup, VFormsBuildTheSameKeys) {
    VeskClosure v;
    const VeskOprow *row = find(&w, key(5, {3, 1006, 6}));
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(VeskVlookupop(&w, &v, nullptr, 5, 1006, 6, -1), row);
    expect_closure(v, &w, &w, &w.pod, fx_inst_ops, 5);
    EXPECT_EQ(VeskVlookupop(&w, &v, nullptr, 5, 1006, -1), row) << "c1 alone: 3.1006";
    EXPECT_EQ(VeskVlookupop(&w, &v, nullptr, 5, 1006, 7, -1), nullptr) << "3.1006.7";

    // Four further components need no -1; each is part of the key.
    EXPECT_EQ(VeskVlookupop(fx_widget, &v, nullptr, 4, 904, 1, 2, 3, 4), &fx_later_ops->rows[4]);
    EXPECT_EQ(VeskVlookupop(fx_widget, &v, nullptr, 4, 904, 1, 2, 3, -1), &fx_first_ops->rows[4]);
    EXPECT_EQ(_VeskVlookupop(fx_widget, &v, nullptr, 4, 904, 1, 2, 3, 4), &fx_later_ops->rows[4]);

    // The underscore V form walks through a reference; the other answers from it.
    VeskSeobj ref = bound_to_counter();
    FxPod elsewhere{0, 0x77};
    ref.cl.pod = &elsewhere;
    ASSERT_EQ(_VeskVlookupop(&ref, &v, nullptr, 5, 1006, -1), row);
    expect_closure(v, &ref, &w, &w.pod, fx_inst_ops, 5);
    ASSERT_EQ(VeskVlookupop(&ref, &v, nullptr, 5, 1006, -1), row);
    expect_closure(v, &w, &w, &elsewhere, fx_inst_ops, 5);
}

TEST_F(Lookup, ElementsPodsAndBindings) {
    void *holder = nullptr;
    const VeskOid counter = key(0, {3, 1006});
    const VeskOid cls = key(0, {3, 901});
    const VeskOid probe = key(0, {3, 902});
    EXPECT_EQ(VeskLookupSE(&w, &counter, &holder, nullptr), &fx_widget_block->se[FX_SE_INSTANCE]);
    EXPECT_EQ(holder, &w);
    EXPECT_EQ(_VeskLookupSE(&w, &cls, &holder, nullptr), &fx_widget_block->se[FX_SE_CLASS]);
    EXPECT_EQ(holder, fx_widget);
    const VeskOid module_probe = key(0, {3, 902, 2});
    const VeskSe *se = _VeskLookupSE(&w, &module_probe, &holder, nullptr);
    ASSERT_NE(se, nullptr);
    EXPECT_EQ(se->ops, fx_long_ops);
    EXPECT_EQ(holder, fx_module);

    VeskSeobj ref = bound_to_counter();
    FxPod elsewhere{0, 0x77};
    ref.cl.pod = &elsewhere;
    ref.cl.opnum = 7;
    EXPECT_EQ(VeskLookupSE(&ref, &cls, &holder, nullptr), &fx_widget_block->se[FX_SE_CLASS]);
    EXPECT_EQ(holder, fx_widget);

    // PODs: by a walk, or the one stored in a reference to the set asked for.
    EXPECT_EQ(VeskLookupPOD(&w, &counter, nullptr), &w.pod);
    EXPECT_EQ(VeskLookupPOD(&w, &cls, nullptr), fx_widget_pod);
    EXPECT_EQ(VeskLookupPOD(&ref, &counter, nullptr), &elsewhere);
    EXPECT_EQ(VeskLookupPOD(&ref, &cls, nullptr), fx_widget_pod);
    EXPECT_EQ(_VeskLookupPOD(&ref, &counter, nullptr), &w.pod);

    // An element without POD: null, and the status record is not touched.
    VeskErr st = garbage_status();
    VeskErr before;
    std::memcpy(&before, &st, sizeof st);
    EXPECT_EQ(VeskLookupPOD(fx_widget, &probe, &st), nullptr);
    EXPECT_EQ(_VeskLookupPOD(&w, &probe, &st), nullptr);
    EXPECT_EQ(std::memcmp(&before, &st, sizeof st), 0);

    // Bindings.
    VeskSeobj out;
    fill_pattern(out);
    ASSERT_EQ(VeskSeobject(&w, &cls, &out, nullptr), &out);
    EXPECT_EQ(out.kind, VESK_KIND_SEOBJ);
    EXPECT_EQ(out.flags, 0);
    expect_closure(out.cl, &w, fx_widget, fx_widget_pod, fx_cls_ops, -1);
    ASSERT_EQ(VeskSeobject(&ref, &counter, &out, nullptr), &out) << "a copy of the reference";
    expect_closure(out.cl, &w, &w, &elsewhere, fx_inst_ops, -1);
    ASSERT_EQ(VeskSeobject(&ref, &cls, &out, nullptr), &out) << "bound anew from its self";
    expect_closure(out.cl, &w, fx_widget, fx_widget_pod, fx_cls_ops, -1);

    VeskClosure c;
    ASSERT_EQ(_VeskClosure(fx_widget, &cls, &c, nullptr), &c);
    expect_closure(c, fx_widget, fx_widget, fx_widget_pod, fx_cls_ops, -1);
    ASSERT_EQ(_VeskClosure(&ref, &counter, &c, nullptr), &c) << "the reference as any record";
    expect_closure(c, &ref, &w, &w.pod, fx_inst_ops, -1);
}

TEST_F(Lookup, ChainsLongerThanTheWalkBoundFailCleanly) {
    // The walk keeps at most 8 records (runtime/lookup.cpp). References
    // nested around the instance lengthen the chain of the underscore forms.
    constexpr unsigned kBound = 8;
    std::vector<VeskSeobj> refs(20);
    auto nest = [&](unsigned n) {
        void *obj = &w;
        for (unsigned i = 0; i < n; ++i) {
            refs[i] = {VESK_KIND_SEOBJ, 0, {obj, nullptr, nullptr, fx_short_ops, -1}};
            obj = &refs[i];
        }
        return obj;
    };
    const VeskOid cls = key(4, {3, 901});
    const VeskOid counter = key(4, {3, 1006});

    // n references, the instance, the class: n + 2 records.
    void *fits = nest(kBound - 2);
    ASSERT_EQ(_VeskLookupop(fits, &cls, &cl, nullptr), &fx_cls_ops->rows[4]);
    expect_closure(cl, fits, fx_widget, fx_widget_pod, fx_cls_ops, 4);
    ASSERT_EQ(_VeskLookupop(fits, &counter, &cl, nullptr), &fx_inst_ops->rows[4]);
    expect_closure(cl, fits, &w, &w.pod, fx_inst_ops, 4);

    for (unsigned n : {kBound - 1, 20u}) {
        SCOPED_TRACE(n);
        void *deep = nest(n);
        VeskErr st = garbage_status();
        fill_pattern(cl);
        EXPECT_EQ(_VeskLookupop(deep, &cls, &cl, &st), nullptr);
        expect_report(st, VESK_CODE_INAPPROPRIATE, 0, 5);
        EXPECT_TRUE(untouched(cl));
        st = garbage_status();
        EXPECT_EQ(_VeskLookupSE(deep, &cls, nullptr, &st), nullptr);
        expect_report(st, VESK_CODE_NOMATCH, 0, 1);
        // VeskLookupSE follows every reference before it walks.
        void *holder = nullptr;
        EXPECT_EQ(VeskLookupSE(deep, &cls, &holder, nullptr), &fx_widget_block->se[FX_SE_CLASS]);
        EXPECT_EQ(holder, fx_widget);
    }
}

// ---------------------------------------------------------------------------
// Failures

TEST_F(Lookup, EveryFailureReportsExactlyAndWritesNoResult) {
    VeskSeobj ref = bound_to_counter();
    VeskSeobj on_short{VESK_KIND_SEOBJ, 0, {fx_widget, fx_widget, nullptr, fx_short_ops, -1}};
    union Out {
        VeskClosure cl;
        VeskSeobj obj;
        void *holder;
    };
    using Call = std::function<const void *(VeskErr *, Out &)>;
    const VeskOid missing = key(4, {3, 999});
    auto op = [](void *obj, VeskOid k) -> Call {
        return [obj, k](VeskErr *st, Out &o) { return VeskLookupop(obj, &k, &o.cl, st); };
    };
    const struct {
        const char *what;
        Call call;
        int32_t code;
        uint32_t variant;
    } cases[] = {
        {"instance service on the class",
         [&](VeskErr *st, Out &o) {
             const VeskOid k = key(4, {3, 1006});
             return _VeskLookupop(fx_widget, &k, &o.cl, st);
         },
         VESK_CODE_INAPPROPRIATE, 5},
        {"opnum == opcount", op(&w, key(6, {3, 901})), VESK_CODE_INAPPROPRIATE, 5},
        {"past the module's set", op(&w, key(8, {3, 902})), VESK_CODE_INAPPROPRIATE, 5},
        {"no element on the chain", op(&w, missing), VESK_CODE_INAPPROPRIATE, 5},
        {"bound set too short", op(&ref, key(7, {3, 1006})), VESK_CODE_INAPPROPRIATE, 5},
        {"bound set too short, though the module answers", op(&on_short, key(5, {3, 902})),
         VESK_CODE_INAPPROPRIATE, 5},
        {"V form",
         [&](VeskErr *st, Out &o) { return VeskVlookupop(&w, &o.cl, st, 5, 1006, 7, -1); },
         VESK_CODE_INAPPROPRIATE, 5},
        {"underscore V form",
         [&](VeskErr *st, Out &o) { return _VeskVlookupop(fx_widget, &o.cl, st, 4, 1006, -1); },
         VESK_CODE_INAPPROPRIATE, 5},
        {"_VeskLookupSE, depth 1 from the class",
         [&](VeskErr *st, Out &o) {
             const VeskOid k = key(0, {3, 1006});
             return _VeskLookupSE(fx_widget, &k, &o.holder, st);
         },
         VESK_CODE_NOMATCH, 1},
        {"VeskLookupSE",
         [&](VeskErr *st, Out &o) { return VeskLookupSE(&ref, &missing, &o.holder, st); },
         VESK_CODE_NOMATCH, 1},
        {"VeskLookupPOD",
         [&](VeskErr *st, Out &) { return VeskLookupPOD(&ref, &missing, st); }, VESK_CODE_NOMATCH,
         1},
        {"_VeskLookupPOD", [&](VeskErr *st, Out &) { return _VeskLookupPOD(&w, &missing, st); },
         VESK_CODE_NOMATCH, 1},
        {"VeskSeobject",
         [&](VeskErr *st, Out &o) { return VeskSeobject(&ref, &missing, &o.obj, st); },
         VESK_CODE_NOMATCH, 1},
        {"_VeskClosure",
         [&](VeskErr *st, Out &o) { return _VeskClosure(&w, &missing, &o.cl, st); },
         VESK_CODE_NOMATCH, 1},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        Out out;
        fill_pattern(out);
        VeskErr st = garbage_status();
        EXPECT_EQ(c.call(&st, out), nullptr);
        expect_report(st, c.code, 0, c.variant);
        EXPECT_TRUE(untouched(out));
        EXPECT_EQ(c.call(nullptr, out), nullptr) << "no status record";
        EXPECT_TRUE(untouched(out));
    }
}

// The stock error service words the reports.
TEST_F(Lookup, ReportsReadAsSentences) {
    VeskSeobj ref = bound_to_counter();
    VeskSe stranger{};
    const VeskOid counter5 = key(5, {3, 1006});
    const VeskOid cls4 = key(4, {3, 901});
    const VeskOid missing = key(0, {3, 999});
    const struct {
        std::function<const void *(VeskErr *)> call;
        int32_t code;
        uint32_t variant;
        const char *text;
    } cases[] = {
        {[&](VeskErr *st) { return _VeskLookupop(fx_widget, &counter5, &cl, st); },
         VESK_CODE_INAPPROPRIATE, 5, "5{objects/Widget}: inappropriate operation."},
        {[&](VeskErr *st) { return VeskLookupop(fx_module, &cls4, &cl, st); },
         VESK_CODE_INAPPROPRIATE, 5, "4{modules/fixture}: inappropriate operation."},
        {[&](VeskErr *st) { return VeskVlookupop(&ref, &cl, st, 9, 1006, -1); },
         VESK_CODE_INAPPROPRIATE, 5, "9{objects/Widget}: inappropriate operation."},
        {[&](VeskErr *st) { return _VeskLookupSE(&w, &missing, nullptr, st); }, VESK_CODE_NOMATCH,
         1, "999: name does not match the name of any entry."},
        {[&](VeskErr *st) { return _VeskSelistLookup_ptr_nlk(&fx_widget->selist, &stranger, st); },
         VESK_CODE_NOMATCH, 2, "@service-element: name does not match the name of any entry."},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.text);
        char buf[128];
        std::memset(buf, '#', sizeof buf);
        VeskErr st = garbage_status();
        st.msg = buf;
        st.msgsize = sizeof buf;
        EXPECT_EQ(c.call(&st), nullptr);
        expect_report(st, c.code, 0, c.variant);
        EXPECT_EQ(std::string(buf), c.text);
    }
}

}  // namespace
