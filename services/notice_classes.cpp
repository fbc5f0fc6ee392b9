// SPDX-License-Identifier: MIT
// The three creatable classes of "modules/kdv": a callback listener of each
// size and the single-listener notifier. An instance is the head, its
// reference count, then the POD of its listener or notifier set.
#include <cstddef>

#include "runtime/static_module.hpp"
#include "services/notice.hpp"

namespace vesk::svc {
namespace {

template <class Pod>
struct Instance {
    VeskInstance head;
    int32_t count;  // Xucntl
    Pod pod;
};

int64_t class_on_link(VeskRecord *rec, VeskErr *status);

// The set of its own, then the stock count, constructor and descriptor.
template <class Pod>
struct NoticeClass {
    VeskClass cls;
    VeskDescriptor descriptor;
    VESK_SEBLOCK_T(4) block;
    VeskOps *(*own_set)();
};

// Written as static data, so that the records stand before any constructor
// of the library runs: the start chain links them from one.
#define NOTICE_CLASS(Pod, var, longkey, shortkey, id, family, set_id, version, own_set)          \
    NoticeClass<Pod> var = {                                                                      \
        VESK_CLASS_INIT(longkey, shortkey, shortkey, VESK_OID2(VESK_CAT_CLASS, id), class_on_link,             \
                        sizeof(Instance<Pod>)),                                                   \
        {version, __DATE__},                                                                      \
        {VESK_SEBLOCK_HEAD(4),                                                                    \
         {VESK_SE_OWN(VESK_OID3(VESK_CAT_OPS, family, set_id), 1, offsetof(Instance<Pod>, pod), nullptr),    \
          VESK_SE_IMPORT(VESK_OID3(VESK_CAT_OPS, VESK_FAC_UCNTL, 6), 1, offsetof(Instance<Pod>, count)),               \
          VESK_SE_IMPORT(VESK_OID3(VESK_CAT_OPS, VESK_FAC_CTOR, 3), 0, 0),                                            \
          VESK_SE_IMPORT(VESK_OID3(VESK_CAT_OPS, VESK_FAC_DESTOR, 5), 0, offsetof(NoticeClass<Pod>, descriptor))}},     \
        own_set,                                                                                  \
    }

NOTICE_CLASS(CbUListenerPod, cbulsner, "objects/Nucbulsner", "Nucbulsner", 13, VESK_FAC_LISTENER, 23,
             rt::kStockVersion, cbulsner_ops);
NOTICE_CLASS(CbMListenerPod, cbmlsner, "objects/Nucbmlsner", "Nucbmlsner", 14, VESK_FAC_LISTENER, 24,
             rt::kStockVersion, cbmlsner_ops);
NOTICE_CLASS(UNotifierPod, untfier, "objects/Nuuntfier", "Nuuntfier", 11, VESK_FAC_NOTIFIER, 19,
             VESK_VERSION(2, 4, 0), untfier_ops);

#undef NOTICE_CLASS

// The own element takes its set, which lives in another file, at link.
template <class Pod>
int64_t link_class(NoticeClass<Pod> &c, VeskErr *status) {
    c.block.se[0].ops = c.own_set();
    return rt::push_own_block<NoticeClass<Pod>>(&c.cls.rec, status);
}

int64_t class_on_link(VeskRecord *rec, VeskErr *status) {
    if (rec == &cbulsner.cls.rec)
        return link_class(cbulsner, status);
    if (rec == &cbmlsner.cls.rec)
        return link_class(cbmlsner, status);
    return link_class(untfier, status);
}

}  // namespace

VeskClass *cbulsner_class() { return &cbulsner.cls; }
VeskClass *cbmlsner_class() { return &cbmlsner.cls; }
VeskClass *untfier_class() { return &untfier.cls; }

}  // namespace vesk::svc
