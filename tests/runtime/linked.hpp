// SPDX-License-Identifier: MIT
// Helpers shared by the runtime tests: the fixture module linked for the
// length of a test, modules entered in the registries, operation keys, and
// records prefilled so that every write and every missing write shows.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <initializer_list>
#include <string>
#include <vector>

#include "fixture_module.h"
#include "support/status.hpp"
#include "vesk.h"

namespace vesk_test {

// A search key: opnum, then the components.
inline VeskOid key(uint16_t opnum, std::initializer_list<uint16_t> comps) {
    VeskOid k{static_cast<uint16_t>(comps.size()), opnum, {}};
    unsigned i = 0;
    for (uint16_t c : comps)
        k.comp[i++] = c;
    return k;
}

// Bytes that no report and no lookup would write.
constexpr unsigned char kPattern = 0xA5;

template <class T>
void fill_pattern(T &t) {
    std::memset(static_cast<void *>(&t), kPattern, sizeof t);
}

template <class T>
bool untouched(const T &t) {
    const auto *p = reinterpret_cast<const unsigned char *>(&t);
    for (size_t i = 0; i < sizeof t; ++i)
        if (p[i] != kPattern)
            return false;
    return true;
}

// A status record whose fields all start out as garbage, with the message
// buffer given or none, so that no service is asked.
inline VeskErr garbage_status(char *buf = nullptr, uint32_t size = 0) {
    VeskErr st;
    fill_pattern(st);
    st.msg = buf;
    st.msgsize = size;
    return st;
}

// The exact report of the runtime: facility 1000, the code, syserr, variant,
// and the info words cleared.
inline void expect_rt_report(const VeskErr &st, int32_t code, int32_t syserr, uint32_t variant) {
    expect_report(st, VESK_FAC_RUNTIME, code, syserr, variant);
    EXPECT_TRUE(st.info0 == 0 && st.info1 == 0 && st.info2 == 0);
}

inline void expect_closure(const VeskClosure &cl, const void *self, const void *holder,
                           const void *pod, const VeskOps *ops, int32_t opnum) {
    EXPECT_EQ(cl.self, self);
    EXPECT_EQ(cl.holder, holder);
    EXPECT_EQ(cl.pod, pod);
    EXPECT_EQ(cl.ops, ops);
    EXPECT_EQ(cl.opnum, opnum);
}

// The fixture module, linked for the length of each test.
class Linked : public ::testing::Test {
protected:
    void SetUp() override {
        link_module(fx_module);
        fx_widget_init(&w);
    }
    void TearDown() override { EXPECT_EQ(_VeskModUnload(fx_module, nullptr), 0); }

    // A kind-3 reference to `w` bound to its instance service.
    VeskSeobj bound_to_counter() {
        VeskSeobj ref{};
        const VeskOid k = key(0, {3, 905});
        EXPECT_NE(VeskSeobject(&w, &k, &ref, nullptr), nullptr);
        return ref;
    }

    FxWidget w{};
};

// A module as a loader finds it, with sets and classes named by their
// identifiers. Linking's first two steps bring it in and its end takes it
// out; the tests do this on one thread, where a loader would hold the
// registries' write locks.
struct TestModule {
    using Set = VESK_OPS_T(4);
    std::deque<std::string> keys;
    VeskModule mod{};
    std::deque<Set> sets;
    std::deque<VeskClass> classes;
    std::vector<VeskOps *> opsv;
    std::vector<VeskClass *> clsv;
    bool registered = false;

    TestModule(const VeskOid &id, const std::vector<VeskOid> &set_ids,
               const std::vector<VeskOid> &class_ids) {
        name(mod.rec, id);
        for (const VeskOid &oid : set_ids)
            opsv.push_back(VESK_OPS(&name(sets.emplace_back().rec, oid)));
        for (const VeskOid &oid : class_ids)
            clsv.push_back(reinterpret_cast<VeskClass *>(&name(classes.emplace_back().rec, oid)));
    }
    // A step that failed has undone itself; removal goes by identifier, so a
    // module that never got in must not ask for it.
    ~TestModule() {
        if (registered)
            _VeskModUnregister(&mod, nullptr);
        _VeskModFinish(&mod, nullptr);
    }
    int64_t enter(VeskErr *status) {
        mod.opsc = static_cast<uint32_t>(opsv.size());
        mod.opsv = opsv.data();
        mod.clsc = static_cast<uint32_t>(clsv.size());
        mod.clsv = clsv.data();
        if (_VeskModDescribe(&mod, status) < 0)
            return -1;
        const int64_t r = _VeskModRegister(&mod, status);
        registered = r >= 0;
        return r;
    }
    VeskRecord &name(VeskRecord &rec, const VeskOid &oid) {
        std::string &k = keys.emplace_back();
        for (unsigned i = 0; i < oid.count; ++i)
            k += (i ? "." : "") + std::to_string(oid.comp[i]);
        rec.longkey = rec.shortkey = rec.name = k.c_str();
        rec.oid = oid;
        return rec;
    }
};

}  // namespace vesk_test
