// log n = the sum of c_i * arccoth(x_i): what such a formula is.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace numforge {

struct MachinTerm {
  std::int64_t coefficient;
  std::uint64_t x;
  bool operator==(const MachinTerm&) const = default;
};

struct MachinFormula {
  std::uint32_t n = 0;
  std::vector<MachinTerm> terms;  ///< ascending x, no zero coefficients

  /// The sum of 1 / ln x: time to compute it, but for a unit.
  double cost() const;
  /// The formula as its lines: "Log[2] = ", then a line per term, then the cost.
  std::string text() const;
};

}  // namespace numforge
