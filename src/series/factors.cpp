#include "series/factors.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "arith/hash61.h"
#include "arith/wide.h"
#include "arith/word_ops.h"

namespace nmp::BinarySplitting {
namespace {

/// What a later block drops at least, of the mean. Over the first 400,000 blocks the least was
/// 0.955; no block can be far off: each small prime's share depends on the place in its period, and
/// a number of 40 bits is at a bad place for some 15 primes at once, of 13 bits each.
constexpr double kLeastShare = 0.92;

/// The first k >= 0 with q dividing alpha k - beta. q is coprime to alpha.
std::uint32_t first_multiple(const LinearForm& form, std::uint64_t q) {
  std::uint64_t multiple = 0;
  while ((multiple * q + form.beta) % form.alpha != 0) ++multiple;
  return static_cast<std::uint32_t>((multiple * q + form.beta) / form.alpha % q);
}

std::uint64_t remainder(std::uint64_t x, std::uint32_t q) {
  if (x <= std::numeric_limits<std::uint32_t>::max()) return static_cast<std::uint32_t>(x) % q;
  return x % q;
}

/// Calls function(p, q) for the powers q <= limit of odd primes p. Powers of two stay in the
/// numbers: division from the low end is by odd numbers.
template <typename Function>
void for_each_odd_power(std::uint64_t limit, const Function& function) {
  std::vector<bool> composite(limit + 1);
  for (std::uint64_t p = 3; p <= limit; p += 2) {
    if (composite[p]) continue;
    for (std::uint64_t x = p * p; x <= limit; x += p) composite[x] = true;
    for (std::uint64_t q = p; q <= limit; q *= p) function(p, q);
  }
}

}  // namespace

bool FactorList::append(std::uint64_t factor) {
  if (count_ != 0) {
    const wide::Pair product = wide::multiply(limbs_[count_ - 1], factor);
    if (product.high == 0) {
      limbs_[count_ - 1] = product.low;
      return true;
    }
  }
  if (count_ == kMost) return false;
  limbs_[count_++] = factor;
  return true;
}

std::size_t FactorList::expand(Word* words) const {
  words[0] = 1;
  std::size_t length = 1;
  for (const std::uint64_t factor : factors()) {
    store_limb(words + length, words::mul_2(words, words, length, factor));
    length = words::stripped_length(words, length + 2);
  }
  return length;
}

std::uint64_t FactorList::hash() const {
  std::uint64_t h = 1;
  for (const std::uint64_t factor : factors()) h = hash61::multiply(h, hash61::fold(factor));
  return h;
}

CommonFactors::CommonFactors(std::span<const LinearForm, kForms> forms) {
  for (const LinearForm& form : forms) slope_ = std::max<std::uint64_t>(slope_, form.alpha);
  for_each_odd_power(slope_ * kMostTerms, [&](std::uint64_t p, std::uint64_t q) {
    PrimePower power{static_cast<std::uint32_t>(q), {}, {1, p, p * p, p * p * p}};
    for (std::size_t i = 0; i < kForms; ++i)
      power.first[i] = forms[i].alpha % p == 0 ? PrimePower::kNever : first_multiple(forms[i], q);
    if (power.opened(q) != 0) powers_.push_back(power);
  });
  prepare();
}

CommonFactors CommonFactors::of_odd_numbers() {
  CommonFactors factors;
  for_each_odd_power(kMostTerms, [&](std::uint64_t p, std::uint64_t q) {
    const auto period = static_cast<std::uint32_t>(q);
    factors.powers_.push_back({period,
                               {0, PrimePower::kNever, PrimePower::kNever},
                               {1, p, p * p, p * p * p},
                               period / 2 + 1});
  });
  factors.prepare();
  return factors;
}

void CommonFactors::prepare() {
  std::sort(powers_.begin(), powers_.end(),
            [](const PrimePower& x, const PrimePower& y) { return x.q < y.q; });
  for (std::size_t i = 0; i < kFirstBlocks; ++i)
    first_bits_[i + 1] = first_bits_[i] + dropped_in_block(i * kMostTerms);
  constexpr std::size_t kHalf = kFirstBlocks / 2;
  least_bits_ = kLeastShare * (first_bits_[kFirstBlocks] - first_bits_[kHalf]) / kHalf;
}

std::span<const CommonFactors::PrimePower> CommonFactors::prime_powers(std::uint64_t n) const {
  // A "(" and its ")" lie (q - beta)/alpha terms apart or more.
  const std::uint64_t limit = slope_ * std::min(n, kMostTerms);
  const auto end = std::upper_bound(powers_.begin(), powers_.end(), limit,
                                    [](std::uint64_t x, const PrimePower& y) { return x < y.q; });
  return {powers_.data(), static_cast<std::size_t>(end - powers_.begin())};
}

FactorList CommonFactors::common(std::uint64_t a, std::uint64_t m, std::uint64_t b) const {
  FactorList list;
  const std::uint64_t left = m - a, right = b - m;
  for (const PrimePower& power : prime_powers(b - a)) {
    const std::uint64_t r = remainder(m + power.shift, power.q);
    if (r + right < power.q) continue;
    unsigned count = power.opened(r);
    if (r >= left) count -= power.opened(r - left);
    if (count != 0) list.append(power.powers[count]);
  }
  return list;
}

double CommonFactors::dropped_in_block(std::uint64_t a) const {
  double bits = 0;
  for (const PrimePower& power : powers_) {
    const std::uint64_t r = remainder(a + power.shift, power.q),
                        multiples = (r + kMostTerms) / power.q;
    if (multiples == 0) continue;
    const std::uint64_t count = multiples * power.opened(power.q) - power.opened(r);
    bits += static_cast<double>(count) * std::log2(static_cast<double>(power.powers[1]));
  }
  return bits;
}

double CommonFactors::least_dropped_bits(std::uint64_t a, std::uint64_t b) const {
  const std::uint64_t first = (a + kMostTerms - 1) / kMostTerms, last = b / kMostTerms;
  if (first >= last) return 0;
  const std::uint64_t i = std::min<std::uint64_t>(first, kFirstBlocks),
                      j = std::min<std::uint64_t>(last, kFirstBlocks);
  const double later = static_cast<double>((last - j) - (first - i));
  return first_bits_[j] - first_bits_[i] + later * least_bits_;
}

std::uint64_t CommonFactors::aligned_cut(std::uint64_t a, std::uint64_t m, std::uint64_t b) {
  if (b - a <= kMostTerms) return a + std::bit_floor(b - a - 1);
  const std::uint64_t cut = (m + kMostTerms / 2) / kMostTerms * kMostTerms;
  if (cut >= b) return (b - 1) / kMostTerms * kMostTerms;
  return cut > a ? cut : cut + kMostTerms;
}

}  // namespace nmp::BinarySplitting
