#include "series/brent_mcmillan_leaf.h"

#include <algorithm>

#include "arith/hash61.h"
#include "arith/wide.h"
#include "arith/word_ops.h"
#include "foundation/exceptions.h"
#include "foundation/progress.h"
#include "parallel/context.h"
#include "series/brent_mcmillan_merge.h"
#include "series/brent_mcmillan_sizing.h"

namespace nmp::BinarySplitting::BrentMcMillanAB {
namespace {

using Number = Leaf::Number;

constexpr std::uint64_t kTermsPerPoll = 1 << 20;
/// Terms that are worth a task, and the most ranges to cut into.
constexpr std::uint64_t kTermsPerTask = 1 << 13;
constexpr std::size_t kMostTasks = 256;

void multiply(Number& x, std::uint64_t by) {
  std::uint64_t carry = 0;
  for (std::size_t i = 0; i < x.length; ++i) {
    const wide::Pair product = wide::multiply(x.limbs[i], by);
    const std::uint64_t low = product.low + carry;
    carry = product.high + (low < carry);
    x.limbs[i] = low;
  }
  if (carry != 0) x.limbs[x.length++] = carry;
}

void multiply_by_square(Number& x, std::uint64_t by) {
  if (by >> 32 == 0) return multiply(x, by * by);
  multiply(x, by);
  multiply(x, by);
}

/// x += limb 2^(64 at).
void add_limb(Number& x, std::size_t at, std::uint64_t limb) {
  while (x.length <= at) x.limbs[x.length++] = 0;
  for (; limb != 0; ++at) {
    if (at == x.length) x.limbs[x.length++] = 0;
    x.limbs[at] += limb;
    limb = x.limbs[at] < limb;
  }
}

/// x += y 2^bits, 0 < bits < 64; x is at least as long as y.
void add_shifted(Number& x, const Number& y, unsigned bits) {
  while (x.length < y.length) x.limbs[x.length++] = 0;
  std::uint64_t above = 0, carry = 0;
  for (std::size_t i = 0; i < y.length; ++i) {
    const std::uint64_t limb = y.limbs[i] << bits | above;
    above = y.limbs[i] >> (64 - bits);
    const std::uint64_t sum = x.limbs[i] + limb, total = sum + carry;
    carry = static_cast<std::uint64_t>(sum < limb) + (total < carry);
    x.limbs[i] = total;
  }
  if (above + carry != 0) add_limb(x, y.length, above + carry);
}

void set_number(ExactFloat& x, const Number& number, std::int64_t exp) {
  const std::size_t words = 2 * number.length;
  if (x.buffer_size < words)
    throw BufferTooSmallException("BinarySplitting::BrentMcMillanAB::set_leaf()", x.buffer_size,
                                  words);
  for (std::size_t i = 0; i < number.length; ++i) store_limb(x.buffer + 2 * i, number.limbs[i]);
  x.T = x.buffer;
  x.L = static_cast<std::uint32_t>(words::stripped_length(x.T, words));
  x.exp = x.L != 0 ? exp : 0;
  x.sign = x.L != 0;
  x.hash = x.computed_hash();
}

/// 2^e modulo 2^61 - 1, and x 2^-e.
std::uint64_t power_of_two(std::uint64_t e) { return std::uint64_t{1} << e % 61; }
std::uint64_t divided(std::uint64_t x, unsigned twos) {
  return hash61::multiply(x, std::uint64_t{1} << (61 - twos) % 61);
}

Residues merged(const Residues& left, const Residues& right, std::uint64_t shift) {
  using namespace hash61;
  const std::uint64_t square = hash61::multiply(right.D, right.D);
  const std::uint64_t mixed = hash61::multiply(right.C, right.D), weight = power_of_two(shift);
  const auto sum_of = [](std::uint64_t a, std::uint64_t b, std::uint64_t c, std::uint64_t d) {
    return add(hash61::multiply(a, b), hash61::multiply(c, d));
  };
  return {hash61::multiply(left.D, right.D), sum_of(left.C, right.D, left.D, right.C),
          sum_of(left.T, square, right.T, weight),
          add(sum_of(left.U, square, left.T, mixed), hash61::multiply(right.U, weight))};
}

Residues term_by_term(const Parameters& parameters, std::uint64_t a, std::uint64_t b) {
  Residues sum;
  std::uint64_t shift = 0;
  for (std::uint64_t j = a + 1; j <= b; ++j) {
    if (j % kTermsPerPoll == 0) throw_if_interrupted();
    const unsigned twos = parameters.twos_of(j);
    const std::uint64_t odd = j >> twos, square = hash61::multiply(odd, odd);
    if (j != a + 1) shift = (shift + 2 * (parameters.k - twos)) % 61;
    sum.U =
        hash61::add(hash61::multiply(sum.U, square), hash61::multiply(sum.T, divided(odd, twos)));
    sum.T = hash61::add(hash61::multiply(sum.T, square), power_of_two(shift));
    sum.C = hash61::add(hash61::multiply(sum.C, odd), divided(sum.D, twos));
    sum.D = hash61::multiply(sum.D, odd);
  }
  return sum;
}

}  // namespace

void seriesN_BSR_End_PQ1(Leaf& leaf, std::uint64_t odd, std::uint64_t shift) {
  multiply(leaf.D, odd);
  multiply_by_square(leaf.T, odd);
  add_limb(leaf.T, static_cast<std::size_t>(shift / 64), std::uint64_t{1} << shift % 64);
}

void seriesA_BSR_End_PQ1(Leaf& leaf, std::uint64_t odd, unsigned twos) {
  multiply_by_square(leaf.U, odd);
  Number mixed = leaf.T;
  multiply(mixed, odd);
  add_shifted(leaf.U, mixed, 32 - twos);
  multiply(leaf.C, odd);
  add_shifted(leaf.C, leaf.D, 32 - twos);
}

void set_leaf(const Parameters& parameters, Range& result, std::uint64_t a, std::uint64_t b) {
  Leaf leaf;
  add_limb(leaf.D, 0, 1);
  std::uint64_t shift = 0;
  for (std::uint64_t j = a + 1; j <= b; ++j) {
    const unsigned twos = parameters.twos_of(j);
    if (j != a + 1) shift += 2 * (parameters.k - twos);
    seriesA_BSR_End_PQ1(leaf, j >> twos, twos);  // reads D and T as they were
    seriesN_BSR_End_PQ1(leaf, j >> twos, shift);
  }
  set_number(result.D, leaf.D, 0);
  set_number(result.C, leaf.C, -1);
  set_number(result.T, leaf.T, 0);
  set_number(result.U, leaf.U, -1);
}

Residues range_residues(Context& context, const Parameters& parameters, std::uint64_t a,
                        std::uint64_t b) {
  const auto tasks =
      static_cast<std::size_t>(std::clamp<std::uint64_t>((b - a) / kTermsPerTask, 1, kMostTasks));
  const std::uint64_t step = (b - a) / tasks + 1;
  std::array<Residues, kMostTasks> parts;
  const auto start = [&](std::size_t i) { return std::min(b, a + step * i); };
  context.threads.parallel_for(0, tasks, 1, [&](std::size_t first, std::size_t last) {
    for (std::size_t i = first; i < last; ++i)
      parts[i] = term_by_term(parameters, start(i), start(i + 1));
  });
  Residues sum = parts[0];
  for (std::size_t i = 1; i < tasks; ++i)
    sum = merged(sum, parts[i], parameters.shift(a, start(i)));
  return sum;
}

}  // namespace nmp::BinarySplitting::BrentMcMillanAB
