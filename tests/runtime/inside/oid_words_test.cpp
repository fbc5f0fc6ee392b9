// SPDX-License-Identifier: MIT
// Identifier matching by words against the component-by-component rule, on
// identifiers chosen to hit every lane: wildcards, values that differ only in
// a lane's top bit or low bit, counts of 0, within, at and beyond six.
#include <gtest/gtest.h>

#include <array>
#include <random>

#include "runtime/oid.hpp"

namespace {

using vesk::rt::common_length;
using vesk::rt::oid_key;
using vesk::rt::oid_matches;
using vesk::rt::oid_matches_key;
using vesk::rt::prefix_compare;

bool by_components(const VeskOid &a, const VeskOid &b) {
    return prefix_compare(&a, &b, common_length(&a, &b)) == 0;
}

constexpr std::array<uint16_t, 6> kValues = {0, 1, 3, 0x7FFF, 0x8000, 0xFFFF};
constexpr std::array<uint16_t, 10> kCounts = {0, 1, 2, 3, 4, 5, 6, 7, 9, 0xFFFF};

VeskOid random_oid(std::mt19937 &rng) {
    VeskOid o{};
    o.count = kCounts[rng() % kCounts.size()];
    o.opnum = static_cast<uint16_t>(rng());  // never compared
    for (uint16_t &c : o.comp)
        c = kValues[rng() % kValues.size()];
    return o;
}

TEST(OidWords, MatchAgreesWithTheComponentRule) {
    std::mt19937 rng(20240613);
    unsigned matches = 0;
    for (int i = 0; i < 400000; ++i) {
        VeskOid a = random_oid(rng), b = random_oid(rng);
        // Often make the two share a prefix, so that late lanes decide.
        if (rng() % 2 != 0)
            for (unsigned k = 0, n = rng() % 6; k < n; ++k)
                b.comp[k] = a.comp[k];
        const bool expected = by_components(a, b);
        matches += expected;
        ASSERT_EQ(oid_matches(&a, &b), expected)
            << "a count " << a.count << " b count " << b.count << " iteration " << i;
        ASSERT_EQ(oid_matches(&b, &a), expected) << "the rule is symmetric; iteration " << i;
        if (b.count <= 4)
            ASSERT_EQ(oid_matches_key<false>(&a, oid_key(&b)), expected)
                << "a key of four components or less reads one word; iteration " << i;
    }
    // Both answers must have been exercised in numbers.
    EXPECT_GT(matches, 40000u);
    EXPECT_LT(matches, 360000u);
}

// One lane at a time refuses, each of the six; a count that stops short of
// the lane makes it irrelevant, from either side.
TEST(OidWords, EachLaneRefusesOnlyWithinBothCounts) {
    for (unsigned lane = 0; lane < VESK_OID_MAXCOMP; ++lane) {
        for (uint16_t count_a = 0; count_a <= 7; ++count_a) {
            for (uint16_t count_b = 1; count_b <= 6; ++count_b) {
                VeskOid a{count_a, 0, {3, 1006, 6, 9, 12, 15}};
                VeskOid b{count_b, 0, {3, 1006, 6, 9, 12, 15}};
                b.comp[lane] ^= 0x8000;
                const bool within = lane < count_a && lane < count_b;
                EXPECT_EQ(oid_matches(&a, &b), !within)
                    << "lane " << lane << " counts " << count_a << "/" << count_b;
                a.comp[lane] = 0;  // a wildcard never refuses
                EXPECT_TRUE(oid_matches(&a, &b)) << "lane " << lane;
            }
        }
    }
}

}  // namespace
