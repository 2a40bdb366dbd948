// Big numbers the slow and obvious way, sharing no code with the program.
#pragma once

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <vector>

namespace nmp::test {

/// Little-endian words without zeros at the top.
using Natural = std::vector<std::uint32_t>;

inline Natural stripped(Natural a) {
  while (!a.empty() && a.back() == 0) a.pop_back();
  return a;
}
inline Natural natural(const std::uint32_t* words, std::size_t n) {
  return stripped(Natural(words, words + n));
}
inline Natural shifted(const Natural& a, std::size_t words) {
  if (a.empty()) return a;
  Natural c(words, 0);
  c.insert(c.end(), a.begin(), a.end());
  return c;
}
inline int compare(const Natural& a, const Natural& b) {
  if (a.size() != b.size()) return a.size() < b.size() ? -1 : 1;
  for (std::size_t i = a.size(); i-- != 0;)
    if (a[i] != b[i]) return a[i] < b[i] ? -1 : 1;
  return 0;
}
inline Natural add(const Natural& a, const Natural& b) {
  Natural c;
  std::uint64_t carry = 0;
  for (std::size_t i = 0; i < std::max(a.size(), b.size()) + 1; ++i) {
    carry += (i < a.size() ? a[i] : 0ull) + (i < b.size() ? b[i] : 0ull);
    c.push_back(static_cast<std::uint32_t>(carry));
    carry >>= 32;
  }
  return stripped(c);
}
/// a >= b.
inline Natural subtract(const Natural& a, const Natural& b) {
  Natural c;
  std::int64_t borrow = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const std::int64_t d = static_cast<std::int64_t>(a[i]) - (i < b.size() ? b[i] : 0) - borrow;
    borrow = d < 0;
    c.push_back(static_cast<std::uint32_t>(d));
  }
  return stripped(c);
}
inline Natural multiply(const Natural& a, const Natural& b) {
  Natural c(a.size() + b.size(), 0);
  for (std::size_t j = 0; j < b.size(); ++j) {
    std::uint64_t carry = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
      carry += static_cast<std::uint64_t>(a[i]) * b[j] + c[i + j];
      c[i + j] = static_cast<std::uint32_t>(carry);
      carry >>= 32;
    }
    c[j + a.size()] = static_cast<std::uint32_t>(carry);
  }
  return stripped(c);
}

/// 2^(32 n) - sign, sign being 1 or -1.
inline Natural modulus(std::size_t n, int sign) {
  const Natural power = shifted({1}, n);
  return sign > 0 ? subtract(power, {1}) : add(power, {1});
}
/// x modulo 2^(32 n) - sign.
inline Natural reduced(const Natural& x, std::size_t n, int sign) {
  const Natural m = modulus(n, sign);
  Natural r;
  for (std::size_t at = (x.size() / n + 1) * n; at >= n; at -= n) {  // r = part + sign r, from top
    const std::size_t first = std::min(x.size(), at - n), last = std::min(x.size(), at);
    const Natural part = natural(x.data() + first, last - first);
    r = add(part, sign > 0 ? r : subtract(m, r));
    while (compare(r, m) >= 0) r = subtract(r, m);
  }
  return r;
}
/// plus - minus modulo 2^(32 n) - sign.
inline Natural difference(const Natural& plus, const Natural& minus, std::size_t n, int sign) {
  return reduced(add(plus, subtract(modulus(n, sign), reduced(minus, n, sign))), n, sign);
}

/// A signed number at a word position, in its one shortest form.
struct Number {
  bool negative = false;
  Natural words;
  std::int64_t exp = 0;
  bool operator==(const Number&) const = default;
};
inline Number number(bool negative, const Natural& words, std::int64_t exp) {
  const Natural top = stripped(words);
  const auto low = std::find_if(top.begin(), top.end(), [](std::uint32_t w) { return w != 0; });
  if (low == top.end()) return {};
  return {negative, Natural(low, top.end()), exp + (low - top.begin())};
}
/// The value of an ExactFloat or a BigFloat.
template <typename Float>
Number value(const Float& x) {
  return number(!x.sign, Natural(x.T, x.T + x.L), x.exp);
}
inline Number negated(Number a) {
  a.negative = !a.negative && !a.words.empty();
  return a;
}
inline Number magnitude(Number a) {
  a.negative = false;
  return a;
}
inline Number add(const Number& a, const Number& b) {
  if (a.words.empty()) return b;
  if (b.words.empty()) return a;
  const std::int64_t exp = std::min(a.exp, b.exp);
  const Natural x = shifted(a.words, static_cast<std::size_t>(a.exp - exp));
  const Natural y = shifted(b.words, static_cast<std::size_t>(b.exp - exp));
  if (a.negative == b.negative) return number(a.negative, add(x, y), exp);
  return compare(x, y) >= 0 ? number(a.negative, subtract(x, y), exp)
                            : number(b.negative, subtract(y, x), exp);
}
inline Number multiply(const Number& a, const Number& b) {
  return number(a.negative != b.negative, multiply(a.words, b.words), a.exp + b.exp);
}
inline std::ostream& operator<<(std::ostream& out, const Number& a) {
  out << (a.negative ? "-" : "") << std::hex;
  for (std::size_t i = a.words.size(); i-- != 0;) out << a.words[i] << ' ';
  return out << std::dec << "at " << a.exp;
}

}  // namespace nmp::test
