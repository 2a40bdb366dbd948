// What the processor, and the system together with it, can do.
#pragma once

#include <string>
#include <vector>

namespace nmp::platform {

/// Instruction sets, as bits. A set counts only when the system also saves its registers.
enum Feature : unsigned {
  kSse2 = 1u << 0,
  kAvx2 = 1u << 1,
  kFma = 1u << 2,
  kBmi2 = 1u << 3,
  kAvx512 = 1u << 4,  ///< F, DQ, VL and BW together
  kAvx512Ifma = 1u << 5,
  kAdx = 1u << 6,
};
/// Asked once, then remembered.
unsigned processor_features();

std::string processor_vendor();  ///< "GenuineIntel", "AuthenticAMD", ...
std::string processor_name();    ///< the brand text, or empty
/// Logical processors that this process may use, at least 1.
unsigned logical_processors();
/// Logical processors of each processor group; one entry on systems without groups.
std::vector<unsigned> processor_groups();

}  // namespace nmp::platform
