// Start-up records through the exported functions, with records of the
// test's own. The library's own chain ran at load; a child process stops it,
// adds its records and runs the chain again.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "vesk.h"

namespace {

std::string trace;  // what the records did, in order

int32_t start_log(uintptr_t arg) {
    trace += static_cast<char>(arg);
    return static_cast<char>(arg) == 'F' ? 9 : 0;
}
int32_t stop_log(uintptr_t arg) {
    trace += static_cast<char>(arg);
    return 0;
}
int32_t start_fails(uintptr_t arg) {
    trace += static_cast<char>(arg);
    return -5;
}

VeskStartRec record(int32_t order, char start, char stop) {
    VeskStartRec r{VESK_START_MAGIC, order, nullptr, 0, nullptr, 0, {}, nullptr, nullptr};
    if (start != 0) {
        r.start = start_log;
        r.start_arg = static_cast<unsigned char>(start);
    }
    if (stop != 0) {
        r.stop = stop_log;
        r.stop_arg = static_cast<unsigned char>(stop);
    }
    return r;
}

#define CHILD_CHECK(cond)                                                                \
    do {                                                                                 \
        if (!(cond)) {                                                                   \
            std::fprintf(stderr, "check failed: %s (line %d), trace \"%s\"\n", #cond,     \
                         __LINE__, trace.c_str());                                       \
            std::exit(1);                                                                \
        }                                                                                \
    } while (0)

void run_order_and_stop_order() {
    // Orders around the library's own records (0, 1 and 100).
    static VeskStartRec a = record(50, 'A', 'a'), b = record(50, 'B', 'b'),
                        c = record(55, 0, 'c'),  // no start: never started, never stopped
                        e = record(40, 'E', 0), f = record(150, 'F', 'f'),
                        g = record(-3, 'G', 'g');
    VeskStartStop();
    VeskStartStop();  // a second stop does nothing
    for (VeskStartRec *r : {&a, &b, &c, &e, &f, &g})
        VeskStartAdd(r);

    CHILD_CHECK(VeskStartRun() == 9);  // the last start's result: F, after the bootstrap
    CHILD_CHECK(trace == "GEABF");     // equal orders in the order they were added
    CHILD_CHECK(VeskStartRun() == 0);  // a second run starts nothing
    CHILD_CHECK(trace == "GEABF");

    trace.clear();
    VeskStartStop();
    CHILD_CHECK(trace == "fbag");  // reverse of the start order; c never started
    VeskStartStop();
    CHILD_CHECK(trace == "fbag");
    std::exit(0);
}

void run_stops_at_a_failing_start() {
    static VeskStartRec early = record(20, 'X', 'x'), late = record(80, 'Y', 'y');
    static VeskStartRec failing{VESK_START_MAGIC, 60, start_fails, 'Z', stop_log, 'z', {},
                                nullptr, nullptr};
    VeskStartStop();
    for (VeskStartRec *r : {&early, &failing, &late})
        VeskStartAdd(r);
    CHILD_CHECK(VeskStartRun() == -5);
    CHILD_CHECK(trace == "XZ");  // nothing after the failure starts
    trace.clear();
    VeskStartStop();
    CHILD_CHECK(trace == "x");  // the failed record was not started
    std::exit(0);
}

class StartChain : public ::testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(StartChain, RunsByOrderAndStopsInReverse) {
    EXPECT_EXIT(run_order_and_stop_order(), ::testing::ExitedWithCode(0), "");
}

TEST_F(StartChain, AFailingStartEndsTheRun) {
    EXPECT_EXIT(run_stops_at_a_failing_start(), ::testing::ExitedWithCode(0), "");
}

TEST(Bootstrap, TheRuntimeIsUpAtLoad) {
    // The stub module is linked and registered before the program's first call.
    VeskModule *stub = _VeskVgetmodule(1, -1);
    ASSERT_NE(stub, nullptr);
    EXPECT_STREQ(VeskObjectLongkey(stub), "modules/stub");
    EXPECT_EQ(stub->rec.kind, VESK_KIND_MODULE);
    EXPECT_EQ(stub->loads, 1u);
    EXPECT_EQ(stub->handle, nullptr);
    EXPECT_EQ(_G_mld_load_debug_only, 1);

    const VeskOid stub_class_key = VESK_OID2(4, 1);
    void *cls = _VeskGetcobject(&stub_class_key, nullptr);
    ASSERT_NE(cls, nullptr);
    EXPECT_EQ(VeskModuleof(cls), stub);
}

}  // namespace
