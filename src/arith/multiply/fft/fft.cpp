#include "arith/multiply/fft/fft.h"

#include <algorithm>
#include <limits>

#include "arith/multiply/fft/fft_spectra.h"
#include "arith/multiply/fft/fft_transform.h"
#include "arith/multiply/ntt64/ntt64.h"
#include "arith/word_ops.h"
#include "foundation/exceptions.h"
#include "parallel/context.h"

namespace nmp {
namespace {

using fft::Kernels;
using fft::Length;
using fft::Plan;
using fft::Shape;
using fft::Transform;

constexpr std::uint64_t kMaxBits = std::uint64_t{1} << 34;
constexpr std::size_t kNever =
    std::numeric_limits<std::size_t>::max() / kBufferAlignment * kBufferAlignment;

/// What a product takes from its scratch.
struct Product {
  Product(const Shape& shape, unsigned planes, std::size_t spare_words, Carver& memory) {
    for (unsigned i = 0; i < planes; ++i) plane[i] = memory.take<double>(shape.plane_doubles());
    spare = memory.take<Word>(spare_words);
  }
  double* plane[2];
  Word* spare;
};

std::size_t footprint(const Shape& shape, unsigned threads, std::size_t spare_words) {
  Carver sum;
  Product(shape, 2, spare_words, sum);
  return sum.bytes() + Transform::need(shape, Transform::slots_for(shape, threads));
}

/// Enough for any product of `words` words in all.
std::size_t bytes_for(std::uint64_t words, unsigned threads) {
  const Length* const length = fft::longest_length(words);
  if (!length || !fft::addressable(*length)) return kNever;
  const fft::Footprint most = fft::most_up_to(*length);
  return 2 * most.plane + most.slot * Transform::slots_for(Shape(*length), threads);
}

/// c[0, n) += d[0, m), m <= n, modulo 2^(32 n).
void add(Word* c, std::size_t n, const Word* d, std::size_t m) {
  if (words::add_n(c, c, d, m) != 0) words::increment(c + m, n - m);
}

/// One product with its operands in order, al >= bl.
class Multiplication {
 public:
  Multiplication(Context& context, const Kernels& loops, Word* c, const Word* a, std::size_t al,
                 const Word* b, std::size_t bl, AlignedBufferC scratch)
      : context_(context),
        loops_(loops),
        c_(c),
        a_(a),
        b_(b),
        al_(al),
        bl_(bl),
        scratch_(scratch) {}

  void run() {
    const std::size_t pieces = choose_pieces();
    if (pieces > 1 && in_pieces(pieces)) return;
    if (!whole(fft::plan_product(al_, bl_, true))) whole(fft::plan_product(al_, bl_, false));
  }

 private:
  unsigned slots(const Plan& plan) const {
    return Transform::slots_for(Shape(*plan.length), context_.threads.threads());
  }
  std::size_t piece_words(std::size_t pieces) const { return (al_ + pieces - 1) / pieces; }

  /// How many pieces to cut the longer operand into: 1 for none. Each piece is multiplied by the
  /// one transform of the shorter operand; that must not take more memory than the whole would.
  std::size_t choose_pieces() const {
    if (al_ < 2 * bl_) return 1;
    const unsigned threads = context_.threads.threads();
    const std::size_t limit = bytes_for(std::uint64_t{al_} + bl_, threads);
    std::size_t best = 1;
    double best_cost = 3 * fft::cost(*fft::plan_product(al_, bl_, true).length);
    for (std::size_t pieces = 2; pieces <= al_ / bl_ + 1; pieces += (pieces + 3) / 4) {
      const Plan plan = fft::plan_product(piece_words(pieces), bl_, true);
      const double cost = (2.0 * static_cast<double>(pieces) + 1) * fft::cost(*plan.length);
      if (cost < best_cost && footprint(Shape(*plan.length), threads, bl_) <= limit) {
        best = pieces;
        best_cost = cost;
      }
    }
    return best;
  }

  /// False, before anything is written, when the digits are too large for the plan.
  bool whole(const Plan& plan) {
    const bool square = a_ == b_ && al_ == bl_;
    Carver memory(scratch_);
    const Product product(Shape(*plan.length), square ? 1 : 2, 0, memory);
    Transform transform(context_, loops_, plan, slots(plan), memory);
    double* const x = product.plane[0];
    double* const y = square ? x : product.plane[1];
    const double xx = transform.load(x, a_, al_);
    const double yy = square ? xx : transform.load(y, b_, bl_);
    if (xx * yy > plan.length->limit * plan.length->limit) return false;
    transform.multiply(x, x, y);
    store(transform, plan, c_, x, a_, al_);
    return true;
  }

