// A status record with a message buffer, as a caller who wants the sentence
// sets one up; the linking of a test's own module, as a loader does it; and
// checks run in a fresh process, for state a process keeps once it is set.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "vesk.h"

// In a child process: the first check that fails is told on stderr, and the
// child ends with 1.
#define CHILD_CHECK(cond)                                                          \
    do {                                                                           \
        if (!(cond)) {                                                             \
            std::fprintf(stderr, "check failed: %s (line %d)\n", #cond, __LINE__); \
            std::exit(1);                                                          \
        }                                                                          \
    } while (0)

namespace vesk_test {

struct Status {
    char buf[256] = {};
    VeskErr err{};
    Status() {
        err.msg = buf;
        err.msgsize = sizeof buf;
    }
};

// The three linking steps on a module of the test's own. The module gets a
// file handle of sorts, so that it can be unloaded again like a plug-in.
inline void link_module(VeskModule *module) {
    static int file_stand_in;
    module->handle = &file_stand_in;
    ASSERT_GE(_VeskModDescribe(module, nullptr), 0);
    ASSERT_EQ(_VeskModRegister(module, nullptr), 1);
    ASSERT_EQ(_VeskModPlug(module, nullptr), 1) << "everything it imports is there";
}

// Runs `body` in a process of its own (a "threadsafe" death test re-executes
// the program for just this call); it passes when the body's CHILD_CHECKs hold.
template <class Body>
void expect_in_fresh_process(Body body) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT((body(), std::exit(0)), ::testing::ExitedWithCode(0), "");
}

}  // namespace vesk_test
