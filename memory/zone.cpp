// SPDX-License-Identifier: MIT
// Zones: objects of one fixed size, handed out from chunks of granules and
// recycled through a free stack, each with a reference count in the two
// words in front of it.
//
// A granule is [link word][count word][object]. While free, the link is the
// next free granule; while out, it is the zone, so that the _NuZmPtr calls
// find the zone from the object alone. The count is -1 for a granule never
// handed out, 0 for one given back and the reference count while out. A chunk
// is [owner][next chunk][granules...], allocated with mm_calloc and kept until
// the zone ends.
//
// One spin word guards the lists, the counts and `refs`; hooks, `destroy` and
// mm_free always run outside it.
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <type_traits>

#include "nu.h"
#include "threads/spin.hpp"
#include "vesk.h"

namespace {

struct Granule {
    void *link;      // next free granule, or the owning zone while out
    intptr_t count;  // -1 never out, 0 free, above 0 references
    // the object follows
};
static_assert(sizeof(Granule) == 2 * sizeof(void *));

struct Chunk {
    NuZmalloc *owner;
    Chunk *next;
    // granules follow
};
static_assert(sizeof(Chunk) == 2 * sizeof(void *));

// Granules follow each other with their objects rounded up to a word, so that
// every header (and every object) stays word-aligned whatever the size. The
// open has checked that the sizes of a granule and of a chunk can be written.
size_t granule_size(const NuZmalloc *z) {
    constexpr size_t kWord = alignof(Granule);
    return sizeof(Granule) + (z->object_size + kWord - 1) / kWord * kWord;
}

// No allocation can be larger than the largest difference of two pointers.
constexpr size_t kLargestBlock = PTRDIFF_MAX;

// The bytes of one chunk of `granularity` granules of `object_size`, or
// nothing when that size can't be written in a word or no allocation can be
// that large.
std::optional<size_t> chunk_bytes(size_t granularity, size_t object_size) {
    constexpr size_t kWord = alignof(Granule);
    size_t rounded, granule, granules, chunk;
    if (__builtin_add_overflow(object_size, kWord - 1, &rounded) ||
        __builtin_add_overflow(sizeof(Granule), rounded / kWord * kWord, &granule) ||
        __builtin_mul_overflow(granularity, granule, &granules) ||
        __builtin_add_overflow(sizeof(Chunk), granules, &chunk) || chunk > kLargestBlock)
        return std::nullopt;
    return chunk;
}

// The bytes of the record with its copy of the user data behind it, under
// the same rule.
std::optional<size_t> record_bytes(size_t user_copy) {
    size_t bytes;
    if (__builtin_add_overflow(sizeof(NuZmalloc), user_copy, &bytes) || bytes > kLargestBlock)
        return std::nullopt;
    return bytes;
}

// A count is changed under the zone's lock but may be read without it.
std::atomic_ref<intptr_t> count_of(Granule *g) { return std::atomic_ref<intptr_t>(g->count); }

Granule *granule_of(const void *object) {
    return reinterpret_cast<Granule *>(const_cast<char *>(static_cast<const char *>(object)) -
                                       sizeof(Granule));
}
void *object_of(Granule *g) { return reinterpret_cast<char *>(g) + sizeof(Granule); }
Granule *granule_at(Chunk *c, const NuZmalloc *z, uintptr_t i) {
    return reinterpret_cast<Granule *>(reinterpret_cast<char *>(c + 1) + i * granule_size(z));
}

// ---- The spin word -------------------------------------------------------------

class Locked : public vesk::sync::SpinLocked<uintptr_t> {
public:
    explicit Locked(NuZmalloc *z) : SpinLocked(z->lock) {}
};

// ---- Lists -----------------------------------------------------------------------
//
// An empty list's head points at itself in both words, as the record lays it
// out; the free list is used as a stack through `first`.

void *empty_mark(NuZmallocList *l) { return l; }

void list_init(NuZmallocList *l) { l->first = l->last = empty_mark(l); }

// Counts change under the lock, so a load and a store do; they are atomic
// only for the readers that look without the lock.
void add_free_count(NuZmalloc *z, intptr_t delta) {
    std::atomic_ref<uintptr_t> n(z->free_count);
    n.store(n.load(std::memory_order_relaxed) + static_cast<uintptr_t>(delta),
            std::memory_order_relaxed);
}

intptr_t add_count(Granule *g, intptr_t delta) {
    const intptr_t n = count_of(g).load(std::memory_order_relaxed) + delta;
    count_of(g).store(n, std::memory_order_relaxed);
    return n;
}

void push_free(NuZmalloc *z, Granule *g) {
    const bool was_empty = z->free.first == empty_mark(&z->free);
    g->link = was_empty ? nullptr : z->free.first;
    z->free.first = g;
    if (was_empty)
        z->free.last = g;
    add_free_count(z, 1);
}

Granule *pop_free(NuZmalloc *z) {
    auto *g = static_cast<Granule *>(z->free.first);
    z->free.first = g->link != nullptr ? g->link : empty_mark(&z->free);
    if (g->link == nullptr)
        z->free.last = empty_mark(&z->free);
    add_free_count(z, -1);
    return g;
}

// Puts a granule back and ends its object's reference to the zone, which a
// close would do; only the zone's last reference is left to a real close,
// outside the lock, because that one destroys the zone. True then.
bool give_back(NuZmalloc *z, Granule *g) {
    push_free(z, g);
    if (z->refs > 1) {
        --z->refs;
        return false;
    }
    return z->refs == 1;
}

void append_chunk(NuZmalloc *z, Chunk *c) {
    c->next = nullptr;
    if (z->chunks.first == empty_mark(&z->chunks))
        z->chunks.first = c;
    else
        static_cast<Chunk *>(z->chunks.last)->next = c;
    z->chunks.last = c;
    ++z->chunk_count;
}

Chunk *first_chunk(NuZmalloc *z) {
    return z->chunks.first == empty_mark(&z->chunks) ? nullptr : static_cast<Chunk *>(z->chunks.first);
}

// ---- Growing (under the lock) ------------------------------------------------------

[[gnu::cold]] void report_no_memory(VeskErr *status, const char *what) {
    VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_ZONE, VESK_E_NOMEM, ENOMEM, 1, what);
}

