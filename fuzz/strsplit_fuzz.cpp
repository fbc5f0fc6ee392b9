// SPDX-License-Identifier: MIT
// The splitters and word functions on random delimit-strings, flags and
// texts, held to each other. The input is: a byte of flags, a byte of vector
// size, a delimit-string, a NUL, then the text.
//
// - NuAStrsplit and NuStrsplit into a vector with room for every token store
//   the same tokens at the same places; into a small vector NuStrsplit stores
//   the first of them and encodes its result as defined (a count, -1, or -255
//   minus the number stored when the scanner reports).
// - NuStrwordc counts what NuAStrsplit splits; NuStrword finds, from the front
//   and from the back, each token where the split found it, and leaves the
//   text untouched.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/upward_calls.hpp"
#include "nu.h"

// The library's allocator entry points, straight over the C heap (its own
// table brings the whole lower layer along).
extern "C" {
void *_NuMalloc(size_t size, VeskErr *) { return std::malloc(size); }
void *_NuMcalloc(size_t count, size_t size, VeskErr *) { return std::calloc(count, size); }
void *_NuMrealloc(void *block, size_t size, VeskErr *) { return std::realloc(block, size); }
void NuMfree(void *block) { std::free(block); }
}

namespace {

[[noreturn]] void fail(const char *what, long long got, long long want) {
    std::fprintf(stderr, "%s: got %lld, want %lld\n", what, got, want);
    std::abort();
}

void expect(const char *what, long long got, long long want) {
    if (got != want)
        fail(what, got, want);
}

// A fresh writable delimit-string for each call (they are compiled in place),
// or null for the default.
struct Delimit {
    bool given;
    std::string text;
    char *fresh() {
        if (!given)
            return nullptr;
        copy = text;
        return copy.data();
    }
    std::string copy;
};

// The number of tokens a split result says were stored.
long long stored_by(int32_t r) { return r >= 0 ? r : r == -1 ? 0 : -255LL - r; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 2)
        return 0;
    // Every flag the scanner knows; the word functions drop the step flags.
    const uint32_t flags = (data[0] & 0xF7u) | (uint32_t(data[0] & 0x08u) << 9);
    const size_t room = data[1] % 12;
    const std::string rest(reinterpret_cast<const char *>(data + 2), size - 2);
    const size_t nul = rest.find('\0');
    Delimit delimit{nul != std::string::npos, nul == std::string::npos ? "" : rest.substr(0, nul), {}};
    const std::string text = nul == std::string::npos ? rest : rest.substr(nul + 1);

    // The whole split, in a vector of its own and in the caller's.
    std::string a = text;
    char **v = nullptr;
    const int32_t n = NuAStrsplit(a.data(), delimit.fresh(), flags, &v, nullptr);
    std::string b = text;
    std::vector<char *> full(text.size() + 2, nullptr);
    const int32_t all = NuStrsplit(b.data(), delimit.fresh(), flags, full.data(), full.size(), nullptr);
    const long long tokens = stored_by(all);
    if (n >= 0) {
        expect("split vs split into room", all, n);
        if (n > 0 && v[n] != nullptr)
            fail("no null behind the tokens", n, 0);
    } else {
        expect("failed split", n, -1);
        expect("failed split into room", all >= 0, 0);
    }
    for (long long i = 0; i < tokens && n > 0; ++i)
        expect("token place", full[i] - b.data(), v[i] - a.data());
    for (long long i = tokens; i < (long long)full.size(); ++i)
        if (full[i] != nullptr)
            fail("written behind the tokens", i, tokens);
    NuMfree(v);

    // Into a small vector: the first tokens, and the error only if the look
    // behind the last one stored reaches it.
    if (room > 0) {
        std::string c = text;
        std::vector<char *> small(room);
        const int32_t r = NuStrsplit(c.data(), delimit.fresh(), flags, small.data(), room, nullptr);
        const long long want_stored = tokens < (long long)room ? tokens : (long long)room;
        // The error comes through when the look behind the last token
        // stored reaches it.
        expect("small split result", r, all < 0 && tokens <= (long long)room ? all : want_stored);
        for (long long i = 0; i < want_stored; ++i)
            expect("small token place", small[i] - c.data(), full[i] - b.data());
    }

    // The word functions see the same tokens without cutting.
    const int32_t count = NuStrwordc(text.c_str(), delimit.fresh(), flags, nullptr);
    expect("word count", count, n >= 0 ? n : -1);
    if (n < 0)
        return 0;
    for (int32_t i = 0; i < n && i < 64; ++i) {
        for (const int32_t index : {i, i - n}) {
            char *word = nullptr;
            const int32_t len = NuAStrword(text.c_str(), delimit.fresh(), flags, index, &word, nullptr);
            if (len <= 0 || word == nullptr)
                fail("word missing", len, index);
            const size_t at = size_t(full[i] - b.data());
            if (text.compare(at, size_t(len), word) != 0)
                fail("word differs from the token", index, i);
            NuMfree(word);
        }
    }
    expect("word past the end", NuStrword(text.c_str(), delimit.fresh(), flags, n, nullptr, nullptr), 0);
    expect("word before the start",
           NuStrword(text.c_str(), delimit.fresh(), flags, -n - 1, nullptr, nullptr), 0);
    return 0;
}
