// SPDX-License-Identifier: MIT
// The URI front ends, without a service and with the file-URI module loaded
// from its file the way a program loads it (no directories given: it is
// found beside the library).
#include <gtest/gtest.h>

#include <string>

#include "support/status.hpp"
#include "vesk.h"

using vesk_test::expect_in_fresh_process;
using vesk_test::expect_report;
using vesk_test::Status;

namespace {

void *const kFailed = reinterpret_cast<void *>(intptr_t{-1});

TEST(UriFrontEnds, WithoutAServiceEachGivesItsAnswer) {
    expect_in_fresh_process([] {
        CHILD_CHECK(_G_urilib_service_default == nullptr);
        Status s;
        CHILD_CHECK(VeskCreateUriWithString(nullptr, nullptr, "file:///x", 1, 0, 0, 0, &s.err) == kFailed);
        CHILD_CHECK(s.err.status == VESK_STATUS(VESK_FAC_URI, VESK_E_NOTREADY) && s.err.variant == 1);
        CHILD_CHECK(std::string(s.buf).find("urilib") != std::string::npos);
        CHILD_CHECK(VeskACreateUriWithString(nullptr, "file:///x", 0, nullptr) == nullptr);
        CHILD_CHECK(VeskACreateUriWithFileSystemPath(nullptr, "/x", 0, nullptr) == kFailed);
        CHILD_CHECK(VeskSupportUriScheme(nullptr, "file", VESK_URI_TONUL) == 0);
        CHILD_CHECK(VeskGetUriSchemeByName(nullptr, "file", VESK_URI_TONUL, nullptr) == 2);
        CHILD_CHECK(VeskGetUriSchemeName(nullptr, 1, nullptr) == nullptr);
        CHILD_CHECK(VeskGetUriSchemeInfoByID(nullptr, 1, nullptr) == nullptr);
        CHILD_CHECK(VeskAddUriSchemeInfo(nullptr, 0, nullptr) == -1);
        CHILD_CHECK(VeskRemUriSchemeInfo_nlk(nullptr, 0, nullptr) == -1);
        CHILD_CHECK(_VeskParseUriScheme(nullptr, "file:", 5, nullptr, 0, nullptr) == -1);
    });
}

// A row the service lacks answers through the stub set: an object without
// the family gets the stub's failure, shaped by the front end.
TEST(UriFrontEnds, AServiceWithoutTheRowAnswersThroughTheStub) {
    const VeskOid key = VESK_OID2(4, 14);  // a stock class with no URI rows
    void *not_a_service = _VeskGetcobject(&key, nullptr);
    Status s;
    EXPECT_EQ(VeskCreateUriWithString(not_a_service, nullptr, "x", 1, 0, 0, 0, &s.err), kFailed);
    EXPECT_NE(s.err.status, 0);
    EXPECT_EQ(VeskACreateUriWithString(not_a_service, "x", 0, nullptr), nullptr);
    EXPECT_EQ(VeskSupportUriScheme(not_a_service, "file", 4), 0);
    EXPECT_EQ(VeskGetUriSchemeByName(not_a_service, "file", 4, nullptr), -1);
}

class FileUri : public ::testing::Test {
protected:
    static void SetUpTestSuite() { ASSERT_GE(VeskMldLoad("urifile", nullptr, 0, 0, nullptr), 0); }
    static void TearDownTestSuite() {
        EXPECT_EQ(VeskMldUnload("urifile", nullptr), 0);
        EXPECT_EQ(_G_urilib_service_default, nullptr) << "cleared when unplugged";
    }

