// SPDX-License-Identifier: MIT
// Charset conversion: opening and closing convertors, the nine run forms with
// their stop rules, counts, room checks and what stays written, and the UTF-8
// converter's boundaries.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/status.hpp"
#include "vesk.h"

namespace {

using vesk_test::expect_report;
using vesk_test::Status;

struct Cvtor {
    VeskCcscvtor cv{};
    Cvtor(int32_t from, int32_t to) { EXPECT_EQ(VeskOpenCcscvtor_i(nullptr, from, to, &cv, nullptr), 0); }
    ~Cvtor() { VeskCcscvtorClose(&cv, nullptr); }
    VeskCcscvtor *operator&() { return &cv; }
};

void expect_cvt_report(const Status &s, int32_t code) {
    EXPECT_EQ(s.err.status, VESK_STATUS(VESK_FAC_CCSCVT, code));
    EXPECT_EQ(s.err.variant, 0u);
}

// ---- Opening ---------------------------------------------------------------------

TEST(CcsconvOpen, NumbersSettleAndSetsAreShared) {
    const struct {
        int32_t from, to;
        uint16_t srcmax, dstmax;
        bool one_set;
    } cases[] = {
        {2251, 106, 1, 6, false}, {106, 106, 6, 6, true},   {1000, 2084, 1, 1, true},
        {2084, 1000, 1, 1, true}, {2, 2088, 1, 1, true},    {8, 2, 1, 1, true},
        {2086, 2251, 1, 1, false},
    };
    for (const auto &c : cases) {
        VeskCcscvtor cv;
        ASSERT_EQ(VeskOpenCcscvtor_i(nullptr, c.from, c.to, &cv, nullptr), 0) << c.from << ">" << c.to;
        EXPECT_EQ(cv.srcmax, c.srcmax);
        EXPECT_EQ(cv.dstmax, c.dstmax);
        EXPECT_EQ(cv.srcops == cv.dstops, c.one_set);
        EXPECT_EQ(std::memcmp(cv.magic, "CCSC", 4), 0);
        EXPECT_EQ(cv.cl.opnum, -1);
        EXPECT_EQ(VeskCcscvtorClose(&cv, nullptr), 0);
    }
}

TEST(CcsconvOpen, KoiOnBothSidesOfTheWideForm) {
    Cvtor c(1000, 2084);
    VeskOid oid;
    EXPECT_EQ(VeskObjectOID(c.cv.srcops, &oid)->comp[3], 2084);
    EXPECT_STREQ(VeskObjectLongkey(c.cv.srcops), "operations/ccscvtor/Ccscvtor/koi8r");
}

TEST(CcsconvOpen, ACharsetWithoutConverterIsNamed) {
    const struct {
        int32_t from, to;
        const char *text;
    } cases[] = {
        {3, 106, "ccsconv:ccsconv::open-convertor:ANSI_X3.4-1968: resource not ready to use or no such resource."},
        {106, 4, "ccsconv:ccsconv::open-convertor:ISO_8859-1:1987: resource not ready to use or no such resource."},
        {9999, 106, "ccsconv:ccsconv::open-convertor:@source-charset: resource not ready to use or no such resource."},
        {106, 0, "ccsconv:ccsconv::open-convertor:@dest-charset: resource not ready to use or no such resource."},
        {2, 1000, "ccsconv:ccsconv::open-convertor:@source-charset: resource not ready to use or no such resource."},
    };
    for (const auto &c : cases) {
        Status s;
        VeskCcscvtor cv;
        EXPECT_EQ(VeskOpenCcscvtor_i(nullptr, c.from, c.to, &cv, &s.err), -1);
        expect_report(s.err, VESK_FAC_CCSCONV, VESK_E_NOTREADY, 0, 3, c.text);
    }
}

TEST(CcsconvOpen, ByNameInAnyCase) {
    for (auto [from, to] : {std::pair{"cp1251", "utf8"}, {"CP1251", "UTF8"}, {"Cp1251", "uTf-8"}}) {
        Status s;
        VeskCcscvtor cv;
        ASSERT_EQ(VeskOpenCcscvtor_s(nullptr, from, to, &cv, &s.err), 0);
        EXPECT_EQ(s.err.status, 0);
        EXPECT_NE(cv.srcops, cv.dstops);
        VeskCcscvtorClose(&cv, nullptr);
    }
    // An unknown name counts as "unknown": the other side's charset with
    // itself, and the failed lookup stays in the record.
    Status s;
    VeskCcscvtor cv;
    ASSERT_EQ(VeskOpenCcscvtor_s(nullptr, "windows-1251", "koi8-u", &cv, &s.err), 0);
    EXPECT_EQ(cv.srcops, cv.dstops);
    expect_report(s.err, VESK_FAC_CCSI, VESK_E_NOMATCH, 0, 2,
                  "windows-1251: name does not match the name of any entry.");
    VeskCcscvtorClose(&cv, nullptr);
    // A failed lookup (a null name) is re-stamped with the conversion's family.
    Status n;
    EXPECT_EQ(VeskOpenCcscvtor_s(nullptr, nullptr, "utf8", &cv, &n.err), -1);
    EXPECT_EQ(n.err.status, VESK_STATUS(VESK_FAC_CCSCONV, VESK_E_EMPTYSTR));
}

TEST(CcsconvClose, NullBadAndTwice) {
    EXPECT_EQ(VeskCcscvtorClose(nullptr, nullptr), 0);
    VeskCcscvtor cv;
    ASSERT_EQ(VeskOpenCcscvtor_i(nullptr, 2251, 106, &cv, nullptr), 0);
    VeskOps *src = cv.srcops;
    std::memcpy(cv.magic, "XXXX", 4);
    Status s;
    EXPECT_EQ(VeskCcscvtorClose(&cv, &s.err), -1);
    expect_report(s.err, VESK_FAC_CCSCONV, VESK_E_INVAL, 0, 3,
                  "ccsconv:ccsconv::close-convertor(@convertor): invalid argument.");
    EXPECT_EQ(cv.srcops, src);  // nothing given back
    std::memcpy(cv.magic, "CCSC", 4);
    EXPECT_EQ(VeskCcscvtorClose(&cv, nullptr), 0);
    EXPECT_EQ(std::memcmp(cv.magic, "CCSC", 4), 0);
    // A second close finds nothing to give back, and runs refuse the record.
    EXPECT_EQ(VeskCcscvtorClose(&cv, nullptr), 0);
    Status r;
    EXPECT_EQ(VeskCcsconv_s(&cv, "a", nullptr, &r.err), -1);
    EXPECT_EQ(r.err.status, VESK_STATUS(VESK_FAC_CCSCONV, VESK_E_INVAL));
}

// ---- One character ----------------------------------------------------------------

TEST(CcsconvOne, AdvancesOnlyOnSuccessAndCountsWithoutADestination) {
    Cvtor c(106, 2251);
    const char text[] = "\xd0\x96z";  // Ж z
    const char *src = text;
    uint32_t left = 3;
    EXPECT_EQ(VeskCcsconv(&c, &src, &left, nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(src, text + 2);
    EXPECT_EQ(left, 1u);
    char out[4] = {}, *dst = out;
    uint32_t room = 4;
    EXPECT_EQ(VeskCcsconv(&c, &src, &left, &dst, &room, nullptr), 1);
    EXPECT_EQ(out[0], 'z');
    EXPECT_EQ(dst, out + 1);
    EXPECT_EQ(room, 3u);

    // A lead byte with one byte left: incomplete, nothing moves.
    src = text;
    left = 1;
    Status s;
    EXPECT_EQ(VeskCcsconv(&c, &src, &left, &dst, &room, &s.err), -1);
    expect_report(s.err, VESK_FAC_CCSCVT, VESK_E_INCOMPLETESEQ, 0, 0, "Incomplete multibyte sequence.");
    EXPECT_EQ(src, text);
    EXPECT_EQ(left, 1u);
}

TEST(CcsconvOne, RoomOfOneCharacter) {
    Cvtor c(2251, 106);
    const char text[] = "\xc6";  // Ж
    const char *src = text;
    uint32_t left = 1, room = 1;
    char out[4], *dst = out;
    Status s;
    EXPECT_EQ(VeskCcsconv(&c, &src, &left, &dst, &room, &s.err), -1);
    expect_cvt_report(s, VESK_E_MBBUFSMALL);
    EXPECT_EQ(src, text);
    room = 2;
    EXPECT_EQ(VeskCcsconv(&c, &src, &left, &dst, &room, nullptr), 2);
    EXPECT_EQ(std::string(out, 2), "\xd0\x96");
}

TEST(CcsconvOne, WideForms) {
    Cvtor c(1000, 106);
    const char16_t w[] = u"\u20ac";
    const char16_t *wsrc = w;
    uint32_t wleft = 1;
    EXPECT_EQ(VeskCcsconv_2mb(&c, &wsrc, &wleft, nullptr, nullptr, nullptr), 3);
    EXPECT_EQ(wsrc, w + 1);
    EXPECT_EQ(wleft, 0u);

    const char *src = "\xe2\x82\xac";
    uint32_t left = 3;
    char16_t out[2] = {}, *wdst = out;
    uint32_t wroom = 0;
    Status s;
    EXPECT_EQ(VeskCcsconv_2wc(&c, &src, &left, &wdst, &wroom, &s.err), -1);  // before reading
    expect_cvt_report(s, VESK_E_MBBUFSMALL);
    EXPECT_EQ(left, 3u);
    wroom = 2;
    EXPECT_EQ(VeskCcsconv_2wc(&c, &src, &left, &wdst, &wroom, nullptr), 1);
    EXPECT_EQ(out[0], u'\u20ac');
    EXPECT_EQ(wdst, out + 1);
    EXPECT_EQ(left, 0u);
}

// ---- Buffers ------------------------------------------------------------------------

TEST(CcsconvBuffer, StopsCountsAndRoom) {
    Cvtor c(106, 2084);
    Status s;
    char out[16];
    EXPECT_EQ(VeskCcsconv_b(&c, "abc", 0, out, sizeof out, nullptr), 0);
    EXPECT_EQ(VeskCcsconv_b(&c, "", VESK_CCS_TONUL, out, sizeof out, nullptr), 0);
    EXPECT_EQ(VeskCcsconv_b(&c, "ab\0cd", 5, out, sizeof out, nullptr), 5);  // NUL goes through
    EXPECT_EQ(VeskCcsconv_b(&c, "ab\0cd", VESK_CCS_TONUL, out, sizeof out, nullptr), 2);
    EXPECT_EQ(VeskCcsconv_b(&c, "\xd0\x96\xd0\x96", 4, nullptr, 0, nullptr), 2);

    std::memset(out, '-', sizeof out);
    EXPECT_EQ(VeskCcsconv_b(&c, "abcd", 4, out, 3, &s.err), -1);
    expect_cvt_report(s, VESK_E_MBBUFSMALL);
    EXPECT_EQ(std::string(out, 4), "abc-");  // what was written stays, nothing more
}

TEST(CcsconvBuffer, FailureKeepsWhatWasWritten) {
    Cvtor c(106, 2084);
    Status s;
    char out[16];
    std::memset(out, '-', sizeof out);
    // U+20AC is not in KOI8-R.
    EXPECT_EQ(VeskCcsconv_b(&c, "ab\xe2\x82\xac" "c", 6, out, sizeof out, &s.err), -1);
    expect_report(s.err, VESK_FAC_CCSCVT, VESK_E_BADUNICODE, 0, 0, "Bad UNICODE character.");
    EXPECT_EQ(std::string(out, 3), "ab-");
}

TEST(CcsconvBuffer, WideToBytes) {
    Cvtor c(1000, 106);
    char out[16];
    std::memset(out, '-', sizeof out);
    EXPECT_EQ(VeskCcsconv_b_2mb(&c, u"\u0416a", VESK_CCS_TONUL, out, sizeof out, nullptr), 3);
    EXPECT_EQ(std::string(out, 5), std::string("\xd0\x96" "a\0-", 5));  // NUL written, not counted
    EXPECT_EQ(VeskCcsconv_b_2mb(&c, u"\u0416a", 2, nullptr, 0, nullptr), 3);
    EXPECT_EQ(VeskCcsconv_b_2mb(&c, u"\u0416a", 2, out, 0, nullptr), 3);  // size 0: count only
    Status s;
    EXPECT_EQ(VeskCcsconv_b_2mb(&c, u"a\u0416", 2, out, 2, &s.err), -1);
    expect_cvt_report(s, VESK_E_MBBUFSMALL);
}

TEST(CcsconvBuffer, BytesToWideCountsCharacters) {
    Cvtor c(106, 1000);
    char16_t out[8];
    std::fill(std::begin(out), std::end(out), u'-');
    // Two characters, five bytes.
    EXPECT_EQ(VeskCcsconv_b_2wc(&c, "\xd0\x96\xe2\x82\xac", 2, out, 8, nullptr), 2);
    EXPECT_EQ(std::u16string(out, 3), u"\u0416\u20ac-");
    EXPECT_EQ(VeskCcsconv_b_2wc(&c, "ab", VESK_CCS_TONUL, out, 8, nullptr), 2);
    EXPECT_EQ(out[2], u'\0');  // stored, not counted
    Status s;
    EXPECT_EQ(VeskCcsconv_b_2wc(&c, "abc", 3, out, 2, &s.err), -1);
    expect_cvt_report(s, VESK_E_MBBUFSMALL);
    EXPECT_EQ(VeskCcsconv_b_2wc(&c, "abc", 3, nullptr, 2, nullptr), 3);
}

// ---- Strings ------------------------------------------------------------------------

TEST(CcsconvString, LengthFirstThenTheSameNumber) {
    Cvtor c(2251, 106);
    const char *text = "\xcf\xf0\xe8\xe2\xe5\xf2, world";  // Привет, world
    const int32_t need = VeskCcsconv_s(&c, text, nullptr, nullptr);
    EXPECT_EQ(need, 19);
    std::vector<char> out(need + 1, '-');
    EXPECT_EQ(VeskCcsconv_s(&c, text, out.data(), nullptr), need);
    EXPECT_STREQ(out.data(), "Привет, world");

    Cvtor w(2251, 1000);
    std::vector<char16_t> wide(16, u'-');
    EXPECT_EQ(VeskCcsconv_s_2wc(&w, text, wide.data(), nullptr), 13);
    EXPECT_EQ(std::u16string(wide.data()), u"Привет, world");
    EXPECT_EQ(VeskCcsconv_s_2wc(&w, text, nullptr, nullptr), 13);
    std::vector<char> back(16, '-');
    EXPECT_EQ(VeskCcsconv_s_2mb(&w, wide.data(), back.data(), nullptr), 13);
    EXPECT_STREQ(back.data(), text);
}

TEST(CcsconvString, StopsAtTheFirstFailure) {
    Cvtor c(2251, 2084);
    char out[8];
    std::memset(out, '-', sizeof out);
    Status s;
    EXPECT_EQ(VeskCcsconv_s(&c, "a\x98z", out, &s.err), -1);  // 0x98: unassigned in 1251
    expect_report(s.err, VESK_FAC_CCSCVT, VESK_E_ILSEQ, 0, 0, "Illegal multibyte sequence.");
    EXPECT_EQ(std::string(out, 2), "a-");
}

// ---- The converters --------------------------------------------------------------------

TEST(CcsconvUtf8, BoundariesOfTheDecoder) {
    Cvtor c(106, 1000);
    const struct {
        const char *bytes;
        uint32_t avail;
        int32_t code;   // 0: decodes
        char16_t wc;
    } cases[] = {
        {"\xc0\x80", 2, VESK_E_ILSEQ, 0},      {"\xc1\xbf", 2, VESK_E_ILSEQ, 0},
        {"\x80", 1, VESK_E_ILSEQ, 0},          {"\xf0\x90\x80\x80", 4, VESK_E_ILSEQ, 0},
        {"\xe0\x9f\x80", 3, VESK_E_ILSEQ, 0},  {"\xe0\xa0\x80", 3, 0, 0x800},
        {"\xef\xbf\xbf", 3, 0, 0xFFFF},        {"\xed\xa0\x80", 3, 0, 0xD800},
        {"\xc2\x80", 2, 0, 0x80},              {"\xdf\xbf", 2, 0, 0x7FF},
        {"\xe2\x82", 2, VESK_E_INCOMPLETESEQ, 0}, {"\xe2\x41\x41", 3, VESK_E_ILSEQ, 0},
        {"\xe2\x41", 2, VESK_E_INCOMPLETESEQ, 0}, {"\xc3\x41", 2, VESK_E_ILSEQ, 0},
        {"\xc3", 1, VESK_E_INCOMPLETESEQ, 0},
    };
    for (const auto &k : cases) {
        const char *src = k.bytes;
        uint32_t left = k.avail, wleft = 1;
        char16_t wc = 0, *wp = &wc;
        Status s;
        const int32_t r = VeskCcsconv_2wc(&c, &src, &left, &wp, &wleft, &s.err);
        if (k.code == 0) {
            EXPECT_EQ(r, 1) << k.bytes;
            EXPECT_EQ(wc, k.wc);
            EXPECT_EQ(left, 0u);
        } else {
            EXPECT_EQ(r, -1);
            expect_cvt_report(s, k.code);
            EXPECT_EQ(src, k.bytes);
        }
    }
}

TEST(CcsconvUtf8, EncoderLengthsAndRoom) {
    Cvtor c(1000, 106);
    const struct {
        char16_t wc;
        const char *bytes;
    } cases[] = {{0, "\0"}, {0x7F, "\x7f"}, {0x80, "\xc2\x80"}, {0x7FF, "\xdf\xbf"},
                 {0x800, "\xe0\xa0\x80"}, {0x20AC, "\xe2\x82\xac"}, {0xDC00, "\xed\xb0\x80"},
                 {0xFFFF, "\xef\xbf\xbf"}};
    for (const auto &k : cases) {
        const size_t n = k.wc == 0 ? 1 : std::strlen(k.bytes);
        const char16_t *wp = &k.wc;
        uint32_t wleft = 1, room = static_cast<uint32_t>(n);
        char out[4] = {}, *dst = out;
        EXPECT_EQ(VeskCcsconv_2mb(&c, &wp, &wleft, &dst, &room, nullptr), int32_t(n));
        EXPECT_EQ(std::string(out, n), std::string(k.bytes, n));
        if (n > 1) {
            wp = &k.wc;
            wleft = 1;
            room = static_cast<uint32_t>(n - 1);
            dst = out;
            Status s;
            EXPECT_EQ(VeskCcsconv_2mb(&c, &wp, &wleft, &dst, &room, &s.err), -1);
            expect_cvt_report(s, VESK_E_MBBUFSMALL);
        }
    }
}

TEST(CcsconvCodePages, SingleValuesOfTheChains) {
    const struct {
        int32_t id;
        char16_t wc;
        int byte;  // -1: not in the charset
    } cases[] = {
        {2086, 0x2116, 0xFC}, {8, 0x2116, 0xF0}, {2251, 0x2116, 0xB9}, {2084, 0x2116, -1},
        {2088, 0x2116, -1},   {8, 0xAD, 0xAD},   {2251, 0xAD, 0xAD},   {2086, 0xAD, -1},
        {2084, 0xAD, -1},     {8, 0x85, 0x85},   {2251, 0x20AC, 0x88}, {2251, 0x2122, 0x99},
        {2088, 0x491, 0xAD},  {2084, 0x491, -1}, {2086, 0, 0},
    };
    for (int32_t id : {2086, 2084, 2088, 8, 2251}) {
        Cvtor c(1000, id);
        const char16_t bad = 0xFFFD;
        EXPECT_EQ(VeskCcsconv_b_2mb(&c, &bad, 1, nullptr, 0, nullptr), -1) << id;
    }
    for (const auto &k : cases) {
        Cvtor c(1000, k.id);
        char out = 0;
        Status s;
        EXPECT_EQ(VeskCcsconv_b_2mb(&c, &k.wc, 1, &out, 1, &s.err), k.byte < 0 ? -1 : 1) << k.id;
        if (k.byte >= 0)
            EXPECT_EQ(static_cast<unsigned char>(out), k.byte);
        else
            expect_cvt_report(s, VESK_E_BADUNICODE);
    }
}

}  // namespace
