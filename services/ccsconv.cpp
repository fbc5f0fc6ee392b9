// SPDX-License-Identifier: MIT
// Charset conversion: "modules/ccsconv" with the class "objects/Nuccsconv",
// the set "operations/ccsconv/Ccsconv" and the six stock converter sets.
//
// The service converts nothing itself: opening a convertor finds the two
// converter sets by charset number and holds them in the caller's record
// until it is closed; the run forms make one wide character of each source
// character and bytes of each wide character. Between two stock converters
// they do it inline (ccs_convert.hpp), with the same results and reports.
#include <cstddef>
#include <cstring>

#include "runtime/startup.hpp"
#include "runtime/static_module.hpp"
#include "services/ccs_convert.hpp"
#include "services/ccs_converters.hpp"
#include "services/service_default.hpp"

namespace vesk::svc {
namespace {

constexpr uint16_t kConvSub = 17;
constexpr uint16_t kConvClassId = 17;
constexpr uint16_t kConvModuleId = 10;
constexpr char kMagic[4] = {'C', 'C', 'S', 'C'};
// mbmax of a charset that doesn't state one, or isn't known.
constexpr uint16_t kUnstatedMax = 6;

using OpenFn = int64_t (*)(VeskClosure *, VeskErr *, int32_t, int32_t, VeskCcscvtor *);
using CloseFn = int64_t (*)(VeskClosure *, VeskErr *, VeskCcscvtor *);

// ---- Opening and closing ----------------------------------------------------------

// A converter set is complete when it has both converter rows, linked.
bool has_converter_rows(const VeskOps *ops) {
    if (ops->opcount <= VESK_CCSCVT_OP_WC2MB)
        return false;
    const auto linked = [](VeskOpfn fn) { return reinterpret_cast<uintptr_t>(fn) > 2; };
    return linked(ops->rows[VESK_CCSCVT_OP_MB2WC].fn) && linked(ops->rows[VESK_CCSCVT_OP_WC2MB].fn);
}

// The converter set of charset `id`, held; null when there is none. A number
// that can't be an identifier's component (0 would match any set) has none.
VeskOps *get_converter(int32_t id) {
    if (id <= 0 || id > 0xFFFF)
        return nullptr;
    const VeskOid key = VESK_OID4(VESK_CAT_OPS, VESK_CCSCVT_FAMILY, VESK_CCSCVT_SUB,
                                  static_cast<uint16_t>(id));
    VeskOps *ops = VeskGetops(&key, nullptr);
    if (ops != nullptr && !has_converter_rows(ops)) {
        VeskEndops(ops, nullptr);
        return nullptr;
    }
    return ops;
}

void report_no_converter(const VeskClosure *cl, VeskErr *err, int32_t id, const char *side) {
    const char *name = VeskCcsiIANAName(nullptr, id, nullptr);
    VeskMkerr(nullptr, err, 0, 0, 0, cl->ops->rec.oid.comp[1], VESK_E_NOTREADY, 0, 3,
              cl->ops->rec.name, cl->ops->rows[VESK_CCSCONV_OP_OPEN].opname,
              name != nullptr ? name : side);
}

uint16_t mbmax_of(int32_t id) {
    const VeskCcsInfo *info = VeskCcsiStat(nullptr, id, nullptr);
    return info == nullptr || info->mbmax == 0 ? kUnstatedMax : info->mbmax;
}

int64_t open_convertor(VeskClosure *cl, VeskErr *err, int32_t src, int32_t dst, VeskCcscvtor *cv) {
    std::memset(cv, 0, sizeof *cv);
    VeskOps *srcops = get_converter(src);
    if (srcops == nullptr) {
        report_no_converter(cl, err, src, "@source-charset");
        return -1;
    }
    VeskOps *dstops = srcops;
    if (dst != src) {
        dstops = get_converter(dst);
        if (dstops == nullptr) {
            VeskEndops(srcops, nullptr);
            report_no_converter(cl, err, dst, "@dest-charset");
            return -1;
        }
    }
    cv->cl = *cl;
    cv->cl.opnum = -1;
    cv->srcops = srcops;
    cv->dstops = dstops;
    cv->srcmax = mbmax_of(src);
    cv->dstmax = mbmax_of(dst);
    std::memcpy(cv->magic, kMagic, sizeof kMagic);
    return 0;
}

bool is_open(const VeskCcscvtor *cv) { return std::memcmp(cv->magic, kMagic, sizeof kMagic) == 0; }

void report_bad_convertor(const VeskClosure *cl, VeskErr *err) {
    VeskMkerr(nullptr, err, 0, 0, 0, cl->ops->rec.oid.comp[1], VESK_E_INVAL, 0, 3, cl->ops->rec.name,
              cl->ops->rows[VESK_CCSCONV_OP_CLOSE].opname, "@convertor");
}

// The sets are given back once: a second close finds none to give. The
// magic stays.
int64_t close_convertor(VeskClosure *cl, VeskErr *err, VeskCcscvtor *cv) {
    if (!is_open(cv)) {
        report_bad_convertor(cl, err);
        return -1;
    }
    VeskOps *srcops = cv->srcops;
    VeskOps *dstops = cv->dstops;
    cv->srcops = nullptr;
    cv->dstops = nullptr;
    if (srcops != nullptr)
        VeskEndops(srcops, nullptr);
    if (dstops != nullptr && dstops != srcops)
        VeskEndops(dstops, nullptr);
    return 0;
}

// ---- The records ------------------------------------------------------------------

VESK_OPS_T(6) conv_ops = {
    VESK_RECORD_INIT("operations/ccsconv/Ccsconv", "ccsconv/Ccsconv", "ccsconv",
                     VESK_OID3(VESK_CAT_OPS, VESK_CCSCONV_FAMILY, kConvSub), nullptr),
    0,
    6,
    {
        VESK_STDROWS_NONE,
        VESK_ROW(opencvtor, "ccsconv::open-convertor", open_convertor),
        VESK_ROW(closecvtor, "ccsconv::close-convertor", close_convertor),
    },
};

struct ConvClass {
    VeskClass cls;
    VeskDescriptor descriptor;
    VESK_SEBLOCK_T(3) block;
};

ConvClass conv_class = {
    VESK_CLASS_INIT("objects/Nuccsconv", "Nuccsconv", "Nuccsconv",
                    VESK_OID2(VESK_CAT_CLASS, kConvClassId), rt::push_own_block<ConvClass>, 0),
    {rt::kStockVersion, __DATE__},
    {VESK_SEBLOCK_HEAD(3),
     {VESK_SE_OWN(VESK_OID3(VESK_CAT_OPS, VESK_CCSCONV_FAMILY, kConvSub), 0, 0, VESK_OPS(&conv_ops)),
      VESK_SE_IMPORT(VESK_OID3(VESK_CAT_OPS, VESK_FAC_UCNTL, 8), 0, 0),
      VESK_SE_IMPORT(VESK_OID3(VESK_CAT_OPS, VESK_FAC_DESTOR, 5), 0,
                     offsetof(ConvClass, descriptor))}},
};

int64_t module_on_link(VeskRecord *rec, VeskErr *status);

// This module carries the version 2.4.0.
struct ConvModule {
    VeskModule mod;
    VESK_SEBLOCK_T(1) block;
} conv_module = {
    VESK_MODULE_INIT("modules/ccsconv", "ccsconv", "ccsconv",
                     VESK_OID2(VESK_CAT_MODULE, kConvModuleId), module_on_link, "ccsconv",
                     VESK_VERSION(2, 4, 0), __DATE__),
    {VESK_SEBLOCK_HEAD(1),
     {VESK_SE_IMPORT(VESK_OID3(VESK_CAT_OPS, VESK_FAC_DESTOR, 5), 0, offsetof(VeskModule, descriptor))}},
};

VeskOps *conv_opsv[1 + ccs::kStockConverters];
VeskClass *conv_clsv[] = {&conv_class.cls};

int64_t module_on_link(VeskRecord *rec, VeskErr *status) {
    conv_opsv[0] = VESK_OPS(&conv_ops);
    for (uint32_t i = 0; i < ccs::kStockConverters; ++i)
        conv_opsv[1 + i] = ccs::stock_converter_sets[i];
    return rt::link_module<ConvModule>(rec, conv_opsv, conv_clsv, status);
}

// ---- The default service ------------------------------------------------------------

int32_t fetch_default(uintptr_t) {
    return fetch_default_service(_G_ccsconv_service_default, kConvClassId);
}
int32_t drop_default(uintptr_t) { return drop_default_service(_G_ccsconv_service_default); }

VeskStartRec default_service_record = {
    VESK_START_MAGIC, 202, fetch_default, 0, drop_default, 0, {}, nullptr, nullptr};

VESK_START_AT_LOAD(register_default_service, &default_service_record)

// ---- Front ends ---------------------------------------------------------------------

void report_front(VeskErr *err, int32_t code, const char *what) {
    VeskMkerr(nullptr, err, 0, 0, 0, VESK_CCSCONV_FAMILY, code, 0, 1, what);
}

// Row `opnum` of the service's set, called in a frame through the trampoline.
template <class... Args>
int64_t call_service(void *service, uint16_t opnum, VeskErr *err, Args... args) {
    const VeskOid key = {2, opnum, {VESK_CAT_OPS, VESK_CCSCONV_FAMILY, 0, 0, 0, 0}};
    VeskFrame *frame = __vesk_closure_tramp_att();
    frame->fn = VeskLookupoporstub(service, &key, &frame->cl)->fn;
    const int64_t r = reinterpret_cast<int64_t (*)(VeskFrame *, VeskErr *, Args...)>(
        __vesk_call_tramp)(frame, err, args...);
    __vesk_closure_tramp_det();
    return r;
}

// The wide form, or no charset at all, on one side takes the other side's
// charset.
bool settles_to_other(int32_t id) { return id == VESK_CCS_UNKNOWN || id == VESK_CCS_WIDE; }

// A record the run forms can use: open, with its sets.
bool usable(VeskCcscvtor *cv, VeskErr *err) {
    if (cv == nullptr) {
        report_front(err, VESK_E_FAULT, "@cvtor");
        return false;
    }
    if (!is_open(cv) || cv->srcops == nullptr || cv->dstops == nullptr) {
        report_front(err, VESK_E_INVAL, "@convertor");
        return false;
    }
    return true;
}

bool given(const void *p, VeskErr *err, const char *what) {
    if (p != nullptr)
        return true;
    report_front(err, VESK_E_FAULT, what);
    return false;
}

ccs::Limits limits_of(const VeskCcscvtor *cv) { return {cv->srcmax, cv->dstmax}; }

const unsigned char *bytes(const char *p) { return reinterpret_cast<const unsigned char *>(p); }
unsigned char *bytes(char *p) { return reinterpret_cast<unsigned char *>(p); }
const unsigned char **bytes(const char **p) { return reinterpret_cast<const unsigned char **>(p); }
unsigned char **bytes(char **p) { return reinterpret_cast<unsigned char **>(p); }

}  // namespace

// After "modules/ccsi", whose names its reports use.
VESK_BUILTIN_MODULE(announce_ccsconv, 4, &conv_module.mod)

}  // namespace vesk::svc

