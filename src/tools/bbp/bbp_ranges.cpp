// Sums of ranges of terms: the choice of the mode, the modes, and the terms behind the modular
// ones.
#include <algorithm>
#include <bit>
#include <limits>
#include <vector>

#include "foundation/exceptions.h"
#include "tools/bbp/bbp_kernels.h"
#include "tools/bbp/bbp_v2.h"
#include "tools/bbp/montgomery61.h"

namespace numforge {

Region::Region(std::uint64_t s, std::uint64_t e) : s_(s), e_(e) {
  if (s >= e)
    throw nmp::InvalidParametersException("Region::Region()", "Invalid Range - Failed: s < e");
}

namespace BBPv2 {
namespace {

using bbp::Montgomery61;

/// Terms, from 0 on, whose divisors the mode handles.
std::uint64_t terms_within(const BBPFormula& formula, BBPMode mode) {
  const std::uint64_t limit = kBBPModeInfo[static_cast<unsigned>(mode)].limit;
  return (limit - formula.largest_b) / formula.largest_a + 1;
}

/// The lowest exponent of term k's pieces, for modular terms.
std::uint64_t least_exponent(const BBPPlan& plan, std::uint64_t k) {
  const BBPFormula& f = plan.terms_of();
  return 4 * plan.offset - f.step * k - static_cast<unsigned>(-f.least_c);
}

bool is_negative(const BBPFormula& f, const BBPPiece& piece, std::uint64_t k) {
  return (piece.sign < 0) != (f.alternating && k % 2 != 0);
}

/// Clears what lies below the precision.
void cut(const BBPPlan& plan, FractionFloat& x) {
  x.data()[0] &= ~std::uint64_t{0} << (64 * x.words() - plan.precision_bits());
}

// Modes A and B -----------------------------------------------------------------------------------

/// The factors of the lanes of one batch, of which the first `active` terms count.
class Factors {
 public:
  Factors(const BBPFormula& f, const bbp::Kernels& kernels, unsigned formula, std::uint64_t k,
          std::size_t active) {
    const std::size_t vectors = kernels.vectors[formula], width = vectors * kernels.lanes;
    const std::size_t most = f.step * (active - 1) + kLargestC + static_cast<unsigned>(-f.least_c);
    shifts_ = (most + bbp::kMostShift - 1) / bbp::kMostShift;
    values_.assign(shifts_ * width, 0.0);
    for (std::size_t at = 0; at < width; ++at) {
      const BBPPiece& piece = f.piece[at / kernels.lanes % f.pieces];
      const std::size_t term = at / kernels.lanes / f.pieces * kernels.lanes + at % kernels.lanes;
      if (term >= active) continue;
      auto left = static_cast<unsigned>(static_cast<int>(f.step * (active - 1 - term)) + piece.c -
                                        f.least_c);
      for (std::size_t s = 0; s < shifts_; ++s) {
        const unsigned shift = std::min(left, bbp::kMostShift);
        const auto factor = static_cast<double>(std::uint64_t{1} << shift);
        values_[s * width + at] = s == 0 && is_negative(f, piece, k + term) ? -factor : factor;
        left -= shift;
      }
    }
  }
  const double* values() const { return values_.data(); }
  std::size_t shifts() const { return shifts_; }

 private:
  static constexpr unsigned kLargestC = 2;
  std::size_t shifts_;
  std::vector<double> values_;
};

/// Calls of one kernel and where their sums go.
class KernelSum {
 public:
  KernelSum(const BBPPlan& plan, bool wide, const bbp::Kernels& kernels, FractionFloat& sum)
      : plan_(plan),
        kernels_(kernels),
        kernel_(kernels.sum[wide][plan.formula]),
        lanes_(plan.kernel_words * kernels.lanes),
        sum_(sum) {}

  /// Terms from k on: `batches` batches of `active` terms each, more than one only of full ones.
  void run(std::uint64_t k, std::size_t batches, std::size_t active) {
    const Factors factors(plan_.terms_of(), kernels_, plan_.formula, k, active);
    const bbp::TermRun run{
        static_cast<double>(k), batches,          least_exponent(plan_, k + active - 1),
        factors.shifts(),       factors.values(), plan_.kernel_words};
    const std::uint64_t added = batches * kernels_.vectors[plan_.formula];
    std::fill(lanes_.begin(), lanes_.end(), static_cast<std::int64_t>(0 - added * bbp::kBias));
    kernel_(lanes_.data(), &run);
    for (std::size_t i = 0; i < lanes_.size(); ++i)
      sum_.add_at(bbp::kWordBits * (i / kernels_.lanes + 1), lanes_[i]);
  }

