// SPDX-License-Identifier: MIT
// The bulk decode of UTF-8 to wide characters, with shuffles (where the
// processor has them) and without, against one character at a time: the
// same characters, the same stop and nothing written past the last one,
// for every room and count of characters and for a bad byte at every place.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "services/ccs_bulk.hpp"

using namespace std::string_literals;

namespace {

using vesk::ccs::bulk::Span;

// As it is called: counted by characters, with whatever follows readable.
using Decode = Span (*)(const unsigned char *, uint32_t, uint32_t, char16_t *, uint32_t);

Span one_at_a_time(const unsigned char *s, uint32_t, uint32_t chars, char16_t *d, uint32_t room) {
    uint32_t i = 0, c = 0;
    char16_t wc;
    for (int r; c < chars && c < room && (r = vesk::ccs::utf8_decode(s + i, &wc, 3)) > 0; i += r)
        d[c++] = wc;
    return {i, c};
}

std::vector<Decode> decoders() {
    std::vector<Decode> all{vesk::ccs::bulk::utf8_to_wide_base};
#if defined(VESK_CCS_UTF8_SHUFFLE)
    if (vesk::ccs::bulk::utf8_shuffle_usable())
        all.push_back(vesk::ccs::bulk::utf8_to_wide_ssse3);
#endif
    return all;
}

void expect_as_one_at_a_time(const std::string &text, uint32_t chars, uint32_t room) {
    const std::string src = text + std::string(64, '\0');
    const auto *s = reinterpret_cast<const unsigned char *>(src.data());
    std::vector<char16_t> want(room + 16, u'\xEEEE');
    const Span w = one_at_a_time(s, UINT32_MAX, chars, want.data(), room);
    for (Decode decode : decoders()) {
        std::vector<char16_t> got(room + 16, u'\xEEEE');
        const Span g = decode(s, UINT32_MAX, chars, got.data(), room);
        EXPECT_EQ(g.in, w.in) << "room " << room << " chars " << chars;
        EXPECT_EQ(g.out, w.out) << "room " << room << " chars " << chars;
        EXPECT_EQ(got, want) << "room " << room << " chars " << chars;
    }
}

const std::string kProse =
    "<p>\xd0\x9c\xd0\xbe\xd1\x80\xd0\xbe\xd0\xb7 \xd0\xb8 \xd1\x81\xd0\xbe\xd0\xbb\xd0\xbd\xd1\x86\xd0\xb5;"
    " \xd0\xb4\xd0\xb5\xd0\xbd\xd1\x8c \xd1\x87\xd1\x83\xd0\xb4\xd0\xb5\xd1\x81\xd0\xbd\xd1\x8b\xd0\xb9!"
    "</p>\n<b>\xd0\x81\xd1\x91\xd0\x90\xd0\xaf\xd0\xb0\xd1\x8f\xc2\x80\xdf\xbf\xd1\x91</b> and ascii "
    "\xe2\x80\x94 \xd0\xb6\xd0\xb5\xd0\xbb\xd1\x82\xd0\xb5\xd0\xbb\xd0\xb0 \xef\xbf\xbf\xe0\xa0\x80"
    "\xed\xa0\x80\xd0\xb0\xd0\xb1\xd0\xb2\xd0\xb3\xd0\xb4\xd0\xb5\xd0\xb6\xd0\xb7\xd0\xb8";

TEST(CcsUtf8Decode, EveryRoomAndCountStopsWhereOneAtATimeDoes) {
    const uint32_t n = static_cast<uint32_t>(kProse.size());
    for (uint32_t room = 0; room <= n + 4; ++room)
        expect_as_one_at_a_time(kProse, n, room);
    for (uint32_t chars = 0; chars <= n + 4; ++chars)
        expect_as_one_at_a_time(kProse, chars, n + 32);
}

TEST(CcsUtf8Decode, ABadSequenceAnywhereStopsItThere) {
    // Bytes that may not stand where they are put, and sequences that are
    // illegal or legal at the edges of what two and three bytes hold.
    const std::string spoilers[] = {
        "\x80"s, "\xbf"s, "\xc0"s, "\xc1"s, "\xc2"s, "\xdf"s, "\xe0"s, "\xef"s, "\xf0"s, "\xff"s,
        "\x00"s, "\xc0\x80"s, "\xc1\xbf"s, "\xe0\x9f\x80"s, "\xe0\xa0\x80"s, "\xef\xbf\xbf"s,
        "\xed\xa0\x80"s, "\xd0\xd0"s, "\xd0\xe0\xa0"s, "\xe1\x80"s,
    };
    const uint32_t n = static_cast<uint32_t>(kProse.size());
    for (const std::string &bad : spoilers)
        for (size_t at = 0; at + bad.size() <= kProse.size(); ++at) {
            std::string text = kProse;
            text.replace(at, bad.size(), bad);
            SCOPED_TRACE("at " + std::to_string(at) + " length " + std::to_string(bad.size()));
            expect_as_one_at_a_time(text, n, n + 32);
        }
}

}  // namespace
