// SPDX-License-Identifier: MIT
// The check of a step list: one pass that finds the least value the list
// needs, whether a zero step pins that value exactly, and the lists that can
// never run.
#include "lsem_steps.hpp"

namespace vesk::threads {

StepCheck prepare_steps(uint32_t opc, const int32_t *opv, StepList &list) {
    if (opc > kLSemMaxSteps)
        return StepCheck::too_many;
    if (opv == nullptr)
        return StepCheck::null_array;
    // `sum` runs from the start, or from the last zero step once `exact`;
    // at most 128 steps of 32 bits, so 64 bits never overflow.
    int64_t sum = 0, need = 0, total = 0;
    bool exact = false, rose = false;
    for (uint32_t i = 0; i < opc; ++i) {
        const int64_t s = opv[i];
        total += s;
        if (s >= 0 && kLSemMax - s < sum)
            return StepCheck::refused;
        sum += s;
        if (exact && sum < 0)
            return StepCheck::refused;
        if (!exact && s < 0 && sum + need < 0)
            need = -sum;
        if (s == 0) {
            if (exact) {
                if (sum != 0)
                    return StepCheck::refused;
            } else {
                // Straight after an increase the value cannot be 0; and it is
                // 0 here only if the list found exactly `need`.
                if ((sum != 0 && rose) || sum + need != 0)
                    return StepCheck::refused;
                exact = true;
                sum = 0;
            }
        }
        rose = s > 0;
    }
    if (kLSemMax - need < sum)
        return StepCheck::refused;
    // A list that needs more than the largest value would wait for ever.
    if (need > kLSemMax)
        return StepCheck::refused;
    list = {need, total, exact};
    return StepCheck::ok;
}

}  // namespace vesk::threads
