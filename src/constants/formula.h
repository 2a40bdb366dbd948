// A formula turns a precision into a number.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "arith/big_float.h"
#include "arith/context.h"
#include "foundation/progress.h"
#include "memory/aligned_buffer.h"

namespace numforge::Formulas {

/// One way to compute one constant in memory.
///
/// Accuracy  The result is off by less than 2^(-32 p) of itself.
/// Memory    `compute` takes no more than `scratch_bytes` from `scratch`; the result's buffer has
///           `result_words` words and may serve as work space until the end.
class Formula {
 public:
  virtual ~Formula() = default;

  virtual std::size_t result_words(nmp::Context& context, std::size_t p) const;
  virtual std::size_t scratch_bytes(nmp::Context& context, std::size_t p) const = 0;
  virtual void compute(nmp::Context& context, nmp::BigFloat& result, std::size_t p,
                       nmp::Progress& progress, nmp::AlignedBufferC scratch) const = 0;

  /// The longest product, in words, that a job at this precision should form in one piece; the
  /// reduced-memory algorithms set it below their operands' length.
  virtual std::size_t longest_product(std::size_t p) const;
};

/// The formula behind a catalogue entry's algorithm. `argument` is what the catalogue's checks
/// return: the n of sqrt(n), log(n) and brent; constants without one ignore it. Throws
/// InvalidParametersException where that combination has no formula in this program.
std::unique_ptr<Formula> make_formula(std::string_view constant, std::uint64_t argument,
                                      std::string_view algorithm);

}  // namespace numforge::Formulas
