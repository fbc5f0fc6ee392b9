// Both public headers, alone, under pedantic C++20.
#include "nu.h"
#include "vesk.h"

#include <cstddef>

static_assert(sizeof(VeskOid) == 16);
static_assert(sizeof(VeskRwlock) == 16);
static_assert(offsetof(VeskErr, status) == 16);
