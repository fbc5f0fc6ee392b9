// SPDX-License-Identifier: MIT
// Path lists: a path's elements, its directories, and the directories of a
// search path, for both flavours from one body.
#include <cstdlib>

#include "nu.h"
#include "paths/parts.hpp"

namespace vesk::paths {
namespace {

// Adds a copy of `text`; an element that no memory holds is dropped, and the
// list goes on with the next one.
void push(NuPathList *list, Span text) {
    if (list->count >= list->capacity) {
        if (list->capacity > UINT32_MAX / 2)
            return;
        const uint32_t capacity = list->capacity != 0 ? list->capacity * 2 : 2;
        void *grown = _NuMrealloc(list->items, size_t{capacity} * sizeof(NuSTR), nullptr);
        if (grown == nullptr)
            return;
        list->items = static_cast<NuSTR *>(grown);
        list->capacity = capacity;
    }
    if (char *element = Pieces(text).copy())
        list->items[list->count++] = element;
}

// Frees the elements; a count above the capacity is taken as the capacity.
void free_elements(NuPathList *list) {
    const uint32_t count = list->count < list->capacity ? list->count : list->capacity;
    for (uint32_t i = 0; i < count; ++i) {
        NuMfree(list->items[i]);
        list->items[i] = nullptr;
    }
    list->count = 0;
}

template <class F>
NuPathList *split_path(NuPathList *list, const char *text, bool directories) {
    using P = Parts<F>;
    if (list == nullptr)
        return nullptr;
    free_elements(list);
    const auto parts = P::split_drive(Span::of(text));
    if (!parts.text.empty())
        push(list, parts.text);
    const Span rest = parts.rest;
    size_t i = 0;
    while (i < rest.size) {
        const size_t start = i;
        while (i < rest.size && !F::is_sep(rest.data[i]))
            ++i;
        while (i < rest.size && F::is_sep(rest.data[i]))
            ++i;
        const Span element(rest.data + start, i - start);
        push(list, directories ? P::drop_trailing_sep(element) : element);
    }
    return list;
}

// Elements between search-path separators. In the POSIX flavour an empty
// element is the current directory "."; in the Windows flavour it is
// skipped, and double quotes protect separators: a quote closes only where a
// separator or the end follows it, and an element left open at the end is
// taken from its opening quote on.
template <class F>
NuPathList *split_search_path(NuPathList *list, const char *text) {
    if (list == nullptr)
        return nullptr;
    free_elements(list);
    const Span s = Span::of(text);
    const char sep = F::kSearchSep;
    size_t i = 0;
    while (i < s.size) {
        if (s.data[i] == sep) {
            if (F::kEmptySearchIsHere)
                push(list, Span(".", 1));
            ++i;
            continue;
        }
        if (F::kSearchQuotes && s.data[i] == '"') {
            size_t j = i + 1;
            while (j < s.size && !(s.data[j] == '"' && (j + 1 == s.size || s.data[j + 1] == sep)))
                ++j;
            if (j == s.size) {
                push(list, s.tail_from(i));
                break;
            }
            if (j > i + 1)
                push(list, Span(s.data + i + 1, j - i - 1));
            i = j + 2;
            continue;
        }
        size_t j = i;
        while (j < s.size && s.data[j] != sep)
            ++j;
        push(list, Span(s.data + i, j - i));
        i = j + 1;
    }
    return list;
}

template <class F>
NuPathList *get_search_path(NuPathList *list) {
    return split_search_path<F>(list, std::getenv("PATH"));
}

}  // namespace
}  // namespace vesk::paths

using vesk::paths::free_elements;
using vesk::paths::get_search_path;
using vesk::paths::PosixFlavour;
using vesk::paths::split_path;
using vesk::paths::split_search_path;
using vesk::paths::WinFlavour;

#define VESK_PATH_LISTS(Family, Flavour)                                                       \
    VESK_API NuPathList *Nu##Family##SplitPath(NuPathList *list, const char *path) {          \
        return split_path<Flavour>(list, path, false);                                         \
    }                                                                                          \
    VESK_API NuPathList *Nu##Family##SplitDirectories(NuPathList *list, const char *path) {   \
        return split_path<Flavour>(list, path, true);                                          \
    }                                                                                          \
    VESK_API NuPathList *Nu##Family##SplitSearchPath(NuPathList *list, const char *text) {    \
        return split_search_path<Flavour>(list, text);                                         \
    }                                                                                          \
    VESK_API NuPathList *Nu##Family##GetSearchPath(NuPathList *list) {                        \
        return get_search_path<Flavour>(list);                                                 \
    }

extern "C" {

VESK_PATH_LISTS(Posix, PosixFlavour)
VESK_PATH_LISTS(Win, WinFlavour)

VESK_API NuPathList *NuClearPathList(NuPathList *list) {
    if (list != nullptr)
        free_elements(list);
    return list;
}

VESK_API NuPathList *NuDestroyPathList(NuPathList *list) {
    if (list == nullptr)
        return nullptr;
    free_elements(list);
    NuMfree(list->items);
    list->items = nullptr;
    list->capacity = 0;
    return list;
}

}  // extern "C"