bool grow(NuZmalloc *z, VeskErr *status) {
    const std::optional<size_t> bytes = chunk_bytes(z->granularity, z->object_size);
    // A table without mm_calloc can't grow a zone: the chunk fails as if the
    // allocator had given nothing.
    auto *c = bytes && z->allocator.mm_calloc != nullptr
                  ? static_cast<Chunk *>(z->allocator.mm_calloc(1, *bytes))
                  : nullptr;
    if (c == nullptr) {
        report_no_memory(status, "@allocator.mm_calloc");
        return false;
    }
    c->owner = z;
    append_chunk(z, c);
    // Pushed in address order: the chunk's last granule goes out first.
    for (uintptr_t i = 0; i < z->granularity; ++i) {
        Granule *g = granule_at(c, z, i);
        count_of(g).store(-1, std::memory_order_relaxed);
        push_free(z, g);
    }
    return true;
}

// ---- Opening -------------------------------------------------------------------------

template <class Uctx>
NuZmalloc *open(NuZmalloc *mem, const NuMallocOpv *allocator, const Uctx *uctx,
                uintptr_t granularity, uintptr_t object_size, VeskErr *status, uintptr_t version,
                const char *function) {
    if (object_size == 0) {
        VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_ZONE, VESK_E_INVAL, EINVAL, 3, "memman",
                  function, "@user-object-size");
        return nullptr;
    }
    NuMallocOpv table{};
    if (allocator == nullptr) {
        _NuMallocOpv(nullptr, &table);
    } else if (allocator->mm_alloc == nullptr || allocator->mm_free == nullptr) {
        VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_ZONE, VESK_E_INVAL, EINVAL, 3, "memman",
                  function, "@allocator{.mm_alloc || .mm_free}");
        return nullptr;
    } else {
        table = *allocator;
    }
    size_t user_copy = 0;
    if constexpr (std::is_same_v<Uctx, NuZmallocUctx_v2>) {
        if (uctx != nullptr && uctx->user_data != nullptr)
            user_copy = uctx->user_data_size;
    }
    if (granularity == 0)
        granularity = NU_ZMALLOC_GRANULARITY;
    // Sizes no memory can hold are refused now, as the allocation that would
    // fail later: a wrapped size would give a block too small for its use.
    const std::optional<size_t> record = record_bytes(user_copy);
    if (!record) {
        report_no_memory(status, "@allocator.mm_alloc");
        return nullptr;
    }
    if (!chunk_bytes(granularity, object_size)) {
        report_no_memory(status, "@allocator.mm_calloc");
        return nullptr;
    }
    NuZmalloc *z = mem;
    if (z == nullptr) {
        z = static_cast<NuZmalloc *>(table.mm_alloc(*record));
        if (z == nullptr) {
            report_no_memory(status, "@allocator.mm_alloc");
            return nullptr;
        }
    }
    std::memset(static_cast<void *>(z), 0, sizeof *z);
    z->version = version;
    z->destroy = _NuZmallocDestroyDefault;
    z->refs = mem != nullptr ? -1 : 1;
    z->allocator = table;
    if (uctx != nullptr) {
        z->uctx = {uctx->once_init, uctx->once_fini, uctx->get_init, uctx->release_fini,
                   uctx->user_data};
        if (user_copy != 0) {
            void *copy = z + 1;
            std::memcpy(copy, uctx->user_data, user_copy);
            z->uctx.user_data = copy;
        }
    }
    z->object_size = object_size;
    z->granularity = granularity;
    list_init(&z->chunks);
    list_init(&z->free);
    return z;
}

