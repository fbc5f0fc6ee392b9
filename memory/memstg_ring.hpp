// SPDX-License-Identifier: MIT
// The ring of blocks that both storage kinds share: taking a block (a spare
// of the root first), giving one back to the root's sorted spares, and
// unwinding to a block or to an address.
#pragma once

#include <cstddef>
#include <cstdint>

#include "nu.h"

namespace vesk::memory {

inline constexpr size_t kBlockHeader = sizeof(NuMEMSTGBlock);
// The least a block takes from the heap, its header included.
inline constexpr size_t kLeastBlock = 0x10000;

inline NuMEMSTGBlock *as_block(NuMEMSTGLink *l) { return reinterpret_cast<NuMEMSTGBlock *>(l); }
inline char *bytes_of(NuMEMSTGLink *l) { return reinterpret_cast<char *>(as_block(l) + 1); }
inline size_t capacity_of(NuMEMSTGLink *l) { return as_block(l)->capacity; }
inline char *end_of(NuMEMSTGLink *l) { return bytes_of(l) + capacity_of(l); }
inline bool has_block(const NuMEMSTG *st) { return st->current != &st->blocks; }

// `p` rounded up to `alignment`, a power of two; false when that passes the
// end of the address space.
inline bool align_up(uintptr_t p, size_t alignment, uintptr_t &out) {
    return !__builtin_add_overflow(p, (0 - p) & (alignment - 1), &out);
}

inline bool is_power_of_two(size_t n) { return n != 0 && (n & (n - 1)) == 0; }

void open_ring(NuMEMSTG *st, NuMEMSTG *parent);

// A block of at least `need` bytes linked behind `current` and made current:
// the root's best spare, or a new one from the heap. Null after the heap's
// report (code 32773), the storage unchanged.
NuMEMSTGLink *take_block(NuMEMSTG *st, size_t need, VeskErr *status);

// Gives `current` back to the root and makes its predecessor current.
void give_back_current(NuMEMSTG *st);

// The block in use (from `current` back to the oldest) holding `address`
// between its first byte and its end, or null.
NuMEMSTGLink *block_holding(NuMEMSTG *st, const void *address);

// Whether `mark` is the ring head or a block in use.
bool in_use(NuMEMSTG *st, const NuMEMSTGLink *mark);

// Gives back every block newer than `mark`, which stays current.
void unwind_to(NuMEMSTG *st, NuMEMSTGLink *mark);

// "_S_malloc.mm_alloc: operation failure ..." for a request no block can
// hold, as the heap reports one it cannot serve.
void report_too_large(VeskErr *status);

// "memman:<function>(<param>): ..." for a bad argument (259) or a null
// record (258).
void report_argument(VeskErr *status, int32_t code, const char *function, const char *param);

}  // namespace vesk::memory
