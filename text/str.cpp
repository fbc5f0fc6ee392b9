// SPDX-License-Identifier: MIT
// Growable strings: copy, append, join, free, and the two questions.
//
// One template over the unit type serves the 8-bit and the 16-bit family.
// What they are careful about is aliasing: a text argument may point into
// the very string being changed, before and after its block moves. A copy
// builds a fresh block and releases the old one last; an append either does
// the same or resizes in place and then finds its text again in the moved
// block. Addresses are compared as integers, since they may belong to
// different blocks.

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdint>

#include "nu.h"
#include "text/str.hpp"

namespace vesk::text {
namespace {

template <class Unit>
Unit **assign(Unit **s, const Unit *text, size_t n) {
    if (s == nullptr)
        return nullptr;
    if (text == nullptr)
        n = 0;
    Unit *block = new_block<Unit>(n);
    if (block == nullptr)
        return s;
    copy_units(block, text, n);
    block[n] = 0;
    replace_block(s, block);
    return s;
}

// Appends exactly `n` units of `text`.
template <class Unit>
Unit **append(Unit **s, const Unit *text, size_t n) {
    if (s == nullptr)
        return nullptr;
    if (text == nullptr)
        n = 0;
    Unit *old = *s;
    const size_t length = string_length(old);
    size_t total, bytes;
    if (__builtin_add_overflow(length, n, &total) || !block_bytes<Unit>(total, &bytes)) {
        errno = EOVERFLOW;
        return s;
    }
    const auto from = reinterpret_cast<uintptr_t>(old);
    auto source = reinterpret_cast<uintptr_t>(text);
    Unit *block;
    if (source > from + length * sizeof(Unit)) {
        // Not in the live part of the string (it may still be in its block,
        // behind a terminator the caller wrote): copy both into a fresh block.
        block = static_cast<Unit *>(NuMalloc(bytes));
        if (block == nullptr) {
            errno = ENOMEM;
            return s;
        }
        copy_units(block, old, length);
        copy_units(block + length, text, n);
        if (old != nullptr)
            NuMfree(old);
    } else {
        block = static_cast<Unit *>(NuMrealloc(old, bytes));
        if (block == nullptr) {
            errno = ENOMEM;
            return s;
        }
        // The text may have been inside the string, which has moved with it.
        if (source >= from)
            source += reinterpret_cast<uintptr_t>(block) - from;
        copy_units(block + length, reinterpret_cast<const Unit *>(source), n);
    }
    block[total] = 0;
    *s = block;
    return s;
}

// Where the strings of a join come from: an array, or a C argument list
// that can be read twice.
template <class Unit>
struct ArrayStrings {
    const Unit *const *array;
    bool all_null() const { return array == nullptr; }
    template <class Each>
    void each(int32_t count, Each f) const {
        for (int32_t i = 0; i < count; ++i)
            f(array != nullptr ? array[i] : nullptr);
    }
};

template <class Unit>
class ListStrings {
  public:
    explicit ListStrings(va_list strings) { va_copy(list_, strings); }
    ListStrings(const ListStrings &) = delete;
    ListStrings &operator=(const ListStrings &) = delete;
    ~ListStrings() { va_end(list_); }

    static bool all_null() { return false; }
    template <class Each>
    void each(int32_t count, Each f) const {
        va_list ap;
        va_copy(ap, list_);
        for (int32_t i = 0; i < count; ++i)
            f(va_arg(ap, const Unit *));
        va_end(ap);
    }

