// The loops that bbp_kernels.h describes, for the vector V of the file that includes this.

constexpr double kRound = 6755399441055744.0;      // 3 * 2^51
constexpr double kWordFactor = 281474976710656.0;  // 2^48
static_assert(kWordBits == 48 && kBias == 0x4338000000000000u);

inline double power_of_two(std::uint64_t n) {
  const std::uint64_t bits = (1023 + n) << 52;
  double x;
  __builtin_memcpy(&x, &bits, sizeof x);
  return x;
}

/// How far down the exponent is shifted to leave what a double holds as a power of two: 2^50.
inline unsigned start_of(std::uint64_t exponent) {
  unsigned drop = 0;
  while ((exponent >> drop) > 50) ++drop;
  return drop;
}

/// One square modulo d. `kDouble`: times two.
template <bool kWide, bool kDouble>
NF_INLINE V square(V x, V d, V inverse, V round) {
  const V y = kDouble && !kWide ? x + x : x;
  const V h = y * x;
  const V l = fused_subtract(y, x, h);
  const V q = fused_add(h, inverse, round) - round;
  const V r = negated_fused_add(q, d, h) + l;
  if constexpr (kDouble && kWide) return r - d.with_sign_of(r) + r;
  return r;
}

template <bool kWide, bool kDouble, unsigned kVectors>
NF_INLINE void square_all(V* x, const V* d, const V* inverse, V round) {
#pragma GCC unroll 16
  for (unsigned i = 0; i < kVectors; ++i)
    x[i] = square<kWide, kDouble>(x[i], d[i], inverse[i], round);
}

/// x times a power of two modulo d; the quotient and kRound together go to `word`.
NF_INLINE V shift(V x, V factor, V d, V inverse, V round, V& word) {
  const V h = x * factor;
  word = fused_add(h, inverse, round);
  return negated_fused_add(word - round, d, h);
}

template <unsigned kFormula, bool kWide, unsigned kVectors>
void sum_terms(std::int64_t* sums, const TermRun* run) {
  constexpr const BBPFormula& formula = kBBPFormula[kFormula];
  constexpr unsigned kTerms = kVectors / formula.pieces * V::kLanes;
  static_assert(kVectors % formula.pieces == 0 && kVectors <= kMostVectors);
  const V round = V::all(kRound), word_factor = V::all(kWordFactor);
  double first = run->first;
  std::uint64_t exponent = run->exponent;
  for (std::size_t batch = 0; batch < run->batches; ++batch) {
    V x[kVectors], d[kVectors], inverse[kVectors], word;
    const unsigned drop = start_of(exponent);
    const V start = V::all(power_of_two(exponent >> drop));
#pragma GCC unroll 16
    for (unsigned i = 0; i < kVectors; ++i) {
      const BBPPiece& piece = formula.piece[i % formula.pieces];
      const V k = V::counting(first + i / formula.pieces * V::kLanes);
      d[i] = fused_add(k, V::all(piece.a), V::all(piece.b));
      inverse[i] = V::all(1) / d[i];
      x[i] = shift(V::all(1), start, d[i], inverse[i], round, word);
    }
    for (unsigned bit = drop; bit-- > 0;) {
      if ((exponent >> bit) & 1)
        square_all<kWide, true, kVectors>(x, d, inverse, round);
      else
        square_all<kWide, false, kVectors>(x, d, inverse, round);
    }
    const double* factors = run->factors;
    for (std::size_t s = 0; s < run->shifts; ++s, factors += kVectors * V::kLanes) {
#pragma GCC unroll 16
      for (unsigned i = 0; i < kVectors; ++i)
        x[i] = shift(x[i], V::load(factors + i * V::kLanes), d[i], inverse[i], round, word);
    }
    std::int64_t* sum = sums;
    for (std::size_t w = 0; w < run->words; ++w, sum += V::kLanes) {
      Integers total = Integers::load(sum);
#pragma GCC unroll 16
      for (unsigned i = 0; i < kVectors; ++i) {
        x[i] = shift(x[i], word_factor, d[i], inverse[i], round, word);
        total.add_bits(word);
      }
      total.store(sum);
    }
    sum -= V::kLanes;
    Integers total = Integers::load(sum);
#pragma GCC unroll 16
    for (unsigned i = 0; i < kVectors; ++i) total.subtract_negative(x[i]);
    total.store(sum);
    first += kTerms;
    exponent -= std::uint64_t{kTerms} * formula.step;
  }
}

constexpr Kernels make_kernels() {
  return {V::kLanes,
          {kVectors0, kVectors1},
          {{sum_terms<0, false, kVectors0>, sum_terms<1, false, kVectors1>},
           {sum_terms<0, true, kVectors0>, sum_terms<1, true, kVectors1>}}};
}