// ---- Getting -------------------------------------------------------------------------

// Hands a granule out: pops it, marks it out, and counts the object's
// reference to the zone. Under the lock, with a granule free. True if the
// granule had never been out.
bool hand_out(NuZmalloc *z, Granule *&g) {
    g = pop_free(z);
    const bool fresh = count_of(g).load(std::memory_order_relaxed) == -1;
    count_of(g).store(1, std::memory_order_relaxed);
    g->link = z;
    if (z->refs > 0)
        ++z->refs;
    return fresh;
}

// The hooks of a get, outside the lock.
[[gnu::noinline]] void *run_get_hooks(NuZmalloc *z, void *object, bool fresh) {
    if (fresh && z->uctx.once_init != nullptr)
        z->uctx.once_init(z->uctx.user_data, object);
    if (z->uctx.get_init != nullptr)
        z->uctx.get_init(z->uctx.user_data, object);
    return object;
}

[[gnu::always_inline]] inline void *after_hand_out(NuZmalloc *z, Granule *g, bool fresh) {
    void *object = object_of(g);
    if ((fresh && z->uctx.once_init != nullptr) || z->uctx.get_init != nullptr)
        return run_get_hooks(z, object, fresh);
    return object;
}

// A get that finds the free stack empty: grows the zone if it may, under
// the lock taken anew (what the first look saw may have changed since).
template <bool kFixed>
[[gnu::noinline]] void *get_growing(NuZmalloc *z, VeskErr *status) {
    Granule *g;
    bool fresh;
    {
        Locked locked(z);
        if (z->free_count == 0) {
            const bool may_grow = !kFixed || z->chunk_count == 0;
            if (!may_grow || !grow(z, kFixed ? nullptr : status)) {
                if (kFixed)
                    VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_ZONE, VESK_E_NOMEM, ENOMEM, 1,
                              "@allocator.get");
                return nullptr;
            }
        }
        fresh = hand_out(z, g);
    }
    return after_hand_out(z, g, fresh);
}

// The common get takes a recycled granule in one short lock section; a
// zone with no free granule lets go of the lock before it does anything
// else, and goes the growing way.
template <bool kFixed>
void *get(NuZmalloc *z, VeskErr *status) {
    Granule *g;
    bool fresh;
    vesk::sync::spin_take(z->lock);
    if (z->free_count == 0) [[unlikely]] {
        vesk::sync::spin_give(z->lock);
        return get_growing<kFixed>(z, status);
    }
    fresh = hand_out(z, g);
    vesk::sync::spin_give(z->lock);
    return after_hand_out(z, g, fresh);
}

// The zone's last reference went with an object: the zone ends. Out of
// line, so that a release that is not the last saves nothing for it.
[[gnu::cold, gnu::noinline]] void close_after_last(NuZmalloc *z) { _NuZmallocClose(z, 0, nullptr); }

// A release in a zone with a release hook: the hook runs between the count
// reaching 0 and the granule going back, outside the lock. Out of line, so
// that the release without a hook keeps its registers to itself.
[[gnu::noinline]] intptr_t release_with_hook(NuZmalloc *z, Granule *g) {
    {
        Locked locked(z);
        const intptr_t left = add_count(g, -1);
        if (left != 0)
            return left;
    }
    z->uctx.release_fini(z->uctx.user_data, object_of(g));
    bool last;
    {
        Locked locked(z);
        last = give_back(z, g);
    }
    if (last)
        close_after_last(z);
    return 0;
}

// A null zone where a zone is needed; null.
[[gnu::cold]] void *refuse_null_zone(VeskErr *status, const char *function) {
    VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_ZONE, VESK_E_FAULT, EFAULT, 3, "memman",
              function, "@zone");
    return nullptr;
}

// The count of a granule never handed out, given for a null object.
constexpr intptr_t kNoObject = -1;

}  // namespace

