// SPDX-License-Identifier: MIT
// Notifiers and listeners through their rows: links in all four pairings of
// the M and U sets, filters, deafness, holes, U refusals, and ends that die
// while linked (ASan would see a dangling peer used).
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "support/status.hpp"
#include "vesk.h"

namespace {

// A many-listener notifier class of the test's own: no stock class binds
// Mntfier, a module imports it.
struct MNotifierInstance {
    VeskInstance head;
    int32_t count;
    alignas(void *) unsigned char pod[128];  // the Mntfier POD, whatever its size here
};

struct NotifierClass {
    VeskClass cls;
    VESK_SEBLOCK_T(3) block;
} notifier_class = {
    VESK_CLASS_INIT("objects/Testmntfier", "Testmntfier", "Testmntfier", VESK_OID2(4, 993),
                    vesk_test::push_block_behind, sizeof(MNotifierInstance)),
    {VESK_SEBLOCK_HEAD(3),
     {VESK_SE_IMPORT(VESK_OID3(3, 1017, 20), 1, offsetof(MNotifierInstance, pod)),
      VESK_SE_IMPORT(VESK_OID3(3, 1006, 6), 1, offsetof(MNotifierInstance, count)),
      VESK_SE_IMPORT(VESK_OID3(3, 1003, 3), 0, 0)}},
};

VeskClass *test_clsv[] = {&notifier_class.cls};
VeskModule test_module = VESK_MODULE_INIT("modules/ntftest", "ntftest", "ntftest",
                                          VESK_OID2(5, 993), nullptr, "ntftest",
                                          VESK_VERSION(1, 0, 0), __DATE__);

// Calls a row of a family on an object, as a front end does.
template <class... A>
int64_t call(void *obj, uint16_t family, uint16_t row, VeskErr *err, A... a) {
    VeskFrame *f = __vesk_closure_tramp_att();
    const VeskOid key = {2, row, {3, family, 0, 0, 0, 0}};
    VeskOprow *r = VeskLookupoporstub(obj, &key, &f->cl);
    const int64_t result =
        reinterpret_cast<int64_t (*)(VeskClosure *, VeskErr *, A...)>(r->fn)(&f->cl, err, a...);
    __vesk_closure_tramp_det();
    return result;
}

int64_t lsn(void *l, uint16_t row, VeskErr *err = nullptr) {
    return call(l, VESK_LISTENER_FAMILY, row, err);
}
int64_t ntf(void *n, uint16_t row, VeskErr *err = nullptr) {
    return call(n, VESK_NOTIFIER_FAMILY, row, err);
}
int64_t attach(void *l, void *n, const uint32_t *filter = nullptr, VeskErr *err = nullptr) {
    return call(l, VESK_LISTENER_FAMILY, VESK_LSN_ATTACH, err, n, filter);
}
int64_t detach(void *l, void *n, VeskErr *err = nullptr) {
    return call(l, VESK_LISTENER_FAMILY, VESK_LSN_DETACH, err, n);
}
int64_t post(void *n, uint32_t code) {
    return call(n, VESK_NOTIFIER_FAMILY, VESK_NTF_POSTNOTICE, nullptr,
                static_cast<const void *>(&code));
}

// What a callback listener heard: its context and each notice's code.
struct Heard {
    std::vector<uint32_t> codes;
    void *from = nullptr;
};

int64_t record(uintptr_t context, void *notifier, const void *notice, VeskErr *) {
    auto *h = reinterpret_cast<Heard *>(context);
    h->codes.push_back(*static_cast<const uint32_t *>(notice));
    h->from = notifier;
    return 0;
}

using vesk_test::Status;

class Notices : public ::testing::Test {
protected:
    void SetUp() override { vesk_test::link_module(&test_module, {}, test_clsv); }
    void TearDown() override {
        for (void *o : live_)
            EXPECT_EQ(VeskRelease(o, 0, nullptr), 0);
        EXPECT_EQ(_VeskModUnload(&test_module, nullptr), 0);
    }

