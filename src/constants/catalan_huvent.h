// Catalan's constant by a series of rational terms with powers of 64.
#pragma once

#include <memory>

#include "constants/formula.h"

namespace numforge::Formulas {

/// G = 1/384 times the sum over k = 0, 1, ... of (-1/64)^k t(k), t(k) a sum of nine squares of
/// reciprocals (catalan_huvent.cpp).
std::unique_ptr<Formula> make_catalan_huvent();

}  // namespace numforge::Formulas
