// SPDX-License-Identifier: MIT
// The stock table of charset identification.
#pragma once

#include <array>

#include "vesk.h"

namespace vesk::svc {

// Rows of the stock table, the end row not counted.
inline constexpr uint32_t kStockCcsiRows = 78;

// The stock table, ended by a row with id VESK_CCSI_END. The service writes
// its rows (names and tree links) while the table is added.
extern std::array<VeskCcsiRow, kStockCcsiRows + 1> stock_ccsi_table;

// Puts the stock table back as it is at rest: a primary row for each
// charset, then its alias rows, nothing linked.
void reset_stock_ccsi_table();

}  // namespace vesk::svc
