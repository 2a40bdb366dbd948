// The registered algorithm "BKT": basecase and Karatsuba, for short products.
#pragma once

#include "arith/multiply/algorithm.h"

namespace nmp {

/// Products of up to 65536 bits; longer ones only through WordMultiply itself.
const Algorithm& basecase_karatsuba();

}  // namespace nmp
