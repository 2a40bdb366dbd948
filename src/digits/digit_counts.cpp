#include "digits/digit_counts.h"

#include <algorithm>
#include <cstring>

#include "arith/hash61.h"
#include "digits/block_hash.h"
#include "digits/stats_kernels.h"
#include "foundation/exceptions.h"
#include "foundation/format.h"

namespace nmp {
namespace {

constexpr std::size_t kGroup = stats::kGroup;  ///< digits per step of the hash
/// Digits per run of the counting: byte counters stay below 256.
constexpr std::size_t kRun = kGroup * 255;
/// Digits between counting and hashing.
constexpr std::size_t kPiece = std::size_t{1} << 16;

std::uint64_t load8(const std::uint8_t* digits) {
  std::uint64_t x = 0;
  for (unsigned i = 0; i < 8; ++i) x |= std::uint64_t{digits[i]} << (8 * i);
  return x;
}

/// Eight digits as one number: neighbours are joined to pairs, pairs to fours, fours to the eight.
/// The first digit, the most significant, is the lowest byte.
std::uint64_t join8_decimal(std::uint64_t x) {
  x = (x * 10 + (x >> 8)) & 0x00FF00FF00FF00FF;
  x = (x * 100 + (x >> 16)) & 0x0000FFFF0000FFFF;
  return (x * 10000 + (x >> 32)) & 0xFFFFFFFF;
}
std::uint64_t join8_hex(std::uint64_t x) {
  x = ((x << 4) | (x >> 8)) & 0x00FF00FF00FF00FF;
  x = ((x << 8) | (x >> 16)) & 0x0000FFFF0000FFFF;
  return ((x << 16) | (x >> 32)) & 0xFFFFFFFF;
}

/// Horner's rule, sixteen digits at a time.
template <typename Join>
std::uint64_t hash_groups(const std::uint8_t* digits, std::size_t groups, std::uint64_t radix8,
                          Join join8) {
  const std::uint64_t radix16 = hash61::multiply(radix8, radix8);
  std::uint64_t hash = 0;
  for (std::size_t i = 0; i < groups; ++i, digits += kGroup) {
    // A joined eight is below 2^32 and radix8 at most 2^32, so the product fits 64 bits.
    const std::uint64_t high = hash61::fold(join8(load8(digits)) * radix8);
    const std::uint64_t low = join8(load8(digits + 8));
    hash = hash61::fold(hash61::multiply(hash, radix16) + high + low);
  }
  return hash;
}

/// Sixteen byte counters; the compiler maps them to what the target has.
typedef std::uint8_t Lanes __attribute__((vector_size(kGroup)));

/// counts[v] += digits equal to v, for count <= kRun. Two values share each sweep.
void count_run(const std::uint8_t* digits, std::size_t count, unsigned radix,
               std::uint64_t* counts) {
  const std::size_t groups = count / kGroup;
  for (unsigned value = 0; value < radix; value += 2) {
    const Lanes even = Lanes{} + static_cast<std::uint8_t>(value), odd = even + 1;
    Lanes evens{}, odds{};
    for (std::size_t i = 0; i < groups; ++i) {
      Lanes x;
      std::memcpy(&x, digits + kGroup * i, kGroup);
      evens -= reinterpret_cast<Lanes>(x == even);  // true is ~0
      odds -= reinterpret_cast<Lanes>(x == odd);
    }
    for (std::size_t j = 0; j < kGroup; ++j) {
      counts[value] += evens[j];
      if (value + 1 < radix) counts[value + 1] += odds[j];
    }
  }
  for (std::size_t i = groups * kGroup; i < count; ++i)
    if (digits[i] < radix) ++counts[digits[i]];
}

std::uint64_t portable_hash(const std::uint8_t* digits, std::size_t count, unsigned radix) {
  std::uint64_t hash = 0;
  std::size_t done = 0;
  if (radix == 10 || radix == 16) {
    const std::size_t groups = count / kGroup;
    done = groups * kGroup;
    hash = radix == 10 ? hash_groups(digits, groups, 100'000'000, join8_decimal)
                       : hash_groups(digits, groups, std::uint64_t{1} << 32, join8_hex);
  }
  for (; done < count; ++done) hash = hash61::fold(hash61::multiply(hash, radix) + digits[done]);
  return hash;
}

/// Null where there are no vector loops for this processor or radix.
const stats::BlockHash* block_hash(unsigned radix) {
  const stats::Kernels* const kernels = stats::kernels();
  if (kernels == nullptr || (radix != 10 && radix != 16)) return nullptr;
  static const stats::BlockHash decimal(*kernels, 10), hex(*kernels, 16);
  return radix == 10 ? &decimal : &hex;
}

void count_digits(const std::uint8_t* digits, std::size_t count, unsigned radix,
                  std::uint64_t* counts) {
  std::size_t done = 0;
  if (block_hash(radix) != nullptr)
    for (; count - done >= stats::kBlock; done += stats::kBlock)
      stats::kernels()->count(digits + done, radix, counts);
  for (; done < count; done += kRun)
    count_run(digits + done, std::min(kRun, count - done), radix, counts);
}

}  // namespace

std::uint64_t hash_digits(const std::uint8_t* digits, std::size_t count, unsigned radix) {
  std::uint64_t hash = 0;
  std::size_t done = 0;
  if (const stats::BlockHash* blocks = block_hash(radix))
    for (; count - done >= stats::kBlock; done += stats::kBlock)
      hash = blocks->append(hash, digits + done);
  return hash61::add(hash61::multiply(hash, hash61::power(radix, count - done)),
                     portable_hash(digits + done, count - done, radix));
}

DigitCounts::DigitCounts(unsigned radix) : radix_(radix) {
  constexpr const char* kFunction = "DigitCounts::DigitCounts()";
  if (radix > kMaxRadix) throw InvalidParametersException(kFunction, "Radix is too large.");
  if (radix < 2) throw InvalidParametersException(kFunction, "Invalid Radix.");
}

void DigitCounts::append(const std::uint8_t* digits, std::size_t count) {
  DigitCounts run(radix_);
  for (std::size_t done = 0; done < count;) {
    const std::size_t piece = std::min(kPiece, count - done);
    run.append_piece(digits + done, piece);
    done += piece;
  }
  append(run);
}

/// Counting and hashing pass over the digits one after the other, the second time in the cache.
void DigitCounts::append_piece(const std::uint8_t* digits, std::size_t count) {
  std::array<std::uint64_t, kMaxRadix> counts{};
  count_digits(digits, count, radix_, counts.data());
  std::uint64_t valid = 0;
  for (unsigned value = 0; value < radix_; ++value) {
    valid += counts[value];
    counts_[value] += counts[value];
  }
  if (valid != count) throw InvalidParametersException("DigitCounts::append()", "Invalid Digit");
  total_ += count;
  hash_ = hash61::add(hash61::multiply(hash_, hash61::power(radix_, count)),
                      hash_digits(digits, count, radix_));
}

void DigitCounts::append(const DigitCounts& right) {
  if (right.radix_ != radix_)
    throw InvalidParametersException("DigitCounts::append()", "Invalid Radix.");
  for (unsigned value = 0; value < radix_; ++value) counts_[value] += right.counts_[value];
  total_ += right.total_;
  hash_ = hash61::add(hash61::multiply(hash_, hash61::power(radix_, right.total_)), right.hash_);
}

std::string DigitCounts::listing() const {
  std::string text;
  for (unsigned value = 0; value < radix_; ++value) {
    text += "    ";
    text += "0123456789abcdef"[value];
    text += " : " + with_commas(counts_[value]) + "\n";
  }
  return text;
}

}  // namespace nmp
