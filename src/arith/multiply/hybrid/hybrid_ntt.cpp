#include "arith/multiply/hybrid/hybrid_ntt.h"

#include <algorithm>
#include <span>

#include "arith/multiply/basecase/word_multiply.h"
#include "arith/multiply/hybrid/hybrid_field.h"
#include "arith/multiply/hybrid/hybrid_spectra.h"
#include "arith/multiply/hybrid/hybrid_transform.h"
#include "arith/multiply/ntt64/ntt64.h"
#include "arith/word_ops.h"
#include "foundation/exceptions.h"
#include "parallel/context.h"

namespace nmp {
namespace {

using hybrid::Kernels;
using hybrid::kMaxPrimes;
using hybrid::Plan;
using hybrid::PlaneTerm;
using hybrid::Transform;

constexpr std::uint64_t kMaxBits = 0x7FFF0000000;

Plan plan_for(std::size_t al, std::size_t bl) {
  return hybrid::best_plan(std::uint64_t{al} + bl, std::min(al, bl));
}

/// What a product takes from its scratch.
struct Product {
  Product(const Plan& plan, unsigned planes, std::size_t spare_words, Carver& memory) {
    for (unsigned i = 0; i < planes; ++i) plane[i] = memory.take<double>(plan.plane_doubles());
    spare = memory.take<Word>(spare_words);
  }
  double* plane[2 * kMaxPrimes];
  Word* spare;
};

hybrid::Need need(const Plan& plan, unsigned planes, std::size_t spare_words) {
  Carver sum;
  Product(plan, planes, spare_words, sum);
  const hybrid::Need transform = Transform::need(plan, 1);
  return {sum.bytes() + transform.base, transform.slot};
}

/// Bytes that any whole product of so many words takes.
std::size_t whole_bytes(std::uint64_t words, unsigned threads) {
  static const hybrid::Bounds bounds(
      [](const Plan& plan) { return need(plan, plan.primes + 1, 0); });
  return bounds.bytes(words, words / 2, std::clamp(threads, 1u, Transform::kMaxSlots));
}

/// Words of each piece but the last: whole digits.
std::size_t piece_words(std::size_t al, std::size_t pieces) {
  return ((al + pieces - 1) / pieces + 1) / 2 * 2;
}

/// How many pieces to cut the longer operand into: 1 for none. Each piece is multiplied by the one
/// transform of the shorter operand, whose spectrum is kept for all primes; that must not take
/// more memory than the whole product would.
std::size_t choose_pieces(std::size_t al, std::size_t bl, unsigned threads) {
  if (al < 2 * bl) return 1;
  const std::size_t limit = whole_bytes(std::uint64_t{al} + bl, threads);
  std::size_t best = 1;
  double best_cost = 3 * plan_for(al, bl).cost();
  for (std::size_t pieces = 2; pieces <= al / bl + 1; pieces += (pieces + 3) / 4) {
    const Plan plan = plan_for(piece_words(al, pieces), bl);
    const double cost = (2.0 * static_cast<double>(pieces) + 1) * plan.cost();
    if (cost >= best_cost) continue;
    const hybrid::Need bytes = need(plan, 2 * plan.primes, bl);
    if (bytes.base + bytes.slot * std::clamp(threads, 1u, Transform::kMaxSlots) <= limit) {
      best = pieces;
      best_cost = cost;
    }
  }
  return best;
}

/// c[0, count) = a * b modulo 2^(32 plan.words()) - 1.
void multiply_cyclic(Context& context, const Kernels& loops, const Plan& plan, Word* c,
                     std::size_t count, const Word* a, std::size_t al, const Word* b,
                     std::size_t bl, bool wraps, AlignedBufferC scratch) {
  const bool square = a == b && al == bl;
  Carver memory(scratch);
  const Product product(plan, plan.primes + (square ? 0 : 1), 0, memory);
  Transform transform(context, loops, plan, 1, memory);
  for (unsigned k = 0; k < plan.primes; ++k) {
    double* const x = product.plane[k];
    double* const y = square ? x : product.plane[plan.primes];
    const Transform::Operand operands[] = {{x, a, al}, {y, b, bl}};
    transform.load(k, std::span(operands, square ? 1 : 2));
    const PlaneTerm term = {x, y, true, !square, false};
    transform.multiply(k, x, &term, 1);
  }
  transform.store(c, count, product.plane, wraps ? hybrid::Range::kWraps : transform.range());
}

void multiply_whole(Context& context, const Kernels& loops, Word* c, const Word* a, std::size_t al,
                    const Word* b, std::size_t bl, AlignedBufferC scratch);

/// c = a * b for a transform that is too short by `e` words: the product modulo 2^(32 w) - 1 is the
/// sum of its low w words and the high ones; the lowest e words being known, so are the highest.
void multiply_with_excess(Context& context, const Kernels& loops, const Plan& plan, std::size_t e,
                          Word* c, const Word* a, std::size_t al, const Word* b, std::size_t bl,
                          AlignedBufferC scratch) {
  const std::size_t w = plan.words();
  multiply_cyclic(context, loops, plan, c, w, a, al, b, bl, true, scratch);
  const std::size_t xl = std::min(al, e), yl = std::min(bl, e);
  Word* const low = scratch.carve<Word>(xl + yl);
  if (e <= hybrid::kBasecaseExcess)
    WordMultiply::native().multiply(low, a, xl, b, yl, scratch);
  else
    multiply_whole(context, loops, low, a, xl, b, yl, scratch);
  // With r what is in c[0, w): high = r - low, and c below it = r - high. Where the sum of the two
  // wrapped, that borrows, and high is one less. (All ones, which is one less than 0 here, never
  // wraps: the product is below 2^(32 n) - 2^(32 al), and likewise for bl, of which one is above
  // e.)
  Word* const high = c + w;
  (void)words::sub_n(high, c, low, e);
  if (words::sub_n(c, c, high, e) != 0 && words::decrement(c + e, w - e) != 0)
    (void)words::decrement(high, e);
}

void multiply_whole(Context& context, const Kernels& loops, Word* c, const Word* a, std::size_t al,
                    const Word* b, std::size_t bl, AlignedBufferC scratch) {
  const hybrid::Fit fit = hybrid::best_fit(al, bl);
  if (fit.excess > 0)
    multiply_with_excess(context, loops, fit.plan, fit.excess, c, a, al, b, bl, scratch);
  else
    multiply_cyclic(context, loops, fit.plan, c, al + bl, a, al, b, bl, false, scratch);
}

/// The longer operand in pieces against one spectrum of the shorter one. A piece's product overlaps
/// the next one's by bl words.
void multiply_pieces(Context& context, const Kernels& loops, Word* c, const Word* a, std::size_t al,
                     const Word* b, std::size_t bl, std::size_t pieces, AlignedBufferC scratch) {
  const std::size_t piece = piece_words(al, pieces);
  const Plan plan = plan_for(piece, bl);
  Carver memory(scratch);
  const Product product(plan, 2 * plan.primes, bl, memory);
  double* const* const spectrum = product.plane + plan.primes;
  Transform transform(context, loops, plan, 1, memory);
  for (unsigned k = 0; k < plan.primes; ++k) transform.load(k, spectrum[k], b, bl);
  for (std::size_t at = 0; at < al; at += piece) {
    const std::size_t length = std::min(piece, al - at);
    for (unsigned k = 0; k < plan.primes; ++k) {
      double* const x = product.plane[k];
      transform.load(k, x, a + at, length);
      const PlaneTerm term = {x, spectrum[k], true, at == 0, false};
      transform.multiply(k, x, &term, 1);
    }
    if (at > 0) std::copy_n(c + at, bl, product.spare);
    transform.store(c + at, length + bl, product.plane, transform.range());
    if (at > 0) {
      const Word carry = words::add_n(c + at, c + at, product.spare, bl);
      if (carry != 0) words::increment(c + at + bl, length);
    }
  }
}

}  // namespace

HybridNtt::HybridNtt(const KernelSet* set)
    : Algorithm(kMaxBits, "HNT", "Hybrid NTT", "HNTs", "original"), set_(set) {}

const Kernels* HybridNtt::loops() const { return (set_ ? *set_ : kernels()).hybrid; }

void HybridNtt::prepare() const {
  if (const hybrid::Kernels* kernels = loops())
    (void)hybrid::fields(*kernels);
  else
    ntt64().prepare();
}

std::size_t HybridNtt::scratch_bytes(std::size_t n, unsigned threads) const {
  return loops() ? whole_bytes(n, threads) : ntt64().scratch_bytes(n, threads);
}

void HybridNtt::multiply(Context& context, Word* c, const Word* a, std::size_t al, const Word* b,
                         std::size_t bl, AlignedBufferC scratch) const {
  const std::uint64_t bits = (std::uint64_t{al} + bl) * kWordBits;
  if (bits > max_size) {
    throw LimitExceededException("HybridNtt::multiply()", "The product is too long.", bits,
                                 max_size);
  }
  const Kernels* const inner = loops();
  if (!inner) return ntt64().multiply(context, c, a, al, b, bl, scratch);
  if (al < bl) {
    std::swap(a, b);
    std::swap(al, bl);
  }
  const std::size_t pieces = choose_pieces(al, bl, context.threads.threads());
  if (pieces == 1) {
    multiply_whole(context, *inner, c, a, al, b, bl, scratch);
  } else {
    multiply_pieces(context, *inner, c, a, al, b, bl, pieces, scratch);
  }
}

Spectra* HybridNtt::make_spectra(Context& context, const SpectrumShape& shape,
                                 AlignedBufferC& memory) const {
  const Kernels* const inner = loops();
  return inner ? hybrid::make_spectra(context, *inner, shape, memory) : nullptr;
}

SpectraNeed HybridNtt::spectra_need(const SpectrumShape& shape, unsigned threads) const {
  return loops() ? hybrid::spectra_need(shape, threads) : SpectraNeed{};
}

const Algorithm& hybrid_ntt() {
  static const HybridNtt instance;
  return instance;
}

}  // namespace nmp
