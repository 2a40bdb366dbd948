#include "constants/machin_search.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <optional>
#include <vector>

#include "arith/hash61.h"
#include "constants/machin_verify.h"
#include "constants/prime_base.h"
#include "foundation/exceptions.h"

namespace numforge {
namespace {

using Vector = PrimeBase::Exponents;
using Coefficients = std::map<std::uint64_t, std::int64_t>;  ///< by argument

constexpr unsigned kLeastPrimes = 2;
constexpr std::uint64_t kMostMultiplier = 10000;
/// The largest x with x+1 and x-1 free of primes above 19.
constexpr std::uint64_t kLargestArgument = 23718421;
/// What one series costs besides its terms, its division above all, in units of 1 / ln x.
constexpr double kFixedCost = 0.025;

double weight(const MachinFormula& formula) {
  return formula.cost() + kFixedCost * static_cast<double>(formula.terms.size());
}

/// All x with x+1 and x-1 free of primes above 19, descending.
const std::vector<std::uint64_t>& smooth_arguments() {
  static const std::vector<std::uint64_t> arguments = [] {
    const PrimeBase base(PrimeBase::kMost);
    std::vector<std::uint64_t> found;
    for (const std::uint64_t s : base.smooth_numbers(kLargestArgument - 1))
      if (base.is_smooth(s + 2)) found.push_back(s + 1);
    std::reverse(found.begin(), found.end());
    return found;
  }();
  return arguments;
}

/// The exponents of (x+1)/(x-1).
Vector exponents_of(const PrimeBase& base, std::uint64_t x) {
  Vector v{};
  base.add_exponents(v, x + 1, 1);
  base.add_exponents(v, x - 1, -1);
  return v;
}

/// Vectors modulo 2^61 - 1 in echelon form: tells which are linearly independent.
class Independent {
 public:
  explicit Independent(unsigned m) : m_(m) {}

  bool append(const Vector& vector) {
    using namespace nmp::hash61;
    std::array<std::uint64_t, PrimeBase::kMost> row{};
    for (unsigned i = 0; i < m_; ++i) {
      const auto size = static_cast<std::uint64_t>(std::abs(vector[i]));
      row[i] = vector[i] < 0 ? negate(size) : size;
    }
    for (unsigned pivot = 0; pivot < m_; ++pivot) {
      if (row[pivot] == 0) continue;
      if (!rows_[pivot]) {
        const std::uint64_t inverse = power(row[pivot], kPrime - 2);
        for (std::uint64_t& x : row) x = multiply(x, inverse);
        rows_[pivot] = row;
        return true;
      }
      const std::uint64_t factor = row[pivot];
      for (unsigned i = 0; i < m_; ++i)
        row[i] = subtract(row[i], multiply(factor, (*rows_[pivot])[i]));
    }
    return false;
  }

 private:
  unsigned m_;
  std::array<std::optional<std::array<std::uint64_t, PrimeBase::kMost>>, PrimeBase::kMost> rows_;
};

/// The search with one base.
class Search {
 public:
  Search(unsigned m, std::span<const MachinTerm> avoided) : base_(m), avoided_(avoided) {}

  std::optional<MachinFormula> run(std::uint32_t n) {
    if (!find_base() || !take_out_large_part(n) || !solve()) return std::nullopt;
    MachinFormula formula{n, {}};
    for (const auto& [x, coefficient] : coefficients_)
      if (coefficient != 0) formula.terms.push_back({coefficient, x});
    return formula;
  }

 private:
  /// One way to write s: ks + d = N.
  struct Step {
    std::uint64_t t, x, N, k;
    bool up;  ///< d > 0
  };

  bool is_avoided(std::uint64_t x) const {
    return std::any_of(avoided_.begin(), avoided_.end(),
                       [x](const MachinTerm& term) { return term.x == x; });
  }

  bool find_base() {
    Independent independent(base_.size());
    for (const std::uint64_t x : smooth_arguments()) {
      if (is_avoided(x) || !base_.is_smooth(x + 1) || !base_.is_smooth(x - 1)) continue;
      if (independent.append(exponents_of(base_, x))) arguments_.push_back(x);
      if (arguments_.size() == base_.size()) return true;
    }
    return false;
  }

  /// Replaces s = t^j by t for the largest j.
  static void take_root(std::uint64_t& s, std::int64_t& exponent) {
    for (unsigned j = 31; j >= 2; --j) {
      const auto t = static_cast<std::uint64_t>(
          std::round(std::pow(static_cast<double>(s), 1.0 / static_cast<double>(j))));
      if (t < 2) continue;
      std::uint64_t power = 1;
      for (unsigned i = 0; i < j; ++i) power *= t;  // at most about (1.5^j) s < 2^64
      if (power != s) continue;
      s = t;
      exponent *= j;
    }
  }

