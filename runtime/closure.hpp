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

struct FrameBlock {
    int32_t depth;     // frames in use: frame i is in use when i < depth
    int32_t transient; // made after the thread's exit destructors; freed with its last frame
    VeskFrame frames[kFramesPerThread];
};

// The thread's block, or null until its first take. Trivially destructible
// and in the initial-exec model: one load relative to the thread pointer.
extern constinit thread_local FrameBlock *t_frames [[gnu::tls_model("initial-exec")]];

// The rare cases, out of line.
[[gnu::cold]] FrameBlock *make_frame_block();
[[noreturn, gnu::cold]] void frames_overflow();
[[gnu::cold]] void give_frame_slow(FrameBlock *b);

inline VeskFrame *take_frame(FrameBlock *&block) {
    FrameBlock *b = t_frames;
    if (b == nullptr) [[unlikely]]
        b = make_frame_block();
    const int32_t depth = b->depth;
    if (static_cast<uint32_t>(depth) >= static_cast<uint32_t>(kFramesPerThread)) [[unlikely]]
        frames_overflow();
    b->depth = depth + 1;
    block = b;
    return &b->frames[depth];
}

// Gives the top frame of `b` back. Past the common case: a transient
// block's last frame, or a give without a take, which leaves the depth at 0.
inline void give_frame(FrameBlock *b) {
    const int32_t depth = b->depth;
    if ((depth <= 0) | (b->transient != 0)) [[unlikely]]
        return give_frame_slow(b);
    b->depth = depth - 1;
}

// A frame for the length of a scope: what a front end holds around its
// lookup and call. The block taken from is the block given back to: the
// thread's block does not change while one of its frames is in use.
class FrameScope {
public:
    FrameScope() : frame_(take_frame(block_)) {}
    ~FrameScope() { give_frame(block_); }
    FrameScope(const FrameScope &) = delete;
    FrameScope &operator=(const FrameScope &) = delete;

    VeskFrame *get() const { return frame_; }
    VeskClosure *closure() const { return &frame_->cl; }

private:
    FrameBlock *block_;
    VeskFrame *frame_;
};

}  // namespace vesk::rt
