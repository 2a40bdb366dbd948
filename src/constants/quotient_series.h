// Constants that are one series of rational terms: zeta(3) and Catalan's constant.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "constants/formula.h"
#include "series/leaf.h"

namespace numforge::Formulas {

/// value = P / (coefD Q).
struct QuotientTerms {
  nmp::BinarySplitting::PolynomialTerms terms;
  std::uint64_t coefD;
};

/// By an algorithm's key: "wedeniwski" or "az". Null for others.
const QuotientTerms* zeta3_terms(std::string_view algorithm);
/// "pilehrood-short", "pilehrood-long", "guillera2008", "guillera2019" or "lupas". Null for others.
const QuotientTerms* catalan_terms(std::string_view algorithm);

/// The formula that sums them. `terms` must outlive it.
std::unique_ptr<Formula> make_quotient_series(const QuotientTerms& terms);

/// Terms that p words of the value take.
std::uint64_t quotient_series_terms(const QuotientTerms& terms, std::size_t p);

}  // namespace numforge::Formulas