  private:
    mutable va_list list_;
};

// Builds the join apart from `*s`, which may be among the sources, measured
// first so that the block is made once.
template <class Unit, class Strings>
Unit **intercalate(Unit **s, const Unit *separator, int32_t count, const Strings &strings) {
    if (s == nullptr)
        return nullptr;
    if (count < 0) {
        errno = EINVAL;
        return s;
    }
    if (count == 0) {
        replace_block<Unit>(s, nullptr);
        return s;
    }
    const size_t gap = string_length(separator);
    size_t total;
    bool overflow = __builtin_mul_overflow(gap, size_t(count - 1), &total);
    // A null array holds nothing but the separators: no walk over a count
    // that may be huge when there is nothing to write.
    if (!strings.all_null())
        strings.each(count, [&](const Unit *text) {
            overflow |= __builtin_add_overflow(total, string_length(text), &total);
        });
    if (overflow) {
        errno = EOVERFLOW;
        return s;
    }
    Unit *block = new_block<Unit>(total);
    if (block == nullptr)
        return s;
    size_t at = 0;
    int32_t index = 0;
    if (total != 0)
        strings.each(count, [&](const Unit *text) {
            if (index++ != 0) {
                copy_units(block + at, separator, gap);
                at += gap;
            }
            const size_t n = string_length(text);
            copy_units(block + at, text, n);
            at += n;
        });
    block[total] = 0;
    replace_block(s, block);
    return s;
}

template <class Unit>
int32_t is_empty(const Unit *string) {
    return string == nullptr || string[0] == 0 ? 1 : 0;
}

}  // namespace
}  // namespace vesk::text

using namespace vesk::text;

extern "C" {

VESK_API NuSTR *NuSTRcpy(NuSTR *s, const char *text) { return assign(s, text, string_length(text)); }
VESK_API NuSTR *NuSTRncpy(NuSTR *s, const char *text, size_t n) { return assign(s, text, n); }
VESK_API NuWCS *NuWCScpy(NuWCS *s, const char16_t *text) {
    return assign(s, text, string_length(text));
}
VESK_API NuWCS *NuWCSncpy(NuWCS *s, const char16_t *text, size_t n) { return assign(s, text, n); }

VESK_API NuSTR *NuSTRcat(NuSTR *s, const char *text) { return append(s, text, string_length(text)); }
VESK_API NuSTR *NuSTRncat(NuSTR *s, const char *text, size_t n) { return append(s, text, n); }
VESK_API NuWCS *NuWCScat(NuWCS *s, const char16_t *text) {
    return append(s, text, string_length(text));
}
VESK_API NuWCS *NuWCSncat(NuWCS *s, const char16_t *text, size_t n) { return append(s, text, n); }

VESK_API NuSTR *NuSTRvintercalate(NuSTR *s, const char *separator, int32_t count,
                                  va_list strings) {
    return intercalate(s, separator, count, ListStrings<char>(strings));
}
VESK_API NuSTR *NuSTRintercalate(NuSTR *s, const char *separator, int32_t count, ...) {
    va_list strings;
    va_start(strings, count);
    NuSTRvintercalate(s, separator, count, strings);
    va_end(strings);
    return s;
}
VESK_API NuSTR *NuSTRnintercalate(NuSTR *s, const char *separator, const char *const *array,
                                  int32_t count) {
    return intercalate(s, separator, count, ArrayStrings<char>{array});
}
VESK_API NuWCS *NuWCSvintercalate(NuWCS *s, const char16_t *separator, int32_t count,
                                  va_list strings) {
    return intercalate(s, separator, count, ListStrings<char16_t>(strings));
}
VESK_API NuWCS *NuWCSintercalate(NuWCS *s, const char16_t *separator, int32_t count, ...) {
    va_list strings;
    va_start(strings, count);
    NuWCSvintercalate(s, separator, count, strings);
    va_end(strings);
    return s;
}
VESK_API NuWCS *NuWCSnintercalate(NuWCS *s, const char16_t *separator,
                                  const char16_t *const *array, int32_t count) {
    return intercalate(s, separator, count, ArrayStrings<char16_t>{array});
}

// One entry point under both names: the block is released whatever its unit.
VESK_API void NuSTRfree(NuSTR *s) {
    if (s != nullptr)
        replace_block<char>(s, nullptr);
}
VESK_API void NuWCSfree(NuWCS *s) __attribute__((alias("NuSTRfree")));

VESK_API int32_t NuSTRempty(const char *string) { return is_empty(string); }
VESK_API int32_t NuWCSempty(const char16_t *string) { return is_empty(string); }
VESK_API size_t NuSTRlen(const char *string) { return string_length(string); }
VESK_API size_t NuWCSlen(const char16_t *string) { return string_length(string); }

}  // extern "C"
