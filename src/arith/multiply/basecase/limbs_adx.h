// Limb loops for x86-64 processors with MULX, ADCX and ADOX: rows of products in straight lines.
//
// Two carry chains run at once, one through the high halves of the products and one through the sum
// that they are added to; compilers keep only one alive. A row of each length has a function of its
// own, without a loop. Measured on Zen 4: 1.4 cycles for a product of two limbs.
//
// Source: E. Ozturk, J. Guilford, V. Gopal, W. Feghali: "New instructions supporting large integer
// arithmetic on Intel architecture processors", 2012.
#pragma once

#include "arith/multiply/basecase/limb_ops.h"
#include "arith/multiply/basecase/schoolbook.h"

#if defined(__x86_64__) && defined(__GNUC__)
#define NF_HAS_ADX_LIMBS 1

#include <array>
#include <utility>

namespace nmp::basecase {

/// 64-bit limbs whose loops need BMI2 and ADX.
struct LimbAdx : Limb64 {};

/// Longest row that has its own function.
inline constexpr int kLongestRow = 40;

/// c[0, kLength) = (kAdd ? c : 0) + a[0, kLength) * v; returns the limb above.
template <int kLength, bool kAdd>
inline std::uint64_t row(Word* c, const Word* a, std::uint64_t v) {
  std::uint64_t carry, low, high;
  // The zero register clears both flags that carry. `even` limbs leave their high half in `high`,
  // odd ones in `carry`.
  if constexpr (kAdd) {
    asm volatile(
        "xorl %k[carry], %k[carry]\n\t"
        ".set nf_at, 0\n\t"
        ".rept %c[pairs]\n\t"
        "mulxq nf_at(%[a]), %[low], %[high]\n\t"
        "adcxq %[carry], %[low]\n\t"
        "adoxq nf_at(%[c]), %[low]\n\t"
        "movq %[low], nf_at(%[c])\n\t"
        "mulxq nf_at+8(%[a]), %[low], %[carry]\n\t"
        "adcxq %[high], %[low]\n\t"
        "adoxq nf_at+8(%[c]), %[low]\n\t"
        "movq %[low], nf_at+8(%[c])\n\t"
        ".set nf_at, nf_at+16\n\t"
        ".endr\n\t"
        ".rept %c[single]\n\t"
        "mulxq nf_at(%[a]), %[low], %[high]\n\t"
        "adcxq %[carry], %[low]\n\t"
        "adoxq nf_at(%[c]), %[low]\n\t"
        "movq %[low], nf_at(%[c])\n\t"
        "movq %[high], %[carry]\n\t"
        ".endr\n\t"
        "movl $0, %k[low]\n\t"
        "adcxq %[low], %[carry]\n\t"
        "adoxq %[low], %[carry]\n\t"
        : [carry] "=&r"(carry), [low] "=&r"(low), [high] "=&r"(high)
        : [a] "r"(a), [c] "r"(c), "d"(v), [pairs] "i"(kLength / 2), [single] "i"(kLength % 2)
        : "cc", "memory");
  } else {
    asm volatile(
        "xorl %k[carry], %k[carry]\n\t"
        ".set nf_at, 0\n\t"
        ".rept %c[pairs]\n\t"
        "mulxq nf_at(%[a]), %[low], %[high]\n\t"
        "adcq %[carry], %[low]\n\t"
        "movq %[low], nf_at(%[c])\n\t"
        "mulxq nf_at+8(%[a]), %[low], %[carry]\n\t"
        "adcq %[high], %[low]\n\t"
        "movq %[low], nf_at+8(%[c])\n\t"
        ".set nf_at, nf_at+16\n\t"
        ".endr\n\t"
        ".rept %c[single]\n\t"
        "mulxq nf_at(%[a]), %[low], %[high]\n\t"
        "adcq %[carry], %[low]\n\t"
        "movq %[low], nf_at(%[c])\n\t"
        "movq %[high], %[carry]\n\t"
        ".endr\n\t"
        "adcq $0, %[carry]\n\t"
        : [carry] "=&r"(carry), [low] "=&r"(low), [high] "=&r"(high)
        : [a] "r"(a), [c] "r"(c), "d"(v), [pairs] "i"(kLength / 2), [single] "i"(kLength % 2)
        : "cc", "memory");
  }
  return carry;
}

/// c[0, kLength + bl) = a[0, kLength) * b[0, bl).
template <int kLength>
void rows(Word* c, const Word* a, const Word* b, std::size_t bl) {
  store_limb(c + 2 * kLength, row<kLength, false>(c, a, load_limb(b)));
  for (std::size_t i = 1; i < bl; ++i) {
    c += 2;
    store_limb(c + 2 * kLength, row<kLength, true>(c, a, load_limb(b + 2 * i)));
  }
}

/// The sum of all a[i] * a[j] * 2^(64 (i + j)) with i < j < kLength in c[1, 2 kLength - 1).
template <int kLength>
void triangle(Word* c, const Word* a) {
  [&]<int... kRow>(std::integer_sequence<int, kRow...>) {
    (store_limb(c + 2 * (kLength + kRow),
                row<kLength - 1 - kRow, (kRow > 0)>(c + 2 * (2 * kRow + 1), a + 2 * (kRow + 1),
                                                    load_limb(a + 2 * kRow))),
     ...);
  }
  (std::make_integer_sequence<int, kLength - 1>());
}

using Rows = void (*)(Word*, const Word*, const Word*, std::size_t);
using Triangle = void (*)(Word*, const Word*);
/// Entry n - 1 is for n limbs.
inline constexpr auto kRows = []<int... kBefore>(std::integer_sequence<int, kBefore...>) {
  return std::array<Rows, kLongestRow>{&rows<kBefore + 1>...};
}
(std::make_integer_sequence<int, kLongestRow>());
inline constexpr auto kTriangles = []<int... kBefore>(std::integer_sequence<int, kBefore...>) {
  return std::array<Triangle, kLongestRow>{&triangle<kBefore + 1>...};
}
(std::make_integer_sequence<int, kLongestRow>());

template <>
inline void schoolbook_multiply<LimbAdx>(Word* c, const Word* a, std::size_t al, const Word* b,
                                         std::size_t bl) {
  // Rows run along the shorter operand: one function however long the other one is.
  if (al < bl) {
    std::swap(a, b);
    std::swap(al, bl);
  }
  if (bl > kLongestRow) return schoolbook_multiply<Limb64>(c, a, al, b, bl);
  kRows[bl - 1](c, b, a, al);
}

template <>
inline void schoolbook_square<LimbAdx>(Word* c, const Word* a, std::size_t n) {
  if (n > kLongestRow) return schoolbook_square<Limb64>(c, a, n);
  store_limb(c, 0);
  store_limb(c + 2 * (2 * n - 1), 0);
  kTriangles[n - 1](c, a);
  // Twice the triangle and the squares on the diagonal, two limbs at a time.
  std::uint64_t top = 0;  // the bit that the doubling moves up
  wide::Uint128 carry = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const std::uint64_t x = load_limb(a + 2 * i);
    const std::uint64_t low = load_limb(c + 4 * i), high = load_limb(c + 4 * i + 2);
    const wide::Uint128 square = static_cast<wide::Uint128>(x) * x;
    carry += static_cast<std::uint64_t>(square);
    carry += low << 1 | top;
    store_limb(c + 4 * i, static_cast<std::uint64_t>(carry));
    carry = (carry >> 64) + static_cast<std::uint64_t>(square >> 64);
    carry += high << 1 | low >> 63;
    store_limb(c + 4 * i + 2, static_cast<std::uint64_t>(carry));
    carry >>= 64;
    top = high >> 63;
  }
}