 private:
  const BBPPlan& plan_;
  const bbp::Kernels& kernels_;
  const bbp::SumTerms kernel_;
  std::vector<std::int64_t> lanes_;
  FractionFloat& sum_;
};

void add_in_doubles(const BBPPlan& plan, const Region& region, bool wide,
                    const bbp::Kernels& kernels, FractionFloat& sum) {
  KernelSum kernel(plan, wide, kernels, sum);
  const std::size_t batch = kernels.terms(plan.formula);
  std::uint64_t k = region.s();
  while (k < region.e()) {
    const std::uint64_t left = region.e() - k;
    const auto batches =
        static_cast<std::size_t>(std::min<std::uint64_t>(left / batch, bbp::kMostBatches));
    if (batches == 0) return kernel.run(k, 1, static_cast<std::size_t>(left));
    kernel.run(k, batches, batch);
    k += batches * batch;
  }
}

// Mode C ------------------------------------------------------------------------------------------

/// All pieces of term k side by side: four or seven products are under way at once.
template <unsigned kPieces>
void add_in_integers(const BBPPlan& plan, std::uint64_t k, FractionFloat& piece_value,
                     FractionFloat& sum) {
  const BBPFormula& f = plan.terms_of();
  const std::uint64_t least = least_exponent(plan, k);
  Montgomery61 m[kPieces];
  std::uint64_t x[kPieces], exponent[kPieces], divisor[kPieces];
  for (unsigned i = 0; i < kPieces; ++i) {
    divisor[i] = f.piece[i].a * k + f.piece[i].b;
    m[i] = Montgomery61(divisor[i]);
    exponent[i] = least + static_cast<unsigned>(f.piece[i].c - f.least_c);
    x[i] = m[i].one();
  }
  if (least >= 64) {
    constexpr unsigned kMostDifference = 8;
    for (unsigned bit = static_cast<unsigned>(std::bit_width(least - 64 + kMostDifference));
         bit-- > 0;)
      for (unsigned i = 0; i < kPieces; ++i)
        x[i] = m[i].square(x[i], ((exponent[i] - 64) >> bit) & 1);
  } else {
    for (unsigned i = 0; i < kPieces; ++i) {
      const unsigned e = static_cast<unsigned>(exponent[i]);
      x[i] = (std::uint64_t{1} << std::min(e, 60u)) % divisor[i];
      for (unsigned doubled = 60; doubled < e; ++doubled) x[i] = m[i].normal(2 * x[i]);
    }
  }
  for (unsigned i = 0; i < kPieces; ++i) {
    x[i] = m[i].normal(x[i]);
    if (x[i] != 0 && is_negative(f, f.piece[i], k)) x[i] = divisor[i] - x[i];
    const std::uint64_t factor = m[i].word_factor();
    for (std::size_t w = sum.words(); w-- > 0;)
      piece_value.data()[w] = m[i].next_word(x[i], factor);
    cut(plan, piece_value);
    sum.add(piece_value);
  }
}

// Behind the modular terms ------------------------------------------------------------------------

/// Adds +-floor(2^(W - places) / d) units, places > 0: a long division that begins where the first
/// bit of the quotient may be.
void add_small_piece(const BBPPlan& plan, std::uint64_t places, std::uint64_t d, bool negative,
                     FractionFloat& value, FractionFloat& sum) {
  if (places > plan.precision_bits()) return;
  std::fill_n(value.data(), value.words(), 0);
  const std::size_t n = value.words();
  const auto skipped = static_cast<std::size_t>((places - 1) / 64);
  const std::uint64_t numerator = std::uint64_t{1} << (64 * (skipped + 1) - places);
  const Montgomery61 m(d);
  const std::uint64_t factor = m.word_factor();
  value.data()[n - 1 - skipped] = numerator / d;
  std::uint64_t x = numerator % d;
  for (std::size_t w = n - 1 - skipped; w-- > 0;) value.data()[w] = m.next_word(x, factor);
  cut(plan, value);
  negative ? sum.subtract(value) : sum.add(value);
}

/// A term of which some exponents are negative.
void add_last_term(const BBPPlan& plan, std::uint64_t k, FractionFloat& value, FractionFloat& sum) {
  const BBPFormula& f = plan.terms_of();
  for (unsigned i = 0; i < f.pieces; ++i) {
    const BBPPiece& piece = f.piece[i];
    const std::uint64_t d = piece.a * k + piece.b;
    const bool negative = is_negative(f, piece, k);
    const std::int64_t exponent = static_cast<std::int64_t>(4 * plan.offset) + piece.c -
                                  static_cast<std::int64_t>(f.step * k);
    if (exponent < 0) {
      add_small_piece(plan, static_cast<std::uint64_t>(-exponent), d, negative, value, sum);
      continue;
    }
    // At most 2^8: the other exponents are that near.
    const Montgomery61 m(d);
    const std::uint64_t factor = m.word_factor();
    std::uint64_t x = (std::uint64_t{1} << exponent) % d;
    if (x != 0 && negative) x = d - x;
    for (std::size_t w = value.words(); w-- > 0;) value.data()[w] = m.next_word(x, factor);
    cut(plan, value);
    sum.add(value);
  }
}

}  // namespace

BBPMode SummableRange(const BBPFormula& formula, const Region& region, BBPModeSet modes) {
  constexpr const char* kHere = "BBPv2::SummableRange()";
  if ((modes & kAllBBPModes) == 0)
    throw nmp::InvalidParametersException(kHere, "No modes enabled.");
  for (const BBPMode mode : {BBPMode::A, BBPMode::B, BBPMode::C})
    if ((modes & mode_bit(mode)) != 0 && region.e() <= terms_within(formula, mode)) return mode;
  throw nmp::InvalidParametersException(kHere, "No mode is able to handle this range.");
}

void add_terms_in_mode(BBPMode mode, const BBPPlan& plan, const Region& region,
                       const BBPKernelSet& kernels, FractionFloat& sum) {
  static constexpr struct {
    const char* function;
    const char* message;
  } kTooLarge[] = {
      {"BBPv2::ModeA()", "Maximum coefficient size of 2^49 has been exceeded."},
      {"BBPv2::ModeB()", "Maximum coefficient size of 2^51 has been exceeded."},
      {"BBPv2::ModeC()", "Maximum coefficient size of 2^61 has been exceeded."},
  };
  if (region.e() > terms_within(plan.terms_of(), mode)) {
    const auto& failure = kTooLarge[static_cast<unsigned>(mode)];
    throw nmp::InvalidParametersException(failure.function, failure.message);
  }
  if (mode != BBPMode::C)
    return add_in_doubles(plan, region, mode == BBPMode::B, *kernels.kernels, sum);
  FractionFloat value(sum.words());
  for (std::uint64_t k = region.s(); k < region.e(); ++k)
    plan.terms_of().pieces == 4 ? add_in_integers<4>(plan, k, value, sum)
                                : add_in_integers<7>(plan, k, value, sum);
}

void add_terms(const BBPPlan& plan, const Region& region, BBPModeSet modes,
               const BBPKernelSet& kernels, FractionFloat& sum) {
  std::uint64_t s = region.s();
  while (s < std::min(region.e(), plan.modular_terms)) {
    std::uint64_t e = std::min(region.e(), plan.modular_terms);
    for (const BBPMode mode : {BBPMode::A, BBPMode::B})
      if (const std::uint64_t limit = terms_within(plan.terms_of(), mode); s < limit)
        e = std::min(e, limit);
    const Region part(s, e);
    const BBPMode mode = SummableRange(plan.terms_of(), part, modes & kernels.modes());
    add_terms_in_mode(mode, plan, part, kernels, sum);
    s = e;
  }
  if (s == region.e()) return;
  SummableRange(plan.terms_of(), Region(s, region.e()), modes & kernels.modes());
  FractionFloat value(sum.words());
  for (; s < region.e(); ++s) add_last_term(plan, s, value, sum);
}

}  // namespace BBPv2
}  // namespace numforge
