// SPDX-License-Identifier: MIT
// Calls of the path functions as plain strings, for tables of cases: an
// output that ends null reads "<null>".
#pragma once

#include <string>
#include <vector>

#include "nu.h"

namespace vesk_test {

inline const std::string kNull = "<null>";

// An output variable that frees itself.
struct Out {
    NuSTR s = nullptr;
    Out() = default;
    explicit Out(const char *text) { NuSTRcpy(&s, text); }
    ~Out() { NuSTRfree(&s); }
    Out(const Out &) = delete;
    Out &operator=(const Out &) = delete;
    std::string text() const { return s != nullptr ? std::string(s) : kNull; }
};

using Unary = NuSTR *(*)(NuSTR *, const char *);
using Binary = NuSTR *(*)(NuSTR *, const char *, const char *);
using Split = void (*)(NuSTR *, NuSTR *, const char *);

inline std::string call(Unary f, const char *path) {
    Out o;
    f(&o.s, path);
    return o.text();
}

inline std::string call(Binary f, const char *a, const char *b) {
    Out o;
    f(&o.s, a, b);
    return o.text();
}

inline std::string split(Split f, const char *path) {  // "first|second"
    Out a, b;
    f(&a.s, &b.s, path);
    return a.text() + "|" + b.text();
}

// The elements joined by "|"; the list is destroyed.
inline std::string joined(NuPathList *list) {
    std::string out;
    for (uint32_t i = 0; i < list->count; ++i)
        out += (i != 0 ? "|" : "") + std::string(list->items[i]);
    NuDestroyPathList(list);
    return out;
}

}  // namespace vesk_test
