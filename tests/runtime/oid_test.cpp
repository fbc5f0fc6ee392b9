// Object identifiers: the prefix comparison and the total order.
#include <gtest/gtest.h>

#include "linked.hpp"

namespace {

using vesk_test::key;

struct OidCase {
    const char *what;
    VeskOid a, b;
    int32_t prefix; // VeskOidcmp(a, b)
    int32_t total;  // VeskOidlcmp(a, b)
};

const OidCase kOidCases[] = {
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
    {"next component of the longer is a wildcard", key(0, {3, 1006}), key(0, {3, 1006, 0}), 0,
     0},
    {"only the next component decides", key(0, {3, 1006}), key(0, {3, 1006, 0, 4}), 0, 0},
    {"opnum never matters", key(1, {3, 1006}), key(900, {3, 1006}), 0, 0},
    {"opnum never matters in a difference", key(900, {3, 7}), key(1, {3, 9}), -2, -2},
};

TEST(Oid, ComparisonTable) {
    for (const OidCase &c : kOidCases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(VeskOidcmp(&c.a, &c.b), c.prefix);
        EXPECT_EQ(VeskOidlcmp(&c.a, &c.b), c.total);
        // Swapping the arguments negates the result exactly.
        EXPECT_EQ(VeskOidcmp(&c.b, &c.a), -c.prefix);
        EXPECT_EQ(VeskOidlcmp(&c.b, &c.a), -c.total);
    }
}

TEST(Oid, ComponentsPastCountAreNotRead) {
    VeskOid a = key(0, {3, 1006});
    VeskOid b = key(0, {3, 1006});
    a.comp[2] = 7;
    b.comp[2] = 9;
    EXPECT_EQ(VeskOidcmp(&a, &b), 0);
    EXPECT_EQ(VeskOidlcmp(&a, &b), 0);
    b.count = 3; // now b's third component is in use and decides the order
    EXPECT_EQ(VeskOidcmp(&a, &b), 0);
    EXPECT_EQ(VeskOidlcmp(&a, &b), -9);
}

}  // namespace