#define NF_CARRY_LOOP(name, instruction)                                                        \
  template <>                                                                                   \
  inline std::uint64_t name<LimbAdx>(Word * out, const Word* x, const Word* y, std::size_t n) { \
    std::uint64_t carry = 0, t, fours = n / 4, singles = n % 4;                                 \
    /* INC and DEC leave the carry alone; LEA leaves all flags. */                              \
    asm volatile(                                                                               \
        "testq %[singles], %[singles]\n\t" /* clears the carry */                               \
        "jz 2f\n"                                                                               \
        "1:\tmovq (%[x]), %[t]\n\t" instruction                                                 \
        " (%[y]), %[t]\n\t"                                                                     \
        "movq %[t], (%[out])\n\t"                                                               \
        "leaq 8(%[x]), %[x]\n\tleaq 8(%[y]), %[y]\n\tleaq 8(%[out]), %[out]\n\t"                \
        "decq %[singles]\n\tjnz 1b\n"                                                           \
        "2:\tincq %[fours]\n\tdecq %[fours]\n\tjz 4f\n"                                         \
        "3:\tmovq (%[x]), %[t]\n\t" instruction                                                 \
        " (%[y]), %[t]\n\tmovq %[t], (%[out])\n\t"                                              \
        "movq 8(%[x]), %[t]\n\t" instruction                                                    \
        " 8(%[y]), %[t]\n\tmovq %[t], 8(%[out])\n\t"                                            \
        "movq 16(%[x]), %[t]\n\t" instruction                                                   \
        " 16(%[y]), %[t]\n\tmovq %[t], 16(%[out])\n\t"                                          \
        "movq 24(%[x]), %[t]\n\t" instruction                                                   \
        " 24(%[y]), %[t]\n\tmovq %[t], 24(%[out])\n\t"                                          \
        "leaq 32(%[x]), %[x]\n\tleaq 32(%[y]), %[y]\n\tleaq 32(%[out]), %[out]\n\t"             \
        "decq %[fours]\n\tjnz 3b\n"                                                             \
        "4:\tadcq $0, %[carry]\n\t"                                                             \
        : [carry] "+&r"(carry), [t] "=&r"(t), [fours] "+&r"(fours), [singles] "+&r"(singles),   \
          [x] "+&r"(x), [y] "+&r"(y), [out] "+&r"(out)                                          \
        :                                                                                       \
        : "cc", "memory");                                                                      \
    return carry;                                                                               \
  }
NF_CARRY_LOOP(add_n, "adcq")
NF_CARRY_LOOP(subtract_n, "sbbq")
#undef NF_CARRY_LOOP

}  // namespace nmp::basecase

#endif
