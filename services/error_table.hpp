// SPDX-License-Identifier: MIT
// The error service's internals shared with its stock table.
#pragma once

#include <array>

#include "vesk.h"

namespace vesk::svc {

// Rows of the stock table, the end row not counted.
inline constexpr uint32_t kStockErrorRows = 350;

// The stock table, ended by a row with code VESK_ERR_TABLE_END.
extern std::array<VeskErrEntry, kStockErrorRows + 1> stock_error_table;

}  // namespace vesk::svc
