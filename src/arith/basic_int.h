// Strictly positive integers: the small change of the series engine's end cases.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "arith/context.h"
#include "arith/word.h"
#include "memory/aligned_buffer.h"

namespace nmp {

/// A positive integer: the sum of T[i] * 2^(32 i) for i < L, T[L - 1] != 0. A view over the
/// caller's `buffer_size` words at T. `hash` is the value modulo 2^61 - 1.
///
/// Zero and negative results are errors: UnsupportedZeroException "Zero was encountered." and
/// UnsupportedNegativeException "A negative value was encountered.". A buffer without room for a
/// result is a BufferTooSmallException (words). After a failure the target's value is unspecified.
class BasicInt {
 public:
  BasicInt() = default;
  BasicInt(Word* words, std::uint32_t count) : T(words), buffer_size(count) {}

  /// Needs buffer_size >= 2 for values of two words. x = 0 is "Zero was encountered.".
  void set_u64(std::uint64_t x);
  void set_BasicInt(const BasicInt& x);
  /// this *= w, needs room for one more word. w = 0 is "Zero was encountered.".
  void mul_uW(Word w);
  /// this *= x for a two-word factor, needs room for two more words.
  void mul_u64(std::uint64_t x);

  BasicInt& operator+=(const BasicInt& x);  ///< needs buffer_size >= max(L, x.L) + 1
  BasicInt& operator-=(const BasicInt& x);  ///< needs buffer_size >= L + 1

  /// this = x^2; needs buffer_size >= 2 x.L and must not overlap x. Scratch as `multiply_scratch`.
  void set_sqrB(Context& context, const BasicInt& x, AlignedBufferC scratch);

  Word* T = nullptr;
  std::uint32_t L = 0;
  std::uint32_t buffer_size = 0;
  std::uint64_t hash = 0;
};

/// The form that multiplies into the caller's buffer.
class BasicIntR : public BasicInt {
 public:
  using BasicInt::BasicInt;
  /// this = a * b; needs buffer_size >= a.L + b.L and must overlap neither operand.
  void set_mulB(Context& context, const BasicInt& a, const BasicInt& b, AlignedBufferC scratch);
};

/// The form that owns its words.
class BasicIntO : public BasicInt {
 public:
  explicit BasicIntO(std::uint32_t words);

 private:
  std::unique_ptr<Word[]> storage_;
};

}  // namespace nmp
