// SPDX-License-Identifier: MIT
// The names behind log messages: the ten standard attribute keys in their
// places, shared by the message functions and the name lookups.
#pragma once

#include <cstdint>

#include "vesk.h"

namespace vesk::svc::logmsg {

// The keys of the standard attributes, by place.
extern const char *const kStdKeys[VESK_LOGMSG_NSTD];

// The place of a standard key, or -1 for any other key (compared byte by
// byte, case counting).
int std_place(const char *key);

}  // namespace vesk::svc::logmsg
