// SPDX-License-Identifier: MIT
// The life cycle of instances of a class built here on the stock sets of
// "modules/kdv": allocation in its forms, init with params, a failing
// pod_init rolled back, duplication, descriptors, reference counts from many
// threads, pools, comparison, and the front ends' refusals.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "support/status.hpp"
#include "vesk.h"

namespace {

// ---- A class of the test's own -----------------------------------------------------
//
// Three probe elements (3.990.1-3) share one set whose pod_init and pod_fini
// log which element they ran for; element 2's pod_init fails on demand.

struct Probe {
    char id;      // '1', '2', '3' once pod_init ran
    int cloned;   // 1 when made by a duplication
};

struct Instance {
    VeskInstance head;
    int32_t count;  // the Xucntl POD
    Probe probes[3];
};

std::string g_log;
bool g_fail_second = false;
std::atomic<int> g_finis{0};

int64_t probe_init(VeskClosure *cl, VeskErr *err, uint32_t flags, void *param) {
    auto *p = static_cast<Probe *>(cl->pod);
    const char id = static_cast<char>('1' + (p - static_cast<Instance *>(cl->self)->probes));
    if (id == '2' && g_fail_second) {
        VeskMkerr(nullptr, err, 0, 0, 0, 990, 259, 22, 1, "@probe");
        return -5;
    }
    p->id = param != nullptr && (flags & VESK_POD_CLONE) == 0 ? static_cast<char *>(param)[16]
                                                                : id;
    p->cloned = (flags & VESK_POD_CLONE) != 0;
    g_log += std::string("+") + id;
    return 0;
}

int64_t probe_fini(VeskClosure *cl, VeskErr *err, uint32_t flags) {
    auto *p = static_cast<Probe *>(cl->pod);
    const char id = static_cast<char>('1' + (p - static_cast<Instance *>(cl->self)->probes));
    g_log += std::string("-") + id + (flags == VESK_ROLLBACK && err == nullptr ? "r" : "");
    if (id == '1')
        ++g_finis;
    return 0;
}

VESK_OPS_T(4) probe_ops = {
    VESK_RECORD_INIT("operations/probe/Probe", "probe/Probe", "probe", VESK_OID3(3, 990, 1),
                     nullptr),
    sizeof(Probe),
    4,
    {VESK_STDROWS(0, 0, probe_init, probe_fini)},
};

struct TestClass {
    VeskClass cls;
    VESK_SEBLOCK_T(7) block;
    VeskDescriptor descriptor;
} test_class = {
    VESK_CLASS_INIT("objects/Lctest", "Lctest", "Lctest", VESK_OID2(4, 990),
                    vesk_test::push_block_behind, sizeof(Instance)),
    {VESK_SEBLOCK_HEAD(7),
     {VESK_SE_IMPORT(VESK_OID3(3, 1006, 6), 1, offsetof(Instance, count)),
      VESK_SE_OWN(VESK_OID3(3, 990, 1), 1, offsetof(Instance, probes[0]), VESK_OPS(&probe_ops)),
      VESK_SE_OWN(VESK_OID3(3, 990, 2), 1, offsetof(Instance, probes[1]), VESK_OPS(&probe_ops)),
      VESK_SE_OWN(VESK_OID3(3, 990, 3), 1, offsetof(Instance, probes[2]), VESK_OPS(&probe_ops)),
      VESK_SE_IMPORT(VESK_OID3(3, 1003, 3), 0, 0), VESK_SE_IMPORT(VESK_OID3(3, 1004, 4), 0, 0),
      VESK_SE_IMPORT(VESK_OID3(3, 1005, 5), 0, offsetof(TestClass, descriptor))}},
    {VESK_VERSION(3, 7, 258), "Nov 23 2026"},
};

VeskOps *test_opsv[] = {VESK_OPS(&probe_ops)};
VeskClass *test_clsv[] = {&test_class.cls};
VeskModule test_module = VESK_MODULE_INIT("modules/lctest", "lctest", "lctest", VESK_OID2(5, 990),
                                          nullptr, "lctest", VESK_VERSION(1, 0, 0), __DATE__);

using vesk_test::Status;

// The module linked for each test, as a loader would link it.
class Lifecycle : public ::testing::Test {
protected:
    void SetUp() override {
        g_log.clear();
        g_fail_second = false;
        g_finis = 0;
        vesk_test::link_module(&test_module, test_opsv, test_clsv);
    }
    void TearDown() override {
        EXPECT_EQ(test_class.cls.rec.holds, 0) << "every instance gave its hold back";
        EXPECT_EQ(_VeskModUnload(&test_module, nullptr), 0);
    }
    VeskClass *cls() { return &test_class.cls; }
    Instance *create(void **params = nullptr, uint32_t n = 0) {
        auto *o = static_cast<Instance *>(VeskAlloc(cls(), 0, nullptr, 0, nullptr));
        EXPECT_NE(o, nullptr);
        EXPECT_GE(VeskInit(o, params, n, nullptr), 0);
        return o;
    }
};

TEST_F(Lifecycle, InitTakesParamsInAnyOrderAndReleaseEndsIt) {
    VeskXucntlParam count{VESK_OID3(3, 1006, 6), 3};
    struct {
        VeskOid oid;
        char id;
    } third{VESK_OID3(3, 990, 3), 'c'};
    void *params[] = {&third, nullptr, &count};  // reverse order, with a hole
    Instance *o = create(params, 3);
    EXPECT_EQ(o->head.flags, VESK_F_SUPER | VESK_F_INITED);
    EXPECT_EQ(g_log, "+1+2+3");
    EXPECT_TRUE(o->probes[2].id == 'c' && o->probes[0].id == '1') << "each got its own param";
    EXPECT_EQ(_VeskRetainvalue(o, -1, nullptr), 3);
    EXPECT_EQ(cls()->rec.holds, 1) << "a live instance holds its class";
    EXPECT_EQ(VeskInit(o, nullptr, 0, nullptr), 0) << "a second init does nothing";
    for (int32_t left : {2, 1, 0})  // the last runs fini and dealloc (ASan sees the free)
        EXPECT_EQ(VeskRelease(o, 0, nullptr), left);
    EXPECT_EQ(g_log, "+1+2+3-3-2-1");
}

TEST_F(Lifecycle, AllocationFormsAndTheirMemory) {
    // Extra bytes: a word ahead of the instance holds their number.
    auto *o = static_cast<Instance *>(VeskAlloc(cls(), 0, nullptr, 16, nullptr));
    ASSERT_NE(o, nullptr);
    EXPECT_EQ(VeskExtrainstsz(o), 16u);  // read only under the flag
    std::memset(reinterpret_cast<char *>(o) + sizeof(Instance), 0xEE, 16);  // they are ours
    EXPECT_EQ(VeskDealloc(o, 0, nullptr), 0);

    // The caller's memory stays the caller's, unless it is given away.
    alignas(Instance) unsigned char mine[sizeof(Instance)];
    std::memset(mine, 0xAB, sizeof mine);
    o = static_cast<Instance *>(VeskAlloc(cls(), 0, mine, 0, nullptr));
    ASSERT_EQ(static_cast<void *>(o), mine);
    EXPECT_EQ(o->head.flags, VESK_F_SUPER | VESK_F_CALLERMEM);
    EXPECT_EQ(o->count, 0) << "cleared";
    EXPECT_EQ(VeskExtrainstsz(o), 0u) << "no flag, no slot";
    EXPECT_EQ(VeskDealloc(o, 0, nullptr), 0);
    void *given = NuMalloc(sizeof(Instance));
    o = static_cast<Instance *>(VeskAlloc(cls(), VESK_ALLOC_GIVEMEM, given, 0, nullptr));
    EXPECT_EQ(o->head.flags, VESK_F_SUPER);
    EXPECT_EQ(VeskDealloc(o, 0, nullptr), 0);  // frees it: ASan would see a leak otherwise
}

TEST_F(Lifecycle, AFailingPodInitIsRolledBackAndTheReportStands) {
    g_fail_second = true;
    Status s;
    auto *o = static_cast<Instance *>(VeskAlloc(cls(), 0, nullptr, 0, nullptr));
    EXPECT_EQ(VeskInit(o, nullptr, 0, &s.err), -5);
    EXPECT_EQ(g_log, "+1-1r") << "the first finalised with flags 1 and no status; no third";
    EXPECT_EQ(o->head.flags & VESK_F_INITED, 0);
    EXPECT_STREQ(s.buf, "@probe: invalid argument.");
    EXPECT_EQ(VeskInitDeallocIfError(o, nullptr, 0, nullptr), nullptr);  // frees it
    EXPECT_EQ(VeskInitDeallocIfError(nullptr, nullptr, 0, nullptr), nullptr);
}

TEST_F(Lifecycle, DuplicationAndDescriptors) {
    Instance *o = create();
    g_log.clear();
    auto *copy = static_cast<Instance *>(VeskDups2(o, 0, 12345, nullptr));
    ASSERT_TRUE(copy != nullptr && copy != o);
    EXPECT_EQ(g_log, "+1+2+3");
    EXPECT_TRUE(copy->probes[1].cloned == 1 && copy->head.super == cls());
    EXPECT_EQ(_VeskRetainvalue(copy, -1, nullptr), 1) << "a clone starts with one reference";
    EXPECT_EQ(cls()->rec.holds, 2);

    VeskDescriptorInfo d{};
    d.dsc_dtyp = VESK_DESCRIPTOR_TYPE;
    EXPECT_EQ(VeskGetdescriptor(o, &d, nullptr), 0);
    EXPECT_TRUE(d.major == 3 && d.minor == 7 && d.patch == 258);
    EXPECT_STREQ(d.date, "Nov 23 2026");
    VeskDescriptorInfo wrong{};
    wrong.dsc_dtyp = 3;
    wrong.major = 99;
    Status s;
    EXPECT_EQ(VeskGetdescriptor_l(o, &wrong, "de", &s.err), -4);
    EXPECT_EQ(wrong.major, 99) << "nothing else written";
    EXPECT_STREQ(s.buf, "descriptor:get-localized-descriptor<@descriptor.dsc_dtyp>: "
                        "implementation does not support the feature [of the standard].");
    VeskRelease(copy, 0, nullptr);
    VeskRelease(o, 0, nullptr);
}

TEST_F(Lifecycle, CountsRaceAndTheLastReleaseRunsOnce) {
    for (int round = 0; round < 20; ++round) {
        Instance *o = create();
        g_finis = 0;
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t) {
            VeskRetain(o, nullptr);  // each thread's own reference
            threads.emplace_back([o] {
                for (int i = 0; i < 500; ++i)
                    VeskRetain(o, nullptr), VeskRelease(o, 0, nullptr);
                VeskRelease(o, 0, nullptr);
            });
        }
        VeskRelease(o, 0, nullptr);  // the creator's
        for (auto &t : threads)
            t.join();
        EXPECT_EQ(g_finis.load(), 1);
    }
}

