// SPDX-License-Identifier: MIT
// The stub answers: what the orstub lookups and getters give on a miss and
// on a hit, and the exact reports and results of the rows that fail when
// called, alone and at the end of a front-end call.
#include <gtest/gtest.h>


#include "linked.hpp"

namespace {

using namespace vesk_test;

// The stub records, as the library's start-up registered them.
VeskClass *stub_class() {
    const VeskOid k = key(0, {4, 1});
    return static_cast<VeskClass *>(_VeskGetcobject(&k, nullptr));
}
VeskOps *stub_ops() {
    const VeskOid k = key(0, {3, 1, 0});
    return _VeskGetops(&k, nullptr);
}

using OrstubLookup = Linked;

TEST_F(OrstubLookup, AMissGivesTheInappropriateStubRowAndAHitThePlainAnswer) {
    ASSERT_NE(stub_ops(), nullptr);
    VeskSeobj ref = bound_to_counter();
    const VeskOid absent = key(4, {3, 777});
    const VeskOid too_far = key(6, {3, 901});     // the class's set has rows 0 to 5
    const VeskOid past_bound = key(7, {3, 905}); // the reference's own set has 7 rows
    VeskClosure cl;
    auto expect_stub = [&](const VeskOprow *row, const void *self) {
        EXPECT_EQ(row, &stub_ops()->rows[5]);
        expect_closure(cl, self, stub_class(), nullptr, stub_ops(), 5);
        fill_pattern(cl);
    };
    fill_pattern(cl);
    expect_stub(VeskLookupoporstub(&w, &too_far, &cl), &w);
    expect_stub(_VeskVlookupoporstub(&w, &cl, 4, 777, -1), &w);
    // A reference stands for its `self`, except in the underscore forms.
    expect_stub(VeskVlookupoporstub(&ref, &cl, 4, 777, -1), &w);
    expect_stub(VeskLookupoporstub(&ref, &past_bound, &cl), &w);
    expect_stub(_VeskLookupoporstub(&ref, &absent, &cl), &ref);

    for (void *object : {static_cast<void *>(&w), static_cast<void *>(&ref)}) {
        for (const VeskOid &k : {key(4, {3, 901}), key(6, {3, 905}), key(7, {3, 902})}) {
            VeskClosure plain;
            const VeskOprow *expected = VeskLookupop(object, &k, &plain, nullptr);
            ASSERT_NE(expected, nullptr);
            EXPECT_EQ(VeskLookupoporstub(object, &k, &cl), expected);
            expect_closure(cl, plain.self, plain.holder, plain.pod, plain.ops, plain.opnum);
        }
    }
    EXPECT_EQ(_VeskVlookupoporstub(&w, &cl, 4, 904, 1, 2, 3, 4), &fx_later_ops->rows[4]);
}

// ---------------------------------------------------------------------------
// The failing rows

// Calls a failing row with `cl` and checks the report (syserr 0) and the
// result; then the same without a buffer and without a status record.
void expect_failure(VeskOpfn fn, VeskClosure *cl, int32_t family, int32_t code, uint32_t variant,
                    const char *text, int64_t result) {
    SCOPED_TRACE(text);
    const auto op = reinterpret_cast<int64_t (*)(VeskClosure *, VeskErr *)>(fn);
    Status buf;
    VeskErr st = garbage_status(buf.buf, sizeof buf.buf), bare = garbage_status();
    EXPECT_EQ(op(cl, &st), result);
    expect_report(st, family, code, 0, variant, text);
    EXPECT_EQ(op(cl, &bare), result);
    EXPECT_EQ(bare.status, st.status);
    EXPECT_EQ(op(cl, nullptr), result);
}

using FailingRows = Linked;

TEST_F(FailingRows, EachReportsUnderTheFamilyOfTheSetItWasReachedThrough) {
    VeskClosure stub_cl;  // what a miss gives: the stub set, row 5
    const VeskOid absent = key(4, {3, 777});
    const VeskOprow *rows = VeskLookupoporstub(&w, &absent, &stub_cl) - 5;
    expect_failure(rows[4].fn, &stub_cl, 1, 518, 0,
                   "The resource not ready to use or no such resource.", -3);
    expect_failure(rows[5].fn, &stub_cl, 1, 1025, 5, "5{stub}: inappropriate operation.", -4);
    expect_failure(rows[6].fn, &stub_cl, 1, 1026, 1,
                   "operation: function (operation) not implemented [in this implementation].",
                   -3);
    expect_failure(rows[7].fn, &stub_cl, 1, 1027, 5,
                   "5{stub}: inappropriate operation to the [device] implementation.", -4);
    expect_failure(rows[8].fn, &stub_cl, 1, 1028, 5,
                   "stub:5: implementation does not support the operation [of the standard].", -4);
    expect_failure(rows[9].fn, &stub_cl, 1, 49203, 1, "{5}: operation not allowed on the entry.",
                   -1);

    // In a module's own set: its family, name and row number.
    VeskClosure own = {&w, fx_widget, fx_widget_pod, fx_cls_ops, 3};
    expect_failure(VESK_FN(_VeskOpNotconfigured), &own, 901, 518, 0,
                   "The resource not ready to use or no such resource.", -1);
    expect_failure(VESK_FN(_VeskOpNotsupported), &own, 901, 1028, 5,
                   "widget:3: implementation does not support the operation [of the standard].",
                   -4);
}

// ---------------------------------------------------------------------------
// Getters

TEST(OrstubGetters, AMissGivesTheStubWithAHoldAndAHitTheRegisteredRecord) {
    TestModule m(key(0, {5, 930}), {key(0, {3, 930, 1})}, {key(0, {4, 930})});
    ASSERT_EQ(m.enter(nullptr), 1);
    VeskClass *stub_cls = stub_class(), *cls = m.clsv[0];
    VeskOps *stub_set = stub_ops(), *set = m.opsv[0];
    ASSERT_NE(stub_cls, nullptr);
    const int32_t cls_holds = stub_cls->rec.holds, set_holds = stub_set->rec.holds;

    const VeskOid no_class = key(0, {4, 31999}), no_set = key(0, {3, 31999, 1});
    EXPECT_EQ(VeskGetclsorstub(&no_class), stub_cls);
    EXPECT_EQ(VeskVgetclsorstub(930, 1, -1), stub_cls) << "the set's number as a class's";
    EXPECT_EQ(_VeskGetclsorstub(&no_class), stub_cls);
    EXPECT_EQ(VeskGetopsorstub(&no_set), stub_set);
    EXPECT_EQ(VeskVgetopsorstub(930, -1), stub_set) << "the class's number as a set's";
    EXPECT_EQ(_VeskVgetopsorstub(31999, 1, -1), stub_set);
    EXPECT_EQ(stub_cls->rec.holds - cls_holds, 2) << "a hold in the holding forms only";
    EXPECT_EQ(stub_set->rec.holds - set_holds, 2);
    stub_cls->rec.holds = cls_holds;
    stub_set->rec.holds = set_holds;

    EXPECT_EQ(VeskVgetclsorstub(930, -1), cls);
    EXPECT_EQ(_VeskVgetclsorstub(930, -1), cls);
    EXPECT_EQ(VeskGetopsorstub(&set->rec.oid), set);
    EXPECT_EQ(_VeskVgetopsorstub(930, 1, -1), set);
    EXPECT_EQ(cls->rec.holds, 1) << "the registry's hold, in the holding forms only";
    EXPECT_EQ(set->rec.holds, 1);
    cls->rec.holds = set->rec.holds = 0;
}

}  // namespace
