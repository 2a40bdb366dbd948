// Numbers as people read them.
#pragma once

#include <cstdint>
#include <string>

namespace nmp {

/// "1,000,000".
std::string with_commas(std::uint64_t value);

/// In the largest binary unit that leaves at least 1, cut to three significant digits ("150 MiB",
/// "1.87 GiB"), and below 1024 bytes exact ("64 bytes").
std::string byte_size(std::uint64_t bytes);

/// The same with the exact count behind it: "150 MiB (157,286,400 bytes)".
std::string exact_byte_size(std::uint64_t bytes);

/// "0.123 seconds"; from a minute on with the parts in front:
/// "2 hours 3 minutes 4.567 seconds  ( 7,384.567 seconds )". Negative and undefined are 0.
std::string duration(double seconds);

}  // namespace nmp