TEST_F(Lifecycle, CountLimitsAndComparison) {
    Instance *o = create();
    EXPECT_EQ(_VeskRetainvalue(o, 0x7ffffffe, nullptr), 0x7ffffffe);
    Status full;
    EXPECT_EQ(VeskRetain(o, &full.err), -1);
    EXPECT_EQ(_VeskRetainvalue(o, -1, nullptr), 0x7ffffffe);
    EXPECT_STREQ(full.buf, "{ucntl::retain-object:objects/Lctest}: wrong [object] state to "
                           "perform operation.");
    // A release at 0 is refused, and the count stays at -1 where it went.
    _VeskRetainvalue(o, 0, nullptr);
    const int finis = g_finis;
    Status below;
    EXPECT_EQ(VeskRelease(o, 0, &below.err), -1);
    EXPECT_EQ(_VeskRetainvalue(o, -1, nullptr), -1);
    EXPECT_STREQ(below.buf, "{ucntl::release-object:objects/Lctest}: wrong [object] state to "
                            "perform operation.");
    EXPECT_EQ(g_finis.load(), finis) << "a refused release ends nothing";
    _VeskRetainvalue(o, 1, nullptr);

    const auto addr = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(o));
    const VeskHintHash self_hash{87, 0, addr}, odd{1, 0, 0};
    EXPECT_EQ(VeskCompare(o, &self_hash), 0);
    EXPECT_EQ(VeskHash(o, nullptr), static_cast<int32_t>(addr));
    const VeskHintText text{88, 0, "key", 0}, given{88, 0, nullptr, 5};  // given: no string read
    EXPECT_EQ(VeskCompare(o, &text), static_cast<int32_t>(addr - NuStrhash("key")));
    EXPECT_EQ(VeskCompare(o, &given), static_cast<int32_t>(addr - 5u));
    EXPECT_LT(VeskCompare(o, &odd), 0);
    Instance *other = create();
    EXPECT_EQ(VeskCompare(o, other), -VeskCompare(other, o)) << "objects compare both ways";
    VeskRelease(other, 0, nullptr);
    VeskRelease(o, 0, nullptr);
}

