// SPDX-License-Identifier: MIT
// Differential fuzzing of the edit distance: three costs (any 32-bit values)
// and two strings from each input, against the full matrix in 64 bits. The
// library must give the same distance, or -1 with EINVAL for a negative cost
// and with EOVERFLOW for a distance above INT32_MAX.
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "nu.h"

namespace {

// Past 511 units the rows leave the stack.
constexpr size_t kLongest = 700;

int64_t full_matrix(const std::u16string &a, const std::u16string &b, int64_t ins, int64_t rep,
                    int64_t del) {
    std::vector<int64_t> d((a.size() + 1) * (b.size() + 1));
    const size_t w = b.size() + 1;
    for (size_t i = 0; i <= a.size(); ++i)
        for (size_t j = 0; j <= b.size(); ++j)
            d[i * w + j] =
                i == 0   ? int64_t(j) * ins
                : j == 0 ? int64_t(i) * del
                         : std::min({d[(i - 1) * w + j - 1] + (a[i - 1] == b[j - 1] ? 0 : rep),
                                     d[(i - 1) * w + j] + del, d[i * w + j - 1] + ins});
    return d.back();
}

int32_t read32(const uint8_t *p) {
    uint32_t v = 0;
    std::memcpy(&v, p, sizeof v);
    return static_cast<int32_t>(v);
}

[[noreturn]] void fail(const char *what, int32_t got, int64_t want, int err) {
    std::fprintf(stderr, "%s: got %d (errno %d), want %lld\n", what, got, err,
                 static_cast<long long>(want));
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 13)
        return 0;
    // Small costs are the usual case; the top bit of a flag byte makes one
    // cost a raw 32-bit value, negative and huge ones included.
    const uint8_t flags = data[12];
    int32_t costs[3];
    for (int k = 0; k < 3; ++k) {
        const int32_t raw = read32(data + 4 * k);
        costs[k] =
            (flags >> k & 1) != 0 ? raw : static_cast<int32_t>(static_cast<uint32_t>(raw) % 8);
    }
    const auto *rest = reinterpret_cast<const char *>(data + 13);
    const size_t left = size - 13;
    const char *cut = static_cast<const char *>(std::memchr(rest, 0, left));
    const std::string s1(rest, cut != nullptr ? cut : rest + left);
    const std::string s2 = cut != nullptr ? std::string(cut + 1, rest + left) : std::string();
    if (s1.size() > kLongest || s2.size() > kLongest)
        return 0;
    const std::u16string w1(s1.begin(), s1.end()), w2(s2.begin(), s2.end());
    const auto [ins, rep, del] = costs;
    errno = 0;
    const int32_t narrow =
        NuLevenshtein(s1.data(), int64_t(s1.size()), s2.data(), int64_t(s2.size()), ins, rep, del);
    const int narrow_errno = errno;
    errno = 0;
    const int32_t wide =
        NuWLevenshtein(w1.data(), int64_t(w1.size()), w2.data(), int64_t(w2.size()), ins, rep, del);
    if (wide != narrow || errno != narrow_errno)
        fail("8-bit and 16-bit differ", wide, narrow, errno);
    if (ins < 0 || rep < 0 || del < 0) {
        if (narrow != -1 || narrow_errno != EINVAL)
            fail("negative cost", narrow, -1, narrow_errno);
        return 0;
    }
    const int64_t want = full_matrix(w1, w2, ins, rep, del);
    if (want > INT32_MAX ? narrow != -1 || narrow_errno != EOVERFLOW : narrow != want)
        fail("distance", narrow, want, narrow_errno);
    return 0;
}
