// SPDX-License-Identifier: MIT
// The calling thread's closure frames, for the library's own front ends.
#pragma once

#include "vesk.h"

namespace vesk::rt {

// The exported __vesk_closure_tramp_att / _det under names that the library
// calls directly rather than through its own export table.
VeskFrame *take_frame();
void give_frame();

// A frame for the length of a scope: what a front end holds around its
// lookup and call.
class FrameScope {
public:
    FrameScope() : frame_(take_frame()) {}
    ~FrameScope() { give_frame(); }
    FrameScope(const FrameScope &) = delete;
    FrameScope &operator=(const FrameScope &) = delete;

    VeskFrame *get() const { return frame_; }
    VeskClosure *closure() const { return &frame_->cl; }

private:
    VeskFrame *frame_;
};

}  // namespace vesk::rt
