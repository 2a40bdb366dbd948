#include "series/factors.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <numeric>

#include "arith/hash61.h"
#include "arith/wide.h"
#include "arith/word_ops.h"

namespace nmp::BinarySplitting {
namespace {

/// What a later block drops at least, of the mean. Over 6,000 blocks of eight series, up to block
/// 5*10^7, the least was 0.950, over the first 400,000 blocks of one series 0.955; no block can be
/// far off: each small prime's share depends on the place in its period, and a number of 40 bits is
/// at a bad place for some 15 primes at once, of 13 bits each.
constexpr double kLeastShare = 0.92;

/// The first k >= 0 with q dividing alpha k - beta. q is coprime to alpha.
std::uint32_t first_multiple(const LinearForm& form, std::uint64_t q) {
  std::uint64_t multiple = form.beta < 0 ? 1u : 0u;
  const auto numerator = [&] {
    return multiple * q + static_cast<std::uint64_t>(std::int64_t{form.beta});
  };
  while (numerator() % form.alpha != 0) ++multiple;
  return static_cast<std::uint32_t>(numerator() / form.alpha % q);
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

CommonFactors::CommonFactors(const FormProduct& Q, const FormProduct& R) {
  // Places of the period lie q/alpha apart or more but for those of two forms with unlike alphas,
  // which lie q/(alpha alpha') apart.
  std::uint64_t slope = 1;
  for (const LinearForm& q : Q.forms())
    for (const LinearForm& r : R.forms())
      slope = std::max<std::uint64_t>(slope, std::lcm(q.alpha, r.alpha));
  const std::uint64_t limit = slope * (kMostTerms + 1);
  std::vector<bool> composite(limit + 1);
  // Powers of two stay: division from the low end is by odd numbers.
  for (std::uint64_t p = 3; p <= limit; p += 2) {
    if (composite[p]) continue;
    for (std::uint64_t x = p * p; x <= limit; x += p) composite[x] = true;
    for (std::uint64_t q = p; q <= limit; q *= p)
      append_brackets(static_cast<std::uint32_t>(p), static_cast<std::uint32_t>(q), Q, R);
  }
  std::sort(powers_.begin(), powers_.end(),
            [](const PrimePower& x, const PrimePower& y) { return x.gap < y.gap; });
  for (std::size_t i = 0; i < kFirstBlocks; ++i)
    first_bits_[i + 1] = first_bits_[i] + dropped_in_block(i * kMostTerms);
  constexpr std::size_t kHalf = kFirstBlocks / 2;
  least_bits_ = kLeastShare * (first_bits_[kFirstBlocks] - first_bits_[kHalf]) / kHalf;
}

void CommonFactors::append_brackets(std::uint32_t p, std::uint32_t q, const FormProduct& Q,
                                    const FormProduct& R) {
  std::vector<Bracket> brackets;
  int growth = 0;
  const auto append = [&](const FormProduct& product, bool opens) {
    unsigned factor = 0;
    for (const LinearForm& form : product.forms()) {
      if (form.alpha % p != 0) {
        const int change = static_cast<int>(form.exponent) * (opens ? 1 : -1);
        brackets.push_back({first_multiple(form, q), static_cast<std::int8_t>(change),
                            static_cast<std::uint8_t>(factor), 0});
        growth += change;
      }
      factor += form.exponent;
    }
  };
  append(Q, false);
  append(R, true);
  std::stable_sort(brackets.begin(), brackets.end(),
                   [](const Bracket& x, const Bracket& y) { return x.place < y.place; });
  // Where Q closes as much as R opens, or more, the second period repeats the first.
  growth = std::max(growth, 0);
  int open = 0;
  std::vector<std::uint64_t> places;
  std::uint64_t gap = std::numeric_limits<std::uint32_t>::max();
  for (const bool first : {true, false}) {
    for (Bracket& bracket : brackets) {
      const std::uint64_t place = bracket.place + (first ? 0 : q);
      int change = bracket.change;
      if (change < 0 && growth == 0) change = std::max(change, -open);
      open += change;
      for (int i = 0; i < change; ++i) places.push_back(place);
      for (int i = 0; i > change && !places.empty(); --i) {
        gap = std::min(gap, place - places.back());
        places.pop_back();
      }
      if (first) continue;
      bracket.change = static_cast<std::int8_t>(change);
      bracket.open = static_cast<std::int16_t>(open);
    }
  }
  if (gap >= kMostTerms) return;
  const std::size_t first_closing = closings_.size();
  for (const Bracket& bracket : brackets)
    if (bracket.change < 0) closings_.push_back(bracket.place);
  powers_.push_back(
      {q, p, static_cast<std::uint32_t>(gap), static_cast<std::uint32_t>(brackets_.size()),
       static_cast<std::uint32_t>(brackets.size()), static_cast<std::uint32_t>(first_closing),
       static_cast<std::uint32_t>(closings_.size() - first_closing), growth,
       std::log2(static_cast<double>(p))});
  brackets_.insert(brackets_.end(), brackets.begin(), brackets.end());
}

std::span<const CommonFactors::PrimePower> CommonFactors::prime_powers(std::uint64_t n) const {
  const auto end = std::lower_bound(powers_.begin(), powers_.end(), n,
                                    [](const PrimePower& x, std::uint64_t y) { return x.gap < y; });
  return {powers_.data(), static_cast<std::size_t>(end - powers_.begin())};
}

unsigned CommonFactors::pairs_across(const PrimePower& power, std::uint32_t r, std::uint64_t a,
                                     std::uint64_t m, std::uint64_t b) const {
  const Bracket* const brackets = brackets_.data() + power.first;
  const std::uint32_t n = power.count;
  // `next`: the first bracket after m, in m's period or, for n, the first of the next one.
  std::uint32_t next = 0;
  while (next < n && brackets[next].place <= r) ++next;
  const int at_m = next != 0 ? brackets[next - 1].open : brackets[n - 1].open - power.growth;

  int closed_to = at_m;  // unclosed of those at m that are still so at b
  std::uint64_t period = m - r;
  int grown = 0;
  for (std::uint32_t step = 0, i = next; step < n; ++step, ++i) {
    if (i == n) {
      i = 0;
      period += power.q;
      grown = power.growth;
    }
    if (period + brackets[i].place > b) break;
    closed_to = std::min(closed_to, brackets[i].open + grown);
  }
  if (closed_to == at_m) return 0;

  int opened_from = at_m;  // unclosed at a of those at m
  std::uint64_t back = r;  // m less the beginning of the period
  grown = 0;
  for (std::uint32_t i = next; opened_from > closed_to;) {
    if (i == 0) {
      i = n;
      back += power.q;
      grown -= power.growth;
    }
    --i;
    if (back - brackets[i].place >= m - a) break;
    opened_from = std::min(opened_from, brackets[i].open + grown - brackets[i].change);
  }
  return static_cast<unsigned>(at_m - std::max(opened_from, closed_to));
}

FactorList CommonFactors::common(std::uint64_t a, std::uint64_t m, std::uint64_t b) const {
  FactorList list;
  for (const PrimePower& power : prime_powers(b - a)) {
    const std::uint32_t r = remainder(m, power.q);
    if (!closes(power, r, b - m)) continue;
    for (unsigned i = pairs_across(power, r, a, m, b); i != 0; --i) list.append(power.p);
  }
  return list;
}

double CommonFactors::dropped_in_block(std::uint64_t a) const {
  double bits = 0;
  for_each_pair(a, a + kMostTerms,
                [&](std::uint64_t, const PrimePower& power, std::uint32_t, unsigned count) {
                  bits += count * power.bits;
                });
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
