// SPDX-License-Identifier: MIT
// The run forms' fast path between two stock converters against the road
// through the converter rows: for every pair of stock charsets and every
// form, the same result, the same report, the same output bytes and the same
// positions. The fast path runs twice, with the shuffle decode of UTF-8 and
// with the base one (the same where the processor lacks shuffles). The
// library is compiled into this target, so that the switches (not
// exported) can be thrown between the runs.
//
// Input: a byte choosing the pair, a byte choosing the form and its options,
// a byte for the room of the destination, then the text.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "services/ccs_convert.hpp"
#include "vesk.h"

namespace {

constexpr int32_t kCharsets[] = {2088, 2084, 106, 2086, 8, 2251};
constexpr int kForms = 9;
constexpr size_t kPad = 16;

struct Outcome {
    int32_t result;
    int64_t status;
    std::vector<unsigned char> out;
    int64_t src_moved, dst_moved;
    uint32_t srcleft, dstleft;
};

[[noreturn]] void differ(const char *what, int form, int32_t a, int32_t b) {
    std::fprintf(stderr, "fast path and road differ in %s (form %d, %d vs %d)\n", what, form, a, b);
    std::abort();
}

Outcome run(VeskCcscvtor *cv, int form, bool to_nul, uint32_t room, const std::vector<unsigned char> &text,
            size_t length) {
    Outcome o{};
    VeskErr err{};
    // The source with padding behind it: counted forms that read whole
    // characters past a short text read zeros, as do the NUL-ended ones.
    std::vector<unsigned char> src(text);
    src.resize(text.size() + kPad + length * 2, 0);
    std::vector<unsigned char> dst(3 * (length + 2) * 2 + kPad, 0xEE);
    const char *s = reinterpret_cast<const char *>(src.data());
    const char16_t *w = reinterpret_cast<const char16_t *>(src.data());
    char *d = reinterpret_cast<char *>(dst.data());
    char16_t *wd = reinterpret_cast<char16_t *>(dst.data());
    const uint32_t blen = to_nul ? VESK_CCS_TONUL : static_cast<uint32_t>(length);
    const uint32_t wlen = to_nul ? VESK_CCS_TONUL : static_cast<uint32_t>(length / 2);
    const uint32_t dsize = room == 0xFF ? static_cast<uint32_t>(dst.size() / 2) : room;
    switch (form) {
    case 0: case 1: case 2: {
        const char *p = s;
        const char16_t *wp = w;
        char *q = d;
        char16_t *wq = wd;
        o.srcleft = static_cast<uint32_t>(form == 1 ? length / 2 : length);
        o.dstleft = dsize;
        if (form == 0)
            o.result = VeskCcsconv(cv, &p, &o.srcleft, room == 0 ? nullptr : &q, &o.dstleft, &err);
        else if (form == 1)
            o.result = VeskCcsconv_2mb(cv, &wp, &o.srcleft, room == 0 ? nullptr : &q, &o.dstleft, &err);
        else
            o.result = VeskCcsconv_2wc(cv, &p, &o.srcleft, room == 0 ? nullptr : &wq, &o.dstleft, &err);
        o.src_moved = form == 1 ? wp - w : p - s;
        o.dst_moved = form == 2 ? wq - wd : q - d;
        break;
    }
    case 3: o.result = VeskCcsconv_b(cv, s, blen, room == 0 ? nullptr : d, dsize, &err); break;
    case 4: o.result = VeskCcsconv_b_2mb(cv, w, wlen, d, dsize, &err); break;
    case 5: o.result = VeskCcsconv_b_2wc(cv, s, blen, wd, dsize / 2, &err); break;
    case 6: o.result = VeskCcsconv_s(cv, s, room == 0 ? nullptr : d, &err); break;
    case 7: o.result = VeskCcsconv_s_2mb(cv, w, room == 0 ? nullptr : d, &err); break;
    default: o.result = VeskCcsconv_s_2wc(cv, s, room == 0 ? nullptr : wd, &err); break;
    }
    o.status = err.status;
    o.out = dst;
    return o;
}

void same_as_road(const Outcome &fast, const Outcome &road, int form) {
    if (fast.result != road.result)
        differ("result", form, fast.result, road.result);
    if (fast.status != road.status)
        differ("report", form, int32_t(fast.status), int32_t(road.status));
    if (fast.out != road.out)
        differ("output", form, 0, 0);
    if (fast.src_moved != road.src_moved || fast.dst_moved != road.dst_moved ||
        fast.srcleft != road.srcleft || fast.dstleft != road.dstleft)
        differ("positions", form, int32_t(fast.src_moved), int32_t(road.src_moved));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 3)
        return 0;
    const int32_t from = kCharsets[data[0] % 6];
    const int32_t to = kCharsets[(data[0] / 6) % 6];
    const int form = data[1] % kForms;
    const bool to_nul = (data[1] / kForms) & 1;
    const uint32_t room = data[2];
    std::vector<unsigned char> text(data + 3, data + size);
    VeskCcscvtor cv;
    if (VeskOpenCcscvtor_i(nullptr, from, to, &cv, nullptr) != 0)
        std::abort();
    vesk::ccs::fast_path_enabled = true;
    const Outcome fast = run(&cv, form, to_nul, room, text, text.size());
    vesk::ccs::bulk::utf8_shuffle_enabled = false;
    const Outcome base = run(&cv, form, to_nul, room, text, text.size());
    vesk::ccs::bulk::utf8_shuffle_enabled = true;
    vesk::ccs::fast_path_enabled = false;
    const Outcome road = run(&cv, form, to_nul, room, text, text.size());
    vesk::ccs::fast_path_enabled = true;
    VeskCcscvtorClose(&cv, nullptr);
    same_as_road(fast, road, form);
    same_as_road(base, road, form);
    return 0;
}
