// SPDX-License-Identifier: MIT
// Tables of hostile calls. Each case runs in a child process of its own with
// a time limit, so that a crash or a hang is one failed case; the child leaves
// what the call returned and what it put in a status record with a message
// buffer in memory shared with the parent, which checks both against the case.
#pragma once

#include <gtest/gtest.h>

#include <sys/mman.h>

#include <chrono>
#include <cstdio>
#include <functional>
#include <string>

#include "support/child.hpp"
#include "support/status.hpp"
#include "vesk.h"

namespace vesk_test {

// What a case expects in the record. A code of 0 means nothing is reported:
// the record keeps the value the child put there before the call.
struct Expected {
    int32_t facility = 0;
    int32_t code = 0;
    int32_t syserr = 0;
    uint32_t variant = 0;
    std::string message;
};

inline const Expected kNoReport{};

// The tail of the stock sentence of a null pointer (code 258) behind its names.
inline const char *const kFault =
    ": the argument points outside an allocated address space of the process.";

struct HostileCase {
    std::string name;
    // Makes the call with the record given, and answers with the result as a
    // number: a pointer as its address, so that null is 0.
    std::function<int64_t(VeskErr *)> call;
    int64_t result;
    Expected report;
};

// Generous, for a run under valgrind; a case that needs it has hung.
inline constexpr std::chrono::milliseconds kCaseLimit{30'000};

// A pointer result as the number a case compares.
inline int64_t address(const void *p) { return static_cast<int64_t>(reinterpret_cast<intptr_t>(p)); }

namespace hostile_detail {

inline constexpr int64_t kUntouched = -0x5EED;

// What the child saw, in memory it shares with the parent.
struct Seen {
    int done;
    int64_t result;
    int64_t status;
    int32_t syserr;
    uint32_t variant;
    char message[256];
};

class SharedSeen {
public:
    SharedSeen() {
        void *p = mmap(nullptr, sizeof(Seen), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                       -1, 0);
        seen_ = p == MAP_FAILED ? nullptr : static_cast<Seen *>(p);
        if (seen_ != nullptr)
            *seen_ = Seen{};
    }
    ~SharedSeen() {
        if (seen_ != nullptr)
            munmap(seen_, sizeof(Seen));
    }
    SharedSeen(const SharedSeen &) = delete;
    SharedSeen &operator=(const SharedSeen &) = delete;
    Seen *get() const { return seen_; }

private:
    Seen *seen_;
};

}  // namespace hostile_detail

inline void run_case(const HostileCase &c) {
    using namespace hostile_detail;
    SCOPED_TRACE(c.name);
    SharedSeen shared;
    Seen *seen = shared.get();
    ASSERT_NE(seen, nullptr) << "no shared memory for the child's answer";
    const ChildOutcome out = run_in_child(
        [&c, seen] {
            Status s;
            s.err.status = kUntouched;
            const int64_t r = c.call(&s.err);
            *seen = {1, r, s.err.status, s.err.syserr, s.err.variant, {}};
            std::snprintf(seen->message, sizeof seen->message, "%s", s.buf);
        },
        kCaseLimit);
    ASSERT_TRUE(out.ok()) << out.describe();
    ASSERT_EQ(seen->done, 1) << "the child ended without an answer";
    EXPECT_EQ(seen->result, c.result);
    if (c.report.code == 0) {
        EXPECT_EQ(seen->status, kUntouched) << "reported: " << seen->message;
        return;
    }
    EXPECT_EQ(VESK_STATUS_FACILITY(seen->status), c.report.facility);
    EXPECT_EQ(VESK_STATUS_CODE(seen->status), c.report.code);
    EXPECT_EQ(seen->syserr, c.report.syserr);
    EXPECT_EQ(seen->variant, c.report.variant);
    EXPECT_EQ(std::string(seen->message), c.report.message);
}

template <class Cases>
void run_cases(const Cases &cases) {
    for (const HostileCase &c : cases)
        run_case(c);
}

// A case that states its answer as a check of its own; false is a wrong answer.
struct HoldsCase {
    const char *name;
    bool (*holds)();
};

template <class Cases>
void run_holds(const Cases &cases) {
    for (const HoldsCase &c : cases) {
        const ChildOutcome out = run_in_child([&c] { return c.holds() ? 0 : 3; }, 2 * kCaseLimit);
        EXPECT_TRUE(out.ok()) << c.name << ": "
                              << (out.end == ChildOutcome::End::exited && out.number == 3
                                      ? std::string("wrong answer") : out.describe());
    }
}

inline std::string repeat(const std::string &piece, size_t times) {
    std::string s;
    s.reserve(piece.size() * times);
    for (size_t i = 0; i < times; ++i)
        s += piece;
    return s;
}

}  // namespace vesk_test
