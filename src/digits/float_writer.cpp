#include "digits/float_writer.h"

#include <algorithm>

#include "arith/hash61.h"
#include "arith/long_ops.h"
#include "arith/word_ops.h"
#include "digits/radix_conversion.h"
#include "digits/step_trail.h"
#include "foundation/console.h"
#include "foundation/exceptions.h"

namespace nmp {
namespace {

constexpr const char* kConstructor = "FloatWriterB()";

constexpr const char* kRange =
    "\n\nnumforge's radix conversion and digit output is only equipped to handle\n"
    "positive numbers with a magnitude near 1.\n\n"
    "The exact range that numforge can handle is:\n"
    "    32-bit binaries: 2^-32 < x < 2^32\n"
    "    64-bit binaries: 2^-64 < x < 2^64";

}  // namespace

FloatWriterB::FloatWriterB(Context& context, const BigFloat& number, std::size_t precision,
                           std::uint64_t digits, unsigned radix)
    : number_(number), digits_(digits), radix_(radix) {
  if (radix != 10 && radix != 16) throw InvalidParametersException(kConstructor, "Invalid radix.");
  if (number_.is_zero())
    throw InvalidParametersException(kConstructor,
                                     std::string("Number is zero and out of range.") + kRange);
  if (!number_.sign) {
    console::print('Y',
                   "Warning: numforge's digit output cannot handle negative numbers.\n"
                   "Output will be flipped positive...\n");
    number_.sign = true;
  }
  check_range();
  check_precision(precision);
  before_hash_ = words::hash_of(context, number_.T, number_.L);
}

void FloatWriterB::check_range() const {
  // One word before the point at most, and none of the first below it empty: >= 2^-32, and equal
  // to it only where that word is 1 and nothing follows.
  bool inside = number_.mag() == 0 || number_.mag() == 1;
  if (number_.mag() == 0 && number_.T[number_.L - 1] == 1)
    inside = words::low_zero_words(number_.T, number_.L) != number_.L - 1;
  if (!inside)
    throw InvalidParametersException(kConstructor, std::string("Number is out of range.") + kRange);
}

void FloatWriterB::check_precision(std::size_t precision) const {
  const std::uint64_t output = radix_ == 16 ? 4 * digits_ : CBRv2::bits_for_digits(digits_);
  const std::uint64_t whole = static_cast<std::uint64_t>(number_.mag());
  if (precision <= whole || (precision - whole) * kWordBits <= output)
    throw InvalidParametersException(kConstructor, "compute < output");
}

std::string FloatWriterB::first_digits() const {
  Word whole = number_.mag() == 1 ? number_.T[number_.L - 1] : 0;
  std::string text = ".";
  do {
    text.insert(text.begin(), "0123456789abcdef"[whole % radix_]);
    whole /= radix_;
  } while (whole != 0);
  return text;
}

/// target[0, count) = the fraction's words from `first` on, counted from the point down, the last
/// one at target[0]. Where the number ends they are zero.
void FloatWriterB::copy_fraction(Word* target, std::uint64_t first, std::size_t count) const {
  const std::int64_t bottom = -static_cast<std::int64_t>(first + count);
  const std::int64_t top = -static_cast<std::int64_t>(first);
  const std::int64_t from = std::clamp(number_.exp, bottom, top);
  const std::size_t missing = static_cast<std::size_t>(from - bottom);
  words::zero(target, missing);
  if (missing < count)
    words::copy(target + missing, number_.T + (from - number_.exp), count - missing);
}

void FloatWriterB::convert(Context& context, Progress* progress, AlignedBufferC scratch) {
  if (radix_ == 16 || digits_ == 0) return;
  if (progress != nullptr) progress->step("Base Converting");
  const CBRv2::Split split(digits_);
  Word* blocks = scratch.carve<Word>(split.storage());
  StepTrail trail(progress, "Powering...");
  AlignedBufferC storage = scratch.spawn(CBRv2::PowerTable::storage_bytes(split));
  const CBRv2::PowerTable powers(context, split, storage, scratch);
  trail.replace("Multiplying...");
  copy_fraction(blocks, 0, split.words(split.levels));
  CBRv2::convert_T(context, split, powers, blocks, progress, scratch);
}

void FloatWriterB::verify_binary_words(Context& context, Progress* progress) const {
  if (progress != nullptr) progress->step("Verifying Binary Output");
  const std::uint64_t after_hash = words::hash_of(context, number_.T, number_.L);
  const std::string before = "Before Hash = " + std::to_string(before_hash_);
  const std::string after = "After  Hash = " + std::to_string(after_hash);
  if (progress != nullptr) {
    progress->note(before);
    progress->note(after);
  } else {
    console::print_line(before);
    console::print_line(after);
  }
  if (before_hash_ != after_hash)
    throw AlgorithmFailedException("FloatWriterB::verify_binary_words()", "Checksum Mismatch");
}

}  // namespace nmp
