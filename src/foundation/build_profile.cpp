#include "foundation/build_profile.h"

namespace nmp {

const char* program_version() { return NF_VERSION; }

std::string program_title(const BuildProfile& profile) {
  return std::string("numforge " NF_VERSION "  (") + profile.label + ", " + profile.tag + ")";
}

}  // namespace nmp
