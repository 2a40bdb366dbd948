#include "arith/word_ops.h"

#include <bit>
#include <climits>
#include <cstring>

#if defined(__x86_64__) || defined(_M_X64)
#include <immintrin.h>
#define NF_HAS_ADDCARRY 1
#endif

namespace nmp::words {
namespace {

// The unit of the loops and the type that holds its products.
#ifdef __SIZEOF_INT128__
using Limb = std::uint64_t;
__extension__ typedef unsigned __int128 Wide;
#else
using Limb = std::uint32_t;
using Wide = std::uint64_t;
#endif
constexpr std::size_t kLimbWords = sizeof(Limb) / sizeof(Word);
constexpr unsigned kLimbBits = sizeof(Limb) * CHAR_BIT;

Limb load(const Word* words) {
  Limb limb;
  std::memcpy(&limb, words, sizeof limb);
  return limb;
}
void store(Word* words, Limb limb) { std::memcpy(words, &limb, sizeof limb); }

// One digit of an addition or subtraction, in limbs or in words. The carry is 0 or 1.
struct Add {
  static constexpr Word kTransparent = ~Word{0};  ///< a carry passes through this word
  static Word step(Word carry, Word a, Word b, Word* c) {
    const DoubleWord sum = DoubleWord{a} + b + carry;
    *c = static_cast<Word>(sum);
    return static_cast<Word>(sum >> kWordBits);
  }
#ifdef __SIZEOF_INT128__
  static Word step(Word carry, Limb a, Limb b, Limb* c) {
#ifdef NF_HAS_ADDCARRY
    unsigned long long sum;
    const unsigned char out = _addcarry_u64(static_cast<unsigned char>(carry), a, b, &sum);
    *c = sum;
    return out;
#else
    const Limb partial = a + b;
    *c = partial + carry;
    return static_cast<Word>(partial < a) | static_cast<Word>(*c < partial);
#endif
  }
#endif
};
struct Subtract {
  static constexpr Word kTransparent = 0;
  static Word step(Word borrow, Word a, Word b, Word* c) {
    const DoubleWord difference = DoubleWord{a} - b - borrow;
    *c = static_cast<Word>(difference);
    return static_cast<Word>(difference >> kWordBits) & 1;
  }
#ifdef __SIZEOF_INT128__
  static Word step(Word borrow, Limb a, Limb b, Limb* c) {
#ifdef NF_HAS_ADDCARRY
    unsigned long long difference;
    const unsigned char out = _subborrow_u64(static_cast<unsigned char>(borrow), a, b, &difference);
    *c = difference;
    return out;
#else
    const Limb partial = a - b;
    *c = partial - borrow;
    return static_cast<Word>(a < b) | static_cast<Word>(partial < borrow);
#endif
  }
#endif
};

template <typename Op>
Word combine_n(Word* c, const Word* a, const Word* b, std::size_t n) {
  constexpr std::size_t kBlock = 8;  // limbs per trip: one unbroken carry chain
  Word carry = 0;
  std::size_t i = 0;
  // Each sum is stored at once; gathered in an array they would be shuffled into vectors first.
  for (; n - i >= kBlock * kLimbWords; i += kBlock * kLimbWords) {
    for (std::size_t j = i; j < i + kBlock * kLimbWords; j += kLimbWords) {
      Limb sum;
      carry = Op::step(carry, load(a + j), load(b + j), &sum);
      store(c + j, sum);
    }
  }
  for (; n - i >= kLimbWords; i += kLimbWords) {
    Limb sum;
    carry = Op::step(carry, load(a + i), load(b + i), &sum);
    store(c + i, sum);
  }
  for (; i < n; ++i) carry = Op::step(carry, a[i], b[i], &c[i]);
  return carry;
}

template <typename Op>
Word ripple(Word* a, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    const Word before = a[i];
    Op::step(1, before, Word{0}, &a[i]);
    if (before != Op::kTransparent) return 0;
  }
  return 1;
}

template <typename Op>
Word combine_1(Word* c, const Word* a, std::size_t n, Word w) {
  if (n == 0) return w;
  const Word carry = Op::step(0, a[0], w, &c[0]);
  if (c != a) copy(c + 1, a + 1, n - 1);
  return carry != 0 ? ripple<Op>(c + 1, n - 1) : 0;
}

/// carry + a x + addend, of which the low word goes to *c and the rest, below 2^64, is returned.
DoubleWord product_step(DoubleWord carry, Word a, DoubleWord x, Word addend, Word* c) {
  constexpr DoubleWord kLow = 0xFFFFFFFFu;
  const DoubleWord low = (x & kLow) * a;
  const DoubleWord high = (x >> kWordBits) * a;
  const DoubleWord sum = (low & kLow) + (carry & kLow) + addend;
  *c = static_cast<Word>(sum);
  return high + (low >> kWordBits) + (carry >> kWordBits) + (sum >> kWordBits);
}

template <bool kAccumulate>
DoubleWord product_2(Word* c, const Word* a, std::size_t n, DoubleWord x) {
  DoubleWord carry = 0;
  std::size_t i = 0;
#ifdef __SIZEOF_INT128__
  const std::size_t whole = n - n % kLimbWords;
#pragma GCC unroll 4
  for (; i < whole; i += kLimbWords) {
    // At most (2^64 - 1)^2 + 2 (2^64 - 1) = 2^128 - 1.
    const Wide t = Wide{load(a + i)} * x + carry + (kAccumulate ? load(c + i) : 0);
    store(c + i, static_cast<Limb>(t));
    carry = static_cast<DoubleWord>(t >> kLimbBits);
  }
#endif
  for (; i < n; ++i) carry = product_step(carry, a[i], x, kAccumulate ? c[i] : 0, &c[i]);
  return carry;
}

template <bool kAccumulate>
Word product_1(Word* c, const Word* a, std::size_t n, Word w) {
#ifdef __SIZEOF_INT128__
  return static_cast<Word>(product_2<kAccumulate>(c, a, n, w));
#else
  DoubleWord carry = 0;
  for (std::size_t i = 0; i < n; ++i) {
    carry += DoubleWord{a[i]} * w + (kAccumulate ? c[i] : 0);
    c[i] = static_cast<Word>(carry);
    carry >>= kWordBits;
  }
  return static_cast<Word>(carry);
#endif
}

/// Division of two limbs by a fixed one with its top bit set, through its reciprocal.
class Divider {
 public:
  /// Divides by w, scaled to the top of a limb: remainders are scaled alike.
  explicit Divider(Word w)
      : shift_(static_cast<unsigned>(std::countl_zero(Limb{w}))),
        d_(Limb{w} << shift_),
        reciprocal_(static_cast<Limb>(((Wide{~d_} << kLimbBits) | Limb(-1)) / d_)) {}

