// SPDX-License-Identifier: MIT
// Log messages: the standard attributes in their places and their three
// kinds of value, the dictionary behind them, the list view, copies, the
// reference count on racing threads, and every failing allocation.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "support/failing_alloc.hpp"
#include "support/status.hpp"
#include "vesk.h"

// The copies of standard values are strdup blocks. This program takes the C
// library's strdup over (the library's call binds to it), so that a copy can
// be made to fail; otherwise it does what strdup does.
static std::atomic<int> failing_strdups{0};
extern "C" char *strdup(const char *s) noexcept {
    if (failing_strdups.load() > 0) {
        --failing_strdups;
        return nullptr;
    }
    const size_t size = std::strlen(s) + 1;
    auto *copy = static_cast<char *>(std::malloc(size));
    if (copy != nullptr)
        std::memcpy(copy, s, size);
    return copy;
}

namespace {

using vesk_test::expect_in_fresh_process;
using vesk_test::expect_report;
using vesk_test::FailingAlloc;
using vesk_test::Status;

const char *const kStdKeys[] = {"Ident", "Facility", "Time", "Host", "Sender",
                                "PID",   "UID",      "GID",  "Level", "Message"};

struct Msg {
    VeskLogmsg *m = VeskLogmsgOpen(nullptr);
    ~Msg() { VeskLogmsgClose(m, nullptr); }
};

TEST(Logmsg, NamesOfLevelsAndStandardAttributes) {
    const char *const levels[] = {"Emergency", "Alert", "Critical", "Error",
                                  "Warning",   "Notice", "Info",    "Debug"};
    for (int32_t i = 0; i < 8; ++i)
        EXPECT_STREQ(VeskLogLevelname(i), levels[i]);
    for (int32_t outside : {8, -1, INT32_MIN, INT32_MAX})
        EXPECT_STREQ(VeskLogLevelname(outside), "");
    const uint16_t masks[] = {1, 2, 16, 32, 64, 128, 256, 512, 1024, 2048};
    for (int i = 0; i < 10; ++i)
        EXPECT_STREQ(VeskLogStdattrname(masks[i]), kStdKeys[i]);
    for (uint16_t other : {0, 3, 4, 8, 3072, 4096, 0xFFFF})
        EXPECT_STREQ(VeskLogStdattrname(other), "") << other;
}

TEST(Logmsg, AFreshMessageListsTheTenStandardAttributesUnset) {
    Msg msg;
    ASSERT_NE(msg.m, nullptr);
    EXPECT_EQ(msg.m->retain, 1);
    ASSERT_EQ(VeskLogmsgCount(msg.m), 10);
    for (int32_t i = 0; i < 10; ++i) {
        const char *key = nullptr, *value = "unset?";
        ASSERT_EQ(VeskLogmsgGet(msg.m, i, &key, &value, nullptr), 0);
        EXPECT_STREQ(key, kStdKeys[i]);
        EXPECT_EQ(value, nullptr);
        EXPECT_EQ(VeskLogmsgKey(msg.m, i, nullptr), key);
    }
}

TEST(Logmsg, StandardKeysAreExactAndTheirValuesOfThreeKinds) {
    Msg a, b;
    Status s;
    ASSERT_EQ(VeskLogmsgAdd(a.m, "Level", nullptr, &s.err), 0);
    ASSERT_EQ(VeskLogmsgAdd(b.m, "Level", "", &s.err), 0);
    EXPECT_STREQ(VeskLogmsgValue(a.m, "Level", &s.err), "");
    EXPECT_EQ(VeskLogmsgValue(a.m, "Level", &s.err), VeskLogmsgValue(b.m, "Level", &s.err))
        << "one shared empty string";
    EXPECT_EQ(VeskLogmsgAdd(a.m, "Level", "3", &s.err), -1);
    expect_report(s.err, VESK_FAC_LOGMSG, VESK_E_ENTRYEXISTS, 0, 1, "Level: such entry already exists.");
    ASSERT_EQ(VeskLogmsgReplace(a.m, "Level", "3", &s.err), 0);
    const char *three = VeskLogmsgValue(a.m, "Level", &s.err);
    EXPECT_STREQ(three, "3");
    ASSERT_EQ(VeskLogmsgReplace(a.m, "Level", three, &s.err), 0) << "its own value";
    EXPECT_STREQ(VeskLogmsgValue(a.m, "Level", &s.err), "3");

    // Near misses of a standard key are ordinary attributes.
    for (const char *other : {"level", "Levels", "Leve", "L", "", "MessagE"})
        ASSERT_EQ(VeskLogmsgAdd(a.m, other, other, &s.err), 0) << other;
    EXPECT_EQ(VeskLogmsgCount(a.m), 16);
    EXPECT_STREQ(VeskLogmsgValue(a.m, "level", &s.err), "level");
    EXPECT_EQ(VeskLogmsgValue(a.m, "Message", &s.err), nullptr);

    // Remove: a standard key twice is no failure; a missing dictionary key is.
    EXPECT_EQ(VeskLogmsgRemove(a.m, "Level", &s.err), 0);
    EXPECT_EQ(VeskLogmsgRemove(a.m, "Level", &s.err), 0);
    EXPECT_EQ(VeskLogmsgValue(a.m, "Level", &s.err), nullptr);
    EXPECT_EQ(VeskLogmsgRemove(a.m, "nope", &s.err), -1);
    expect_report(s.err, 0, VESK_E_NOMATCH, 0, 2, "nope: name does not match the name of any entry.");
    Status miss;
    EXPECT_EQ(VeskLogmsgValue(a.m, "nope", &miss.err), nullptr);
    expect_report(miss.err, 0, VESK_E_NOMATCH, 0, 2, "nope: name does not match the name of any entry.");
}

TEST(Logmsg, TheDictionaryFollowsTheStandardAttributesInTheList) {
    Msg msg;
    Status s;
    ASSERT_EQ(VeskLogmsgAdd(msg.m, "x", "1", &s.err), 0);
    ASSERT_EQ(VeskLogmsgAdd(msg.m, "y", nullptr, &s.err), 0);
    EXPECT_EQ(VeskLogmsgAdd(msg.m, "x", "2", &s.err), -1);
    expect_report(s.err, 0, VESK_E_ENTRYEXISTS, 0, 1, "x: such entry already exists.");
    ASSERT_EQ(VeskLogmsgCount(msg.m), 12);
    EXPECT_STREQ(VeskLogmsgKey(msg.m, 10, &s.err), "x");
    const char *key = nullptr, *value = nullptr;
    ASSERT_EQ(VeskLogmsgGet(msg.m, 11, &key, &value, &s.err), 0);
    EXPECT_STREQ(key, "y");
    EXPECT_STREQ(value, "") << "a null value counts as the empty string";
    ASSERT_EQ(VeskLogmsgReplace(msg.m, "x", "3", &s.err), 0);
    EXPECT_STREQ(VeskLogmsgKey(msg.m, 11, &s.err), "x") << "a replaced entry moves last";

    struct Outside {
        int32_t index;
        bool get;
        const char *text;
    };
    for (const Outside &o : {Outside{12, true, "msglog:get(@index): invalid argument."},
                             Outside{-1, true, "msglog:get(@index): invalid argument."},
                             Outside{12, false, "msglog:key(@index): invalid argument."},
                             Outside{INT32_MIN, false, "msglog:key(@index): invalid argument."}}) {
        Status out;
        if (o.get) {
            EXPECT_EQ(VeskLogmsgGet(msg.m, o.index, &key, &value, &out.err), -1);
        } else {
            EXPECT_EQ(VeskLogmsgKey(msg.m, o.index, &out.err), nullptr);
        }
        expect_report(out.err, VESK_FAC_LOGMSG, VESK_E_INVAL, 0, 3, o.text);
    }
}

TEST(Logmsg, DupAndCopyMakePrivateCopiesAndClearKeepsTheRoom) {
    Msg src;
    ASSERT_EQ(VeskLogmsgAdd(src.m, "Host", "h", nullptr), 0);
    ASSERT_EQ(VeskLogmsgAdd(src.m, "Ident", "", nullptr), 0);
    for (const char *k : {"a", "b", "c"})
        ASSERT_EQ(VeskLogmsgAdd(src.m, k, k, nullptr), 0);
    VeskLogmsgRetain(src.m);
    VeskLogmsg *dup = VeskLogmsgDup(src.m, nullptr);
    ASSERT_NE(dup, nullptr);
    EXPECT_EQ(dup->retain, 1);
    EXPECT_EQ(dup->dic.capacity, 3u);
    EXPECT_EQ(VeskLogmsgCount(dup), 13);
    for (int32_t i = 0; i < 13; ++i) {
        const char *k1, *v1, *k2, *v2;
        ASSERT_EQ(VeskLogmsgGet(src.m, i, &k1, &v1, nullptr), 0);
        ASSERT_EQ(VeskLogmsgGet(dup, i, &k2, &v2, nullptr), 0);
        EXPECT_STREQ(k1, k2);
        EXPECT_STREQ(v1, v2);
        if (i < 10) {
            EXPECT_EQ(k1, k2) << "standard keys come from one table";
        }
        if (v1 != nullptr && *v1 != 0) {
            EXPECT_NE(v1, v2) << "a value of its own";
        }
    }
    EXPECT_EQ(dup->std[0].value, src.m->std[0].value) << "the shared empty string";

    // Clear keeps the array, and a copy onto the cleared message reuses it.
    ASSERT_EQ(VeskLogmsgClear(dup), 0);
    EXPECT_EQ(VeskLogmsgCount(dup), 10);
    EXPECT_EQ(dup->std[3].value, nullptr);
    EXPECT_EQ(dup->retain, 1);
    EXPECT_EQ(dup->dic.capacity, 3u);
    ASSERT_EQ(VeskLogmsgRemove(src.m, "c", nullptr), 0);
    ASSERT_EQ(VeskLogmsgCopy(src.m, dup, nullptr), 0);
    EXPECT_EQ(VeskLogmsgCount(dup), 12);
    EXPECT_EQ(dup->dic.capacity, 2u) << "the room resized, not left behind";
    EXPECT_STREQ(VeskLogmsgValue(dup, "Host", nullptr), "h");

    Status self;
    EXPECT_EQ(VeskLogmsgCopy(dup, dup, &self.err), -1);
    expect_report(self.err, VESK_FAC_LOGMSG, VESK_E_INVAL, EINVAL, 3, "msglog:copy(@destination): invalid argument.");
    EXPECT_EQ(VeskLogmsgRelease(dup, 0, nullptr), 0);
    EXPECT_EQ(VeskLogmsgRelease(src.m, 0, nullptr), 1);
}

TEST(Logmsg, TheCountStopsBelowItsLimitAndAMessageGoesAtZero) {
    VeskLogmsg *msg = VeskLogmsgOpen(nullptr);
    ASSERT_EQ(VeskLogmsgAdd(msg, "Message", "m", nullptr), 0);
    ASSERT_EQ(VeskLogmsgAdd(msg, "k", "v", nullptr), 0);
    EXPECT_EQ(VeskLogmsgRetain(msg), 2);
    EXPECT_EQ(VeskLogmsgRelease(msg, 0, nullptr), 1);
    msg->retain = 0x7ffffffd;
    EXPECT_EQ(VeskLogmsgRetain(msg), 0x7ffffffe);
    EXPECT_EQ(VeskLogmsgRetain(msg), -1);
    EXPECT_EQ(msg->retain, 0x7ffffffe) << "unchanged at the limit";
    msg->retain = 1;
    EXPECT_EQ(VeskLogmsgRelease(msg, 0, nullptr), 0);  // freed with all it holds (the leak check sees)

    VeskLogmsg held{};  // a count of 0 that no Open gave
    EXPECT_EQ(VeskLogmsgRelease(&held, 0, nullptr), -1);
    EXPECT_EQ(held.retain, -1);
    EXPECT_EQ(VeskLogmsgClose(nullptr, nullptr), 0);
}

// Threads take and drop references on one message while reading it; each
// thread then drops the one it was given, and exactly one of them frees it.
TEST(Logmsg, ReferenceCountsRaceWithoutLosingOrFreeingTwice) {
    constexpr int kThreads = 4, kRounds = 20000;
    VeskLogmsg *msg = VeskLogmsgOpen(nullptr);
    ASSERT_EQ(VeskLogmsgAdd(msg, "Message", "shared", nullptr), 0);
    ASSERT_EQ(VeskLogmsgAdd(msg, "extra", "x", nullptr), 0);
    for (int i = 1; i < kThreads; ++i)
        ASSERT_EQ(VeskLogmsgRetain(msg), i + 1);
    std::atomic<int> zeros{0}, bad{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&] {
            for (int r = 0; r < kRounds; ++r) {
                if (VeskLogmsgRetain(msg) < 2 || std::strcmp(VeskLogmsgValue(msg, "extra", nullptr), "x") != 0)
                    ++bad;
                if (VeskLogmsgRelease(msg, 0, nullptr) < 1)
                    ++bad;
            }
            if (std::strcmp(VeskLogmsgValue(msg, "Message", nullptr), "shared") != 0)
                ++bad;
            if (VeskLogmsgRelease(msg, 0, nullptr) == 0)
                ++zeros;
        });
    for (std::thread &t : threads)
        t.join();
    EXPECT_EQ(bad.load(), 0);
    EXPECT_EQ(zeros.load(), 1);
}

