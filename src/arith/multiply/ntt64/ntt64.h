// The registered algorithm "N64": an exact transform in portable 64-bit integers.
//
// Both numbers become polynomials with digits of 80 (or 64) bits, which are multiplied modulo three
// primes below 2^62 by number-theoretic transforms; the exact coefficients come back by the Chinese
// remainder theorem. Integers only: no rounding, no instruction-set extension, any length.
#pragma once

#include "arith/multiply/algorithm.h"

namespace nmp {

const Algorithm& ntt64();

}  // namespace nmp
