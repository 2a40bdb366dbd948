#include "arith/multiply/ntt64/convert.h"

#include <algorithm>
#include <cstring>

#include "arith/multiply/ntt64/plan.h"
#include "arith/multiply/ntt64/share.h"
#include "arith/word_ops.h"

namespace nmp::n64 {
namespace {

constexpr std::size_t kBlock = 64;  ///< digits recombined at a time
constexpr std::size_t kWideDigitBytes = kWideDigitBits / 8;
constexpr std::size_t kNarrowDigitBytes = kNarrowDigitBits / 8;

/// The digit low + 2^64 high, high < 2^16, as a residue in [0, 4 p).
std::uint64_t residue(const Modulus& modulus, std::uint64_t low, std::uint64_t high,
                      const Factor& power64) {
  // One subtraction leaves low below 2^64 - 2 p, as p < 2^62. The short factor's product is reduced
  // but for a hair, below p (1 + 2^-48), and 2^64 - p < 4 p.
  return modulus.halve_range(low) + modulus.multiply_lazy(high, power64);
}

/// One digit from the first `bytes` bytes at `p`; missing ones are zero.
void read_digit(const unsigned char* p, std::size_t bytes, std::uint64_t& low,
                std::uint64_t& high) {
  unsigned char digit[16] = {};
  std::memcpy(digit, p, bytes);
  std::memcpy(&low, digit, 8);
  std::memcpy(&high, digit + 8, 8);
}

/// A running sum of coefficients that gives off its low digits. With less than 2^123 carried on,
/// coefficients below 2^186 never fill its three limbs.
struct CarrySum {
  std::uint64_t limb[3] = {};

  void add(const std::uint64_t (&x)[3]) {
    std::uint64_t carry = 0;
    for (std::size_t i = 0; i < 3; ++i) {
      const std::uint64_t partial = limb[i] + carry;
      carry = partial < carry;
      limb[i] = partial + x[i];
      carry += limb[i] < partial;
    }
  }
  /// Writes the lowest digit and drops it.
  void shift_out(unsigned digit_bits, unsigned char* out) {
    std::memcpy(out, &limb[0], 8);
    limb[0] = limb[1], limb[1] = limb[2], limb[2] = 0;
    if (digit_bits == kNarrowDigitBits) return;
    const auto high = static_cast<std::uint16_t>(limb[0]);
    std::memcpy(out + 8, &high, 2);
    limb[0] = (limb[0] >> 16) | (limb[1] << 48);
    limb[1] >>= 16;
  }
};

/// Residues r_k of n x to x = v1 + p1 (v2 + p2 v3), 0 <= v_k < p_k. The division by n is folded
/// into the constants.
class Garner {
 public:
  explicit Garner(std::size_t n) {
    const Modulus &f1 = field(0).modulus(), &f2 = field(1).modulus(), &f3 = field(2).modulus();
    const std::uint64_t p1 = f1.p(), p2 = f2.p();
    const auto scale = [n](const Modulus& f) { return f.inverse(n % f.p()); };
    // 1 / p1 modulo p2 and 1 / (p1 p2) modulo p3; the primes lie within a factor of two.
    const std::uint64_t c2 = f2.inverse(p1 % f2.p());
    const std::uint64_t c3 = f3.inverse(f3.multiply(p1 % f3.p(), p2 % f3.p()));
    r1_ = f1.factor(scale(f1));
    r2_ = f2.factor(f2.multiply(scale(f2), c2));
    v1_in_2_ = f2.factor(f2.p() - c2);
    r3_ = f3.factor(f3.multiply(scale(f3), c3));
    v1_in_3_ = f3.factor(f3.p() - c3);
    v2_in_3_ = f3.factor(f3.p() - f3.multiply(p1 % f3.p(), c3));
  }

  void recombine(std::uint64_t r1, std::uint64_t r2, std::uint64_t r3,
                 std::uint64_t (&x)[3]) const {
    const std::uint64_t v1 = Modulus::wrap(f1_.multiply_lazy(r1, r1_), f1_.p());
    const std::uint64_t v2 =
        f2_.reduce(f2_.multiply_lazy(r2, r2_) + f2_.multiply_lazy(v1, v1_in_2_));
    const std::uint64_t v3 =
        f3_.reduce(f3_.add(f3_.multiply_lazy(r3, r3_), f3_.multiply_lazy(v1, v1_in_3_)) +
                   f3_.multiply_lazy(v2, v2_in_3_));
    // t = v2 + p2 v3, x = v1 + p1 t
    wide::Pair t = wide::multiply(f2_.p(), v3);
    t.low += v2;
    t.high += t.low < v2;
    const wide::Pair low = wide::multiply(f1_.p(), t.low), high = wide::multiply(f1_.p(), t.high);
    x[0] = low.low + v1;
    const std::uint64_t middle = low.high + (x[0] < v1);  // low.high <= p1 - 1: no carry
    x[1] = middle + high.low;
    x[2] = high.high + (x[1] < middle);
  }

