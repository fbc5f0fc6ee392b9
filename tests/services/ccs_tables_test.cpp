// SPDX-License-Identifier: MIT
// The five code pages of the stock converters against the C library's
// iconv: every byte decoded and every 16-bit value encoded, through the
// library's own front ends. Where the two disagree, the library follows the
// published mapping of the code page; each such point would be named below,
// and a point that is not named fails. With glibc 2.36 there is none: all five
// pages agree in all 256 bytes and all 65,536 wide values, Windows 1251's
// unassigned 0x98 included.
#include <gtest/gtest.h>
#include <iconv.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "vesk.h"

namespace {

// What iconv makes of one unit: the other side, or nothing.
std::optional<uint32_t> iconv_one(const char *from, const char *to, const void *in, size_t inlen,
                                  size_t outunit) {
    iconv_t cd = iconv_open(to, from);
    if (cd == reinterpret_cast<iconv_t>(-1))
        return std::nullopt;
    char inbuf[4];
    std::memcpy(inbuf, in, inlen);
    unsigned char outbuf[8] = {};
    char *ip = inbuf, *op = reinterpret_cast<char *>(outbuf);
    size_t il = inlen, ol = sizeof outbuf;
    const size_t r = iconv(cd, &ip, &il, &op, &ol);
    iconv_close(cd);
    const size_t made = sizeof outbuf - ol;
    if (r == static_cast<size_t>(-1) || r != 0 || made != outunit)
        return std::nullopt;
    return outunit == 2 ? uint32_t(outbuf[0] | outbuf[1] << 8) : uint32_t(outbuf[0]);
}

struct Page {
    int32_t id;
    const char *glibc;
    // Bytes whose decoding differs from glibc's, and wide values whose
    // encoding does: the library's answer is the code page's.
    std::set<uint32_t> decode_differs;
    std::set<uint32_t> encode_differs;
};

class CodePage : public ::testing::TestWithParam<Page> {};

TEST_P(CodePage, EveryByteAndEveryWideValueAgreesWithIconvExceptTheNamedPoints) {
    const Page &page = GetParam();
    VeskCcscvtor cv;
    ASSERT_EQ(VeskOpenCcscvtor_i(nullptr, page.id, VESK_CCS_WIDE, &cv, nullptr), 0);

    std::set<uint32_t> decode_differs, encode_differs;
    std::map<uint32_t, uint32_t> from_byte;  // wide value -> the byte that decodes to it
    for (uint32_t b = 0; b < 256; ++b) {
        const unsigned char byte = static_cast<unsigned char>(b);
        const std::optional<uint32_t> want = iconv_one(page.glibc, "UTF-16LE", &byte, 1, 2);
        const char *src = reinterpret_cast<const char *>(&byte);
        uint32_t left = 1, wleft = 1;
        char16_t wc = 0, *wp = &wc;
        const bool ok = VeskCcsconv_2wc(&cv, &src, &left, &wp, &wleft, nullptr) == 1;
        if (ok)
            from_byte[wc] = b;
        if (ok != want.has_value() || (ok && *want != wc))
            decode_differs.insert(b);
    }
    for (uint32_t v = 0; v < 0x10000; ++v) {
        const unsigned char le[2] = {static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8)};
        const std::optional<uint32_t> want = iconv_one("UTF-16LE", page.glibc, le, 2, 1);
        const char16_t wc = static_cast<char16_t>(v);
        const char16_t *wp = &wc;
        uint32_t wleft = 1, left = 1;
        char out = 0, *op = &out;
        const bool ok = VeskCcsconv_2mb(&cv, &wp, &wleft, &op, &left, nullptr) == 1;
        if (ok != want.has_value() || (ok && *want != static_cast<unsigned char>(out)))
            encode_differs.insert(v);
        // Every value that comes out of a byte goes back to that byte.
        const auto back = from_byte.find(v);
        if (back != from_byte.end()) {
            EXPECT_TRUE(ok) << std::hex << v;
            EXPECT_EQ(static_cast<unsigned char>(out), back->second) << std::hex << v;
        }
    }
    EXPECT_EQ(decode_differs, page.decode_differs);
    EXPECT_EQ(encode_differs, page.encode_differs);
    EXPECT_EQ(VeskCcscvtorClose(&cv, nullptr), 0);
}

INSTANTIATE_TEST_SUITE_P(
    StockConverters, CodePage,
    ::testing::Values(Page{2088, "KOI8-U", {}, {}}, Page{2084, "KOI8-R", {}, {}},
                      Page{2086, "IBM866", {}, {}}, Page{8, "ISO-8859-5", {}, {}},
                      Page{2251, "CP1251", {}, {}}),
    [](const auto &info) { return std::to_string(info.param.id); });

}  // namespace
