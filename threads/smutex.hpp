// SPDX-License-Identifier: MIT
// What the in-process conditions need of the in-process lock: to leave it
// completely for a wait and to take it back as deep as before.
#pragma once

#include <cstdint>

#include "nu.h"

namespace vesk::threads {

// Gives the lock up whatever its depth; the depth, for smutex_retake.
uint32_t smutex_leave(NuSMutex *mutex);
void smutex_retake(NuSMutex *mutex, uint32_t depth);

}  // namespace vesk::threads
