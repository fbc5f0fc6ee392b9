// SPDX-License-Identifier: MIT
// Splitting a text and finding its words: the everyday faces of NuStrtok.
// Every call switches both kinds of quotes on, so that a quoted stretch is one
// token; the caller turns them off with NU_TOK_NOQUOTE. The splitters cut the
// text in place as the scanner does; the word functions scan with
// NU_TOK_NOCUT and leave the text as it is.
#include <cerrno>
#include <cstring>

#include "nu.h"
#include "vesk.h"

namespace {

constexpr uint32_t kQuotes = NU_TOK_SQUOTE | NU_TOK_DQUOTE;
// The scanner's step flags take no token: a split under NU_TOK_SKIP would
// stand still, one under NU_TOK_FIXED would read the delimit-string as a
// count. They mean nothing here and are dropped.
constexpr uint32_t kStepFlags = NU_TOK_SKIP | NU_TOK_SETDELIM | NU_TOK_FIXED;

uint32_t split_flags(uint32_t flags) { return (flags & ~kStepFlags) | kQuotes; }
uint32_t word_flags(uint32_t flags) { return split_flags(flags) | NU_TOK_NOCUT; }
constexpr size_t kGrowth = 8;
// The results are signed 32-bit counts, and a failed split still tells how
// many entries it stored as -255 minus that number: no count may pass this.
constexpr size_t kMostTokens = INT32_MAX - 256;

// The delimit-string of a call: the caller's, or a writable copy of the
// default, since the scanner compiles in place.
class Delimit {
  public:
    explicit Delimit(char *given) : use_(given != nullptr ? given : fallback_) {}
    Delimit(const Delimit &) = delete;
    Delimit &operator=(const Delimit &) = delete;
    char *get() const { return use_; }

  private:
    char fallback_[5] = {' ', '\n', '\r', '\t', '\0'};
    char *use_;
};

int32_t refuse(VeskErr *status, int32_t code, int syserr, const char *function,
               const char *param) {
    VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_TOKEN, code, syserr, 2, function, param);
    return -1;
}

// A count or a length as the signed 32-bit result, or a report when it is
// more than the result can say (texts of gigabytes).
int32_t as_result(size_t n, VeskErr *status, const char *function) {
    if (n > kMostTokens)
        return refuse(status, VESK_E_2BIG, E2BIG, function, "@text");
    return static_cast<int32_t>(n);
}

int64_t next_token(NuSTRTOK *state, uint32_t flags, VeskErr *status) {
    return NuStrtok(nullptr, nullptr, flags, state, status);
}

struct Word {
    const char *text = nullptr;
    size_t len = 0;
};

// The word numbered `index` (from the back when negative), not cut out of the
// text: 1 with the word, 0 without one, -1 after the scanner's report. From
// the back, two scanners walk the text -index tokens apart, so that the last
// words take one pass and no buffer of tokens.
int64_t find_word(const char *text, char *delimit, uint32_t flags, int32_t index, Word *word,
                  VeskErr *status) {
    const Delimit d(delimit);
    flags = word_flags(flags);
    NuSTRTOK lead{};
    // NOCUT: the scanner writes nothing into the text.
    int64_t r = NuStrtok(const_cast<char *>(text), d.get(), flags, &lead, status);
    if (r != 1)
        return r;
    if (index >= 0) {
        for (int32_t passed = 0; passed < index; ++passed)
            if ((r = next_token(&lead, flags, status)) != 1)
                return r;
        *word = {lead.tok_text, lead.tok_len};
        return 1;
    }
    NuSTRTOK follow = lead;
    const int64_t gap = -static_cast<int64_t>(index);
    for (int64_t step = 1; step <= gap; ++step) {
        r = next_token(&lead, flags, status);
        if (r == -1)
            return -1;
        if (r == 0) {
            if (step < gap)
                return 0;  // fewer words than asked for
            break;         // the first token already is the word
        }
    }
    while (r == 1) {
        next_token(&follow, flags, nullptr);  // reads what the lead has read
        if ((r = next_token(&lead, flags, status)) == -1)
            return -1;
    }
    *word = {follow.tok_text, follow.tok_len};
    return 1;
}

}  // namespace

