// The shape of one transform: which digits, how many points, how they are laid out.
//
// A plane holds the residues of one operand modulo one prime: `rows()` rows of `cols()` points,
// point number row * cols() + column being digit number row * cols() + column of the operand. Rows
// are `stride` doubles apart: a stride that is no power of two, because the columns of a power of
// two would fall into the same few sets of the caches. The transform works on columns first (strips
// of `width` columns, copied to a contiguous buffer), then on rows (Bailey, "FFTs in external or
// hierarchical memory", 1990).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "arith/multiply/hybrid/hybrid_format.h"
#include "arith/multiply/hybrid/hybrid_kernels.h"

namespace nmp::hybrid {

/// The most points of which the planes of a product can be addressed.
inline constexpr std::uint64_t kAddressablePoints = static_cast<std::size_t>(-1) / 128;

struct Plan {
  unsigned format;     ///< of digits, in kFormats
  unsigned primes;     ///< those of the format
  unsigned odd;        ///< 1, 3, 5 or 15
  unsigned log_rows;   ///< rows() = odd * 2^log_rows
  unsigned log_cols;   ///< kMinLogRow .. kMaxLogRow
  std::size_t stride;  ///< doubles between rows
  std::size_t width;   ///< columns of a strip; divides cols()

  /// A given shape: odd * 2^log_rows rows of 2^log_cols points.
  Plan(unsigned format, unsigned odd, unsigned log_rows, unsigned log_cols);
  /// The usual shape for `points` points, which must be a length that exists.
  static Plan of_length(unsigned format, std::uint64_t points);

  std::size_t rows() const { return std::size_t{odd} << log_rows; }
  std::size_t cols() const { return std::size_t{1} << log_cols; }
  std::size_t points() const { return rows() << log_cols; }
  std::size_t plane_doubles() const { return rows() * stride; }
  bool single_row() const { return rows() == 1; }
  std::size_t strips() const { return single_row() ? 1 : cols() / width; }
  /// Where digit number `digit`, a multiple of four, begins.
  std::size_t word_of(std::size_t digit) const { return digit / 4 * kFormats[format].bytes; }
  bool addressable() const {
    return std::uint64_t{odd} << (log_rows + log_cols) <= kAddressablePoints;
  }
  /// What the transform wraps around at.
  std::size_t words() const { return word_of(points()); }

  /// Estimated time of one transform for all primes and its share of the other passes, in units
  /// that only compare plans.
  double cost() const;
};

/// The fastest plan for at least `words` words and for sums of `sum` products whose shorter operand
/// has at most `shorter` words. Throws TransformTooSmallException when there is none.
Plan best_plan(std::uint64_t words, std::uint64_t shorter, std::uint64_t sum = 1);

/// A plan for a product whose lowest `excess` words are formed on their own: the product modulo
/// what the transform wraps around at then gives the rest.
struct Fit {
  Plan plan;
  std::size_t excess;
};
/// The fastest one for a product of al and bl words: lengths come in steps of a quarter, and what
/// is just past a step need not pay for the next.
Fit best_fit(std::uint64_t al, std::uint64_t bl);
/// An excess that is formed by the basecase, at most.
inline constexpr std::size_t kBasecaseExcess = 112;

/// What a plan takes: `base` bytes and `slot` more for each thread.
struct Need {
  std::size_t base = 0;
  std::size_t slot = 0;
};

/// An upper bound of what every plan takes that `best_plan` may give for certain numbers or smaller
/// ones.
class Bounds {
 public:
  explicit Bounds(Need (*of_plan)(const Plan&));
  /// Past what can be addressed: the largest size there is.
  std::size_t bytes(std::uint64_t words, std::uint64_t shorter, unsigned threads) const;

 private:
  std::vector<Need> need_;
};

/// The lengths 2^k * {1, 3, 5, 15}, in points, in rising order, by number.
std::uint64_t length_at(unsigned number);
/// How many there are.
unsigned length_count();

}  // namespace nmp::hybrid
