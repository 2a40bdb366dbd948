// The two digit-extraction formulas for Pi, as sums of pieces +- 2^e / D with odd D.
//
//   formula 0   Pi = SUM 16^-k (4/(8k+1) - 2/(8k+4) - 1/(8k+5) - 1/(8k+6))
//   formula 1   Pi = SUM (-1)^k 1024^-k (-2^-1/(4k+1) - 2^-6/(4k+3) + 2^2/(10k+1) - 1/(10k+3)
//                    - 2^-4/(10k+5) - 2^-4/(10k+7) + 2^-6/(10k+9))
//
// Even divisors give their powers of two to the exponent: 2/(8k+4) = 2^-1/(2k+1) and
// 1/(8k+6) = 2^-1/(4k+3). Behind a shift by `offset` hexadecimal digits the piece (a, b, c, sign)
// of term k stands for sign * (alternating ? (-1)^k : 1) * 2^(4 offset - step k + c) / (a k + b).
//
// Source: D. Bailey, P. Borwein, S. Plouffe, "On the rapid computation of various polylogarithmic
// constants", 1997 (formula 0); F. Bellard, "A new formula to compute the n'th binary digit of pi",
// 1997 (formula 1).
#pragma once

#include <cstdint>

namespace numforge {

struct BBPPiece {
  unsigned a, b;  ///< divisor a k + b
  int c;          ///< added to the exponent
  int sign;
};

struct BBPFormula {
  const char* name;
  unsigned pieces;
  unsigned step;  ///< binary places from one term to the next
  bool alternating;
  unsigned largest_a, largest_b;  ///< the formula's largest divisor, as it is written
  int least_c;
  BBPPiece piece[7];
};

inline constexpr unsigned kBBPFormulas = 2;
constexpr BBPFormula kBBPFormula[kBBPFormulas] = {
    {"Original 4-term BBP",
     4,
     4,
     false,
     8,
     6,
     -1,
     {{8, 1, 2, 1}, {2, 1, -1, -1}, {8, 5, 0, -1}, {4, 3, -1, -1}}},
    {"Bellard's 7-term BBP",
     7,
     10,
     true,
     10,
     9,
     -6,
     {{4, 1, -1, -1},
      {4, 3, -6, -1},
      {10, 1, 2, 1},
      {10, 3, 0, -1},
      {10, 5, -4, -1},
      {10, 7, -4, -1},
      {10, 9, -6, 1}}},
};

}  // namespace numforge