using namespace vesk::svc;
using vesk::ccs::with_policy;

extern "C" {

VESK_API void *_G_ccsconv_service_default = nullptr;

VESK_API int64_t VeskOpenCcscvtor_i(void *service, int32_t src, int32_t dst, VeskCcscvtor *cvtor,
                                    VeskErr *err) {
    service = service_or_default(service, _G_ccsconv_service_default);
    if (service == nullptr) {
        VeskMkerr(nullptr, err, 0, 0, 0, VESK_CCSCONV_FAMILY, VESK_E_NOTREADY, 0, 1, "ccsconv");
        return -1;
    }
    if (!given(cvtor, err, "@cvtor"))
        return -1;
    if (settles_to_other(src))
        src = dst;
    else if (settles_to_other(dst))
        dst = src;
    return call_service(service, VESK_CCSCONV_OP_OPEN, err, src, dst, cvtor);
}

VESK_API int64_t VeskOpenCcscvtor_s(void *service, const char *src, const char *dst,
                                    VeskCcscvtor *cvtor, VeskErr *err) {
    const int32_t src_id = VeskCcsiGetidbyname(nullptr, src, err);
    if (src_id < 0) {
        VESK_STATUS_RESTAMP(err, VESK_CCSCONV_FAMILY);
        return src_id;
    }
    const int32_t dst_id = VeskCcsiGetidbyname(nullptr, dst, err);
    if (dst_id < 0) {
        VESK_STATUS_RESTAMP(err, VESK_CCSCONV_FAMILY);
        return dst_id;
    }
    return VeskOpenCcscvtor_i(service, src_id, dst_id, cvtor, err);
}

VESK_API int64_t VeskCcscvtorClose(VeskCcscvtor *cvtor, VeskErr *err) {
    if (cvtor == nullptr)
        return 0;
    if (cvtor->cl.ops == nullptr) {
        report_front(err, VESK_E_INVAL, "@convertor");
        return -1;
    }
    VeskFrame *frame = __vesk_closure_tramp_att();
    frame->cl = cvtor->cl;
    frame->cl.opnum = VESK_CCSCONV_OP_CLOSE;
    frame->fn = cvtor->cl.ops->opcount > VESK_CCSCONV_OP_CLOSE
                    ? cvtor->cl.ops->rows[VESK_CCSCONV_OP_CLOSE].fn
                    : nullptr;
    int64_t r = -1;
    if (reinterpret_cast<uintptr_t>(frame->fn) > 2)
        r = reinterpret_cast<int64_t (*)(VeskFrame *, VeskErr *, VeskCcscvtor *)>(
            __vesk_call_tramp)(frame, err, cvtor);
    else
        report_front(err, VESK_E_INVAL, "@convertor");
    __vesk_closure_tramp_det();
    return r;
}

VESK_API int32_t VeskCcsconv(VeskCcscvtor *cvtor, const char **src, uint32_t *srcleft, char **dst,
                             uint32_t *dstleft, VeskErr *err) {
    if (!usable(cvtor, err) || !given(src, err, "@src") || !given(srcleft, err, "@srcleft") ||
        (*srcleft != 0 && !given(*src, err, "@src")))
        return -1;
    return with_policy(cvtor, [&](const auto &p) {
        return vesk::ccs::run_one(p, limits_of(cvtor), bytes(src), srcleft, bytes(dst), dstleft, err);
    });
}

VESK_API int32_t VeskCcsconv_2mb(VeskCcscvtor *cvtor, const char16_t **wsrc, uint32_t *wleft,
                                 char **dst, uint32_t *dstleft, VeskErr *err) {
    if (!usable(cvtor, err) || !given(wsrc, err, "@wsrc") || !given(wleft, err, "@wleft") ||
        (*wleft != 0 && !given(*wsrc, err, "@wsrc")))
        return -1;
    return with_policy(cvtor, [&](const auto &p) {
        return vesk::ccs::run_one_2mb(p, limits_of(cvtor), wsrc, wleft, bytes(dst), dstleft, err);
    });
}

VESK_API int32_t VeskCcsconv_2wc(VeskCcscvtor *cvtor, const char **src, uint32_t *srcleft,
                                 char16_t **wdst, uint32_t *wleft, VeskErr *err) {
    if (!usable(cvtor, err) || !given(src, err, "@src") || !given(srcleft, err, "@srcleft") ||
        (*srcleft != 0 && !given(*src, err, "@src")))
        return -1;
    return with_policy(cvtor, [&](const auto &p) {
        return vesk::ccs::run_one_2wc(p, limits_of(cvtor), bytes(src), srcleft, wdst, wleft, err);
    });
}

VESK_API int32_t VeskCcsconv_b(VeskCcscvtor *cvtor, const char *src, uint32_t srclen, char *dst,
                               uint32_t dstsize, VeskErr *err) {
    if (!usable(cvtor, err) || (srclen != 0 && !given(src, err, "@src")))
        return -1;
    return with_policy(cvtor, [&](const auto &p) {
        return vesk::ccs::run_b(p, limits_of(cvtor), bytes(src), srclen, bytes(dst), dstsize, err);
    });
}

VESK_API int32_t VeskCcsconv_b_2mb(VeskCcscvtor *cvtor, const char16_t *wsrc, uint32_t wlen,
                                   char *dst, uint32_t dstsize, VeskErr *err) {
    if (!usable(cvtor, err) || (wlen != 0 && !given(wsrc, err, "@wsrc")))
        return -1;
    return with_policy(cvtor, [&](const auto &p) {
        return vesk::ccs::run_b_2mb(p, limits_of(cvtor), wsrc, wlen, bytes(dst), dstsize, err);
    });
}

VESK_API int32_t VeskCcsconv_b_2wc(VeskCcscvtor *cvtor, const char *src, uint32_t srclen,
                                   char16_t *wdst, uint32_t wsize, VeskErr *err) {
    if (!usable(cvtor, err) || (srclen != 0 && !given(src, err, "@src")))
        return -1;
    return with_policy(cvtor, [&](const auto &p) {
        return vesk::ccs::run_b_2wc(p, limits_of(cvtor), bytes(src), srclen, wdst, wsize, err);
    });
}

VESK_API int32_t VeskCcsconv_s(VeskCcscvtor *cvtor, const char *src, char *dst, VeskErr *err) {
    if (!usable(cvtor, err) || !given(src, err, "@src"))
        return -1;
    return with_policy(cvtor, [&](const auto &p) {
        return vesk::ccs::run_s(p, limits_of(cvtor), bytes(src), bytes(dst), err);
    });
}

VESK_API int32_t VeskCcsconv_s_2mb(VeskCcscvtor *cvtor, const char16_t *wsrc, char *dst,
                                   VeskErr *err) {
    if (!usable(cvtor, err) || !given(wsrc, err, "@wsrc"))
        return -1;
    return with_policy(cvtor, [&](const auto &p) {
        return vesk::ccs::run_s_2mb(p, limits_of(cvtor), wsrc, bytes(dst), err);
    });
}

VESK_API int32_t VeskCcsconv_s_2wc(VeskCcscvtor *cvtor, const char *src, char16_t *wdst,
                                   VeskErr *err) {
    if (!usable(cvtor, err) || !given(src, err, "@src"))
        return -1;
    return with_policy(cvtor, [&](const auto &p) {
        return vesk::ccs::run_s_2wc(p, limits_of(cvtor), bytes(src), wdst, err);
    });
}

}  // extern "C"
