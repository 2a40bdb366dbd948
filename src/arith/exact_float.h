// Big numbers that never round: additions grow them instead.
#pragma once

#include <cstddef>
#include <cstdint>

#include "arith/basic_int.h"
#include "arith/context.h"
#include "arith/word.h"
#include "memory/aligned_buffer.h"

namespace nmp {

/// Product length (words of both operands) below which the dispatcher is bypassed.
inline constexpr std::uint32_t kExactFloatBasecaseLength = 20;

/// Value = +-(sum of T[i] * 2^(32 (exp + i)), i < L). Zero is L = 0, exp = 0, sign = false.
/// A view over the caller's `buffer`; the positions it can hold are [Tmin, Tmax) with
/// Tmin = exp - (T - buffer) and Tmax = Tmin + buffer_size. `hash` is the value modulo 2^61 - 1,
/// word position p weighing 2^(32 p), and follows every operation. A non-zero number has a
/// non-zero top word.
///
/// Room is checked by every operation that grows a number: BufferTooSmallException (words) where a
/// fresh result does not fit, InvalidParametersException where an addition would leave
/// [Tmin, Tmax). A zero has Tmin = 0 when freshly set; one that is left over from a subtraction
/// keeps its Tmin as long as position 0 is in reach. After a failure the target's value is
/// unspecified.
class ExactFloat {
 public:
  ExactFloat() = default;
  ExactFloat(Word* words, std::uint32_t count) : T(words), buffer(words), buffer_size(count) {}
  /// Words that fit into what is left of a scratch block; takes all of it.
  explicit ExactFloat(AlignedBufferC storage);

  bool is_zero() const { return L == 0; }
  std::int64_t mag() const { return exp + L; }  ///< position one above the top word
  std::int64_t Tmin() const { return exp - (T - buffer); }
  std::int64_t Tmax() const { return Tmin() + buffer_size; }

  void set_zero();
  void negate();
  /// Copies; a `positive` of false negates (the hash too).
  void set_BasicInt(const BasicInt& x, bool positive);
  void set_ExactFloat(Context& context, const ExactFloat& x);

  /// this = a + b, signed. The buffer must hold max(mag) + 1 - min(exp) words; overlaps neither.
  void set_add(Context& context, const ExactFloat& a, const ExactFloat& b);
  /// this = a * b through the dispatcher (schoolbook below kExactFloatBasecaseLength words in all).
  /// Needs buffer_size >= a.L + b.L; overlaps neither; scratch as `multiply_scratch(a.L + b.L)`.
  void set_mul(Context& context, const ExactFloat& a, const ExactFloat& b, AlignedBufferC scratch);
  /// this *= w; needs a word of room above the top. w = 0 gives zero.
  void mul_uW(Word w);
  /// this *= 2^bits: whole words into `exp`, the rest by shifting (needs a word above the top).
  void mp2(std::int64_t bits);

  /// Magnitude operations in place: both signs are ignored and the result is positive (or zero),
  /// its hash too; callers that want the opposite `negate()`. AB: this op B. BA: B op this.
  /// Subtractions need the left operand to be the larger (else InvalidParametersException).
  /// Faults: "Amag >= Tmax" / "Bmag >= Tmax" (additions), "Amag > Tmax" / "Bmag > Tmax"
  /// (subtractions), "Bexp < Tmin", with the operation's name ("ExactFloat::uaddAB_ip()").
  void uaddAB_ip(Context& context, const ExactFloat& b);
  void uaddBA_ip(Context& context, const ExactFloat& b);
  void usubAB_ip(Context& context, const ExactFloat& b);
  void usubBA_ip(Context& context, const ExactFloat& b);
  /// this += b, signed; the same room rules. Positions from min(exp) to max(mag) + 1 must fit.
  void add_ip(Context& context, const ExactFloat& b);

  /// Rounds towards zero: drops low words so that at most `words` >= 1 remain, or those below
  /// position `lowest` (all of them give zero). The residue starts afresh from what is kept.
  void truncate(Context& context, std::size_t words);
  void truncate_below(Context& context, std::int64_t lowest);

  /// The residue recomputed from the words; differs from `hash` only after a fault.
  std::uint64_t computed_hash() const;
  std::uint64_t computed_hash(Context& context) const;

  Word* T = nullptr;
  std::uint32_t L = 0;
  std::int64_t exp = 0;
  bool sign = false;
  std::uint64_t hash = 0;
  Word* buffer = nullptr;
  std::uint32_t buffer_size = 0;

 private:
  std::uint64_t placed_hash(std::uint64_t of_words) const;
  /// That of the words alone, by `hash`.
  std::uint64_t magnitude_hash() const;
};

/// A zero with room for `words` words, off the front of `memory`.
ExactFloat carve_number(AlignedBufferC& memory, std::size_t words);

/// -1, 0 or 1 as |a| is below, equal to or above |b|.
int compare_magnitude(const ExactFloat& a, const ExactFloat& b);

}  // namespace nmp
