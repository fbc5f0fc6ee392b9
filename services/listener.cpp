// SPDX-License-Identifier: MIT
// The listener sets: Mlstner holds many notifiers in a vector under a mutex,
// Ulstner one in a field under a spin word; the Cb sets are the same with a
// `listen` that calls the caller's function. Every call to the other end of a
// link goes through the runtime's lookup by family, so an M listener works
// with a U notifier and the other way round.
#include <cerrno>

#include "services/notice.hpp"

namespace vesk::svc {

int64_t report_not_linked(const VeskClosure *cl, VeskErr *err, const void *peer) {
    report_in(cl, err, VESK_E_NOMATCH, ENOENT, 1,
              static_cast<int>(reinterpret_cast<intptr_t>(peer)));
    return -1;
}

namespace {

constexpr uint16_t N = VESK_NOTIFIER_FAMILY;

void *self_of(const VeskClosure *cl) { return cl->self; }

template <class Pod>
Pod *pod(const VeskClosure *cl) {
    return static_cast<Pod *>(cl->pod);
}

// ---- Rows the M and U listeners share, over their POD's first fields ----------

// Both listener PODs keep `aware` in the same role; these reach it.
uint8_t &aware_of(const VeskClosure *cl, bool many) {
    return many ? pod<MListenerPod>(cl)->aware : pod<UListenerPod>(cl)->aware;
}

template <bool kMany>
int64_t become_deaf(VeskClosure *cl, VeskErr *) {
    std::atomic_ref<uint8_t>(aware_of(cl, kMany)).store(0, std::memory_order_relaxed);
    return 0;
}
template <bool kMany>
int64_t become_aware(VeskClosure *cl, VeskErr *) {
    std::atomic_ref<uint8_t>(aware_of(cl, kMany)).store(1, std::memory_order_relaxed);
    return 0;
}
template <bool kMany>
int64_t is_aware(VeskClosure *cl, VeskErr *) {
    return std::atomic_ref<uint8_t>(aware_of(cl, kMany)).load(std::memory_order_relaxed) != 0;
}

// The base sets hear and do nothing: a derived set replaces `listen`.
int64_t listen_nothing(VeskClosure *, VeskErr *, void *, const void *) { return 0; }

// The notifier's half of a new link; a refusal takes this side's half back.
int64_t finish_attach(VeskClosure *cl, VeskErr *err, void *notifier, const uint32_t *filter) {
    const int64_t r = call_peer(notifier, N, VESK_NTF_ADDLISTENER, err, self_of(cl), filter);
    if (r < 0)
        call_own(cl, VESK_LSN_UNLINK, nullptr, notifier);
    return r;
}

// ---- Mlstner -------------------------------------------------------------------------

int64_t m_pod_init(VeskClosure *cl, VeskErr *, uint32_t flags, void *param) {
    MListenerPod *p = pod<MListenerPod>(cl);
    NuSMutexInit(&p->lock);
    p->capacity = p->length = 0;
    p->links = nullptr;
    p->aware = 1;
    if (param != nullptr && (flags & VESK_POD_CLONE) == 0)
        p->aware = static_cast<VeskListenerParam *>(param)->aware;
    return 0;
}

int64_t m_pod_fini(VeskClosure *cl, VeskErr *err, uint32_t) {
    call_own(cl, VESK_LSN_CLEARNOTIFIERS, err);
    NuSMutexDestroy(&pod<MListenerPod>(cl)->lock, nullptr);
    return 0;
}

int64_t m_count(VeskClosure *cl, VeskErr *) {
    MListenerPod *p = pod<MListenerPod>(cl);
    MutexLocked locked(&p->lock);
    return p->length;
}

int64_t m_clear(VeskClosure *cl, VeskErr *err) {
    MListenerPod *p = pod<MListenerPod>(cl);
    MutexLocked locked(&p->lock);
    for (uint32_t i = 0; i < p->length; ++i) {
        void *notifier = p->links[i];
        if (notifier == nullptr)
            continue;
        p->links[i] = nullptr;
        call_peer(notifier, N, VESK_NTF_UNLINK, err, self_of(cl));
    }
    NuMfree(p->links);
    p->links = nullptr;
    p->capacity = p->length = 0;
    return 0;
}

int64_t m_attach(VeskClosure *cl, VeskErr *err, void *notifier, const uint32_t *filter) {
    notifier = rt::deref(notifier);
    MListenerPod *p = pod<MListenerPod>(cl);
    {
        MutexLocked locked(&p->lock);
        if (!add_slot(p->capacity, p->length, p->links, notifier)) {
            report_in(cl, err, VESK_E_NOMEM, ENOMEM, 1, row_name(cl));
            return -1;
        }
    }
    return finish_attach(cl, err, notifier, filter);
}

int64_t m_detach(VeskClosure *cl, VeskErr *err, void *notifier) {
    int64_t r;
    {
        MutexLocked locked(&pod<MListenerPod>(cl)->lock);
        r = call_own(cl, VESK_LSN_UNLINK_NLK, err, notifier);
    }
    if (r < 0)
        return r;
    call_peer(notifier, N, VESK_NTF_UNLINK, err, self_of(cl));
    return r;
}

int64_t m_unlink(VeskClosure *cl, VeskErr *err, void *notifier) {
    MutexLocked locked(&pod<MListenerPod>(cl)->lock);
    return call_own(cl, VESK_LSN_UNLINK_NLK, err, notifier);
}

int64_t m_unlink_nlk(VeskClosure *cl, VeskErr *err, void *notifier) {
    notifier = rt::deref(notifier);
    MListenerPod *p = pod<MListenerPod>(cl);
    for (uint32_t i = 0; i < p->length; ++i)
        if (p->links[i] == notifier) {
            p->links[i] = nullptr;
            return 0;
        }
    return report_not_linked(cl, err, notifier);
}

// ---- Ulstner -------------------------------------------------------------------------

int64_t u_pod_init(VeskClosure *cl, VeskErr *, uint32_t flags, void *param) {
    UListenerPod *p = pod<UListenerPod>(cl);
    p->aware = 1;
    if (param != nullptr && (flags & VESK_POD_CLONE) == 0)
        p->aware = static_cast<VeskListenerParam *>(param)->aware;
    return 0;
}

int64_t u_pod_fini(VeskClosure *cl, VeskErr *err, uint32_t) {
    call_own(cl, VESK_LSN_CLEARNOTIFIERS, err);
    return 0;
}

int64_t u_count(VeskClosure *cl, VeskErr *) {
    UListenerPod *p = pod<UListenerPod>(cl);
    Spin locked(p->spin);
    return p->peer != nullptr ? 1 : 0;
}

int64_t u_clear(VeskClosure *cl, VeskErr *err) {
    UListenerPod *p = pod<UListenerPod>(cl);
    Spin locked(p->spin);
    if (void *notifier = p->peer) {
        p->peer = nullptr;
        call_peer(notifier, N, VESK_NTF_UNLINK, err, self_of(cl));
    }
    return 0;
}

int64_t u_attach(VeskClosure *cl, VeskErr *err, void *notifier, const uint32_t *filter) {
    notifier = rt::deref(notifier);
    UListenerPod *p = pod<UListenerPod>(cl);
    {
        Spin locked(p->spin);
        if (p->peer != nullptr) {
            report_in(cl, err, VESK_E_BUSY, EBUSY, 1, longkey_of(self_of(cl)));
            return -1;
        }
        p->peer = notifier;
    }
    return finish_attach(cl, err, notifier, filter);
}

int64_t u_detach(VeskClosure *cl, VeskErr *err, void *notifier) {
    int64_t r;
    {
        Spin locked(pod<UListenerPod>(cl)->spin);
        r = call_own(cl, VESK_LSN_UNLINK_NLK, err, notifier);
    }
    if (r < 0)
        return r;
    call_peer(notifier, N, VESK_NTF_UNLINK, err, self_of(cl));
    return r;
}

int64_t u_unlink(VeskClosure *cl, VeskErr *err, void *notifier) {
    Spin locked(pod<UListenerPod>(cl)->spin);
    return call_own(cl, VESK_LSN_UNLINK_NLK, err, notifier);
}

int64_t u_unlink_nlk(VeskClosure *cl, VeskErr *err, void *notifier) {
    notifier = rt::deref(notifier);
    UListenerPod *p = pod<UListenerPod>(cl);
    if (notifier != p->peer)
        return report_not_linked(cl, err, notifier);
    p->peer = nullptr;
    return 0;
}

// ---- The Cb sets: their own pod_init and listen --------------------------------------

template <class Pod, class BasePodInit>
int64_t cb_pod_init(VeskClosure *cl, VeskErr *err, uint32_t flags, void *param,
                    BasePodInit base) {
    const int64_t r = base(cl, err, flags, param);
    if (r < 0 || param == nullptr || (flags & VESK_POD_CLONE) != 0)
        return r;
    const auto *given = static_cast<VeskCbListenerParam *>(param);
    pod<Pod>(cl)->cb = {given->callback, given->context};
    return r;
}

int64_t cbm_pod_init(VeskClosure *cl, VeskErr *err, uint32_t flags, void *param) {
    return cb_pod_init<CbMListenerPod>(cl, err, flags, param, m_pod_init);
}
int64_t cbu_pod_init(VeskClosure *cl, VeskErr *err, uint32_t flags, void *param) {
    return cb_pod_init<CbUListenerPod>(cl, err, flags, param, u_pod_init);
}

template <class Pod>
int64_t cb_listen(VeskClosure *cl, VeskErr *err, void *notifier, const void *notice) {
    const Callback &cb = pod<Pod>(cl)->cb;
    return cb.fn == nullptr ? 0 : cb.fn(cb.context, notifier, notice, err);
}

#define LISTENER_SET(var, key, shortkey, id, pod_, pod_init_, pod_fini_, count_, clear_, listen_, \
                     attach_, detach_, unlink_, unlink_nlk_, many_)                             \
    VESK_OPS_T(14) var = {                                                                      \
        VESK_RECORD_INIT(key, shortkey, "listener", VESK_OID3(VESK_CAT_OPS, VESK_FAC_LISTENER, id), nullptr),           \
        sizeof(pod_),                                                                           \
        14,                                                                                     \
        {                                                                                       \
            VESK_ROW_ABSENT(init_once, "init-once"),                                            \
            VESK_ROW_ABSENT(fini_once, "fini-once"),                                            \
            VESK_ROW(pod_init, "pod-init", pod_init_),                                          \
            VESK_ROW(pod_fini, "pod-fini", pod_fini_),                                          \
            VESK_ROW(notifierc, "listener::notifier-count", count_),                            \
            VESK_ROW(clearnotifiers, "listener::clear-notifiers", clear_),                      \
            VESK_ROW(listen, "listener::listen", listen_),                                      \
            VESK_ROW(attachtonotifier, "listener::attach-to-notifier", attach_),                \
            VESK_ROW(detachfromnotifier, "listener::detach-from-notifier", detach_),            \
            VESK_ROW(unlinknotifier, "listener::unlink-notifier", unlink_),                     \
            VESK_ROW(unlinknotifier_nlk, "listener::unlink-notifier-nolock", unlink_nlk_),      \
            VESK_ROW(becomedeaf, "listener::become-deaf", become_deaf<many_>),                  \
            VESK_ROW(becomeaware, "listener::become-aware", become_aware<many_>),               \
            VESK_ROW(isaware, "listener::is-aware", is_aware<many_>),                           \
        },                                                                                      \
    }

LISTENER_SET(mlstner, "operations/listener/Mlstner", "listener/Mlstner", 22, MListenerPod,
             m_pod_init, m_pod_fini, m_count, m_clear, listen_nothing, m_attach, m_detach,
             m_unlink, m_unlink_nlk, true);
LISTENER_SET(ulstner, "operations/listener/Ulstner", "listener/Ulstner", 21, UListenerPod,
             u_pod_init, u_pod_fini, u_count, u_clear, listen_nothing, u_attach, u_detach,
             u_unlink, u_unlink_nlk, false);
// The Cb sets share every row of their base but pod_init and listen.
LISTENER_SET(cbmlsner, "operations/listener/CbMlsner", "listener/CbMlsner", 24, CbMListenerPod,
             cbm_pod_init, m_pod_fini, m_count, m_clear, cb_listen<CbMListenerPod>, m_attach,
             m_detach, m_unlink, m_unlink_nlk, true);
LISTENER_SET(cbulsner, "operations/listener/CbUlsner", "listener/CbUlsner", 23, CbUListenerPod,
             cbu_pod_init, u_pod_fini, u_count, u_clear, cb_listen<CbUListenerPod>, u_attach,
             u_detach, u_unlink, u_unlink_nlk, false);

#undef LISTENER_SET

}  // namespace

VeskOps *mlstner_ops() { return VESK_OPS(&mlstner); }
VeskOps *ulstner_ops() { return VESK_OPS(&ulstner); }
VeskOps *cbmlsner_ops() { return VESK_OPS(&cbmlsner); }
VeskOps *cbulsner_ops() { return VESK_OPS(&cbulsner); }

}  // namespace vesk::svc
