// A small error service for tests: a class whose set 3.1008.1 answers rows 4
// (make) and 5 (make_l) by filling the record and writing
// "<facility>/<code>/<variant>: " and the first argument, a string, into the
// message. Code 0xDEAD is "unknown" and gives -1.
#pragma once

#include <cstdarg>
#include <cstdio>

#include "support/status.hpp"
#include "vesk.h"

namespace vesk_test {

// What the service's rows last received.
struct CaptureSeen {
    int calls = 0;
    const char *locale = nullptr;
    void *holder = nullptr;
};

struct CaptureService {
    static inline CaptureSeen seen;

    VESK_OPS_T(6) ops{};
    VESK_SEBLOCK_T(1) block{};
    VeskModule module{};
    VeskClass cls{};

    // `opcount` below 5 leaves row 4 out; `make_fn` may be a placeholder.
    explicit CaptureService(uint32_t opcount = 6, VeskOpfn make_fn = VESK_FN(make)) {
        ops.rec.kind = VESK_KIND_OPS;
        ops.rec.flags = VESK_HEAD_OPS >> 16;
        ops.rec.super = &module;
        ops.rec.oid = {3, VESK_OPNUM_NONE, {3, VESK_ERR_FAMILY, 1}};
        ops.opcount = opcount;
        ops.rows[VESK_ERR_OP_MAKE].fn = make_fn;
        ops.rows[VESK_ERR_OP_MAKE_L].fn = VESK_FN(make_l);

        block.tag = VESK_KIND_SEBLOCK;
        block.count = 1;
        block.se[0] = {VESK_KIND_SE, ops.rec.oid, 0, 0, 0, VESK_OPS(&ops), {}, nullptr};

        module.rec.kind = VESK_KIND_MODULE;
        module.rec.flags = VESK_HEAD_MODULE >> 16;
        cls.rec.kind = VESK_KIND_CLASS;
        cls.rec.flags = VESK_HEAD_CLASS >> 16;
        cls.rec.super = &module;
        cls.rec.longkey = "objects/Testerr";
        _VeskSelistInit(&cls.selist);
        _VeskSelistPushback_nlk(&cls.selist, VESK_SEBLOCK(&block), nullptr);
        seen = {};
    }
    ~CaptureService() { _VeskSelistFini(&cls.selist); }
    CaptureService(const CaptureService &) = delete;
    CaptureService &operator=(const CaptureService &) = delete;

    static int64_t format_into(VeskErr *err, int32_t facility, int32_t code, int32_t syserr,
                               uint32_t variant, va_list args) {
        err->status = static_cast<int32_t>((static_cast<uint32_t>(facility) << 16) |
                                           (static_cast<uint32_t>(code) & 0xFFFFu));
        err->syserr = syserr;
        err->variant = variant;
        const int n = std::snprintf(err->msg, err->msgsize, "%d/%d/%u: ", facility, code, variant);
        std::vsnprintf(err->msg + n, err->msgsize - n, "%s", args);
        return code == 0xDEAD ? -1 : 0;
    }

    static int64_t make(VeskClosure *cl, VeskErr *err, uint32_t, uint32_t, uint32_t,
                        int32_t facility, int32_t code, int32_t syserr, uint32_t variant,
                        va_list args) {
        ++seen.calls;
        seen.holder = cl->holder;
        return format_into(err, facility, code, syserr, variant, args);
    }

    static int64_t make_l(VeskClosure *cl, VeskErr *err, const char *locale, uint32_t, uint32_t,
                          uint32_t, int32_t facility, int32_t code, int32_t syserr,
                          uint32_t variant, va_list args) {
        ++seen.calls;
        seen.locale = locale;
        seen.holder = cl->holder;
        return format_into(err, facility, code, syserr, variant, args);
    }
};

// Installs a service as the default for the life of the guard, and puts the
// one before (the stock service) back.
struct DefaultService {
    explicit DefaultService(CaptureService &svc) : before(_G_error_service_default) {
        _G_error_service_default = &svc.cls;
    }
    ~DefaultService() { _G_error_service_default = before; }
    DefaultService(const DefaultService &) = delete;
    DefaultService &operator=(const DefaultService &) = delete;
    void *before;
};

// A status record with a message buffer.
using Report = Status;

}  // namespace vesk_test
