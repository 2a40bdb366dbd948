// Between words and planes of residues.
#pragma once

#include <cstddef>
#include <cstdint>

#include "arith/context.h"
#include "arith/multiply/ntt64/field.h"
#include "arith/word.h"

namespace nmp::n64 {

/// plane[0, n) = the digits of a[0, al) modulo the field's prime, in [0, 4 p), then zeros.
void load(Context& context, const Field& field, unsigned digit_bits, std::uint64_t* plane,
          std::size_t n, const Word* a, std::size_t al);

/// Recombines the residues of a product by the Chinese remainder theorem (in Garner's form) and
/// carries the digits into words.
///
/// planes[k][0, n) are n times the coefficients modulo prime k, in [0, 2 p_k), as `inverse` leaves
/// them; every coefficient is below the product of the primes. c[0, overlap) += and c[overlap, cl)
/// = the product, which must be below 2^(32 cl) together with the words it is added to. Spoils the
/// first plane.
void store(Context& context, unsigned digit_bits, std::uint64_t* const planes[kPrimes],
           std::size_t n, Word* c, std::size_t cl, std::size_t overlap);

}  // namespace nmp::n64
