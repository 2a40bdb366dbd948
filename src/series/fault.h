// Where a test build spoils a merged number, to see whether the checks behind it notice.
#pragma once

#include "arith/exact_float.h"

namespace nmp::BinarySplitting {

#ifdef NF_TEST_FAULTS
/// Defined by the test program. The number stays consistent in itself, residue included.
void spoil(ExactFloat& x);
#else
inline void spoil(ExactFloat&) {}
#endif

}  // namespace nmp::BinarySplitting
