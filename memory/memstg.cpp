// SPDX-License-Identifier: MIT
// Mark-release storages: pieces of any size (NuSMEMSTG) or objects of one
// size (NuPOOL) handed out by moving a position through large blocks, with no
// header per piece, and given back all at once, from a piece on, or to a
// saved mark.
#include <cstring>

#include "memory/memstg_ring.hpp"
#include "vesk.h"

using namespace vesk::memory;

namespace {

constexpr size_t kDefaultAlignment = 8;

template <class Record>
Record *record_for(Record *record, VeskErr *status) {
    if (record != nullptr)
        return record;
    return static_cast<Record *>(_NuMalloc(sizeof(Record), status));
}

// ---- Pieces of any size ---------------------------------------------------------------

// The position in `current` where the next piece would start.
uintptr_t position_of(const NuSMEMSTG *st) {
    return reinterpret_cast<uintptr_t>(end_of(st->stg.current)) - st->free_bytes;
}

// Takes `size` bytes at `at`, `pos` being the first free byte, if they fit.
inline void *carve(NuSMEMSTG *st, uintptr_t pos, uintptr_t at, size_t size) {
    st->free_bytes -= (at - pos) + size;
    return reinterpret_cast<void *>(at);
}

inline bool room_for(const NuSMEMSTG *st, uintptr_t pos, uintptr_t at, size_t size) {
    size_t used;
    return !__builtin_add_overflow(at - pos, size, &used) && used <= st->free_bytes;
}

// The rounding used up the room of `current`: a block that holds the piece
// wherever its bytes start. A block nothing was taken from goes back first.
void *aligned_in_new_block(NuSMEMSTG *st, size_t size, size_t alignment, VeskErr *status) {
    if (st->free_bytes == capacity_of(st->stg.current)) {
        give_back_current(&st->stg);
        st->free_bytes = 0;  // the older block's room is not known: never used again
    }
    size_t need;
    if (__builtin_add_overflow(size, alignment, &need)) {
        report_too_large(status);
        return nullptr;
    }
    NuMEMSTGLink *b = take_block(&st->stg, need, status);
    if (b == nullptr)
        return nullptr;
    st->free_bytes = capacity_of(b);
    const auto pos = reinterpret_cast<uintptr_t>(bytes_of(b));
    uintptr_t at;
    align_up(pos, alignment, at);  // within the block: it holds size + alignment
    return carve(st, pos, at, size);
}

// Everything but a piece that fits in `current` as it stands: the first
// block, a new block, the exchange for an aligned piece. Kept out of line so
// that the bump below stays a leaf without a frame.
[[gnu::noinline, gnu::cold]] void *aalloc_slow(NuSMEMSTG *st, size_t size, size_t alignment,
                                               VeskErr *status) {
    if (st->free_bytes < size || !has_block(&st->stg)) {
        NuMEMSTGLink *b = take_block(&st->stg, size, status);
        if (b == nullptr)
            return nullptr;
        st->free_bytes = capacity_of(b);
    }
    const uintptr_t pos = position_of(st);
    uintptr_t at;
    if (align_up(pos, alignment, at) && room_for(st, pos, at, size))
        return carve(st, pos, at, size);
    return aligned_in_new_block(st, size, alignment, status);
}

// The hot path: the piece carved from the end of `current`'s used bytes when
// it fits there as it stands; the slow path decides everything else. Counted
// in the free bytes alone, so that nothing can wrap: with `size` within the
// free bytes, `left` is what stays, and the padding to the alignment (that of
// the position end - free_bytes, negated) must fit in it. The check for a
// block stays: NuMEMSTGdestroy serves both kinds and leaves free_bytes as it
// was, and a piece of nothing in an empty storage still takes a block.
inline void *aalloc(NuSMEMSTG *st, size_t size, size_t alignment, VeskErr *status) {
    const size_t free_bytes = st->free_bytes;
    NuMEMSTGLink *const cur = st->stg.current;
    if (size <= free_bytes && cur != &st->stg.blocks) [[likely]] {
        const size_t left = free_bytes - size;
        const auto end = reinterpret_cast<uintptr_t>(end_of(cur));
        const size_t pad = (free_bytes - end) & (alignment - 1);
        if (pad <= left) [[likely]] {
            st->free_bytes = left - pad;
            return reinterpret_cast<void *>(end - free_bytes + pad);
        }
    }
    return aalloc_slow(st, size, alignment, status);
}

// A refused call, out of line so that the callers need no frame.
[[gnu::noinline, gnu::cold]] void *refuse(VeskErr *status, int32_t code, const char *function,
                                          const char *param) {
    report_argument(status, code, function, param);
    return nullptr;
}

// ---- Objects of one size --------------------------------------------------------------

// The first object position of a block, and the end of the whole objects
// that fit behind it.
uintptr_t first_object(const NuPOOL *pool, NuMEMSTGLink *b) {
    uintptr_t at;
    align_up(reinterpret_cast<uintptr_t>(bytes_of(b)), pool->alignment, at);
    return at;
}

void fill_from(NuPOOL *pool, NuMEMSTGLink *b, uintptr_t next) {
    const uintptr_t first = first_object(pool, b);
    const uintptr_t end = reinterpret_cast<uintptr_t>(end_of(b));
    const size_t objects = end > first ? (end - first) / pool->object_size : 0;
    const uintptr_t end_object = first + objects * pool->object_size;
    // On an object's boundary within the block, whatever address came in.
    if (next < first)
        next = first;
    if (next > end_object)
        next = end_object;
    next = first + (next - first) / pool->object_size * pool->object_size;
    pool->next_object = reinterpret_cast<char *>(next);
    pool->end_object = reinterpret_cast<char *>(end_object);
}

[[gnu::noinline]] void *get_from_new_block(NuPOOL *pool, VeskErr *status) {
    // NuPOOLopen made sure that the alignment and the size add up in a word.
    NuMEMSTGLink *b = take_block(&pool->stg, pool->alignment + pool->object_size, status);
    if (b == nullptr)
        return nullptr;
    fill_from(pool, b, 0);
    char *object = pool->next_object;
    pool->next_object = object + pool->object_size;
    return object;
}

void place_pool(NuPOOL *pool, NuMEMSTGLink *mark, const void *next) {
    unwind_to(&pool->stg, mark);
    if (has_block(&pool->stg)) {
        fill_from(pool, mark, reinterpret_cast<uintptr_t>(next));
    } else {
        pool->next_object = nullptr;
        pool->end_object = nullptr;
    }
}

}  // namespace

