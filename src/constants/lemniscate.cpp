#include "constants/lemniscate.h"

#include <algorithm>
#include <string>

#include "arith/agm.h"
#include "arith/newton.h"
#include "constants/lemniscate_machin.h"
#include "constants/pi_series.h"
#include "foundation/exceptions.h"

namespace numforge::Formulas {
namespace {

using nmp::AlignedBufferC;
using nmp::BigFloat;
using nmp::carve_float;
using nmp::carved_bytes;
using nmp::newton_result_words;
using nmp::Word;

constexpr std::size_t working_precision(std::size_t p) { return p + 1; }
/// set_agm works with a word more again.
constexpr std::size_t number_words(std::size_t q) { return newton_result_words(q + 1); }

void require_unit(int power) {
  if (power != 1 && power != -1)
    throw nmp::InvalidParametersException("make_lemniscate()", "Power must be 1 or -1.");
}

std::size_t mean_bytes(const nmp::Context& context, std::size_t q) {
  const std::size_t root = carved_bytes<Word>(number_words(q));
  return root + std::max(nmp::invsqrt_scratch(context, q), nmp::agm_scratch(context, q));
}

/// mean = AGM(1, sqrt(2)).
void set_mean(nmp::Context& context, BigFloat& mean, std::size_t q, nmp::Progress& progress,
              AlignedBufferC scratch) {
  BigFloat root = carve_float(scratch, number_words(q));
  progress.stage("Square Root");
  progress.step("InvSqrt(2)...  ");
  nmp::set_invsqrt_uW(context, root, 2, q, scratch);
  root.mul_uW(2);
  Word one_word = 1;
  BigFloat one(&one_word, 1);
  one.set_u64(1);
  progress.stage("AGM");
  progress.step("AGM(1, Sqrt(2))...  ");
  nmp::set_agm(context, mean, one, root, q, scratch, &progress);
}

}  // namespace

Lemniscate_AGM_BigFloatR::Lemniscate_AGM_BigFloatR(int power)
    : power_(power), pi_(make_pi_chudnovsky(/*reduced=*/false)) {
  require_unit(power);
}

std::size_t Lemniscate_AGM_BigFloatR::result_words(nmp::Context& context, std::size_t p) const {
  return pi_->result_words(context, working_precision(p));
}

std::size_t Lemniscate_AGM_BigFloatR::scratch_bytes(nmp::Context& context, std::size_t p) const {
  const std::size_t q = working_precision(p), number = carved_bytes<Word>(number_words(q));
  return std::max({pi_->scratch_bytes(context, q), number + mean_bytes(context, q),
                   2 * number + nmp::quotient_scratch(context, q)});
}

void Lemniscate_AGM_BigFloatR::compute(nmp::Context& context, BigFloat& result, std::size_t p,
                                       nmp::Progress& progress, AlignedBufferC scratch) const {
  const std::size_t q = working_precision(p);
  pi_->compute(context, result, q, progress, scratch);
  result.mul_uW(2);
  BigFloat mean = carve_float(scratch, number_words(q));
  set_mean(context, mean, q, progress, scratch);
  progress.stage("Division");
  progress.step("Division...  ");
  BigFloat quotient = carve_float(scratch, number_words(q));
  power_ == 1 ? nmp::set_quotient(context, quotient, result, mean, q, scratch)
              : nmp::set_quotient(context, quotient, mean, result, q, scratch);
  result.set_BigFloat(quotient, p);
}

std::unique_ptr<Formula> make_lemniscate(std::string_view algorithm, int power) {
  if (algorithm == "agm-pi") return std::make_unique<Lemniscate_AGM_BigFloatR>(power);
  require_unit(power);
  if (power == -1)
    throw nmp::InvalidParametersException(
        "make_lemniscate()",
        "(Power = -1) is not supported for (Algorithm = " + std::string(algorithm) + ").");
  return std::make_unique<Lemniscate_Machin_BigFloatR>(algorithm == "gauss"
                                                           ? Lemniscate_Machin_BigFloatR::kGauss
                                                           : Lemniscate_Machin_BigFloatR::kSebah);
}

}  // namespace numforge::Formulas
