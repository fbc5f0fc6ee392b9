// SPDX-License-Identifier: MIT
// Charset conversion beside glibc's iconv and, when its development files are
// there, ICU, on the same text: Cyrillic prose in light ASCII markup, 1 KB and
// 64 KB. Bytes of input per second. "Vesk" is the fast path between stock
// converters, "VeskRoad" the road through the converter rows (two calls per
// character); the library's objects are linked in so that the second can be
// chosen. Name resolution: VeskCcsiGetidbyname beside iconv_open.
#include <benchmark/benchmark.h>
#include <iconv.h>

#include <cstring>
#include <string>
#include <vector>

#include "services/ccs_convert.hpp"
#include "vesk.h"

#ifdef VESK_BENCH_WITH_ICU
#include <unicode/ucnv.h>
#endif

namespace {

// ~1 KB of prose, repeated up to the size asked for; `typeset` puts the
// printer's dashes, ellipses and quotes (three- and two-byte forms) in
// place of the entity and the ASCII ones.
std::string utf8_text(size_t size, bool typeset = false) {
    const std::string para =
        "<p class=\"text\">Мороз и солнце; день чудесный! Ещё ты дремлешь, друг прелестный, "
        "пора, красавица, проснись: открой сомкнуты негой взоры навстречу северной Авроры, "
        "звездою севера явись!</p>\n<p>Вечор, ты помнишь, вьюга злилась, на мутном небе мгла "
        "носилась; луна, как бледное пятно, сквозь тучи мрачные желтела, и ты печальная "
        "сидела &mdash; а нынче... погляди в окно: под голубыми небесами великолепными "
        "коврами, блестя на солнце, снег лежит.</p>\n";
    std::string text = para;
    if (typeset)
        for (auto [from, to] : {std::pair<std::string, std::string>{"&mdash;", "—"}, {"...", "…"},
                                {"\"text\"", "«text»"}})
            for (size_t at; (at = text.find(from)) != std::string::npos;)
                text.replace(at, from.size(), to);
    std::string out;
    while (out.size() < size)
        out += text;
    // Cut at a character boundary.
    size_t n = size;
    while (n > 0 && (static_cast<unsigned char>(out[n]) & 0xC0) == 0x80)
        --n;
    out.resize(n);
    return out;
}

std::string via_iconv(const std::string &in, const char *to, const char *from) {
    iconv_t cd = iconv_open(to, from);
    std::string out(in.size() * 4 + 16, '\0');
    char *ip = const_cast<char *>(in.data()), *op = out.data();
    size_t il = in.size(), ol = out.size();
    iconv(cd, &ip, &il, &op, &ol);
    iconv_close(cd);
    out.resize(out.size() - ol);
    return out;
}

// kTypesetToUtf16 is UTF-8 to UTF-16 again, on the typeset prose.
enum Pair { kUtf8ToUtf16, kUtf16ToUtf8, kCp1251ToUtf8, kKoi8rToUtf16, kTypesetToUtf16 };

constexpr bool to_wide(Pair p) { return p == kUtf8ToUtf16 || p == kKoi8rToUtf16 || p == kTypesetToUtf16; }

struct Input {
    std::string bytes;   // the source as bytes (UTF-16LE for kUtf16ToUtf8)
    uint32_t chars;      // characters of the source
};

Input input_for(Pair pair, size_t size) {
    const std::string u8 = utf8_text(size, pair == kTypesetToUtf16);
    switch (pair) {
    case kUtf8ToUtf16:
    case kTypesetToUtf16: {
        const std::string w = via_iconv(u8, "UTF-16LE", "UTF-8");
        return {u8, static_cast<uint32_t>(w.size() / 2)};
    }
    case kUtf16ToUtf8: {
        const std::string w = via_iconv(u8, "UTF-16LE", "UTF-8");
        return {w, static_cast<uint32_t>(w.size() / 2)};
    }
    case kCp1251ToUtf8: {
        const std::string b = via_iconv(u8, "CP1251", "UTF-8");
        return {b, static_cast<uint32_t>(b.size())};
    }
    default: {
        const std::string b = via_iconv(u8, "KOI8-R", "UTF-8");
        return {b, static_cast<uint32_t>(b.size())};
    }
    }
}

const char *iconv_from(Pair p) {
    return p == kUtf16ToUtf8 ? "UTF-16LE" : p == kCp1251ToUtf8 ? "CP1251" : p == kKoi8rToUtf16 ? "KOI8-R" : "UTF-8";
}
const char *iconv_to(Pair p) { return to_wide(p) ? "UTF-16LE" : "UTF-8"; }

void set_label(benchmark::State &state, const Input &in) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(in.bytes.size()));
    state.SetLabel(std::to_string(in.bytes.size()) + " B in");
}

