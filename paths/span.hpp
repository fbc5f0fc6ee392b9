// SPDX-License-Identifier: MIT
// Path text as spans of bytes, and the one way a result reaches its output
// variable: every piece is copied into a fresh block before the variable's
// old block is released, so that any input may be the output's own text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "nu.h"

namespace vesk::paths {

// A stretch of bytes; null reads as empty.
struct Span {
    const char *data = "";
    size_t size = 0;

    Span() = default;
    Span(const char *p, size_t n) : data(p != nullptr ? p : ""), size(p != nullptr ? n : 0) {}
    static Span of(const char *text) {
        return text != nullptr ? Span(text, std::strlen(text)) : Span();
    }

    bool empty() const { return size == 0; }
    char back() const { return data[size - 1]; }
    Span head(size_t n) const { return {data, n}; }
    Span tail_from(size_t from) const { return {data + from, size - from}; }
    bool equals(Span other) const {
        return size == other.size && (size == 0 || std::memcmp(data, other.data, size) == 0);
    }
};

// A result made of a few spans, or no string at all (a null output).
class Pieces {
public:
    static constexpr int kMax = 8;

    static Pieces none() {
        Pieces p;
        p.null_ = true;
        return p;
    }

    Pieces() = default;
    Pieces(Span s) { add(s); }  // NOLINT: a span is a one-piece result

    Pieces &add(Span s) {
        if (!s.empty()) {
            part_[count_++] = s;
            size_ += s.size;
        }
        return *this;
    }
    Pieces &add(const Pieces &other) {
        for (int i = 0; i < other.count_; ++i)
            add(other.part_[i]);
        return *this;
    }

    bool is_null() const { return null_; }
    size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    // The first and last byte; only for a result that is not empty.
    char front() const { return part_[0].data[0]; }
    char back() const { return part_[count_ - 1].back(); }
    // The result as one span when it is one piece (or none).
    bool single(Span *out) const {
        if (count_ > 1)
            return false;
        *out = count_ == 1 ? part_[0] : Span();
        return true;
    }

    // Copies the pieces into a new block of exactly size + 1 bytes; null if
    // the block can't be had.
    char *copy() const {
        char *block = static_cast<char *>(NuMalloc(size_ + 1));
        if (block == nullptr)
            return nullptr;
        size_t at = 0;
        for (int i = 0; i < count_; ++i) {
            std::memcpy(block + at, part_[i].data, part_[i].size);
            at += part_[i].size;
        }
        block[at] = '\0';
        return block;
    }

private:
    Span part_[kMax];
    int count_ = 0;
    size_t size_ = 0;
    bool null_ = false;
};

// Puts a made block into `out`, releasing what it held.
inline void replace(NuSTR *out, char *block) {
    char *old = *out;
    *out = block;
    NuMfree(old);
}

// `out` (if given) becomes the result. When no block can be had the output
// keeps what it held, as the string family does.
inline NuSTR *store(NuSTR *out, const Pieces &result) {
    if (out == nullptr)
        return nullptr;
    if (result.is_null()) {
        replace(out, nullptr);
        return out;
    }
    if (char *block = result.copy())
        replace(out, block);
    return out;
}

// Two outputs at once, both made before either variable changes, so that the
// input may be the text of either. If both are the same variable, the second
// result is the one it keeps.
inline void store_two(NuSTR *first, const Pieces &a, NuSTR *second, const Pieces &b) {
    if (second == first) {
        store(second, b);
        return;
    }
    char *made_a = nullptr;
    char *made_b = nullptr;
    if (first != nullptr && !a.is_null() && (made_a = a.copy()) == nullptr)
        return;
    if (second != nullptr && !b.is_null() && (made_b = b.copy()) == nullptr) {
        NuMfree(made_a);
        return;
    }
    if (first != nullptr)
        replace(first, made_a);
    if (second != nullptr)
        replace(second, made_b);
}

}  // namespace vesk::paths
