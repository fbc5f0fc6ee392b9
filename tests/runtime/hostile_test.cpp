// SPDX-License-Identifier: MIT
// Hostile input to the object runtime: keys of count 0 and 7 and null
// keys at every entry that takes one, null closures, out records, lists,
// modules and records, and a module whose own identifier is unusable. Each
// case runs in a child process of its own (see support/hostile.hpp).
#include <cstdint>
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

Expected bad_key(const std::string &function) {
    return {VESK_FAC_RUNTIME, VESK_E_INVAL, 0, 3,
            "vesk-runtime:" + function + "(@oid): invalid argument."};
}

Expected null_arg(const std::string &function, const char *param) {
    return {VESK_FAC_RUNTIME, VESK_E_FAULT, EFAULT, 3,
            "vesk-runtime:" + function + "(" + param + ")" + kFault};
}

// "objects/Nucbmlsner": a stock class whose list binds the constructor set
// 3.1003 at depth 0, so a key under 3.1003 matches on the class itself.
void *stock_class() {
    const VeskOid key = VESK_OID2(VESK_CAT_CLASS, 14);
    return _VeskGetcobject(&key, nullptr);
}
VeskSelist *stock_list() { return &static_cast<VeskClass *>(stock_class())->selist; }

// A key that names the class's constructor set (or the class itself), with
// the count a caller got wrong. Before the check, 0 matched the first element
// and 7 was read as 6.
VeskOid with_count(uint16_t count, uint16_t c0, uint16_t c1) {
    return {count, 4, {c0, c1, 0, 0, 0, 0}};
}

struct KeyedEntry {
    const char *name;
    uint16_t c0, c1;  // the components of the key it is given
    int64_t failure;
    int64_t (*call)(const VeskOid *key, VeskErr *e);
};

VeskClosure scratch_closure;
VeskSeobj scratch_ref;
VeskForeachFn go_on{0, [](void *, VeskForeachFn *) -> int64_t { return 1; }};

// Each entry as `call(key, record)`; the components are those its key is given.
const KeyedEntry kKeyed[] = {
    {"VeskLookupop", 3, 1003, 0,
     [](auto k, auto e) { return address(VeskLookupop(stock_class(), k, &scratch_closure, e)); }},
    {"_VeskLookupop", 3, 1003, 0,
     [](auto k, auto e) { return address(_VeskLookupop(stock_class(), k, &scratch_closure, e)); }},
    {"VeskLookupSE", 3, 1003, 0,
     [](auto k, auto e) { return address(VeskLookupSE(stock_class(), k, nullptr, e)); }},
    {"_VeskLookupSE", 3, 1003, 0,
     [](auto k, auto e) { return address(_VeskLookupSE(stock_class(), k, nullptr, e)); }},
    {"VeskLookupPOD", 3, 1003, 0,
     [](auto k, auto e) { return address(VeskLookupPOD(stock_class(), k, e)); }},
    {"_VeskLookupPOD", 3, 1003, 0,
     [](auto k, auto e) { return address(_VeskLookupPOD(stock_class(), k, e)); }},
    {"VeskSeobject", 3, 1003, 0,
     [](auto k, auto e) { return address(VeskSeobject(stock_class(), k, &scratch_ref, e)); }},
    {"_VeskClosure", 3, 1003, 0,
     [](auto k, auto e) { return address(_VeskClosure(stock_class(), k, &scratch_closure, e)); }},
    {"_VeskSelistLookup_nlk", 3, 1003, 0,
     [](auto k, auto e) { return address(_VeskSelistLookup_nlk(stock_list(), k, e)); }},
    {"_VeskSelistLookup", 3, 1003, 0,
     [](auto k, auto e) { return address(_VeskSelistLookup(stock_list(), k, e)); }},
    {"VeskGetcobject", 4, 14, 0, [](auto k, auto e) { return address(VeskGetcobject(k, e)); }},
    {"VeskGetcobject_nlk", 4, 14, 0, [](auto k, auto e) { return address(VeskGetcobject_nlk(k, e)); }},
    {"_VeskGetcobject", 4, 14, 0, [](auto k, auto e) { return address(_VeskGetcobject(k, e)); }},
    {"_VeskGetcobject_nlk", 4, 14, 0,
     [](auto k, auto e) { return address(_VeskGetcobject_nlk(k, e)); }},
    {"VeskGetops", 3, 1003, 0, [](auto k, auto e) { return address(VeskGetops(k, e)); }},
    {"_VeskGetops", 3, 1003, 0, [](auto k, auto e) { return address(_VeskGetops(k, e)); }},
    {"VeskForeach", 4, 14, -1, [](auto k, auto e) { return VeskForeach(k, &go_on, e); }},
    {"VeskForeach_nlk", 4, 14, -1, [](auto k, auto e) { return VeskForeach_nlk(k, &go_on, e); }},
};

