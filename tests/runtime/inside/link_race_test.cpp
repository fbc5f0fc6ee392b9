// SPDX-License-Identifier: MIT
// A module linked and unlinked over and over by one thread, the way the
// loader does it (all registry write locks held around the steps), while
// other threads get and end its class, look operations up through it, and
// walk the registries. Whatever interleaving happens, no hold may be lost or
// left behind and every lookup through a held class must find the set.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <thread>
#include <vector>

#include "runtime/registry.hpp"
#include "runtime/stub.hpp"
#include "support/status.hpp"
#include "vesk.h"

namespace {

constexpr uint16_t kFamily = 960;
constexpr int64_t kAnswer = 42;

int64_t answer(VeskClosure *, VeskErr *) { return kAnswer; }

VESK_OPS_T(5) race_ops = {
    VESK_RECORD_INIT("operations/race/Race", "race/Race", "race", VESK_OID3(3, kFamily, 1),
                     nullptr),
    0,
    5,
    {VESK_STDROWS_NONE, VESK_ROW(answer, "race::answer", answer)},
};

// The class's element block lies right behind it.
struct RaceClass {
    VeskClass cls;
    VESK_SEBLOCK_T(1) block;
} race_class = {
    VESK_CLASS_INIT("objects/Race", "Race", "Race", VESK_OID2(4, kFamily),
                    vesk_test::push_block_behind, sizeof(VeskInstance)),
    {VESK_SEBLOCK_HEAD(1), {VESK_SE_OWN(VESK_OID3(3, kFamily, 1), 0, 0, VESK_OPS(&race_ops))}},
};

VeskOps *race_opsv[] = {VESK_OPS(&race_ops)};
VeskClass *race_clsv[] = {&race_class.cls};
VeskModule race_module = VESK_MODULE_INIT("modules/race", "race", "race", VESK_OID2(5, kFamily),
                                          nullptr, "race", VESK_VERSION(1, 0, 0), __DATE__);

// One load: the three steps together under every registry write lock.
void link_race_module() {
    vesk::rt::RegistriesLocked locked;
    vesk_test::link_module(&race_module, race_opsv, race_clsv);
}

// One unload attempt; refused (-1, busy) while a reader holds the class.
int64_t unlink_race_module() {
    vesk::rt::RegistriesLocked locked;
    return _VeskModUnload(&race_module, nullptr);
}

const VeskOid kClassKey = VESK_OID2(4, kFamily);
const VeskOid kAnswerKey = {2, 4, {3, kFamily, 0, 0, 0, 0}};

struct Tally {
    std::atomic<long> held{0}, answered{0}, walked{0};
};

// Takes the class, calls through an instance of it, gives the class back.
void use_class(Tally &t) {
    auto *cls = static_cast<VeskClass *>(VeskGetcobject(&kClassKey, nullptr));
    if (cls == nullptr)
        return;  // not linked at this moment
    ++t.held;
    VeskInstance inst{VESK_KIND_INSTANCE, VESK_F_SUPER, cls};
    VeskClosure cl;
    VeskOprow *row = VeskLookupop(&inst, &kAnswerKey, &cl, nullptr);
    EXPECT_NE(row, nullptr);
    if (row != nullptr && reinterpret_cast<int64_t (*)(VeskClosure *, VeskErr *)>(row->fn)(
                              &cl, nullptr) == kAnswer)
        ++t.answered;
    EXPECT_EQ(VeskEndcobject(cls, nullptr), 0);
}

// Walks every class; each is held during its call.
void walk_classes(Tally &t) {
    VeskForeachFn fn{0, [](void *record, VeskForeachFn *) -> int64_t {
                         auto *rec = static_cast<VeskRecord *>(record);
                         return std::atomic_ref<int32_t>(rec->holds).load() > 0 ? 1 : -1;
                     }};
    const VeskOid all = {1, VESK_OPNUM_NONE, {4, 0, 0, 0, 0, 0}};
    EXPECT_GT(VeskForeach(&all, &fn, nullptr), 0);  // a record without its hold stops with -1
    ++t.walked;
}

// The stub set is the library's own: it is never unloaded, so a set getter on
// it is safe at any time.
void use_stub_set() {
    const VeskOid key = VESK_OID3(3, 1, 0);
    VeskOps *ops = VeskGetops(&key, nullptr);
    ASSERT_EQ(ops, vesk::rt::stub_ops());
    EXPECT_EQ(VeskEndops(ops, nullptr), 0);
}

TEST(LinkRace, ReadersNeverLoseAHoldWhileAModuleComesAndGoes) {
    VeskClass *stub = vesk::rt::stub_class();
    const int32_t stub_holds = stub->rec.holds;
    const uintptr_t classes = vesk::rt::objreg().tree.count;
    const uintptr_t sets = vesk::rt::opsreg().tree.count;
    const int32_t stub_set_holds = vesk::rt::stub_ops()->rec.holds;

    constexpr int kCycles = 300;
    std::atomic<bool> done{false};
    Tally tally;
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i)
        readers.emplace_back([&, i] {
            while (!done.load(std::memory_order_acquire)) {
                use_class(tally);
                if (i == 0)
                    walk_classes(tally);
                if (i == 1)
                    use_stub_set();
            }
        });

    int refused = 0;
    for (int cycle = 0; cycle < kCycles; ++cycle) {
        link_race_module();
        std::this_thread::yield();
        while (unlink_race_module() < 0) {  // busy: a reader holds the class
            ++refused;
            std::this_thread::yield();
        }
    }
    done.store(true, std::memory_order_release);
    for (auto &t : readers)
        t.join();

    // The readers did meet the module, and every call through it answered.
    EXPECT_GT(tally.held.load(), 0);
    EXPECT_EQ(tally.answered.load(), tally.held.load());
    EXPECT_GT(tally.walked.load(), 0);
    // Nothing is held any more, and the registries are as they were.
    EXPECT_EQ(race_class.cls.rec.holds, 0);
    EXPECT_EQ(race_module.rec.holds, 0);
    EXPECT_EQ(race_class.cls.rec.idowner, nullptr);
    EXPECT_EQ(stub->rec.holds, stub_holds);
    EXPECT_EQ(vesk::rt::stub_ops()->rec.holds, stub_set_holds);
    EXPECT_EQ(vesk::rt::objreg().tree.count, classes);
    EXPECT_EQ(vesk::rt::opsreg().tree.count, sets);
    RecordProperty("refused_unloads", refused);
}

}  // namespace
