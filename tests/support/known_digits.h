// Digits of constants from independent programs, truncated.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string_view>

namespace numforge::test {

struct KnownDigits {
  const char* constant;
  std::uint64_t argument;
  std::uint64_t digits;  ///< after the point
  unsigned radix;
  const char* first_digits;  ///< up to and including the point
  const char* first20;
  std::uint64_t hash;  ///< all digits after the point as one integer, modulo 2^61 - 1
};

inline constexpr KnownDigits kKnownDigits[] = {
    {"sqrt", 2u, 10000u, 10, "1.", "41421356237309504880", 1360519808728780578u},
    {"sqrt", 4294967295u, 10000u, 10, "65535.", "99999237060546830591", 1654612721033042005u},
    {"sqrt", 4294967295u, 10000u, 16, "ffff.", "ffff7fffffffdfffffff", 741091422149942831u},
    {"goldenratio", 0u, 10000u, 10, "1.", "61803398874989484820", 206730787837824649u},
    {"e", 0u, 10000u, 10, "2.", "71828182845904523536", 465782283974131132u},
    {"e", 0u, 10000u, 16, "2.", "b7e151628aed2a6abf71", 2267102530637317438u},
    {"pi", 0u, 10000u, 10, "3.", "14159265358979323846", 1607590023473335448u},
    {"pi", 0u, 10000u, 16, "3.", "243f6a8885a308d31319", 196922664688589148u},
    {"sqrt", 2u, 1000000u, 10, "1.", "41421356237309504880", 1046692711165650156u},
    {"goldenratio", 0u, 1000000u, 10, "1.", "61803398874989484820", 944312423434632608u},
    {"e", 0u, 1000000u, 10, "2.", "71828182845904523536", 429874372355341578u},
    {"pi", 0u, 1000000u, 10, "3.", "14159265358979323846", 847519092189756098u},
    {"pi", 0u, 1000000u, 16, "3.", "243f6a8885a308d31319", 498128468367020972u},
    {"zeta3", 0u, 10000u, 10, "1.", "20205690315959428539", 1093906456592824125u},
    {"catalan", 0u, 10000u, 10, "0.", "91596559417721901505", 1043373542841041851u},
    {"zeta3", 0u, 1000000u, 10, "1.", "20205690315959428539", 2137085247805661829u},
    {"catalan", 0u, 1000000u, 10, "0.", "91596559417721901505", 609146920609449948u},
    {"lemniscate", 0u, 10000u, 10, "5.", "24411510858423962092", 1631999746961942986u},
    {"lemniscate", 0u, 1000000u, 10, "5.", "24411510858423962092", 30689010460973544u},
    {"gamma", 0u, 10000u, 10, "0.", "57721566490153286060", 1522297996900674488u},
    {"gamma", 0u, 1000000u, 10, "0.", "57721566490153286060", 382612267620472349u},
    {"log", 2u, 10000u, 10, "0.", "69314718055994530941", 1900192537005235318u},
    {"log", 10u, 10000u, 10, "2.", "30258509299404568401", 905080212509909167u},
    {"log", 65537u, 10000u, 10, "11.", "09037014763177331307", 1868404177807602682u},
    {"log", 4294967295u, 10000u, 10, "22.", "18070977768541925767", 360405585870388615u},
    {"log", 4294967295u, 10000u, 16, "16.", "2e42fef939ef3578bc76", 533180824178407561u},
    {"log", 2u, 1000000u, 10, "0.", "69314718055994530941", 2137329331986983984u},
    {"log", 10u, 1000000u, 10, "2.", "30258509299404568401", 2219569015643326758u},
};

/// A row for any argument; there must be one.
inline const KnownDigits& known_digits(std::string_view constant, std::uint64_t digits,
                                       unsigned radix) {
  return *std::find_if(std::begin(kKnownDigits), std::end(kKnownDigits), [&](const KnownDigits& k) {
    return k.constant == constant && k.digits == digits && k.radix == radix;
  });
}

}  // namespace numforge::test
