// SPDX-License-Identifier: MIT
// Hostile input to mutexes, conditions, threads and their attributes: null
// records and handles, numbers outside the kinds there are, and deadlines and
// spans at the ends of the 64-bit range. Each case runs in a child process of
// its own (see support/hostile.hpp), so a wait that wrapped into weeks is a
// failed case at the time limit.
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <vector>

#include "nu.h"
#include "support/hostile.hpp"

namespace {

using vesk_test::Expected;
using vesk_test::HostileCase;
using vesk_test::kNoReport;

using vesk_test::kFault;

Expected null_arg(const std::string &function, const char *param) {
    return {VESK_FAC_NONE, VESK_E_FAULT, 0, 2, function + "(" + param + ")" + kFault};
}

Expected timed_out(const std::string &function) {
    return {VESK_FAC_NONE, VESK_E_TIMEDOUT, 0, 1, function + ": operation timed out."};
}

uint32_t nothing(void *) { return 0; }

// A handle mutex held by the caller and a condition, signalled or not.
struct Handles {
    NuPMutex mutex = 0;
    NuPCond cond = 0;
    explicit Handles(bool signalled) {
        NuPMutexInit(&mutex, nullptr);
        NuPCondInit(&cond, nullptr);
        NuPMutexLock(mutex, nullptr);
        if (signalled)
            NuPCondSignal(cond, nullptr);
    }
};

struct InProcess {
    NuSMutex mutex;
    NuSCond cond;
    InProcess() {
        NuSMutexInit(&mutex);
        NuSCondInit(&cond, nullptr);
        NuSMutexLock(&mutex);
    }
};

constexpr timespec kFarPast = {INT64_MIN, -5};
constexpr timespec kFarFuture = {INT64_MAX, 999999999};
constexpr timespec kNowAtTheStart = {INT64_MIN, 0};
constexpr timespec kMostNegative = {INT64_MIN, INT64_MIN};

TEST(Hostile, ThreadsReportNullRecordsAndSaturateLimits) {
    static NuSMutex smutex;
    static NuSCond scond;
    static NuPMutexattr attr;
    static NuPThrattr thrattr;
    static NuPThread thread;
    static int32_t out;
    const std::vector<HostileCase> cases = {
        {"NuSMutexInit2", [](VeskErr *e) { return NuSMutexInit2(nullptr, nullptr, e); }, -1,
         null_arg("NuSMutexInit2", "@mutex")},
        {"NuSMutexDestroy", [](VeskErr *e) { return NuSMutexDestroy(nullptr, e); }, -1,
         null_arg("NuSMutexDestroy", "@mutex")},
        {"NuSMutexTrylock", [](VeskErr *e) { return NuSMutexTrylock(nullptr, e); }, -1,
         null_arg("NuSMutexTrylock", "@mutex")},
        {"NuSCondInit", [](VeskErr *e) { return NuSCondInit(nullptr, e); }, -1,
         null_arg("NuSCondInit", "@cond")},
        {"NuSCondDestroy", [](VeskErr *e) { return NuSCondDestroy(nullptr, e); }, -1,
         null_arg("NuSCondDestroy", "@cond")},
        {"NuSCondSignal", [](VeskErr *e) { return NuSCondSignal(nullptr, e); }, -1,
         null_arg("NuSCondSignal", "@cond")},
        {"NuSCondWait without a mutex", [](VeskErr *e) { return NuSCondWait(&scond, nullptr, e); },
         -1, null_arg("NuSCondWait", "@mutex")},
        {"NuSCondTimedwait without a condition",
         [](VeskErr *e) { return NuSCondTimedwait(nullptr, &smutex, &kFarPast, e); }, -1,
         null_arg("NuSCondTimedwait", "@cond")},
        {"NuPMutexInit", [](VeskErr *e) { return NuPMutexInit(nullptr, e); }, -1,
         null_arg("NuPMutexInit", "@mutex")},
        {"NuPMutexDestroy", [](VeskErr *e) { return NuPMutexDestroy(nullptr, e); }, -1,
         null_arg("NuPMutexDestroy", "@mutex")},
        {"NuPCondInit", [](VeskErr *e) { return NuPCondInit(nullptr, e); }, -1,
         null_arg("NuPCondInit", "@cond")},
        {"NuPCondDestroy", [](VeskErr *e) { return NuPCondDestroy(nullptr, e); }, -1,
         null_arg("NuPCondDestroy", "@cond")},
        {"NuPThreadCreate without a handle",
         [](VeskErr *e) { return NuPThreadCreate(nullptr, nothing, nullptr, e); }, -1,
         null_arg("NuPThreadCreate", "@thread")},
        {"NuPThreadCreate without a routine",
         [](VeskErr *e) {
             thread = 77;
             const int64_t r = NuPThreadCreate(&thread, nullptr, nullptr, e);
             return thread == 0 ? r : 99;
         },
         -1, null_arg("NuPThreadCreate", "@start")},
        {"NuPThreadCreate2_suspended without a handle",
         [](VeskErr *e) { return NuPThreadCreate2_suspended(nullptr, nullptr, nothing, nullptr, e); },
         -1, null_arg("NuPThreadCreate2_suspended", "@thread")},
        {"NuPThreadGetpriority without a place",
         [](VeskErr *e) { return NuPThreadGetpriority(0, nullptr, e); }, -1,
         null_arg("NuPThreadGetpriority", "@priority")},
        {"NuPThreadGetcanceltype without a place",
         [](VeskErr *e) { return NuPThreadGetcanceltype(nullptr, e); }, -1,
         null_arg("NuPThreadGetcanceltype", "@type")},
        {"NuPThrattrSetpriority", [](VeskErr *e) { return NuPThrattrSetpriority(nullptr, 1, e); }, -1,
         null_arg("NuPThrattrSetpriority", "@attr")},
        {"NuPThrattrSetstacksize",
         [](VeskErr *e) { return NuPThrattrSetstacksize(nullptr, 1u << 21, e); }, -1,
         null_arg("NuPThrattrSetstacksize", "@attr")},
        {"NuPThrattrGetstackaddr without a place",
         [](VeskErr *e) { return NuPThrattrGetstackaddr(&thrattr, nullptr, e); }, -1,
         null_arg("NuPThrattrGetstackaddr", "@address")},
        {"attribute numbers outside the kinds there are",
         [](VeskErr *) {
             NuPMutexattrInit(&attr);
             return int64_t{NuPMutexattrSettype(&attr, 12345) == -1 &&
                            NuPMutexattrSettype(&attr, -1) == -1 && NuPMutexattrSettype(&attr, 2) == 0 &&
                            NuPMutexattrSetprotocol(&attr, -7) == -1 &&
                            NuPMutexattrSetprotocol(&attr, 3) == -1 &&
                            NuPMutexattrSetprotocol(&attr, 1) == 0};
         },
         1, kNoReport},
        {"calls without a record refuse null records",
         [](VeskErr *) {
             return int64_t{NuSMutexInit(nullptr) == -1 && NuSMutexLock(nullptr) == -1 &&
                            NuSMutexUnlock(nullptr) == -1 && NuPMutexattrInit(nullptr) == -1 &&
                            NuPMutexattrGettype(&attr, nullptr) == -1 && NuPThrattrInit(nullptr) == -1 &&
                            NuPThrattrEnablecancel(nullptr) == -1 && NuPThrattrIsjoinable(nullptr) == 0 &&
                            NuPThrattrIsinheritsched(nullptr) == 0 && NuPThrattrExplicitsched(nullptr) == -1 &&
                            NuPThrattrGetpriority(nullptr, &out) == -1 &&
                            NuPThrattrGetstacksize(&thrattr, nullptr) == -1 &&
                            NuPThrattrGetschedpolicy(&thrattr, nullptr) == -1 &&
                            NuPThreadGetschedpolicy(0, nullptr) == -1};
         },
         1, kNoReport},

        // Deadlines and spans at the ends of the range: a poll or the longest
        // wait, never an overflow or a wrapped limit.
        {"a deadline in the far past polls a set condition",
         [](VeskErr *e) {
             Handles h(true);
             return NuPCondTimedwait(h.cond, h.mutex, &kFarPast, e);
         },
         0, kNoReport},
        {"a deadline in the far past times out at once",
         [](VeskErr *e) {
             Handles h(false);
             return NuPCondTimedwait(h.cond, h.mutex, &kFarPast, e);
         },
         -6, timed_out("NuPCondTimedwait")},
        {"a far deadline against the earliest now ends on a set condition",
         [](VeskErr *e) {
             Handles h(true);
             return NuPCondTimedwait2(h.cond, h.mutex, &kFarFuture, &kNowAtTheStart, e);
         },
         0, kNoReport},
        {"the most negative span polls",
         [](VeskErr *e) {
             Handles h(false);
             return NuPCondTimedwait_rel(h.cond, h.mutex, &kMostNegative, e);
         },
         -6, timed_out("NuPCondTimedwait_rel")},
        {"the most negative span polls in-process",
         [](VeskErr *e) {
             InProcess p;
             return NuSCondTimedwait_rel(&p.cond, &p.mutex, &kMostNegative, e);
         },
         -6, timed_out("NuSCondTimedwait_rel")},
        {"a deadline in the far past times out in-process",
         [](VeskErr *e) {
             InProcess p;
             return NuSCondTimedwait2(&p.cond, &p.mutex, &kFarPast, &kFarFuture, e);
         },
         -6, timed_out("NuSCondTimedwait2")},
    };
    vesk_test::run_cases(cases);
}

// A light semaphore opened in the child for one case, and the name's end.
struct Semaphore {
    NuLSem sem{};
    std::string name = "vesk-hostile-" + std::to_string(getpid());
    Semaphore() {
        NuLSemattr attr;
        NuLSemattrInit(&attr);
        NuLSemattrSetshared(&attr, name.c_str());
        NuLSemOpen2(&sem, &attr, nullptr);
    }
    ~Semaphore() { NuLSemClose(&sem); }
};

Expected lsem(int32_t code, const char *verb, const char *param, const char *tail) {
    return {VESK_FAC_NONE, code, 0, 3,
            std::string("light-semaphore:") + verb + "(" + param + ")" + tail};
}

TEST(Hostile, LightSemaphoresAndEventsRefuseWhatIsNotThere) {
    static const int32_t kTakeAll[] = {INT32_MIN};
    static const int32_t kWrap[] = {0x7FFFFFFF, 0x7FFFFFFF, 0x7FFFFFFF};
    static const char *const kInvalid = ": invalid argument.";
    const std::vector<HostileCase> cases = {
        {"null semaphore record",
         [](VeskErr *e) {
             NuLSemattr a;
             NuLSemattrInit(&a);
             a.name = "x";
             return NuLSemOpen2(nullptr, &a, e);
         },
         -1, lsem(VESK_E_FAULT, "open", "@sem", kFault)},
        {"null attributes",
         [](VeskErr *e) {
             NuLSem s{};
             return NuLSemOpen2(&s, nullptr, e);
         },
         -1, lsem(VESK_E_FAULT, "open", "@semattr", kFault)},
        {"an initial value above the range",
         [](VeskErr *e) {
             NuLSemattr a;
             NuLSemattrInit(&a);
             a.name = "vesk-hostile-never";
             a.initvalue = 0xFFFFFFFFu;
             NuLSem s{};
             return NuLSemOpen2(&s, &a, e);
         },
         -1, lsem(VESK_E_INVAL, "open", "@semattr.initvalue", kInvalid)},
        {"a name of a thousand bytes",
         [](VeskErr *e) {
             static const std::string name(1000, 'n');
             NuLSemattr a;
             NuLSemattrInit(&a);
             a.name = name.c_str();
             NuLSem s{};
             return NuLSemOpen2(&s, &a, e);
         },
         -1, {VESK_FAC_NONE, VESK_E_INVAL, 0, 1, "@semattr.name: invalid argument."}},
        {"a list needing more than any value",
         [](VeskErr *e) {
             Semaphore s;
             return NuLSemOp(&s.sem, 1, kTakeAll, e);
         },
         -1, lsem(VESK_E_INVAL, "operation", "@opv", kInvalid)},
        {"a list whose sum wraps",
         [](VeskErr *e) {
             Semaphore s;
             return NuLSemTimedop_ms(&s.sem, 3, kWrap, -1, e);
         },
         -1, lsem(VESK_E_INVAL, "operation", "@opv", kInvalid)},
        {"the most steps there are",
         [](VeskErr *e) {
             Semaphore s;
             return NuLSemOp(&s.sem, UINT32_MAX, kWrap, e);
         },
         -1, lsem(VESK_E_INVAL, "operation", "@opc", kInvalid)},
        {"a null semaphore in an operation",
         [](VeskErr *e) { return NuLSemTryop(nullptr, 1, kWrap, e); }, -1,
         lsem(VESK_E_FAULT, "operation", "@sem", kFault)},
        {"a null semaphore to set",
         [](VeskErr *e) { return NuLSemSet(nullptr, 1, e); }, -1,
         lsem(VESK_E_FAULT, "set", "@sem", kFault)},
        {"a value that never comes, far past",
         [](VeskErr *e) {
             Semaphore s;
             static const int32_t take = -1;
             return NuLSemTimedop(&s.sem, 1, &take, &kFarPast, e);
         },
         -1, {VESK_FAC_NONE, VESK_E_WRONGSTATE, 0, 2,
              "{semop:@sem}: wrong [object] state to perform operation."}},
        {"null handle event", [](VeskErr *e) { return NuPVaxeventTimedwait_ms(nullptr, 5, e); }, -1,
         null_arg("NuPVaxeventTimedwait_ms", "@event")},
        {"null in-process event", [](VeskErr *e) { return NuSVaxeventInit2(nullptr, nullptr, nullptr, e); },
         -1, null_arg("NuSVaxeventInit2", "@event")},
        {"an event never made",
         [](VeskErr *e) {
             NuPVaxevent ev{};
             return NuPVaxeventSignal(&ev, e);
         },
         -1, {VESK_FAC_NONE, VESK_E_SYSTEM, 0, 1, std::to_string(EINVAL) + ": runtime error."}},
    };
    vesk_test::run_cases(cases);
}

}  // namespace
