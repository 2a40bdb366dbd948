// The reader of the program's own configuration notation.

#include "config_fuzz.h"
#include "foundation/config/notation.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return nmp::fuzz::read_configuration(data, size, nmp::config::Format::kAcfg);
}
