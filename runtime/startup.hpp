// Start-up at load: each owner of a start-up record registers it from a
// load-time constructor; a last constructor runs the records in order.
#pragma once

#include "vesk.h"

// Constructor priorities: every registration before the run.
#define VESK_PRIORITY_REGISTER 1000
#define VESK_PRIORITY_RUN 2000

// Registers `record_expr` (a VeskStartRec *) when the library is loaded.
#define VESK_REGISTER_START_RECORD(name, record_expr)                               \
    __attribute__((constructor(VESK_PRIORITY_REGISTER))) static void name() {       \
        VeskStartAdd(record_expr);                                                  \
    }
