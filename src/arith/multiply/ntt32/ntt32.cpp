#include "arith/multiply/ntt32/ntt32.h"

#include <algorithm>
#include <utility>

#include "arith/multiply/ntt32/ntt32_transform.h"
#include "arith/word_ops.h"
#include "foundation/exceptions.h"

namespace nmp {
namespace {

using namespace n32;  // NOLINT: the parts of this algorithm

constexpr std::uint64_t kMaxBits = 0x90000000;
/// Points that one task puts together.
constexpr std::size_t kStoreChunk = std::size_t{1} << 14;

// Sums of products of words, as many as the shorter operand has at most, stay below the product of
// the primes: each prime is above 2^30.7.
static_assert(kPrimeValues[2] > 1743126338u && kMaxBits / kWordBits / 2 < std::uint64_t{1} << 28);
static_assert(kMaxBits / kWordBits <= std::uint64_t{3} << kMaxLog);

/// How a product of al >= bl words is cut: the longer operand in `pieces` of `piece` words.
struct Shape {
  Shape(std::size_t al, std::size_t bl) : piece(al), length(Length::holding(al + bl)) {
    const Length whole = length;
    // Each piece costs two transforms, the shorter operand one; a whole product three.
    auto cost = [](std::size_t count, Length l) { return (2 * count + 1) * l.points(); };
    std::size_t best = cost(1, length);
    for (std::size_t count = 2; count <= al / bl; count += (count + 3) / 4) {
      const std::size_t part = (al + count - 1) / count;
      const Length l = Length::holding(part + bl);
      // Six planes and the overlap in the room of four planes; 64 words round all up to lines.
      if (cost(count, l) >= best || 6 * l.points() + bl + 64 > 4 * whole.points()) continue;
      best = cost(count, l);
      pieces = count, piece = part, length = l;
    }
  }
  std::size_t pieces = 1, piece;
  Length length;
};

std::size_t chunks(std::size_t n) { return (n + kStoreChunk - 1) / kStoreChunk; }

std::size_t need(std::size_t n) {
  const std::size_t points = Length::holding(n).points();
  return 4 * carved_bytes<Word>(points) + carved_bytes<std::uint64_t>(chunks(points));
}

Garner make_garner(Length length) {
  Garner g;
  for (std::size_t k = 0; k < kPrimes; ++k) {
    const Field& f = field(k);
    g.p[k] = f.p();
    const std::uint64_t n = length.points() % f.p();
    const std::uint64_t radix = (std::uint64_t{1} << 32) % f.p();
    g.scale[k] = make_factor(radix * f.inverse(static_cast<std::uint32_t>(n)) % f.p(), f.p());
  }
  const auto inverse = [](std::size_t i, std::size_t k) {
    return make_factor(field(k).inverse(kPrimeValues[i] % kPrimeValues[k]), kPrimeValues[k]);
  };
  g.inverse01 = inverse(0, 1);
  g.inverse02 = inverse(0, 2);
  g.inverse12 = inverse(1, 2);
  return g;
}

/// The transforms of one product.
class Product {
 public:
  Product(Context& context, const Kernels& kernels, Length length, AlignedBufferC& scratch)
      : context_(context), kernels_(kernels), length_(length), garner_(make_garner(length)) {
    for (Word*& plane : planes_) plane = scratch.carve<Word>(length.points());
    carries_ = scratch.carve<std::uint64_t>(chunks(length.points()));
  }

  /// plane = the spectrum of words[0, n) modulo prime k.
  void transform(std::size_t k, Word* plane, const Word* words, std::size_t n) {
    share(context_, n, kStoreChunk, [&](std::size_t first, std::size_t last) {
      kernels_.load(plane + first, words + first, last - first, field(k).p());
    });
    std::fill(plane + n, plane + length_.points(), Word{0});
    forward(context_, kernels_, field(k), plane, length_);
  }
  Word* plane(std::size_t k) { return planes_[k]; }
  /// plane(k) *= other, and back.
  void finish(std::size_t k, const Word* other) {
    const Field& f = field(k);
    share(context_, length_.points(), kStoreChunk, [&](std::size_t first, std::size_t last) {
      kernels_.multiply(planes_[k] + first, other + first, last - first, f.p(), f.p_inverse());
    });
    inverse(context_, kernels_, f, planes_[k], length_);
  }
  /// out[0, n) = the product.
  void store(Word* out, std::size_t n) {
    share(context_, n, kStoreChunk, [&](std::size_t first, std::size_t last) {
      for (; first < last; first += kStoreChunk) {
        const Word* const r[kPrimes] = {planes_[0] + first, planes_[1] + first, planes_[2] + first};
        carries_[first / kStoreChunk] =
            kernels_.store(out + first, r, std::min(kStoreChunk, last - first), garner_, 0);
      }
    });
    for (std::size_t i = 0; i + 1 < chunks(n); ++i) {
      const std::size_t at = (i + 1) * kStoreChunk;
      const Word carry[2] = {static_cast<Word>(carries_[i]),
                             static_cast<Word>(carries_[i] >> kWordBits)};
      add_onto(out + at, n - at, carry, std::min<std::size_t>(2, n - at));
    }
  }
  /// c[0, n) += d[0, m), m <= n; the sum fits.
  static void add_onto(Word* c, std::size_t n, const Word* d, std::size_t m) {
    if (words::add_n(c, c, d, m) != 0) words::increment(c + m, n - m);
  }

