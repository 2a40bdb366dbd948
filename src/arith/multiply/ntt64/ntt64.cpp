#include "arith/multiply/ntt64/ntt64.h"

#include <algorithm>
#include <utility>

#include "arith/multiply/ntt64/convert.h"
#include "arith/multiply/ntt64/plan.h"
#include "arith/multiply/ntt64/transform.h"
#include "foundation/exceptions.h"

namespace nmp {
namespace {

using namespace n64;  // NOLINT: the parts of this algorithm

using Planes = std::uint64_t* [kPrimes];

void carve_planes(AlignedBufferC& scratch, std::size_t length, Planes& planes) {
  for (std::uint64_t*& plane : planes) plane = scratch.carve<std::uint64_t>(length);
}

/// The whole product by one transform per operand and prime.
void multiply_whole(Context& context, const Plan& plan, Word* c, const Word* a, std::size_t al,
                    const Word* b, std::size_t bl, AlignedBufferC scratch) {
  const std::size_t n = plan.length;
  Planes planes;
  carve_planes(scratch, n, planes);
  std::uint64_t* second = plan.square ? nullptr : scratch.carve<std::uint64_t>(n);
  for (std::size_t k = 0; k < kPrimes; ++k) {
    const Field& f = field(k);
    load(context, f, plan.digit_bits, planes[k], n, a, al);
    forward(context, f, planes[k], n);
    if (!plan.square) {
      load(context, f, plan.digit_bits, second, n, b, bl);
      forward(context, f, second, n);
    }
    multiply_points(context, f, planes[k], plan.square ? planes[k] : second, n);
    inverse(context, f, planes[k], n);
  }
  store(context, plan.digit_bits, planes, n, c, al + bl, 0);
}

/// Pieces of a, each by the one transform of b.
void multiply_in_pieces(Context& context, const Plan& plan, Word* c, const Word* a, std::size_t al,
                        const Word* b, std::size_t bl, AlignedBufferC scratch) {
  const std::size_t n = plan.length;
  Planes planes, fixed;
  carve_planes(scratch, n, planes);
  carve_planes(scratch, n, fixed);
  for (std::size_t k = 0; k < kPrimes; ++k) {
    load(context, field(k), plan.digit_bits, fixed[k], n, b, bl);
    forward(context, field(k), fixed[k], n);
  }
  for (std::size_t done = 0; done < al; done += plan.piece_words) {
    const std::size_t part = std::min(plan.piece_words, al - done);
    for (std::size_t k = 0; k < kPrimes; ++k) {
      load(context, field(k), plan.digit_bits, planes[k], n, a + done, part);
      forward(context, field(k), planes[k], n);
      multiply_points(context, field(k), planes[k], fixed[k], n);
      inverse(context, field(k), planes[k], n);
    }
    // The product of the piece before reaches bl words into this one.
    store(context, plan.digit_bits, planes, n, c + done, part + bl, done == 0 ? 0 : bl);
  }
}

class Ntt64 final : public Algorithm {
 public:
  Ntt64() : Algorithm(0x3800000000000000, "N64", "64-bit NTT", "NTT64", "64-bit NTT") {}

  void prepare() const override {
    for (std::size_t k = 0; k < kPrimes; ++k) (void)field(k);
  }

  std::size_t scratch_bytes(std::size_t n, unsigned /*threads*/) const override {
    return plan_scratch_bytes(n);
  }

  void multiply(Context& context, Word* c, const Word* a, std::size_t al, const Word* b,
                std::size_t bl, AlignedBufferC scratch) const override {
    const std::uint64_t words = std::uint64_t{al} + bl;
    if (words > max_size / kWordBits)
      throw LimitExceededException("Ntt64::multiply()",
                                   "The product has more words than this algorithm takes.", words,
                                   max_size / kWordBits);
    if (al < bl) {
      std::swap(a, b);
      std::swap(al, bl);
    }
    scratch = scratch.spawn(scratch_bytes(al + bl, 1));
    const Plan plan(al, bl, a == b && al == bl);
    if (plan.pieces == 1)
      multiply_whole(context, plan, c, a, al, b, bl, scratch);
    else
      multiply_in_pieces(context, plan, c, a, al, b, bl, scratch);
  }
};

}  // namespace

const Algorithm& ntt64() {
  static const Ntt64 algorithm;
  return algorithm;
}

}  // namespace nmp
