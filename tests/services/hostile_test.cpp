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

// ---- Charsets ------------------------------------------------------------------

VeskCcscvtor open_cvtor(int32_t from, int32_t to) {
    VeskCcscvtor cv{};
    VeskOpenCcscvtor_i(nullptr, from, to, &cv, nullptr);
    return cv;
}

// Rows without a record, an alias beyond its record's list and a count far
// beyond the end row: passed over, nothing read past the end.
int64_t bad_identification_rows() {
    static VESK_CCSINFO_T(1) info = {7001, "x-hostile", "X", 0, 1, 0, 1, {"x-hostile-1"}};
    static VeskCcsiRow rows[] = {
        {7001, VESK_CCSI_PRIMARY, nullptr, {}, {}},
        {7001, VESK_CCSI_PRIMARY, reinterpret_cast<VeskCcsInfo *>(&info), {}, {}},
        {7001, VESK_CCSI_ALIAS, reinterpret_cast<VeskCcsInfo *>(&info), {}, {}},
        {7001, VESK_CCSI_ALIAS, reinterpret_cast<VeskCcsInfo *>(&info), {}, {}},
        {7001, VESK_CCSI_ALIAS, nullptr, {}, {}},
        {VESK_CCSI_END, 0, nullptr, {}, {}},
    };
    _VeskCcsiAddtab(nullptr, UINT32_MAX, rows, nullptr);
    const bool found = VeskCcsiGetidbyname(nullptr, "X-HOSTILE-1", nullptr) == 7001;
    _VeskCcsiRmtab(nullptr, UINT32_MAX, rows, nullptr);
    return found && VeskCcsiGetidbyname(nullptr, "x-hostile-1", nullptr) == 2;
}

// The room of a one-character form overlapping its own source: the bytes are
// read before anything is written.
int64_t overlapping_room() {
    VeskCcscvtor cv = open_cvtor(2251, 106);
    char buf[8] = "\xc6\xc6";
    const char *src = buf;
    char *dst = buf;
    uint32_t left = 2, room = 8;
    const int32_t r = VeskCcsconv(&cv, &src, &left, &dst, &room, nullptr);
    VeskCcscvtorClose(&cv, nullptr);
    return r == 2 && std::memcmp(buf, "\xd0\x96", 2) == 0;
}

