// What the crash handlers of all systems print and how they name the dump.
//
// Everything here may run inside a handler in a broken process: no locks, no memory, no library.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace nmp::platform::crash {

inline constexpr std::string_view kCrashed = "\nOops... numforge has crashed.";
inline constexpr std::string_view kCreating = "\nCreating mini-dump file...";
inline constexpr std::string_view kDone = "\nDone!";
inline constexpr std::string_view kFailed = "\nUnable to create minidump: ";
inline constexpr std::string_view kExiting = "\nThe program will now exit.\n";

/// A text of bounded length; what does not fit is cut off.
class Line {
 public:
  Line& add(std::string_view text) {
    for (char c : text)
      if (used_ < sizeof text_ - 1) text_[used_++] = c;
    return *this;
  }
  Line& number(std::uint64_t value, unsigned radix = 10, unsigned width = 1) {
    char digits[64];
    unsigned n = 0;
    for (; value != 0 || n < width; value /= radix) digits[n++] = "0123456789abcdef"[value % radix];
    while (n > 0) add({&digits[--n], 1});
    return *this;
  }
  Line& hex(std::uint64_t value) { return add("0x").number(value, 16, 2 * sizeof(void*)); }
  std::string_view text() const { return {text_, used_}; }
  const char* c_str() const { return text_; }

 private:
  char text_[256] = {};
  std::size_t used_ = 0;
};

/// "numforge-20240131-235959-1234.dmp", in UTC.
inline Line dump_name(std::int64_t unix_seconds, std::uint64_t process) {
  using namespace std::chrono;
  const sys_seconds now{seconds{unix_seconds}};
  const sys_days day = floor<days>(now);
  const year_month_day date{day};
  const hh_mm_ss time{now - day};
  Line name;
  name.add("numforge-").number(static_cast<std::uint64_t>(static_cast<int>(date.year())), 10, 4);
  name.number(static_cast<unsigned>(date.month()), 10, 2);
  name.number(static_cast<unsigned>(date.day()), 10, 2).add("-");
  name.number(static_cast<std::uint64_t>(time.hours().count()), 10, 2);
  name.number(static_cast<std::uint64_t>(time.minutes().count()), 10, 2);
  name.number(static_cast<std::uint64_t>(time.seconds().count()), 10, 2).add("-");
  name.number(process).add(".dmp");
  return name;
}

}  // namespace nmp::platform::crash
