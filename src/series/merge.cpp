#include "series/merge.h"

#include <algorithm>
#include <iterator>

#include "arith/hash61.h"
#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/spectrum.h"
#include "arith/word_ops.h"
#include "foundation/exceptions.h"

namespace nmp::BinarySplitting::CommonP2B3 {
namespace {

/// Products shorter than this gain nothing from shared transforms: making the plan costs more.
constexpr std::size_t kLeastSharedWords = 400;

Words lengths(const Range& range) { return {range.P.L, range.Q.L, range.R.L}; }

/// Words of R0*P1 and R0*R1, the products that the shared way forms one by one.
std::size_t separate_words(const Words& left, const Words& right, bool needs_R) {
  return left.R + std::max(right.P, needs_R ? right.R : 0);
}
std::size_t longest_product(const Words& left, const Words& right, bool needs_R) {
  return std::max(std::max(left.P, left.Q) + right.Q, separate_words(left, right, needs_R));
}

/// Numbers in transform space at once.
unsigned spectra_of(MergeWay way) { return way == MergeWay::kShared ? 2 : 4; }

/// What the plan of a merge must hold. A sum has one word more, for its carry.
SpectrumShape shape_of(const Words& left, const Words& right, MergeWay way) {
  const std::size_t longer = std::max(left.P, left.Q);
  if (way == MergeWay::kShared) return {longer + right.Q, std::min(longer, right.Q), 1};
  return {std::max(longer + right.Q, left.R + right.P) + 1,
          std::max(std::min(longer, right.Q), std::min(left.R, right.P)), 2};
}

void check(Context& context, const ExactFloat& x) {
  if (x.computed_hash(context) != x.hash)
    throw AlgorithmFailedException("merge()", "Multiplication Failed: Checksum Mismatch");
}

/// True where R is Q's own words, scaled: they must last until R0*P1 is formed.
bool is_lent(const Range& range) { return range.R.T == range.Q.T; }
bool is_unit(const ExactFloat& x) { return x.L == 1 && x.T[0] == 1 && x.exp == 0; }

/// x = the value of a spectrum, a number of at most `words` words and the residue `hash`.
void take(Context& context, ExactFloat& x, Spectra& spectra, Spectrum& s, std::size_t words,
          std::int64_t exp, bool positive, std::uint64_t hash) {
  x.T = x.buffer;
  spectra.inverse(x.T, words, s);
  x.L = static_cast<std::uint32_t>(words::stripped_length(x.T, words));
  x.exp = exp;
  x.sign = positive;
  x.hash = hash;
  check(context, x);
}

/// A product that has not been formed yet.
struct Planned {
  const ExactFloat& a;
  const ExactFloat& b;