template <Pair kPair, bool kFast>
void BM_Vesk(benchmark::State &state) {
    const Input in = input_for(kPair, static_cast<size_t>(state.range(0)));
    const int32_t ids[][2] = {{106, 1000}, {1000, 106}, {2251, 106}, {2084, 1000}, {106, 1000}};
    VeskCcscvtor cv;
    if (VeskOpenCcscvtor_i(nullptr, ids[kPair][0], ids[kPair][1], &cv, nullptr) != 0) {
        state.SkipWithError("open");
        return;
    }
    std::vector<char> out(in.bytes.size() * 4 + 16);
    vesk::ccs::fast_path_enabled = kFast;
    for (auto _ : state) {
        int32_t r;
        if constexpr (to_wide(kPair))
            r = VeskCcsconv_b_2wc(&cv, in.bytes.data(), in.chars, reinterpret_cast<char16_t *>(out.data()),
                                  static_cast<uint32_t>(out.size() / 2), nullptr);
        else if constexpr (kPair == kUtf16ToUtf8)
            r = VeskCcsconv_b_2mb(&cv, reinterpret_cast<const char16_t *>(in.bytes.data()), in.chars,
                                  out.data(), static_cast<uint32_t>(out.size()), nullptr);
        else
            r = VeskCcsconv_b(&cv, in.bytes.data(), static_cast<uint32_t>(in.bytes.size()), out.data(),
                              static_cast<uint32_t>(out.size()), nullptr);
        benchmark::DoNotOptimize(r);
        if (r < 0)
            state.SkipWithError("conversion failed");
    }
    vesk::ccs::fast_path_enabled = true;
    VeskCcscvtorClose(&cv, nullptr);
    set_label(state, in);
}

template <Pair kPair>
void BM_Iconv(benchmark::State &state) {
    const Input in = input_for(kPair, static_cast<size_t>(state.range(0)));
    iconv_t cd = iconv_open(iconv_to(kPair), iconv_from(kPair));
    std::vector<char> out(in.bytes.size() * 4 + 16);
    for (auto _ : state) {
        char *ip = const_cast<char *>(in.bytes.data()), *op = out.data();
        size_t il = in.bytes.size(), ol = out.size();
        iconv(cd, nullptr, nullptr, nullptr, nullptr);
        const size_t r = iconv(cd, &ip, &il, &op, &ol);
        benchmark::DoNotOptimize(r);
        if (r == static_cast<size_t>(-1))
            state.SkipWithError("iconv failed");
    }
    iconv_close(cd);
    set_label(state, in);
}

#ifdef VESK_BENCH_WITH_ICU
const char *icu_name(Pair p, bool from) {
    if (from)
        return p == kUtf16ToUtf8 ? "UTF-16LE" : p == kCp1251ToUtf8 ? "windows-1251" : p == kKoi8rToUtf16 ? "KOI8-R" : "UTF-8";
    return "UTF-8";
}

template <Pair kPair>
void BM_Icu(benchmark::State &state) {
    const Input in = input_for(kPair, static_cast<size_t>(state.range(0)));
    UErrorCode ec = U_ZERO_ERROR;
    UConverter *src = ucnv_open(icu_name(kPair, true), &ec);
    UConverter *dst = ucnv_open("UTF-8", &ec);
    std::vector<char> out(in.bytes.size() * 4 + 16);
    std::vector<UChar> pivot(1024);
    for (auto _ : state) {
        ec = U_ZERO_ERROR;
        int32_t r;
        if constexpr (to_wide(kPair)) {
            r = ucnv_toUChars(src, reinterpret_cast<UChar *>(out.data()), static_cast<int32_t>(out.size() / 2),
                              in.bytes.data(), static_cast<int32_t>(in.bytes.size()), &ec);
        } else if constexpr (kPair == kUtf16ToUtf8) {
            r = ucnv_fromUChars(dst, out.data(), static_cast<int32_t>(out.size()),
                                reinterpret_cast<const UChar *>(in.bytes.data()), static_cast<int32_t>(in.chars), &ec);
        } else {
            char *op = out.data();
            const char *ip = in.bytes.data();
            UChar *ps = pivot.data(), *pt = pivot.data();
            ucnv_convertEx(dst, src, &op, out.data() + out.size(), &ip, ip + in.bytes.size(), pivot.data(),
                           &ps, &pt, pivot.data() + pivot.size(), true, true, &ec);
            r = static_cast<int32_t>(op - out.data());
        }
        benchmark::DoNotOptimize(r);
        if (U_FAILURE(ec))
            state.SkipWithError("ICU failed");
    }
    ucnv_close(src);
    ucnv_close(dst);
    set_label(state, in);
}
#endif

