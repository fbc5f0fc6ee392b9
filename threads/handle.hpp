// SPDX-License-Identifier: MIT
// Handles of the process-wide family: one word pointing to a shared block.
#pragma once

#include "nu.h"
#include "shared_block_posix.hpp"

namespace vesk::threads {

inline SharedBlock *block_of(uintptr_t handle) { return reinterpret_cast<SharedBlock *>(handle); }

// Creates or opens the block for a handle; the handle holds 0 until it works.
int64_t init_handle(uintptr_t *handle, BlockKind kind, const NuPMutexattr *attr, VeskErr *err);

// The record is emptied before the block is let go, so that a second destroy
// finds 0 and does nothing.
int64_t destroy_handle(uintptr_t *handle);

}  // namespace vesk::threads