// Every allocation fails in turn, through the allocator table.
TEST(Logmsg, FailedAllocationsLoseNothingAndLeaveTheFirstReport) {
    expect_in_fresh_process([] {
        FailingAlloc::install();
        FailingAlloc::fail_at(1);
        Status s;
        CHILD_CHECK(VeskLogmsgOpen(&s.err) == nullptr);
        CHILD_CHECK(s.err.status == VESK_E_NOMEM && s.err.variant == 1);
        CHILD_CHECK(std::string(s.buf) == "_S_malloc.mm_alloc: operation failure: can not perform local memory allocation.");

        VeskLogmsg *msg = VeskLogmsgOpen(nullptr);
        // A standard value that can't be copied stays unset, and the call succeeds.
        failing_strdups = 1;
        CHILD_CHECK(VeskLogmsgAdd(msg, "Host", "h", nullptr) == 0 && msg->std[3].value == nullptr);
        failing_strdups = 1;
        CHILD_CHECK(VeskLogmsgReplace(msg, "Level", "7", nullptr) == 0 && msg->std[8].value == nullptr);
        CHILD_CHECK(VeskLogmsgAdd(msg, "Host", "h", nullptr) == 0);
        CHILD_CHECK(VeskLogmsgAdd(msg, "Ident", "", nullptr) == 0);  // shared: nothing to copy
        FailingAlloc::fail_at(1);
        Status add;
        CHILD_CHECK(VeskLogmsgAdd(msg, "k", "v", &add.err) == -1 && VeskLogmsgCount(msg) == 10);
        CHILD_CHECK(std::string(add.buf) == "@dic.add: operation failure: can not perform local memory allocation.");
        FailingAlloc::fail_at(2);  // the entry is made, the array can't grow
        CHILD_CHECK(VeskLogmsgAdd(msg, "k", "v", &add.err) == -1 && VeskLogmsgCount(msg) == 10);
        FailingAlloc::never();
        for (const char *k : {"a", "b"})
            CHILD_CHECK(VeskLogmsgAdd(msg, k, k, nullptr) == 0);
        const long held = FailingAlloc::live;

        // Dup: the block, the array, two entries; then the Host copy.
        for (int n = 1;; ++n) {
            FailingAlloc::fail_at(n);
            Status d;
            d.err.status = 12345;
            VeskLogmsg *dup = VeskLogmsgDup(msg, &d.err);
            if (!FailingAlloc::fired) {
                CHILD_CHECK(dup != nullptr && VeskLogmsgCount(dup) == 12 && n == 5);
                VeskLogmsgRelease(dup, 0, nullptr);
                CHILD_CHECK(FailingAlloc::live == held);
                break;
            }
            CHILD_CHECK(dup == nullptr);
            CHILD_CHECK(d.err.status == (n == 1 ? VESK_E_NOMEM : 12345));  // only the block is reported
            CHILD_CHECK(FailingAlloc::live == held);
        }
        FailingAlloc::never();
        failing_strdups = 1;
        VeskLogmsg *dup = VeskLogmsgDup(msg, nullptr);
        CHILD_CHECK(dup != nullptr && dup->std[3].value == nullptr && VeskLogmsgCount(dup) == 12);
        CHILD_CHECK(std::string(dup->std[0].value).empty());
        VeskLogmsgRelease(dup, 0, nullptr);

        // Copy onto a fresh message: -1 with the destination cleared, no report.
        VeskLogmsg *dst = VeskLogmsgOpen(nullptr);
        FailingAlloc::fail_at(2);  // the array, then the first entry
        Status c;
        c.err.status = 12345;
        CHILD_CHECK(VeskLogmsgCopy(msg, dst, &c.err) == -1 && c.err.status == 12345);
        CHILD_CHECK(VeskLogmsgCount(dst) == 10 && dst->std[3].value == nullptr && dst->dic.capacity == 2);
        VeskLogmsgRelease(dst, 0, nullptr);
        VeskLogmsgRelease(msg, 0, nullptr);
        CHILD_CHECK(FailingAlloc::live == 0);
    });
}

}  // namespace
