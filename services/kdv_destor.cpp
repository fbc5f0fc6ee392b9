// SPDX-License-Identifier: MIT
// "operations/descriptor/Destor": the version and build date of a class or
// module, from the descriptor POD it carries.
#include <cerrno>
#include <cstring>

#include "services/kdv.hpp"

namespace vesk::svc {
namespace {

int64_t get(VeskClosure *cl, VeskErr *err, VeskDescriptorInfo *out) {
    if (out == nullptr) {
        report_in(cl, err, VESK_E_FAULT, EFAULT, 3, set_name(cl), row_name(cl), "@descriptor");
        return -1;
    }
    if (out->dsc_dtyp != VESK_DESCRIPTOR_TYPE) {
        report_in(cl, err, VESK_E_NOTSUP, 0, 6, set_name(cl), row_name(cl),
                  "@descriptor.dsc_dtyp");
        return -4;
    }
    const auto *pod = static_cast<const VeskDescriptor *>(cl->pod);
    out->major = static_cast<uint8_t>(pod->version);
    out->minor = static_cast<uint8_t>(pod->version >> 8);
    out->patch = static_cast<uint16_t>(pod->version >> 16);
    std::memset(out->date, 0, sizeof out->date);
    if (pod->date != nullptr)
        std::strncpy(out->date, pod->date, sizeof out->date - 1);
    return 0;
}

// No descriptor is localised: the locale is not looked at.
int64_t get_localized(VeskClosure *cl, VeskErr *err, VeskDescriptorInfo *out, const char *) {
    return get(cl, err, out);
}

VESK_OPS_T(6) destor = {
    VESK_RECORD_INIT("operations/descriptor/Destor", "descriptor/Destor", "descriptor",
                     VESK_OID3(VESK_CAT_OPS, VESK_FAC_DESTOR, 5), nullptr),
    sizeof(VeskDescriptor),
    6,
    {
        VESK_STDROWS_NONE,
        VESK_ROW(get, "get-descriptor", get),
        VESK_ROW(get_l, "get-localized-descriptor", get_localized),
    },
};

}  // namespace

VeskOps *destor_ops() { return VESK_OPS(&destor); }

}  // namespace vesk::svc
