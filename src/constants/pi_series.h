// Pi by the hypergeometric series of Chudnovsky and of Ramanujan.
#pragma once

#include <memory>

#include "constants/formula.h"

namespace numforge::Formulas {

/// pi = 4270934400 Q / (P + 13591409 Q) / sqrt(10005) [Chudnovsky1988].
/// `reduced`: long products are formed in pieces, in less memory.
std::unique_ptr<Formula> make_pi_chudnovsky(bool reduced);

/// pi = 9801 Q / (2 P + 2206 Q) / sqrt(2) [Ramanujan1914].
std::unique_ptr<Formula> make_pi_ramanujan(bool reduced);

}  // namespace numforge::Formulas
