// SPDX-License-Identifier: MIT
// The start chain: the library has no initialisation call. Load-time
// constructors register the start records of its parts, and a last
// constructor starts them by order; at unload or exit the started records
// stop in reverse.
//
// Load and unload run on the loader's thread with no other thread in the
// library, so none of this state has a lock.
#include <cstdlib>

#include "memory/rtbt_order.hpp"
#include "vesk.h"

using vesk::rtbt::leftmost;
using vesk::rtbt::successor;

namespace {

// Zero-initialised state, set up by its first use: no constructor may assume
// that another ran before it.
struct StartState {
    NuRTBT order_tree;        // records by order, equal orders in registration order
    bool tree_ready;
    VeskStartRec started;     // ring head of the started records, last started first
    bool started_ready;
    bool running;
};
StartState state;

intptr_t compare_order(uintptr_t a, uintptr_t b) {
    const int32_t x = reinterpret_cast<const VeskStartRec *>(a)->order;
    const int32_t y = reinterpret_cast<const VeskStartRec *>(b)->order;
    return intptr_t{x} - intptr_t{y};
}
constexpr NuBtninfo kOrderInfo = {nullptr, nullptr, nullptr, compare_order, nullptr};

NuRTBT &order_tree() {
    if (!state.tree_ready) {
        NuRTBTInit(&state.order_tree);
        state.tree_ready = true;
    }
    return state.order_tree;
}

VeskStartRec &started() {
    if (!state.started_ready) {
        state.started.next = state.started.prev = &state.started;
        state.started_ready = true;
    }
    return state.started;
}

void push_started(VeskStartRec *rec) {
    VeskStartRec &head = started();
    rec->prev = &head;
    rec->next = head.next;
    head.next->prev = rec;
    head.next = rec;
}

}  // namespace

// The last constructor: start everything, and stop it again at unload or exit.
__attribute__((constructor(VESK_START_PRIORITY_RUN))) static void run_start_chain() {
    if (VeskStartRun() < 0)
        std::abort();
}

__attribute__((destructor(VESK_START_PRIORITY_RUN))) static void run_stop_chain() { VeskStartStop(); }

extern "C" {

VESK_API int64_t VeskStartAdd(VeskStartRec *record) {
    if (record == nullptr)
        return -1;
    record->node.data = reinterpret_cast<uintptr_t>(record);
    NuRTBT &tree = order_tree();
    // Duplicates allowed: an equal order goes right of those already there.
    if (_NuRTBTLinknode_b(&tree, &kOrderInfo, &record->node, 1, nullptr, nullptr) == 0)
        ++tree.count;
    return 0;
}

VESK_API int64_t VeskStartRun(void) {
    if (state.running)
        return 0;
    state.running = true;
    // A run after a stop starts a new list; the records of the last one were
    // stopped already.
    VeskStartRec &head = started();
    head.next = head.prev = &head;
    NuRTBT &tree = order_tree();
    int64_t result = 0;
    NuRTBTNode *node = tree.root != nullptr ? leftmost(tree.root) : nullptr;
    for (uintptr_t i = 0; i < tree.count && node != nullptr; ++i, node = successor(node)) {
        auto *rec = reinterpret_cast<VeskStartRec *>(node->data);
        if (rec->start == nullptr)
            continue;
        const int32_t r = rec->start(rec->start_arg);
        result = r;
        if (r < 0)
            return result;
        push_started(rec);
    }
    return result;
}

VESK_API void VeskStartStop(void) {
    if (!state.running)
        return;
    state.running = false;
    VeskStartRec &head = started();
    for (VeskStartRec *rec = head.next; rec != &head; rec = rec->next)
        if (rec->stop != nullptr)
            rec->stop(rec->stop_arg);
}

}  // extern "C"
