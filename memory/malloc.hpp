// The allocator table: what the start-up code needs of it.
#pragma once

#include "vesk.h"

namespace vesk::mem {

// The start-up record of order 0: its stop runs last of all and reports
// blocks that were never released.
VeskStartRec *live_block_report_record();

}  // namespace vesk::mem
