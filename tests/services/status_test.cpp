// Status reports: the direct fill, the service path and re-stamping.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>

#include "services/status.hpp"
#include "support/capture_service.hpp"
#include "vesk.h"

namespace {

constexpr char kUntouched = '#';

// A record with a message buffer prefilled so that every write shows.
struct Record {
    char buf[64];
    VeskErr err{};
    explicit Record(uint32_t size = sizeof buf) {
        std::memset(buf, kUntouched, sizeof buf);
        err.msgsize = size;
        err.msg = buf;
    }
};

using vesk_test::CaptureService;
using vesk_test::DefaultService;
using Service = CaptureService;
auto &seen = CaptureService::seen;

// ---------------------------------------------------------------------------

TEST(Mkerr, NullRecordDoesNothingAndReadsNoArgument) {
    // A bad pointer as the format's argument: reading it would fault.
    const char *poison = reinterpret_cast<const char *>(uintptr_t{1});
    EXPECT_EQ(VeskMkerr(nullptr, nullptr, 1, 2, 3, 104, 33281, 2, 1, poison), 0);
    EXPECT_EQ(VeskMkerr_l(nullptr, nullptr, "C", 1, 2, 3, 104, 33281, 2, 1, poison), 0);
    EXPECT_EQ(VeskMkerr_u(nullptr, 1, 2, 3, 104, 33281, 2, "%s", poison), 0);
}

TEST(Mkerr, WithoutBufferFillsTheFieldsOnly) {
    Service svc(6);
    DefaultService installed(svc);
    VeskErr err{};
    err.msgsize = 77;
    EXPECT_EQ(VeskMkerr(nullptr, &err, 7, 8, 9, 104, 33281, 2, 1, "/no/such"), 0);
    EXPECT_EQ(err.info0, 7u);
    EXPECT_EQ(err.info1, 8u);
    EXPECT_EQ(err.info2, 9u);
    EXPECT_EQ(err.status, 0x00688201);
    EXPECT_EQ(err.syserr, 2);
    EXPECT_EQ(err.variant, 1u);
    EXPECT_EQ(err.msgsize, 77u);
    EXPECT_EQ(err.msg, nullptr);
    EXPECT_EQ(seen.calls, 0) << "without a buffer the service is not consulted";
}

TEST(Mkerr, TheStockServiceGivesTheSentenceAndWithoutItTheMessageIsEmpty) {
    Record r;
    EXPECT_EQ(VeskMkerr(nullptr, &r.err, 0, 0, 0, 104, 33281, 2, 1, "/no/such"), 0);
    EXPECT_EQ(r.err.status, 0x00688201);
    EXPECT_EQ(r.err.syserr, 2);
    EXPECT_EQ(r.err.variant, 1u);
    EXPECT_STREQ(r.buf, "/no/such: no such file or directory.");

    void *service = std::exchange(_G_error_service_default, nullptr);
    Record bare;
    EXPECT_EQ(VeskMkerr(nullptr, &bare.err, 0, 0, 0, 104, 33281, 2, 1, "/no/such"), 0);
    _G_error_service_default = service;
    EXPECT_EQ(bare.err.status, 0x00688201);
    EXPECT_EQ(bare.buf[0], '\0');
    EXPECT_EQ(bare.buf[1], kUntouched) << "only the first byte is written";
}

TEST(Mkerr, StatusTakesLow16BitsAndSignExtends) {
    struct Case {
        int32_t facility, code;
        int64_t status;
    } cases[] = {
        {1000, 1025, 0x03E80401},
        {0, 32773, 0x00008005},
        {0x7FFF, 0xFFFF, 0x7FFFFFFF},
        {0x8000, 1, int64_t{int32_t(0x80000001u)}},
        {0xFFFF, 0xFFFF, -1},
        {0x12345, 0x10203, (int64_t{0x2345} << 16) | 0x0203},  // only the low halves count
    };
    for (const Case &c : cases) {
        VeskErr err{};
        VeskMkerr(nullptr, &err, 0, 0, 0, c.facility, c.code, 0, 0);
        EXPECT_EQ(err.status, c.status) << c.facility << "/" << c.code;
    }
    VeskErr err{};
    VeskMkerr(nullptr, &err, 0, 0, 0, 0x8000, 1, 0, 0);
    EXPECT_EQ(static_cast<uint64_t>(err.status) >> 32, 0xFFFFFFFFu) << "high word all ones";
}

TEST(Mkerr, DefaultServiceFormatsTheMessage) {
    Service svc(6);
    DefaultService installed(svc);
    Record r;
    EXPECT_EQ(VeskMkerr(nullptr, &r.err, 0, 0, 0, 104, 33281, 2, 1, "/no/such"), 0);
    EXPECT_STREQ(r.buf, "104/33281/1: /no/such");
    EXPECT_EQ(seen.calls, 1);
    EXPECT_EQ(seen.holder, &svc.cls) << "row 4 found on the service by the walk";
}

TEST(Mkerr, ServiceResultIsPassedBack) {
    Service svc(6);
    Record r;
    EXPECT_EQ(VeskMkerr(&svc.cls, &r.err, 0, 0, 0, 1, 0xDEAD, 0, 0, "x"), -1);
    EXPECT_EQ(seen.calls, 1) << "an explicit service needs no default";
}

TEST(Mkerr, LocalisedFormUsesRowFiveAndPassesTheLocale) {
    Service svc(6);
    Record r;
    EXPECT_EQ(VeskMkerr_l(&svc.cls, &r.err, "de_DE", 0, 0, 0, 1000, 49170, 0, 1, "name"), 0);
    EXPECT_STREQ(r.buf, "1000/49170/1: name");
    EXPECT_STREQ(seen.locale, "de_DE");
}

TEST(Mkerr, ServiceThatCannotAnswerFallsBackToTheDirectFill) {
    // Too few rows for row 4, and a row 4 that is an unlinked placeholder.
    Service short_set(4);
    Service unlinked(6, VESK_FN_IMPORT);
    for (Service *svc : {&short_set, &unlinked}) {
        Record r;
        EXPECT_EQ(VeskMkerr(&svc->cls, &r.err, 0, 0, 0, 104, 33281, 2, 1, "/p"), 0);
        EXPECT_EQ(r.err.status, 0x00688201);
        EXPECT_EQ(r.buf[0], '\0');
        EXPECT_EQ(seen.calls, 0);
    }
}

TEST(MkerrU, FormatsWithPositionalParametersAndVariantZero) {
    Record r;
    r.err.variant = 9;
    EXPECT_EQ(VeskMkerr_u(&r.err, 1, 2, 3, 0, 259, 22, "%2$s-%1$d", 42, "ab"), 0);
    EXPECT_STREQ(r.buf, "ab-42");
    EXPECT_EQ(r.err.variant, 0u);
    EXPECT_EQ(r.err.status, 259);
    EXPECT_EQ(r.err.syserr, 22);
    EXPECT_EQ(r.err.info2, 3u);
}

TEST(MkerrU, CutsLongMessagesAndEndsThemAtEverySize) {
    const std::string text = "a message longer than the buffer";
    for (uint32_t size = 1; size <= text.size() + 2; ++size) {
        Record r(size);
        VeskMkerr_u(&r.err, 0, 0, 0, 0, 1, 0, "%s", text.c_str());
        EXPECT_EQ(std::string(r.buf), text.substr(0, size - 1)) << "msgsize " << size;
        EXPECT_EQ(r.buf[size], kUntouched) << "nothing written past msgsize " << size;
    }
}

TEST(MkerrU, ZeroSizeOrNoBufferWritesNoText) {
    Record r(0);
    VeskMkerr_u(&r.err, 0, 0, 0, 5, 6, 7, "text");
    EXPECT_EQ(r.buf[0], kUntouched);
    EXPECT_EQ(r.err.status, (5 << 16) | 6);
    VeskErr err{};
    EXPECT_EQ(VeskMkerr_u(&err, 0, 0, 0, 5, 6, 7, "text"), 0);
    EXPECT_EQ(err.syserr, 7);
}

TEST(Restamp, PutsTheRunningFamilyInFrontAndKeepsTheRest) {
    Service svc(6);  // a running set of family 1008
    VeskClosure running{&svc.cls, &svc.cls, nullptr, VESK_OPS(&svc.ops), 4};
    svc.ops.rec.oid.comp[1] = 1006;

    Record r;
    VeskMkerr_u(&r.err, 0, 0, 0, 508, 32773, 12, "@allocator.get: out of memory");
    r.err.variant = 2;
    vesk::restamp(&r.err, &running);
    EXPECT_EQ(r.err.status, (1006 << 16) | 32773);
    EXPECT_EQ(r.err.syserr, 12);
    EXPECT_EQ(r.err.variant, 2u);
    EXPECT_STREQ(r.buf, "@allocator.get: out of memory");

    svc.ops.rec.oid.comp[1] = 0x8001;  // a family high enough to turn the status negative
    vesk::restamp(&r.err, &running);
    EXPECT_EQ(r.err.status, int64_t{int32_t(0x80018005u)});
    vesk::restamp(nullptr, &running);  // a null record is left alone
}

}  // namespace
