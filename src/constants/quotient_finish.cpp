#include "constants/quotient_finish.h"

#include <algorithm>
#include <string>
#include <utility>

#include "arith/multiply/algorithm_table.h"
#include "arith/newton.h"
#include "series/common_p2b3.h"

namespace numforge::Formulas {
namespace {

using nmp::AlignedBufferC;
using nmp::BigFloat;
using nmp::carve_float;
using nmp::carved_bytes;
using nmp::Word;
using nmp::BinarySplitting::CommonP2B3::PSR_SeriesS;

/// Words of a full product at precision q, formed in its own buffer.
std::size_t full_product_words(std::size_t q) { return 2 * (q + nmp::kExtraPrecision); }
std::size_t final_product_bytes(const nmp::Context& context, std::size_t q) {
  return carved_bytes<Word>(full_product_words(q)) +
         nmp::multiply_scratch(context, full_product_words(q));
}

}  // namespace

std::size_t QuotientFinish::result_words(nmp::Context& context, std::size_t p) const {
  const std::size_t q = series_precision(p);
  return std::max(PSR_SeriesS(context, series, q).result_words(), nmp::newton_result_words(q));
}

std::size_t QuotientFinish::scratch_bytes(nmp::Context& context, std::size_t p) const {
  const std::size_t q = series_precision(p);
  const PSR_SeriesS sum(context, series, q);
  const std::size_t denominator = carved_bytes<Word>(sum.result_words());
  const std::size_t number = carved_bytes<Word>(nmp::newton_result_words(q));
  std::size_t most = denominator + sum.scratch_bytes();
  most = std::max(most, denominator + number + nmp::quotient_scratch(context, q));
  if (root != 0) {
    most = std::max(most, number + nmp::invsqrt_scratch(context, q));
    most = std::max(most, number + final_product_bytes(context, q));
  }
  return most;
}

void QuotientFinish::compute(nmp::Context& context, BigFloat& result, std::size_t p,
                             nmp::Progress& progress, AlignedBufferC scratch) const {
  const std::size_t q = series_precision(p), words = nmp::newton_result_words(q);
  {
    AlignedBufferC rest = scratch;
    PSR_SeriesS sum(context, series, q);
    BigFloat numerator(result.buffer, result.buffer_size);
    BigFloat denominator = carve_float(rest, sum.result_words());
    progress.stage("Series");
    sum.run(numerator, denominator, progress, rest);
    if (inverted) std::swap(numerator, denominator);
    progress.stage("Division");
    progress.step("Division...  ");
    BigFloat quotient = carve_float(rest, words);
    nmp::set_quotient(context, quotient, numerator, denominator, q, rest);
    result.set_BigFloat(quotient, q);
  }
  if (root == 0) return result.truncate(p + nmp::kExtraPrecision);
  progress.stage("Square Root");
  progress.step("InvSqrt(" + std::to_string(root) + ")...  ");
  BigFloat inverse_root = carve_float(scratch, words);
  nmp::set_invsqrt_uW(context, inverse_root, root, q, scratch);
  progress.stage("Multiplication");
  progress.step("Final Multiply...  ");
  BigFloat product = carve_float(scratch, full_product_words(q));
  product.set_mul(context, result, inverse_root, q, scratch);
  result.set_BigFloat(product, p);
}

}  // namespace numforge::Formulas
