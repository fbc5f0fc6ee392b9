// SPDX-License-Identifier: MIT
// Start-up records through the exported functions, with records of the
// test's own. The library's own chain ran at load; a child process stops it,
// adds its records and runs the chain again.
#include <gtest/gtest.h>

#include <string>

#include "support/status.hpp"
#include "vesk.h"

namespace {

std::string trace;  // what the records did, in order

int32_t start_log(uintptr_t arg) {
    trace += static_cast<char>(arg);
    return static_cast<char>(arg) == 'F' ? 9 : 0;
}
int32_t stop_log(uintptr_t arg) { return trace += static_cast<char>(arg), 0; }
int32_t start_fails(uintptr_t arg) { return trace += static_cast<char>(arg), -5; }

VeskStartRec record(int32_t order, char start, char stop) {  // 0: no such function
    return {VESK_START_MAGIC, order, start ? start_log : nullptr, static_cast<unsigned char>(start),
            stop ? stop_log : nullptr, static_cast<unsigned char>(stop), {}, nullptr, nullptr};
}

TEST(StartChain, RunsByOrderAndStopsInReverse) {
    vesk_test::expect_in_fresh_process([] {
        // Orders around the library's own records (0, 1, 100, 101, 201, 202).
        static VeskStartRec a = record(50, 'A', 'a'), b = record(50, 'B', 'b'),
                            c = record(55, 0, 'c'),  // no start: never started, never stopped
                            e = record(40, 'E', 0), f = record(300, 'F', 'f'),
                            g = record(-3, 'G', 'g');
        VeskStartStop();
        VeskStartStop();  // a second stop does nothing
        for (VeskStartRec *r : {&a, &b, &c, &e, &f, &g})
            VeskStartAdd(r);
        CHILD_CHECK(VeskStartRun() == 9);  // the last start's result: F, after the bootstrap
        CHILD_CHECK(trace == "GEABF");     // equal orders in the order they were added
        CHILD_CHECK(VeskStartRun() == 0 && trace == "GEABF");  // a second run starts nothing
        trace.clear();
        VeskStartStop();
        CHILD_CHECK(trace == "fbag");  // reverse of the start order; c never started
        VeskStartStop();
        CHILD_CHECK(trace == "fbag");
    });
}

TEST(StartChain, AFailingStartEndsTheRun) {
    vesk_test::expect_in_fresh_process([] {
        static VeskStartRec early = record(20, 'X', 'x'), late = record(80, 'Y', 'y');
        static VeskStartRec failing{VESK_START_MAGIC, 60, start_fails, 'Z', stop_log, 'z', {},
                                    nullptr, nullptr};
        VeskStartStop();
        for (VeskStartRec *r : {&early, &failing, &late})
            VeskStartAdd(r);
        CHILD_CHECK(VeskStartRun() == -5 && trace == "XZ");  // nothing after the failure starts
        trace.clear();
        VeskStartStop();
        CHILD_CHECK(trace == "x");  // the failed record was not started
    });
}

}  // namespace
