// What the digit extractor found, as text.
#pragma once

#include <string>
#include <vector>

#include "tools/bbp/bbp_session.h"

namespace numforge {

/// Digits in groups of ten, each line with the position after the point of its last digit (from 1),
/// then what is known about them. Lines without line ends.
std::vector<std::string> bbp_report(const BBPSession& session, const BBPv2::Digits& digits,
                                    double seconds);

}  // namespace numforge
