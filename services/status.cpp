// SPDX-License-Identifier: MIT
// Status reports: VeskMkerr and its two sisters, and re-stamping.
//
// A report costs no allocation and works before any service is up: without a
// message buffer or an error service the record is filled directly.
#include "status.hpp"

#include <atomic>
#include <cstdarg>
#include <cstdio>

extern "C" {
VESK_API void *_G_error_service_default = nullptr;
}

namespace {

// The fields of one report, ahead of the format's arguments.
struct Fields {
    uint32_t info0, info1, info2;
    int32_t facility, code, syserr;
    uint32_t variant;
};

void direct_fill(VeskErr *err, const Fields &f) {
    err->info0 = f.info0;
    err->info1 = f.info1;
    err->info2 = f.info2;
    err->status = vesk::status_value(f.facility, f.code);
    err->syserr = f.syserr;
    err->variant = f.variant;
}

bool has_buffer(const VeskErr *err) { return err->msg != nullptr && err->msgsize != 0; }

void clear_message(VeskErr *err) {
    if (has_buffer(err))
        err->msg[0] = '\0';
}

// Asks the service's row `opnum` to fill and format the record, or fills it
// directly when there is no buffer or no service to ask.
template <class Call>
int64_t fill(void *service, VeskErr *err, uint16_t opnum, const Fields &f, Call call) {
    VeskClosure closure;
    VeskOprow *row = has_buffer(err) ? vesk::error_service_row(service, opnum, &closure) : nullptr;
    if (row == nullptr) {
        direct_fill(err, f);
        clear_message(err);
        return 0;
    }
    return call(row->fn, &closure);
}

}  // namespace

namespace vesk {

VeskOprow *error_service_row(void *service, uint16_t opnum, VeskClosure *closure) {
    if (service == nullptr)
        service = std::atomic_ref<void *>(_G_error_service_default).load(std::memory_order_acquire);
    if (service == nullptr)
        return nullptr;
    const VeskOid key{2, opnum, {VESK_CAT_OPS, VESK_ERR_FAMILY}};
    VeskOprow *row = VeskLookupop(service, &key, closure, nullptr);
    // 0, 1 and 2 are the placeholders of an unlinked row, not functions.
    if (row == nullptr || reinterpret_cast<uintptr_t>(row->fn) <= 2)
        return nullptr;
    return row;
}

}  // namespace vesk

extern "C" {

VESK_API int64_t VeskMkerr(void *service, VeskErr *err, uint32_t info0, uint32_t info1,
                           uint32_t info2, int32_t facility, int32_t code, int32_t syserr,
                           uint32_t variant, ...) {
    if (err == nullptr)
        return 0;
    va_list args;
    va_start(args, variant);
    const int64_t r = fill(service, err, VESK_ERR_OP_MAKE,
                           {info0, info1, info2, facility, code, syserr, variant},
                           [&](VeskOpfn fn, VeskClosure *cl) {
                               return reinterpret_cast<VeskErrMakefn>(fn)(
                                   cl, err, info0, info1, info2, facility, code, syserr, variant,
                                   args);
                           });
    va_end(args);
    return r;
}

VESK_API int64_t VeskMkerr_l(void *service, VeskErr *err, const char *locale, uint32_t info0,
                             uint32_t info1, uint32_t info2, int32_t facility, int32_t code,
                             int32_t syserr, uint32_t variant, ...) {
    if (err == nullptr)
        return 0;
    va_list args;
    va_start(args, variant);
    const int64_t r = fill(service, err, VESK_ERR_OP_MAKE_L,
                           {info0, info1, info2, facility, code, syserr, variant},
                           [&](VeskOpfn fn, VeskClosure *cl) {
                               return reinterpret_cast<VeskErrMakeLfn>(fn)(
                                   cl, err, locale, info0, info1, info2, facility, code, syserr,
                                   variant, args);
                           });
    va_end(args);
    return r;
}

VESK_API int64_t VeskMkerr_u(VeskErr *err, uint32_t info0, uint32_t info1, uint32_t info2,
                             int32_t facility, int32_t code, int32_t syserr, const char *format,
                             ...) {
    if (err == nullptr)
        return 0;
    direct_fill(err, {info0, info1, info2, facility, code, syserr, 0});
    if (!has_buffer(err))
        return 0;
    if (format == nullptr) {
        err->msg[0] = '\0';
        return 0;
    }
    va_list args;
    va_start(args, format);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::vsnprintf(err->msg, err->msgsize, format, args);
#pragma GCC diagnostic pop
    va_end(args);
    // Ended whatever the formatter did, so that a long message is cut cleanly.
    err->msg[err->msgsize - 1] = '\0';
    return 0;
}

}  // extern "C"