    void *create(uint16_t class_id, void *param = nullptr) {
        const VeskOid key = VESK_OID2(4, class_id);
        void *o = VeskAlloc(_VeskGetcobject(&key, nullptr), 0, nullptr, 0, nullptr);
        EXPECT_NE(o, nullptr);
        void *params[] = {param};
        EXPECT_GE(VeskInit(o, params, 1, nullptr), 0);
        live_.push_back(o);
        return o;
    }
    // A callback listener, many-notifier (M) or one-notifier (U).
    void *listener(bool many, Heard *heard) {
        VeskCbListenerParam p{VESK_OID3(3, 1019, uint16_t(many ? 24 : 23)), 1, record,
                              reinterpret_cast<uintptr_t>(heard)};
        return create(many ? 14 : 13, &p);
    }
    void *notifier(bool many) { return create(many ? 993 : 11); }
    // Releases an object ahead of the tear-down.
    void release(void *o) {
        std::erase(live_, o);
        EXPECT_EQ(VeskRelease(o, 0, nullptr), 0);
    }

    std::vector<void *> live_;
};

TEST_F(Notices, LinksWorkInAllFourPairings) {
    for (bool many_listener : {true, false})
        for (bool many_notifier : {true, false}) {
            SCOPED_TRACE(std::string(many_listener ? "M" : "U") + " listener, " +
                         (many_notifier ? "M" : "U") + " notifier");
            Heard heard;
            void *n = notifier(many_notifier), *l = listener(many_listener, &heard);
            EXPECT_EQ(attach(l, n), 0);
            EXPECT_EQ(lsn(l, VESK_LSN_NOTIFIERC), 1);
            EXPECT_EQ(ntf(n, VESK_NTF_LISTENERC), 1);
            EXPECT_EQ(post(n, 0x00010002), 0);
            EXPECT_EQ(heard.codes, std::vector<uint32_t>{0x00010002});
            EXPECT_EQ(heard.from, n);
            EXPECT_EQ(detach(l, n), 0);
            EXPECT_EQ(post(n, 7), 0);
            EXPECT_EQ(heard.codes.size(), 1u) << "detached: nothing more";
            Status s;
            EXPECT_EQ(detach(l, n, &s.err), -1) << "not linked any more";
            EXPECT_EQ(s.err.status & 0xFFFF, 49170);
        }
}

TEST_F(Notices, FiltersLetThroughByHalvesWithZeroAsWildcard) {
    const uint32_t filter[] = {0x00010002, 0}, nothing[] = {0};
    const uint32_t heard_codes[] = {0x00010002, 0x00010000, 0x00000002, 0};
    Heard filtered, deaf_to_all, everything;
    void *n = notifier(true);
    attach(listener(true, &filtered), n, filter);
    attach(listener(false, &deaf_to_all), n, nothing);
    attach(listener(true, &everything), n, nullptr);
    for (uint32_t code : {0x00010002u, 0x00010000u, 0x00000002u, 0u, 0x00010003u, 0x00020002u})
        post(n, code);
    EXPECT_EQ(filtered.codes, std::vector<uint32_t>(std::begin(heard_codes), std::end(heard_codes)));
    EXPECT_TRUE(deaf_to_all.codes.empty()) << "a filter [0] lets nothing through";
    EXPECT_EQ(everything.codes.size(), 6u);
}

TEST_F(Notices, DeafListenersStayLinkedAndHoleAreReused) {
    Heard a, b, c, d;
    void *n = notifier(true);
    void *la = listener(true, &a), *lb = listener(false, &b), *lc = listener(true, &c);
    for (void *l : {la, lb, lc})
        attach(l, n);
    EXPECT_EQ(detach(lb, n), 0);  // the middle one
    EXPECT_EQ(ntf(n, VESK_NTF_LISTENERC), 3) << "the hole still counts";
    lsn(lc, VESK_LSN_BECOMEDEAF);
    EXPECT_EQ(lsn(lc, VESK_LSN_ISAWARE), 0);
    post(n, 1);
    EXPECT_EQ(a.codes.size(), 1u);
    EXPECT_TRUE(b.codes.empty());
    EXPECT_TRUE(c.codes.empty()) << "deaf";
    EXPECT_EQ(lsn(lc, VESK_LSN_NOTIFIERC), 1) << "and still linked";
    lsn(lc, VESK_LSN_BECOMEAWARE);
    attach(listener(false, &d), n);
    EXPECT_EQ(ntf(n, VESK_NTF_LISTENERC), 3) << "the fourth took the hole";
    post(n, 2);
    EXPECT_EQ(c.codes, std::vector<uint32_t>{2});
    EXPECT_EQ(d.codes, std::vector<uint32_t>{2});
}

TEST_F(Notices, EndsThatDieUnlinkThemselvesFromEveryPeer) {
    Heard h1, h2;
    void *n1 = notifier(true), *n2 = notifier(false), *n3 = notifier(true);
    void *many = listener(true, &h1);
    for (void *n : {n1, n2, n3})
        attach(many, n);
    release(many);  // clears its notifiers on the way out
    EXPECT_EQ(ntf(n2, VESK_NTF_LISTENERC), 0);
    post(n1, 1);
    post(n3, 1);  // would reach a freed listener otherwise

    void *u = listener(false, &h2);
    void *m = listener(true, &h2);
    attach(u, n1);
    attach(m, n1);
    release(n1);
    EXPECT_EQ(lsn(u, VESK_LSN_NOTIFIERC), 0);
    EXPECT_EQ(attach(u, n3), 0) << "free for another notifier";
    post(n3, 5);
    EXPECT_EQ(h2.codes, std::vector<uint32_t>{5});
    // `m` still has a hole where n1 was: releasing it mustn't touch n1.
}

TEST_F(Notices, RefusalsLeaveTheExistingLinksAlone) {
    Heard first, second;
    void *n = notifier(false);
    void *l1 = listener(true, &first), *l2 = listener(false, &second);
    EXPECT_EQ(attach(l1, n), 0);
    Status busy;
    EXPECT_EQ(attach(l2, n, nullptr, &busy.err), -1);
    EXPECT_STREQ(busy.buf, "objects/Nuuntfier: resource is used [by another process] in a "
                           "conflicting manner.");
    EXPECT_EQ(lsn(l2, VESK_LSN_NOTIFIERC), 0) << "the second listener has no peer";
    post(n, 9);
    EXPECT_EQ(first.codes.size(), 1u);

    Status twice;
    void *other = notifier(true);
    EXPECT_EQ(attach(l2, other), 0);
    EXPECT_EQ(attach(l2, n, nullptr, &twice.err), -1) << "a U listener takes one notifier";
    EXPECT_EQ(twice.err.status, (1019 << 16) | 517);

    Status stranger;
    EXPECT_EQ(call(other, VESK_NOTIFIER_FAMILY, VESK_NTF_RMLISTENER, &stranger.err, l1), -1);
    EXPECT_EQ(stranger.err.status, (1017 << 16) | 49170);
    EXPECT_EQ(lsn(l1, VESK_LSN_NOTIFIERC), 1) << "the listener is unchanged";

    VeskCbListenerParam silent{VESK_OID3(3, 1019, 24), 1, nullptr, 0};
    void *quiet = create(14, &silent);
    attach(quiet, other);
    EXPECT_EQ(post(other, 3), 0) << "no callback: the notice is taken and nothing happens";
}

// Each creatable stock class through its whole life: caller's memory, extra
// size, init, descriptor, duplication, release to zero (ASan sees every free).
TEST(StockNoticeClasses, LiveAndDieThroughTheFrontEnds) {
    for (uint16_t id : {13, 14, 11}) {
        SCOPED_TRACE(id);
        const VeskOid key = VESK_OID2(4, id);
        auto *cls = static_cast<VeskClass *>(_VeskGetcobject(&key, nullptr));
        ASSERT_NE(cls, nullptr);
        const int32_t holds = cls->rec.holds;

        alignas(16) unsigned char mine[256];
        ASSERT_LE(cls->instsize, sizeof mine);
        void *in_mine = VeskAlloc(cls, 0, mine, 0, nullptr);
        ASSERT_EQ(in_mine, static_cast<void *>(mine));
        EXPECT_GE(VeskInit(in_mine, nullptr, 0, nullptr), 0);
        EXPECT_EQ(_VeskRetainvalue(in_mine, -1, nullptr), 1);
        EXPECT_EQ(VeskRelease(in_mine, 0, nullptr), 0) << "ends it without freeing the memory";

        void *o = VeskAlloc(cls, 0, nullptr, 24, nullptr);
        ASSERT_NE(o, nullptr);
        EXPECT_GE(VeskInit(o, nullptr, 0, nullptr), 0);
        VeskDescriptorInfo d{};
        d.dsc_dtyp = VESK_DESCRIPTOR_TYPE;
        EXPECT_EQ(VeskGetdescriptor(o, &d, nullptr), 0);
        EXPECT_EQ(VeskDups(o, 0, nullptr), reinterpret_cast<void *>(intptr_t{-1}))
            << "no duplicator bound";
        EXPECT_EQ(cls->rec.holds, holds + 1);
        EXPECT_EQ(VeskRelease(o, 0, nullptr), 0);
        EXPECT_EQ(cls->rec.holds, holds);
    }
}

}  // namespace
