// Helpers shared by the runtime tests: the fixture module linked for the
// length of a test, operation keys, and records prefilled so that every write
// and every missing write shows.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>

#include "fixture_module.h"
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

constexpr int64_t runtime_status(int32_t code) {
    return static_cast<int32_t>((uint32_t{VESK_FAC_RUNTIME} << 16) | static_cast<uint32_t>(code));
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

// A status record whose fields all start out as garbage, without a message
// buffer so that no service is asked.
inline VeskErr garbage_status() {
    VeskErr st;
    fill_pattern(st);
    st.msg = nullptr;
    st.msgsize = 0;
    return st;
}

// The exact report of the runtime: facility 1000, the code, syserr, variant.
inline void expect_report(const VeskErr &st, int32_t code, int32_t syserr, uint32_t variant) {
    EXPECT_EQ(st.status, runtime_status(code));
    EXPECT_EQ(st.syserr, syserr);
    EXPECT_EQ(st.variant, variant);
    EXPECT_EQ(st.info0, 0u);
    EXPECT_EQ(st.info1, 0u);
    EXPECT_EQ(st.info2, 0u);
}

inline void expect_closure(const VeskClosure &cl, const void *self, const void *holder,
                           const void *pod, const VeskOps *ops, int32_t opnum) {
    EXPECT_EQ(cl.self, self);
    EXPECT_EQ(cl.holder, holder);
    EXPECT_EQ(cl.pod, pod);
    EXPECT_EQ(cl.ops, ops);
    EXPECT_EQ(cl.opnum, opnum);
}

// Calls a fixture row the way a front end does: with the closure it found.
inline int64_t call_row(const VeskOprow *row, VeskClosure *cl, VeskErr *st, int32_t delta) {
    return reinterpret_cast<FxOpfn>(row->fn)(cl, st, delta);
}

// The fixture module, linked for the length of each test.
class Linked : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(fx_link(), 0);
        fx_seen = {};
        fx_widget_pod->value = 0;
        fx_module_pod->value = 0;
        fx_widget_init(&w, 0x1);
    }
    void TearDown() override { fx_unlink(); }

    // A kind-3 reference to `w` bound to its instance service.
    VeskSeobj bound_to_counter() {
        VeskSeobj ref{};
        const VeskOid k = key(0, {3, 1006});
        EXPECT_NE(VeskSeobject(&w, &k, &ref, nullptr), nullptr);
        return ref;
    }

    FxWidget w{};
};

}  // namespace vesk_test
