// The loops of stats_kernels.h, written once; V is the including file's vector of bytes or of
// 64-bit numbers.

/// counts[v] += digits equal to v for `first` <= v < `first` + kValues.
template <unsigned kValues>
void count_values(const std::uint8_t* digits, unsigned first, std::uint64_t* counts) {
  static_assert(kBlock / V::kBytes < 256);  // a counter is one byte
  V counters[kValues], values[kValues];
  for (unsigned v = 0; v < kValues; ++v) {
    counters[v] = V::zero();
    values[v] = V::all_bytes(first + v);
  }
  for (std::size_t i = 0; i < kBlock; i += V::kBytes) {
    const V x = V::load(digits + i);
    for (unsigned v = 0; v < kValues; ++v) counters[v] = counters[v].plus_equal(x, values[v]);
  }
  for (unsigned v = 0; v < kValues; ++v) counts[first + v] += counters[v].sum_of_bytes();
}

void count(const std::uint8_t* digits, unsigned radix, std::uint64_t* counts) {
  if (radix == 10) {
    count_values<5>(digits, 0, counts);
    count_values<5>(digits, 5, counts);
  } else {
    count_values<8>(digits, 0, counts);
    count_values<8>(digits, 8, counts);
  }
}

void sum_decimal(const std::uint8_t* digits, const std::uint64_t* weights,
                 std::uint64_t (*sums)[kMostLanes]) {
  // Eight digits are below 2^26.6, a half weight is below 2^31: this many products fit 64 bits.
  static_assert(kBlock / (2 * V::kBytes) <= 64);
  V a0 = V::zero(), a1 = a0, b0 = a0, b1 = a0;
  for (std::size_t i = 0; i < kBlock; i += 2 * V::kBytes, weights += V::kLanes) {
    const V a = V::join8_decimal(V::load(digits + i), V::load(digits + i + V::kBytes));
    const V b = a.template right<32>();
    const V w0 = V::load(weights), w1 = w0.template right<32>();
    a0 = a0 + a.times_low(w0);
    a1 = a1 + a.times_low(w1);
    b0 = b0 + b.times_low(w0);
    b1 = b1 + b.times_low(w1);
  }
  a0.store(sums[0]);
  a1.store(sums[1]);
  b0.store(sums[2]);
  b1.store(sums[3]);
}

void hash_hex(const std::uint8_t* digits, std::uint64_t* hashes) {
  constexpr int kShift = 64 * V::kLanes % 61;  // 2^61 = 1: the weight of a step is a rotation
  const V prime = V::all((std::uint64_t{1} << 61) - 1);
  V hash = V::zero();
  for (std::size_t i = 0; i < kBlock; i += 2 * V::kBytes) {
    const V group = V::join16_hex(V::load(digits + i), V::load(digits + i + V::kBytes));
    const V rotated = (hash.template left<kShift>() & prime) + hash.template right<61 - kShift>();
    hash = rotated + (group & prime) + group.template right<61>();
  }
  hash.store(hashes);
}