extern "C" {

VESK_API NuSMEMSTG *NuSMEMSTGopen(NuSMEMSTG *record, NuMEMSTG *parent, VeskErr *status) {
    NuSMEMSTG *st = record_for(record, status);
    if (st == nullptr)
        return nullptr;
    open_ring(&st->stg, parent);
    st->free_bytes = 0;
    return st;
}

VESK_API NuPOOL *NuPOOLopen(NuPOOL *record, NuMEMSTG *parent, size_t object_size,
                            size_t alignment, VeskErr *status) {
    if (alignment == 0)
        alignment = kDefaultAlignment;
    if (!is_power_of_two(alignment)) {
        report_argument(status, VESK_E_INVAL, "NuPOOLopen", "@alignment");
        return nullptr;
    }
    // A get takes blocks of the alignment plus the rounded size: both must
    // be written in a word.
    uintptr_t rounded, block_need;
    if (object_size == 0 || !align_up(object_size, alignment, rounded) ||
        __builtin_add_overflow(rounded, alignment, &block_need)) {
        report_argument(status, VESK_E_INVAL, "NuPOOLopen", "@objsize");
        return nullptr;
    }
    NuPOOL *pool = record_for(record, status);
    if (pool == nullptr)
        return nullptr;
    open_ring(&pool->stg, parent);
    pool->object_size = rounded;
    pool->alignment = alignment;
    pool->next_object = pool->end_object = nullptr;
    return pool;
}

VESK_API void *NuSMEMSTGaalloc(NuSMEMSTG *storage, size_t size, size_t alignment,
                               VeskErr *status) {
    if (storage == nullptr) [[unlikely]]
        return refuse(status, VESK_E_FAULT, "NuSMEMSTGaalloc", "@storage");
    if (!is_power_of_two(alignment)) [[unlikely]]
        return refuse(status, VESK_E_INVAL, "NuSMEMSTGaalloc", "@alignment");
    return aalloc(storage, size, alignment, status);
}

VESK_API void *NuSMEMSTGalloc(NuSMEMSTG *storage, size_t size, VeskErr *status) {
    if (storage == nullptr) [[unlikely]]
        return refuse(status, VESK_E_FAULT, "NuSMEMSTGalloc", "@storage");
    return aalloc(storage, size, kDefaultAlignment, status);
}

VESK_API void *NuPOOLget(NuPOOL *pool, VeskErr *status) {
    if (pool == nullptr) [[unlikely]]
        return refuse(status, VESK_E_FAULT, "NuPOOLget", "@pool");
    if (pool->next_object == pool->end_object) [[unlikely]]
        return get_from_new_block(pool, status);
    char *object = pool->next_object;
    pool->next_object = object + pool->object_size;
    return object;
}

VESK_API void NuSMEMSTGfree(NuSMEMSTG *storage, void *address) {
    if (storage == nullptr || address == nullptr)
        return;
    NuMEMSTGLink *b = block_holding(&storage->stg, address);
    if (b == nullptr)
        return;
    unwind_to(&storage->stg, b);
    storage->free_bytes = static_cast<size_t>(end_of(b) - static_cast<char *>(address));
}

VESK_API void NuPOOLfree(NuPOOL *pool, void *address) {
    if (pool == nullptr || address == nullptr)
        return;
    NuMEMSTGLink *b = block_holding(&pool->stg, address);
    if (b != nullptr)
        place_pool(pool, b, address);
}

VESK_API void NuSMEMSTGclear(NuSMEMSTG *storage) {
    if (storage == nullptr)
        return;
    unwind_to(&storage->stg, &storage->stg.blocks);
    storage->free_bytes = 0;
}

VESK_API void NuPOOLclear(NuPOOL *pool) {
    if (pool != nullptr)
        place_pool(pool, &pool->stg.blocks, nullptr);
}

VESK_API NuSMEMSTGstate *NuSMEMSTGgetstate(NuSMEMSTGstate *state, const NuSMEMSTG *storage) {
    if (state != nullptr && storage != nullptr)
        *state = {storage->stg.current, storage->free_bytes};
    return state;
}

VESK_API NuPOOLstate *NuPOOLgetstate(NuPOOLstate *state, const NuPOOL *pool) {
    if (state != nullptr && pool != nullptr)
        *state = {pool->stg.current, pool->next_object, pool->end_object};
    return state;
}

VESK_API NuSMEMSTG *NuSMEMSTGsetstate(NuSMEMSTG *storage, const NuSMEMSTGstate *state) {
    if (storage == nullptr || state == nullptr || !in_use(&storage->stg, state->current))
        return storage;
    const bool head = state->current == &storage->stg.blocks;
    if (head ? state->free_bytes != 0 : state->free_bytes > capacity_of(state->current))
        return storage;
    unwind_to(&storage->stg, state->current);
    storage->free_bytes = state->free_bytes;
    return storage;
}

VESK_API NuPOOL *NuPOOLsetstate(NuPOOL *pool, const NuPOOLstate *state) {
    if (pool != nullptr && state != nullptr && in_use(&pool->stg, state->current))
        place_pool(pool, state->current, state->next_object);
    return pool;
}

VESK_API void NuMEMSTGdestroy(NuMEMSTG *storage) {
    if (storage == nullptr)
        return;
    if (storage->parent != nullptr) {
        unwind_to(storage, &storage->blocks);
        return;
    }
    NuMEMSTGLink *head = &storage->blocks;
    for (NuMEMSTGLink *b = head->next; b != head;) {
        NuMEMSTGLink *next = b->next;
        NuMfree(b);
        b = next;
    }
    open_ring(storage, nullptr);
}

VESK_API void NuMEMSTGclose(NuMEMSTG *storage) {
    if (storage == nullptr)
        return;
    NuMEMSTGdestroy(storage);
    NuMfree(storage);
}

}  // extern "C"
