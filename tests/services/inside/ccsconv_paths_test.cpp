// SPDX-License-Identifier: MIT
// The fast path between stock converters against the road through the
// converter rows: every pair, every form, on texts that end well and texts
// that fail in each way. Same result, report, output and positions.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "services/ccs_convert.hpp"
#include "vesk.h"

using namespace std::string_literals;

namespace {

constexpr int32_t kCharsets[] = {2088, 2084, 106, 2086, 8, 2251};

struct Seen {
    int32_t result;
    int64_t status;
    std::string out;
    uint32_t left;
};

// Runs one form on `text` with `room` bytes (or wide units) of destination.
Seen run(VeskCcscvtor *cv, int form, const std::string &text, uint32_t room, bool fast) {
    vesk::ccs::fast_path_enabled = fast;
    // Counted by characters, _b_2wc may read a character of NUL padding for
    // every byte of the text.
    std::string src = text + std::string(2 * text.size() + 16, '\0');
    std::string dst(3 * text.size() + 32, '#');
    VeskErr err{};
    Seen s{};
    const char16_t *w = reinterpret_cast<const char16_t *>(src.data());
    char16_t *wd = reinterpret_cast<char16_t *>(dst.data());
    const uint32_t n = static_cast<uint32_t>(text.size());
    const char *p = src.data();
    switch (form) {
    case 0: {
        char *q = dst.data();
        s.left = n;
        uint32_t r = room;
        s.result = VeskCcsconv(cv, &p, &s.left, &q, &r, &err);
        break;
    }
    case 1: s.result = VeskCcsconv_b(cv, src.data(), n, dst.data(), room, &err); break;
    case 2: s.result = VeskCcsconv_b(cv, src.data(), VESK_CCS_TONUL, dst.data(), room, &err); break;
    case 3: s.result = VeskCcsconv_b_2mb(cv, w, n / 2, dst.data(), room, &err); break;
    case 4: s.result = VeskCcsconv_b_2wc(cv, src.data(), n, wd, room / 2, &err); break;
    case 5: s.result = VeskCcsconv_s(cv, src.data(), dst.data(), &err); break;
    case 6: s.result = VeskCcsconv_s_2mb(cv, w, dst.data(), &err); break;
    default: s.result = VeskCcsconv_s_2wc(cv, src.data(), wd, &err); break;
    }
    vesk::ccs::fast_path_enabled = true;
    s.status = err.status;
    s.out = dst;
    return s;
}

TEST(CcsconvPaths, FastPathMatchesTheRoadForEveryPairAndForm) {
    const std::string texts[] = {
        "plain ascii text, long enough for words of eight",
        "\xd0\x9f\xd1\x80\xd0\xb8\xd0\xb2\xd0\xb5\xd1\x82, <b>\xd0\xbc\xd0\xb8\xd1\x80</b>!",
        "\xcf\xf0\xe8\xe2\xe5\xf2 \x98 \xe2\x82\xac",
        "ab\xe2\x82",
        "\xc0\x80 overlong",
        "nul\0inside"s,
        "\xff\xfe\x16\x04\x00\x00"s,
        "",
    };
    for (int32_t from : kCharsets)
        for (int32_t to : kCharsets) {
            VeskCcscvtor cv;
            ASSERT_EQ(VeskOpenCcscvtor_i(nullptr, from, to, &cv, nullptr), 0);
            for (const std::string &t : texts)
                for (int form = 0; form < 8; ++form)
                    for (uint32_t room : {0u, 1u, 5u, 200u}) {
                        const Seen fast = run(&cv, form, t, room, true);
                        const Seen road = run(&cv, form, t, room, false);
                        SCOPED_TRACE(std::to_string(from) + ">" + std::to_string(to) + " form " +
                                     std::to_string(form) + " room " + std::to_string(room));
                        EXPECT_EQ(fast.result, road.result);
                        EXPECT_EQ(fast.status, road.status);
                        EXPECT_EQ(fast.out, road.out);
                        EXPECT_EQ(fast.left, road.left);
                    }
            VeskCcscvtorClose(&cv, nullptr);
        }
}

// The bulk loops take many characters at once: a failure or the end of the
// room anywhere in a long text must still stop them at the same character,
// with nothing written past it.
TEST(CcsconvPaths, FastPathStopsWhereTheRoadDoesInLongTexts) {
    const std::string prose =
        "<p>\xd0\x9c\xd0\xbe\xd1\x80\xd0\xbe\xd0\xb7 \xd0\xb8 \xd1\x81\xd0\xbe\xd0\xbb"
        "\xd0\xbd\xd1\x86\xd0\xb5; plain words of ascii here \xe2\x80\x94 \xd0\xb4\xd0\xb5"
        "\xd0\xbd\xd1\x8c \xd1\x87\xd1\x83\xd0\xb4\xd0\xb5\xd1\x81\xd0\xbd\xd1\x8b"
        "\xd0\xb9!</p>\n";
    std::string page;  // a code page's view: every upper byte, between ASCII
    for (int b = 0x80; b < 0x100; b += 3)
        page += std::string(1, char(b)) + (b % 5 == 0 ? " " : "");
    std::string wide;  // UTF-16 of ASCII, Cyrillic and a few three-byte values
    for (int k = 0; k < 90; ++k) {
        const int v = k % 7 == 0 ? 0x20 : k % 11 == 0 ? 0x2014 : k % 13 == 0 ? 0x41 + k % 26 : 0x410 + k % 64;
        wide += std::string{char(v & 0xFF), char(v >> 8)};
    }
    const std::string texts[] = {prose, page, wide};
    const int counted_forms[] = {1, 3, 4};
    const auto same = [](VeskCcscvtor *cv, int form, const std::string &t, uint32_t room) {
        const Seen fast = run(cv, form, t, room, true);
        const Seen road = run(cv, form, t, room, false);
        return fast.result == road.result && fast.status == road.status && fast.out == road.out;
    };
    for (int32_t from : kCharsets)
        for (int32_t to : kCharsets) {
            VeskCcscvtor cv;
            ASSERT_EQ(VeskOpenCcscvtor_i(nullptr, from, to, &cv, nullptr), 0);
            for (const std::string &t : texts)
                for (int form : counted_forms) {
                    SCOPED_TRACE(std::to_string(from) + ">" + std::to_string(to) + " form " +
                                 std::to_string(form) + " text " + std::to_string(t.size()));
                    for (size_t at = 0; at < t.size(); ++at)
                        for (char bad : {'\x98', '\xff'}) {
                            std::string spoilt = t;
                            spoilt[at] = bad;
                            EXPECT_TRUE(same(&cv, form, spoilt, 1000)) << "spoilt at " << at;
                        }
                    for (uint32_t room = 0; room < 3 * t.size() + 8; ++room)
                        EXPECT_TRUE(same(&cv, form, t, room)) << "room " << room;
                }
            VeskCcscvtorClose(&cv, nullptr);
        }
}

}  // namespace
