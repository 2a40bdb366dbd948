// The tools that this version knows by name only.
#pragma once

#include <string>

namespace numforge {

enum class Tool {
  BenchmarkPi,
  StressTester,
  IoAnalysis,
  AdvancedOptions,
  Validation,
  Slave,
};

/// "Benchmark Pi is not part of this version yet."
std::string missing_tool_text(Tool tool);

}  // namespace numforge
