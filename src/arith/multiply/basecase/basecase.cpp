#include "arith/multiply/basecase/basecase.h"

#include <algorithm>

#include "arith/multiply/basecase/word_multiply.h"
#include "foundation/exceptions.h"

namespace nmp {
namespace {

class BasecaseKaratsuba final : public Algorithm {
 public:
  BasecaseKaratsuba() : Algorithm(65536, "BKT", "Basecase/Karatsuba", "MULB", "Basic Multiply") {}

  std::size_t scratch_bytes(std::size_t n, unsigned /*threads*/) const override {
    const auto most = static_cast<std::size_t>(max_size / kWordBits);
    return WordMultiply::native().scratch_bytes(std::min(n, most));
  }

  void multiply(Context& /*context*/, Word* c, const Word* a, std::size_t al, const Word* b,
                std::size_t bl, AlignedBufferC scratch) const override {
    const std::uint64_t bits = (std::uint64_t{al} + bl) * kWordBits;
    if (bits > max_size)
      throw LimitExceededException("BasecaseKaratsuba::multiply()",
                                   "The product has more bits than this algorithm takes.", bits,
                                   max_size);
    WordMultiply::native().multiply(c, a, al, b, bl, scratch);
  }
};

}  // namespace

const Algorithm& basecase_karatsuba() {
  static const BasecaseKaratsuba algorithm;
  return algorithm;
}

}  // namespace nmp
