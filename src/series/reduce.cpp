#include "series/reduce.h"

#include "arith/hash61.h"
#include "arith/word_ops.h"
#include "foundation/console.h"
#include "foundation/exceptions.h"
#include "series/exact_division.h"

namespace nmp::BinarySplitting::CommonP2B3 {
namespace {

void set_number(ExactFloat& x, const Leaf::Number& number, bool positive, std::int64_t exp = 0) {
  const std::size_t words = 2 * number.length;
  if (x.buffer_size < words)
    throw BufferTooSmallException("BinarySplitting::CommonP2B3::set_leaf()", x.buffer_size, words);
  for (std::size_t i = 0; i < number.length; ++i) store_limb(x.buffer + 2 * i, number.limbs[i]);
  x.T = x.buffer;
  x.L = static_cast<std::uint32_t>(words::stripped_length(x.T, words));
  x.exp = exp;
  x.sign = positive;
  x.hash = x.computed_hash();
}

/// x /= d. The quotient's residue, taken from its words, must make up the old one with d's.
void divide(const Range& range, ExactFloat& x, const Word* d, std::size_t dl, std::uint64_t hash) {
  if (x.L < dl) fail_modular_check(range, x.hash, hash);
  const std::uint64_t before = x.hash;
  divide_exact(x.T, x.L, d, dl);
  x.L = static_cast<std::uint32_t>(words::stripped_length(x.T, x.L - dl + 1));
  x.hash = x.computed_hash();
  const std::uint64_t made_up = hash61::multiply(x.hash, hash);
  if (made_up != before) fail_modular_check(range, before, made_up);
}

}  // namespace

void fail_modular_check(const Range& range, std::uint64_t expected, std::uint64_t actual) {
  console::print_line('R', "Modular Redundancy Check Failed");
  throw BSRModularCheckFailedException("BinarySplitting::CommonP2B3::PSR_BlockS::run()", expected,
                                       actual, {range.P.hash, range.Q.hash, range.R.hash});
}

void drop_common(const CommonFactors& factors, Range& left, Range& right, std::uint64_t a,
                 std::uint64_t m, std::uint64_t b) {
  const FactorList common = factors.common(a, m, b);
  if (common.factors().empty()) return;
  Word d[2 * FactorList::kMost];
  const std::size_t dl = common.expand(d);
  const std::uint64_t hash = common.hash();
  divide(left, left.R, d, dl, hash);
  divide(right, right.Q, d, dl, hash);
  left.dropped = hash61::multiply(left.dropped, hash);
}

void set_leaf(Range& range, const Leaf& leaf) {
  set_number(range.P, leaf.P, leaf.P_positive, leaf.P_exp);
  set_number(range.Q, leaf.Q, true);
  if (range.R.buffer_size != 0) set_number(range.R, leaf.R, leaf.R_positive);
  range.dropped = leaf.dropped;
}

}  // namespace nmp::BinarySplitting::CommonP2B3