extern "C" {

VESK_API NuZmalloc *_NuZmallocOpen(NuZmalloc *zone, const NuMallocOpv *allocator,
                                   const NuZmallocUctx *uctx, uintptr_t granularity,
                                   uintptr_t object_size, VeskErr *status) {
    return open(zone, allocator, uctx, granularity, object_size, status, 1, "_NuZmallocOpen");
}

VESK_API NuZmalloc *_NuZmallocOpen_v2(NuZmalloc *zone, const NuMallocOpv *allocator,
                                      const NuZmallocUctx_v2 *uctx, uintptr_t granularity,
                                      uintptr_t object_size, VeskErr *status) {
    return open(zone, allocator, uctx, granularity, object_size, status, 2, "_NuZmallocOpen_v2");
}

VESK_API int64_t _NuZmallocClose(NuZmalloc *zone, uint32_t flags, VeskErr *status) {
    if (zone == nullptr)
        return 0;
    {
        Locked locked(zone);
        if ((flags & NU_ZMALLOC_DESTROY_NOW) == 0 && zone->refs > 0 && --zone->refs > 0)
            return zone->refs;
    }
    (zone->destroy != nullptr ? zone->destroy : _NuZmallocDestroyDefault)(zone, flags, status);
    if (zone->refs == -1) {
        std::memset(static_cast<void *>(zone), 0, sizeof *zone);
    } else {
        void (*release)(void *) = zone->allocator.mm_free;
        release(zone);
    }
    return 0;
}

VESK_API int64_t _NuZmallocDestroyDefault(NuZmalloc *zone, uint32_t, VeskErr *status) {
    if (zone == nullptr)
        return refuse_null_zone(status, "_NuZmallocDestroyDefault"), -1;
    const NuZmallocUctx &u = zone->uctx;
    if (u.release_fini != nullptr || u.once_fini != nullptr) {
        for (Chunk *c = first_chunk(zone); c != nullptr; c = c->next)
            for (uintptr_t i = 0; i < zone->granularity; ++i) {
                Granule *g = granule_at(c, zone, i);
                const intptr_t count = count_of(g).load(std::memory_order_relaxed);
                if (count < 0)
                    continue;
                if (count > 0 && u.release_fini != nullptr)
                    u.release_fini(u.user_data, object_of(g));
                if (u.once_fini != nullptr)
                    u.once_fini(u.user_data, object_of(g));
            }
    }
    while (Chunk *c = first_chunk(zone)) {
        zone->chunks.first = c->next != nullptr ? static_cast<void *>(c->next)
                                                : empty_mark(&zone->chunks);
        if (c->next == nullptr)
            zone->chunks.last = empty_mark(&zone->chunks);
        --zone->chunk_count;
        zone->allocator.mm_free(c);
    }
    return 0;
}

VESK_API void *_NuZmallocGet(NuZmalloc *zone, VeskErr *status) {
    if (zone == nullptr)
        return refuse_null_zone(status, "_NuZmallocGet");
    return get<false>(zone, status);
}

VESK_API void *_NuZmallocGet0(NuZmalloc *zone, VeskErr *status) {
    if (zone == nullptr)
        return refuse_null_zone(status, "_NuZmallocGet0");
    return get<true>(zone, status);
}

// The calls without a status record answer a null zone or object with what
// an empty zone or a granule never handed out would give.
VESK_API uintptr_t _NuZmallocGranularity(const NuZmalloc *zone) {
    return zone != nullptr ? zone->granularity : 0;
}

VESK_API int64_t _NuZmallocHasfreeg(NuZmalloc *zone) {
    if (zone == nullptr)
        return 0;
    return std::atomic_ref<uintptr_t>(zone->free_count).load(std::memory_order_relaxed) != 0 ? 1 : 0;
}

VESK_API NuZmallocUctx *_NuZmallocUctx(NuZmalloc *zone) {
    return zone != nullptr ? &zone->uctx : nullptr;
}

VESK_API NuZmalloc *_NuZmPtrOwner(const void *object) {
    if (object == nullptr)
        return nullptr;
    return static_cast<NuZmalloc *>(granule_of(object)->link);
}

VESK_API intptr_t _NuZmPtrRetain(void *object) {
    if (object == nullptr)
        return kNoObject;
    Granule *g = granule_of(object);
    Locked locked(static_cast<NuZmalloc *>(g->link));
    return add_count(g, 1);
}

VESK_API intptr_t _NuZmPtrRetainValue(const void *object) {
    if (object == nullptr)
        return kNoObject;
    return count_of(granule_of(object)).load(std::memory_order_relaxed);
}

VESK_API intptr_t _NuZmPtrRelease(void *object) {
    if (object == nullptr)
        return kNoObject;
    Granule *g = granule_of(object);
    // An object already given back (count 0, on the free stack) is not
    // released again: its link word is the free stack's now, not its zone,
    // and -1 would mark the granule as never used, so that its next get would
    // run once_init a second time.
    if (count_of(g).load(std::memory_order_acquire) <= 0)
        return kNoObject;
    auto *z = static_cast<NuZmalloc *>(g->link);
    if (z->uctx.release_fini != nullptr) [[unlikely]]
        return release_with_hook(z, g);
    bool last;
    {
        Locked locked(z);
        const intptr_t left = add_count(g, -1);
        if (left != 0)
            return left;
        // Without a hook to run in between, the granule goes back in the
        // same lock section.
        last = give_back(z, g);
    }
    if (last) [[unlikely]]
        close_after_last(z);
    return 0;
}

}  // extern "C"
