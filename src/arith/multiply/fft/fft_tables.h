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

/// Doubles that `row_top` fills.
constexpr std::size_t row_top_doubles(unsigned log_cols) {
  return 64 + (std::size_t{2} << log_cols) / 256 + (std::size_t{2} << log_cols) / 16;
}
/// The top of row `row`; `storage` is for what is not shared.
RowTop row_top(const Kernels& kernels, const Shape& shape, std::size_t row, double* storage);

/// Builds all that is shared by lengths up to some size.
void prepare_tables(const Kernels& kernels);

}  // namespace nmp::fft
