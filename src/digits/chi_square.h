// How likely it is that random digits are as uneven as these.
#pragma once

#include <string>
#include <vector>

#include "digits/digit_counts.h"

namespace nmp {

/// Q(a, x) = Gamma(a, x) / Gamma(a), the share of the gamma distribution above x, for a > 0 and
/// x >= 0. Sources: M. Abramowitz, I. Stegun, "Handbook of Mathematical Functions", 6.5.29 (series)
/// and 6.5.31 (continued fraction), the latter by the method of W. Lentz, "Generating Bessel
/// functions in Mie scattering calculations using continued fractions", 1976.
double upper_gamma_share(double a, double x);

/// The sum of (count - expected)^2 / expected; 0 for no digits.
double chi_square(const DigitCounts& counts);
/// The probability that random digits would give this chi-square or a larger one.
double chi_square_probability(const DigitCounts& counts);

/// A bar per digit value, scaled to its deviation from the expected count, then chi-square, its
/// probability and what to think of it. Lines of at most 79 characters.
std::vector<std::string> deviation_picture(const DigitCounts& counts);

}  // namespace nmp
