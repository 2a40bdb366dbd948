// The digit extractor: sums of ranges of terms, and the digits of Pi that they give.
#pragma once

#include <cstdint>
#include <string>

#include "foundation/progress.h"
#include "parallel/context.h"
#include "tools/bbp/bbp_modes.h"
#include "tools/bbp/bbp_plan.h"
#include "tools/bbp/fraction_float.h"

namespace numforge {

/// The terms s <= k < e. Throws InvalidParametersException "Invalid Range - Failed: s < e".
class Region {
 public:
  Region(std::uint64_t s, std::uint64_t e);
  std::uint64_t s() const { return s_; }
  std::uint64_t e() const { return e_; }

 private:
  std::uint64_t s_, e_;
};

namespace BBPv2 {

/// The fastest of `modes` that handles all divisors of the range. Throws InvalidParametersException
/// "No modes enabled." or "No mode is able to handle this range.".
BBPMode SummableRange(const BBPFormula& formula, const Region& region, BBPModeSet modes);

/// Adds the terms of the range to `sum`, a number of plan.fraction_words() words. Each piece is
/// rounded down to plan.precision_bits() places, so all modes and instruction sets give the same
/// bits. The range may lie across the limits of modes and the end of the modular terms.
/// Throws as SummableRange does.
void add_terms(const BBPPlan& plan, const Region& region, BBPModeSet modes,
               const BBPKernelSet& kernels, FractionFloat& sum);

/// One range of modular terms in one mode. Throws InvalidParametersException "Maximum coefficient
/// size of 2^49 has been exceeded." (mode A), "... 2^51 ..." (mode B) or "... 2^61 ..." (mode C).
void add_terms_in_mode(BBPMode mode, const BBPPlan& plan, const Region& region,
                       const BBPKernelSet& kernels, FractionFloat& sum);

/// How the work is done; the digits do not depend on it.
struct Setup {
  BBPModeSet modes = kAllBBPModes;
  bool pin_threads = false;
  const BBPKernelSet* kernels = nullptr;  ///< null: the one in force
};

/// The fraction of 16^offset Pi, to plan.error_bound units of its last place. Progress may be null.
/// Throws StringException "An exception was thrown from a worker thread." after the report of what
/// that was, and InterruptedException.
FractionFloat sum_all(const BBPPlan& plan, const Setup& setup, nmp::parallel::Context& context,
                      nmp::Progress* progress);

/// Digits of `sum` that are the same for all numbers within `error_bound` units 2^-precision_bits
/// of it.
std::uint64_t proven_digits(const FractionFloat& sum, std::uint64_t precision_bits,
                            std::uint64_t error_bound);

struct Digits {
  std::string text;          ///< as many as were asked for, all of them proven right
  std::uint64_t proven = 0;  ///< digits from the offset on that the error bound proves
  BBPPlan plan;              ///< of the last attempt
  unsigned attempts = 1;     ///< sums; each had more bits, as the last ones were a run of 0 or f
};

/// Hexadecimal digits `offset` .. `offset` + `digits` - 1 of Pi; 0 is the first one behind the
/// point. Arguments as for plan_bbp.
Digits extract(unsigned formula, std::uint64_t offset, std::uint64_t digits, const Setup& setup,
               nmp::parallel::Context& context, nmp::Progress* progress);

}  // namespace BBPv2
}  // namespace numforge
