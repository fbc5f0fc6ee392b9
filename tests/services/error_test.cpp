// SPDX-License-Identifier: MIT
// The error service as callers meet it: sentences, errno numbers, and tables of a module's own added and removed, also while other
// threads report.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include "support/status.hpp"
#include "vesk.h"

namespace {

using Report = vesk_test::Status;

TEST(ErrorService, IsUpAtLoadAndFormatsTheChosenVariant) {
    ASSERT_NE(_G_error_service_default, nullptr);
    const struct {
        int32_t facility, code;
        uint32_t variant;
        const char *arg1, *arg2;
        const char *text;
    } cases[] = {
        {104, 33281, 1, "/tmp/x", nullptr, "/tmp/x: no such file or directory."},
        {104, 33281, 3, "/tmp/x", "/a;/b",
         "/tmp/x: the named file or directory not found in the search paths:\n/a;/b\n"},
        {1000, 49218, 3, "_VeskModUnplug", "modules/x",
         "_VeskModUnplug{modules/x}: object is presently too busy to perform a requested "
         "operation."},
    };
    for (const auto &c : cases) {
        Report r;
        EXPECT_EQ(VeskMkerr(nullptr, &r.err, 1, 2, 3, c.facility, c.code, 5, c.variant, c.arg1,
                            c.arg2),
                  0);
        vesk_test::expect_report(r.err, c.facility, c.code, 5, c.variant, c.text);
        EXPECT_TRUE(r.err.info0 == 1 && r.err.info1 == 2 && r.err.info2 == 3);
    }
}

TEST(ErrorService, UnknownCodesAndVariantsLeaveTheMessageEmpty) {
    Report r, unknown;
    // 33281 has four rows: variant 4 is one too many.
    EXPECT_EQ(VeskMkerr(nullptr, &r.err, 0, 0, 0, 104, 33281, 2, 4, "/x"), 0);
    vesk_test::expect_report(r.err, 104, 33281, 2, 4, "");
    EXPECT_EQ(VeskMkerr(nullptr, &unknown.err, 0, 0, 0, 9, 0x7777, 1, 0), -1);
    vesk_test::expect_report(unknown.err, 9, 0x7777, 1, 0, "");
}

// A sample of the codes with the errno names they stand for, one or two of
// each group; names this C library lacks keep the numbers of the systems that
// have them.
TEST(ErrorService, StatusToUnixGivesTheCodesErrnoWhateverTheFacility) {
    constexpr struct {
        int32_t code;
        int errnum;
    } cases[] = {{257, E2BIG},      {259, EINVAL},      {516, EWOULDBLOCK}, {518, ENXIO},
                 {772, EALREADY},   {1026, ENOSYS},     {1034, ETIMEDOUT},  {1281, EILSEQ},
                 {1537, 80},        {1538, 81},         {1794, ERANGE},     {32773, ENOMEM},
                 {32774, 67},       {33281, ENOENT},    {33301, ENOLCK},    {33562, EBADMSG},
                 {49170, ENOENT},   {49209, EINVAL},    {49218, EBUSY},     {49219, ENAMETOOLONG}};
    for (const auto &c : cases)
        for (int32_t facility : {0, 104, 0x7FFF, 0x8001})
            EXPECT_EQ(VeskStatus2unix(nullptr, int32_t((uint32_t(facility) << 16) | c.code)),
                      c.errnum)
                << c.code;
    EXPECT_EQ(VeskStatus2unix(nullptr, 0), -1);
    EXPECT_EQ(VeskStatus2unix(nullptr, 0x7777), -1);
}

// A module's table: code 0x7701 with two rows, a row that isn't a head (count
// 0) of code 0x7702, then the end row and a row behind it.
struct ModuleTable {
    VeskErrEntry rows[5] = {
        {0x7701, EDOM, "Module failure.", 2, {}},
        {0x7701, EDOM, "%s: module failure.", 0, {}},
        {0x7702, ERANGE, "Never a head.", 0, {}},
        {VESK_ERR_TABLE_END, 0, nullptr, 0, {}},
        {0x7703, EIO, "Behind the end.", 1, {}},
    };
};

std::string sentence(int32_t code, uint32_t variant, const char *arg = "m") {
    Report r;
    VeskMkerr(nullptr, &r.err, 0, 0, 0, 0, code, 0, variant, arg);
    return r.buf;
}

TEST(ErrorService, ModuleTablesComeAndGoWithoutDisturbingTheStockOnes) {
    ModuleTable t;
    EXPECT_EQ(_VeskAddetab(nullptr, 0, t.rows), 0);
    EXPECT_EQ(_VeskAddetab(nullptr, 5, nullptr), 0);
    EXPECT_EQ(sentence(0x7701, 1), "");

    EXPECT_EQ(_VeskAddetab(nullptr, 5, t.rows), 0);  // stops at the end row
    EXPECT_EQ(sentence(0x7701, 1), "m: module failure.");
    EXPECT_EQ(VeskStatus2unix(nullptr, 0x7701), EDOM);
    EXPECT_EQ(VeskStatus2unix(nullptr, 0x7702), -1) << "a row with count 0 never enters";
    EXPECT_EQ(VeskStatus2unix(nullptr, 0x7703), -1) << "nothing behind the end row";

    EXPECT_EQ(_VeskRmetab_nlk(nullptr, 5, t.rows), 0);
    EXPECT_EQ(sentence(0x7701, 0), "");
    EXPECT_EQ(_VeskRmetab(nullptr, 5, t.rows), 0) << "removing what isn't there is harmless";

    EXPECT_EQ(sentence(33281, 1, "/p"), "/p: no such file or directory.");
}

// Depth of `target` in the subtree under `n` (the root is 0), or -1.
int depth_of(const NuRTBTNode *n, const NuRTBTNode *target, int depth = 0) {
    if (n == nullptr)
        return -1;
    if (n == target)
        return depth;
    const int left = depth_of(n->left, target, depth + 1);
    if (left >= 0)
        return left;
    return (n->flags & NU_RTBT_RTHREAD) ? -1 : depth_of(n->right, target, depth + 1);
}

// Tables of one code each, added and removed one by one: whatever rotations
// move them about, a report reads the twin that lies nearest the root.
TEST(ErrorService, ATwinCodeIsReadFromTheRowNearestTheRoot) {
    const VeskOid set = VESK_OID3(3, VESK_ERR_FAMILY, 15);
    auto *svc =
        static_cast<VeskErrService *>(VeskLookupPOD(_G_error_service_default, &set, nullptr));
    ASSERT_NE(svc, nullptr);
    constexpr int kTwins = 6;
    const char *texts[kTwins] = {"Twin 0.", "Twin 1.", "Twin 2.", "Twin 3.", "Twin 4.", "Twin 5."};
    VeskErrEntry twins[kTwins][1];
    for (int i = 0; i < kTwins; ++i)
        twins[i][0] = {0x7701, EIO, texts[i], 1, {}};

    // The sentence of the shallowest twin still in the tree.
    auto nearest = [&](int from, int to) {
        int best = from, best_depth = 1 << 30, at_best = 0;
        for (int i = from; i < to; ++i) {
            const int d = depth_of(svc->tree.root, &twins[i][0].node);
            EXPECT_GE(d, 0) << "twin " << i << " is in the tree";
            if (d >= 0 && d < best_depth) {
                best = i;
                best_depth = d;
                at_best = 0;
            }
            at_best += d == best_depth;
        }
        // Rows of one code lie side by side in order, so their common
        // ancestor is one of them: the shallowest is unique.
        EXPECT_EQ(at_best, 1);
        return std::string(texts[best]);
    };
    for (int i = 0; i < kTwins; ++i) {
        ASSERT_EQ(_VeskAddetab(nullptr, 1, twins[i]), 0);
        EXPECT_EQ(sentence(0x7701, 0), nearest(0, i + 1)) << "after adding " << i;
    }
    for (int i = 0; i + 1 < kTwins; ++i) {
        ASSERT_EQ(_VeskRmetab(nullptr, 1, twins[i]), 0);
        EXPECT_EQ(depth_of(svc->tree.root, &twins[i][0].node), -1);
        EXPECT_EQ(sentence(0x7701, 0), nearest(i + 1, kTwins)) << "after removing " << i;
    }
    ASSERT_EQ(_VeskRmetab(nullptr, 1, twins[kTwins - 1]), 0);
    EXPECT_EQ(sentence(0x7701, 0), "");
}

TEST(ErrorService, TablesChangeWhileOtherThreadsReport) {
    std::atomic<bool> done{false};
    std::vector<std::thread> reporters;
    for (int i = 0; i < 2; ++i)
        reporters.emplace_back([&] {
            while (!done.load(std::memory_order_relaxed)) {
                Report r;
                VeskMkerr(nullptr, &r.err, 0, 0, 0, 104, 33281, 2, 1, "/p");
                ASSERT_STREQ(r.buf, "/p: no such file or directory.");
            }
        });
    ModuleTable t;
    for (int i = 0; i < 2000; ++i) {
        ASSERT_EQ(_VeskAddetab(nullptr, 4, t.rows), 0);
        ASSERT_EQ(_VeskRmetab(nullptr, 4, t.rows), 0);
    }
    done = true;
    for (auto &r : reporters)
        r.join();
}

}  // namespace
