// A status record with a message buffer, as a caller who wants the sentence
// sets one up; and the linking of a test's own module, as a loader does it.
#pragma once

#include <gtest/gtest.h>

#include "vesk.h"

namespace vesk_test {

struct Status {
    char buf[256] = {};
    VeskErr err{};
    Status() {
        err.msg = buf;
        err.msgsize = sizeof buf;
    }
};

// The three linking steps on a module of the test's own. The module gets a
// file handle of sorts, so that it can be unloaded again like a plug-in.
inline void link_module(VeskModule *module) {
    static int file_stand_in;
    module->handle = &file_stand_in;
    ASSERT_GE(_VeskModDescribe(module, nullptr), 0);
    ASSERT_EQ(_VeskModRegister(module, nullptr), 1);
    ASSERT_EQ(_VeskModPlug(module, nullptr), 1) << "everything it imports is there";
}

}  // namespace vesk_test
