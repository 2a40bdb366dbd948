// The proof of a decimal conversion.
//
// With X the fraction's w words as an integer and N digits, 10^N X = I 2^(32 w) + rest. Taking out
// 2^N leaves 5^N X = I 2^b + t with b = 32 w - N and t < 2^b, so that
//     B = hash(I) = (5^N hash(X) - hash(t)) / 2^b  modulo 2^61 - 1
// and t, the low b bits of a product of X's low b bits, is all that has to be multiplied out, and
// of it the residue is enough (low_product_hash.h). The conversion cuts X to the same words, so its
// digits give I or I - 1.

#include <algorithm>
#include <mutex>
#include <string>

#include "arith/hash61.h"
#include "arith/long_ops.h"
#include "digits/float_writer.h"
#include "digits/float_writer_scratch.h"
#include "digits/low_product_hash.h"
#include "digits/radix_power.h"
#include "digits/step_trail.h"
#include "foundation/console.h"
#include "foundation/exceptions.h"
#include "parallel/context.h"

namespace nmp {
namespace {

constexpr const char* kVerify = "FloatWriterB::verify()";
/// Blocks of a task of hashing.
constexpr std::size_t kHashedAtOnce = std::size_t{1} << 16;

/// The sizes in the comment above.
struct ProductShape {
  explicit ProductShape(std::uint64_t digits) {
    const CBRv2::Split split(digits);
    fraction_words = split.words(split.levels);
    rest_bits = std::uint64_t{fraction_words} * kWordBits - digits;
    rest_words = static_cast<std::size_t>((rest_bits + kWordBits - 1) / kWordBits);
    power_room = CBRv2::power_of_5_room(digits);
  }
  std::size_t fraction_words, rest_words, power_room;
  std::uint64_t rest_bits;
};

/// Blocks read as one number modulo 2^61 - 1, in four parts: their sums do not wait for each other.
std::uint64_t hash_of(const Word* blocks, std::size_t n) {
  constexpr std::size_t kParts = 4;
  const std::size_t each = n / kParts;
  std::uint64_t part[kParts] = {}, hash = 0;
  for (std::size_t i = 0; i < each; ++i)
    for (std::size_t j = 0; j < kParts; ++j)
      part[j] = hash61::multiply(part[j], CBRv2::kBlockRadix) + blocks[j * each + i];
  const std::uint64_t weight = hash61::power(CBRv2::kBlockRadix, each);
  for (const std::uint64_t sum : part) hash = hash61::add(hash61::multiply(hash, weight), sum);
  for (std::size_t i = kParts * each; i < n; ++i)
    hash = hash61::fold(hash61::multiply(hash, CBRv2::kBlockRadix) + blocks[i]);
  return hash;
}

/// 2^-bits modulo 2^61 - 1.
std::uint64_t inverse_power_of_2(std::uint64_t bits) {
  return hash61::fold(std::uint64_t{1} << (61 - bits % 61));
}

}  // namespace

std::size_t float_writer_verify_scratch(const Context& context, std::uint64_t digits) {
  const ProductShape shape(digits);
  return carved_bytes<Word>(shape.power_room) +
         std::max(CBRv2::power_of_5_scratch(context, digits),
                  low_product_scratch(context, shape.rest_words, shape.power_room));
}

/// R.
std::uint64_t FloatWriterB::hash_of_blocks(Context& context, const Word* blocks) const {
  const std::size_t full = static_cast<std::size_t>(digits_ / CBRv2::kBlockDigits);
  std::mutex summing;
  std::uint64_t hash = 0;
  context.threads.parallel_for(0, full, kHashedAtOnce, [&](std::size_t begin, std::size_t end) {
    const std::uint64_t part = hash61::multiply(hash_of(blocks + begin, end - begin),
                                                hash61::power(CBRv2::kBlockRadix, full - end));
    const std::lock_guard<std::mutex> lock(summing);
    hash = hash61::add(hash, part);
  });
  const unsigned rest = static_cast<unsigned>(digits_ % CBRv2::kBlockDigits);
  if (rest == 0) return hash;
  Word last = blocks[full];
  for (unsigned i = rest; i < CBRv2::kBlockDigits; ++i) last /= 10;
  return hash61::fold(hash61::multiply(hash, hash61::power(10, rest)) + last);
}

/// B.
std::uint64_t FloatWriterB::hash_of_product(Context& context, Progress* progress,
                                            AlignedBufferC scratch) const {
  const ProductShape shape(digits_);
  StepTrail trail(progress, "Powering...");
  Word* power = scratch.carve<Word>(shape.power_room);
  const std::size_t power_length = CBRv2::power_of_5(context, digits_, power, scratch);
  trail.replace("Hashing Power...");
  CBRv2::CheckS(context, 5, digits_, power, power_length);

  // Words of X below the number's last one are zeros and stay out of the product.
  trail.replace("Hashing Binary...");
  const std::int64_t bottom = -static_cast<std::int64_t>(shape.fraction_words);
  const std::int64_t lowest = std::clamp<std::int64_t>(number_.exp, bottom, 0);
  const Word* x = number_.T + (lowest - number_.exp);
  const std::size_t zeros = static_cast<std::size_t>(lowest - bottom);
  const std::uint64_t weight = hash61::word_weight(static_cast<std::int64_t>(zeros));
  const std::uint64_t x_hash = words::hash_of(context, x, shape.fraction_words - zeros);
  const std::uint64_t total =
      hash61::multiply(hash61::multiply(x_hash, weight), hash61::power(5, digits_));

  trail.replace("Multiplying...");
  std::uint64_t rest_hash = 0;
  if (zeros < shape.rest_words) {
    const std::size_t rest = shape.rest_words - zeros;
    const std::uint64_t bits = shape.rest_bits - std::uint64_t{zeros} * kWordBits;
    const std::uint64_t hash =
        low_product_hash(context, x, rest, power, power_length, bits, scratch);
    rest_hash = hash61::multiply(hash, weight);
  }
  return hash61::multiply(hash61::subtract(total, rest_hash), inverse_power_of_2(shape.rest_bits));
}

void FloatWriterB::verify(Context& context, Progress* progress, AlignedBufferC scratch) {
  if (digits_ > kMaxDigits)
    throw LimitExceededException(kVerify, "Too many digits.", digits_, kMaxDigits);
  if (radix_ == 16 || digits_ == 0) return;
  if (progress != nullptr) progress->step("Verifying Base Conversion");
  const Word* blocks = scratch.carve<Word>(CBRv2::Split(digits_).storage());
  const std::uint64_t r = hash_of_blocks(context, blocks);
  const std::uint64_t b = hash_of_product(context, progress, scratch);
  const std::uint64_t difference = hash61::subtract(r, b);
  if (difference <= 1 || difference == hash61::kPrime - 1) {
    verified_hash_ = r;
    return;
  }
  console::print_line('R', "\nR = " + std::to_string(r) + "\nB = " + std::to_string(b));
  throw AlgorithmFailedException(kVerify, "Base Conversion Failed: Checksum Mismatch");
}

}  // namespace nmp
