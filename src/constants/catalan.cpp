// Hypergeometric series for Catalan's constant, each G = P / (2 Q).
#include "constants/quotient_series.h"

namespace numforge::Formulas {
namespace {

// ln(729/4) nats a term, and for the long form ln 1024.
// Source: Kh. Hessami Pilehrood and T. Hessami Pilehrood, Series acceleration formulas for beta
// values, 2010 [Pilehrood2010].
constexpr QuotientTerms Catalan_Pilehrood1_BSR_End1 = {
    {{9, {{{6, 1, 2}, {6, 5, 2}}}}, {32, {{{1, 0, 3}, {2, 1}}}}, {15, -184, 580}}, 2};
constexpr QuotientTerms Catalan_Pilehrood_BSR_End1 = {
    {{1, {{{8, 7, 2}, {8, 5, 2}, {8, 3, 2}, {8, 1, 2}}}},
     {32, {{{1, 0, 3}, {2, 1}, {4, 3, 2}, {4, 1, 2}}}, true},
     {315, -7800, 73256, -332800, 782848, -915456, 419840}},
    2};

// ln 8 nats a term.
// Source: J. Guillera, Hypergeometric identities for 10 extended Ramanujan-type series, 2008
// [Guillera2008].
constexpr QuotientTerms Catalan_Guillera2018_BSR_End = {
    {{1, {{{2, 1, 3}}}}, {1, {{{1, 0, 3}}}, true}, {-1, 3}}, 2};

// ln(19683/64) nats a term.
// Source: J. Guillera, a new formula for computing Catalan's constant, 2019 [Guillera2019].
constexpr QuotientTerms Catalan_Guillera2019_BSR_End1 = {{{27, {{{6, 1, 3}, {6, 5, 3}}}},
                                                          {512, {{{1, 0, 3}, {2, 1, 3}}}, true},
                                                          {165, -3160, 21240, -57184, 45136}},
                                                         2};

// ln 4 nats a term.
// Source: A. Lupas, Formulae for some classical constants, 2000 [Lupas2000].
constexpr QuotientTerms Catalan_Lupas_BSR_End1 = {
    {{1, {{{4, 3, 2}, {4, 1, 2}}}}, {32, {{{1, 0, 3}, {2, 1}}}, true}, {3, -24, 40}}, 2};

constexpr struct {
  std::string_view key;
  const QuotientTerms& terms;
} kAlgorithms[] = {
    {"pilehrood-short", Catalan_Pilehrood1_BSR_End1},
    {"pilehrood-long", Catalan_Pilehrood_BSR_End1},
    {"guillera2008", Catalan_Guillera2018_BSR_End},
    {"guillera2019", Catalan_Guillera2019_BSR_End1},
    {"lupas", Catalan_Lupas_BSR_End1},
};

}  // namespace

const QuotientTerms* catalan_terms(std::string_view algorithm) {
  for (const auto& [key, terms] : kAlgorithms)
    if (key == algorithm) return &terms;
  return nullptr;
}

}  // namespace numforge::Formulas
