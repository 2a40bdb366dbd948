// The products of one step of Newton's iteration.
//
// A step multiplies the same number more than once, and of its longest product, the one that is
// compared with what it should be, it knows the leading half beforehand. Where the dispatcher's
// algorithm has transforms, that number is transformed once, and the products are formed modulo
// 2^(32 w) -+ 1 (see spectrum.h), with no more words than are unknown; elsewhere they are plain
// ones.
//
// Checks  Every transformed product is checked modulo 2^61 - 1: y z is the product of the factors'
//         residues, and a residual r must satisfy y z + r = c. That also finds a residual which
//         was too long for its w words. AlgorithmFailedException where it fails.
// Memory  In transform space: the plan and two or three spectra. What comes back lies in the third
//         one's memory or in a place of its own, and the second one's holds, after a product, what
//         the caller wants.
//         Otherwise a product, another one of shape.words words and the dispatcher's scratch.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "arith/big_float.h"
#include "arith/context.h"
#include "arith/multiply/spectrum.h"
#include "memory/aligned_buffer.h"

namespace nmp::newton {

/// How long the products of a step get, in words.
struct StepShape {
  std::size_t words;    ///< of a whole product from `multiply` and of a residual, one bit to spare
  std::size_t shorter;  ///< of the shorter factor of any product
  std::size_t longest;  ///< of both factors of any product
  unsigned spectra;     ///< 2 where each product is a square or has the kept factor, else 3
};

class StepProducts {
 public:
  /// Takes no more than bytes(context, shape) off `memory`, which must stay for the life of this.
  StepProducts(Context& context, const StepShape& shape, AlignedBufferC memory);
  StepProducts(const StepProducts&) = delete;
  StepProducts& operator=(const StepProducts&) = delete;
  static std::size_t bytes(const Context& context, const StepShape& shape);

  /// x will be a factor of several products: every later operand with its words is taken for it.
  /// They must not change until then.
  void keep(const BigFloat& x);

  /// y z, all of it, in memory of this object: there until the next product, of which it may be a
  /// factor if the other factor is kept. No factor is zero.
  BigFloat multiply(const BigFloat& y, const BigFloat& z);

  /// c - y z, likewise. c reaches no lower than y z does: c.exp >= y.exp + z.exp.
  BigFloat residual(const BigFloat& c, const BigFloat& y, const BigFloat& z);

  /// c - x in the place of x, the last result. c.exp >= x.exp, and x is near c.
  BigFloat subtract_from(const BigFloat& c, const BigFloat& x);

  /// Free memory until the next product, for shape.words words.
  BigFloat spare() const;

 private:
  /// Words known modulo 2^(32 count) - sign, `above` being word number `count`.
  struct Residue {
    Word* words;
    std::size_t count;
    int sign;
    Word above;
  };
  Residue plain_product(const BigFloat& y, const BigFloat& z);
  /// The spectra's product; `count` words of it, or all that the plan wraps at.
  Residue wrapped_product(const BigFloat& y, const BigFloat& z, std::size_t count);
  Spectrum* transformed(const BigFloat& x, Spectrum& free);
  BigFloat signed_float(const Residue& residue, std::int64_t exp);
  bool is_kept(const BigFloat& x) const { return x.T == kept_.T && x.L == kept_.L; }
  std::uint64_t hash(const BigFloat& x) const;

  Context& context_;
  Spectra* plan_ = nullptr;
  Spectrum kept_spectrum_, second_, third_;
  BigFloat kept_;
  std::uint64_t kept_hash_ = 0;
  std::array<BigFloat, 2> work_;  ///< what results lie in: the second one where a factor is there
  unsigned last_ = 0;             ///< which of them holds the last result
  AlignedBufferC scratch_;
};

/// The leading `words` words of x, as a view.
BigFloat leading(const BigFloat& x, std::size_t words);
/// Drops the words below `position`.
void cut_below(BigFloat& x, std::int64_t position);
/// Appends zero words below, until x.exp <= exp. x's buffer has room for them.
void extend_below(BigFloat& x, std::int64_t exp);

}  // namespace nmp::newton