  /// c = the product of x[0, xl) and b. Where both numbers fill whole digits and together the
  /// length, the bits that their digits leave to the next ones meet beyond the end: there they
  /// count as minus one at the start.
  void store(Transform& transform, const Plan& plan, Word* c, double* plane, const Word* x,
             std::size_t xl) const {
    transform.store(c, xl + bl_, plane);
    const bool full = xl + bl_ == plan.words() && std::uint64_t{xl} * kWordBits % plan.bits == 0;
    if (full && (x[xl - 1] & b_[bl_ - 1]) >> (kWordBits - 1) != 0) {
      constexpr Word kOne = 1;
      add(c, xl + bl_, &kOne, 1);
    }
  }

  /// A piece's product overlaps the next one's by bl words. False as above.
  bool in_pieces(std::size_t pieces) {
    const std::size_t piece = piece_words(pieces);
    const Plan plan = fft::plan_product(piece, bl_, true);
    Carver memory(scratch_);
    const Product product(Shape(*plan.length), 2, bl_, memory);
    Transform transform(context_, loops_, plan, slots(plan), memory);
    const double yy = transform.load(product.plane[1], b_, bl_);
    transform.finish(product.plane[1]);
    for (std::size_t at = 0; at < al_; at += piece) {
      const std::size_t length = std::min(piece, al_ - at);
      const double xx = transform.load(product.plane[0], a_ + at, length);
      if (xx * yy > plan.length->limit * plan.length->limit) return false;
      transform.multiply_by_spectrum(product.plane[0], product.plane[0], product.plane[1]);
      if (at > 0) std::copy_n(c_ + at, bl_, product.spare);
      store(transform, plan, c_ + at, product.plane[0], a_ + at, length);
      if (at > 0) add(c_ + at, length + bl_, product.spare, bl_);
    }
    return true;
  }

  Context& context_;
  const Kernels& loops_;
  Word* const c_;
  const Word *const a_, *const b_;
  const std::size_t al_, bl_;
  const AlignedBufferC scratch_;
};

}  // namespace

FloatingPointFft::FloatingPointFft(const KernelSet* set)
    : Algorithm(kMaxBits, "FFT", "Floating-Point FFT", "FFTv2", "vector scalable"), set_(set) {}

const Kernels* FloatingPointFft::loops() const { return (set_ ? *set_ : kernels()).fft; }

void FloatingPointFft::prepare() const {
  if (const Kernels* const inner = loops())
    fft::prepare_tables(*inner);
  else
    ntt64().prepare();
}

std::size_t FloatingPointFft::scratch_bytes(std::size_t n, unsigned threads) const {
  return loops() ? bytes_for(n, threads) : ntt64().scratch_bytes(n, threads);
}

void FloatingPointFft::multiply(Context& context, Word* c, const Word* a, std::size_t al,
                                const Word* b, std::size_t bl, AlignedBufferC scratch) const {
  const std::uint64_t bits = (std::uint64_t{al} + bl) * kWordBits;
  if (bits > max_size) {
    throw LimitExceededException("FloatingPointFft::multiply()", "The product is too long.", bits,
                                 max_size);
  }
  const Kernels* const inner = loops();
  if (!inner) return ntt64().multiply(context, c, a, al, b, bl, scratch);
  if (al < bl) {
    std::swap(a, b);
    std::swap(al, bl);
  }
  Multiplication(context, *inner, c, a, al, b, bl, scratch).run();
}

Spectra* FloatingPointFft::make_spectra(Context& context, const SpectrumShape& shape,
                                        AlignedBufferC& memory) const {
  const Kernels* const inner = loops();
  return inner ? fft::make_spectra(context, *inner, shape, memory) : nullptr;
}

SpectraNeed FloatingPointFft::spectra_need(const SpectrumShape& shape, unsigned threads) const {
  return loops() ? fft::spectra_need(shape, threads) : SpectraNeed{};
}

const Algorithm& floating_point_fft() {
  static const FloatingPointFft instance;
  return instance;
}

}  // namespace nmp
