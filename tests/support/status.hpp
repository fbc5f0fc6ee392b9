// SPDX-License-Identifier: MIT
// Shared by every test program: a status record with a message buffer, as a
// caller who wants the sentence sets one up; the exact check of a report; the
// linking of a test's own module, as a loader does it; and checks run in a
// fresh process, for state a process keeps once it is set.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>

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

// The buffer is prefilled with `fill`, so that a write past `size` shows.
struct Status {
    char buf[256];
    VeskErr err{};
    explicit Status(uint32_t size = sizeof buf, char fill = 0) {
        std::memset(buf, fill, sizeof buf);
        err.msg = buf;
        err.msgsize = size;
    }
};

// The report a caller relies on: facility and code in the status word (sign
// extended), syserr, variant, and the sentence unless `text` is null.
inline void expect_report(const VeskErr &e, int32_t facility, int32_t code, int32_t syserr,
                          uint32_t variant, const char *text = nullptr) {
    EXPECT_EQ(e.status, int32_t((uint32_t(facility) << 16) | (uint32_t(code) & 0xFFFFu)));
    EXPECT_EQ(e.syserr, syserr);
    EXPECT_EQ(e.variant, variant);
    EXPECT_STREQ(text != nullptr ? e.msg : nullptr, text);
}

// The three linking steps on a module of the test's own, with the sets and
// classes an on_link would name. The module gets a file handle of sorts, so
// that it can be unloaded again like a plug-in.
inline void link_module(VeskModule *module, std::span<VeskOps *> opsv = {},
                        std::span<VeskClass *> clsv = {}) {
    static int file_stand_in;
    module->handle = &file_stand_in;
    module->opsv = opsv.data(), module->opsc = uint32_t(opsv.size());
    module->clsv = clsv.data(), module->clsc = uint32_t(clsv.size());
    ASSERT_GE(_VeskModDescribe(module, nullptr), 0);
    ASSERT_EQ(_VeskModRegister(module, nullptr), 1);
    ASSERT_EQ(_VeskModPlug(module, nullptr), 1) << "everything it imports is there";
}

// on_link of a class whose element block lies right behind it.
inline int64_t push_block_behind(VeskRecord *rec, VeskErr *status) {
    auto *cls = reinterpret_cast<VeskClass *>(rec);
    return _VeskSelistPushback_nlk(&cls->selist, reinterpret_cast<VeskSeblock *>(cls + 1), status);
}

// Runs `body` in a process of its own (a "threadsafe" death test re-executes
// the program for just this call); it passes when the body's CHILD_CHECKs hold.
template <class Body>
void expect_in_fresh_process(Body body) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT((body(), std::exit(0)), ::testing::ExitedWithCode(0), "");
}

}  // namespace vesk_test
