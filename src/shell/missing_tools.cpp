#include "shell/missing_tools.h"

namespace numforge {

std::string missing_tool_text(Tool tool) {
  static constexpr const char* kSubjects[] = {
      "Benchmark Pi is",
      "The Component Stress Tester is",
      "The I/O Performance Analysis is",
      "The Advanced Options are",
      "The check of validation files is",
      "The slave mode is",
  };
  return std::string(kSubjects[static_cast<int>(tool)]) + " not part of this version yet.";
}

}  // namespace numforge
