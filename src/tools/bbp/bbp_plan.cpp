#include "tools/bbp/bbp_plan.h"

#include <algorithm>
#include <bit>

namespace numforge {

BBPPlan plan_bbp(unsigned formula, std::uint64_t offset, std::uint64_t digits,
                 std::size_t more_words) {
  constexpr unsigned kSpareBits = 16, kWordBits = 48;
  BBPPlan plan;
  plan.formula = formula;
  plan.offset = offset;
  plan.digits = digits;
  const BBPFormula& f = plan.terms_of();
  // Evaluations, roughly and from above.
  const std::uint64_t most = f.pieces * (offset + 2 * digits + 64);
  const std::uint64_t bits = 4 * digits + static_cast<unsigned>(std::bit_width(most)) + kSpareBits;
  plan.kernel_words =
      std::max<std::size_t>(2, static_cast<std::size_t>((bits + kWordBits - 1) / kWordBits)) +
      more_words;
  constexpr unsigned kLargestC = 2;
  plan.terms = (4 * offset + plan.precision_bits() + kLargestC) / f.step + 1;
  const auto least = static_cast<unsigned>(-f.least_c);
  plan.modular_terms = 4 * offset < least ? 0 : (4 * offset - least) / f.step + 1;
  plan.largest_divisor = f.largest_a * (plan.terms - 1) + f.largest_b;
  plan.error_bound = f.pieces * plan.terms + 1;
  return plan;
}

}  // namespace numforge
