// SPDX-License-Identifier: MIT
// Formatting into growable strings, and the asprintf family.
//
// The 8-bit formats go to the C library's formatter, first into a buffer on
// the stack, which both measures and, for most texts, holds the result;
// only a longer text is formatted a second time straight into its block.
// The 16-bit formats go to our own formatter (wformat.cpp). Either way the
// old string is released last, so the format and its arguments may point
// into it.

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "nu.h"
#include "text/format.hpp"
#include "text/str.hpp"

namespace vesk::text {

Formatted<char> format_block(size_t head, Heap heap, const char *format, va_list arguments) {
    if (format == nullptr)
        format = "";
    char small[4096];
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(small, sizeof small, format, again);
    va_end(again);
    if (length < 0)
        return {};  // errno from the formatter
    size_t total, bytes;
    if (__builtin_add_overflow(head, size_t(length), &total) || !block_bytes<char>(total, &bytes))
        return {};
    auto *block = static_cast<char *>(heap.alloc(bytes));
    if (block == nullptr) {
        errno = ENOMEM;
        return {};
    }
    if (size_t(length) < sizeof small) {
        std::memcpy(block + head, small, size_t(length));
    } else {
        va_copy(again, arguments);
        std::vsnprintf(block + head, size_t(length) + 1, format, again);
        va_end(again);
    }
    block[total] = 0;
    return {block, size_t(length)};
}

namespace {

template <class Unit>
Unit **assign_formatted(Unit **s, const Unit *format, va_list arguments) {
    if (s == nullptr)
        return nullptr;
    const Formatted<Unit> text = format_block(0, kStringHeap, format, arguments);
    if (text.block != nullptr)
        replace_block(s, text.block);
    return s;
}

template <class Unit>
Unit **append_formatted(Unit **s, const Unit *format, va_list arguments) {
    if (s == nullptr)
        return nullptr;
    const size_t length = string_length(*s);
    const Formatted<Unit> text = format_block(length, kStringHeap, format, arguments);
    if (text.block != nullptr) {
        copy_units(text.block, *s, length);
        replace_block(s, text.block);
    }
    return s;
}

// The block comes from the C heap itself, not the allocator table, so that
// the caller can give it to free.
void release_to_c_heap(void *block) { std::free(block); }
constexpr Heap kCHeap = {std::malloc, release_to_c_heap};

template <class Unit>
int allocate_formatted(Unit **result, const Unit *format, va_list arguments) {
    if (result == nullptr) {
        errno = EINVAL;
        return -1;
    }
    const Formatted<Unit> text = format_block(0, kCHeap, format, arguments);
    *result = text.block;
    return text.block == nullptr ? -1 : int(text.length);  // the formatters stop at INT_MAX
}

}  // namespace
}  // namespace vesk::text

using namespace vesk::text;

extern "C" {

VESK_API NuSTR *NuSTRvprintf(NuSTR *s, const char *format, va_list arguments) {
    return assign_formatted(s, format, arguments);
}
VESK_API NuSTR *NuSTRprintf(NuSTR *s, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    assign_formatted(s, format, arguments);
    va_end(arguments);
    return s;
}
VESK_API NuSTR *NuSTRcatvprintf(NuSTR *s, const char *format, va_list arguments) {
    return append_formatted(s, format, arguments);
}
VESK_API NuSTR *NuSTRcatprintf(NuSTR *s, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    append_formatted(s, format, arguments);
    va_end(arguments);
    return s;
}

VESK_API NuWCS *NuWCSvprintf(NuWCS *s, const char16_t *format, va_list arguments) {
    return assign_formatted(s, format, arguments);
}
VESK_API NuWCS *NuWCSprintf(NuWCS *s, const char16_t *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    assign_formatted(s, format, arguments);
    va_end(arguments);
    return s;
}
VESK_API NuWCS *NuWCScatvprintf(NuWCS *s, const char16_t *format, va_list arguments) {
    return append_formatted(s, format, arguments);
}
VESK_API NuWCS *NuWCScatprintf(NuWCS *s, const char16_t *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    append_formatted(s, format, arguments);
    va_end(arguments);
    return s;
}

VESK_API int NuVasprintf(char **result, const char *format, va_list arguments) {
    return allocate_formatted(result, format, arguments);
}
VESK_API int NuAsprintf(char **result, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int n = allocate_formatted(result, format, arguments);
    va_end(arguments);
    return n;
}
VESK_API int vaswprintf(char16_t **result, const char16_t *format, va_list arguments) {
    return allocate_formatted(result, format, arguments);
}
VESK_API int aswprintf(char16_t **result, const char16_t *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int n = allocate_formatted(result, format, arguments);
    va_end(arguments);
    return n;
}

}  // extern "C"