#define VESK_CCS_BENCH_(pair)                                                   \
    BENCHMARK(BM_Vesk<pair, true>)->Name("BM_Vesk<" #pair ">")->Arg(1024)->Arg(65536); \
    BENCHMARK(BM_Vesk<pair, false>)->Name("BM_VeskRoad<" #pair ">")->Arg(1024)->Arg(65536); \
    BENCHMARK(BM_Iconv<pair>)->Arg(1024)->Arg(65536)

VESK_CCS_BENCH_(kUtf8ToUtf16);
VESK_CCS_BENCH_(kUtf16ToUtf8);
VESK_CCS_BENCH_(kCp1251ToUtf8);
VESK_CCS_BENCH_(kKoi8rToUtf16);
VESK_CCS_BENCH_(kTypesetToUtf16);
#ifdef VESK_BENCH_WITH_ICU
BENCHMARK(BM_Icu<kUtf8ToUtf16>)->Arg(1024)->Arg(65536);
BENCHMARK(BM_Icu<kUtf16ToUtf8>)->Arg(1024)->Arg(65536);
BENCHMARK(BM_Icu<kCp1251ToUtf8>)->Arg(1024)->Arg(65536);
BENCHMARK(BM_Icu<kKoi8rToUtf16>)->Arg(1024)->Arg(65536);
BENCHMARK(BM_Icu<kTypesetToUtf16>)->Arg(1024)->Arg(65536);
#endif

// Resolving a name: the library's lookup beside iconv_open, the one place a
// glibc user resolves a charset name (it resolves the second name too and
// opens a descriptor, closed here, which is what such a user pays). The
// second name is the one every converter here has on its other side.
// Names: a primary name, an alias in an odd case, a name neither knows.
const char *const kNames[] = {"KOI8-R", "cSkOi8r", "x-no-such-charset"};
const char *const kNameKinds[] = {"primary", "alias in odd case", "unknown"};

void BM_VeskGetidbyname(benchmark::State &state) {
    const char *name = kNames[state.range(0)];
    const int32_t expect = state.range(0) == 2 ? VESK_CCS_UNKNOWN : 2084;
    if (VeskCcsiGetidbyname(nullptr, name, nullptr) != expect) {
        state.SkipWithError("unexpected answer");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(name);
        benchmark::DoNotOptimize(VeskCcsiGetidbyname(nullptr, name, nullptr));
    }
    state.SetLabel(std::string(name) + " (" + kNameKinds[state.range(0)] + ")");
}
BENCHMARK(BM_VeskGetidbyname)->DenseRange(0, 2);

void BM_IconvOpen(benchmark::State &state) {
    const char *name = kNames[state.range(0)];
    const bool known = state.range(0) != 2;
    iconv_t probe = iconv_open("UTF-8", name);
    if ((probe != reinterpret_cast<iconv_t>(-1)) != known) {
        state.SkipWithError("unexpected answer");
        return;
    }
    if (known)
        iconv_close(probe);
    for (auto _ : state) {
        benchmark::DoNotOptimize(name);
        iconv_t cd = iconv_open("UTF-8", name);
        benchmark::DoNotOptimize(cd);
        if (cd != reinterpret_cast<iconv_t>(-1))
            iconv_close(cd);
    }
    state.SetLabel(std::string(name) + " (" + kNameKinds[state.range(0)] + ")");
}
BENCHMARK(BM_IconvOpen)->DenseRange(0, 2);

}  // namespace

BENCHMARK_MAIN();
