// SPDX-License-Identifier: MIT
// The default object of a stock service: fetched by the service's start-up
// record into its exported variable, and given back by the same record at
// unload.
#pragma once

#include <atomic>

#include "vesk.h"

namespace vesk::svc {

// Holds the class `class_id` in `slot` unless something is there already.
inline int32_t fetch_default_service(void *&slot, uint16_t class_id) {
    std::atomic_ref<void *> ref(slot);
    if (ref.load() == nullptr) {
        const VeskOid key = VESK_OID2(VESK_CAT_CLASS, class_id);
        ref.store(VeskGetcobject(&key, nullptr), std::memory_order_release);
    }
    return 0;
}

// Empties `slot` and gives its object back through its reference count.
inline int32_t drop_default_service(void *&slot) {
    void *service = std::atomic_ref<void *>(slot).exchange(nullptr);
    if (service == nullptr)
        return 0;
    const VeskOid release = {2, 6, {VESK_CAT_OPS, VESK_FAC_UCNTL, 0, 0, 0, 0}};
    VeskFrame *frame = __vesk_closure_tramp_att();
    frame->fn = VeskLookupoporstub(service, &release, &frame->cl)->fn;
    reinterpret_cast<int64_t (*)(VeskFrame *, VeskErr *, uint32_t)>(__vesk_call_tramp)(frame,
                                                                                         nullptr, 0);
    __vesk_closure_tramp_det();
    return 0;
}

// The service object to call: `service`, or the default one when it is null.
inline void *service_or_default(void *service, void *&slot) {
    return service != nullptr ? service
                              : std::atomic_ref<void *>(slot).load(std::memory_order_acquire);
}

}  // namespace vesk::svc
