// SPDX-License-Identifier: MIT
// The closure stack: per thread, one block of frames that front ends take and
// give back in last-in, first-out order, so that a call by row number needs
// no allocation and no storage of its caller's.
//
// The word that points to the thread's block is the one thing every call
// reads, so it is a trivially destructible thread_local in the initial-exec
// model: one load relative to the thread pointer, no __tls_get_addr, and
// readable for as long as the thread lives, even after its exit destructors.
// The block is made at the thread's first take and freed by a thread-exit
// destructor; a thread that never calls a front end has none.
//
// Teardown. At exit the main thread's exit destructors run before the
// library's stop functions, which still call through frames, and another
// library's thread-exit destructor may call a front end after ours has run.
// A take then finds no block and makes a new one; nothing is left to free it
// at thread exit, so it is freed when its last frame is given back.
//
// Blocks come from calloc, not from the library's allocator table. On the
// main thread at exit, if it made no front-end call before, the stop chain's
// first take registers an exit destructor that will never run: that block
// outlives the chain, and the table would count it as a live block in the
// allocator's report at the very end of the chain. A block belongs to its
// thread, not to any pair of calls the count is there to check.
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include "closure.hpp"
#include "frame_layout.h"

static_assert(offsetof(VeskFrame, fn) == VESK_FRAME_FN_OFFSET,
              "__vesk_call_tramp loads fn at VESK_FRAME_FN_OFFSET");
static_assert(offsetof(VeskFrame, cl) == 0, "a frame is passed as its closure");
static_assert(offsetof(vesk::rt::FrameBlock, head) == 0, "a block is reached through its head");

namespace vesk::rt {

constinit FrameHead g_no_frames = {nullptr, nullptr, nullptr};

constinit thread_local FrameHead *t_frames [[gnu::tls_model("initial-exec")]] = &g_no_frames;

}  // namespace vesk::rt

using namespace vesk::rt;

namespace {

// Set once the thread's exit destructor has freed its block.
constinit thread_local bool t_reaped = false;

// Frees the thread's block at thread exit; registered when the block is made.
void reap(void *) {
    FrameHead *b = t_frames;
    t_frames = &g_no_frames;
    t_reaped = true;
    if (b != &g_no_frames)
        std::free(b);
}

// The registration is glibc's own, the one that a thread_local with a
// destructor reaches through the C++ runtime's __cxa_thread_atexit: the same
// order among exit destructors, and the library stays loaded until they have
// run. Calling it directly keeps libstdc++ out of the library's dependencies.
extern "C" int __cxa_thread_atexit_impl(void (*fn)(void *), void *arg, void *dso) noexcept;
extern "C" [[gnu::visibility("hidden")]] void *__dso_handle;

bool arm_reaper() {
    return __cxa_thread_atexit_impl(reap, nullptr, &__dso_handle) == 0;
}

// No status record is at hand, and going on would write past the block or
// through a null pointer: stop the process with a word on what happened.
[[noreturn, gnu::cold]] void stop(const char *why) {
    std::fprintf(stderr, "vesk: closure stack: %s\n", why);
    std::abort();
}

}  // namespace

namespace vesk::rt {

FrameHead *make_frame_block() {
    auto *b = static_cast<FrameBlock *>(std::calloc(1, sizeof(FrameBlock)));
    if (b == nullptr)
        stop("can not allocate the frames of this thread.");
    b->head = {&b->frames[0], &b->frames[kFramesPerThread], &b->frames[0]};
    // Without an exit destructor (after it ran, or if it could not be
    // registered) the block goes with its last frame.
    if (t_reaped || !arm_reaper())
        b->head.floor = &b->frames[1];
    t_frames = &b->head;
    return &b->head;
}

void frames_overflow() { stop("more than 512 nested operation calls on one thread."); }

void give_frame_slow(FrameHead *head) {
    if (head == &g_no_frames)
        return;  // nothing was taken on this thread since its block went
    auto *b = reinterpret_cast<FrameBlock *>(head);
    if (head->top <= &b->frames[0])
        return;
    if (--head->top == &b->frames[0] && head->floor != &b->frames[0]) {
        t_frames = &g_no_frames;
        std::free(b);
    }
}

}  // namespace vesk::rt

extern "C" {

VESK_API VeskFrame *__vesk_closure_tramp_att(void) { return take_frame(); }

VESK_API void __vesk_closure_tramp_det(void) { give_frame(t_frames); }

}  // extern "C"
