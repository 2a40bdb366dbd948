#include "constants/square_roots.h"

#include <string>

#include "arith/newton.h"
#include "foundation/exceptions.h"

namespace numforge::Formulas {

using nmp::AlignedBufferC;
using nmp::BigFloat;
using nmp::Word;

std::size_t Sqrt_Newton_BigFloatR::scratch_bytes(nmp::Context& context, std::size_t p) const {
  return nmp::invsqrt_scratch(context, p);
}

void Sqrt_Newton_BigFloatR::compute(nmp::Context& context, BigFloat& result, std::size_t p,
                                    nmp::Progress& progress, AlignedBufferC scratch) const {
  progress.stage("Square Root");
  progress.step("InvSqrt(" + std::to_string(n_) + ")...  ");
  nmp::set_invsqrt_uW(context, result, n_, p, scratch);
  result.mul_uW(n_);
}

GoldenRatio_Newton_BigFloatR::GoldenRatio_Newton_BigFloatR(int power) : power_(power) {
  if (power != 1 && power != -1)
    throw nmp::InvalidParametersException("GoldenRatio_Newton_BigFloatR", "Power must be 1 or -1.");
}

std::size_t GoldenRatio_Newton_BigFloatR::scratch_bytes(nmp::Context& context,
                                                        std::size_t p) const {
  const std::size_t root = nmp::carved_bytes<Word>(result_words(context, p));
  return root + Sqrt_Newton_BigFloatR(5).scratch_bytes(context, p);
}

void GoldenRatio_Newton_BigFloatR::compute(nmp::Context& context, BigFloat& result, std::size_t p,
                                           nmp::Progress& progress, AlignedBufferC scratch) const {
  const std::size_t words = result_words(context, p);
  BigFloat root(scratch.carve<Word>(words), static_cast<std::uint32_t>(words));
  Sqrt_Newton_BigFloatR(5).compute(context, root, p, progress, scratch);
  Word one_word = 1;
  BigFloat one(&one_word, 1);
  one.set_u64(1);
  // sqrt(5) - 1 keeps a third of sqrt(5): no digits are lost to speak of.
  power_ == 1 ? result.set_add(context, root, one, p) : result.set_sub(context, root, one, p);
  result.set_div_sW(result, 2, p);
}

}  // namespace numforge::Formulas
