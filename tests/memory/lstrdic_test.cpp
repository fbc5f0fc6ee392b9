// SPDX-License-Identifier: MIT
// The string dictionary: order, duplicates, entries without value, growth by
// one entry, the reports, and what every failing allocation leaves behind.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "support/failing_alloc.hpp"
#include "support/status.hpp"
#include "nu.h"
#include "vesk.h"

namespace {

using vesk_test::expect_in_fresh_process;
using vesk_test::expect_report;
using vesk_test::FailingAlloc;
using vesk_test::Status;

const char *const kNoMatch = ": name does not match the name of any entry.";
const char *const kNoMemory = ": operation failure: can not perform local memory allocation.";
const char *const kNoStorage = ": fail to create an object: can not perform local memory allocation.";

// The entries as (key, value) with "<null>" for an entry without value.
std::vector<std::pair<std::string, std::string>> pairs_of(const NuLstrdic &dic) {
    std::vector<std::pair<std::string, std::string>> out;
    for (size_t i = 0; i < dic.count; ++i)
        out.emplace_back(dic.entries[i].key, dic.entries[i].value ? dic.entries[i].value : "<null>");
    return out;
}

using Pairs = std::vector<std::pair<std::string, std::string>>;

struct Dic {
    NuLstrdic d{};
    ~Dic() { NuLstrdic_Destroy(&d); }
};

TEST(Lstrdic, AddingKeepsOrderAndRefusesOrAllowsDuplicates) {
    Dic dic;
    Status s;
    ASSERT_EQ(NuLstrdic_Add2(&dic.d, "a", "1", &s.err), 0);
    EXPECT_EQ(NuLstrdic_Add2(&dic.d, "a", "2", &s.err), -1);
    expect_report(s.err, 0, VESK_E_ENTRYEXISTS, 0, 1, "a: such entry already exists.");
    const NuLstrdicEntry pair = {"b", nullptr};
    ASSERT_EQ(NuLstrdic_Add(&dic.d, &pair, &s.err), 0);
    ASSERT_EQ(NuLstrdic_ForceAdd2(&dic.d, "a", "3", &s.err), 0);
    const NuLstrdicEntry forced = {"", ""};  // the empty string is a key and a value
    ASSERT_EQ(NuLstrdic_ForceAdd(&dic.d, &forced, &s.err), 0);
    EXPECT_EQ(pairs_of(dic.d), (Pairs{{"a", "1"}, {"b", "<null>"}, {"a", "3"}, {"", ""}}));
    EXPECT_EQ(dic.d.capacity, 4u) << "a full array grows by exactly one entry";
    EXPECT_STREQ(NuLstrdic_Findbykey(&dic.d, "a", &s.err)->value, "1") << "the older one";
    EXPECT_NE(NuLstrdic_Findbykey(&dic.d, "", &s.err)->value, nullptr);

    // Key and value lie in one block, the value right behind the key.
    const NuLstrdicEntry &first = dic.d.entries[0];
    EXPECT_EQ(first.value, first.key + 2);

    ASSERT_EQ(NuLstrdic_Delete(&dic.d, "a", &s.err), 0);
    EXPECT_EQ(pairs_of(dic.d), (Pairs{{"b", "<null>"}, {"a", "3"}, {"", ""}}));
    EXPECT_EQ(dic.d.capacity, 4u) << "the array keeps its size";
}

TEST(Lstrdic, SearchesPassOverEntriesWithoutValueAndReportWhatTheyMissed) {
    Dic dic;
    Status s;
    ASSERT_EQ(NuLstrdic_Add2(&dic.d, "k", nullptr, &s.err), 0);
    ASSERT_EQ(NuLstrdic_Add2(&dic.d, "j", "v", &s.err), 0);
    ASSERT_EQ(NuLstrdic_Add2(&dic.d, "K", "v", &s.err), 0);
    EXPECT_EQ(NuLstrdic_Findbykey(&dic.d, "k", &s.err), dic.d.entries);
    EXPECT_EQ(NuLstrdic_Findbyval(&dic.d, "v", &s.err), dic.d.entries + 1);
    EXPECT_EQ(NuLstrdic_Findbykeyval(&dic.d, "K", "v", &s.err), dic.d.entries + 2);

    struct Miss {
        const char *name;
        NuLstrdicEntry *(*find)(const NuLstrdic *, VeskErr *);
        const char *reported;
    };
    const Miss misses[] = {
        {"by key, case counts", [](const NuLstrdic *d, VeskErr *e) { return NuLstrdic_Findbykey(d, "J", e); }, "J"},
        {"by value", [](const NuLstrdic *d, VeskErr *e) { return NuLstrdic_Findbyval(d, "w", e); }, "w"},
        {"by value, never a valueless entry",
         [](const NuLstrdic *d, VeskErr *e) { return NuLstrdic_Findbyval(d, "", e); }, ""},
        {"by pair, valueless", [](const NuLstrdic *d, VeskErr *e) { return NuLstrdic_Findbykeyval(d, "k", "", e); }, "k"},
        {"by pair, other value", [](const NuLstrdic *d, VeskErr *e) { return NuLstrdic_Findbykeyval(d, "j", "w", e); }, "j"},
        {"in an empty dictionary", [](const NuLstrdic *, VeskErr *e) {
             static const NuLstrdic empty{};
             return NuLstrdic_Findbykey(&empty, "k", e);
         }, "k"},
    };
    for (const Miss &m : misses) {
        SCOPED_TRACE(m.name);
        Status miss;
        EXPECT_EQ(m.find(&dic.d, &miss.err), nullptr);
        expect_report(miss.err, 0, VESK_E_NOMATCH, 0, 2, (std::string(m.reported) + kNoMatch).c_str());
    }
    Status del;
    EXPECT_EQ(NuLstrdic_Delete(&dic.d, "x", &del.err), -1);
    expect_report(del.err, 0, VESK_E_NOMATCH, 0, 2, (std::string("x") + kNoMatch).c_str());
}

TEST(Lstrdic, ReplaceMovesTheEntryLastAndAddsAnUnknownKey) {
    Dic dic;
    const NuLstrdicEntry pairs[] = {{"a", "1"}, {"b", "2"}, {"a", "3"}, {"c", nullptr}};
    ASSERT_EQ(NuLstrdic_Init_nx(&dic.d, pairs, 4, nullptr), 0);
    EXPECT_EQ(pairs_of(dic.d), (Pairs{{"a", "1"}, {"b", "2"}, {"a", "3"}, {"c", "<null>"}}));
    ASSERT_EQ(NuLstrdic_Replace2(&dic.d, "a", "9", nullptr), 0);
    EXPECT_EQ(pairs_of(dic.d), (Pairs{{"b", "2"}, {"a", "3"}, {"c", "<null>"}, {"a", "9"}}));
    const NuLstrdicEntry fresh = {"d", "4"};
    ASSERT_EQ(NuLstrdic_Replace(&dic.d, &fresh, nullptr), 0);
    EXPECT_EQ(pairs_of(dic.d).back(), (std::pair<std::string, std::string>{"d", "4"}));
    EXPECT_EQ(dic.d.capacity, 5u);
    // The new key and value may be the old entry's own strings.
    const NuLstrdicEntry own = dic.d.entries[0];
    ASSERT_EQ(NuLstrdic_Replace2(&dic.d, own.key, own.value, nullptr), 0);
    ASSERT_EQ(NuLstrdic_ForceAdd2(&dic.d, dic.d.entries[0].key, dic.d.entries[0].value, nullptr), 0);
    EXPECT_EQ(pairs_of(dic.d), (Pairs{{"a", "3"}, {"c", "<null>"}, {"a", "9"}, {"d", "4"}, {"b", "2"}, {"a", "3"}}));
}

TEST(Lstrdic, InitFormsClearAndDestroySizeTheArrayAsTheyShould) {
    Dic src;
    ASSERT_EQ(NuLstrdic_Init_n(&src.d, 8, nullptr), 0);
    EXPECT_EQ(src.d.capacity, 8u);
    EXPECT_EQ(src.d.count, 0u);
    ASSERT_NE(src.d.entries, nullptr);
    Dic copy;
    copy.d.count = 77;  // an Init form writes the record as new
    ASSERT_EQ(NuLstrdic_Init_cp(&copy.d, &src.d, nullptr), 0);
    EXPECT_EQ(copy.d.capacity, 0u);
    EXPECT_EQ(copy.d.entries, nullptr) << "nothing to copy: no array";
    ASSERT_EQ(NuLstrdic_Add2(&copy.d, "x", "y", nullptr), 0);
    EXPECT_EQ(copy.d.capacity, 1u);

    ASSERT_EQ(NuLstrdic_Add2(&src.d, "k1", "v1", nullptr), 0);
    ASSERT_EQ(NuLstrdic_Add2(&src.d, "k2", nullptr, nullptr), 0);
    Dic again;
    ASSERT_EQ(NuLstrdic_Init_cp(&again.d, &src.d, nullptr), 0);
    EXPECT_EQ(again.d.capacity, 2u) << "the source's count, not its capacity";
    EXPECT_EQ(pairs_of(again.d), pairs_of(src.d));
    EXPECT_NE(again.d.entries[0].key, src.d.entries[0].key) << "copies, not shared blocks";

    NuLstrdicEntry *array = src.d.entries;
    ASSERT_EQ(NuLstrdic_Clear(&src.d), 0);
    EXPECT_EQ(src.d.count, 0u);
    EXPECT_EQ(src.d.capacity, 8u);
    EXPECT_EQ(array[0].key, nullptr);
    for (int i = 0; i < 8; ++i)
        ASSERT_EQ(NuLstrdic_ForceAdd2(&src.d, "k", "v", nullptr), 0);
    EXPECT_EQ(src.d.entries, array);
    EXPECT_EQ(src.d.capacity, 8u) << "the room is reused";
    ASSERT_EQ(NuLstrdic_Destroy(&src.d), 0);
    EXPECT_TRUE(src.d.capacity == 0 && src.d.count == 0 && src.d.entries == nullptr);
    EXPECT_EQ(NuLstrdic_Init_nx(&src.d, nullptr, 0, nullptr), 0);
}

// Each allocation of each changing call fails in turn: the report names the
// operation, the dictionary is as it was (Replace: without the old entry),
// and no block is left over.
TEST(Lstrdic, EveryFailedAllocationIsReportedOnceAndLeavesNothingBehind) {
    expect_in_fresh_process([] {
        FailingAlloc::install();
        struct Step {
            const char *tag;
            int64_t (*call)(NuLstrdic *, VeskErr *);
            Pairs after_failure;
        };
        const Pairs before = {{"a", "1"}, {"b", "2"}};
        const Step steps[] = {
            {"@dic.add", [](NuLstrdic *d, VeskErr *e) { return NuLstrdic_Add2(d, "c", "3", e); }, before},
            {"@dic.forceadd", [](NuLstrdic *d, VeskErr *e) { return NuLstrdic_ForceAdd2(d, "a", "3", e); }, before},
            {"@dic.replace", [](NuLstrdic *d, VeskErr *e) { return NuLstrdic_Replace2(d, "c", "3", e); }, before},
            {"@dic.replace", [](NuLstrdic *d, VeskErr *e) { return NuLstrdic_Replace2(d, "a", "3", e); }, {{"b", "2"}}},
        };
        for (const Step &step : steps) {
            for (int n = 1;; ++n) {
                NuLstrdic dic{};
                FailingAlloc::never();
                CHILD_CHECK(NuLstrdic_Add2(&dic, "a", "1", nullptr) == 0 &&
                            NuLstrdic_Add2(&dic, "b", "2", nullptr) == 0);
                FailingAlloc::fail_at(n);
                Status s;
                const int64_t r = step.call(&dic, &s.err);
                if (FailingAlloc::fired) {
                    CHILD_CHECK(r == -1);
                    CHILD_CHECK(s.err.status == VESK_E_NOMEM && s.err.variant == 1);
                    CHILD_CHECK(std::string(s.buf) == std::string(step.tag) + kNoMemory);
                    CHILD_CHECK(pairs_of(dic) == step.after_failure);
                } else {
                    CHILD_CHECK(r == 0 && dic.count >= 2);
                }
                NuLstrdic_Destroy(&dic);
                CHILD_CHECK(FailingAlloc::live == 0);
                if (!FailingAlloc::fired)
                    break;
                CHILD_CHECK(n < 3);  // one entry block and one resize at most
            }
        }

        // The Init forms: -1 with the storage report, and the copies made
        // so far stand until Destroy.
        const NuLstrdicEntry pairs[] = {{"a", "1"}, {"b", nullptr}, {"c", ""}};
        for (int n = 1;; ++n) {
            FailingAlloc::fail_at(n);
            Status s;
            NuLstrdic dic{};
            const int64_t r = NuLstrdic_Init_nx(&dic, pairs, 3, &s.err);
            if (!FailingAlloc::fired) {
                CHILD_CHECK(r == 0 && dic.count == 3 && n == 5);
                NuLstrdic copy{};
                FailingAlloc::fail_at(3);  // the array, then the second entry
                CHILD_CHECK(NuLstrdic_Init_cp(&copy, &dic, nullptr) == -1 && copy.count == 1);
                NuLstrdic_Destroy(&copy), NuLstrdic_Destroy(&dic);
                CHILD_CHECK(FailingAlloc::live == 0);
                break;
            }
            CHILD_CHECK(r == -1 && s.err.status == VESK_E_NOMEM && s.err.variant == 2);
            CHILD_CHECK(std::string(s.buf) == std::string("@dic.storage") + kNoStorage);
            CHILD_CHECK(dic.count == size_t(n > 1 ? n - 2 : 0) && dic.capacity == (n > 1 ? 3u : 0u));
            NuLstrdic_Destroy(&dic);
            CHILD_CHECK(FailingAlloc::live == 0);
        }
        FailingAlloc::fail_at(1);
        Status s;
        NuLstrdic dic{{5}, {5}, nullptr};
        CHILD_CHECK(NuLstrdic_Init_n(&dic, 4, &s.err) == -1);
        CHILD_CHECK(dic.capacity == 0 && dic.count == 0 && dic.entries == nullptr);
        CHILD_CHECK(std::string(s.buf) == std::string("@dic.storage") + kNoStorage);
    });
}

}  // namespace
