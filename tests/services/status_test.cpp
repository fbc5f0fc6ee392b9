// SPDX-License-Identifier: MIT
// Status reports: the direct fill, the service path and re-stamping. The
// service here is a class of the test's own whose set 3.1008.1 answers rows 4
// (make) and 5 (make_l) by filling the record and writing
// "<facility>/<code>/<variant>: " and the first argument, a string, into the
// message; code 0xDEAD gives -1.
#include <gtest/gtest.h>

#include <cstdarg>
#include <string>
#include <utility>

#include "services/status.hpp"
#include "support/status.hpp"
#include "vesk.h"

namespace {

using vesk_test::expect_report;
using vesk_test::Status;

// What the service's rows last received, and how often they were called.
struct Seen {
    int calls = 0;
    const char *locale = nullptr;
    void *holder = nullptr;
} seen;

int64_t format_into(VeskClosure *cl, VeskErr *err, const char *locale, int32_t facility,
                    int32_t code, int32_t syserr, uint32_t variant, va_list args) {
    seen = {seen.calls + 1, locale, cl->holder};
    err->status = int32_t((uint32_t(facility) << 16) | (uint32_t(code) & 0xFFFFu));
    err->syserr = syserr;
    err->variant = variant;
    const int n = std::snprintf(err->msg, err->msgsize, "%d/%d/%u: ", facility, code, variant);
    std::vsnprintf(err->msg + n, err->msgsize - n, "%s", args);
    return code == 0xDEAD ? -1 : 0;
}
int64_t make(VeskClosure *cl, VeskErr *err, uint32_t, uint32_t, uint32_t, int32_t facility,
             int32_t code, int32_t syserr, uint32_t variant, va_list args) {
    return format_into(cl, err, nullptr, facility, code, syserr, variant, args);
}
int64_t make_l(VeskClosure *cl, VeskErr *err, const char *locale, uint32_t, uint32_t, uint32_t,
               int32_t facility, int32_t code, int32_t syserr, uint32_t variant, va_list args) {
    return format_into(cl, err, locale, facility, code, syserr, variant, args);
}

// Kind in the low half of a head word, flags in the high half, as linking writes them.
void set_head(VeskRecord &rec, uint32_t head, void *super) {
    rec.kind = uint16_t(head), rec.flags = uint16_t(head >> 16), rec.super = super;
}

struct Service {
    VESK_OPS_T(6) ops{};
    VESK_SEBLOCK_T(1) block{};
    VeskModule module{};
    VeskClass cls{};