    template <class Fn>
    static int64_t row(void *obj, uint16_t opnum, VeskErr *err, auto... args) {
        const VeskOid key = {2, opnum, {3, VESK_URIOBJ_FAMILY, 0, 0, 0, 0}};
        VeskClosure cl;
        VeskOprow *r = VeskLookupop(obj, &key, &cl, nullptr);
        return r == nullptr ? -99 : reinterpret_cast<Fn>(r->fn)(&cl, err, args...);
    }
    static std::string text(void *obj, uint16_t opnum) {
        char buf[8192] = "";
        using Fn = int64_t (*)(VeskClosure *, VeskErr *, char *, uint32_t);
        EXPECT_GE(row<Fn>(obj, opnum, nullptr, buf, uint32_t(sizeof buf)), 0);
        return buf;
    }
    static std::u16string wpath(void *obj) {
        char16_t buf[VESK_URIOBJ_WPATH_SIZE];
        const int64_t n = row<VeskUriFswpathfn>(obj, VESK_URIOBJ_OP_FSWPATH, nullptr, buf,
                                                uint32_t(VESK_URIOBJ_WPATH_SIZE), 0u);
        EXPECT_GE(n, 1);
        return n > 0 ? std::u16string(buf, size_t(n)) : u"";
    }
};

TEST_F(FileUri, TheModuleIsTheDefaultService) {
    ASSERT_NE(_G_urilib_service_default, nullptr);
    EXPECT_EQ(VeskSupportUriScheme(nullptr, "FILE", 4), 1);
    EXPECT_EQ(VeskSupportUriScheme(nullptr, "http", VESK_URI_TONUL), 0);
    EXPECT_EQ(VeskGetUriSchemeByName(nullptr, "file", VESK_URI_TONUL, nullptr), 1);
    EXPECT_STREQ(VeskGetUriSchemeName(nullptr, 1, nullptr), "file");
    Status s;
    EXPECT_EQ(VeskGetUriSchemeInfoByID(nullptr, 77, &s.err),
              reinterpret_cast<const VeskUriSchemeInfo *>(intptr_t{-1}));
    expect_report(s.err, VESK_FAC_URI, VESK_E_NOMATCH, 0, 1);

    static const VeskUriSchemeInfo extra[] = {{77, "x-test", 0, "a scheme of the test's"}};
    EXPECT_EQ(VeskAddUriSchemeInfo(nullptr, 1, extra), 0);
    EXPECT_EQ(VeskGetUriSchemeInfoByName(nullptr, "X-Test", VESK_URI_TONUL, nullptr), &extra[0]);
    EXPECT_EQ(VeskRemUriSchemeInfo(nullptr, 1, extra), 0);
    EXPECT_EQ(VeskSupportUriScheme(nullptr, "x-test", VESK_URI_TONUL), 0);

    int32_t id = 0;
    EXPECT_EQ(_VeskParseUriScheme(nullptr, "File:///x", VESK_URI_TONUL, &id, 0, nullptr), 4);
    EXPECT_EQ(id, 1);
    EXPECT_EQ(_VeskWparseUriScheme(nullptr, u"mailto:a@b", VESK_URI_TONUL, &id, 0, nullptr), 6);
    EXPECT_EQ(id, VESK_URI_SCHEME_UNKNOWN);
    for (const char *none : {"/abs/path", "9p:x", "", "a b:c"})
        EXPECT_EQ(_VeskParseUriScheme(nullptr, none, VESK_URI_TONUL, &id, 0, nullptr), 0) << none;
}

TEST_F(FileUri, PathsRoundTrip) {
    const struct {
        const char *path;
        const char16_t *wide;
        const char *uri;
    } cases[] = {
        {"/tmp/a b/c.txt", u"/tmp/a b/c.txt", "file:///tmp/a%20b/c.txt"},
        {"/100%/x#y?z", u"/100%/x#y?z", "file:///100%25/x%23y%3Fz"},
        {"/Ünïcødé/日本語.txt", u"/Ünïcødé/日本語.txt",
         "file:///%C3%9Cn%C3%AFc%C3%B8d%C3%A9/%E6%97%A5%E6%9C%AC%E8%AA%9E.txt"},
        {"/emoji/\xF0\x9F\x98\x80", u"/emoji/\U0001F600", "file:///emoji/%F0%9F%98%80"},
        {"/", u"/", "file:///"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.path);
        void *from_path = VeskACreateUriWithFileSystemPath(nullptr, c.path, 0, nullptr);
        ASSERT_NE(from_path, kFailed);
        EXPECT_EQ(text(from_path, 4), c.uri);
        EXPECT_EQ(wpath(from_path), c.wide);
        void *from_uri = VeskACreateUriWithString(nullptr, c.uri, 0, nullptr);
        ASSERT_NE(from_uri, nullptr);
        EXPECT_EQ(text(from_uri, 5), c.path);
        void *from_wide = VeskACreateUriWithFileSystemWpath(nullptr, c.wide, 0, nullptr);
        ASSERT_NE(from_wide, kFailed);
        EXPECT_EQ(text(from_wide, 5), c.path);
        for (void *o : {from_path, from_uri, from_wide})
            EXPECT_EQ(VeskRelease(o, 0, nullptr), 0);
    }
}

TEST_F(FileUri, ReadsFileUrisAsRfc8089HasThem) {
    const struct {
        const char *uri;
        const char *path;  // null: refused
    } cases[] = {
        {"file:///abs/path", "/abs/path"},
        {"file://localhost/abs", "/abs"},
        {"FILE://LocalHost/abs", "/abs"},
        {"file:/abs", "/abs"},
        {"file:///a#fragment", "/a"},
        {"file:///%e6%97%a5", "/日"},
        {"file://example.com/abs", nullptr},
        {"file://localhostx/abs", nullptr},
        {"file:relative/path", nullptr},
        {"file://", nullptr},
        {"http://localhost/x", nullptr},
        {"file:///a?query", nullptr},
        {"file:///a%2", nullptr},
        {"file:///a%zz", nullptr},
        {"file:///a%00b", nullptr},
        {"", nullptr},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.uri);
        Status s;
        void *o = VeskCreateUriWithString(nullptr, nullptr, c.uri, 1, 0, 0, 0, &s.err);
        if (c.path == nullptr) {
            EXPECT_EQ(o, kFailed);
            EXPECT_EQ(uint32_t(s.err.status) >> 16, uint32_t(VESK_URIOBJ_FAMILY));
            EXPECT_NE(s.buf[0], '\0');
            continue;
        }
        ASSERT_NE(o, kFailed) << s.buf;
        EXPECT_EQ(text(o, 5), c.path);
        EXPECT_EQ(VeskRelease(o, 0, nullptr), 0);
    }
    EXPECT_EQ(VeskACreateUriWithString(nullptr, nullptr, 0, nullptr), nullptr);
    EXPECT_EQ(VeskACreateUriWithFileSystemPath(nullptr, "relative", 0, nullptr), kFailed);
    const char16_t lone[] = {u'/', 0xD800, u'x', 0};
    EXPECT_EQ(VeskACreateUriWithFileSystemWpath(nullptr, lone, 0, nullptr), kFailed);
}

TEST_F(FileUri, ALiveUriObjectKeepsTheModuleLoaded) {
    void *o = VeskACreateUriWithFileSystemPath(nullptr, "/x", 0, nullptr);
    ASSERT_NE(o, kFailed);
    Status s;
    EXPECT_EQ(VeskMldUnload("urifile", &s.err), -1);
    expect_report(s.err, VESK_FAC_RUNTIME, VESK_E_TOOBUSY, 0, 3);
    EXPECT_NE(_G_urilib_service_default, nullptr);
    EXPECT_EQ(VeskRelease(o, 0, nullptr), 0);
}

}  // namespace
