// SPDX-License-Identifier: MIT
// The URI front ends. The library holds no URI implementation: a module binds
// the family 1090 and puts its object into _G_urilib_service_default. Every
// front end is one row of the table below (the row it calls, whether the row
// gets the caller's status record, how the row's result is shaped, and the
// answer without a service) and goes through the one caller, uri_call.
#include <atomic>
#include <cstdint>
#include <iterator>
#include <type_traits>

#include "vesk.h"

extern "C" {
VESK_API void *_G_urilib_service_default = nullptr;
}

namespace vesk::svc {
namespace {

// How a row's word becomes the front end's answer.
enum class Shape : uint8_t {
    kObject,        // -10..-1 become -1
    kObjectOrNull,  // -10..0 become 0
    kPositive,      // 1 if above 0, else 0
    kNumber,        // 32 bits; a negative result is -1
    kStatus,        // the 64-bit result as it is
    kLow32,         // the low 32 bits, sign-extended
};

struct Front {
    uint16_t row;
    bool passes_err;  // false: the row receives a null status record
    Shape shape;
    intptr_t none;    // the answer without a service
};

enum Entry : uint8_t {
    kCreateString, kCreateWstring, kCreatePath, kCreateWpath,
    kACreateString, kACreateWstring, kACreatePath, kACreateWpath,
    kSupport, kSchemeByName, kSchemeName, kInfoByName, kInfoById,
    kAdd, kAddNlk, kRem, kRemNlk, kParse, kWparse,
};

constexpr Front kFronts[] = {
    {VESK_URI_OP_CREATE_STRING, true, Shape::kObject, -1},
    {VESK_URI_OP_CREATE_WSTRING, true, Shape::kObject, -1},
    {VESK_URI_OP_CREATE_PATH, true, Shape::kObject, -1},
    {VESK_URI_OP_CREATE_WPATH, true, Shape::kObject, -1},
    {VESK_URI_OP_CREATE_STRING, true, Shape::kObjectOrNull, 0},
    {VESK_URI_OP_CREATE_WSTRING, true, Shape::kObject, -1},
    {VESK_URI_OP_CREATE_PATH, true, Shape::kObject, -1},
    {VESK_URI_OP_CREATE_WPATH, true, Shape::kObject, -1},
    {VESK_URI_OP_SUPPORT, false, Shape::kPositive, 0},
    {VESK_URI_OP_SCHEME_BYNAME, true, Shape::kNumber, VESK_URI_SCHEME_UNKNOWN},
    {VESK_URI_OP_SCHEME_NAME, true, Shape::kObject, 0},
    {VESK_URI_OP_INFO_BYNAME, true, Shape::kObject, 0},
    {VESK_URI_OP_INFO_BYID, true, Shape::kObject, 0},
    {VESK_URI_OP_ADD, false, Shape::kStatus, -1},
    {VESK_URI_OP_ADD_NLK, false, Shape::kStatus, -1},
    {VESK_URI_OP_REM, false, Shape::kStatus, -1},
    {VESK_URI_OP_REM_NLK, false, Shape::kStatus, -1},
    {VESK_URI_OP_PARSE, true, Shape::kLow32, -1},
    {VESK_URI_OP_WPARSE, true, Shape::kLow32, -1},
};
static_assert(std::size(kFronts) == kWparse + 1, "one row for each front end, in Entry order");

intptr_t shape(Shape how, intptr_t r) {
    switch (how) {
    case Shape::kObject: return r >= -10 && r <= -1 ? -1 : r;
    case Shape::kObjectOrNull: return r >= -10 && r <= 0 ? 0 : r;
    case Shape::kPositive: return r > 0 ? 1 : 0;
    case Shape::kNumber: return r < 0 ? -1 : intptr_t(int32_t(r));
    case Shape::kStatus: return r;
    case Shape::kLow32: return intptr_t(int32_t(uint32_t(uintptr_t(r))));
    }
    return r;
}

// Every row takes (closure, err) and up to six words behind them; a row with
// fewer ignores the rest, as the platform's calling convention allows.
using RowFn = intptr_t (*)(VeskFrame *, VeskErr *, uintptr_t, uintptr_t, uintptr_t, uintptr_t,
                           uintptr_t, uintptr_t);

intptr_t uri_call(Entry entry, void *service, VeskErr *err, uintptr_t a1 = 0, uintptr_t a2 = 0,
                  uintptr_t a3 = 0, uintptr_t a4 = 0, uintptr_t a5 = 0, uintptr_t a6 = 0) {
    const Front &f = kFronts[entry];
    if (service == nullptr)
        service = std::atomic_ref<void *>(_G_urilib_service_default).load(std::memory_order_acquire);
    if (service == nullptr) {
        VeskMkerr(nullptr, f.passes_err ? err : nullptr, 0, 0, 0, VESK_URI_FAMILY,
                  VESK_E_NOTREADY, 0, 1, "urilib");
        return f.none;
    }
    const VeskOid key = {2, f.row, {VESK_CAT_OPS, VESK_URI_FAMILY, 0, 0, 0, 0}};
    VeskFrame *frame = __vesk_closure_tramp_att();
    frame->fn = VeskLookupoporstub(service, &key, &frame->cl)->fn;
    const intptr_t r = reinterpret_cast<RowFn>(__vesk_call_tramp)(
        frame, f.passes_err ? err : nullptr, a1, a2, a3, a4, a5, a6);
    __vesk_closure_tramp_det();
    return shape(f.shape, r);
}

template <class T>
uintptr_t w(T v) {
    if constexpr (std::is_pointer_v<T>)
        return reinterpret_cast<uintptr_t>(v);
    else
        return static_cast<uintptr_t>(v);
}

template <class T>
T *as_ptr(intptr_t r) { return reinterpret_cast<T *>(r); }

// The create rows in full, and the short form: a null first argument, 1 as
// third, zeros as fourth and fifth, the caller's value last.
template <class Text>
void *create(Entry e, void *service, void *mem, const Text *text, uint32_t retain, uint32_t flags,
             uintptr_t reserved, uintptr_t context, VeskErr *err) {
    return as_ptr<void>(uri_call(e, service, err, w(mem), w(text), retain, flags, reserved, context));
}
template <class Text>
void *acreate(Entry e, void *service, const Text *text, uintptr_t context, VeskErr *err) {
    return create(e, service, nullptr, text, 1, 0, 0, context, err);
}

}  // namespace
}  // namespace vesk::svc

