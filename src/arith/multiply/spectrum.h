// Products in transform space: each operand is transformed once, products are multiplied and added
// there, and only sums come back.
//
//     AlignedBufferC rest = scratch;
//     if (Spectra* spectra = make_spectra(context, shape, 4, rest)) {
//       Spectrum a = spectra->carve(rest), b = ..., c = ..., d = ...;
//       spectra->forward(a, a_words, al);  // b, c, d too
//       spectra->multiply(a, {{{&a, &b}, {&c, &d}}});  // a*b + c*d, in the place of a
//       spectra->inverse(out, n, a);
//     } else ...  // too short for a transform, or memory is: plain products
//
// Wrapping. A plan of wrap() words knows every value modulo 2^(32 wrap()) - wrap_sign(): words past
// the end come back at the start, added (sign 1, cyclic) or subtracted (sign -1, negacyclic). A
// product of which the top or the bottom is known already needs no more words than the rest.
#pragma once

#include <cstddef>
#include <span>

#include "arith/context.h"
#include "arith/word.h"
#include "memory/aligned_buffer.h"

namespace nmp {

/// What products in transform space must hold.
struct SpectrumShape {
  std::size_t words;    ///< wrap() will be at least this
  std::size_t shorter;  ///< words of the shorter operand of any product, at most
  unsigned sum = 1;     ///< products that are added or subtracted before they come back, at most
};

/// What a plan takes. All zero where there is none: where the algorithm has no transforms, or none
/// so long, or where shape.words passes context.longest_product.
struct SpectraNeed {
  std::size_t plan = 0;      ///< bytes, without spectra
  std::size_t spectrum = 0;  ///< bytes of each
  std::size_t wrap = 0;      ///< words

  explicit operator bool() const { return plan != 0; }
  std::size_t bytes(unsigned spectra) const { return plan + spectra * spectrum; }
};

/// One number in transform space. Cheap to copy; the memory belongs to the caller. It fits only the
/// plan that carved it.
struct Spectrum {
  std::byte* data = nullptr;
  unsigned stage = 0;  ///< how far it is transformed; its plan's affair
};

/// The plan for one shape, with its tables and working memory. Lives in the scratch that it was
/// made in and is never destroyed. For one thread at a time; uses the threads of its context.
class Spectra {
 public:
  std::size_t wrap() const { return wrap_; }    ///< words
  int wrap_sign() const { return wrap_sign_; }  ///< 1 or -1
  std::size_t bytes() const { return bytes_; }  ///< of one spectrum, a multiple of 64
  Spectrum carve(AlignedBufferC& memory) const { return {memory.carve<std::byte>(bytes_)}; }

  /// s = words[0, count), count <= wrap().
  virtual void forward(Spectrum& s, const Word* words, std::size_t count) = 0;

  /// One summand: a * b, or -a * b. a == b (the same data) is a square and cheaper.
  struct Term {
    Spectrum* a;
    Spectrum* b;
    bool negative = false;
  };
  /// s = the sum of 1 .. shape.sum terms, ready for `inverse` only. `s` may be an operand of any
  /// term: it is overwritten. All other operands keep their value and can be used again.
  virtual void multiply(Spectrum& s, std::span<const Term> terms) = 0;

  /// out[0, count) = the low words of the value modulo 2^(32 wrap()) - wrap_sign(), in
  /// [0, 2^(32 wrap())]; spoils `s`. With count < wrap() the value must be below 2^(32 count).
  /// Returns the word above out[count - 1]: 0, or 1 for the one residue 2^(32 wrap()) of a
  /// negacyclic plan.
  virtual Word inverse(Word* out, std::size_t count, Spectrum& s) = 0;

 protected:
  Spectra() = default;
  ~Spectra() = default;
  std::size_t wrap_ = 0, bytes_ = 0;
  int wrap_sign_ = 1;
};

/// A plan by the algorithm that the table names for products of shape.words; it takes its memory
/// off `memory`. Null, and nothing taken, where there is no plan or `memory` is too short for it
/// and `count` spectra.
Spectra* make_spectra(Context& context, const SpectrumShape& shape, unsigned count,
                      AlignedBufferC& memory);

/// That of exactly this shape: a smaller one may need more.
SpectraNeed spectra_need(const Context& context, const SpectrumShape& shape);

/// Reads words[0, n), a residue modulo 2^(32 n) - wrap_sign as `inverse` gives it (`above` is what
/// it returned), as a signed number of less than half the modulus: leaves its magnitude and tells
/// whether it is negative.
bool take_sign(Word* words, std::size_t n, int wrap_sign, Word above);

}  // namespace nmp
