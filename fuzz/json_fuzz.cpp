// The reader of configurations in JSON.

#include "config_fuzz.h"
#include "foundation/config/notation.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return nmp::fuzz::read_configuration(data, size, nmp::config::Format::kJson);
}
