// SPDX-License-Identifier: MIT
// Hostile input to the allocators, zones and trees: sizes no memory can hold,
// sizes that wrap, null zones, trees, tables and nodes. Each case runs in a
// child process of its own (see support/hostile.hpp).
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <vector>

#include "nu.h"
#include "support/hostile.hpp"
#include "vesk.h"

namespace {

using vesk_test::address;
using vesk_test::Expected;
using vesk_test::HostileCase;
using vesk_test::kNoReport;

constexpr size_t kHuge = SIZE_MAX;
constexpr size_t kBeyondBlock = size_t{PTRDIFF_MAX} + 1;

const char *const kNoMemory = ": operation failure: can not perform local memory allocation.";
using vesk_test::kFault;

Expected no_memory(int32_t facility, int32_t syserr, const char *what) {
    return {facility, VESK_E_NOMEM, syserr, 1, std::string(what) + kNoMemory};
}

Expected zone_null(const char *function) {
    return {VESK_FAC_ZONE, VESK_E_FAULT, EFAULT, 3,
            std::string("memman:") + function + "(@zone)" + kFault};
}

Expected tree_null(const char *param) {
    return {VESK_FAC_RTBT, VESK_E_FAULT, 0, 1, std::string(param) + kFault};
}

NuZmalloc *open_zone(uintptr_t granularity, uintptr_t size, VeskErr *e) {
    return _NuZmallocOpen(nullptr, nullptr, nullptr, granularity, size, e);
}

// A zone that can be opened but never grown.
NuZmalloc *zone_without_calloc(VeskErr *e) {
    static const NuMallocOpv table = {nu_malloc, nullptr, nu_realloc, nu_free};
    return _NuZmallocOpen(nullptr, &table, nullptr, 4, 8, e);
}

TEST(Hostile, MemoryRefusesWhatNoMemoryCanHoldAndWhatIsNotThere) {
    static char user_data[8];
    NuZmallocUctx_v2 huge_copy{};
    huge_copy.user_data = user_data;
    huge_copy.user_data_size = kHuge - 8;  // with the record, wraps to a few bytes

    const NuBtninfo no_compare = {_G_default_btninfo_opv.dup, _G_default_btninfo_opv.retain,
                                  _G_default_btninfo_opv.release, nullptr, nullptr};
    const NuBtninfo no_dup = {nullptr, nullptr, nullptr, _G_default_btninfo_opv.compare, nullptr};
    const NuBtninfo *words = &_G_default_btninfo_opv;
    static NuRTBT tree;  // initialised in the child, by the call that needs it
    auto fresh = [] {
        NuRTBTInit(&tree);
        return &tree;
    };
    auto one_node = [&] {
        NuRTBTInsert(fresh(), words, 7, 0, nullptr);
        return &tree;
    };
    const int64_t kNoElement = static_cast<int64_t>(NU_RTBT_NOELEMENT);

    const std::vector<HostileCase> cases = {
        // Zone sizes that wrap: granularity 2^61 made a 16-byte chunk, an
        // object near SIZE_MAX rounded to 0, the record plus user data wrapped.
        {"zone granularity 2^61", [](VeskErr *e) { return address(open_zone(uintptr_t{1} << 61, 8, e)); },
         0, no_memory(VESK_FAC_ZONE, ENOMEM, "@allocator.mm_calloc")},
        {"zone object size SIZE_MAX-3", [](VeskErr *e) { return address(open_zone(2, kHuge - 3, e)); },
         0, no_memory(VESK_FAC_ZONE, ENOMEM, "@allocator.mm_calloc")},
        {"zone chunk above PTRDIFF_MAX", [](VeskErr *e) { return address(open_zone(1, PTRDIFF_MAX, e)); },
         0, no_memory(VESK_FAC_ZONE, ENOMEM, "@allocator.mm_calloc")},
        {"zone record plus user data wraps",
         [&](VeskErr *e) {
             return address(_NuZmallocOpen_v2(nullptr, nullptr, &huge_copy, 4, 8, e));
         },
         0, no_memory(VESK_FAC_ZONE, ENOMEM, "@allocator.mm_alloc")},
        {"zone in caller's memory with a wrapping user data copy",
         [&](VeskErr *e) {
             static NuZmalloc mine;
             return address(_NuZmallocOpen_v2(&mine, nullptr, &huge_copy, 4, 8, e));
         },
         0, no_memory(VESK_FAC_ZONE, ENOMEM, "@allocator.mm_alloc")},
        {"zone that can't grow",
         [](VeskErr *e) {
             NuZmalloc *zone = zone_without_calloc(nullptr);
             void *object = _NuZmallocGet(zone, e);
             _NuZmallocClose(zone, 0, nullptr);
             return address(object);
         },
         0, no_memory(VESK_FAC_ZONE, ENOMEM, "@allocator.mm_calloc")},
        {"get from a null zone", [](VeskErr *e) { return address(_NuZmallocGet(nullptr, e)); }, 0,
         zone_null("_NuZmallocGet")},
        {"destroy a null zone", [](VeskErr *e) { return _NuZmallocDestroyDefault(nullptr, 0, e); }, -1,
         zone_null("_NuZmallocDestroyDefault")},
        {"null zone and object without a record",
         [](VeskErr *) {
             return int64_t{_NuZmallocGranularity(nullptr) == 0 && _NuZmallocHasfreeg(nullptr) == 0 &&
                            _NuZmallocUctx(nullptr) == nullptr && _NuZmPtrOwner(nullptr) == nullptr &&
                            _NuZmPtrRetain(nullptr) == -1 && _NuZmPtrRetainValue(nullptr) == -1 &&
                            _NuZmPtrRelease(nullptr) == -1 && _NuZmallocClose(nullptr, 0, nullptr) == 0};
         },
         1, kNoReport},

        // Allocator requests no memory can satisfy: null at once, no exit.
        {"malloc SIZE_MAX", [](VeskErr *e) { return address(_NuMalloc(kHuge, e)); }, 0,
         no_memory(VESK_FAC_NONE, 0, "_S_malloc.mm_alloc")},
        {"malloc PTRDIFF_MAX+1", [](VeskErr *e) { return address(_NuMalloc(kBeyondBlock, e)); }, 0,
         no_memory(VESK_FAC_NONE, 0, "_S_malloc.mm_alloc")},
        {"calloc count x size wraps", [](VeskErr *e) { return address(_NuMcalloc(kHuge / 2, 4, e)); },
         0, no_memory(VESK_FAC_NONE, 0, "_S_malloc.mm_calloc")},
        {"calloc product above PTRDIFF_MAX",
         [](VeskErr *e) { return address(_NuMcalloc(2, PTRDIFF_MAX, e)); }, 0,
         no_memory(VESK_FAC_NONE, 0, "_S_malloc.mm_calloc")},
        {"realloc SIZE_MAX keeps the block",
         [](VeskErr *e) {
             auto *block = static_cast<char *>(NuMalloc(4));
             std::memcpy(block, "abc", 4);
             const bool refused = _NuMrealloc(block, kHuge, e) == nullptr;
             const bool kept = std::memcmp(block, "abc", 4) == 0;
             NuMfree(block);
             return int64_t{refused && kept};
         },
         1, no_memory(VESK_FAC_NONE, 0, "_S_malloc.mm_realloc")},
        {"silent tier passes null on",
         [](VeskErr *) {
             return int64_t{NuMalloc(kHuge) == nullptr && NuMcalloc(kHuge, kHuge) == nullptr &&
                            NuMrealloc(nullptr, kBeyondBlock) == nullptr};
         },
         1, kNoReport},

        // Trees: null tree, table, comparison, node, function.
        {"find in a null tree", [&](VeskErr *e) { return address(NuRTBTFind(nullptr, words, 1, e)); },
         0, tree_null("@tree")},
        {"find with a null table", [&](VeskErr *e) { return address(NuRTBTFind(fresh(), nullptr, 1, e)); },
         0, tree_null("@btninfo")},
        {"find without a comparison",
         [&](VeskErr *e) { return address(NuRTBTFind(one_node(), &no_compare, 7, e)); }, 0,
         tree_null("@btninfo")},
        {"insert into a null tree",
         [&](VeskErr *e) { return address(NuRTBTInsert(nullptr, words, 1, 0, e)); }, 0,
         tree_null("@tree")},
        {"balanced insert with a null table",
         [&](VeskErr *e) { return address(NuRTBTInsert_b(fresh(), nullptr, 1, 0, e)); }, 0,
         tree_null("@btninfo")},
        {"insert an element with a table without dup",
         [&](VeskErr *e) {
             const bool refused = NuRTBTInsert(fresh(), &no_dup, 5, 0, e) == nullptr;
             return int64_t{refused && tree.root == nullptr};
         },
         1, tree_null("@btninfo")},
        {"insert a null node", [&](VeskErr *e) { return address(NuRTBTInsnode(fresh(), words, nullptr, 0, e)); },
         0, tree_null("@node")},
        {"balanced insert of a null node",
         [&](VeskErr *e) {
             const bool refused = NuRTBTInsnode_b(one_node(), words, nullptr, 1, e) == nullptr;
             return int64_t{refused && tree.count == 1};
         },
         1, tree_null("@node")},
        {"delete from a null tree", [&](VeskErr *e) { return NuRTBTDelete(nullptr, words, 1, e); }, -1,
         tree_null("@tree")},
        {"remove from a null tree",
         [&](VeskErr *e) { return static_cast<int64_t>(NuRTBTRemove(nullptr, words, 1, e)); },
         kNoElement, tree_null("@tree")},
        {"walk a null tree", [](VeskErr *e) { return NuBTWalk(nullptr, nullptr, 0, nullptr, nullptr, e); },
         -1, tree_null("@tree")},
        {"walk without a function",
         [&](VeskErr *e) { return NuBTWalk(one_node(), nullptr, NU_BTWALK_INORDER, nullptr, nullptr, e); },
         -1, tree_null("@function")},
        {"copy into a null tree", [&](VeskErr *e) { return NuRTBTInit_cp(nullptr, one_node(), words, e); },
         -1, tree_null("@tree")},
        {"copy with a null table",
         [&](VeskErr *e) {
             static NuRTBT copy;
             return NuRTBTInit_cp(&copy, one_node(), nullptr, e);
         },
         -1, tree_null("@btninfo")},
        {"link level refuses without a report",
         [&](VeskErr *) {
             NuRTBTNode node{};
             return int64_t{_NuRTBTLinknode(nullptr, words, &node, 0, nullptr, nullptr) == -1 &&
                            _NuRTBTLinknode_b(fresh(), words, nullptr, 0, nullptr, nullptr) == -1 &&
                            _NuRTBTLinknode_b(fresh(), nullptr, &node, 0, nullptr, nullptr) == -1 &&
                            _NuRTBTUnlinknode(nullptr, words, 1, nullptr, nullptr) == nullptr &&
                            _NuRTBTUnlinknode_b(one_node(), &no_compare, 7, nullptr, nullptr) == nullptr &&
                            tree.count == 1};
         },
         1, kNoReport},
        {"heads without a record",
         [&](VeskErr *) {
             NuRTBTDestroy(nullptr, words);
             NuRTBTFree(nullptr, words);
             NuRTBTDump(nullptr, words, &tree);
             NuRTBTDump(one_node(), nullptr, &tree);
             return int64_t{NuRTBTInit(nullptr) == -1 && NuRTBTInit_mv(nullptr, &tree) == -1 &&
                            NuRTBTInit_mv(&tree, nullptr) == -1};
         },
         1, kNoReport},
    };
    vesk_test::run_cases(cases);
}

Expected memman(int32_t code, const char *function, const char *param) {
    return {VESK_FAC_NONE, code, 0, 3,
            std::string("memman:") + function + "(" + param + ")" +
                (code == VESK_E_FAULT ? kFault : ": invalid argument.")};
}

// A storage with one piece in it, opened in the child.
NuSMEMSTG *used_storage() {
    static NuSMEMSTG st;
    NuSMEMSTGopen(&st, nullptr, nullptr);
    NuSMEMSTGalloc(&st, 32, nullptr);
    return &st;
}

TEST(Hostile, StoragesRefuseSizesNoBlockCanHoldAndAddressesNotTheirs) {
    const std::vector<HostileCase> cases = {
        {"alloc in a null storage",
         [](VeskErr *e) { return address(NuSMEMSTGalloc(nullptr, 8, e)); }, 0,
         memman(VESK_E_FAULT, "NuSMEMSTGalloc", "@storage")},
        {"get from a null pool", [](VeskErr *e) { return address(NuPOOLget(nullptr, e)); }, 0,
         memman(VESK_E_FAULT, "NuPOOLget", "@pool")},
        {"the largest size", [](VeskErr *e) { return address(NuSMEMSTGalloc(used_storage(), kHuge, e)); },
         0, no_memory(VESK_FAC_NONE, 0, "_S_malloc.mm_alloc")},
        {"a size that wraps with the alignment",
         [](VeskErr *e) {
             NuSMEMSTG *st = used_storage();
             const size_t blocks = st->stg.block_count;
             void *p = NuSMEMSTGaalloc(st, kHuge - 8, 64, e);
             return p == nullptr && st->stg.block_count == blocks ? 0 : address(p);
         },
         0, no_memory(VESK_FAC_NONE, 0, "_S_malloc.mm_alloc")},
        {"a size beyond any block",
         [](VeskErr *e) { return address(NuSMEMSTGaalloc(used_storage(), kBeyondBlock, 1, e)); },
         0, no_memory(VESK_FAC_NONE, 0, "_S_malloc.mm_alloc")},
        {"the largest alignment",
         [](VeskErr *e) { return address(NuSMEMSTGaalloc(used_storage(), 1, kBeyondBlock, e)); },
         0, no_memory(VESK_FAC_NONE, 0, "_S_malloc.mm_alloc")},
        {"an alignment that is no power of two",
         [](VeskErr *e) { return address(NuSMEMSTGaalloc(used_storage(), 8, 24, e)); }, 0,
         memman(VESK_E_INVAL, "NuSMEMSTGaalloc", "@alignment")},
        {"a zero size, twice at one address",
         [](VeskErr *e) {
             NuSMEMSTG st;
             NuSMEMSTGopen(&st, nullptr, e);
             void *a = NuSMEMSTGalloc(&st, 0, e), *b = NuSMEMSTGalloc(&st, 0, e);
             const int64_t same = a != nullptr && a == b;
             NuMEMSTGdestroy(&st.stg);
             return same;
         },
         1, kNoReport},
        {"a pool of empty objects",
         [](VeskErr *e) { return address(NuPOOLopen(nullptr, nullptr, 0, 8, e)); }, 0,
         memman(VESK_E_INVAL, "NuPOOLopen", "@objsize")},
        {"a pool whose size cannot be rounded",
         [](VeskErr *e) { return address(NuPOOLopen(nullptr, nullptr, kHuge - 2, 16, e)); }, 0,
         memman(VESK_E_INVAL, "NuPOOLopen", "@objsize")},
        {"a pool whose blocks cannot be sized",
         [](VeskErr *e) { return address(NuPOOLopen(nullptr, nullptr, kHuge - 7, 8, e)); }, 0,
         memman(VESK_E_INVAL, "NuPOOLopen", "@objsize")},
        {"a pool aligned to 12",
         [](VeskErr *e) { return address(NuPOOLopen(nullptr, nullptr, 8, 12, e)); }, 0,
         memman(VESK_E_INVAL, "NuPOOLopen", "@alignment")},
        {"a pool of objects no block holds",
         [](VeskErr *e) {
             NuPOOL pool;
             NuPOOLopen(&pool, nullptr, kBeyondBlock, 0, nullptr);
             return address(NuPOOLget(&pool, e));
         },
         0, no_memory(VESK_FAC_NONE, 0, "_S_malloc.mm_alloc")},
        {"unwinding to addresses that are not the storage's",
         [](VeskErr *) {
             NuSMEMSTG *st = used_storage();
             const size_t free_bytes = st->free_bytes;
             int local = 0;
             NuSMEMSTGfree(st, &local);
             NuSMEMSTGfree(st, reinterpret_cast<void *>(UINTPTR_MAX));
             NuPOOL pool;
             NuPOOLopen(&pool, nullptr, 16, 0, nullptr);
             char *first = static_cast<char *>(NuPOOLget(&pool, nullptr));
             NuPOOLfree(&pool, &local);
             NuPOOLfree(&pool, first + 5);  // inside an object: back to its start
             const bool kept = st->free_bytes == free_bytes && NuPOOLget(&pool, nullptr) == first;
             NuSMEMSTGstate bogus = {reinterpret_cast<NuMEMSTGLink *>(&local), 0};
             NuSMEMSTGsetstate(st, &bogus);
             NuPOOLstate stale = {reinterpret_cast<NuMEMSTGLink *>(&local), first, first};
             NuPOOLsetstate(&pool, &stale);
             return int64_t{kept && st->free_bytes == free_bytes &&
                            NuPOOLget(&pool, nullptr) == first + 16};
         },
         1, kNoReport},
    };
    vesk_test::run_cases(cases);
}

Expected dic_null(const char *function, const char *param) {
    return {VESK_FAC_NONE, VESK_E_FAULT, EFAULT, 2, std::string(function) + "(" + param + ")" + kFault};
}

// Dictionaries: null records, keys and pairs, records whose fields disagree,
// counts no memory can hold.
TEST(Hostile, DictionariesRefuseNullsBadRecordsAndImpossibleCounts) {
    static NuLstrdic dic;  // set up in the child by the call that needs it
    static const NuLstrdicEntry no_key = {nullptr, "v"};
    static const NuLstrdicEntry two[] = {{"a", "1"}, {"b", "2"}};
    const Expected storage = {VESK_FAC_NONE, VESK_E_NOMEM, 0, 2,
                              "@dic.storage: fail to create an object: can not perform local memory allocation."};
    auto lying = [] {  // more entries in use than room, and no array
        dic = {1, 5, nullptr};
        return &dic;
    };
    const Expected bad_dic = {VESK_FAC_NONE, VESK_E_INVAL, EINVAL, 2, "NuLstrdic_Add2(@dic): invalid argument."};
    const std::vector<HostileCase> cases = {
        {"add to null", [](VeskErr *e) { return NuLstrdic_Add2(nullptr, "k", "v", e); }, -1,
         dic_null("NuLstrdic_Add2", "@dic")},
        {"add a null pair", [](VeskErr *e) { return NuLstrdic_Add(&dic, nullptr, e); }, -1,
         dic_null("NuLstrdic_Add", "@pair")},
        {"force-add a pair without key", [](VeskErr *e) { return NuLstrdic_ForceAdd(&dic, &no_key, e); }, -1,
         dic_null("NuLstrdic_ForceAdd", "@key")},
        {"replace with a null key", [](VeskErr *e) { return NuLstrdic_Replace2(&dic, nullptr, "v", e); }, -1,
         dic_null("NuLstrdic_Replace2", "@key")},
        {"delete from null", [](VeskErr *e) { return NuLstrdic_Delete(nullptr, "k", e); }, -1,
         dic_null("NuLstrdic_Delete", "@dic")},
        {"find a null key", [](VeskErr *e) { return address(NuLstrdic_Findbykey(&dic, nullptr, e)); }, 0,
         dic_null("NuLstrdic_Findbykey", "@key")},
        {"find a null value", [](VeskErr *e) { return address(NuLstrdic_Findbyval(&dic, nullptr, e)); }, 0,
         dic_null("NuLstrdic_Findbyval", "@value")},
        {"find a pair with a null value",
         [](VeskErr *e) { return address(NuLstrdic_Findbykeyval(&dic, "k", nullptr, e)); }, 0,
         dic_null("NuLstrdic_Findbykeyval", "@value")},
        {"a record that claims entries it has no room for",
         [&](VeskErr *e) { return NuLstrdic_Add2(lying(), "k", "v", e); }, -1, bad_dic},
        {"clear and destroy a lying record", [&](VeskErr *) { return NuLstrdic_Clear(lying()) + NuLstrdic_Destroy(&dic); },
         -2, kNoReport},
        {"clear and destroy null", [](VeskErr *) { return NuLstrdic_Clear(nullptr) + NuLstrdic_Destroy(nullptr); }, -2,
         kNoReport},
        {"room for SIZE_MAX entries", [](VeskErr *e) { return NuLstrdic_Init_n(&dic, kHuge, e); }, -1, storage},
        {"room for entries just beyond any block",
         [](VeskErr *e) { return NuLstrdic_Init_n(&dic, kBeyondBlock / sizeof(NuLstrdicEntry) + 1, e); }, -1, storage},
        {"copies of SIZE_MAX pairs from an array of two",
         [](VeskErr *e) { return NuLstrdic_Init_nx(&dic, two, kHuge, e); }, -1, storage},
        {"copies of pairs from null", [](VeskErr *e) { return NuLstrdic_Init_nx(&dic, nullptr, 3, e); }, -1,
         dic_null("NuLstrdic_Init_nx", "@pairs")},
        {"copies of a pair without key, nothing made",
         [](VeskErr *e) {
             const NuLstrdicEntry pairs[] = {{"a", "1"}, {nullptr, "2"}};
             const int64_t r = NuLstrdic_Init_nx(&dic, pairs, 2, e);
             return r == -1 && dic.count == 0 && dic.entries == nullptr ? r : 0;
         },
         -1, dic_null("NuLstrdic_Init_nx", "@pairs.key")},
        {"a copy of itself",
         [](VeskErr *e) {
             NuLstrdic_Init_nx(&dic, two, 2, nullptr);
             const int64_t r = NuLstrdic_Init_cp(&dic, &dic, e);
             NuLstrdic_Destroy(&dic);
             return r;
         },
         -1, {VESK_FAC_NONE, VESK_E_INVAL, EINVAL, 2, "NuLstrdic_Init_cp(@source): invalid argument."}},
        {"three hundred long keys that differ only in their last two bytes",
         [](VeskErr *e) {
             NuLstrdic_Init_n(&dic, 0, nullptr);
             std::string key(200, 'k');
             for (int i = 0; i < 300; ++i) {
                 key.back() = static_cast<char>(i % 255 + 1);
                 key[key.size() - 2] = static_cast<char>(i / 255 + 1);
                 if (NuLstrdic_Add2(&dic, key.c_str(), "\xff\xfe", e) != 0)
                     return int64_t{-1};
             }
             key.back() = '\x01', key[key.size() - 2] = '\x01';
             const int64_t r = NuLstrdic_Add2(&dic, key.c_str(), "", e);
             NuLstrdic_Destroy(&dic);
             return r;
         },
         -1, {VESK_FAC_NONE, VESK_E_ENTRYEXISTS, 0, 1,
              std::string(198, 'k') + "\x01\x01: such entry already exists."}},
    };
    vesk_test::run_cases(cases);
}

// The sequenced tree: nulls, a key that isn't there, a copy into itself, a
// head of zeros, a count larger than the ring, and a plain tree as deep as
// it has nodes, which the copy must rebuild balanced and the destruction
// take apart without a descent.
TEST(Hostile, SequencedTreeRefusesNullsAndSurvivesBadHeads) {
    const NuBtninfo *words = &_G_default_btninfo_opv;
    const NuBtninfo no_compare = {nullptr, nullptr, nullptr, nullptr, nullptr};
    static NuSRTBT tree;
    auto three = [&] {
        NuSRTBTInit(&tree);
        for (uintptr_t k : {3, 1, 2})
            NuSRTBTInsert_b(&tree, words, k, 0, nullptr);
        return &tree;
    };
    // The ring still reads 3 1 2 with the tail on 2, and the count is 3.
    auto intact = [] {
        const NuSRTBTLink *l = tree.seq_next;
        for (uintptr_t k : {3, 1, 2}) {
            if (NU_SRTBT_NODE_OF(l)->data != k)
                return false;
            l = l->seq_next;
        }
        return l == reinterpret_cast<NuSRTBTLink *>(&tree.seq_next) && tree.count == 3 &&
               (NU_SRTBT_NODE_OF(tree.seq_prev)->flags & NU_SRTBT_TAIL);
    };
    const std::vector<HostileCase> cases = {
        {"insert into a null tree", [&](VeskErr *e) { return address(NuSRTBTInsert(nullptr, words, 1, 0, e)); },
         0, tree_null("@tree")},
        {"balanced insert with a null table",
         [&](VeskErr *e) { return address(NuSRTBTInsert_b(three(), nullptr, 1, 0, e)) + intact(); }, 1,
         tree_null("@btninfo")},
        {"insert a null node",
         [&](VeskErr *e) { return address(NuSRTBTInsnode_b(three(), words, nullptr, 1, e)) + intact(); }, 1,
         tree_null("@node")},
        {"delete from a null tree", [&](VeskErr *e) { return NuSRTBTDelete_b(nullptr, words, 1, e); }, -1,
         tree_null("@tree")},
        {"remove without a comparison",
         [&](VeskErr *e) { return static_cast<int64_t>(NuSRTBTRemove(three(), &no_compare, 1, e)); },
         static_cast<int64_t>(NU_RTBT_NOELEMENT), tree_null("@btninfo")},
        {"remove a key that isn't there",
         [&](VeskErr *e) { return address(NuSRTBTRmnode_b(three(), words, 9, e)) + intact(); }, 1,
         {VESK_FAC_RTBT, VESK_E_NOMATCH, 0, 2, "@request: name does not match the name of any entry."}},
        {"copy into a null tree", [&](VeskErr *e) { return NuSRTBTInit_cp(nullptr, three(), words, e); },
         -1, tree_null("@tree")},
        {"copy a tree into itself",
         [&](VeskErr *e) { return NuSRTBTInit_cp(three(), &tree, words, e) + intact(); }, 0,
         {VESK_FAC_RTBT, VESK_E_INVAL, EINVAL, 2, "NuSRTBTInit_cp(@source): invalid argument."}},
        {"copy with a null table",
         [&](VeskErr *e) {
             static NuSRTBT copy;
             return NuSRTBTInit_cp(&copy, three(), nullptr, e) + int64_t{copy.root == nullptr};
         },
         0, tree_null("@btninfo")},
        {"heads without a record",
         [&](VeskErr *) {
             NuSRTBTDestroy(nullptr, words);
             NuSRTBTFree(nullptr, words);
             return int64_t{NuSRTBTInit(nullptr) == -1 && NuSRTBTInit_mv(nullptr, three()) == -1 &&
                            NuSRTBTInit_mv(&tree, nullptr) == -1 && NuSRTBTInit_mv(&tree, &tree) == 0 &&
                            intact()};
         },
         1, kNoReport},
        {"a head of zeros is an empty head",
         [&](VeskErr *e) {
             static NuSRTBT zeros;  // never initialised
             for (uintptr_t k : {2, 1})
                 NuSRTBTInsert(&zeros, words, k, 0, e);
             const bool ok = zeros.count == 2 && zeros.self == &zeros && zeros.first->data == 1 &&
                             NU_SRTBT_NODE_OF(zeros.seq_next)->data == 2;
             NuSRTBTDestroy(&zeros, words);
             return int64_t{ok};
         },
         1, kNoReport},
        {"a count larger than the ring",
         [&](VeskErr *) {
             three()->count = UINTPTR_MAX;
             NuSRTBTDestroy(&tree, words);  // frees three nodes, once each
             return int64_t{tree.count == 0 && tree.root == nullptr};
         },
         1, kNoReport},
        {"a plain tree 20000 deep is copied balanced and destroyed along its ring",
         [&](VeskErr *e) {
             NuSRTBTInit(&tree);
             constexpr uintptr_t kDeep = 20000;
             for (uintptr_t k = 1; k <= kDeep; ++k)
                 NuSRTBTInsert(&tree, words, k, 0, e);
             static NuSRTBT copy;
             const int64_t copied = NuSRTBTInit_cp(&copy, &tree, words, e);
             int depth = 0;  // of the last node, along the right spine of the copy
             for (const NuRTBTNode *n = copy.root; !(n->flags & NU_RTBT_RTHREAD); n = n->right)
                 ++depth;
             const bool ok = copied == 0 && copy.count == kDeep && depth < 20 &&
                             NU_SRTBT_NODE_OF(copy.seq_prev)->data == kDeep;
             NuSRTBTDestroy(&tree, words);
             NuSRTBTDestroy(&copy, words);
             return int64_t{ok};
         },
         1, kNoReport},
    };
    vesk_test::run_cases(cases);
}

}  // namespace
