// How many terms a series needs, and how large its products get.
#pragma once

#include <cstddef>
#include <cstdint>

namespace numforge::Formulas {

/// Natural logarithm of 2^32: nats in one word.
inline constexpr double kNatsPerWord = 22.18070977791824990135142788666165017842;

/// Terms of a series that gains `rate` nats per term, for a precision of p words. Three more than
/// the leading order cover the factor k^(-1/2) and constants of the series used here.
std::uint64_t linear_series_terms(double rate, std::size_t p);

/// The least N with ln N! >= the nats of p words, by Stirling's formula from below.
std::uint64_t factorial_series_terms(std::size_t p);

}  // namespace numforge::Formulas
