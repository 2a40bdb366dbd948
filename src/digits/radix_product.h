// The fraction of a right half: the middle of a product.
//
// A node's fraction v = V / 2^(32 w) and the power 10^e = 2^e 5^e give
//     y = frac(v 10^e) = (V 5^e mod 2^(32 w - e)) / 2^(32 w - e),
// so the top e bits of V stay out. With X = the `operand` words below them and P = X 5^e, the n
// words of y that are kept are the bits of P from first_bit = 32 (w - n) - e on, up to 32 w - e:
//
//     P       |  above the point  |         y          |  g  |   cut off       |
//             |                   |                    |first_bit
//     words   operand + p      operand                                         0
//
// What is cut off is about as long as 5^e, p words. So a transform that wraps around at `wrap`
// words, a little more than the operand, adds (or subtracts) the words of P from `wrap` on to words
// that are cut off anyway. The sum passes on a carry or a borrow of at most one unit. Word g, the
// highest that lies below y as a whole, shows whether that got through: only where it reads 0 or
// 2^32 - 1 may y have changed, and P is made in full, once in 2^31 for random digits. Hence y is
// always exact and does not depend on the plan.
#pragma once

#include <cstddef>
#include <cstdint>

#include "arith/context.h"
#include "arith/multiply/spectrum.h"
#include "arith/word.h"
#include "digits/radix_power.h"
#include "digits/radix_split.h"
#include "memory/aligned_buffer.h"

namespace nmp::CBRv2 {

/// Where y lies in P, for the nodes of a level.
struct Window {
  Window(const Split& split, unsigned level);

  std::size_t operand;      ///< words of X
  std::size_t power;        ///< words that hold 5^e
  std::size_t words;        ///< n
  std::uint64_t first_bit;  ///< of y in P
  std::size_t guard;        ///< g

  /// The shortest wrap-around.
  SpectrumShape shape() const;
};

/// Makes the right halves' fractions of all nodes of one level, with one transform of the power.
/// For one thread at a time; uses the threads of its context, which must outlive it.
class RightHalves {
 public:
  /// Carves plan and transformed power off `memory`. `power` must outlive it too.
  RightHalves(Context& context, const Split& split, unsigned level, const Power& power,
              AlignedBufferC& memory);
  /// Bytes that the constructor takes, and those of scratch for a node.
  static std::size_t bytes(const Context& context, const Split& split, unsigned level);
  static std::size_t node_bytes(const Context& context, const Split& split, unsigned level);

  /// P of a fraction of split.words(level) words, in `scratch`; right where `take` reads it.
  const Word* multiply(const Word* fraction, AlignedBufferC scratch);
  /// fraction[0, split.words(level - 1)) = its words from `surplus` on, the left half's fraction.
  void keep_top(Word* fraction, std::size_t surplus) const;
  /// target[0, split.words(level - 1)) = the first words of y. May overlap the fraction.
  void take(Word* target, const Word* product) const;

 private:
  const Word* multiply_wrapped(const Word* fraction, AlignedBufferC scratch);
  const Word* multiply_whole(const Word* fraction, AlignedBufferC scratch);
  void check(const Word* fraction, const Word* product, std::size_t length) const;

  Context& context_;
  const Window window_;
  const Power& power_;
  Spectra* spectra_ = nullptr;  ///< null: plain products
  Spectrum transformed_;        ///< the power
  std::uint64_t residue_ = 0;   ///< of the power
};

}  // namespace nmp::CBRv2
