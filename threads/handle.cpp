// SPDX-License-Identifier: MIT
// Handles of the process-wide family, shared by mutexes and conditions: one
// word that points to a shared block, 0 when there is none.
#include <cerrno>

#include "handle.hpp"
#include "report.hpp"

namespace vesk::threads {

int64_t init_handle(uintptr_t *handle, BlockKind kind, const NuPMutexattr *attr, VeskErr *err) {
    *handle = 0;
    SharedBlock *b = open_block(kind, attr != nullptr ? attr->name : nullptr);
    if (b == nullptr)
        return report_system(err, errno);
    *handle = reinterpret_cast<uintptr_t>(b);
    return 0;
}

int64_t destroy_handle(uintptr_t *handle) {
    const uintptr_t h = *handle;
    if (h == 0)
        return 0;
    *handle = 0;
    close_block(block_of(h));
    return 0;
}

}  // namespace vesk::threads
