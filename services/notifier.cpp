// SPDX-License-Identifier: MIT
// The notifier sets: Mntfier holds many listeners with their filters in a
// vector under a mutex, Untfier one under a spin word. A post runs the
// listeners' isaware and listen with the notifier's lock held.
#include <cerrno>

#include "services/notice.hpp"

namespace vesk::svc {
namespace {

constexpr uint16_t L = VESK_LISTENER_FAMILY;

template <class Pod>
Pod *pod(const VeskClosure *cl) {
    return static_cast<Pod *>(cl->pod);
}

// A code passes a filter word when each half agrees or either is 0.
bool halves_agree(uint32_t word, uint32_t code) {
    auto agree = [](uint32_t a, uint32_t b) { return a == b || a == 0 || b == 0; };
    return agree(word >> 16, code >> 16) && agree(word & 0xFFFFu, code & 0xFFFFu);
}

bool passes(const uint32_t *filter, const void *notice) {
    if (filter == nullptr)
        return true;
    const uint32_t code = *static_cast<const uint32_t *>(notice);
    for (const uint32_t *w = filter; *w != 0; ++w)
        if (halves_agree(*w, code))
            return true;
    return false;
}

// Delivers to one listener unless it is deaf or its filter stops the notice;
// its answer, and any report it leaves, don't stop the post.
void deliver(VeskClosure *cl, VeskErr *err, void *listener, const uint32_t *filter,
             const void *notice) {
    if (call_peer(listener, L, VESK_LSN_ISAWARE, err) < 1 || !passes(filter, notice))
        return;
    call_peer(listener, L, VESK_LSN_LISTEN, err, cl->self, notice);
}

// ---- Mntfier -------------------------------------------------------------------------

int64_t m_pod_init(VeskClosure *cl, VeskErr *, uint32_t, void *) {
    MNotifierPod *p = pod<MNotifierPod>(cl);
    NuSMutexInit(&p->lock);
    p->capacity = p->length = 0;
    p->links = nullptr;
    return 0;
}

int64_t m_pod_fini(VeskClosure *cl, VeskErr *err, uint32_t) {
    call_own(cl, VESK_NTF_CLEARLISTENERS, err);
    NuSMutexDestroy(&pod<MNotifierPod>(cl)->lock, nullptr);
    return 0;
}

int64_t m_count(VeskClosure *cl, VeskErr *) {
    MNotifierPod *p = pod<MNotifierPod>(cl);
    MutexLocked locked(&p->lock);
    return p->length;
}

int64_t m_clear(VeskClosure *cl, VeskErr *err) {
    MNotifierPod *p = pod<MNotifierPod>(cl);
    MutexLocked locked(&p->lock);
    for (uint32_t i = 0; i < p->length; ++i) {
        void *listener = p->links[i].listener;
        if (listener == nullptr)
            continue;
        p->links[i] = {};
        call_peer(listener, L, VESK_LSN_UNLINK, err, cl->self);
    }
    NuMfree(p->links);
    p->links = nullptr;
    p->capacity = p->length = 0;
    return 0;
}

// The listeners attached during a post are not visited: the length is read
// once.
int64_t m_post(VeskClosure *cl, VeskErr *err, const void *notice) {
    MNotifierPod *p = pod<MNotifierPod>(cl);
    MutexLocked locked(&p->lock);
    const uint32_t length = p->length;
    for (uint32_t i = 0; i < length; ++i) {
        const ListenerSlot slot = p->links[i];
        if (slot.listener != nullptr)
            deliver(cl, err, slot.listener, slot.filter, notice);
    }
    return 0;
}

int64_t m_add(VeskClosure *cl, VeskErr *err, void *listener, const uint32_t *filter) {
    listener = rt::deref(listener);
    MNotifierPod *p = pod<MNotifierPod>(cl);
    MutexLocked locked(&p->lock);
    if (!add_slot(p->capacity, p->length, p->links, ListenerSlot{listener, filter})) {
        report_in(cl, err, VESK_E_NOMEM, ENOMEM, 1, row_name(cl));
        return -1;
    }
    return 0;
}

int64_t m_remove(VeskClosure *cl, VeskErr *err, void *listener) {
    int64_t r;
    {
        MutexLocked locked(&pod<MNotifierPod>(cl)->lock);
        r = call_own(cl, VESK_NTF_UNLINK_NLK, err, listener);
    }
    if (r >= 0)
        call_peer(listener, L, VESK_LSN_UNLINK, err, cl->self);
    return r;
}

int64_t m_unlink(VeskClosure *cl, VeskErr *err, void *listener) {
    MutexLocked locked(&pod<MNotifierPod>(cl)->lock);
    return call_own(cl, VESK_NTF_UNLINK_NLK, err, listener);
}

int64_t m_unlink_nlk(VeskClosure *cl, VeskErr *err, void *listener) {
    if (listener == nullptr) {
        report_in(cl, err, VESK_E_FAULT, EFAULT, 3, set_name(cl), row_name(cl), "@listener");
        return -1;
    }
    listener = rt::deref(listener);
    MNotifierPod *p = pod<MNotifierPod>(cl);
    for (uint32_t i = 0; i < p->length; ++i)
        if (p->links[i].listener == listener) {
            p->links[i] = {};
            return 0;
        }
    return report_not_linked(cl, err, listener);
}

// ---- Untfier -------------------------------------------------------------------------

int64_t u_pod_init(VeskClosure *, VeskErr *, uint32_t, void *) { return 0; }

int64_t u_pod_fini(VeskClosure *cl, VeskErr *err, uint32_t) {
    call_own(cl, VESK_NTF_CLEARLISTENERS, err);
    return 0;
}

int64_t u_count(VeskClosure *cl, VeskErr *) {
    UNotifierPod *p = pod<UNotifierPod>(cl);
    Spin locked(p->spin);
    return p->peer != nullptr ? 1 : 0;
}

int64_t u_clear(VeskClosure *cl, VeskErr *err) {
    UNotifierPod *p = pod<UNotifierPod>(cl);
    Spin locked(p->spin);
    if (void *listener = p->peer) {
        p->peer = nullptr;
        p->filter = nullptr;
        call_peer(listener, L, VESK_LSN_UNLINK, err, cl->self);
    }
    return 0;
}

int64_t u_post(VeskClosure *cl, VeskErr *err, const void *notice) {
    UNotifierPod *p = pod<UNotifierPod>(cl);
    Spin locked(p->spin);
    if (p->peer != nullptr)
        deliver(cl, err, p->peer, p->filter, notice);
    return 0;
}

int64_t u_add(VeskClosure *cl, VeskErr *err, void *listener, const uint32_t *filter) {
    UNotifierPod *p = pod<UNotifierPod>(cl);
    {
        Spin locked(p->spin);
        if (p->peer == nullptr) {
            p->filter = filter;
            p->peer = rt::deref(listener);
            return 0;
        }
    }
    report_in(cl, err, VESK_E_BUSY, EBUSY, 1, longkey_of(cl->self));
    return -1;
}

// A null listener stands for the present one; with none, there is nothing to do.
int64_t u_remove(VeskClosure *cl, VeskErr *err, void *listener) {
    UNotifierPod *p = pod<UNotifierPod>(cl);
    int64_t r;
    {
        Spin locked(p->spin);
        if (listener == nullptr && (listener = p->peer) == nullptr)
            return 0;
        r = call_own(cl, VESK_NTF_UNLINK_NLK, err, listener);
    }
    if (r >= 0)
        call_peer(listener, L, VESK_LSN_UNLINK, err, cl->self);
    return r;
}

int64_t u_unlink(VeskClosure *cl, VeskErr *err, void *listener) {
    Spin locked(pod<UNotifierPod>(cl)->spin);
    return call_own(cl, VESK_NTF_UNLINK_NLK, err, listener);
}

// One step through a reference, as the argument came.
int64_t u_unlink_nlk(VeskClosure *cl, VeskErr *err, void *listener) {
    UNotifierPod *p = pod<UNotifierPod>(cl);
    if (listener != nullptr) {
        void *target = rt::is_kind(listener, VESK_KIND_SEOBJ) ? rt::head(listener)->super : listener;
        if (target != p->peer)
            return report_not_linked(cl, err, target);
    }
    p->peer = nullptr;
    p->filter = nullptr;
    return 0;
}

#define NOTIFIER_SET(var, key, shortkey, id, pod_, pod_init_, pod_fini_, count_, clear_, post_,   \
                     add_, remove_, unlink_, unlink_nlk_)                                         \
    VESK_OPS_T(11) var = {                                                                        \
        VESK_RECORD_INIT(key, shortkey, "notifier", VESK_OID3(VESK_CAT_OPS, VESK_FAC_NOTIFIER, id), nullptr),             \
        sizeof(pod_),                                                                             \
        11,                                                                                       \
        {                                                                                         \
            VESK_ROW_ABSENT(init_once, "init-once"),                                              \
            VESK_ROW_ABSENT(fini_once, "fini-once"),                                              \
            VESK_ROW(pod_init, "pod-init", pod_init_),                                            \
            VESK_ROW(pod_fini, "pod-fini", pod_fini_),                                            \
            VESK_ROW(listenerc, "notifier::listener-count", count_),                              \
            VESK_ROW(clearlisteners, "notifier::clear-listeners", clear_),                        \
            VESK_ROW(postnotice, "notifier::post-notice", post_),                                 \
            VESK_ROW(addlistener, "notifier::add-listener", add_),                                \
            VESK_ROW(rmlistener, "notifier::remove-listener", remove_),                           \
            VESK_ROW(unlinklistener, "notifier::unlink-listener", unlink_),                       \
            VESK_ROW(unlinklistener_nlk, "notifier::unlink-listener-nolock", unlink_nlk_),        \
        },                                                                                        \
    }

NOTIFIER_SET(mntfier, "operations/notifier/Mntfier", "notifier/Mntfier", 20, MNotifierPod,
             m_pod_init, m_pod_fini, m_count, m_clear, m_post, m_add, m_remove, m_unlink,
             m_unlink_nlk);
NOTIFIER_SET(untfier, "operations/notifier/Untfier", "notifier/Untfier", 19, UNotifierPod,
             u_pod_init, u_pod_fini, u_count, u_clear, u_post, u_add, u_remove, u_unlink,
             u_unlink_nlk);

#undef NOTIFIER_SET

}  // namespace

VeskOps *mntfier_ops() { return VESK_OPS(&mntfier); }
VeskOps *untfier_ops() { return VESK_OPS(&untfier); }

}  // namespace vesk::svc