using namespace vesk::svc;

extern "C" {

VESK_API void *VeskCreateUriWithString(void *service, void *mem, const char *string,
                                       uint32_t retain, uint32_t flags, uintptr_t reserved,
                                       uintptr_t context, VeskErr *err) {
    return create(kCreateString, service, mem, string, retain, flags, reserved, context, err);
}
VESK_API void *VeskCreateUriWithWstring(void *service, void *mem, const char16_t *string,
                                        uint32_t retain, uint32_t flags, uintptr_t reserved,
                                        uintptr_t context, VeskErr *err) {
    return create(kCreateWstring, service, mem, string, retain, flags, reserved, context, err);
}
VESK_API void *VeskCreateUriWithFileSystemPath(void *service, void *mem, const char *path,
                                               uint32_t retain, uint32_t flags,
                                               uintptr_t reserved, uintptr_t context,
                                               VeskErr *err) {
    return create(kCreatePath, service, mem, path, retain, flags, reserved, context, err);
}
VESK_API void *VeskCreateUriWithFileSystemWpath(void *service, void *mem, const char16_t *path,
                                                uint32_t retain, uint32_t flags,
                                                uintptr_t reserved, uintptr_t context,
                                                VeskErr *err) {
    return create(kCreateWpath, service, mem, path, retain, flags, reserved, context, err);
}
VESK_API void *VeskACreateUriWithString(void *service, const char *string, uintptr_t context,
                                        VeskErr *err) {
    return acreate(kACreateString, service, string, context, err);
}
VESK_API void *VeskACreateUriWithWstring(void *service, const char16_t *string,
                                         uintptr_t context, VeskErr *err) {
    return acreate(kACreateWstring, service, string, context, err);
}
VESK_API void *VeskACreateUriWithFileSystemPath(void *service, const char *path,
                                                uintptr_t context, VeskErr *err) {
    return acreate(kACreatePath, service, path, context, err);
}
VESK_API void *VeskACreateUriWithFileSystemWpath(void *service, const char16_t *path,
                                                 uintptr_t context, VeskErr *err) {
    return acreate(kACreateWpath, service, path, context, err);
}
VESK_API int32_t VeskSupportUriScheme(void *service, const char *name, size_t len) {
    return int32_t(uri_call(kSupport, service, nullptr, w(name), len));
}
VESK_API int32_t VeskGetUriSchemeByName(void *service, const char *name, size_t len,
                                        VeskErr *err) {
    return int32_t(uri_call(kSchemeByName, service, err, w(name), len));
}
VESK_API const char *VeskGetUriSchemeName(void *service, int32_t id, VeskErr *err) {
    return as_ptr<const char>(uri_call(kSchemeName, service, err, w(id)));
}
VESK_API const VeskUriSchemeInfo *VeskGetUriSchemeInfoByName(void *service, const char *name,
                                                             size_t len, VeskErr *err) {
    return as_ptr<const VeskUriSchemeInfo>(uri_call(kInfoByName, service, err, w(name), len));
}
VESK_API const VeskUriSchemeInfo *VeskGetUriSchemeInfoByID(void *service, int32_t id,
                                                           VeskErr *err) {
    return as_ptr<const VeskUriSchemeInfo>(uri_call(kInfoById, service, err, w(id)));
}
VESK_API int64_t VeskAddUriSchemeInfo(void *service, uint32_t count,
                                      const VeskUriSchemeInfo *table) {
    return uri_call(kAdd, service, nullptr, count, w(table));
}
VESK_API int64_t VeskAddUriSchemeInfo_nlk(void *service, uint32_t count,
                                          const VeskUriSchemeInfo *table) {
    return uri_call(kAddNlk, service, nullptr, count, w(table));
}
VESK_API int64_t VeskRemUriSchemeInfo(void *service, uint32_t count,
                                      const VeskUriSchemeInfo *table) {
    return uri_call(kRem, service, nullptr, count, w(table));
}
VESK_API int64_t VeskRemUriSchemeInfo_nlk(void *service, uint32_t count,
                                          const VeskUriSchemeInfo *table) {
    return uri_call(kRemNlk, service, nullptr, count, w(table));
}
VESK_API int32_t _VeskParseUriScheme(void *service, const char *text, size_t len, int32_t *id,
                                     uint32_t flags, VeskErr *err) {
    return int32_t(uri_call(kParse, service, err, w(text), len, w(id), flags));
}
VESK_API int32_t _VeskWparseUriScheme(void *service, const char16_t *text, size_t len,
                                      int32_t *id, uint32_t flags, VeskErr *err) {
    return int32_t(uri_call(kWparse, service, err, w(text), len, w(id), flags));
}

}  // extern "C"