  /// The step whose t is least, below s; of equals the one with the largest x.
  std::optional<Step> best_step(std::uint64_t s, const std::vector<std::uint64_t>& multipliers) {
    std::optional<Step> best;
    for (const std::uint64_t k : multipliers) {
      const std::uint64_t ks = k * s;
      for (const int d : {1, -1, 2, -2}) {
        if ((d == 2 || d == -2) && k % 2 == 0) break;
        const std::uint64_t N = ks + static_cast<std::uint64_t>(static_cast<std::int64_t>(d));
        const std::uint64_t x = d == 1 || d == -1 ? N + ks : (N + ks) / 2;
        const std::uint64_t t = base_.cofactor(N);
        if (t >= s || (best && (t > best->t || (t == best->t && x <= best->x)))) continue;
        if (x < 2 || is_avoided(x)) continue;
        best = Step{t, x, N, k, d > 0};
      }
    }
    return best;
  }

  /// Splits n into exponents_ of the base's primes and coefficients_ of arguments.
  bool take_out_large_part(std::uint32_t n) {
    const std::vector<std::uint64_t> multipliers = base_.smooth_numbers(kMostMultiplier);
    std::uint64_t s = base_.cofactor(n);
    base_.add_exponents(exponents_, n / s, 1);
    for (std::int64_t exponent = 1; s > 1;) {
      take_root(s, exponent);
      const std::optional<Step> step = best_step(s, multipliers);
      if (!step) return false;
      base_.add_exponents(exponents_, step->N / step->t, exponent);
      base_.add_exponents(exponents_, step->k, -exponent);
      coefficients_[step->x] += step->up ? -2 * exponent : 2 * exponent;
      s = step->t;
    }
    return true;
  }

  /// Adds the coefficients of the base's arguments: the c with sum of c_j v_j = 2 exponents_, by
  /// fraction-free elimination [Bareiss1968]. Its numbers are minors: of the base below 2^23
  /// (Hadamard), with a column of exponents below 2^31. Fails where a c is no integer.
  bool solve() {
    const unsigned m = base_.size();
    std::array<std::array<std::int64_t, PrimeBase::kMost + 1>, PrimeBase::kMost> a{};
    for (unsigned j = 0; j < m; ++j) {
      const Vector v = exponents_of(base_, arguments_[j]);
      for (unsigned i = 0; i < m; ++i) a[i][j] = v[i];
    }
    for (unsigned i = 0; i < m; ++i) a[i][m] = 2 * exponents_[i];
    std::int64_t previous = 1;
    for (unsigned step = 0; step < m; ++step) {
      unsigned pivot = step;
      while (pivot < m && a[pivot][step] == 0) ++pivot;
      if (pivot == m) return false;
      std::swap(a[step], a[pivot]);
      for (unsigned i = 0; i < m; ++i) {
        if (i == step) continue;
        for (unsigned j = m + 1; j-- > step;)
          a[i][j] = (a[step][step] * a[i][j] - a[i][step] * a[step][j]) / previous;
      }
      for (unsigned i = 0; i < step; ++i) a[i][i] = a[step][step];
      previous = a[step][step];
    }
    for (unsigned j = 0; j < m; ++j) {
      if (a[j][m] % previous != 0) return false;
      coefficients_[arguments_[j]] += a[j][m] / previous;
    }
    return true;
  }

  PrimeBase base_;
  std::span<const MachinTerm> avoided_;
  std::vector<std::uint64_t> arguments_;  ///< of the base, descending
  Vector exponents_{};
  Coefficients coefficients_;
};

/// The three-term formula for powers of two, cheaper than any base gives.
std::optional<MachinFormula> power_of_two(std::uint32_t n, std::span<const MachinTerm> avoided) {
  if (n < 2 || (n & (n - 1)) != 0) return std::nullopt;
  MachinFormula formula{n, {{18, 26}, {-2, 4801}, {8, 8749}}};
  std::int64_t exponent = 0;
  for (; n > 1; n /= 2) ++exponent;
  for (MachinTerm& term : formula.terms) {
    term.coefficient *= exponent;
    for (const MachinTerm& other : avoided)
      if (other.x == term.x) return std::nullopt;
  }
  return formula;
}

}  // namespace

MachinFormula search_machin_formula(std::uint32_t n, std::span<const MachinTerm> avoided) {
  std::optional<MachinFormula> best = power_of_two(n, avoided);
  for (unsigned m = kLeastPrimes; m <= PrimeBase::kMost; ++m) {
    const std::optional<MachinFormula> found = Search(m, avoided).run(n);
    if (found && (!best || weight(*found) < weight(*best))) best = found;
  }
  if (!best)
    throw nmp::AlgorithmFailedException("search_machin_formula()", "Unable to derive formula.");
  return *best;
}

MachinFormula log_formula(std::uint32_t n, std::string_view algorithm) {
  MachinFormula formula = search_machin_formula(n);
  if (algorithm == "machin-secondary") formula = search_machin_formula(n, formula.terms);
  verify(formula);
  return formula;
}

}  // namespace numforge
