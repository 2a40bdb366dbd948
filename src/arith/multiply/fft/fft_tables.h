// Twiddles, built once for each length and kept for the life of the process.
#pragma once

#include <cstddef>

#include "arith/multiply/fft/fft_kernels.h"
#include "arith/multiply/fft/fft_plan.h"

namespace nmp::fft {

/// What a tree is for: a whole transform, the columns, or the rows of one in rows and columns.
enum class Use : unsigned { kWhole, kColumns, kRow };

/// The tree of odd * 2^log points. The first caller builds it; safe from any thread.
const Tree& shared_tree(const Kernels& kernels, Use use, unsigned odd, unsigned log);

/// Doubles of the tables of one row's top.
constexpr std::size_t row_top_doubles(unsigned log_cols) {
  return 32 + (std::size_t{2} << log_cols) / 16;
}
/// The top of row `row`, in `storage`, or for lengths that are not too long a shared one.
RowTop row_top(const Kernels& kernels, const Shape& shape, std::size_t row, double* storage);

}  // namespace nmp::fft