TEST(Hostile, CharsetsReportNullAndBadRecordsAndIllegalText) {
    static VeskCcscvtor closed_record = [] {
        VeskCcscvtor cv = open_cvtor(106, 2084);
        VeskCcscvtorClose(&cv, nullptr);
        return cv;
    }();
    const std::string no_such = ": name does not match the name of any entry.";
    const std::vector<HostileCase> cases = {
        {"name lookup of a null name", [](VeskErr *e) { return int64_t{VeskCcsiGetidbyname(nullptr, nullptr, e)}; },
         -1, {VESK_FAC_CCSI, VESK_E_EMPTYSTR, 0, 1, "@name: the string is empty or NUL pointer."}},
        {"a name of 100,000 letters",
         [](VeskErr *) {
             const std::string long_name(100000, 'k');
             return int64_t{VeskCcsiGetidbyname(nullptr, long_name.c_str(), nullptr)};
         },
         2, kNoReport},
        {"identification rows without records, count far past the end",
         [](VeskErr *) { return bad_identification_rows(); }, 1, kNoReport},
        {"open into a null record", [](VeskErr *e) { return VeskOpenCcscvtor_i(nullptr, 106, 2084, nullptr, e); }, -1,
         {VESK_FAC_CCSCONV, VESK_E_FAULT, 0, 1, std::string("@cvtor") + kFault}},
        {"open of negative and huge numbers",
         [](VeskErr *e) {
             VeskCcscvtor cv;
             return VeskOpenCcscvtor_i(nullptr, -106, 106 + 65536, &cv, e);
         },
         -1,
         {VESK_FAC_CCSCONV, VESK_E_NOTREADY, 0, 3,
          "ccsconv:ccsconv::open-convertor:@source-charset: resource not ready to use or no such resource."}},
        {"run of a null record", [](VeskErr *e) { return int64_t{VeskCcsconv_s(nullptr, "abc", nullptr, e)}; }, -1,
         {VESK_FAC_CCSCONV, VESK_E_FAULT, 0, 1, std::string("@cvtor") + kFault}},
        {"run of a record never opened",
         [](VeskErr *e) {
             VeskCcscvtor cv{};
             return int64_t{VeskCcsconv_b(&cv, "abc", 3, nullptr, 0, e)};
         },
         -1, {VESK_FAC_CCSCONV, VESK_E_INVAL, 0, 1, "@convertor: invalid argument."}},
        {"close of a record never opened",
         [](VeskErr *e) {
             VeskCcscvtor cv{};
             return VeskCcscvtorClose(&cv, e);
         },
         -1, {VESK_FAC_CCSCONV, VESK_E_INVAL, 0, 1, "@convertor: invalid argument."}},
        {"run of a closed record",
         [](VeskErr *e) { return int64_t{VeskCcsconv_b(&closed_record, "abc", 3, nullptr, 0, e)}; }, -1,
         {VESK_FAC_CCSCONV, VESK_E_INVAL, 0, 1, "@convertor: invalid argument."}},
        {"null source of a counted buffer",
         [](VeskErr *e) {
             VeskCcscvtor cv = open_cvtor(106, 2084);
             return int64_t{VeskCcsconv_b(&cv, nullptr, 5, nullptr, 0, e)};
         },
         -1, {VESK_FAC_CCSCONV, VESK_E_FAULT, 0, 1, std::string("@src") + kFault}},
        {"null source of zero bytes converts nothing",
         [](VeskErr *) {
             VeskCcscvtor cv = open_cvtor(106, 2084);
             return int64_t{VeskCcsconv_b(&cv, nullptr, 0, nullptr, 0, nullptr)};
         },
         0, kNoReport},
        {"null positions of the one-character form",
         [](VeskErr *e) {
             VeskCcscvtor cv = open_cvtor(106, 2084);
             return int64_t{VeskCcsconv(&cv, nullptr, nullptr, nullptr, nullptr, e)};
         },
         -1, {VESK_FAC_CCSCONV, VESK_E_FAULT, 0, 1, std::string("@src") + kFault}},
        {"one character from an empty source reads nothing",
         [](VeskErr *e) {
             VeskCcscvtor cv = open_cvtor(2251, 106);
             const char *src = nullptr;
             uint32_t left = 0;
             return int64_t{VeskCcsconv(&cv, &src, &left, nullptr, nullptr, e)};
         },
         -1, {VESK_FAC_CCSCVT, VESK_E_INCOMPLETESEQ, 0, 0, "Incomplete multibyte sequence."}},
        {"truncated UTF-8 at the end of a string",
         [](VeskErr *e) {
             VeskCcscvtor cv = open_cvtor(106, 1000);
             char16_t out[8];
             return int64_t{VeskCcsconv_s_2wc(&cv, "ab\xe2\x82", out, e)};
         },
         -1, {VESK_FAC_CCSCVT, VESK_E_ILSEQ, 0, 0, "Illegal multibyte sequence."}},
        {"truncated UTF-8 at the end of a counted buffer",
         [](VeskErr *e) {
             VeskCcscvtor cv = open_cvtor(106, 2084);
             const char text[3] = {'a', '\xe2', '\x82'};
             return int64_t{VeskCcsconv_b(&cv, text, 3, nullptr, 0, e)};
         },
         -1, {VESK_FAC_CCSCVT, VESK_E_INCOMPLETESEQ, 0, 0, "Incomplete multibyte sequence."}},
        {"a megabyte of continuation bytes",
         [](VeskErr *e) {
             VeskCcscvtor cv = open_cvtor(106, 2084);
             const std::string junk(1 << 20, '\x80');
             return int64_t{VeskCcsconv_b(&cv, junk.data(), static_cast<uint32_t>(junk.size()), nullptr, 0, e)};
         },
         -1, {VESK_FAC_CCSCVT, VESK_E_ILSEQ, 0, 0, "Illegal multibyte sequence."}},
        {"a huge destination size over a small buffer stops at the source's end",
         [](VeskErr *) {
             VeskCcscvtor cv = open_cvtor(2084, 106);
             char out[8];
             return int64_t{VeskCcsconv_b(&cv, "\xc1\xc2", 2, out, UINT32_MAX, nullptr)};
         },
         4, kNoReport},
        {"the room overlapping the source", [](VeskErr *) { return overlapping_room(); }, 1, kNoReport},
        {"stat of the number no table can hold",
         [](VeskErr *e) { return address(VeskCcsiStat(nullptr, INT32_MIN, e)); }, 0,
         {VESK_FAC_CCSI, VESK_E_NOMATCH, 2, 1, std::to_string(INT32_MIN) + no_such}},
    };
    vesk_test::run_cases(cases);
}

