// Words to balanced digits and coefficients to words. Included by the file of one instruction set,
// inside its unnamed namespace, which has defined load_groups, pairs and kPairOrder.

/// Bytes around the start of a group of 8 digits that load_groups may read.
constexpr std::size_t kReadBefore = 1, kReadAfter = 28;

void clear_groups(double* x, std::size_t blocks) {
  for (; blocks > 0; --blocks, x += kBlockDoubles) {
    for (std::size_t k = 0; k < kBlock; k += V::kLanes) V::all(0).store(x + k);
  }
}

/// Groups at the ends of the words, from a copy with zeros around.
void load_edge(double* x, std::size_t blocks, const unsigned char* bytes, std::size_t total,
               std::size_t start, unsigned bits, double* squares) {
  for (; blocks > 0; --blocks, x += kBlockDoubles, start += bits) {
    // The group after the last word may still have the bit below its first digit. No words at all
    // may have no address.
    if (start > total || total == 0) return clear_groups(x, blocks);
    unsigned char copy[kReadBefore + kReadAfter] = {};
    const std::size_t skip = start == 0 ? kReadBefore : 0;
    const std::size_t from = start + skip - kReadBefore;
    const std::size_t room = sizeof copy - skip, left = total - from;
    __builtin_memcpy(copy + skip, bytes + from, left < room ? left : room);
    load_groups(x, 1, copy + kReadBefore, bits, squares);
  }
}

void load(double* x, std::size_t blocks, const Word* words, std::size_t count, std::size_t first,
          unsigned bits, double* squares) {
  const unsigned char* const bytes = reinterpret_cast<const unsigned char*>(words);
  const std::size_t total = count * sizeof(Word);
  std::size_t start = first / kBlock * bits;
  if (start == 0) {
    load_edge(x, 1, bytes, total, start, bits, squares);
    x += kBlockDoubles;
    start += bits;
    --blocks;
  }
  if (total >= start + kReadAfter) {
    std::size_t inside = blocks;
    if (total - start - kReadAfter < blocks * bits) inside = (total - start - kReadAfter) / bits;
    load_groups(x, inside, bytes + start, bits, squares);
    x += inside * kBlockDoubles;
    start += inside * bits;
    blocks -= inside;
  }
  load_edge(x, blocks, bytes, total, start, bits, squares);
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
  V most = V::load(worst);
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
  most.store(worst);
  return carry + over;
}

/// The columns of Kernels::store.
#define NF_STORES                                                                            \
  nullptr, nullptr, nullptr, nullptr, &store<4>, &store<5>, &store<6>, &store<7>, &store<8>, \
      &store<9>, &store<10>, &store<11>, &store<12>, &store<13>, &store<14>, &store<15>,     \
      &store<16>, &store<17>, &store<18>, &store<19>, &store<20>, &store<21>