  bool positive() const { return a.sign == b.sign; }
  std::size_t words() const { return std::size_t{a.L} + b.L; }
  std::int64_t exp() const { return a.exp + b.exp; }
  std::int64_t mag() const { return a.mag() + b.mag(); }
  std::uint64_t hash() const { return hash61::multiply(a.hash, b.hash); }
};

/// True where P's sum can be formed in transform space: of whole products at one position, whose
/// sign is known beforehand (a product has at most one word less than its magnitude says).
bool can_be_summed(const Range& left, const Range& right, std::size_t kept) {
  const Planned first{left.P, right.Q}, second{left.R, right.P};
  for (const ExactFloat* x : {&left.P, &left.Q, &left.R, &right.P, &right.Q})
    if (x->is_zero()) return false;
  const std::size_t words = std::max(first.words(), second.words()) + 1;
  if (words > kept || words > left.P.buffer_size) return false;
  const Planned denominator{left.Q, right.Q};
  if (denominator.words() > std::min<std::size_t>(kept, left.Q.buffer_size)) return false;
  const std::int64_t apart = first.mag() - second.mag();
  return first.exp() == second.exp() &&
         (first.positive() == second.positive() || apart >= 2 || apart <= -2);
}

/// True where two more transforms of the summed shape cost less than R0*R1 by itself, three of its
/// own length.
bool sum_takes_R(const Range& left, const Range& right, const Kept& kept) {
  const Planned R{left.R, right.R}, first{left.P, right.Q};
  if (right.R.is_zero() || R.words() > std::min<std::size_t>(kept.R, left.R.buffer_size))
    return false;
  // Shorter than what the plan holds in any case, in both factors.
  return R.words() <= first.words() && right.R.L <= right.Q.L && left.R.L <= left.P.L &&
         3 * R.words() > 2 * first.words();
}

/// left.P and left.Q in the summed way, and left.R where `takes_R`.
void merge_summed(Context& context, Spectra& spectra, Range& left, const Range& right, bool takes_R,
                  AlignedBufferC scratch) {
  const auto transformed = [&](const ExactFloat& x) {
    Spectrum s = spectra.carve(scratch);
    spectra.forward(s, x.T, x.L);
    return s;
  };
  Spectrum p0 = transformed(left.P), q1 = transformed(right.Q);
  Spectrum r0 = transformed(left.R), p1 = transformed(right.P);

  const Planned first{left.P, right.Q}, second{left.R, right.P};
  const bool subtract = first.positive() != second.positive();
  const bool first_leads = first.mag() >= second.mag();
  const Spectra::Term sum[] = {{&p0, &q1, subtract && !first_leads},
                               {&r0, &p1, subtract && first_leads}};
  spectra.multiply(p0, sum);
  take(context, left.P, spectra, p0, std::max(first.words(), second.words()) + 1, first.exp(),
       (first_leads ? first : second).positive(), hash61::add(first.hash(), second.hash()));

  if (takes_R) {
    const Planned R{left.R, right.R};
    spectra.forward(p1, right.R.T, right.R.L);
    const Spectra::Term product[] = {{&r0, &p1}};
    spectra.multiply(p1, product);
    take(context, left.R, spectra, p1, R.words(), R.exp(), R.positive(), R.hash());
  }

  const Planned denominator{left.Q, right.Q};
  if (!is_lent(left)) spectra.forward(r0, left.Q.T, left.Q.L);
  const Spectra::Term product[] = {{&r0, &q1}};
  spectra.multiply(r0, product);
  take(context, left.Q, spectra, r0, denominator.words(), denominator.exp(), denominator.positive(),
       denominator.hash());
}

/// x *= Q1 for P0 and Q0, cut to `kept` words. Where Q0 is still wanted, Q is left in `product`.
void multiply_shared(Context& context, Spectra& spectra, Range& left, const ExactFloat& Q1,
                     std::size_t kept, ExactFloat& product, AlignedBufferC scratch) {
  Spectrum q1 = spectra.carve(scratch), s = spectra.carve(scratch);
  spectra.forward(q1, Q1.T, Q1.L);
  for (ExactFloat* x : {&left.P, &left.Q}) {
    if (x->is_zero()) continue;
    const Planned planned{*x, Q1};
    spectra.forward(s, x->T, x->L);
    const Spectra::Term term[] = {{&s, &q1}};
    spectra.multiply(s, term);
    take(context, product, spectra, s, planned.words(), planned.exp(), planned.positive(),
         planned.hash());
    product.truncate(context, kept);
    if (x == &left.P || !is_lent(left)) x->set_ExactFloat(context, product);
  }
}

/// target = a * b, cut to `kept` words. `product` is room for the whole.
void multiply_into(Context& context, ExactFloat& target, const ExactFloat& a, const ExactFloat& b,
                   std::size_t kept, ExactFloat& product, AlignedBufferC scratch) {
  product.set_mul(context, a, b, scratch);
  product.truncate(context, kept);
  target.set_ExactFloat(context, product);
}

/// left.P, which is P0*Q1 by now, += R0*P1. That is the smaller summand; its words below the first
/// one's are not wanted where the first one was truncated.
void add_second_summand(Context& context, Range& left, const ExactFloat& P1, std::size_t kept,
                        ExactFloat& product, AlignedBufferC scratch) {
  ExactFloat r = left.R, p = P1;
  const bool truncated = left.P.L >= kept || left.P.exp > r.exp + p.exp;
  if (is_unit(r)) {
    if (!r.sign) p.negate();
    if (truncated) p.truncate_below(context, left.P.exp);
    left.P.add_ip(context, p);
    return left.P.truncate(context, kept);
  }
  if (truncated && !left.P.is_zero()) {
    const std::int64_t wanted = std::max<std::int64_t>(r.mag() + p.mag() - left.P.exp + 2, 4);
    r.truncate(context, static_cast<std::size_t>(wanted));
    p.truncate(context, static_cast<std::size_t>(wanted));
  }
  product.set_mul(context, r, p, scratch);
  if (truncated) product.truncate_below(context, left.P.exp);
  left.P.add_ip(context, product);
  left.P.truncate(context, kept);
}

/// True where seven transforms of the summed shape are no longer than five of the shared one and
/// the three of R0*P1: a sum has to have room for one bit more, which can make a plan much longer.
bool sum_is_shorter(const Context& context, const Words& left, const Words& right, bool is_lent) {
  const auto length = [&](MergeWay way) {
    return static_cast<double>(spectra_need(context, shape_of(left, right, way)).spectrum);
  };
  const double second = static_cast<double>(left.R + right.P);
  const double first = static_cast<double>(std::max(left.P, left.Q) + right.Q);
  return (is_lent ? 6 : 7) * length(MergeWay::kSummed) <=
         (5 + 3 * second / first) * length(MergeWay::kShared);
}

/// The first way that numbers of these lengths and this scratch allow.
MergeWay choose_way(const Context& context, const Range& left, const Range& right, bool needs_R,
                    std::size_t kept, std::size_t scratch) {
  const std::size_t words = std::size_t{std::max(left.P.L, left.Q.L)} + right.Q.L;
  if (words < kLeastSharedWords || right.Q.is_zero()) return MergeWay::kPlain;
  for (const MergeWay way : {MergeWay::kSummed, MergeWay::kShared}) {
    if (way == MergeWay::kSummed &&
        !(can_be_summed(left, right, kept) &&
          sum_is_shorter(context, lengths(left), lengths(right), is_lent(left))))
      continue;
    const std::size_t bytes = merge_bytes(context, lengths(left), lengths(right), needs_R, way);
    const bool two_products = way == MergeWay::kShared && is_lent(left);
    const std::size_t more = two_products ? carved_bytes<Word>(left.R.L + right.P.L) : 0;
    if (bytes != 0 && bytes + more <= scratch) return way;
  }
  return MergeWay::kPlain;
}

}  // namespace

std::size_t Words::bytes() const {
  return carved_bytes<Word>(P) + carved_bytes<Word>(Q) + carved_bytes<Word>(R);
}

Range carve_range(AlignedBufferC& scratch, const Words& words) {
  Range range;
  range.Q = carve_number(scratch, words.Q);
  range.P = carve_number(scratch, words.P);
  range.R = carve_number(scratch, words.R);
  return range;
}

std::size_t merge_bytes(const Context& context, const Words& left, const Words& right, bool needs_R,
                        MergeWay way) {
  const std::size_t longest = longest_product(left, right, needs_R);
  const std::size_t product = carved_bytes<Word>(longest);
  if (way == MergeWay::kPlain) return product + multiply_scratch(context, longest);
  const std::size_t plan = spectra_need(context, shape_of(left, right, way)).bytes(spectra_of(way));
  if (plan == 0) return 0;
  if (way == MergeWay::kShared) {
    const std::size_t separate = separate_words(left, right, needs_R);
    return product + std::max(plan, multiply_scratch(context, separate));
  }
  const std::size_t r = needs_R ? left.R + right.R : 0;
  return std::max(plan, carved_bytes<Word>(r) + multiply_scratch(context, r));
}

void merge(Context& context, Range& left, const Range& right, bool needs_R, const Kept& kept,
           AlignedBufferC scratch) {
  const Words words = lengths(left), others = lengths(right);
  left.dropped = hash61::multiply(left.dropped, right.dropped);
  const MergeWay way = choose_way(context, left, right, needs_R, kept.sum, scratch.bytes());
  const bool takes_R = needs_R && !is_lent(left) && sum_takes_R(left, right, kept);
  Spectra* spectra = nullptr;
  if (way == MergeWay::kSummed) {
    AlignedBufferC rest = scratch;
    spectra = make_spectra(context, shape_of(words, others, way), spectra_of(way), rest);
    if (spectra) merge_summed(context, *spectra, left, right, takes_R, rest);
  }
  const bool summed = spectra != nullptr;
  ExactFloat product =
      carve_number(scratch, summed ? words.R + others.R : longest_product(words, others, needs_R));
  if (way == MergeWay::kShared) {
    AlignedBufferC rest = scratch;
    spectra = make_spectra(context, shape_of(words, others, way), spectra_of(way), rest);
    if (spectra) multiply_shared(context, *spectra, left, right.Q, kept.sum, product, rest);
  }
  if (!spectra) multiply_into(context, left.P, left.P, right.Q, kept.sum, product, scratch);
  if (spectra && !summed && is_lent(left)) {
    ExactFloat second = carve_number(scratch, std::size_t{left.R.L} + right.P.L);
    add_second_summand(context, left, right.P, kept.sum, second, scratch);
    left.Q.set_ExactFloat(context, product);
  } else if (!summed) {
    add_second_summand(context, left, right.P, kept.sum, product, scratch);
  }
  if (!spectra) multiply_into(context, left.Q, left.Q, right.Q, kept.sum, product, scratch);
  if (needs_R && !(summed && takes_R))
    multiply_into(context, left.R, left.R, right.R, kept.R, product, scratch);
}

}  // namespace nmp::BinarySplitting::CommonP2B3
