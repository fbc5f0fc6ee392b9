// SPDX-License-Identifier: MIT
// The record behind an NuPThread handle.
#pragma once

#include <pthread.h>
#include <sys/types.h>

#include <atomic>

#include "nu.h"

namespace vesk::threads {

struct ThreadRecord {
    pthread_t thread;
    NuPThreadStart start;
    void *arg;
    uint32_t exitcode;
    std::atomic<pid_t> tid;      // the kernel's id, once the thread runs
    // The start gate of a thread created suspended.
    pthread_mutex_t gate_mutex;
    pthread_cond_t gate_cond;
    bool gate_open;
    // An explicit priority from the attributes, applied by the new thread.
    bool set_priority;
    int nice;
    // The handle and the thread each own the record; after a detach the last
    // of the two to let go frees it, otherwise join does.
    std::atomic<int> owners;
};

inline ThreadRecord *record_of(NuPThread handle) { return reinterpret_cast<ThreadRecord *>(handle); }

}  // namespace vesk::threads
