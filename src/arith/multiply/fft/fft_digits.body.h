// Words to balanced digits and coefficients to words. Included by the file of one instruction set,
// inside its unnamed namespace, which has defined load_groups, pairs and kPairOrder.

/// Bytes around the start of a group of 8 digits that load_groups may read.
constexpr std::size_t kReadBefore = 1, kReadAfter = 28;

double load(double* x, std::size_t blocks, const Word* words, std::size_t count, std::size_t first,
            unsigned bits) {
  const unsigned char* const bytes = reinterpret_cast<const unsigned char*>(words);
  const std::size_t total = count * sizeof(Word), start = first / kBlock * bits;
  // Groups [inside, end) can be read where they stand; the others from a copy with zeros around.
  // The group after the last word may still have the bit below its first digit.
  const std::size_t inside = start == 0 ? 1 : 0;
  const std::size_t reach =
      total < start + kReadAfter ? 0 : (total - start - kReadAfter) / bits + 1;
  const std::size_t end = reach < blocks ? reach : blocks;
  const std::size_t used = total < start ? 0 : (total - start) / bits + 1;
  double sum = 0;
  std::size_t i = 0;
  const auto edge = [&] {
    unsigned char copy[kReadBefore + kReadAfter] = {};
    const std::size_t at = start + i * bits;
    for (std::size_t k = 0; k < kReadBefore + kReadAfter; ++k) {
      if (at + k >= kReadBefore && at + k - kReadBefore < total)
        copy[k] = bytes[at + k - kReadBefore];
    }
    load_groups(x + i * kBlockDoubles, 1, copy + kReadBefore, bits, &sum);
    ++i;
  };
  if (inside > 0 && i < blocks) edge();
  if (i < end) {
    load_groups(x + i * kBlockDoubles, end - i, bytes + start + i * bits, bits, &sum);
    i = end;
  }
  while (i < blocks && i < used) edge();
  for (; i < blocks; ++i) {
    for (std::size_t k = 0; k < kBlock; k += V::kLanes) V::all(0).store(x + i * kBlockDoubles + k);
  }
  return sum;
}

/// The running sum of `store`, cut at whole 64-bit words: all shifts are known when compiling.
template <unsigned B, unsigned kPair>
inline void emit(unsigned char*& out, std::uint64_t& word, std::int64_t& carry, std::int64_t pair) {
  constexpr unsigned kAt = 2 * B * kPair % 64, kBits = 2 * B;
  const std::int64_t sum = pair + carry;
  const std::uint64_t digits = static_cast<std::uint64_t>(sum) & ((std::uint64_t{1} << kBits) - 1);
  carry = sum >> kBits;
  if constexpr (kAt == 0) {
    word = digits;
  } else {
    word |= digits << kAt;
  }
  if constexpr (kAt + kBits >= 64) {
    __builtin_memcpy(out, &word, 8);
    out += 8;
    if constexpr (kAt + kBits > 64) word = digits >> (64 - kAt);
  }
}

template <unsigned B>
std::int64_t store(unsigned char* out, const double* x, std::size_t blocks, std::int64_t carry,
                   double scale, double* worst) {
  constexpr bool kWide = B >= kWideBits;
  const V factor = V::all(scale);
  V most = V::all(0);
  // With wide digits, what the second coefficient of a pair passes on to the next pair.
  std::int64_t over = 0;
  for (; blocks > 0; --blocks, x += kBlockDoubles) {
    std::int64_t pair[4], high[4];
    pairs<B, kWide>(x, factor, pair, high, most);
    std::uint64_t word = 0;
    const auto next = [&](unsigned k) {
      std::int64_t value = pair[kPairOrder[k]];
      if constexpr (kWide) {
        value += over;
        over = high[kPairOrder[k]];
      }
      return value;
    };
    emit<B, 0>(out, word, carry, next(0));
    emit<B, 1>(out, word, carry, next(1));
    emit<B, 2>(out, word, carry, next(2));
    emit<B, 3>(out, word, carry, next(3));
    if constexpr (B % 8 != 0) {
      __builtin_memcpy(out, &word, B % 8);
      out += B % 8;
    }
  }
  const double largest = most.largest();
  if (largest > worst[0]) worst[0] = largest;
  return carry + over;
}

/// The columns of Kernels::store.
#define NF_STORES                                                                            \
  nullptr, nullptr, nullptr, nullptr, &store<4>, &store<5>, &store<6>, &store<7>, &store<8>, \
      &store<9>, &store<10>, &store<11>, &store<12>, &store<13>, &store<14>, &store<15>,     \
      &store<16>, &store<17>, &store<18>, &store<19>, &store<20>, &store<21>
