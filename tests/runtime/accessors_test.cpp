// SPDX-License-Identifier: MIT
// Identifiers and the accessors of objects: the prefix comparison and the
// total order of identifiers, what every form of object answers, and the
// ordering of objects.
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "linked.hpp"

namespace {

using namespace vesk_test;

TEST(Oid, ComparisonTable) {
    const struct {
        const char *what;
        VeskOid a, b;
        int32_t prefix, total;  // VeskOidcmp(a, b), VeskOidlcmp(a, b)
    } cases[] = {
        {"equal", key(0, {3, 1006}), key(0, {3, 1006}), 0, 0},
        {"primary differs", key(0, {3, 1006}), key(0, {3, 1008}), -2, -2},
        {"category decides first", key(0, {4, 900}), key(0, {3, 1900}), 1, 1},
        {"shorter is a prefix, sorts first", key(0, {3, 1006}), key(0, {3, 1006, 6}), 0, -6},
        {"prefix rule reaches the last component", key(0, {3, 904, 1, 2, 3}),
         key(0, {3, 904, 1, 2, 3, 9}), 0, -9},
        {"full length, last component differs", key(0, {3, 904, 1, 2, 3, 4}),
         key(0, {3, 904, 1, 2, 3, 9}), -5, -5},
        {"wildcard on the left", key(0, {3, 0, 5}), key(0, {3, 77, 5}), 0, 0},
        {"wildcard on the right", key(0, {3, 1, 7}), key(0, {3, 1, 0}), 0, 0},
        {"wildcard, then a later difference", key(0, {3, 0, 5}), key(0, {3, 9, 6}), -1, -1},
        {"wildcard, then the longer one's next decides", key(0, {3, 5}), key(0, {3, 0, 9}), 0, -9},
        {"next component of the longer is a wildcard", key(0, {3, 1006}), key(0, {3, 1006, 0}),
         0, 0},
        {"only the next component decides", key(0, {3, 1006}), key(0, {3, 1006, 0, 4}), 0, 0},
        {"opnum never matters", key(1, {3, 1006}), key(900, {3, 1006}), 0, 0},
        {"opnum never matters in a difference", key(900, {3, 7}), key(1, {3, 9}), -2, -2},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(VeskOidcmp(&c.a, &c.b), c.prefix);
        EXPECT_EQ(VeskOidlcmp(&c.a, &c.b), c.total);
        // Swapping the arguments negates the result exactly.
        EXPECT_EQ(VeskOidcmp(&c.b, &c.a), -c.prefix);
        EXPECT_EQ(VeskOidlcmp(&c.b, &c.a), -c.total);
    }
    // Components past the count are not read; once counted, b's third decides the order.
    VeskOid a = key(0, {3, 1006}), b = key(0, {3, 1006});
    a.comp[2] = 7, b.comp[2] = 9;
    EXPECT_TRUE(VeskOidcmp(&a, &b) == 0 && VeskOidlcmp(&a, &b) == 0);
    b.count = 3;
    EXPECT_TRUE(VeskOidcmp(&a, &b) == 0 && VeskOidlcmp(&a, &b) == -9);
}

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
    VeskOid oid;  // count 0: VeskObjectOID finds nothing
};

// Nothing climbs on from a record without flag 0x0100, and it shows no identity.
Expect nothing(const char *what, const void *obj) {
    return {what, obj, nullptr, nullptr, nullptr, nullptr, 0, 0, nullptr, nullptr, nullptr, -1, -1, {}};
}

void check(const Expect &e) {
    SCOPED_TRACE(e.what);
    const void *o = e.obj;
    EXPECT_EQ(std::tuple(VeskClassof(o), VeskXclassof(o), VeskModuleof(o), VeskXmoduleof(o)),
              std::tuple(e.classof, e.xclassof, e.moduleof, e.xmoduleof));
    EXPECT_EQ(std::tuple(VeskInstsize(o), VeskInstcount(o), VeskObjectCategory(o),
                         VeskObjectPrimID(o)),
              std::tuple(e.instsize, e.instcount, e.category, e.primid));
    EXPECT_EQ(str(VeskObjectLongkey(o)) + " " + str(VeskObjectShortkey(o)) + " " +
                  str(VeskObjectName(o)),
              str(e.longkey) + " " + str(e.shortkey) + " " + str(e.name));

    // count + 2 words are copied; the rest of the caller's room stays as it was.
    VeskOid buf;
    fill_pattern(buf);
    const VeskOid *got = VeskObjectOID(o, &buf);
    if (e.oid.count == 0) {
        EXPECT_TRUE(got == nullptr && untouched(buf));
        return;
    }
    ASSERT_EQ(got, &buf);
    EXPECT_TRUE(buf.count == e.oid.count && buf.opnum == VESK_OPNUM_NONE);
    for (unsigned i = 0; i < VESK_OID_MAXCOMP; ++i)
        EXPECT_EQ(buf.comp[i], i < e.oid.count ? e.oid.comp[i] : 0xA5A5) << "component " << i;
}

using Accessors = Linked;

TEST_F(Accessors, FromEveryFormOfObject) {
    fx_widget->rec.holds = 3;
    VeskSeobj on_instance = bound_to_counter(), on_class{};
    const VeskOid cls_key = key(0, {3, 901});
    ASSERT_NE(VeskSeobject(fx_widget, &cls_key, &on_class, nullptr), nullptr);

    const VeskModule *m = fx_module;
    const VeskClass *c = fx_widget;
    const uint32_t size = sizeof(FxWidget);
    const VeskOid widget = key(0, {4, 900});
    const Expect cases[] = {
        {"instance", &w, c, c, m, m, size, 3, "objects/Widget", "Widget", "Widget", 4, 900, widget},
        {"class", c, c, nullptr, m, m, size, 3, "objects/Widget", "Widget", "Widget", 4, 900, widget},
        {"operation set", fx_cls_ops, nullptr, nullptr, m, m, 0, 0, "operations/widget/WidgetCls",
         "widget/WidgetCls", "widget", 3, 901, key(0, {3, 901, 1})},
        {"module", m, nullptr, nullptr, m, nullptr, 0, 0, "modules/fixture", "fixture", "fixture",
         5, 900, key(0, {5, 900})},
        {"reference to an instance", &on_instance, c, c, m, m, size, 3, "objects/Widget", "Widget",
         "Widget", 4, 900, widget},
        {"reference to a class", &on_class, c, nullptr, m, m, size, 3, "objects/Widget", "Widget",
         "Widget", 4, 900, widget},
    };
    for (const Expect &e : cases)
        check(e);
    fx_widget->rec.holds = 0;
    w.head.flags = 0;
    check(nothing("instance without 0x0100", &w));
}

// Before linking, a static record is kind 0 without flags.
TEST(AccessorsUnlinked, StaticRecordAnswersNothing) {
    static VeskClass never = VESK_CLASS_INIT("objects/Never", "Never", "Never", VESK_OID2(4, 902),
                                             nullptr, sizeof(VeskInstance));
    VeskInstance inst{VESK_KIND_INSTANCE, VESK_F_SUPER, &never};
    check(nothing("unlinked class", &never));
    check(nothing("instance of an unlinked class", &inst));
}

TEST_F(Accessors, CompareOrdersByWhatObjectsAre) {
    FxWidget other;
    fx_widget_init(&other);
    FxGadget g;
    fx_gadget_init(&g);
    VeskSeobj ref = bound_to_counter();
    const void *c = fx_widget, *gc = fx_gadget, *m = fx_module, *ops = fx_cls_ops;
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
        {"two operation sets", ops, fx_inst_ops, 901 - 905},
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
