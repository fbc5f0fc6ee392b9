// SPDX-License-Identifier: MIT
// The string dictionary: an array of entries in insertion order, searched
// linearly, each entry's key and value in one heap block.
//
// The array grows by exactly one entry when it is full: a dictionary holds a
// handful of entries, and room that is never used is not worth keeping. Every
// allocation runs in silence; the report a caller sees names the operation
// ("@dic.add"), not the allocator slot.
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "memory/lstrdic.hpp"
#include "vesk.h"

namespace vesk::memory {

NuLstrdicEntry make_entry(const char *key, const char *value) {
    const size_t key_size = std::strlen(key) + 1;
    const size_t value_size = value != nullptr ? std::strlen(value) + 1 : 0;
    size_t total;
    if (__builtin_add_overflow(key_size, value_size, &total))
        return {};
    auto *block = static_cast<char *>(_NuMalloc(total, nullptr));
    if (block == nullptr)
        return {};
    std::memcpy(block, key, key_size);
    if (value == nullptr)
        return {block, nullptr};
    std::memcpy(block + key_size, value, value_size);
    return {block, block + key_size};
}

NuLstrdicEntry *resize_entries(NuLstrdicEntry *entries, size_t n) {
    size_t bytes;
    if (__builtin_mul_overflow(n, sizeof(NuLstrdicEntry), &bytes))
        return nullptr;
    return static_cast<NuLstrdicEntry *>(_NuMrealloc(entries, bytes, nullptr));
}

}  // namespace vesk::memory

namespace {

using vesk::memory::make_entry;
using vesk::memory::release_entry;
using vesk::memory::resize_entries;

constexpr uint32_t kVariantAdd = 1;      // "%s: operation failure: ..."
constexpr uint32_t kVariantStorage = 2;  // "%s: fail to create an object: ..."
constexpr uint32_t kVariantName = 2;     // "%s: name does not match ..."
constexpr uint32_t kVariantCall = 2;     // "%s(%s): ..."

[[gnu::cold]] int64_t refuse(VeskErr *status, int32_t code, int32_t syserr, uint32_t variant,
                             const char *what, const char *param = nullptr) {
    VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_NONE, code, syserr, variant, what, param);
    return -1;
}

[[gnu::cold]] int64_t refuse_null(VeskErr *status, const char *function, const char *param) {
    return refuse(status, VESK_E_FAULT, EFAULT, kVariantCall, function, param);
}

int64_t no_memory(VeskErr *status, const char *tag) {
    return refuse(status, VESK_E_NOMEM, 0, kVariantAdd, tag);
}

int64_t no_storage(VeskErr *status) {
    return refuse(status, VESK_E_NOMEM, 0, kVariantStorage, "@dic.storage");
}

int64_t no_match(VeskErr *status, const char *name) {
    return refuse(status, VESK_E_NOMATCH, 0, kVariantName, name);
}

bool same(const char *a, const char *b) { return std::strcmp(a, b) == 0; }

// The index of the first entry `match` accepts, or count when none does.
template <class Match>
size_t first(const NuLstrdic &dic, Match match) {
    size_t i = 0;
    while (i < dic.count && !match(dic.entries[i]))
        ++i;
    return i;
}

size_t first_key(const NuLstrdic &dic, const char *key) {
    return first(dic, [key](const NuLstrdicEntry &e) { return same(e.key, key); });
}

// Closes the gap of entry `i` and releases its block; the array keeps its size.
void take_out(NuLstrdic &dic, size_t i) {
    const NuLstrdicEntry gone = dic.entries[i];
    --dic.count;
    std::memmove(dic.entries + i, dic.entries + i + 1, (dic.count - i) * sizeof(NuLstrdicEntry));
    release_entry(gone);
}

// Stores a made entry last, growing a full array by one entry. False, with
// the dictionary unchanged, when the array can't grow; the entry is then the
// caller's to release.
bool append(NuLstrdic &dic, const NuLstrdicEntry &entry) {
    if (dic.count == dic.capacity) {
        size_t grown;
        if (__builtin_add_overflow(dic.capacity, 1, &grown))
            return false;
        NuLstrdicEntry *entries = resize_entries(dic.entries, grown);
        if (entries == nullptr)
            return false;
        dic.entries = entries;
        dic.capacity = grown;
    }
    dic.entries[dic.count++] = entry;
    return true;
}

// Makes the entry and stores it last; on failure nothing is left behind.
int64_t make_and_append(NuLstrdic &dic, const char *key, const char *value, VeskErr *status,
                        const char *tag) {
    const NuLstrdicEntry entry = make_entry(key, value);
    if (entry.key == nullptr)
        return no_memory(status, tag);
    if (!append(dic, entry)) {
        release_entry(entry);
        return no_memory(status, tag);
    }
    return 0;
}

// A record whose fields contradict each other is not a dictionary: refused
// before anything reads its array.
bool well_formed(const NuLstrdic &dic) {
    return dic.count <= dic.capacity && (dic.entries != nullptr || dic.capacity == 0);
}

