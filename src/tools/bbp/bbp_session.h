// The settings of one run of the digit extractor, and what follows from them.
#pragma once

#include <cstdint>
#include <string>

#include "tools/bbp/bbp_modes.h"
#include "tools/bbp/bbp_plan.h"
#include "tools/bbp/bbp_v2.h"

namespace numforge {

struct BBPSettings {
  std::int64_t formula = 1;
  std::int64_t offset = 1'000'000'000;  ///< 0: the first digit behind the point
  std::int64_t digits = 32;
  std::int64_t threads = 1;
  bool pin_threads = false;
  BBPModeSet modes = kAllBBPModes;  ///< enabled ones, available or not
};

/// The settings that the main menu starts with: as many threads as the machine has logical
/// processors, in all processor groups.
BBPSettings default_bbp_settings();

class BBPSession {
 public:
  explicit BBPSession(const BBPSettings& settings);

  const BBPSettings& settings() const { return settings_; }
  /// Throws InvalidParametersException "Invalid Algorithm" for an unknown formula, and a plain
  /// sentence for an offset, a number of digits or of threads out of range; then nothing changes.
  void update_settings(const BBPSettings& settings);

  const BBPPlan& plan() const { return plan_; }
  /// Enabled modes that this processor can run.
  BBPModeSet usable_modes() const { return settings_.modes & bbp_kernels().modes(); }
  /// "Divisor exceeds limit of 2^61 - 1" or "No modes enabled."; empty when it can start.
  std::string cannot_start() const;

  /// Throws InvalidParametersException "Cannot Start: ..." and what BBPv2::extract throws.
  BBPv2::Digits run(nmp::Progress* progress) const;

 private:
  BBPSettings settings_;
  BBPPlan plan_;
};

}  // namespace numforge
