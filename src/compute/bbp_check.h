// A second opinion on Pi that shares nothing with the series: its last hexadecimal digits by the
// digit extractor.
#pragma once

#include <cstdint>
#include <string>

#include "foundation/progress.h"
#include "parallel/context.h"

namespace numforge {

/// Compares `last`, the last of `digits` hexadecimal digits of Pi behind the point. Returns the
/// line for the report. Throws AlgorithmFailedException when they differ.
std::string check_with_bbp(const std::string& last, std::uint64_t digits,
                           nmp::parallel::Context& context, nmp::Progress* progress);

}  // namespace numforge
