// SPDX-License-Identifier: MIT
// Charset identification: the stock table by name and by number, tables of a
// caller's own beside it, and the answers without a service.
#include <gtest/gtest.h>

#include <string>

#include "support/status.hpp"
#include "vesk.h"

namespace {

using vesk_test::expect_report;
using vesk_test::Status;

const char *const kNoMatchTail = ": name does not match the name of any entry.";

TEST(CcsiNames, AliasesAreKeysInAnyCaseAndRegisteredNamesAreNot) {
    const struct {
        const char *name;
        int32_t id;
    } cases[] = {
        {"cp1251", 2251},     {"1251", 2251},      {"MS-CYRL", 2251},  {"US-ASCII", 3},
        {"us", 3},            {"us-ascii", 3},     {"koi8r", 2084},    {"KOI8_U", 2088},
        {"utf8", 106},        {"Utf-8", 106},      {"cp866", 2086},    {"ISO-8859-1", 4},
        {"CYRILLIC", 8},      {"csisolatin4", 7},  {"iso_646.IRV:1991", 3},
        {"windows-1251", 2},  {"IBM866", 2},       {"ISO_8859-1:1987", 2},
        {"ANSI_X3.4-1968", 2}, {"", 2},            {"utf8 ", 2},       {"KOI8", 2},
    };
    for (const auto &c : cases) {
        Status s;
        EXPECT_EQ(VeskCcsiGetidbyname(nullptr, c.name, &s.err), c.id) << c.name;
        if (c.id == 2)
            expect_report(s.err, VESK_FAC_CCSI, VESK_E_NOMATCH, 0, 2,
                          (std::string(c.name) + kNoMatchTail).c_str());
        else
            EXPECT_EQ(s.err.status, 0) << c.name;
    }
}

TEST(CcsiNames, FoldingIsAsciiOnly) {
    // Underscore sorts between the two cases of the letters: a fold that
    // went to upper case would order "l1" and "L_" differently.
    EXPECT_EQ(VeskCcsiGetidbyname(nullptr, "L1", nullptr), 4);
    EXPECT_EQ(VeskCcsiGetidbyname(nullptr, "KOI8_R", nullptr), 2084);
    EXPECT_EQ(VeskCcsiGetidbyname(nullptr, "\xc3\x9cTF8", nullptr), 2);
}

TEST(CcsiNumbers, NamesAndRecordsOfTheStockSets) {
    const struct {
        int32_t id;
        const char *iana, *mime;
        uint16_t mbmax;
        uint32_t codepage, aliasc;
    } cases[] = {
        {3, "ANSI_X3.4-1968", "US-ASCII", 1, 367, 10},
        {4, "ISO_8859-1:1987", "ISO-8859-1", 0, 819, 8},
        {106, "UTF-8", "UTF-8", 6, 65001, 5},
        {2086, "IBM866", "IBM866", 1, 866, 3},
        {2251, "windows-1251", "windows-1251", 1, 1251, 3},
    };
    for (const auto &c : cases) {
        EXPECT_STREQ(VeskCcsiIANAName(nullptr, c.id, nullptr), c.iana);
        EXPECT_STREQ(VeskCcsiMIMEName(nullptr, c.id, nullptr), c.mime);
        const VeskCcsInfo *info = VeskCcsiStat(nullptr, c.id, nullptr);
        ASSERT_NE(info, nullptr);
        EXPECT_EQ(info->id, c.id);
        EXPECT_EQ(info->mbmax, c.mbmax);
        EXPECT_EQ(info->codepage, c.codepage);
        EXPECT_EQ(info->aliasc, c.aliasc);
        // Every alias of a record finds its record.
        for (uint32_t a = 0; a < info->aliasc; ++a)
            EXPECT_EQ(VeskCcsiGetidbyname(nullptr, info->aliasv[a], nullptr), c.id) << info->aliasv[a];
    }
}

TEST(CcsiNumbers, UnknownAndWideHaveNoRecord) {
    for (int32_t id : {2, 1000, 0, -1, 9999}) {
        Status s;
        EXPECT_EQ(VeskCcsiStat(nullptr, id, &s.err), nullptr);
        expect_report(s.err, VESK_FAC_CCSI, VESK_E_NOMATCH, 2, 1,
                      (std::to_string(id) + kNoMatchTail).c_str());
        EXPECT_EQ(VeskCcsiIANAName(nullptr, id, nullptr), nullptr);
        EXPECT_EQ(VeskCcsiMIMEName(nullptr, id, nullptr), nullptr);
    }
}

// A table of the test's own: one charset whose alias and number collide with
// stock ones, and one that is new.
VESK_CCSINFO_T(2) own_koi = {2084, "x-own-koi", "X-OWN", 0, 4, 0, 2, {"KOI8R", "x-own"}};
VESK_CCSINFO_T(1) own_new = {4242, "x-new", "X-NEW", 0, 2, 0, 1, {"x-new-alias"}};

VeskCcsiRow own_table[] = {
    {2084, VESK_CCSI_PRIMARY, reinterpret_cast<VeskCcsInfo *>(&own_koi), {}, {}},
    {2084, VESK_CCSI_ALIAS, reinterpret_cast<VeskCcsInfo *>(&own_koi), {}, {}},
    {2084, VESK_CCSI_ALIAS, reinterpret_cast<VeskCcsInfo *>(&own_koi), {}, {}},
    {4242, VESK_CCSI_PRIMARY, reinterpret_cast<VeskCcsInfo *>(&own_new), {}, {}},
    {4242, VESK_CCSI_ALIAS, reinterpret_cast<VeskCcsInfo *>(&own_new), {}, {}},
    {VESK_CCSI_END, 0, nullptr, {}, {}},
};

template <class Add, class Remove>
void add_and_remove(Add add, Remove remove) {
    ASSERT_EQ(add(6u, own_table), 0);
    EXPECT_EQ(own_table[0].role, reinterpret_cast<uintptr_t>(own_koi.iana));
    EXPECT_STREQ(reinterpret_cast<const char *>(own_table[2].role), "x-own");
    EXPECT_EQ(VeskCcsiGetidbyname(nullptr, "x-own", nullptr), 2084);
    EXPECT_EQ(VeskCcsiGetidbyname(nullptr, "X-NEW-ALIAS", nullptr), 4242);
    EXPECT_STREQ(VeskCcsiMIMEName(nullptr, 4242, nullptr), "X-NEW");
    // Duplicates stay side by side: the name and number still find a row,
    // whichever is nearer the root, and the stock one comes back unchanged.
    const VeskCcsInfo *koi = VeskCcsiStat(nullptr, 2084, nullptr);
    ASSERT_NE(koi, nullptr);
    EXPECT_TRUE(koi->mbmax == 1 || koi->mbmax == 4);
    EXPECT_EQ(VeskCcsiGetidbyname(nullptr, "koi8r", nullptr), 2084);
    // Adding again changes nothing.
    ASSERT_EQ(add(6u, own_table), 0);
    EXPECT_EQ(VeskCcsiGetidbyname(nullptr, "x-own", nullptr), 2084);

    ASSERT_EQ(remove(6u, own_table), 0);
    EXPECT_EQ(VeskCcsiGetidbyname(nullptr, "x-own", nullptr), 2);
    EXPECT_EQ(VeskCcsiStat(nullptr, 4242, nullptr), nullptr);
    EXPECT_EQ(VeskCcsiStat(nullptr, 2084, nullptr)->mbmax, 1);
    EXPECT_STREQ(VeskCcsiIANAName(nullptr, 2084, nullptr), "KOI8-R");
    EXPECT_EQ(VeskCcsiGetidbyname(nullptr, "KOI8R", nullptr), 2084);
    // Removing again changes nothing either.
    ASSERT_EQ(remove(6u, own_table), 0);
    EXPECT_EQ(VeskCcsiGetidbyname(nullptr, "KOI8R", nullptr), 2084);
}

TEST(CcsiTables, AddAndRemoveWithAndWithoutTheLock) {
    add_and_remove([](uint32_t n, VeskCcsiRow *t) { return _VeskCcsiAddtab(nullptr, n, t, nullptr); },
                   [](uint32_t n, VeskCcsiRow *t) { return _VeskCcsiRmtab(nullptr, n, t, nullptr); });
    add_and_remove(
        [](uint32_t n, VeskCcsiRow *t) { return _VeskCcsiAddtab_nlk(nullptr, n, t, nullptr); },
        [](uint32_t n, VeskCcsiRow *t) { return _VeskCcsiRmtab_nlk(nullptr, n, t, nullptr); });
}

TEST(CcsiTables, RemovingADuplicateTakesOutTheOwnRowOnly) {
    // Two tables naming the same alias: whichever goes first, the other's
    // row stays and is found.
    VESK_CCSINFO_T(1) a = {5001, "a", "a", 0, 1, 0, 1, {"x-shared"}};
    VESK_CCSINFO_T(1) b = {5002, "b", "b", 0, 1, 0, 1, {"x-shared"}};
    for (bool first_a : {true, false}) {
        VeskCcsiRow ta[] = {{5001, VESK_CCSI_PRIMARY, reinterpret_cast<VeskCcsInfo *>(&a), {}, {}},
                            {5001, VESK_CCSI_ALIAS, reinterpret_cast<VeskCcsInfo *>(&a), {}, {}}};
        VeskCcsiRow tb[] = {{5002, VESK_CCSI_PRIMARY, reinterpret_cast<VeskCcsInfo *>(&b), {}, {}},
                            {5002, VESK_CCSI_ALIAS, reinterpret_cast<VeskCcsInfo *>(&b), {}, {}}};
        ASSERT_EQ(_VeskCcsiAddtab(nullptr, 2, ta, nullptr), 0);
        ASSERT_EQ(_VeskCcsiAddtab(nullptr, 2, tb, nullptr), 0);
        const int32_t found = VeskCcsiGetidbyname(nullptr, "X-SHARED", nullptr);
        EXPECT_TRUE(found == 5001 || found == 5002);
        _VeskCcsiRmtab(nullptr, 2, first_a ? ta : tb, nullptr);
        EXPECT_EQ(VeskCcsiGetidbyname(nullptr, "x-shared", nullptr), first_a ? 5002 : 5001);
        _VeskCcsiRmtab(nullptr, 2, first_a ? tb : ta, nullptr);
        EXPECT_EQ(VeskCcsiGetidbyname(nullptr, "x-shared", nullptr), 2);
    }
}

TEST(CcsiTables, NothingToDoIsZero) {
    EXPECT_EQ(_VeskCcsiAddtab(nullptr, 0, own_table, nullptr), 0);
    EXPECT_EQ(_VeskCcsiAddtab(nullptr, 5, nullptr, nullptr), 0);
    EXPECT_EQ(_VeskCcsiRmtab_nlk(nullptr, 0, nullptr, nullptr), 0);
}

TEST(CcsiService, WithoutAServiceEachFrontEndGivesItsAnswer) {
    void *saved = _G_ccsi_service_default;
    _G_ccsi_service_default = nullptr;
    const char *const text = "ccsi: resource not ready to use or no such resource.";
    Status s1, s2, s3, s4, s5;
    EXPECT_EQ(VeskCcsiGetidbyname(nullptr, "utf8", &s1.err), 2);
    EXPECT_EQ(VeskCcsiIANAName(nullptr, 106, &s2.err), nullptr);
    EXPECT_EQ(VeskCcsiStat(nullptr, 106, &s3.err), nullptr);
    EXPECT_EQ(_VeskCcsiAddtab(nullptr, 6, own_table, &s4.err), -1);
    EXPECT_EQ(_VeskCcsiRmtab_nlk(nullptr, 6, own_table, &s5.err), -1);
    _G_ccsi_service_default = saved;
    for (Status *s : {&s1, &s2, &s3, &s4, &s5})
        expect_report(s->err, VESK_FAC_CCSI, VESK_E_NOTREADY, 0, 1, text);
}

TEST(CcsiService, AnObjectWithoutTheSetAnswersThroughTheStub) {
    // The conversion service has no identification rows.
    Status s;
    EXPECT_EQ(VeskCcsiGetidbyname(_G_ccsconv_service_default, "utf8", &s.err), -1);
    EXPECT_NE(s.err.status, 0);
    EXPECT_EQ(VeskCcsiStat(_G_ccsconv_service_default, 106, nullptr), nullptr);
}

TEST(CcsiService, TheDefaultIsTheStockClass) {
    ASSERT_NE(_G_ccsi_service_default, nullptr);
    EXPECT_STREQ(VeskObjectLongkey(_G_ccsi_service_default), "objects/Nuccsi");
    ASSERT_NE(_G_ccsconv_service_default, nullptr);
    EXPECT_STREQ(VeskObjectLongkey(_G_ccsconv_service_default), "objects/Nuccsconv");
}

}  // namespace
