// Accessors and the ordering of objects, from every form of object.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "linked.hpp"

namespace {

using namespace vesk_test;

// A string result that may be null, comparable in one expectation.
std::string str(const char *s) { return s != nullptr ? s : "(null)"; }

struct Expect {
    const char *what;
    const void *obj;
    const VeskClass *classof, *xclassof;
    const VeskModule *moduleof, *xmoduleof;
    uint32_t instsize;
    int32_t instcount;
    const char *longkey, *shortkey, *name;
    int32_t category, primid;
    VeskOid oid; // count 0: VeskObjectOID finds nothing
};

void check(const Expect &e) {
    SCOPED_TRACE(e.what);
    EXPECT_EQ(VeskClassof(e.obj), e.classof);
    EXPECT_EQ(VeskXclassof(e.obj), e.xclassof);
    EXPECT_EQ(VeskModuleof(e.obj), e.moduleof);
    EXPECT_EQ(VeskXmoduleof(e.obj), e.xmoduleof);
    EXPECT_EQ(VeskInstsize(e.obj), e.instsize);
    EXPECT_EQ(VeskInstcount(e.obj), e.instcount);
    EXPECT_EQ(str(VeskObjectLongkey(e.obj)), str(e.longkey));
    EXPECT_EQ(str(VeskObjectShortkey(e.obj)), str(e.shortkey));
    EXPECT_EQ(str(VeskObjectName(e.obj)), str(e.name));
    EXPECT_EQ(VeskObjectCategory(e.obj), e.category);
    EXPECT_EQ(VeskObjectPrimID(e.obj), e.primid);

    // count + 2 words are copied; the rest of the caller's room stays as it was.
    VeskOid buf;
    fill_pattern(buf);
    const VeskOid *got = VeskObjectOID(e.obj, &buf);
    if (e.oid.count == 0) {
        EXPECT_EQ(got, nullptr);
        EXPECT_TRUE(untouched(buf));
        return;
    }
    ASSERT_EQ(got, &buf);
    EXPECT_EQ(buf.count, e.oid.count);
    EXPECT_EQ(buf.opnum, VESK_OPNUM_NONE);
    for (unsigned i = 0; i < VESK_OID_MAXCOMP; ++i)
        EXPECT_EQ(buf.comp[i], i < e.oid.count ? e.oid.comp[i] : 0xA5A5) << "component " << i;
}

class Accessors : public Linked {};

TEST_F(Accessors, FromEveryFormOfObject) {
    fx_widget->rec.holds = 3;
    VeskSeobj on_instance = bound_to_counter();
    VeskSeobj on_class{};
    const VeskOid cls_key = key(0, {3, 901});
    ASSERT_NE(VeskSeobject(fx_widget, &cls_key, &on_class, nullptr), nullptr);

    const VeskModule *m = fx_module;
    const VeskClass *c = fx_widget;
    const uint32_t size = sizeof(FxWidget);
    const VeskOid widget_oid = key(0, {4, 900});
    const Expect cases[] = {
        {"instance", &w, c, c, m, m, size, 3, "objects/Widget", "Widget", "Widget", 4, 900,
         widget_oid},
        {"class", c, c, nullptr, m, m, size, 3, "objects/Widget", "Widget", "Widget", 4, 900,
         widget_oid},
        {"operation set", fx_cls_ops, nullptr, nullptr, m, m, 0, 0,
         "operations/widget/WidgetCls", "widget/WidgetCls", "widget", 3, 901,
         key(0, {3, 901, 1})},
        {"module", m, nullptr, nullptr, m, nullptr, 0, 0, "modules/fixture", "fixture",
         "fixture", 5, 900, key(0, {5, 900})},
        {"reference to an instance", &on_instance, c, c, m, m, size, 3, "objects/Widget",
         "Widget", "Widget", 4, 900, widget_oid},
        {"reference to a class", &on_class, c, nullptr, m, m, size, 3, "objects/Widget",
         "Widget", "Widget", 4, 900, widget_oid},
    };
    for (const Expect &e : cases)
        check(e);
    fx_widget->rec.holds = 0;

    // Without flag 0x0100 nothing climbs on from a record.
    w.head.flags = 0;
    check({"instance without 0x0100", &w, nullptr, nullptr, nullptr, nullptr, 0, 0, nullptr,
           nullptr, nullptr, -1, -1, {}});
}

TEST(AccessorsUnlinked, StaticRecordAnswersNothing) {
    // Before linking, a static record is kind 0 without flags: no walk goes
    // on from it and it shows no identity.
    FxWidget w;
    fx_widget_init(&w, 0);
    check({"unlinked class", fx_widget, nullptr, nullptr, nullptr, nullptr, 0, 0, nullptr,
           nullptr, nullptr, -1, -1, {}});
    check({"instance of an unlinked class", &w, nullptr, nullptr, nullptr, nullptr, 0, 0,
           nullptr, nullptr, nullptr, -1, -1, {}});
}

TEST_F(Accessors, ExtraSizeIsTheSlotAheadOfAFlaggedInstance) {
    alignas(FxWidget) unsigned char mem[VESK_EXTRASIZE_SLOT + sizeof(FxWidget)] = {};
    const uint32_t extra = 24;
    std::memcpy(mem, &extra, sizeof extra);
    auto *inst = reinterpret_cast<FxWidget *>(mem + VESK_EXTRASIZE_SLOT);
    fx_widget_init(inst, 0);

    EXPECT_EQ(VeskExtrainstsz(inst), 0u) << "no flag, no slot";
    inst->head.flags |= VESK_F_EXTRASIZE;
    EXPECT_EQ(VeskExtrainstsz(inst), extra);

    VeskSeobj ref{VESK_KIND_SEOBJ, 0, {inst, inst, &inst->pod, fx_inst_ops, -1}};
    EXPECT_EQ(VeskExtrainstsz(&ref), extra) << "a reference answers for what it refers to";
    EXPECT_EQ(VeskExtrainstsz(fx_widget), 0u);
    EXPECT_EQ(VeskExtrainstsz(fx_module), 0u);
}

TEST_F(Accessors, CompareOrdersByWhatObjectsAre) {
    FxWidget other;
    fx_widget_init(&other, 0x2);
    FxGadget g;
    fx_gadget_init(&g, 0x3);
    VeskSeobj ref = bound_to_counter();
    const void *c = fx_widget;
    const void *gc = fx_gadget;
    const void *m = fx_module;
    const void *ops = fx_cls_ops;

    const struct {
        const char *what;
        const void *a, *b;
        int32_t result;
    } cases[] = {
        {"instance vs its class", &w, c, 1},
        {"two instances of one class", &w, &other, 0},
        {"an instance with itself", &w, &w, 0},
        {"instances of different classes", &w, &g, 900 - 901},
        {"reference vs class", &ref, c, 1},
        {"reference vs instance", &ref, &other, 0},
        {"class with itself", c, c, 0},
        {"different classes", c, gc, 900 - 901},
        {"class vs operation set", c, ops, 900},
        {"class vs module", c, m, 900},
        {"two operation sets", ops, fx_inst_ops, 901 - 1006},
        {"operation set vs module", ops, m, 901},
        {"module with itself", m, m, 0},
    };
    for (const auto &k : cases) {
        SCOPED_TRACE(k.what);
        EXPECT_EQ(VeskObjectCompare(k.a, k.b), k.result);
        EXPECT_EQ(VeskObjectCompare(k.b, k.a), -k.result);
    }
}

}  // namespace
