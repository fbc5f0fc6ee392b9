// SPDX-License-Identifier: MIT
// The stock converter sets, for the module that carries them.
#pragma once

#include "vesk.h"

namespace vesk::ccs {

inline constexpr uint32_t kStockConverters = 6;

// KOI8-U, KOI8-R, UTF-8, code page 866, ISO 8859-5, Windows 1251: the order
// of the module's table of sets, behind the conversion set itself.
extern VeskOps *stock_converter_sets[kStockConverters];

}  // namespace vesk::ccs
