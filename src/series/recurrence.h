// The series itself modulo 2^61 - 1, term by term: shares no code with the big numbers.
#pragma once

#include <cstdint>

#include "arith/context.h"
#include "series/series.h"

namespace nmp::BinarySplitting {

/// P, Q and R of the terms a+1..b modulo 2^61 - 1. Uses the threads of its context.
Residues range_residues(Context& context, const Series& series, std::uint64_t a, std::uint64_t b);

}  // namespace nmp::BinarySplitting
