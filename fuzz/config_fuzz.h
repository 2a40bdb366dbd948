// Reading a configuration in one notation: what is read must be written and read again, in both.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "foundation/config/notation.h"
#include "foundation/exceptions.h"

namespace nmp::fuzz {

inline int read_configuration(const std::uint8_t* data, std::size_t size, config::Format format) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  try {
    const config::Value value = config::parse(text, format);
    for (const config::Format other : {config::Format::kAcfg, config::Format::kJson}) {
      try {
        if (!(config::parse(config::write(value, other), other) == value)) std::abort();
      } catch (const Exception&) {
        std::abort();
      }
    }
  } catch (const ParseException& e) {
    if (e.message().empty() || e.line() == 0) std::abort();
  }
  return 0;
}

}  // namespace nmp::fuzz
