// SPDX-License-Identifier: MIT
// A light semaphore's step list, worked out once before the lock is taken, so
// that under the lock the test is a comparison or two and the change one sum.
#pragma once

#include <cstdint>

namespace vesk::threads {

inline constexpr int64_t kLSemMax = 0x7FFFFFFF;
inline constexpr uint32_t kLSemMaxSteps = 128;

struct StepList {
    int64_t need = 0;   // the least value at which the list can run
    int64_t total = 0;  // the plain sum of all steps: the change it makes
    bool exact = false; // the value must be exactly `need` (a zero step fixed it)
};

enum class StepCheck { ok, too_many, null_array, refused };

// A positive step adds, a negative one takes away and may not go below 0, a
// zero step needs the value to be 0 at that point.
StepCheck prepare_steps(uint32_t opc, const int32_t *opv, StepList &list);

// Whether the list can run on `value` now. Beyond `need`, the value it leaves
// must stay within the semaphore's range, so that an increase past the top
// waits like a decrease below 0 does.
inline bool fits(int64_t value, const StepList &list) {
    if (list.exact ? value != list.need : value < list.need)
        return false;
    return value + list.total <= kLSemMax;
}

}  // namespace vesk::threads
