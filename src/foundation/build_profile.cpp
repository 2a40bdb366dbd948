#include "foundation/build_profile.h"

namespace nmp {

std::string program_title(const BuildProfile& profile) {
  return std::string("numforge " NF_VERSION "  (") + profile.label + ", " + profile.tag + ")";
}

}  // namespace nmp
