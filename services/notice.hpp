// SPDX-License-Identifier: MIT
// Notifiers and listeners: the PODs of their sets and what both sides share.
#pragma once

#include <atomic>
#include <cstddef>

#include "runtime/lifecycle.hpp"
#include "runtime/object.hpp"
#include "threads/spin.hpp"
#include "services/kdv.hpp"

namespace vesk::svc {

// ---- PODs -------------------------------------------------------------------------

struct MListenerPod {
    NuSMutex lock;
    uint32_t capacity;
    uint32_t length;  // slots ever used, holes included
    void **links;     // the notifiers; null is a hole
    uint8_t aware;
};

struct ULinkPod {  // Ulstner's POD; Untfier has `filter` behind `peer`
    uint32_t spin;
    void *peer;
};

struct UListenerPod {
    uint32_t spin;
    void *peer;
    uint8_t aware;
};

struct Callback {
    VeskNoticeCallback fn;
    uintptr_t context;
};
struct CbMListenerPod {
    MListenerPod base;
    Callback cb;
};
struct CbUListenerPod {
    UListenerPod base;
    Callback cb;
};

struct ListenerSlot {
    void *listener;
    const uint32_t *filter;
};
struct MNotifierPod {
    NuSMutex lock;
    uint32_t capacity;
    uint32_t length;
    ListenerSlot *links;
};
static_assert(sizeof(MNotifierPod) == sizeof(VeskMntfierPod) &&
                  offsetof(MNotifierPod, links) == offsetof(VeskMntfierPod, links),
              "the public room for the POD matches it");
struct UNotifierPod {
    uint32_t spin;
    void *peer;
    const uint32_t *filter;
};

// ---- The sets ----------------------------------------------------------------------

VeskOps *mlstner_ops();
VeskOps *ulstner_ops();
VeskOps *cbmlsner_ops();
VeskOps *cbulsner_ops();
VeskOps *mntfier_ops();
VeskOps *untfier_ops();

// The classes "objects/Nucbulsner", "objects/Nucbmlsner", "objects/Nuuntfier".
VeskClass *cbulsner_class();
VeskClass *cbmlsner_class();
VeskClass *untfier_class();

// ---- Shared helpers ----------------------------------------------------------------

// The spin word of the U sets.
using Spin = sync::SpinLocked<uint32_t>;

class MutexLocked {
public:
    explicit MutexLocked(NuSMutex *m) : m_(m) { NuSMutexLock(m_); }
    ~MutexLocked() { NuSMutexUnlock(m_); }
    MutexLocked(const MutexLocked &) = delete;
    MutexLocked &operator=(const MutexLocked &) = delete;

private:
    NuSMutex *m_;
};

// Calls row `row` of the other family on a peer; a peer without the
// interface answers through the stub set.
template <class... Args>
int64_t call_peer(void *peer, uint16_t family, uint16_t row, VeskErr *err, Args... args) {
    return rt::call_row<int64_t>(peer, family, row, err, args...);
}

// Calls row `row` of the running set on the same closure: how a row reaches
// the row of its own set that a derived set may have replaced.
template <class... Args>
int64_t call_own(VeskClosure *cl, uint16_t row, VeskErr *err, Args... args) {
    using Fn = int64_t (*)(VeskClosure *, VeskErr *, Args...);
    return reinterpret_cast<Fn>(cl->ops->rows[row].fn)(cl, err, args...);
}

// The 49170 report of a peer that isn't linked, with the pointer as a number.
int64_t report_not_linked(const VeskClosure *cl, VeskErr *err, const void *peer);

inline bool is_hole(void *p) { return p == nullptr; }
inline bool is_hole(const ListenerSlot &s) { return s.listener == nullptr; }

// A vector of link slots: a first hole is reused; a fresh vector starts with
// room for two, a full one grows by one.
template <class Slot>
bool add_slot(uint32_t &capacity, uint32_t &length, Slot *&links, const Slot &slot) {
    auto grow = [&](uint32_t by) {
        auto *bigger = static_cast<Slot *>(
            _NuMrealloc(links, (capacity + by) * sizeof(Slot), nullptr));
        if (bigger == nullptr)
            return false;
        links = bigger;
        capacity += by;
        return true;
    };
    if (length == 0) {
        if (!grow(2))
            return false;
        links[length++] = slot;
        return true;
    }
    for (uint32_t i = 0; i < length; ++i)
        if (is_hole(links[i])) {
            links[i] = slot;
            return true;
        }
    if (capacity == length && !grow(1))
        return false;
    links[length++] = slot;
    return true;
}

}  // namespace vesk::svc
