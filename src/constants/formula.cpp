#include "constants/formula.h"

#include <bit>
#include <string>

#include "arith/newton.h"
#include "constants/catalan_huvent.h"
#include "constants/e_taylor.h"
#include "constants/euler_gamma.h"
#include "constants/lemniscate.h"
#include "constants/log_machin.h"
#include "constants/machin_search.h"
#include "constants/pi_series.h"
#include "constants/quotient_series.h"
#include "constants/square_roots.h"
#include "foundation/exceptions.h"

namespace numforge::Formulas {

std::size_t Formula::result_words(nmp::Context&, std::size_t p) const {
  return nmp::newton_result_words(p);
}

std::size_t Formula::longest_product(std::size_t) const { return static_cast<std::size_t>(-1); }

std::unique_ptr<Formula> make_formula(std::string_view constant, std::uint64_t argument,
                                      std::string_view algorithm) {
  if (constant == "sqrt")
    return std::make_unique<Sqrt_Newton_BigFloatR>(static_cast<nmp::Word>(argument));
  if (constant == "goldenratio") return std::make_unique<GoldenRatio_Newton_BigFloatR>(1);
  if (constant == "e")
    return std::make_unique<e_Taylor_BigFloatR>(/*alternating=*/algorithm == "exp(-1)", 1);
  if (constant == "lemniscate") return make_lemniscate(algorithm, 1);
  if (constant == "pi") {
    const bool reduced = algorithm.ends_with("-reduced");
    if (algorithm.starts_with("chudnovsky")) return make_pi_chudnovsky(reduced);
    if (algorithm.starts_with("ramanujan")) return make_pi_ramanujan(reduced);
  }
  if (constant == "gamma" || constant == "brent") {
    // The argument of brent is 2^k.
    const auto k = constant == "brent" ? static_cast<unsigned>(std::countr_zero(argument)) : 0;
    return std::make_unique<EulerGamma_BrentMcMillan_BigFloatR>(k, algorithm == "brent-refined");
  }
  if (constant == "log")
    return std::make_unique<Log_Machin_BigFloatR>(
        log_formula(static_cast<std::uint32_t>(argument), algorithm));
  if (constant == "zeta3")
    if (const QuotientTerms* terms = zeta3_terms(algorithm)) return make_quotient_series(*terms);
  if (constant == "catalan" && algorithm == "huvent") return make_catalan_huvent();
  if (constant == "catalan")
    if (const QuotientTerms* terms = catalan_terms(algorithm)) return make_quotient_series(*terms);
  throw nmp::InvalidParametersException("make_formula()", "This version cannot compute \"" +
                                                              std::string(constant) + "\" by \"" +
                                                              std::string(algorithm) + "\" yet.");
}

}  // namespace numforge::Formulas