  /// The quotient of (remainder, limb) by w; `remainder` is scaled and replaced.
  Limb step(Limb* remainder, Limb limb) const {
    const Limb u1 = *remainder | ((limb >> 1) >> (kLimbBits - 1 - shift_));
    const Limb u0 = limb << shift_;
    const Wide estimate = Wide{reciprocal_} * u1 + ((Wide{u1} << kLimbBits) | u0);
    Limb quotient = static_cast<Limb>(estimate >> kLimbBits) + 1;
    Limb r = u0 - quotient * d_;
    if (r > static_cast<Limb>(estimate)) {
      --quotient;
      r += d_;
    }
    if (r >= d_) {  // rare
      ++quotient;
      r -= d_;
    }
    *remainder = r;
    return quotient;
  }
  Limb scaled(Word remainder) const { return Limb{remainder} << shift_; }
  Word unscaled(Limb remainder) const { return static_cast<Word>(remainder >> shift_); }

 private:
  unsigned shift_;
  Limb d_;
  Limb reciprocal_;  ///< floor((2^(2 kLimbBits) - 1) / d) - 2^kLimbBits
};

}  // namespace

Word add_n(Word* c, const Word* a, const Word* b, std::size_t n) {
  return combine_n<Add>(c, a, b, n);
}
Word sub_n(Word* c, const Word* a, const Word* b, std::size_t n) {
  return combine_n<Subtract>(c, a, b, n);
}
Word add_1(Word* c, const Word* a, std::size_t n, Word w) { return combine_1<Add>(c, a, n, w); }
Word sub_1(Word* c, const Word* a, std::size_t n, Word w) {
  return combine_1<Subtract>(c, a, n, w);
}
Word increment(Word* a, std::size_t n) { return ripple<Add>(a, n); }
Word decrement(Word* a, std::size_t n) { return ripple<Subtract>(a, n); }

void complement(Word* c, const Word* a, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) c[i] = ~a[i];
}

Word mul_1(Word* c, const Word* a, std::size_t n, Word w) { return product_1<false>(c, a, n, w); }
Word addmul_1(Word* c, const Word* a, std::size_t n, Word w) { return product_1<true>(c, a, n, w); }
DoubleWord mul_2(Word* c, const Word* a, std::size_t n, DoubleWord x) {
  return product_2<false>(c, a, n, x);
}
DoubleWord addmul_2(Word* c, const Word* a, std::size_t n, DoubleWord x) {
  return product_2<true>(c, a, n, x);
}