// A module whose own identifier no key could name whole.
VeskModule *module_with_count(uint16_t count) {
    static VeskModule mod =
        VESK_MODULE_INIT("modules/hostile", "hostile", "hostile", VESK_OID2(VESK_CAT_MODULE, 977),
                         nullptr, "modules/hostile", VESK_VERSION(1, 0, 0), "today");
    mod.rec.oid.count = count;
    return &mod;
}

int64_t register_module_with_count(uint16_t count, VeskErr *e) {
    VeskModule *mod = module_with_count(count);
    if (_VeskModDescribe(mod, nullptr) < 0)
        return 99;
    const int64_t r = _VeskModRegister(mod, e);
    const VeskOid key = VESK_OID2(VESK_CAT_MODULE, 977);
    return r == -1 && _VeskGetcobject(&key, nullptr) == nullptr ? -1 : 98;
}

TEST(Hostile, RuntimeChecksKeysAndPointersWhereTheyEnter) {
    std::vector<HostileCase> cases;
    for (const KeyedEntry &entry : kKeyed) {
        auto call = entry.call;
        cases.push_back({std::string(entry.name) + " with a null key",
                         [call](VeskErr *e) { return call(nullptr, e); }, entry.failure,
                         bad_key(entry.name)});
        for (uint16_t count : {0, 7}) {
            const VeskOid key = with_count(count, entry.c0, entry.c1);
            cases.push_back({std::string(entry.name) + " with count " + std::to_string(count),
                             [call, key](VeskErr *e) { return call(&key, e); }, entry.failure,
                             bad_key(entry.name)});
        }
    }

    static const VeskOid good = {2, 4, {VESK_CAT_OPS, 1003, 0, 0, 0, 0}};
    static VeskSeblock block{};
    const std::vector<HostileCase> pointers = {
        {"VeskLookupop without a closure",
         [](VeskErr *e) { return address(VeskLookupop(stock_class(), &good, nullptr, e)); }, 0,
         null_arg("VeskLookupop", "@closure")},
        {"_VeskLookupop without a closure",
         [](VeskErr *e) { return address(_VeskLookupop(stock_class(), &good, nullptr, e)); }, 0,
         null_arg("_VeskLookupop", "@closure")},
        {"VeskVlookupop without a closure",
         [](VeskErr *e) { return address(VeskVlookupop(stock_class(), nullptr, e, 4, 1003, -1)); },
         0, null_arg("VeskVlookupop", "@closure")},
        {"_VeskVlookupop without a closure",
         [](VeskErr *e) { return address(_VeskVlookupop(stock_class(), nullptr, e, 4, 1003, -1)); },
         0, null_arg("_VeskVlookupop", "@closure")},
        {"VeskSeobject without an out record",
         [](VeskErr *e) { return address(VeskSeobject(stock_class(), &good, nullptr, e)); }, 0,
         null_arg("VeskSeobject", "@out")},
        {"_VeskClosure without a closure",
         [](VeskErr *e) { return address(_VeskClosure(stock_class(), &good, nullptr, e)); }, 0,
         null_arg("_VeskClosure", "@closure")},
        {"_VeskSelistLookup_nlk of a null list",
         [](VeskErr *e) { return address(_VeskSelistLookup_nlk(nullptr, &good, e)); }, 0,
         null_arg("_VeskSelistLookup_nlk", "@list")},
        {"_VeskSelistLookup_ptr_nlk of a null list",
         [](VeskErr *e) { return address(_VeskSelistLookup_ptr_nlk(nullptr, nullptr, e)); }, 0,
         null_arg("_VeskSelistLookup_ptr_nlk", "@list")},
        {"_VeskSelistLookup_ptr of a null list",
         [](VeskErr *e) { return address(_VeskSelistLookup_ptr(nullptr, nullptr, e)); }, 0,
         null_arg("_VeskSelistLookup_ptr", "@list")},
        {"_VeskSelistPushback onto a null list",
         [](VeskErr *e) { return _VeskSelistPushback(nullptr, &block, e); }, -1,
         null_arg("_VeskSelistPushback", "@list")},
        {"_VeskSelistPushfront onto a null list",
         [](VeskErr *e) { return _VeskSelistPushfront(nullptr, &block, e); }, -1,
         null_arg("_VeskSelistPushfront", "@list")},
        {"_VeskSelistRdlock of a null list", [](VeskErr *e) { return _VeskSelistRdlock(nullptr, e); },
         -1, null_arg("_VeskSelistRdlock", "@list")},
        {"_VeskSelistWrlock of a null list", [](VeskErr *e) { return _VeskSelistWrlock(nullptr, e); },
         -1, null_arg("_VeskSelistWrlock", "@list")},
        {"_VeskSelistUnlock of a null list", [](VeskErr *e) { return _VeskSelistUnlock(nullptr, e); },
         -1, null_arg("_VeskSelistUnlock", "@list")},
        {"_VeskObjRdlock of a null record", [](VeskErr *e) { return _VeskObjRdlock(nullptr, e); }, -1,
         null_arg("_VeskObjRdlock", "@self")},
        {"_VeskObjWrlock of a null record", [](VeskErr *e) { return _VeskObjWrlock(nullptr, e); }, -1,
         null_arg("_VeskObjWrlock", "@self")},
        {"_VeskObjUnlock of a null record", [](VeskErr *e) { return _VeskObjUnlock(nullptr, e); }, -1,
         null_arg("_VeskObjUnlock", "@self")},
        {"VeskAlloc of a null class",
         [](VeskErr *e) { return address(VeskAlloc(nullptr, 0, nullptr, 0, e)); }, 0,
         {VESK_FAC_CTOR, VESK_E_FAULT, EFAULT, 3,
          std::string("constructor:allocate-object-memory(@self)") + kFault}},
        {"a module of count 0 is not registered",
         [](VeskErr *e) { return register_module_with_count(0, e); }, -1, bad_key("_VeskModRegister")},
        {"a module of count 7 is not registered",
         [](VeskErr *e) { return register_module_with_count(7, e); }, -1, bad_key("_VeskModRegister")},
        {"a failing row called with no closure still fails",
         [](VeskErr *e) { return _VeskOpInappropriate(nullptr, e); }, -4,
         {VESK_FAC_RUNTIME, VESK_E_INAPPROPRIATE, 0, 5, "-1{(null)}: inappropriate operation."}},
        {"every failing row takes a closure bound to no set",
         [](VeskErr *) {
             VeskClosure unbound{};
             return int64_t{VeskOpStubNotconfigured(&unbound, nullptr) == -3 &&
                            _VeskOpNotconfigured(nullptr, nullptr) == -1 &&
                            _VeskOpNotimplemented(&unbound, nullptr) == -3 &&
                            _VeskOpNotavailable(nullptr, nullptr) == -4 &&
                            _VeskOpNotsupported(&unbound, nullptr) == -4 &&
                            _VeskOpNotallowed(nullptr, nullptr) == -1};
         },
         1, kNoReport},
        {"calls without a record answer null with their failure",
         [](VeskErr *) {
             const VeskOid a = VESK_OID2(4, 1);
             return int64_t{_VeskSelistInit(nullptr) == -1 && _VeskSelistFini(nullptr) == -1 &&
                            _VeskSelistSize(nullptr) == 0 && _VeskSelistTryrdlock(nullptr) == 0 &&
                            _VeskSelistTrywrlock(nullptr) == 0 && _VeskObjTryrdlock(nullptr) == 0 &&
                            _VeskObjTrywrlock(nullptr) == 0 && VeskStartAdd(nullptr) == -1 &&
                            VeskOidcmp(nullptr, &a) < 0 && VeskOidcmp(&a, nullptr) > 0 &&
                            VeskOidlcmp(nullptr, nullptr) == 0 && VeskOidlcmp(nullptr, &a) < 0};
         },
         1, kNoReport},
        {"orstub forms answer a bad key or no closure with the stub",
         [](VeskErr *) {
             const VeskOid unknown = VESK_OID2(VESK_CAT_OPS, 9999);
             const VeskOps *stub = _VeskGetopsorstub(&unknown);
             const VeskOid zero = with_count(0, VESK_CAT_OPS, 1003);
             const VeskOid seven = with_count(7, VESK_CAT_CLASS, 14);
             VeskClosure cl{};
             const bool row = VeskLookupoporstub(stock_class(), &zero, &cl) != nullptr &&
                              cl.ops == stub;
             const bool no_closure =
                 _VeskLookupoporstub(stock_class(), &good, nullptr) != nullptr;
             const bool cls = _VeskGetclsorstub(&seven) == _VeskGetclsorstub(&unknown);
             return int64_t{row && no_closure && cls && _VeskGetopsorstub(nullptr) == stub};
         },
         1, kNoReport},
    };
    cases.insert(cases.end(), pointers.begin(), pointers.end());
    using Step = int64_t (*)(VeskModule *, VeskErr *);
    const std::pair<const char *, Step> steps[] = {
        {"_VeskModDescribe", _VeskModDescribe}, {"_VeskModRegister", _VeskModRegister},
        {"_VeskModPlug", _VeskModPlug},         {"_VeskModUnplug", _VeskModUnplug},
        {"_VeskModUnregister", _VeskModUnregister}, {"_VeskModFinish", _VeskModFinish},
        {"_VeskModUnload", _VeskModUnload}};
    for (const auto &[name, step] : steps)
        cases.push_back({std::string(name) + " of a null module",
                         [step](VeskErr *e) { return step(nullptr, e); }, -1,
                         null_arg(name, "@module")});
    vesk_test::run_cases(cases);
}

}  // namespace