 private:
  Context& context_;
  const Kernels& kernels_;
  const Length length_;
  const Garner garner_;
  Word* planes_[kPrimes];
  std::uint64_t* carries_;
};

void multiply_whole(Context& context, const Kernels& kernels, Length length, Word* c, const Word* a,
                    std::size_t al, const Word* b, std::size_t bl, AlignedBufferC scratch) {
  Product product(context, kernels, length, scratch);
  const bool square = a == b && al == bl;
  Word* const other = square ? nullptr : scratch.carve<Word>(length.points());
  for (std::size_t k = 0; k < kPrimes; ++k) {
    product.transform(k, product.plane(k), a, al);
    if (!square) product.transform(k, other, b, bl);
    product.finish(k, square ? product.plane(k) : other);
  }
  product.store(c, al + bl);
}

/// A piece's product overlaps the next one's by bl words, which wait in `spare`.
void multiply_pieces(Context& context, const Kernels& kernels, const Shape& shape, Word* c,
                     const Word* a, std::size_t al, const Word* b, std::size_t bl,
                     AlignedBufferC scratch) {
  Product product(context, kernels, shape.length, scratch);
  Word* fixed[kPrimes];
  for (std::size_t k = 0; k < kPrimes; ++k) {
    fixed[k] = scratch.carve<Word>(shape.length.points());
    product.transform(k, fixed[k], b, bl);
  }
  Word* const spare = scratch.carve<Word>(bl);
  for (std::size_t done = 0; done < al; done += shape.piece) {
    const std::size_t part = std::min(shape.piece, al - done);
    for (std::size_t k = 0; k < kPrimes; ++k) {
      product.transform(k, product.plane(k), a + done, part);
      product.finish(k, fixed[k]);
    }
    if (done > 0) std::copy_n(c + done, bl, spare);
    product.store(c + done, part + bl);
    if (done > 0) Product::add_onto(c + done, part + bl, spare, bl);
  }
}

}  // namespace

Ntt32::Ntt32(const KernelSet* set)
    : Algorithm(kMaxBits, "N32", "32-bit NTT", "NTT32", "32-bit NTT"), set_(set) {}

void Ntt32::prepare() const { (void)field(0); }

std::size_t Ntt32::scratch_bytes(std::size_t n, unsigned /*threads*/) const {
  const auto most = static_cast<std::size_t>(max_size / kWordBits);
  return need(std::min(n, most));
}

void Ntt32::multiply(Context& context, Word* c, const Word* a, std::size_t al, const Word* b,
                     std::size_t bl, AlignedBufferC scratch) const {
  const std::uint64_t bits = (std::uint64_t{al} + bl) * kWordBits;
  if (bits > max_size)
    throw LimitExceededException("Ntt32::multiply()", "The product is too long.", bits, max_size);
  if (al < bl) {
    std::swap(a, b);
    std::swap(al, bl);
  }
  scratch = scratch.spawn(scratch_bytes(al + bl, 1));
  const Kernels& kernels = *(set_ ? *set_ : nmp::kernels()).ntt32;
  const Shape shape(al, bl);
  if (shape.pieces == 1)
    multiply_whole(context, kernels, shape.length, c, a, al, b, bl, scratch);
  else
    multiply_pieces(context, kernels, shape, c, a, al, b, bl, scratch);
}

const Algorithm& ntt32() {
  static const Ntt32 instance;
  return instance;
}

}  // namespace nmp
