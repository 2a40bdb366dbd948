#include "tools/bbp/bbp_plan.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <numeric>

namespace numforge {
namespace {

/// floor((4 offset + more) / step), also where 4 offset does not fit.
std::uint64_t steps_to(std::uint64_t offset, std::uint64_t more, unsigned step) {
  const unsigned period = step / std::gcd(step, 4u);
  return offset / period * (4 * period / step) + (4 * (offset % period) + more) / step;
}

std::uint64_t divisor(std::uint64_t a, std::uint64_t k, std::uint64_t b) {
  constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
  return k > (kMost - b) / a ? kMost : a * k + b;
}

}  // namespace

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
  plan.terms = steps_to(offset, plan.precision_bits() + kLargestC, f.step) + 1;
  const auto least = static_cast<unsigned>(-f.least_c);
  plan.modular_terms = 4 * offset < least ? 0 : (4 * offset - least) / f.step + 1;
  plan.largest_divisor = divisor(f.largest_a, plan.terms - 1, f.largest_b);
  plan.error_bound = f.pieces * plan.terms + 1;
  return plan;
}

}  // namespace numforge
