// Series for zeta(3). Coefficients of polynomials stand from the constant term up.
#include "constants/quotient_series.h"

namespace numforge::Formulas {
namespace {

using nmp::BinarySplitting::FormProduct;
using Polynomial = decltype(nmp::BinarySplitting::PolynomialTerms::P);

// zeta(3) = P / (8 Q), ln 110592 nats a term.
// Source: S. Wedeniwski, The value of zeta(3) to 128 million digits, 1998, after Amdeberhan and
// Zeilberger [Wedeniwski1998].
constexpr FormProduct Zeta3_Wedeniwski_BSR_End_Q1 = {24, {{{3, 2}, {3, 1}, {4, 3, 3}, {4, 1, 3}}}};
constexpr FormProduct Zeta3_Wedeniwski_BSR_End_R1 = {1, {{{1, 0, 5}, {2, 1, 3}}}, true};
constexpr Polynomial Zeta3_Wedeniwski_BSR_End_P1 = {-432, 7128, -46039, 144666, -219252, 126392};
constexpr QuotientTerms kWedeniwski = {
    {Zeta3_Wedeniwski_BSR_End_Q1, Zeta3_Wedeniwski_BSR_End_R1, Zeta3_Wedeniwski_BSR_End_P1}, 8};

// zeta(3) = P / (2 Q), ln 1024 nats a term.
// Source: T. Amdeberhan and D. Zeilberger, Hypergeometric series acceleration via the WZ method,
// 1997 [AZ1997].
constexpr QuotientTerms Zeta3_AZ1_BSR_End1 = {
    {{32, {{{2, 1, 5}}}}, {1, {{{1, 0, 5}}}, true}, {32, -160, 205}}, 2};

}  // namespace

const QuotientTerms* zeta3_terms(std::string_view algorithm) {
  if (algorithm == "wedeniwski") return &kWedeniwski;
  if (algorithm == "az") return &Zeta3_AZ1_BSR_End1;
  return nullptr;
}

}  // namespace numforge::Formulas
