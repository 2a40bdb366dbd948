// The butterfly passes of the 64-bit transform: columns of a block or runs of blocks at a time.
//
// A pass of radix q over a block of q * m points has m columns: points j, m + j, 2 m + j, ... The
// passes that threads share take the first `columns` of the columns from x on, m apart.
// Forward passes take and give values in [0, 4 p), inverse passes in [0, 2 p).
#pragma once

#include <cstddef>
#include <cstdint>

#include "arith/multiply/ntt64/field.h"

namespace nmp::n64 {

/// Twiddles of two radix-2 splits at once: x^4q - r^4 by `square` = r^2, then its halves by `even`
/// = r and `odd` = r sqrt(-1). For inverse passes, their inverses.
struct Radix4 {
  Factor square, even, odd;
};
/// Powers r^1 ... r^(q-1) for a radix-q split of x^qm - r^q. For inverse passes, their inverses.
struct Radix3 {
  Factor r[2];
};
struct Radix5 {
  Factor r[4];
};

void forward_radix2(const Modulus& modulus, std::uint64_t* x, std::size_t half, const Factor& r);
void inverse_radix2(const Modulus& modulus, std::uint64_t* x, std::size_t half, const Factor& r);

void forward_radix4(const Modulus& modulus, std::uint64_t* x, std::size_t quarter,
                    std::size_t columns, const Radix4& r);
void inverse_radix4(const Modulus& modulus, std::uint64_t* x, std::size_t quarter,
                    std::size_t columns, const Radix4& r);

/// The last forward and first inverse pass of a leaf: `blocks` blocks of 4 points, nodes `node`,
/// node + 1, ... of their level.
void forward_last(const Modulus& modulus, std::uint64_t* x, std::size_t blocks,
                  const Factor* twiddles, std::size_t node);
void inverse_first(const Modulus& modulus, std::uint64_t* x, std::size_t blocks,
                   const Factor* twiddles, std::size_t node);

void forward_radix3(const Field& field, std::uint64_t* x, std::size_t third, std::size_t columns,
                    const Radix3& r);
void inverse_radix3(const Field& field, std::uint64_t* x, std::size_t third, std::size_t columns,
                    const Radix3& r);
void forward_radix5(const Field& field, std::uint64_t* x, std::size_t fifth, std::size_t columns,
                    const Radix5& r);
void inverse_radix5(const Field& field, std::uint64_t* x, std::size_t fifth, std::size_t columns,
                    const Radix5& r);

/// x[j] *= s^j for j < n, any values to [0, 2 p).
void twist(const Modulus& modulus, std::uint64_t* x, std::size_t n, std::uint64_t s);

}  // namespace nmp::n64
