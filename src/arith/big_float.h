// The working floating-point number: arbitrary precision, truncating.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "arith/context.h"
#include "arith/exact_float.h"
#include "arith/word.h"
#include "memory/aligned_buffer.h"

namespace nmp {

/// Guard words that a BigFloat result keeps beyond the precision asked for.
inline constexpr std::uint32_t kExtraPrecision = 2;
/// Room, in words, set aside when sizing the buffers of BigFloat additions.
inline constexpr std::uint32_t kAdditionBuffer = 128;
/// Slack added to each far-memory number's allocation, in words.
inline constexpr std::uint32_t kSwapFloatMallocExtra = 4;

/// Value = +-(sum of T[i] * 2^(32 (exp + i)), i < L). Zero is L = 0, exp = 0, sign = false. A view
/// over the caller's `buffer`; T may sit anywhere in it. A non-zero number has a non-zero top word;
/// low words may be zero.
///
/// Operations that take a precision p (words) read at most the top p + kExtraPrecision words of
/// each operand and keep at most that many of the result, truncated towards zero: the result is
/// off by less than 4 units of word p + kExtraPrecision (counted from its top). Results go into
/// `this`, which overlaps no operand unless an operation says so. BufferTooSmallException (words)
/// where the buffer has no room.
class BigFloat {
 public:
  BigFloat() = default;
  BigFloat(Word* words, std::uint32_t count) : T(words), buffer(words), buffer_size(count) {}

  bool is_zero() const { return L == 0; }
  std::int64_t mag() const { return exp + L; }  ///< position one above the top word

  void set_zero();
  void negate() { sign = !sign && L != 0; }
  /// Exact. Needs buffer_size >= 2, or 3 where the exponent is not a whole number of words.
  void set_double(double x, std::int64_t exp = 0);
  void set_u64(std::uint64_t x);
  /// Copies the top p + kExtraPrecision words.
  void set_BigFloat(const BigFloat& x, std::size_t p);
  void set_ExactFloat(const ExactFloat& x, std::size_t p);

  /// Magnitudes: |a| + |b|, |a| - |b|, |b| - |a|; the result is positive (or zero). The differences
  /// need the left one to be the larger. Needs p + kExtraPrecision + 1 words.
  void set_uadd(Context& context, const BigFloat& a, const BigFloat& b, std::size_t p);
  void set_usub(Context& context, const BigFloat& a, const BigFloat& b, std::size_t p);
  void set_rsub(Context& context, const BigFloat& a, const BigFloat& b, std::size_t p);
  /// Signed sum and difference.
  void set_add(Context& context, const BigFloat& a, const BigFloat& b, std::size_t p);
  void set_sub(Context& context, const BigFloat& a, const BigFloat& b, std::size_t p);

  /// Products through the dispatcher. The full product is formed in `this` when its buffer has
  /// room for all of it, else in scratch: `scratch` holds mul_scratch(...) bytes.
  void set_mul(Context& context, const BigFloat& a, const BigFloat& b, std::size_t p,
               AlignedBufferC scratch);
  void set_sqr(Context& context, const BigFloat& a, std::size_t p, AlignedBufferC scratch);
  /// a * b where b has at most two words: one pass, no scratch. Needs min(a.L, p + kExtraPrecision)
  /// + b.L words.
  void set_mul_small(const BigFloat& a, const BigFloat& b, std::size_t p);
  /// Bytes of scratch for set_mul and set_sqr at precision p, whatever the buffers.
  static std::size_t mul_scratch(const Context& context, std::size_t p);

  /// this *= w in place (one more word of room may be needed) and this = a * w. w = 0 gives zero.
  void mul_uW(Word w);
  void set_mul_uW(const BigFloat& a, Word w, std::size_t p);
  /// this = a / w, truncated to p + kExtraPrecision words (extended below a's lowest word with
  /// quotient words). One word more of a is read where its top word is below |w|. w = 0 is
  /// ArithmeticException "Divide by zero.". `this` may be a itself.
  void set_div_sW(const BigFloat& a, std::int32_t w, std::size_t p);
  /// this *= 2^bits: whole words into exp, the rest by mul_uW.
  void mp2(std::int64_t bits);

  /// Adds word w at absolute word position pos, exp <= pos <= exp + L, else
  /// InvalidParametersException "BigFloat::add_ip(): Magnitude is out of range.".
  void add_ip(Word w, std::int64_t pos);
  /// Adds one unit at word index p, counted from T.
  void purturb_up(std::size_t p);

  /// Drops low words so that at most `words` remain.
  void truncate(std::size_t words);
  /// Throws AlgorithmFailedException "BigFloat::check_normalization(): Top word is zero.".
  void check_normalization() const;
  /// For debugging: "sign =", "mag =", "exp =" and the words.
  std::string dump() const;
  /// The value as a double times 2^(32 * *exponent): the top words only.
  double to_double(std::int64_t* exponent) const;

  Word* T = nullptr;
  std::uint32_t L = 0;
  std::int64_t exp = 0;
  bool sign = false;
  Word* buffer = nullptr;
  std::uint32_t buffer_size = 0;
};

/// A zero with room for `words` words, taken off `memory`.
BigFloat carve_float(AlignedBufferC& memory, std::size_t words);

/// -1, 0 or 1 as |a| is below, equal to or above |b|.
int compare_magnitude(const BigFloat& a, const BigFloat& b);

}  // namespace nmp