TEST_F(Lifecycle, FrontEndRefusals) {
    Status on_module, on_stub, full;
    EXPECT_EQ(VeskAlloc(&test_module, 0, nullptr, 0, &on_module.err), nullptr);
    EXPECT_EQ(on_module.err.status & 0xFFFF, 1025);
    const VeskOid unknown = VESK_OID2(4, 999);
    EXPECT_EQ(VeskAlloc(VeskGetclsorstub(&unknown), 0, nullptr, 0, &on_stub.err), nullptr);
    EXPECT_EQ(on_stub.err.status, (1003 << 16) | 518);

    // A class at the limit of its holds refuses another instance.
    const int32_t before = cls()->rec.holds;
    cls()->rec.holds = 0x7fffffff;
    EXPECT_EQ(VeskAlloc(cls(), 0, nullptr, 0, &full.err), nullptr);
    EXPECT_EQ(full.err.status, (1003 << 16) | 519);
    EXPECT_EQ(cls()->rec.holds, 0x7fffffff);
    cls()->rec.holds = before;
}

TEST_F(Lifecycle, PooledInstancesHoldTheClassWhileOut) {
    const VeskOid key = VESK_OID2(4, 990);
    NuZmalloc *pool = VeskPoolOpen(&key, 4, nullptr);
    ASSERT_NE(pool, nullptr);
    EXPECT_EQ(cls()->rec.holds, 1) << "the pool holds the class";
    auto *o = static_cast<Instance *>(VeskAlloc(cls(), VESK_ALLOC_POOL, pool, 0, nullptr));
    ASSERT_NE(o, nullptr);
    EXPECT_EQ(o->head.flags & VESK_F_POOLED, VESK_F_POOLED);
    EXPECT_EQ(cls()->rec.holds, 2);
    EXPECT_GE(VeskInit(o, nullptr, 0, nullptr), 0);
    EXPECT_EQ(VeskFini(o, 0, nullptr), 0);
    EXPECT_EQ(g_log, "+1+2+3") << "a pooled instance is finalised by its pool";
    EXPECT_EQ(VeskDealloc(o, 0, nullptr), 0);
    EXPECT_EQ(g_log, "+1+2+3-3-2-1");
    EXPECT_EQ(cls()->rec.holds, 1);
    EXPECT_EQ(_NuZmallocClose(pool, 0, nullptr), 0);
    EXPECT_EQ(cls()->rec.holds, 0) << "closing gives the hold back";

    // The _ooi form builds an instance once per granule and keeps it.
    pool = VeskPoolOpen_ooi(&key, 4, nullptr);
    o = static_cast<Instance *>(VeskAlloc(cls(), VESK_ALLOC_POOL, pool, 0, nullptr));
    o->count = 77;
    VeskDealloc(o, 0, nullptr);
    EXPECT_EQ(cls()->rec.holds, 2) << "held as long as the zone lasts";
    auto *again = static_cast<Instance *>(VeskAlloc(cls(), VESK_ALLOC_POOL, pool, 0, nullptr));
    EXPECT_TRUE(again == o && again->count == 77) << "state kept across reuse";
    VeskDealloc(again, 0, nullptr);
    _NuZmallocClose(pool, 0, nullptr);
    EXPECT_EQ(cls()->rec.holds, 0);

    Status none;
    const VeskOid stub = VESK_OID2(4, 1);
    EXPECT_EQ(VeskPoolOpen(&stub, 0, &none.err), nullptr);
    EXPECT_STREQ(none.buf, "Useless attemp to create non-creatable object{objects/Nustub}: "
                           "inappropriate operation to the [device] implementation.");
}

// Modules after "modules/kdv" find their counting there; the stub, linked
// ahead of it, stays on the stub set.
TEST(StockClasses, CountThroughKdv) {
    const VeskOid error_class = VESK_OID2(4, 15), stub_class = VESK_OID2(4, 1);
    void *cls = _VeskGetcobject(&error_class, nullptr);
    const int32_t before = _VeskRetainvalue(cls, -1, nullptr);
    EXPECT_GE(before, 1) << "the default service holds it";
    EXPECT_EQ(VeskRetain(cls, nullptr), before + 1);
    EXPECT_EQ(VeskRelease(cls, 0, nullptr), before);
    EXPECT_EQ(VeskRetain(_VeskGetcobject(&stub_class, nullptr), nullptr), -4);
}

}  // namespace
