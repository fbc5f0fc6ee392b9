// SPDX-License-Identifier: MIT
// Attributes of the handle mutexes and conditions. Only `name` reaches the
// platform; the other fields keep their place in the record and are stored
// or ignored as callers of the record expect.
#include "nu.h"
#include "report.hpp"

using namespace vesk::threads;

namespace {

constexpr uint32_t kRecordHeadLength = 12;
constexpr uint32_t kDefaultAccess = 0xF0000;
constexpr int32_t kRecursiveType = 2;
constexpr int32_t kCeilingLimit = 4;
// The mutex kinds and priority protocols a caller may name: the platform's
// numbers (normal, recursive, error-checking, default; none, inherit,
// protect). Any of them is accepted and changes nothing; another number is
// refused with -1.
constexpr int32_t kTypeCount = 4;
constexpr int32_t kProtocolCount = 3;

int64_t init_attr(NuPMutexattr *attr) {
    if (attr == nullptr)
        return -1;
    *attr = {};
    attr->nLength = kRecordHeadLength;
    attr->access = kDefaultAccess;
    return 0;
}

}  // namespace

extern "C" {

VESK_API int64_t NuPMutexattrInit(NuPMutexattr *attr) { return init_attr(attr); }
VESK_API int64_t NuPCondattrInit(NuPCondattr *attr) { return init_attr(attr); }
VESK_API int64_t NuPMutexattrDestroy(NuPMutexattr *) { return 0; }
VESK_API int64_t NuPCondattrDestroy(NuPCondattr *) { return 0; }

// Every handle mutex is recursive; the type cannot be changed.
VESK_API int64_t NuPMutexattrGettype(const NuPMutexattr *, int32_t *type) {
    if (type == nullptr)
        return -1;
    *type = kRecursiveType;
    return 0;
}
VESK_API int64_t NuPMutexattrSettype(NuPMutexattr *, int32_t type) {
    return type >= 0 && type < kTypeCount ? 0 : -1;
}

VESK_API int64_t NuPMutexattrGetprotocol(const NuPMutexattr *, int32_t *) { return 0; }
VESK_API int64_t NuPMutexattrSetprotocol(NuPMutexattr *, int32_t protocol) {
    return protocol >= 0 && protocol < kProtocolCount ? 0 : -1;
}
VESK_API int64_t NuPMutexattrGetprioceiling(const NuPMutexattr *, int32_t *) { return 0; }

VESK_API int64_t NuPMutexattrSetprioceiling(NuPMutexattr *, int32_t ceiling, VeskErr *err) {
    if (ceiling >= -kCeilingLimit && ceiling <= kCeilingLimit)
        return 0;
    VeskMkerr(nullptr, err, 0, 0, 0, VESK_FAC_NONE, VESK_E_INVAL, 0, 1, "@prioseiling");
    return -1;
}

}  // extern "C"
