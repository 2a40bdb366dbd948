// numforge-faulty: the program with one bit of one merged number turned, as a bad memory cell
// would. NUMFORGE_TEST_SPOIL says which merge, counted from 1; without it nothing is spoiled.
#include <atomic>
#include <cstdlib>

#include "series/fault.h"

namespace nmp::BinarySplitting {

void spoil(ExactFloat& x) {
  static const char* const wanted = std::getenv("NUMFORGE_TEST_SPOIL");
  static std::atomic<long> merges = 0;
  if (wanted == nullptr || ++merges != std::atol(wanted) || x.is_zero()) return;
  x.T[0] ^= 2;
  x.hash = x.computed_hash();
}

}  // namespace nmp::BinarySplitting
