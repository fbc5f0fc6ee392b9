// SPDX-License-Identifier: MIT
// The ring of a storage and the root's spare blocks.
//
// A root's ring is its blocks in use, oldest first up to `current`, and then
// its spares in ascending order of capacity. Every block given back anywhere
// in a hierarchy joins those spares, and every storage of the hierarchy looks
// there before it asks the heap; only a root ever releases a block, apart
// from a spare too small for a request, which is exchanged for a new one.
#include "memory/memstg_ring.hpp"

#include "vesk.h"

namespace vesk::memory {
namespace {

NuMEMSTG *root_of(NuMEMSTG *st) {
    while (st->parent != nullptr)
        st = st->parent;
    return st;
}

void unlink(NuMEMSTGLink *l) {
    l->prev->next = l->next;
    l->next->prev = l->prev;
}

void link_after(NuMEMSTGLink *at, NuMEMSTGLink *l) {
    l->prev = at;
    l->next = at->next;
    at->next->prev = l;
    at->next = l;
}

// Whether `b` is a better spare than `choice` for `need`: one that fits and
// is smaller, one that fits where the choice does not, or, when neither
// fits, a larger one.
bool better(size_t b, size_t choice, size_t need) {
    const bool fits = b >= need, choice_fits = choice >= need;
    if (fits)
        return b < choice || !choice_fits;
    return !choice_fits && b > choice;
}

// The smallest spare of the root that fits, or the largest if none does.
NuMEMSTGLink *choose_spare(NuMEMSTG *root, size_t need) {
    NuMEMSTGLink *head = &root->blocks, *cur = root->current;
    if (cur->next == head)
        return nullptr;
    if (capacity_of(cur->next) >= need)
        return cur->next;  // the smallest spare, the common case
    // From the largest down: the walk ends once the choice holds no more
    // than `need`.
    NuMEMSTGLink *choice = nullptr;
    for (NuMEMSTGLink *b = head->prev; b != cur; b = b->prev) {
        if (choice != nullptr && !better(capacity_of(b), capacity_of(choice), need))
            continue;
        choice = b;
        if (capacity_of(choice) <= need)
            break;
    }
    return choice;
}

// A spare of the root that holds `need` bytes, taken off the root's ring;
// one too small is released on the way.
NuMEMSTGLink *spare_for(NuMEMSTG *root, size_t need) {
    NuMEMSTGLink *b = choose_spare(root, need);
    if (b == nullptr)
        return nullptr;
    unlink(b);
    --root->block_count;
    if (capacity_of(b) >= need)
        return b;
    NuMfree(b);
    return nullptr;
}

NuMEMSTGLink *new_block(size_t need, VeskErr *status) {
    size_t size;
    if (__builtin_add_overflow(need, kBlockHeader, &size)) {
        report_too_large(status);
        return nullptr;
    }
    if (size < kLeastBlock)
        size = kLeastBlock;
    auto *b = static_cast<NuMEMSTGBlock *>(_NuMalloc(size, status));
    if (b == nullptr)
        return nullptr;
    b->capacity = size - kBlockHeader;
    return &b->link;
}

// Inserts a block among the root's spares, keeping them sorted.
void add_spare(NuMEMSTG *root, NuMEMSTGLink *b) {
    NuMEMSTGLink *head = &root->blocks, *cur = root->current;
    NuMEMSTGLink *at = cur;
    if (cur->next != head && capacity_of(b) > capacity_of(cur->next)) {
        at = head->prev;
        while (at != cur && capacity_of(at) > capacity_of(b))
            at = at->prev;
    }
    link_after(at, b);
    ++root->block_count;
}

}  // namespace

void open_ring(NuMEMSTG *st, NuMEMSTG *parent) {
    st->parent = parent;
    st->blocks.next = st->blocks.prev = &st->blocks;
    st->block_count = 0;
    st->current = &st->blocks;
}

NuMEMSTGLink *take_block(NuMEMSTG *st, size_t need, VeskErr *status) {
    NuMEMSTGLink *b = spare_for(root_of(st), need);
    if (b == nullptr)
        b = new_block(need, status);
    if (b == nullptr)
        return nullptr;
    link_after(st->current, b);
    ++st->block_count;
    st->current = b;
    return b;
}

void give_back_current(NuMEMSTG *st) {
    NuMEMSTGLink *b = st->current;
    st->current = b->prev;
    unlink(b);
    --st->block_count;
    add_spare(root_of(st), b);
}

NuMEMSTGLink *block_holding(NuMEMSTG *st, const void *address) {
    const auto a = reinterpret_cast<uintptr_t>(address);
    for (NuMEMSTGLink *b = st->current; b != &st->blocks; b = b->prev)
        if (a >= reinterpret_cast<uintptr_t>(bytes_of(b)) &&
            a <= reinterpret_cast<uintptr_t>(end_of(b)))
            return b;
    return nullptr;
}

bool in_use(NuMEMSTG *st, const NuMEMSTGLink *mark) {
    for (NuMEMSTGLink *b = st->current;; b = b->prev) {
        if (b == mark)
            return true;
        if (b == &st->blocks)
            return false;
    }
}

void unwind_to(NuMEMSTG *st, NuMEMSTGLink *mark) {
    while (st->current != mark)
        give_back_current(st);
}

void report_too_large(VeskErr *status) {
    VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_NONE, VESK_E_NOMEM, 0, 1, "_S_malloc.mm_alloc");
}

void report_argument(VeskErr *status, int32_t code, const char *function, const char *param) {
    VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_NONE, code, 0, 3, "memman", function, param);
}

}  // namespace vesk::memory
