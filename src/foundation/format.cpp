#include "foundation/format.h"

namespace nmp {
namespace {

/// "7,384.567".
std::string thousandths(std::uint64_t value) {
  const std::string fraction = std::to_string(value % 1000 + 1000).substr(1);
  return with_commas(value / 1000) + "." + fraction;
}

std::string counted(std::uint64_t count, const char* unit) {
  return with_commas(count) + " " + unit + (count == 1 ? " " : "s ");
}

}  // namespace

std::string with_commas(std::uint64_t value) {
  std::string text = std::to_string(value);
  for (std::size_t i = text.size(); i > 3; i -= 3) text.insert(i - 3, 1, ',');
  return text;
}

std::string byte_size(std::uint64_t bytes) {
  static constexpr const char* kUnits[] = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
  if (bytes < 1024) return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
  int unit = 0;
  while (unit < 5 && bytes >> (10 * (unit + 2)) != 0) ++unit;
  const std::uint64_t whole = bytes >> (10 * (unit + 1));
  // The ten bits behind the point are enough for two decimals.
  const std::uint64_t hundredths = (bytes >> (10 * unit)) % 1024 * 100 / 1024;
  std::string text = std::to_string(whole);
  if (whole < 10) {
    text += "." + std::to_string(hundredths + 100).substr(1);
  } else if (whole < 100) {
    text += "." + std::to_string(hundredths / 10);
  }
  return text + " " + kUnits[unit];
}

std::string exact_byte_size(std::uint64_t bytes) {
  if (bytes < 1024) return byte_size(bytes);
  return byte_size(bytes) + " (" + with_commas(bytes) + " bytes)";
}

std::string duration(double seconds) {
  // Up to 2^53 milliseconds, some 285,000 years; NaN fails the first comparison.
  const double clamped = seconds > 0 ? (seconds < 9e12 ? seconds : 9e12) : 0;
  const auto milliseconds = static_cast<std::uint64_t>(clamped * 1000 + 0.5);
  const std::string plain = thousandths(milliseconds) + " seconds";
  if (milliseconds < 60'000) return plain;

  const std::uint64_t minutes = milliseconds / 60'000;
  const std::uint64_t hours = minutes / 60, days = hours / 24;
  std::string text;
  if (days != 0) text += counted(days, "day");
  if (hours != 0) text += counted(hours % 24, "hour");
  text += counted(minutes % 60, "minute");
  return text + thousandths(milliseconds % 60'000) + " seconds  ( " + plain + " )";
}

}  // namespace nmp
