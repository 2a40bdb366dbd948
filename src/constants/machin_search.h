// The search for a Machin-like formula log n = sum of c_i arccoth(x_i).
//
//     log n = sum c_i arccoth(x_i)   <=>   product of ((x_i+1)/(x_i-1))^(c_i) = n^2
//
// With B_m the first m primes, for each m from 2 to 8:
//
//  (a) Base. For x with x+1 and x-1 free of other primes, v(x) is the exponent vector of
//      (x+1)/(x-1). The x are taken in decreasing order and kept while their vectors are linearly
//      independent, until there are m. Independence is a matroid and large x are cheap, so this is
//      the cheapest base.
//  (b) Large part. n = (its primes of B_m) * s, and s, prime or not, is one symbol. Of all N = ks+d
//      with k <= 10^4 made of B_m, d = +-1, or +-2 for odd k, take the one whose part t outside B_m
//      is least. N/(ks) is a power +-1 of (x+1)/(x-1), so that
//          log s = log t + log (N/t) - log k - 2 sign(d) arccoth(x),
//      and s = t goes on. It ends at 1: k = 1, d = +-1 alone halves s.
//  (c) Twice the exponents collected are solved in the base; all determinants met are +-1.
//
// The cheapest of the seven is the result. It never fails for 2 <= n < 2^32: without arguments to
// avoid (b) always goes on, and with those of another formula some m has always been left.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "constants/machin_formula.h"

namespace numforge {

/// The cheapest formula that (a) to (c) find without the terms' arguments in `avoided`. Arguments
/// stay below 2^47. Throws AlgorithmFailedException "Unable to derive formula.".
MachinFormula search_machin_formula(std::uint32_t n, std::span<const MachinTerm> avoided = {});

/// The formula of an algorithm of the catalogue, "machin-primary" or "machin-secondary", verified.
/// The secondary one is searched for without the primary one's arguments.
MachinFormula log_formula(std::uint32_t n, std::string_view algorithm);

}  // namespace numforge