    // `opcount` below 5 leaves row 4 out; `make_fn` may be a placeholder.
    explicit Service(uint32_t opcount = 6, VeskOpfn make_fn = VESK_FN(make)) {
        set_head(ops.rec, VESK_HEAD_OPS, &module);
        ops.rec.oid = {3, VESK_OPNUM_NONE, {3, VESK_ERR_FAMILY, 1}};
        ops.opcount = opcount;
        ops.rows[VESK_ERR_OP_MAKE].fn = make_fn;
        ops.rows[VESK_ERR_OP_MAKE_L].fn = VESK_FN(make_l);
        block.tag = VESK_KIND_SEBLOCK;
        block.count = 1;
        block.se[0] = {VESK_KIND_SE, ops.rec.oid, 0, 0, 0, VESK_OPS(&ops), {}, nullptr};
        set_head(module.rec, VESK_HEAD_MODULE, nullptr);
        set_head(cls.rec, VESK_HEAD_CLASS, &module);
        cls.rec.longkey = "objects/Testerr";
        _VeskSelistInit(&cls.selist);
        _VeskSelistPushback_nlk(&cls.selist, VESK_SEBLOCK(&block), nullptr);
        seen = {};
    }
    ~Service() { _VeskSelistFini(&cls.selist); }
};

// Installs a service as the default for the life of the guard, and puts the
// one before (the stock service) back.
struct DefaultService {
    explicit DefaultService(Service &svc) : before(std::exchange(_G_error_service_default, &svc.cls)) {}
    ~DefaultService() { _G_error_service_default = before; }
    void *before;
};

TEST(Mkerr, NullRecordDoesNothingAndReadsNoArgument) {
    // A bad pointer as the format's argument: reading it would fault.
    const char *poison = reinterpret_cast<const char *>(uintptr_t{1});
    EXPECT_EQ(VeskMkerr(nullptr, nullptr, 1, 2, 3, 104, 33281, 2, 1, poison), 0);
    EXPECT_EQ(VeskMkerr_l(nullptr, nullptr, "C", 1, 2, 3, 104, 33281, 2, 1, poison), 0);
    EXPECT_EQ(VeskMkerr_u(nullptr, 1, 2, 3, 104, 33281, 2, "%s", poison), 0);
}

TEST(Mkerr, WithoutBufferFillsTheFieldsOnlyAndAsksNoService) {
    Service svc;
    DefaultService installed(svc);
    VeskErr err{};
    err.msgsize = 77;
    EXPECT_EQ(VeskMkerr(nullptr, &err, 7, 8, 9, 104, 33281, 2, 1, "/no/such"), 0);
    expect_report(err, 104, 33281, 2, 1);
    EXPECT_TRUE(err.info0 == 7 && err.info1 == 8 && err.info2 == 9);
    EXPECT_TRUE(err.msgsize == 77 && err.msg == nullptr);
    EXPECT_EQ(seen.calls, 0);
}

TEST(Mkerr, WithoutAServiceTheMessageIsEmpty) {
    void *service = std::exchange(_G_error_service_default, nullptr);
    Status bare(sizeof bare.buf, '#');
    EXPECT_EQ(VeskMkerr(nullptr, &bare.err, 0, 0, 0, 104, 33281, 2, 1, "/no/such"), 0);
    _G_error_service_default = service;
    EXPECT_EQ(bare.err.status, 0x00688201);
    EXPECT_TRUE(bare.buf[0] == '\0' && bare.buf[1] == '#') << "only the first byte is written";
}

TEST(Mkerr, StatusTakesLow16BitsAndSignExtends) {
    struct Case {
        int32_t facility, code;
        int64_t status;
    } cases[] = {
        {1000, 1025, 0x03E80401},
        {0, 32773, 0x00008005},
        {0x7FFF, 0xFFFF, 0x7FFFFFFF},
        {0x8000, 1, int64_t{int32_t(0x80000001u)}},  // the high word all ones
        {0xFFFF, 0xFFFF, -1},
        {0x12345, 0x10203, (int64_t{0x2345} << 16) | 0x0203},  // only the low halves count
    };
    for (const Case &c : cases) {
        VeskErr err{};
        VeskMkerr(nullptr, &err, 0, 0, 0, c.facility, c.code, 0, 0);
        EXPECT_EQ(err.status, c.status) << c.facility << "/" << c.code;
    }
}

TEST(Mkerr, ServicesAnswerThroughTheirRowsOrLeaveTheDirectFill) {
    {
        Service svc;
        DefaultService installed(svc);
        Status r;
        EXPECT_EQ(VeskMkerr(nullptr, &r.err, 0, 0, 0, 104, 33281, 2, 1, "/no/such"), 0);
        EXPECT_STREQ(r.buf, "104/33281/1: /no/such");
        EXPECT_TRUE(seen.calls == 1 && seen.holder == &svc.cls) << "row 4 found by the walk";
    }
    Service svc;  // an explicit service needs no default; its result comes back
    Status r, l;
    EXPECT_EQ(VeskMkerr(&svc.cls, &r.err, 0, 0, 0, 1, 0xDEAD, 0, 0, "x"), -1);
    EXPECT_EQ(VeskMkerr_l(&svc.cls, &l.err, "de_DE", 0, 0, 0, 1000, 49170, 0, 1, "name"), 0);
    EXPECT_STREQ(l.buf, "1000/49170/1: name");
    EXPECT_TRUE(seen.calls == 2 && std::string(seen.locale) == "de_DE") << "row 5, and the locale";

    // Too few rows for row 4, and a row 4 that is an unlinked placeholder.
    Service short_set(4), unlinked(6, VESK_FN_IMPORT);
    for (Service *s : {&short_set, &unlinked}) {
        Status f;
        EXPECT_EQ(VeskMkerr(&s->cls, &f.err, 0, 0, 0, 104, 33281, 2, 1, "/p"), 0);
        EXPECT_EQ(f.err.status, 0x00688201);
        EXPECT_EQ(f.buf[0], '\0');
    }
    EXPECT_EQ(seen.calls, 0);
}

TEST(MkerrU, FormatsWithPositionalParametersAndVariantZero) {
    Status r;
    r.err.variant = 9;
    EXPECT_EQ(VeskMkerr_u(&r.err, 1, 2, 3, 0, 259, 22, "%2$s-%1$d", 42, "ab"), 0);
    expect_report(r.err, 0, 259, 22, 0, "ab-42");
    EXPECT_EQ(r.err.info2, 3u);
}

// Through the stock service and through the direct form alike.
TEST(Mkerr, LongMessagesAreCutAndEndedAtEverySize) {
    const std::string full = "/some/path: no such file or directory.";
    for (uint32_t size = 1; size <= full.size() + 2; ++size) {
        Status r(size, '#'), u(size, '#');
        VeskMkerr(nullptr, &r.err, 0, 0, 0, 104, 33281, 2, 1, "/some/path");
        VeskMkerr_u(&u.err, 0, 0, 0, 0, 1, 0, "%s", full.c_str());
        for (const Status *s : {&r, &u}) {
            EXPECT_EQ(std::string(s->buf), full.substr(0, size - 1)) << "msgsize " << size;
            EXPECT_EQ(s->buf[size], '#') << "nothing written past msgsize " << size;
        }
    }
}

TEST(MkerrU, ZeroSizeOrNoBufferWritesNoText) {
    Status r(0, '#');
    VeskMkerr_u(&r.err, 0, 0, 0, 5, 6, 7, "text");
    EXPECT_EQ(r.buf[0], '#');
    EXPECT_EQ(r.err.status, (5 << 16) | 6);
    VeskErr err{};
    EXPECT_EQ(VeskMkerr_u(&err, 0, 0, 0, 5, 6, 7, "text"), 0);
    EXPECT_EQ(err.syserr, 7);
}

TEST(Restamp, PutsTheRunningFamilyInFrontAndKeepsTheRest) {
    Service svc;  // a running set of family 1006
    VeskClosure running{&svc.cls, &svc.cls, nullptr, VESK_OPS(&svc.ops), 4};
    svc.ops.rec.oid.comp[1] = 1006;
    Status r;
    VeskMkerr_u(&r.err, 0, 0, 0, 508, 32773, 12, "@allocator.get: out of memory");
    r.err.variant = 2;
    vesk::restamp(&r.err, &running);
    expect_report(r.err, 1006, 32773, 12, 2, "@allocator.get: out of memory");

    svc.ops.rec.oid.comp[1] = 0x8001;  // a family high enough to turn the status negative
    vesk::restamp(&r.err, &running);
    EXPECT_EQ(r.err.status, int64_t{int32_t(0x80018005u)});
    vesk::restamp(nullptr, &running);  // a null record is left alone
}

}  // namespace
