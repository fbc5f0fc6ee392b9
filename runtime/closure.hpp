// SPDX-License-Identifier: MIT
// The calling thread's closure frames: one block per thread, taken and given
// back in last-in, first-out order. The common case of a take and a give is
// inline here, so that a front end's frame costs a few instructions; what is
// rare (the block's first use, overflow, a transient block's end) is in
// closure.cpp.
#pragma once

#include <cstdint>

#include "vesk.h"

namespace vesk::rt {

inline constexpr int32_t kFramesPerThread = VESK_FRAMES_PER_THREAD;

// What a take and a give read: the next free frame, the end of the frames,
// and the frame at or below which a give takes the slow way (the first, or
// the second in a block made after the thread's exit destructors, which goes
// with its last frame). Frames below `top` are in use.
struct FrameHead {
    VeskFrame *top;
    VeskFrame *end;
    VeskFrame *floor;
};

struct FrameBlock {
    FrameHead head;
    VeskFrame frames[kFramesPerThread];
};

// What the thread's word points to while it has no block: a head with no
// frame to take and none to give, so that the common take and give test
// one thing each and never a null pointer.
extern constinit FrameHead g_no_frames;

// The thread's block, or g_no_frames until its first take. Trivially
// destructible and in the initial-exec model: one load relative to the
// thread pointer.
extern constinit thread_local FrameHead *t_frames [[gnu::tls_model("initial-exec")]];

// The rare cases, out of line.
[[gnu::cold]] FrameHead *make_frame_block();
[[noreturn, gnu::cold]] void frames_overflow();
[[gnu::cold]] void give_frame_slow(FrameHead *b);

// The thread's block when a take needs nothing rare (the block exists and
// has a free frame), else null; then the caller takes its frame the full way.
[[gnu::always_inline]] inline FrameHead *frames_ready() {
    FrameHead *b = t_frames;
    return b->top != b->end ? b : nullptr;
}

[[gnu::always_inline]] inline VeskFrame *take_ready_frame(FrameHead *b) { return b->top++; }

inline VeskFrame *take_frame() {
    FrameHead *b = t_frames;
    if (b->top == b->end) [[unlikely]] {
        if (b != &g_no_frames)
            frames_overflow();
        b = make_frame_block();
    }
    return b->top++;
}

// Gives the top frame of `b` back. Past the common case: a transient
// block's last frame, or a give without a take, which changes nothing.
inline void give_frame(FrameHead *b) {
    if (b->top <= b->floor) [[unlikely]]
        return give_frame_slow(b);
    b->top -= 1;
}

// Gives the top frame of `b` back after a call and passes the call's result
// on; the rare give is a tail call that hands the result through.
template <class Result>
[[gnu::cold, gnu::noinline]] Result give_frame_slow_then(FrameHead *b, Result result) {
    give_frame_slow(b);
    return result;
}

template <class Result>
[[gnu::always_inline]] inline Result give_frame_then(FrameHead *b, Result result) {
    VeskFrame *top = b->top - 1;
    if (top < b->floor) [[unlikely]]
        return give_frame_slow_then(b, result);
    b->top = top;
    return result;
}

}  // namespace vesk::rt
