#include "constants/machin_verify.h"

#include <algorithm>
#include <cstdlib>
#include <numeric>

#include "arith/hash61.h"
#include "foundation/exceptions.h"

namespace numforge {
namespace {

constexpr std::uint64_t kLimit = std::uint64_t{1} << 48;

bool is_in_range(const MachinFormula& formula) {
  return formula.n >= 2 && std::all_of(formula.terms.begin(), formula.terms.end(), [](auto& term) {
           return term.x >= 2 && term.x < kLimit &&
                  static_cast<std::uint64_t>(std::abs(term.coefficient)) < kLimit;
         });
}

/// Pairwise coprime numbers of which all that were appended are products.
class CoprimeBase {
 public:
  void append(std::uint64_t u) {
    if (u == 1) return;
    for (std::size_t i = 0; i < members_.size(); ++i) {
      const std::uint64_t v = members_[i], g = std::gcd(u, v);
      if (g == 1) continue;
      // The product of all that is left to do shrinks by g.
      members_.erase(members_.begin() + static_cast<std::ptrdiff_t>(i));
      for (const std::uint64_t part : {g, u / g, v / g}) append(part);
      return;
    }
    members_.push_back(u);
  }
  const std::vector<std::uint64_t>& members() const { return members_; }

 private:
  std::vector<std::uint64_t> members_;
};

std::int64_t exponent(std::uint64_t base, std::uint64_t x) {
  std::int64_t count = 0;
  for (; x % base == 0; x /= base) ++count;
  return count;
}

}  // namespace

bool is_exact(const MachinFormula& formula) {
  if (!is_in_range(formula)) return false;
  CoprimeBase base;
  base.append(formula.n);
  for (const MachinTerm& term : formula.terms) {
    base.append(term.x + 1);
    base.append(term.x - 1);
  }
  return std::all_of(base.members().begin(), base.members().end(), [&](std::uint64_t b) {
    std::int64_t sum = -2 * exponent(b, formula.n);
    for (const MachinTerm& term : formula.terms)
      sum += term.coefficient * (exponent(b, term.x + 1) - exponent(b, term.x - 1));
    return sum == 0;
  });
}

bool is_right_modulo_prime(const MachinFormula& formula) {
  using namespace nmp::hash61;
  if (!is_in_range(formula)) return false;
  std::uint64_t left = 1, right = multiply(formula.n, formula.n);
  for (const MachinTerm& term : formula.terms) {
    const bool positive = term.coefficient > 0;
    const auto size = static_cast<std::uint64_t>(std::abs(term.coefficient));
    left = multiply(left, power(positive ? term.x + 1 : term.x - 1, size));
    right = multiply(right, power(positive ? term.x - 1 : term.x + 1, size));
  }
  return left == right;
}

void verify(const MachinFormula& formula) {
  if (!is_exact(formula) || !is_right_modulo_prime(formula))
    throw nmp::AlgorithmFailedException("verify()", "Unable to verify correctness of formula.");
}

}  // namespace numforge