// The first check of every call that takes a dictionary: 0, or -1 after a report.
int64_t check_dic(const NuLstrdic *dic, VeskErr *status, const char *function) {
    if (dic == nullptr)
        return refuse_null(status, function, "@dic");
    if (!well_formed(*dic))
        return refuse(status, VESK_E_INVAL, EINVAL, kVariantCall, function, "@dic");
    return 0;
}

int64_t check_key(const NuLstrdic *dic, const char *key, VeskErr *status, const char *function) {
    if (check_dic(dic, status, function) < 0)
        return -1;
    if (key == nullptr)
        return refuse_null(status, function, "@key");
    return 0;
}

enum class Adding { checked, forced };

int64_t add(NuLstrdic *dic, const char *key, const char *value, VeskErr *status, Adding how,
            const char *function) {
    if (check_key(dic, key, status, function) < 0)
        return -1;
    if (how == Adding::checked) {
        if (first_key(*dic, key) < dic->count)
            return refuse(status, VESK_E_ENTRYEXISTS, 0, 1, key);
        return make_and_append(*dic, key, value, status, "@dic.add");
    }
    return make_and_append(*dic, key, value, status, "@dic.forceadd");
}

int64_t replace(NuLstrdic *dic, const char *key, const char *value, VeskErr *status,
                const char *function) {
    if (check_key(dic, key, status, function) < 0)
        return -1;
    // The new block is made before the old one goes, so that a key or value
    // that points into the old entry is still there to copy; the outcome is
    // the same as taking out first: with a match, the old entry is gone
    // whatever happens next, and the append needs no room, since the removal
    // freed a place.
    const NuLstrdicEntry entry = make_entry(key, value);
    const size_t old = first_key(*dic, key);
    if (old < dic->count)
        take_out(*dic, old);
    if (entry.key == nullptr)
        return no_memory(status, "@dic.replace");
    if (!append(*dic, entry)) {
        release_entry(entry);
        return no_memory(status, "@dic.replace");
    }
    return 0;
}

bool has_null_key(const NuLstrdicEntry *pairs, size_t n) {
    for (size_t i = 0; i < n; ++i)
        if (pairs[i].key == nullptr)
            return true;
    return false;
}

// Copies `n` pairs into a dictionary built aside and handed over at the end,
// so that `pairs` may lie inside the record being written. The array comes
// first: a count larger than any memory is refused before `pairs` is read.
// Then every key is looked at before anything is made, so that a bad pair
// costs no half-built dictionary. (A count larger than the array of pairs is
// the caller's lie and can't be seen.)
int64_t init_copies(NuLstrdic *dic, const NuLstrdicEntry *pairs, size_t n, VeskErr *status,
                    const char *function) {
    *dic = {};
    if (n == 0)
        return 0;
    NuLstrdic made{};
    made.entries = resize_entries(nullptr, n);
    if (made.entries == nullptr)
        return no_storage(status);
    if (has_null_key(pairs, n)) {
        NuMfree(made.entries);
        return refuse_null(status, function, "@pairs.key");
    }
    made.capacity = n;
    for (size_t i = 0; i < n; ++i) {
        const NuLstrdicEntry entry = make_entry(pairs[i].key, pairs[i].value);
        if (entry.key == nullptr) {
            *dic = made;
            return no_storage(status);
        }
        made.entries[made.count++] = entry;
    }
    *dic = made;
    return 0;
}

NuLstrdicEntry *found(const NuLstrdic &dic, size_t i) {
    return i < dic.count ? dic.entries + i : nullptr;
}

}  // namespace

