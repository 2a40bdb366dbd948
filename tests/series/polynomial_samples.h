// Series of the shapes that drop common factors, for tests.
#pragma once

#include "series/leaf.h"

namespace nmp::BinarySplitting::test_samples {

inline constexpr PolynomialTerms kSixths = {
    {10'000'019, {{{1, 0, 3}}}}, {1, {{{6, 5}, {2, 1}, {6, 1}}}, true}, {17, 29}, true};
inline constexpr PolynomialTerms kQuarters = {
    {3'073'907'232, {{{1, 0, 3}}}}, {1, {{{4, 3}, {2, 1}, {4, 1}}}}, {1103, 26390}, true};
/// Many forms on either side; R has more factors 3 than Q.
inline constexpr PolynomialTerms kTwelfths = {{24, {{{3, 2}, {3, 1}, {4, 3, 3}, {4, 1, 3}}}},
                                              {1, {{{1, 0, 5}, {2, 1, 3}}}, true},
                                              {-432, 7128, -46039, 144666, -219252, 126392}};
/// Q has factors that no R before them has.
inline constexpr PolynomialTerms kEighths = {
    {1, {{{8, 7, 2}, {8, 5, 2}, {8, 3}, {8, 1}}}}, {32, {{{1, 0, 3}, {2, 1}}}}, {1, 0, 1}};
/// Products of odd numbers: what they share is what least common multiples leave out.
inline constexpr PolynomialTerms kOddNumbers = {{1, {{{2, -1}}}}, {1, {{{2, -1}}}}, {1}};

}  // namespace nmp::BinarySplitting::test_samples