Word submul_1(Word* c, const Word* a, std::size_t n, Word w) {
  Limb borrow = 0;
  std::size_t i = 0;
  for (; n - i >= kLimbWords; i += kLimbWords) {
    const Wide t = Wide{load(a + i)} * w + borrow;
    const Limb low = static_cast<Limb>(t), before = load(c + i);
    store(c + i, before - low);
    borrow = static_cast<Limb>(t >> kLimbBits) + (before < low);
  }
  for (; i < n; ++i) {
    const DoubleWord t = DoubleWord{a[i]} * w + borrow;
    const Word low = static_cast<Word>(t), before = c[i];
    c[i] = before - low;
    borrow = static_cast<Limb>(t >> kWordBits) + (before < low);
  }
  return static_cast<Word>(borrow);
}

void mul_schoolbook(Word* c, const Word* a, std::size_t al, const Word* b, std::size_t bl) {
  std::size_t j = bl % 2;  // an odd word goes first, the rest in pairs
  if (j != 0)
    c[al] = mul_1(c, a, al, b[0]);
  else
    zero(c, al);
  for (; j < bl; j += 2) {
    const DoubleWord high = addmul_2(c + j, a, al, load_limb(b + j));
    store_limb(c + j + al, high);
  }
}

Word divrem_1(Word* q, const Word* a, std::size_t n, Word w, Word remainder) {
  if (n % kLimbWords != 0) {
    --n;
    const DoubleWord t = (DoubleWord{remainder} << kWordBits) | (a != nullptr ? a[n] : 0);
    q[n] = static_cast<Word>(t / w);
    remainder = static_cast<Word>(t % w);
  }
  if (n == 0) return remainder;
  const Divider divider(w);
  Limb r = divider.scaled(remainder);
  for (std::size_t i = n; i != 0;) {
    i -= kLimbWords;
    store(q + i, divider.step(&r, a != nullptr ? load(a + i) : 0));
  }
  return divider.unscaled(r);
}

// The shifts by the complement are made in two steps: with bits = 0 one step would be too wide.
Word lshift(Word* c, const Word* a, std::size_t n, unsigned bits) {
  if (n == 0) return 0;
  const Word out = (a[n - 1] >> 1) >> (kWordBits - 1 - bits);
  std::size_t i = n;
  for (; i > kLimbWords; i -= kLimbWords) {
    const Limb limb = load(a + i - kLimbWords);
    const Limb below = Limb{a[i - kLimbWords - 1]} >> 1 >> (kWordBits - 1 - bits);
    store(c + i - kLimbWords, (limb << bits) | below);
  }
  for (; i != 0; --i) {
    const Word below = i > 1 ? (a[i - 2] >> 1) >> (kWordBits - 1 - bits) : 0;
    c[i - 1] = (a[i - 1] << bits) | below;
  }
  return out;
}

int compare(const Word* a, const Word* b, std::size_t n) {
  for (; n >= kLimbWords; n -= kLimbWords) {
    const Limb x = load(a + n - kLimbWords), y = load(b + n - kLimbWords);
    if (x != y) return x < y ? -1 : 1;
  }
  if (n == 0 || a[0] == b[0]) return 0;
  return a[0] < b[0] ? -1 : 1;
}

int compare_tops(const Word* a, std::size_t al, const Word* b, std::size_t bl) {
  if (al < bl) return -compare_tops(b, bl, a, al);
  const int top = compare(a + (al - bl), b, bl);
  if (top != 0) return top;
  return all_equal(a, al - bl, 0) ? 0 : 1;
}

void copy(Word* target, const Word* source, std::size_t n) {
  if (n != 0 && target != source) std::memmove(target, source, n * sizeof(Word));
}
void zero(Word* target, std::size_t n) {
  if (n != 0) std::memset(target, 0, n * sizeof(Word));
}

std::size_t stripped_length(const Word* a, std::size_t n) {
  while (n != 0 && a[n - 1] == 0) --n;
  return n;
}
std::size_t low_zero_words(const Word* a, std::size_t n) {
  std::size_t i = 0;
  while (i < n && a[i] == 0) ++i;
  return i;
}
bool all_equal(const Word* a, std::size_t n, Word w) {
  for (std::size_t i = 0; i < n; ++i)
    if (a[i] != w) return false;
  return true;
}

}  // namespace nmp::words
