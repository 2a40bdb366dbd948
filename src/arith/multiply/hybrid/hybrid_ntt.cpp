#include "arith/multiply/hybrid/hybrid_ntt.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "arith/multiply/hybrid/hybrid_field.h"
#include "arith/multiply/hybrid/hybrid_transform.h"
#include "arith/multiply/ntt64/ntt64.h"
#include "foundation/exceptions.h"
#include "parallel/context.h"

namespace nmp {
namespace {

using hybrid::Carver;
using hybrid::Kernels;
using hybrid::kMaxPrimes;
using hybrid::Plan;
using hybrid::Transform;

constexpr std::uint64_t kMaxBits = 0x7FFF0000000;
/// Points from which a product is worth several tasks.
constexpr std::size_t kParallelPoints = std::size_t{1} << 16;

std::uint64_t digits_of(std::uint64_t words) { return words / 2 + words % 2; }
Plan plan_for(std::size_t al, std::size_t bl) {
  return Plan(digits_of(std::uint64_t{al} + bl), digits_of(std::min(al, bl)));
}
unsigned slots_for(const Plan& plan, unsigned threads) {
  if (plan.single_row() || plan.points() < kParallelPoints) return 1;
  return std::clamp(threads, 1u, Transform::kMaxSlots);
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

std::size_t footprint(const Plan& plan, unsigned slots, unsigned planes, std::size_t spare_words) {
  Carver sum;
  Product(plan, planes, spare_words, sum);
  return sum.bytes() + Transform::need(plan, slots);
}

/// Footprints of whole products, for every length, as a running maximum: [length number][primes -
/// 3]. A product of n words never takes more than the entry of its length.
class FootprintTable {
 public:
  FootprintTable() {
    for (unsigned i = 0; i < hybrid::length_count(); ++i) {
      for (unsigned extra = 0; extra < 2; ++extra) {
        Entry& entry = entries_[i][extra];
        if (i > 0) entry = entries_[i - 1][extra];
        if (hybrid::length_at(i) > kAddressable) continue;
        const Plan plan(hybrid::length_at(i), hybrid::capacity(3) + extra);
        const std::size_t one = footprint(plan, 1, plan.primes + 1, 0);
        const std::size_t base = footprint(plan, 0, plan.primes + 1, 0);
        entry.base = std::max(entry.base, base);
        entry.slot = std::max(entry.slot, one - base);
      }
    }
  }
  std::size_t bytes(std::uint64_t words, unsigned threads) const {
    const unsigned i = hybrid::length_number(digits_of(words));
    if (i >= hybrid::length_count() || hybrid::length_at(i) > kAddressable) return kNever;
    const Entry& entry = entries_[i][digits_of(words / 2) > hybrid::capacity(3)];
    return entry.base + entry.slot * (hybrid::length_at(i) < kParallelPoints
                                          ? 1
                                          : std::clamp(threads, 1u, Transform::kMaxSlots));
  }

 private:
  /// Points whose planes can be addressed, and an answer for more.
  static constexpr std::uint64_t kAddressable = std::numeric_limits<std::size_t>::max() / 64;
  static constexpr std::size_t kNever =
      std::numeric_limits<std::size_t>::max() / kBufferAlignment * kBufferAlignment;
  struct Entry {
    std::size_t base = 0, slot = 0;
  };
  Entry entries_[4 * hybrid::kMaxLogLength][2];
};

const FootprintTable& footprints() {
  static const FootprintTable table;
  return table;
}

/// Words of each piece but the last: whole digits.
std::size_t piece_words(std::size_t al, std::size_t pieces) {
  return digits_of((al + pieces - 1) / pieces) * hybrid::kWordsPerDigit;
}

/// How many pieces to cut the longer operand into: 1 for none. Each piece is multiplied by the one
/// transform of the shorter operand, whose spectrum is kept for all primes; that must not take
/// more memory than the whole product would.
std::size_t choose_pieces(std::size_t al, std::size_t bl, unsigned threads) {
  if (al < 2 * bl) return 1;
  const std::size_t limit = footprints().bytes(std::uint64_t{al} + bl, threads);
  std::size_t best = 1;
  double best_cost = 3 * plan_for(al, bl).cost();
  for (std::size_t pieces = 2; pieces <= al / bl + 1; pieces += (pieces + 3) / 4) {
    const Plan plan = plan_for(piece_words(al, pieces), bl);
    const double cost = (2.0 * static_cast<double>(pieces) + 1) * plan.cost();
    if (cost < best_cost &&
        footprint(plan, slots_for(plan, threads), 2 * plan.primes, bl) <= limit) {
      best = pieces;
      best_cost = cost;
    }
  }
  return best;
}

void multiply_whole(Context& context, const Kernels& loops, Word* c, const Word* a, std::size_t al,
                    const Word* b, std::size_t bl, AlignedBufferC scratch) {
  const bool square = a == b && al == bl;
  const Plan plan = plan_for(al, bl);
  const unsigned slots = slots_for(plan, context.threads.threads());
  Carver memory(scratch);
  const Product product(plan, plan.primes + (square ? 0 : 1), 0, memory);
  Transform transform(context, loops, plan, slots, memory);
  for (unsigned k = 0; k < plan.primes; ++k) {
    transform.load(k, product.plane[k], a, al);
    if (square) {
      transform.square(k, product.plane[k]);
    } else {
      double* const other = product.plane[plan.primes];
      transform.load(k, other, b, bl);
      transform.multiply(k, product.plane[k], other);
    }
  }
  transform.store(c, al + bl, product.plane);
}

/// c[0, n) += d[0, m), m <= n; the sum fits.
void add(Word* c, std::size_t n, const Word* d, std::size_t m) {
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < n && (i < m || sum != 0); ++i) {
    sum += std::uint64_t{c[i]} + (i < m ? d[i] : 0);
    c[i] = static_cast<Word>(sum);
    sum >>= kWordBits;
  }
}

/// The longer operand in pieces against one spectrum of the shorter one. A piece's product overlaps
/// the next one's by bl words.
void multiply_pieces(Context& context, const Kernels& loops, Word* c, const Word* a, std::size_t al,
                     const Word* b, std::size_t bl, std::size_t pieces, AlignedBufferC scratch) {
  const std::size_t piece = piece_words(al, pieces);
  const Plan plan = plan_for(piece, bl);
  const unsigned slots = slots_for(plan, context.threads.threads());
  Carver memory(scratch);
  const Product product(plan, 2 * plan.primes, bl, memory);
  Transform transform(context, loops, plan, slots, memory);
  for (unsigned k = 0; k < plan.primes; ++k) {
    transform.load(k, product.plane[plan.primes + k], b, bl);
    transform.forward_rows(k, product.plane[plan.primes + k]);
  }
  for (std::size_t at = 0; at < al; at += piece) {
    const std::size_t length = std::min(piece, al - at);
    for (unsigned k = 0; k < plan.primes; ++k) {
      transform.load(k, product.plane[k], a + at, length);
      transform.multiply_by_spectrum(k, product.plane[k], product.plane[plan.primes + k]);
    }
    if (at > 0) std::copy_n(c + at, bl, product.spare);
    transform.store(c + at, length + bl, product.plane);
    if (at > 0) add(c + at, length + bl, product.spare, bl);
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
  return loops() ? footprints().bytes(n, threads) : ntt64().scratch_bytes(n, threads);
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

const Algorithm& hybrid_ntt() {
  static const HybridNtt instance;
  return instance;
}

}  // namespace nmp
