// A number modulo 1 in a fixed number of words.
//
// Sums and differences wrap around and are exact, so a sum does not depend on the order of its
// parts.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace numforge {

class FractionFloat {
 public:
  /// Zero in so many words of 64 bits. Throws InvalidParametersException "Length must be at least
  /// 2.".
  explicit FractionFloat(std::size_t words);

  std::size_t words() const { return words_.size(); }
  /// The fraction's words, the least significant one first.
  std::uint64_t* data() { return words_.data(); }
  const std::uint64_t* data() const { return words_.data(); }

  /// Throw InvalidParametersException "Lengths do not match.".
  void add(const FractionFloat& other);
  void subtract(const FractionFloat& other);
  /// Adds value * 2^-places, 1 <= places <= 64 words().
  void add_at(std::uint64_t places, std::int64_t value);

  /// The first `count` hexadecimal digits behind the point, 0 <= count <= 16 words().
  std::string hex_digits(std::size_t count) const;

  bool operator==(const FractionFloat&) const = default;

 private:
  void require_length_of(const FractionFloat& other, const char* function) const;

  std::vector<std::uint64_t> words_;
};

}  // namespace numforge