extern "C" {

VESK_API int32_t NuStrsplit(char *text, char *delimit, uint32_t flags, char **vector,
                            size_t size, VeskErr *status) {
    if (vector == nullptr)
        return refuse(status, VESK_E_FAULT, EFAULT, "NuStrsplit", "@output-strings-vector");
    if (size == 0)
        return refuse(status, VESK_E_BUFSMALL, EOVERFLOW, "NuStrsplit", "@output-strings-vector");
    const size_t room = size < kMostTokens ? size : kMostTokens;
    const Delimit d(delimit);
    flags = split_flags(flags);
    NuSTRTOK state{};
    size_t stored = 0;
    // The call after the last token that fits is made too, so that a syntax
    // error right behind it is seen; its token is dropped.
    int64_t r = NuStrtok(text, d.get(), flags, &state, status);
    while (r == 1 && stored < room) {
        vector[stored++] = state.tok_text;
        r = next_token(&state, flags, status);
    }
    if (r != -1)
        return static_cast<int32_t>(stored);
    return stored == 0 ? -1 : -255 - static_cast<int32_t>(stored);
}

VESK_API int32_t NuAStrsplit(char *text, char *delimit, uint32_t flags, char ***result,
                             VeskErr *status) {
    if (result == nullptr)
        return refuse(status, VESK_E_FAULT, EFAULT, "NuAStrsplit", "@output-strings-vector-ptr");
    size_t capacity = kGrowth;
    auto **vector = static_cast<char **>(_NuMcalloc(capacity, sizeof(char *), status));
    if (vector == nullptr) {
        VESK_STATUS_RESTAMP(status, VESK_FAC_TOKEN);
        return -1;
    }
    const Delimit d(delimit);
    flags = split_flags(flags);
    NuSTRTOK state{};
    size_t count = 0;
    int64_t r = NuStrtok(text, d.get(), flags, &state, status);
    for (; r == 1; r = next_token(&state, flags, status)) {
        vector[count++] = state.tok_text;
        if (count < capacity)
            continue;
        // Full: grow now, so that the closing null always has room.
        if (capacity >= kMostTokens) {
            refuse(status, VESK_E_2BIG, E2BIG, "NuAStrsplit", "@text");
            r = -1;
            break;
        }
        void *grown = _NuMrealloc(vector, (capacity + kGrowth) * sizeof(char *), status);
        if (grown == nullptr) {
            VESK_STATUS_RESTAMP(status, VESK_FAC_TOKEN);
            r = -1;
            break;
        }
        vector = static_cast<char **>(grown);
        capacity += kGrowth;
    }
    if (r == -1 || count == 0) {
        NuMfree(vector);
        if (r == -1)
            return -1;
        *result = nullptr;
        return 0;
    }
    vector[count] = nullptr;
    *result = vector;
    return static_cast<int32_t>(count);
}

VESK_API char **NuAStrsplit_s(char *text, VeskErr *status) {
    char **vector = nullptr;
    NuAStrsplit(text, nullptr, 0, &vector, status);
    return vector;
}

VESK_API int32_t NuStrlword(const char *text, char *delimit, uint32_t flags, int32_t index,
                            char *buffer, size_t size, VeskErr *status) {
    Word word;
    const int64_t r = find_word(text, delimit, flags, index, &word, status);
    if (r == -1)
        return -1;
    const int32_t length = as_result(word.len, status, "NuStrlword");
    if (length < 0)
        return -1;
    if (buffer != nullptr && size != 0) {
        const size_t kept = word.len < size - 1 ? word.len : size - 1;
        if (kept != 0)
            memmove(buffer, word.text, kept);
        buffer[kept] = '\0';
    }
    return length;
}

VESK_API int32_t NuStrword(const char *text, char *delimit, uint32_t flags, int32_t index,
                           char *buffer, VeskErr *status) {
    // No size: the caller knows that the word fits, or measures first.
    return NuStrlword(text, delimit, flags, index, buffer, SIZE_MAX, status);
}

VESK_API int32_t NuAStrword(const char *text, char *delimit, uint32_t flags, int32_t index,
                            char **result, VeskErr *status) {
    if (result == nullptr)
        return refuse(status, VESK_E_FAULT, EFAULT, "NuAStrword", "@output-word-ptr");
    *result = nullptr;
    Word word;
    const int64_t r = find_word(text, delimit, flags, index, &word, status);
    if (r != 1)
        return static_cast<int32_t>(r);
    const int32_t length = as_result(word.len, status, "NuAStrword");
    if (length < 0)
        return -1;
    auto *copy = static_cast<char *>(_NuMalloc(word.len + 1, status));
    if (copy == nullptr)
        return -1;
    memcpy(copy, word.text, word.len);
    copy[word.len] = '\0';
    *result = copy;
    return length;
}

VESK_API char *NuStrword_nr(const char *text, int32_t index, VeskErr *status) {
    static char buffer[1024];
    return NuStrlword(text, nullptr, 0, index, buffer, sizeof buffer, status) < 0 ? nullptr
                                                                                : buffer;
}

VESK_API int32_t NuStrwordc(const char *text, char *delimit, uint32_t flags, VeskErr *status) {
    const Delimit d(delimit);
    flags = word_flags(flags);
    NuSTRTOK state{};
    size_t count = 0;
    int64_t r = NuStrtok(const_cast<char *>(text), d.get(), flags, &state, status);
    for (; r == 1; r = next_token(&state, flags, status))
        ++count;
    return r == -1 ? -1 : as_result(count, status, "NuStrwordc");
}

}  // extern "C"
