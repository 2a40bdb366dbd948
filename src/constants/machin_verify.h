// Proof that log n = sum of c_i arccoth(x_i), independent of how the formula was found.
#pragma once

#include "constants/machin_formula.h"

namespace numforge {

/// Exact: the product of ((x_i+1)/(x_i-1))^(c_i) is n^2. A coprime base of n and all x_i+1 and
/// x_i-1, found by greatest common divisors alone, and the exponents of each of its members. Its
/// members are pairwise coprime, so they are multiplicatively independent: equal exponents are
/// necessary and sufficient. False also for what is no formula: x < 2, x or |c| of 2^48 or more.
bool is_exact(const MachinFormula& formula);

/// The same modulo the prime 2^61 - 1: wrong for one of 10^18 wrong formulas.
bool is_right_modulo_prime(const MachinFormula& formula);

/// Throws AlgorithmFailedException "Unable to verify correctness of formula." unless both hold.
void verify(const MachinFormula& formula);

}  // namespace numforge
