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
    std::string src = text + std::string(16, '\0');
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

}  // namespace
