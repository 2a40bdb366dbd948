#include "digits/block_hash.h"

#include "arith/hash61.h"

namespace nmp::stats {
namespace {

constexpr unsigned kLowBits = 30;  ///< of a weight; the other 31 stand above bit 32

/// The group of a step that a lane of the vector loops holds.
std::size_t group_of(std::size_t lane, std::size_t lanes) {
  return lane % 2 * (lanes / 2) + lane / 2;
}

/// The sum of 64-bit lanes, reduced.
std::uint64_t total(const std::uint64_t (&lanes)[kMostLanes]) {
  std::uint64_t low = 0, high = 0;
  for (const std::uint64_t lane : lanes) {
    low += lane & 0xFFFFFFFF;
    high += lane >> 32;
  }
  return hash61::add(low, hash61::multiply(high, std::uint64_t{1} << 32));
}

}  // namespace

BlockHash::BlockHash(const Kernels& kernels, unsigned radix)
    : kernels_(kernels), decimal_(radix == 10), block_weight_(hash61::power(radix, kBlock)) {
  if (!decimal_) return;
  const std::uint64_t group_weight = hash61::power(radix, kGroup);
  for (std::size_t i = 0; i < kGroups; ++i) {
    const std::size_t lane = i % kernels.lanes;
    const std::size_t group = i - lane + group_of(lane, kernels.lanes);
    const std::uint64_t weight = hash61::power(group_weight, kGroups - 1 - group);
    weights_[i] = (weight >> kLowBits << 32) | (weight & ((1u << kLowBits) - 1));
  }
}

std::uint64_t BlockHash::append(std::uint64_t hash, const std::uint8_t* digits) const {
  return hash61::add(hash61::multiply(hash, block_weight_),
                     decimal_ ? decimal(digits) : hex(digits));
}

std::uint64_t BlockHash::decimal(const std::uint8_t* digits) const {
  std::uint64_t sums[4][kMostLanes] = {};
  kernels_.sum_decimal(digits, weights_, sums);
  const auto whole = [](const std::uint64_t(&low)[kMostLanes],
                        const std::uint64_t(&high)[kMostLanes]) {
    return hash61::add(total(low), hash61::multiply(total(high), std::uint64_t{1} << kLowBits));
  };
  return hash61::add(hash61::multiply(whole(sums[0], sums[1]), 100'000'000),
                     whole(sums[2], sums[3]));
}

std::uint64_t BlockHash::hex(const std::uint8_t* digits) const {
  std::uint64_t hashes[kMostLanes];
  kernels_.hash_hex(digits, hashes);
  std::uint64_t hash = 0;
  for (std::size_t lane = 0; lane < kernels_.lanes; ++lane) {
    const auto behind =
        static_cast<std::int64_t>(kernels_.lanes - 1 - group_of(lane, kernels_.lanes));
    hash = hash61::add(
        hash, hash61::multiply(hash61::fold(hashes[lane]), hash61::word_weight(2 * behind)));
  }
  return hash;
}

}  // namespace nmp::stats
