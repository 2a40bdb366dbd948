// Decimal digits of a binary fraction the slow and obvious way, sharing no code with the program.
#pragma once

#include <cstdint>
#include <vector>

namespace nmp::test {

using Words = std::vector<std::uint32_t>;

/// What `blocks` multiplications by 10^9 carry over the point, most significant first. `fraction`
/// keeps what is left.
inline Words take_blocks(Words& fraction, std::size_t blocks) {
  Words taken;
  std::size_t low = 0;  // the words below are zero
  for (std::size_t i = 0; i < blocks; ++i) {
    std::uint64_t carry = 0;
    while (low < fraction.size() && fraction[low] == 0) ++low;
    for (std::size_t j = low; j < fraction.size(); ++j) {
      carry += std::uint64_t{fraction[j]} * 1000000000u;
      fraction[j] = static_cast<std::uint32_t>(carry);
      carry >>= 32;
    }
    taken.push_back(static_cast<std::uint32_t>(carry));
  }
  return taken;
}

/// floor(2^(32 words) numerator / 10^digits), a fraction of `words` words just below or at a digit
/// boundary. numerator < 10^digits.
inline Words boundary(std::size_t words, std::uint32_t numerator, std::size_t digits) {
  Words f(words + 1, 0);
  f[words] = numerator;
  for (std::size_t i = 0; i < digits; ++i) {
    std::uint64_t rest = 0;
    for (std::size_t j = f.size(); j-- > 0;) {
      rest = (rest << 32) | f[j];
      f[j] = static_cast<std::uint32_t>(rest / 10);
      rest %= 10;
    }
  }
  f.pop_back();
  return f;
}

inline void subtract_one(Words& blocks) {
  for (std::size_t i = blocks.size(); i-- > 0;) {
    if (blocks[i]-- != 0) return;
    blocks[i] = 999999999;
  }
}

}  // namespace nmp::test
