// SPDX-License-Identifier: MIT
// Shared by the light-semaphore tests: a semaphore opened by name for the
// length of a test, and whether a name is still on the system.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "lock_support.hpp"
#include "nu.h"

namespace vesk_test {

inline bool lsem_name_exists(const std::string &name) {
    return access(("/dev/shm/vesk.lsem." + name).c_str(), F_OK) == 0;
}

inline int64_t open_lsem(NuLSem *sem, const std::string &name, uint32_t initial,
                         VeskErr *err = nullptr) {
    NuLSemattr attr;
    NuLSemattrInit(&attr);
    NuLSemattrSetshared(&attr, name.c_str());
    NuLSemattrSetinitvalue(&attr, initial);
    return NuLSemOpen2(sem, &attr, err);
}

// One handle for a test; the test checks that the name is gone afterwards.
struct LSem {
    NuLSem sem{};
    std::string name;
    LSem(const char *what, uint32_t initial) : name(unique_name(what)) {
        EXPECT_EQ(open_lsem(&sem, name, initial), 0);
    }
    ~LSem() {
        NuLSemClose(&sem);
        EXPECT_FALSE(lsem_name_exists(name)) << name << " left behind";
    }
    int32_t value() const { return NuLSemValue(&sem); }
};

}  // namespace vesk_test
