// The precisions of the steps of a Newton iteration.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

#include "arith/big_float.h"
#include "arith/newton/step_products.h"

namespace nmp::newton {

/// Good words that the step to p words starts from: twice as many are at least p + 1.
constexpr std::size_t half_precision(std::size_t p) { return p / 2 + 1; }
/// What the first step reaches from a double, and no result is asked for less.
inline constexpr std::size_t kFirstPrecision = 3;
/// The same where an error is multiplied by up to 2^31 before it is squared.
inline constexpr std::size_t kFirstRootPrecision = 2;

/// The precisions of all steps, last first: chosen downwards from the target, so that the last step
/// is the only long one.
class Schedule {
 public:
  explicit Schedule(std::size_t p, std::size_t first = kFirstPrecision) {
    for (steps_[count_++] = p; p > first; steps_[count_++] = p) p = half_precision(p);
  }
  std::size_t count() const { return count_; }
  std::size_t operator[](std::size_t i) const { return steps_[i]; }
  /// The largest bytes(target) of all steps.
  template <typename Bytes>
  std::size_t most(const Bytes& bytes) const {
    std::size_t most = 0;
    for (std::size_t i = 0; i < count_; ++i) most = std::max(most, bytes(steps_[i]));
    return most;
  }

 private:
  std::array<std::size_t, 72> steps_{};
  std::size_t count_ = 0;
};

/// What a step from h to p words multiplies. Factors are h + kExtraPrecision words (the
/// approximation and the residual, of which the words from one above -h to two below -p count) and
/// p + kExtraPrecision words (what a residual compares): a residual is determined by
/// p + 2 kExtraPrecision words, one for its sign and one for the bits that errors add up to.
/// `spectra` as in StepShape.
constexpr StepShape step_shape(std::size_t h, std::size_t p, unsigned spectra) {
  return {std::max(p, 2 * h) + 8, h + 6, p + h + 8, spectra};
}

/// 1 as a number, in a word of its own.
struct One {
  One() : value(&word, 1) { value.set_u64(1); }
  One(const One&) = delete;
  One& operator=(const One&) = delete;
  Word word = 1;
  BigFloat value;
};

/// y += factor * residual / divisor: the product at precision h, the sum at precision p. `y` may be
/// the factor.
void correct(Context& context, StepProducts& products, BigFloat& y, const BigFloat& factor,
             const BigFloat& residual, std::int32_t divisor, std::size_t h, std::size_t p);

}  // namespace nmp::newton
