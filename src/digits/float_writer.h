// Turns a computed number into digits: conversion, its proof, and the way to the sink.
//
// The job calls, in this order,
//     convert              decimal only: the digits are formed, as blocks of nine, in the scratch
//     verify               decimal only: they are compared with the number, modulo 2^61 - 1
//     write                they go to the sink, and the record for the later read-back is gathered
//     verify_binary_words  the number itself is still what it was
// and gives each of them the same scratch, which it leaves alone in between.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "arith/big_float.h"
#include "arith/context.h"
#include "digits/digit_sink.h"
#include "digits/output_record.h"
#include "digits/radix_split.h"
#include "foundation/progress.h"
#include "memory/aligned_buffer.h"

namespace nmp {

class FloatWriterB {
 public:
  /// Largest count of digits whose numbers and products the counters of this target hold.
  static constexpr std::uint64_t kMaxDigits =
      sizeof(std::size_t) < 8 ? std::uint64_t{1} << 31 : std::uint64_t{9} << 32;

  /// `number` is a view: its words stay the caller's and are only read. `precision` is how many of
  /// its words, counted from the top, are right; their part below the point must exceed what
  /// `digits` need, else InvalidParametersException "compute < output". The same exception for a
  /// number that is zero or not strictly between 2^-32 and 2^32, and for a radix other than 10 and
  /// 16 ("Invalid radix."). A negative number draws a warning and is taken as positive.
  FloatWriterB(Context& context, const BigFloat& number, std::size_t precision,
               std::uint64_t digits, unsigned radix);

  /// Bytes of scratch, the same for all steps.
  static std::size_t scratch_bytes(const Context& context, std::uint64_t digits, unsigned radix);

  /// The digits before the point and the point: "3.".
  std::string first_digits() const;

  /// Forms the digits of a decimal output. Hexadecimal needs no arithmetic: nothing happens.
  /// AlgorithmFailedException where a fault has spoilt a power or a split (radix_conversion.h).
  void convert(Context& context, Progress* progress, AlignedBufferC scratch);

  /// R, the hash of the digits read as one integer, against B, that of floor(fraction * 10^digits)
  /// by a product of its own. They may differ by one unit. Otherwise both are shown and
  /// AlgorithmFailedException "Base Conversion Failed: Checksum Mismatch" is thrown.
  /// LimitExceededException "Too many digits." past kMaxDigits. Nothing happens for hexadecimal.
  void verify(Context& context, Progress* progress, AlignedBufferC scratch);

  /// Expands the digits and hands them to `sink`, from the first to the last; a null sink only
  /// leaves that part out. `record` and `last` get them all. AlgorithmFailedException "Checksum
  /// Mismatch" where the expanded digits are not the verified ones, or not those of the number.
  void write(Context& context, Progress* progress, DigitSink* sink, HashedDigits& record,
             LastDigits& last, AlignedBufferC scratch);

  /// AlgorithmFailedException "Checksum Mismatch" when the words of the number are no longer what
  /// they were at construction.
  void verify_binary_words(Context& context, Progress* progress) const;

 private:
  void check_range() const;
  void check_precision(std::size_t precision) const;
  void copy_fraction(Word* target, std::uint64_t first, std::size_t count) const;
  std::uint64_t hash_of_blocks(Context& context, const Word* blocks) const;
  std::uint64_t hash_of_nibbles(Context& context) const;
  std::uint64_t hash_of_product(Context& context, Progress* progress, AlignedBufferC scratch) const;
  void expand(const Word* blocks, std::uint64_t first_unit, std::size_t units,
              std::uint8_t* digits) const;

  BigFloat number_;
  std::uint64_t digits_;
  unsigned radix_;
  std::uint64_t before_hash_ = 0;
  std::optional<std::uint64_t> verified_hash_;  ///< R, once it has passed
};

}  // namespace nmp
