#include "digits/radix_power.h"

#include <algorithm>
#include <string>

#include "arith/hash61.h"
#include "arith/long_ops.h"
#include "arith/multiply/algorithm_table.h"
#include "arith/word_ops.h"
#include "foundation/console.h"
#include "foundation/exceptions.h"

namespace nmp::CBRv2 {
namespace {

constexpr unsigned kExponentOfOneWord = 13;  // 5^13 < 2^32 < 5^14

std::size_t times_5(Word* number, std::size_t length) {
  const Word carry = words::mul_1(number, number, length, 5);
  if (carry != 0) number[length++] = carry;
  return length;
}

/// Squarings that lead from a one-word power to 5^exponent.
unsigned squarings(std::uint64_t exponent) {
  unsigned count = 0;
  for (; exponent > kExponentOfOneWord; exponent >>= 1) ++count;
  return count;
}

}  // namespace

std::uint64_t CheckP(std::uint64_t radix, std::uint64_t exponent) {
  if (radix < 2) throw AlgorithmFailedException("CBRv2::CheckP()", "Radix is less than 2.");
  return hash61::power(radix, exponent);
}

void CheckS(Context& context, std::uint64_t radix, std::uint64_t exponent, const Word* words,
            std::size_t length) {
  const std::uint64_t expected = CheckP(radix, exponent);
  const std::uint64_t actual = words::hash_of(context, words, length);
  if (expected == actual) return;
  console::print_line('R', "\nRadix Conversion: Power Hash Mismatch\nExpected = " +
                               std::to_string(expected) + "\nActual   = " + std::to_string(actual));
  throw AlgorithmFailedException("CBRv2::CheckS()", "Power Hash Mismatch");
}

std::size_t power_of_5_room(std::uint64_t exponent) {
  // The square of half the power has one word more at most; times_5 stays within it.
  return static_cast<std::size_t>(words_for_power_of_5(exponent)) + 2;
}

std::size_t power_of_5_scratch(const Context& context, std::uint64_t exponent) {
  if (squarings(exponent) == 0) return 0;
  return carved_bytes<Word>(power_of_5_room(exponent / 2)) +
         multiply_scratch(context, power_of_5_room(exponent));
}

std::size_t power_of_5(Context& context, std::uint64_t exponent, Word* target,
                       AlignedBufferC scratch) {
  const unsigned steps = squarings(exponent);
  Word* other = steps == 0 ? nullptr : scratch.carve<Word>(power_of_5_room(exponent / 2));
  // Two buffers take turns so that the last square lands in `target`.
  Word* now = steps % 2 == 0 ? target : other;
  Word* next = steps % 2 == 0 ? other : target;
  now[0] = 1;
  for (std::uint64_t i = exponent >> steps; i > 0; --i) now[0] *= 5;
  std::size_t length = 1;
  for (unsigned i = steps; i-- > 0; std::swap(now, next)) {
    multiply(context, next, now, length, now, length, scratch);
    length = words::stripped_length(next, 2 * length);
    if ((exponent >> i) & 1) length = times_5(next, length);
  }
  return length;
}

std::size_t PowerTable::storage_bytes(const Split& split) {
  std::size_t bytes = 0;
  for (unsigned level = 1; level <= split.levels; ++level)
    bytes += carved_bytes<Word>(power_of_5_room(split.half_digits(level)));
  return bytes;
}

std::size_t PowerTable::scratch_bytes(const Context& context, const Split& split) {
  if (split.levels == 0) return 0;
  std::size_t bytes = power_of_5_scratch(context, split.half_digits(1));
  if (split.levels > 1) {
    const std::size_t top = power_of_5_room(split.half_digits(split.levels));
    bytes = std::max(bytes, multiply_scratch(context, top));
  }
  return bytes;
}

PowerTable::PowerTable(Context& context, const Split& split, AlignedBufferC& storage,
                       AlignedBufferC scratch) {
  nmp_CBRv2_ci_btrf_build_table(context, split, storage, scratch);
}

void PowerTable::nmp_CBRv2_ci_btrf_build_table(Context& context, const Split& split,
                                               AlignedBufferC& storage, AlignedBufferC scratch) {
  for (unsigned level = 1; level <= split.levels; ++level) {
    Power& power = powers_[level];
    power.exponent = split.half_digits(level);
    Word* target = storage.carve<Word>(power_of_5_room(power.exponent));
    power.words = target;
    if (level == 1) {
      power.length = power_of_5(context, power.exponent, target, scratch);
    } else {
      const Power& root = powers_[level - 1];
      multiply(context, target, root.words, root.length, root.words, root.length, scratch);
      power.length = words::stripped_length(target, 2 * root.length);
    }
    CheckS(context, 5, power.exponent, power.words, power.length);
  }
}

const Power& PowerTable::for_level(const Split& split, unsigned level) const {
  const Power& power = powers_[level];
  if (power.exponent != split.half_digits(level))
    throw AlgorithmFailedException("nmp_CBRv2_ci_btrf_build_table()", "Mismatching exponents.");
  return power;
}

}  // namespace nmp::CBRv2
