#include "arith/multiply/vector/vst.h"

#include <algorithm>
#include <bit>
#include <limits>

#include "arith/multiply/ntt64/ntt64.h"
#include "arith/multiply/vector/vector_field.h"
#include "arith/multiply/vector/vector_transform.h"
#include "arith/word_ops.h"
#include "foundation/exceptions.h"
#include "parallel/context.h"

namespace nmp {
namespace {

using hybrid::Kernels;
using hybrid::Need;
using vector::best_length;
using vector::kFormatCount;
using vector::kFormats;
using vector::Length;
using vector::Plan;
using vector::Plane;
using vector::Transform;

/// 10 words for each point of the longest transform.
constexpr std::uint64_t kMaxBits = std::uint64_t{76800} << 32;
static_assert(kMaxBits == hybrid::kUnit * kWordBits * vector::kMaxWordsPerDigit);

/// What a product takes from its scratch.
struct Product {
  Product(const Plan& plan, unsigned planes, std::size_t spare_words, Carver& memory) {
    for (unsigned i = 0; i < planes; ++i)
      plane[i] = Plane(memory.take<double>(plan.plane_doubles()));
    spare = memory.take<Word>(spare_words);
  }
  Plane plane[2 * hybrid::kWidePrimes];
  Word* spare;
};

Need need(const Plan& plan, unsigned planes, std::size_t spare_words) {
  Carver sum;
  Product(plan, planes, spare_words, sum);
  const Need transform = Transform::need(plan);
  return {sum.bytes() + transform.base, transform.slot};
}

std::size_t total(const Need& need, unsigned threads) {
  return need.base + need.slot * std::clamp(threads, 1u, Transform::kMaxSlots);
}

/// Work that only compares lengths.
double cost(const Length& length) {
  return static_cast<double>(length.points) * kFormats[length.format].primes *
         std::bit_width(length.points);
}

/// Words of each piece but the last.
std::size_t piece_words(std::size_t al, std::size_t pieces) { return (al + pieces - 1) / pieces; }

}  // namespace

VectorTransform::VectorTransform(const KernelSet* set, vector::Limits limits)
    : Algorithm(kMaxBits, "VST", "VST Algorithm", "VSTv2", "VST Algorithm"),
      set_(set),
      limits_(limits) {
  for (unsigned f = 0; f < kFormatCount; ++f) {
    Need most;
    for (unsigned i = 0; i < hybrid::length_count(); ++i) {
      if (!vector::addressable(hybrid::length_at(i))) break;
      const Plan plan(f, hybrid::length_at(i), limits_);
      const Need bytes = need(plan, plan.primes() + 1, 0);
      most = {std::max(most.base, bytes.base), std::max(most.slot, bytes.slot)};
      bounds_[f].push_back(most);
    }
  }
}

const Kernels* VectorTransform::loops() const { return (set_ ? *set_ : kernels()).hybrid; }

void VectorTransform::prepare() const {
  if (const Kernels* inner = loops())
    (void)vector::fields(*inner);
  else
    ntt64().prepare();
}

/// Bytes that any whole product of at most so many words takes.
std::size_t VectorTransform::whole_bytes(std::uint64_t words, unsigned threads) const {
  constexpr std::size_t kTooMany =
      std::numeric_limits<std::size_t>::max() / kBufferAlignment * kBufferAlignment;
  if (words > kMaxBits / kWordBits) return kTooMany;
  // A format that the shorter operand may ask for is one that the longest shorter one may.
  std::size_t most = 0;
  const unsigned last = best_length(words, words / 2).format;
  for (unsigned f = 0; f <= last; ++f) {
    const std::uint64_t digits = (words + kFormats[f].words - 1) / kFormats[f].words;
    unsigned i = 0;
    while (i < hybrid::length_count() && hybrid::length_at(i) < digits) ++i;
    if (i >= bounds_[f].size()) return kTooMany;
    most = std::max(most, total(bounds_[f][i], threads));
  }
  return most;
}

std::size_t VectorTransform::scratch_bytes(std::size_t n, unsigned threads) const {
  return loops() ? whole_bytes(n, threads) : ntt64().scratch_bytes(n, threads);
}

/// How many pieces to cut the longer operand into: 1 for none. Each piece is multiplied by the one
/// transform of the shorter operand, whose spectrum is kept for all primes; that must not take
/// more memory than the whole product would.
std::size_t VectorTransform::choose_pieces(std::size_t al, std::size_t bl, unsigned threads) const {
  if (al < 2 * bl) return 1;
  const std::size_t limit = whole_bytes(std::uint64_t{al} + bl, threads);
  std::size_t best = 1;
  double best_cost = 3 * cost(best_length(std::uint64_t{al} + bl, bl));
  for (std::size_t pieces = 2; pieces <= al / bl + 1; pieces += (pieces + 3) / 4) {
    const std::size_t words = piece_words(al, pieces);
    const Length length = best_length(std::uint64_t{words} + bl, std::min(words, bl));
    const double total_cost = (2.0 * static_cast<double>(pieces) + 1) * cost(length);
    if (total_cost >= best_cost || !vector::addressable(length.points)) continue;
    const Plan plan(length.format, length.points, limits_);
    if (total(need(plan, 2 * plan.primes(), bl), threads) > limit) continue;
    best = pieces;
    best_cost = total_cost;
  }
  return best;
}

void VectorTransform::multiply_whole(Context& context, const Kernels& loops, Word* c, const Word* a,
                                     std::size_t al, const Word* b, std::size_t bl,
                                     AlignedBufferC scratch) const {
  const bool square = a == b && al == bl;
  const Length length = best_length(std::uint64_t{al} + bl, bl);
  const Plan plan(length.format, length.points, limits_);
  Carver memory(scratch);
  Product product(plan, plan.primes() + (square ? 0 : 1), 0, memory);
  Transform transform(context, loops, plan, memory);
  for (unsigned k = 0; k < plan.primes(); ++k) {
    Plane& x = product.plane[k];
    Plane& y = square ? x : product.plane[plan.primes()];
    transform.load(k, x, a, al);
    if (!square) transform.load(k, y, b, bl);
    transform.multiply(k, x, y, true);
  }
  transform.store(c, al + bl, product.plane);
}

/// The longer operand in pieces against one spectrum of the shorter one. A piece's product overlaps
/// the next one's by bl words.
void VectorTransform::multiply_pieces(Context& context, const Kernels& loops, Word* c,
                                      const Word* a, std::size_t al, const Word* b, std::size_t bl,
                                      std::size_t pieces, AlignedBufferC scratch) const {
  const std::size_t piece = piece_words(al, pieces);
  const Length best = best_length(std::uint64_t{piece} + bl, std::min(piece, bl));
  const Plan plan(best.format, best.points, limits_);
  Carver memory(scratch);
  Product product(plan, 2 * plan.primes(), bl, memory);
  Plane* const spectrum = product.plane + plan.primes();
  Transform transform(context, loops, plan, memory);
  for (unsigned k = 0; k < plan.primes(); ++k) transform.load(k, spectrum[k], b, bl);
  for (std::size_t at = 0; at < al; at += piece) {
    const std::size_t length = std::min(piece, al - at);
    for (unsigned k = 0; k < plan.primes(); ++k) {
      transform.load(k, product.plane[k], a + at, length);
      transform.multiply(k, product.plane[k], spectrum[k], at == 0);
    }
    if (at > 0) std::copy_n(c + at, bl, product.spare);
    transform.store(c + at, length + bl, product.plane);
    if (at == 0) continue;
    if (words::add_n(c + at, c + at, product.spare, bl) != 0) words::increment(c + at + bl, length);
  }
}

void VectorTransform::multiply(Context& context, Word* c, const Word* a, std::size_t al,
                               const Word* b, std::size_t bl, AlignedBufferC scratch) const {
  const std::uint64_t words = std::uint64_t{al} + bl;
  if (words > max_size / kWordBits) {
    throw LimitExceededException(
        "VectorTransform::multiply()", "The product is too long.",
        words > ~std::uint64_t{0} / kWordBits ? ~std::uint64_t{0} : words * kWordBits, max_size);
  }
  const Kernels* const inner = loops();
  if (!inner) return ntt64().multiply(context, c, a, al, b, bl, scratch);
  if (al < bl) {
    std::swap(a, b);
    std::swap(al, bl);
  }
  const std::size_t pieces = choose_pieces(al, bl, context.threads.threads());
  if (pieces == 1)
    multiply_whole(context, *inner, c, a, al, b, bl, scratch);
  else
    multiply_pieces(context, *inner, c, a, al, b, bl, pieces, scratch);
}

const Algorithm& vector_transform() {
  static const VectorTransform instance;
  return instance;
}

}  // namespace nmp