 private:
  Modulus f1_ = field(0).modulus(), f2_ = field(1).modulus(), f3_ = field(2).modulus();
  Factor r1_, r2_, v1_in_2_, r3_, v1_in_3_, v2_in_3_;
};

/// c[0, n) = or += x[0, n), with a carry in and out.
Word put(Word* c, const Word* x, std::size_t n, bool adding, Word carry) {
  for (std::size_t i = 0; i < n; ++i) {
    const DoubleWord sum = DoubleWord{x[i]} + (adding ? c[i] : 0) + carry;
    c[i] = static_cast<Word>(sum);
    carry = static_cast<Word>(sum >> kWordBits);
  }
  return carry;
}

/// Digits [first, last) of a[0, al), as `load` gives them.
void load_range(const Field& field, unsigned digit_bits, std::uint64_t* plane, std::size_t first,
                std::size_t last, const Word* a, std::size_t al) {
  const Modulus modulus = field.modulus();
  const Factor power64 = modulus.factor(modulus.reduce(0 - 4 * modulus.p()));
  const std::size_t digit_bytes = digit_bits / 8;
  const std::size_t whole = al * sizeof(Word) / digit_bytes;
  const std::size_t rest = al * sizeof(Word) % digit_bytes;
  const auto* bytes = reinterpret_cast<const unsigned char*>(a) + first * digit_bytes;
  std::uint64_t low = 0, high = 0;
  std::size_t j = first;
  for (; j < std::min(whole, last); ++j, bytes += digit_bytes) {
    std::memcpy(&low, bytes, 8);
    if (digit_bits == kWideDigitBits) {
      std::uint16_t top;
      std::memcpy(&top, bytes + 8, 2);
      high = top;
    }
    plane[j] = residue(modulus, low, high, power64);
  }
  if (j == whole && j < last && rest != 0) {
    read_digit(bytes, rest, low, high);
    plane[j++] = residue(modulus, low, high, power64);
  }
  std::fill(plane + j, plane + last, std::uint64_t{0});
}

/// `store` for c on its own. Returns what belongs above c[cl - 1].
CarrySum store_range(Garner garner, unsigned digit_bits, const std::uint64_t* const planes[kPrimes],
                     std::size_t n, Word* c, std::size_t cl, std::size_t overlap) {
  const std::size_t digit_bytes = digit_bits / 8;
  const std::size_t block_words = kBlock * digit_bytes / sizeof(Word);
  alignas(8) unsigned char block[kBlock * kWideDigitBytes];
  Word words[kBlock * kWideDigitBytes / sizeof(Word)];
  CarrySum sum;
  Word carry = 0;
  for (std::size_t first = 0, done = 0; done < cl; first += kBlock, done += block_words) {
    for (std::size_t j = 0; j < kBlock; ++j) {
      if (first + j < n) {
        std::uint64_t x[3];
        garner.recombine(planes[0][first + j], planes[1][first + j], planes[2][first + j], x);
        sum.add(x);
      }
      sum.shift_out(digit_bits, block + j * digit_bytes);
    }
    const std::size_t count = std::min(block_words, cl - done);
    std::memcpy(words, block, block_words * sizeof(Word));
    const std::size_t adding = std::clamp(overlap, done, done + count) - done;
    carry = put(c + done, words, adding, true, carry);
    carry = put(c + done + adding, words + adding, count - adding, false, carry);
  }
  sum.add({carry, 0, 0});
  return sum;
}

/// c[at, cl) += the sum, which is below 2^128.
void settle(Word* c, std::size_t at, std::size_t cl, const std::uint64_t (&sum)[2]) {
  const Word words[4] = {static_cast<Word>(sum[0]), static_cast<Word>(sum[0] >> kWordBits),
                         static_cast<Word>(sum[1]), static_cast<Word>(sum[1] >> kWordBits)};
  const std::size_t count = std::min<std::size_t>(4, cl - at);
  if (words::add_n(c + at, c + at, words, count) != 0)
    words::increment(c + at + count, cl - at - count);
}

}  // namespace

void load(Context& context, const Field& field, unsigned digit_bits, std::uint64_t* plane,
          std::size_t n, const Word* a, std::size_t al) {
  share(context, n, [=, &field](std::size_t first, std::size_t last) {
    load_range(field, digit_bits, plane, first, last, a, al);
  });
}

void store(Context& context, unsigned digit_bits, std::uint64_t* const planes[kPrimes],
           std::size_t n, Word* c, std::size_t cl, std::size_t overlap) {
  const Garner garner(n);
  const std::size_t chunks = (n + kTaskPoints - 1) / kTaskPoints;
  const std::size_t chunk_words = kTaskPoints * (digit_bits / 8) / sizeof(Word);
  // Where the words of a chunk start; the last one takes all that are left.
  const auto start = [=](std::size_t i) {
    return i == chunks ? cl : std::min(cl, i * chunk_words);
  };
  share(context, n, [&](std::size_t first, std::size_t last) {
    for (; first < last; first += kTaskPoints) {
      const std::size_t i = first / kTaskPoints, from = start(i), to = start(i + 1);
      const std::uint64_t* const residues[kPrimes] = {planes[0] + first, planes[1] + first,
                                                      planes[2] + first};
      const CarrySum above = store_range(garner, digit_bits, residues, n - first, c + from,
                                         to - from, std::clamp(overlap, from, to) - from);
      // The chunk's residues are done with: two of them make room for its carry.
      if (i + 1 < chunks) std::copy_n(above.limb, 2, planes[0] + first);
    }
  });
  for (std::size_t i = 1; i < chunks && start(i) < cl; ++i) {
    const std::uint64_t* above = planes[0] + (i - 1) * kTaskPoints;
    settle(c, start(i), cl, {above[0], above[1]});
  }
}

}  // namespace nmp::n64
