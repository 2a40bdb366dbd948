// The tools that this version knows by name only.
#pragma once

#include <string>

namespace numforge {

enum class Tool {
  BenchmarkPi,
  StressTester,
  IoAnalysis,
  DigitViewer,
  AdvancedOptions,
  Validation,
  Slave,
};

/// "The Digit Viewer is not part of this version yet."
std::string missing_tool_text(Tool tool);

}  // namespace numforge