Expected msglog_null(const char *verb, const char *param) {
    return {VESK_FAC_LOGMSG, VESK_E_FAULT, EFAULT, 3, std::string("msglog:") + verb + "(" + param + ")" + kFault};
}

// Log messages: null messages, keys and destinations, indexes at the ends
// of their range.
TEST(Hostile, LogMessagesRefuseNullsAndIndexesOutsideTheList) {
    static VeskLogmsg held;  // zeros: a valid empty dictionary, an unset message
    const Expected outside = {VESK_FAC_LOGMSG, VESK_E_INVAL, 0, 3, "msglog:get(@index): invalid argument."};
    const std::vector<HostileCase> cases = {
        {"add to null", [](VeskErr *e) { return VeskLogmsgAdd(nullptr, "k", "v", e); }, -1, msglog_null("add", "@message")},
        {"add a null key", [](VeskErr *e) { return VeskLogmsgAdd(&held, nullptr, "v", e); }, -1, msglog_null("add", "@key")},
        {"replace a null key", [](VeskErr *e) { return VeskLogmsgReplace(&held, nullptr, "v", e); }, -1,
         msglog_null("replace", "@key")},
        {"remove from null", [](VeskErr *e) { return VeskLogmsgRemove(nullptr, "k", e); }, -1,
         msglog_null("remove", "@message")},
        {"value of a null key", [](VeskErr *e) { return address(VeskLogmsgValue(&held, nullptr, e)); }, 0,
         msglog_null("value", "@key")},
        {"dup of null", [](VeskErr *e) { return address(VeskLogmsgDup(nullptr, e)); }, 0, msglog_null("dup", "@message")},
        {"copy to null", [](VeskErr *e) { return VeskLogmsgCopy(&held, nullptr, e); }, -1,
         msglog_null("copy", "@destination")},
        {"get from null", [](VeskErr *e) { return VeskLogmsgGet(nullptr, 0, nullptr, nullptr, e); }, -1,
         msglog_null("get", "@message")},
        {"get INT32_MAX", [](VeskErr *e) { return VeskLogmsgGet(&held, INT32_MAX, nullptr, nullptr, e); }, -1, outside},
        {"get INT32_MIN", [](VeskErr *e) { return VeskLogmsgGet(&held, INT32_MIN, nullptr, nullptr, e); }, -1, outside},
        {"count, clear, retain and release of null",
         [](VeskErr *e) {
             return VeskLogmsgCount(nullptr) + VeskLogmsgClear(nullptr) + VeskLogmsgRetain(nullptr) +
                    VeskLogmsgRelease(nullptr, 0, e);
         },
         -4, kNoReport},
        {"release of a count at its lowest",
         [](VeskErr *e) {
             held.retain = INT32_MIN;
             return int64_t{VeskLogmsgRelease(&held, 0, e)} * 10 + (held.retain == INT32_MIN);
         },
         -9, kNoReport},
        {"an empty key and a megabyte key are ordinary attributes",
         [](VeskErr *e) {
             VeskLogmsg *m = VeskLogmsgOpen(e);
             const std::string big(1 << 20, 'M');
             const int64_t r = VeskLogmsgAdd(m, "", nullptr, e) + VeskLogmsgAdd(m, big.c_str(), big.c_str(), e) +
                               VeskLogmsgCount(m);
             VeskLogmsgClose(m, e);
             return r;
         },
         12, kNoReport},
    };
    vesk_test::run_cases(cases);
}

}  // namespace
