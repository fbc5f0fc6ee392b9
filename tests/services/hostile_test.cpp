// SPDX-License-Identifier: MIT
// Hostile input to the stock services and the life-cycle front ends over
// them: null descriptors, pools of sizes no memory holds, null objects, error
// tables added twice or carrying a null format. Each case runs in a child
// process of its own (see support/hostile.hpp).
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "support/hostile.hpp"
#include "vesk.h"

namespace {

using vesk_test::address;
using vesk_test::Expected;
using vesk_test::HostileCase;
using vesk_test::kNoReport;

using vesk_test::kFault;

// "objects/Nucbmlsner", a creatable stock class.
const VeskOid kClassKey = VESK_OID2(VESK_CAT_CLASS, 14);
void *stock_class() { return _VeskGetcobject(&kClassKey, nullptr); }

// A table of one code of the test's own: variant 0 formats, variant 1 has no
// format at all.
constexpr int32_t kOwnCode = 0x7A01;
VeskErrEntry own_table[] = {
    {kOwnCode, EINVAL, "hostile: %s", 2, {}},
    {kOwnCode, EINVAL, nullptr, 0, {}},
    {VESK_ERR_TABLE_END, 0, nullptr, 0, {}},
};
constexpr uint32_t kOwnRows = 3;

std::string sentence(VeskErr *e, uint32_t variant) {
    e->msg[0] = 'x';
    VeskMkerr(nullptr, e, 0, 0, 0, VESK_FAC_NONE, kOwnCode, 0, variant, "said");
    return e->msg;
}

// Added twice, the table's rows are linked once: the second add used to tie
// their nodes into a loop that every later search ran around for ever.
int64_t table_added_twice(VeskErr *e) {
    _VeskAddetab(nullptr, kOwnRows, own_table);
    _VeskAddetab(nullptr, kOwnRows, own_table);
    const bool formats = sentence(e, 0) == "hostile: said";
    _VeskRmetab(nullptr, kOwnRows, own_table);
    const bool gone = sentence(e, 0).empty();
    _VeskAddetab(nullptr, kOwnRows, own_table);  // after a removal it goes in again
    const bool back = sentence(e, 0) == "hostile: said";
    const bool null_format = sentence(e, 1).empty();  // the record keeps this last report
    return formats && gone && back && null_format;
}

int64_t pool_of_granularity(uintptr_t granularity, VeskErr *e) {
    const int32_t holds = VeskInstcount(stock_class());
    NuZmalloc *pool = VeskPoolOpen(&kClassKey, granularity, e);
    return pool == nullptr && VeskInstcount(stock_class()) == holds ? 0 : 1;
}

TEST(Hostile, ServicesReportNullArgumentsAndRefuseImpossiblePools) {
    const std::vector<HostileCase> cases = {
        {"descriptor into a null record",
         [](VeskErr *e) { return VeskGetdescriptor(stock_class(), nullptr, e); }, -1,
         {VESK_FAC_DESTOR, VESK_E_FAULT, EFAULT, 3,
          std::string("descriptor:get-descriptor(@descriptor)") + kFault}},
        {"localised descriptor into a null record",
         [](VeskErr *e) { return VeskGetdescriptor_l(stock_class(), nullptr, "C", e); }, -1,
         {VESK_FAC_DESTOR, VESK_E_FAULT, EFAULT, 3,
          std::string("descriptor:get-localized-descriptor(@descriptor)") + kFault}},
        {"pool of a key with count 7",
         [](VeskErr *e) {
             const VeskOid seven = {7, 0, {VESK_CAT_CLASS, 14, 0, 0, 0, 0}};
             return address(VeskPoolOpen(&seven, 0, e));
         },
         0,
         {VESK_FAC_RUNTIME, VESK_E_INVAL, 0, 3, "vesk-runtime:VeskGetcobject(@oid): invalid argument."}},
        {"pool whose chunk no memory holds gives its hold back",
         [](VeskErr *e) { return pool_of_granularity(UINTPTR_MAX / 2, e); }, 0,
         {VESK_FAC_ZONE, VESK_E_NOMEM, ENOMEM, 1,
          "@allocator.mm_calloc: operation failure: can not perform local memory allocation."}},
        {"instance from a null pool",
         [](VeskErr *e) { return address(VeskAlloc(stock_class(), VESK_ALLOC_POOL, nullptr, 0, e)); },
         0,
         {VESK_FAC_CTOR, VESK_E_FAULT, EFAULT, 3,
          std::string("constructor:ctor::allocate-object-memory(@memory(pool))") + kFault}},
        {"retain of a null object ends at the stub", [](VeskErr *e) { return int64_t{VeskRetain(nullptr, e)}; },
         -4, {VESK_FAC_STUB, VESK_E_INAPPROPRIATE, 0, 5, "5{stub}: inappropriate operation."}},
        {"an error table added twice, and a variant without a format",
         [](VeskErr *e) { return table_added_twice(e); }, 1, {VESK_FAC_NONE, kOwnCode, 0, 1, ""}},
        {"calls with nothing to report into",
         [](VeskErr *) {
             VeskErr no_buffer{};
             return int64_t{VeskMkerr(nullptr, nullptr, 0, 0, 0, 0, VESK_E_INVAL, 0, 1, "x") == 0 &&
                            VeskMkerr_u(&no_buffer, 0, 0, 0, 0, VESK_E_INVAL, 0, nullptr) == 0 &&
                            _VeskPoolOpen(nullptr, 0, nullptr) == nullptr &&
                            _VeskAddetab(nullptr, 5, nullptr) == 0};
         },
         1, kNoReport},
    };
    vesk_test::run_cases(cases);
}

}  // namespace
