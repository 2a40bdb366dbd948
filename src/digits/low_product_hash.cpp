#include "digits/low_product_hash.h"

#include <algorithm>
#include <optional>

#include "arith/hash61.h"
#include "arith/long_ops.h"
#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/spectrum.h"

namespace nmp {
namespace {

/// Shorter operands are not worth the trouble.
constexpr std::size_t kShortest = 64;

/// The last word that lies below 2^bits as a whole, for 32 (al - 1) < bits.
std::size_t guard_word(std::size_t al) { return al - 2; }

/// What wraps around, al + bl - wrap words at most, ends below the guard.
SpectrumShape shape_for(std::size_t al, std::size_t bl) {
  return {std::max(al, bl) + 2, std::min(al, bl)};
}

/// Bytes of a product by transforms; 0 where there are none.
std::size_t wrapped_bytes(const Context& context, std::size_t al, std::size_t bl) {
  if (std::min(al, bl) < kShortest) return 0;
  return spectra_need(context, shape_for(al, bl)).bytes(2);
}

std::uint64_t divide_by_power_of_2(std::uint64_t hash, std::uint64_t bits) {
  return hash61::multiply(hash, hash61::fold(std::uint64_t{1} << (61 - bits % 61)));
}
std::uint64_t power_of_2(std::uint64_t bits) { return std::uint64_t{1} << (bits % 61); }

/// words[0, n) / 2^bits, without what is below the point.
std::uint64_t hash_above(Context& context, const Word* words, std::size_t n, std::uint64_t bits) {
  const std::size_t first = static_cast<std::size_t>(bits / kWordBits);
  if (first >= n) return 0;
  const unsigned rest = bits % kWordBits;
  const Word below = words[first] & ((Word{1} << rest) - 1);
  return divide_by_power_of_2(
      hash61::subtract(words::hash_of(context, words + first, n - first), below), rest);
}

std::optional<std::uint64_t> by_wrapping(Context& context, const Word* a, std::size_t al,
                                         const Word* b, std::size_t bl, std::uint64_t bits,
                                         AlignedBufferC scratch) {
  Spectra* const spectra = make_spectra(context, shape_for(al, bl), 2, scratch);
  if (spectra == nullptr || spectra->wrap() >= al + bl) return std::nullopt;
  const std::size_t wrap = spectra->wrap();
  Spectrum x = spectra->carve(scratch), y = spectra->carve(scratch);
  spectra->forward(x, a, al);
  spectra->forward(y, b, bl);
  const Spectra::Term term{&x, &y};
  spectra->multiply(x, {&term, 1});
  Word* const r = reinterpret_cast<Word*>(y.data);  // done with, and longer than the number was
  spectra->inverse(r, wrap, x);
  if (r[guard_word(al)] == 0 || r[guard_word(al)] == ~Word{0}) return std::nullopt;

  const std::uint64_t product =
      hash61::multiply(words::hash_of(context, a, al), words::hash_of(context, b, bl));
  const std::uint64_t wrap_bits = std::uint64_t{wrap} * kWordBits;
  const std::uint64_t modulus = spectra->wrap_sign() == 1
                                    ? hash61::subtract(power_of_2(wrap_bits), 1)
                                    : hash61::add(power_of_2(wrap_bits), 1);
  if (modulus == 0) return std::nullopt;
  const std::uint64_t inverse = hash61::power(modulus, hash61::kPrime - 2);
  const std::uint64_t high =
      hash61::multiply(hash61::subtract(product, words::hash_of(context, r, wrap)), inverse);
  const std::uint64_t above = hash61::add(hash61::multiply(high, power_of_2(wrap_bits - bits)),
                                          hash_above(context, r, wrap, bits));
  return hash61::subtract(product, hash61::multiply(above, power_of_2(bits)));
}

}  // namespace

std::size_t low_product_scratch(const Context& context, std::size_t al, std::size_t bl) {
  const std::size_t wrapped = wrapped_bytes(context, al, bl);
  const std::size_t product = carved_bytes<Word>(al + bl);
  if (wrapped == 0) return product + multiply_scratch(context, al + bl);
  // A product in full is the exception then, and formed from pieces in no more memory.
  const Context whole = with_pieces_within(context, al + bl, wrapped - std::min(wrapped, product));
  return std::max(wrapped, product + multiply_scratch(whole, al + bl));
}

std::uint64_t low_product_hash(Context& context, const Word* a, std::size_t al, const Word* b,
                               std::size_t bl, std::uint64_t bits, AlignedBufferC scratch) {
  if (wrapped_bytes(context, al, bl) != 0)
    if (const auto hash = by_wrapping(context, a, al, b, bl, bits, scratch)) return *hash;
  Word* product = scratch.carve<Word>(al + bl);
  Context whole = with_pieces_within(context, al + bl, scratch.bytes());
  multiply(whole, product, a, al, b, bl, scratch);
  const unsigned top_bits = bits % kWordBits;
  if (top_bits != 0) product[al - 1] &= (Word{1} << top_bits) - 1;
  return words::hash_of(context, product, al);
}

}  // namespace nmp
