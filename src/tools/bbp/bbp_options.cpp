#include "tools/bbp/bbp_options.h"

#include "foundation/exceptions.h"
#include "foundation/fatal.h"

namespace numforge {
namespace {

using nmp::CommandLine;

template <std::int64_t BBPSettings::*field>
void integer(CommandLine& line, BBPSettings& settings) {
  settings.*field = nmp::parse_integer(line.value());
  line.advance();
}

void pin(CommandLine& line, BBPSettings& settings) {
  settings.pin_threads = nmp::parse_integer(line.value()) != 0;
  line.advance();
}

void modes(CommandLine& line, BBPSettings& settings) {
  settings.modes = 0;
  for (const char letter : line.value()) {
    const unsigned mode = static_cast<unsigned char>(letter | 0x20) - unsigned{'a'};
    if (mode >= kBBPModes)
      throw nmp::InvalidParametersException(
          "parse_bbp()", "Unknown mode in \"" + line.value() + "\". Modes are a, b and c.");
    settings.modes |= mode_bit(BBPMode{mode});
  }
  line.advance();
}

constexpr nmp::Option<BBPSettings> kOptions[] = {
    {"offset", "N",
     "position of the first digit (suffixes K, M, B, T); 0 is the one after the point",
     integer<&BBPSettings::offset>},
    {"digits", "N", "hexadecimal digits to compute", integer<&BBPSettings::digits>},
    {"formula", "0|1", "Original 4-term BBP, or Bellard's 7-term BBP (default)",
     integer<&BBPSettings::formula>},
    {"threads", "N", "threads to use; all logical processors by default",
     integer<&BBPSettings::threads>},
    {"pin", "0|1", "keep each thread on a processor of its own", pin},
    {"modes", "abc", "modes of arithmetic that may be used", modes},
};

}  // namespace

nmp::OptionTable<BBPSettings> bbp_options() { return kOptions; }

BBPSession parse_bbp(CommandLine& line) {
  BBPSettings settings = default_bbp_settings();
  while (!line.at_end()) {
    const nmp::Option<BBPSettings>* option = nmp::find_option(bbp_options(), line.key());
    if (option == nullptr) nmp::fatal_exit("Invalid Parameter: " + line.key());
    option->apply(line, settings);
  }
  return BBPSession(settings);
}

}  // namespace numforge