extern "C" {

VESK_API int64_t NuLstrdic_Init_n(NuLstrdic *dic, size_t n, VeskErr *status) {
    if (dic == nullptr)
        return refuse_null(status, "NuLstrdic_Init_n", "@dic");
    *dic = {};
    auto *entries = static_cast<NuLstrdicEntry *>(_NuMcalloc(n, sizeof(NuLstrdicEntry), nullptr));
    if (entries == nullptr)
        return no_storage(status);
    dic->entries = entries;
    dic->capacity = n;
    return 0;
}

VESK_API int64_t NuLstrdic_Init_nx(NuLstrdic *dic, const NuLstrdicEntry *pairs, size_t n,
                                   VeskErr *status) {
    if (dic == nullptr)
        return refuse_null(status, "NuLstrdic_Init_nx", "@dic");
    if (n != 0 && pairs == nullptr)
        return refuse_null(status, "NuLstrdic_Init_nx", "@pairs");
    return init_copies(dic, pairs, n, status, "NuLstrdic_Init_nx");
}

VESK_API int64_t NuLstrdic_Init_cp(NuLstrdic *dic, const NuLstrdic *source, VeskErr *status) {
    if (dic == nullptr)
        return refuse_null(status, "NuLstrdic_Init_cp", "@dic");
    if (source == nullptr)
        return refuse_null(status, "NuLstrdic_Init_cp", "@source");
    if (source == dic || !well_formed(*source))
        return refuse(status, VESK_E_INVAL, EINVAL, kVariantCall, "NuLstrdic_Init_cp", "@source");
    return init_copies(dic, source->entries, source->count, status, "NuLstrdic_Init_cp");
}

VESK_API int64_t NuLstrdic_Add(NuLstrdic *dic, const NuLstrdicEntry *pair, VeskErr *status) {
    if (pair == nullptr)
        return refuse_null(status, "NuLstrdic_Add", "@pair");
    return add(dic, pair->key, pair->value, status, Adding::checked, "NuLstrdic_Add");
}

VESK_API int64_t NuLstrdic_Add2(NuLstrdic *dic, const char *key, const char *value,
                                VeskErr *status) {
    return add(dic, key, value, status, Adding::checked, "NuLstrdic_Add2");
}

VESK_API int64_t NuLstrdic_ForceAdd(NuLstrdic *dic, const NuLstrdicEntry *pair, VeskErr *status) {
    if (pair == nullptr)
        return refuse_null(status, "NuLstrdic_ForceAdd", "@pair");
    return add(dic, pair->key, pair->value, status, Adding::forced, "NuLstrdic_ForceAdd");
}

VESK_API int64_t NuLstrdic_ForceAdd2(NuLstrdic *dic, const char *key, const char *value,
                                     VeskErr *status) {
    return add(dic, key, value, status, Adding::forced, "NuLstrdic_ForceAdd2");
}

VESK_API int64_t NuLstrdic_Replace(NuLstrdic *dic, const NuLstrdicEntry *pair, VeskErr *status) {
    if (pair == nullptr)
        return refuse_null(status, "NuLstrdic_Replace", "@pair");
    return replace(dic, pair->key, pair->value, status, "NuLstrdic_Replace");
}

VESK_API int64_t NuLstrdic_Replace2(NuLstrdic *dic, const char *key, const char *value,
                                    VeskErr *status) {
    return replace(dic, key, value, status, "NuLstrdic_Replace2");
}

VESK_API int64_t NuLstrdic_Delete(NuLstrdic *dic, const char *key, VeskErr *status) {
    if (check_key(dic, key, status, "NuLstrdic_Delete") < 0)
        return -1;
    const size_t i = first_key(*dic, key);
    if (i == dic->count)
        return no_match(status, key);
    take_out(*dic, i);
    return 0;
}

VESK_API NuLstrdicEntry *NuLstrdic_Findbykey(const NuLstrdic *dic, const char *key,
                                             VeskErr *status) {
    if (check_key(dic, key, status, "NuLstrdic_Findbykey") < 0)
        return nullptr;
    NuLstrdicEntry *entry = found(*dic, first_key(*dic, key));
    if (entry == nullptr)
        no_match(status, key);
    return entry;
}

VESK_API NuLstrdicEntry *NuLstrdic_Findbyval(const NuLstrdic *dic, const char *value,
                                             VeskErr *status) {
    if (check_dic(dic, status, "NuLstrdic_Findbyval") < 0)
        return nullptr;
    if (value == nullptr) {
        refuse_null(status, "NuLstrdic_Findbyval", "@value");
        return nullptr;
    }
    NuLstrdicEntry *entry = found(*dic, first(*dic, [value](const NuLstrdicEntry &e) {
                                      return e.value != nullptr && same(e.value, value);
                                  }));
    if (entry == nullptr)
        no_match(status, value);
    return entry;
}

VESK_API NuLstrdicEntry *NuLstrdic_Findbykeyval(const NuLstrdic *dic, const char *key,
                                                const char *value, VeskErr *status) {
    if (check_key(dic, key, status, "NuLstrdic_Findbykeyval") < 0)
        return nullptr;
    if (value == nullptr) {
        refuse_null(status, "NuLstrdic_Findbykeyval", "@value");
        return nullptr;
    }
    NuLstrdicEntry *entry = found(*dic, first(*dic, [key, value](const NuLstrdicEntry &e) {
                                      return e.value != nullptr && same(e.key, key) &&
                                             same(e.value, value);
                                  }));
    if (entry == nullptr)
        no_match(status, key);
    return entry;
}

VESK_API int64_t NuLstrdic_Clear(NuLstrdic *dic) {
    if (dic == nullptr || !well_formed(*dic))
        return -1;
    for (size_t i = 0; i < dic->count; ++i) {
        release_entry(dic->entries[i]);
        dic->entries[i].key = nullptr;
    }
    dic->count = 0;
    return 0;
}

VESK_API int64_t NuLstrdic_Destroy(NuLstrdic *dic) {
    if (NuLstrdic_Clear(dic) < 0)
        return -1;
    NuMfree(dic->entries);
    *dic = {};
    return 0;
}

}  // extern "C"
