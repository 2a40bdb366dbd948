// The loops of the hybrid NTT, of every set of instructions that this machine has, against what
// they mean in integers.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "arith/kernels/kernel_set.h"
#include "arith/multiply/hybrid/hybrid_field.h"
#include "platform/processor.h"
#include "support/random.h"

namespace nmp::hybrid {
namespace {

using u64 = std::uint64_t;

class HybridKernels : public test::RandomTest {
 protected:
  /// Calls body(kernels, field) for each table that can run here and each prime.
  template <typename Body>
  void for_each(const Body& body) {
    for (const KernelSet& set : kernel_sets()) {
      if (!set.hybrid || (platform::processor_features() & set.needs) != set.needs) continue;
      SCOPED_TRACE(set.name);
      for (const Field& f : fields(*set.hybrid).field) body(*set.hybrid, f);
    }
  }
  std::vector<double> residues(std::size_t n, double bound) {
    std::vector<double> x(n);
    for (double& value : x) {
      const double magnitude = std::floor(
          rng_.below(4) ? static_cast<double>(rng_.below(static_cast<u64>(bound))) : bound - 1);
      value = rng_.below(2) ? magnitude : -magnitude;
    }
    return x;
  }
  static u64 integer(const Field& f, double x) {
    const double r = std::fmod(x, f.mod.p);
    return static_cast<u64>(r < 0 ? r + f.mod.p : r);
  }
};

std::size_t reversed(std::size_t x, unsigned bits) {
  std::size_t result = 0;
  for (; bits > 0; --bits, x >>= 1) result = result << 1 | (x & 1);
  return result;
}

TEST_F(HybridKernels, ColumnsAreEvaluations) {
  constexpr std::size_t kWidth = 16, kStride = 24;
  for_each([&](const Kernels& loops, const Field& f) {
    for (const unsigned odd : {1u, 3u, 5u, 15u})
      for (unsigned log = odd == 1; log <= 8; ++log) {
        const std::size_t rows = std::size_t{odd} << log, column = rng_.below(kWidth);
        SCOPED_TRACE(std::to_string(odd) + " * 2^" + std::to_string(log));
        Tree trees[2][15];
        std::vector<double> roots(rows), scaled(2 * 15 * scaled_column_doubles(log));
        std::vector<double> tables[2] = {std::vector<double>(rows), std::vector<double>(rows)};
        for (const Direction direction : {kForward, kInverse}) {
          Tree& first = trees[direction][0];
          double* const t = tables[direction].data();
          loops.make_roots(t, log > 0 ? log - 1 : 0, f.root[direction][0], f.mod);
          first.log = log, first.half = 1, first.blocks = nullptr;
          for (Level& level : first.level) level = {t, t};
          double s[15];
          loops.make_powers(s, odd, f.root[direction][odd_index(odd)][log], f.mod);
          for (unsigned q = 1; q < odd; ++q)
            loops.scale_tree(&trees[direction][q],
                             &scaled[(direction * 15 + q) * scaled_column_doubles(log)], &first,
                             s[q], f.mod);
        }
        const Columns forward = {odd, f.odd_roots[kForward][odd_index(odd)], trees[kForward]};
        const Columns inverse = {odd, f.odd_roots[kInverse][odd_index(odd)], trees[kInverse]};

        const std::size_t filled = 1 + rng_.below(rows);
        std::vector<double> x = residues(rows * kWidth, 2 * f.mod.p), plane(rows * kStride);
        std::fill(x.begin() + static_cast<std::ptrdiff_t>(filled * kWidth), x.end(), 0.0);
        const std::vector<double> start = x;
        if (reads_half(odd, log, filled))
          std::fill_n(&x[rows / 2 * kWidth], rows / 2 * kWidth, std::nan(""));
        loops.forward_columns(x.data(), kWidth, filled, plane.data(), kStride, &forward, f.mod);
        const u64 root = integer(f, f.root[kForward][odd_index(odd)][log]);
        for (const std::size_t row : {std::size_t{0}, rng_.size(rows - 1), rows - 1}) {
          const std::size_t part = row >> log, node = row & ((std::size_t{1} << log) - 1);
          const u64 point = f.power(root, part + odd * reversed(node, log));
          u64 sum = 0;
          for (std::size_t i = rows; i-- > 0;)
            sum = (f.multiply(sum, point) + integer(f, start[i * kWidth + column])) % f.p;
          ASSERT_EQ(integer(f, plane[row * kStride + column]), sum) << "row " << row;
        }
        for (double& y : plane) {
          ASSERT_LT(std::fabs(y), 3.5 * f.mod.p);
          y = std::fmod(y, f.mod.p);
        }
        loops.inverse_columns(x.data(), kWidth, rows, plane.data(), kStride, &inverse, f.mod);
        for (std::size_t i = 0; i < x.size(); ++i) {
          ASSERT_LT(std::fabs(x[i]), 2 * f.mod.p);
          ASSERT_EQ(integer(f, x[i]), f.multiply(rows, integer(f, start[i])));
        }
      }
  });
}

TEST_F(HybridKernels, RowsMultiplyModuloTheirPolynomial) {
  for_each([&](const Kernels& loops, const Field& f) {
    for (unsigned log = kMinLogRow; log <= kMaxLogRow; ++log) {
      const std::size_t n = std::size_t{1} << log;
      SCOPED_TRACE("2^" + std::to_string(log));
      // Modulo x^n - s^n, s being 1 or anything; the lower half only, where s is 1.
      const bool plain = rng_.below(2) == 0;
      const double s = plain ? 1 : f.centred(rng_.below(f.p - 1) + 1);
      const Tree *forward = &f.row[kForward][log], *inverse = &f.row[kInverse][log];
      Tree scaled[2];
      std::vector<double> storage[2];
      if (!plain) {
        for (auto& part : storage) part.resize(scaled_row_doubles(log));
        loops.scale_tree(&scaled[0], storage[0].data(), forward, s, f.mod);
        const double inverse_s = f.centred(f.power(integer(f, s), f.p - 2));
        loops.scale_tree(&scaled[1], storage[1].data(), inverse, inverse_s, f.mod);
        forward = &scaled[0], inverse = &scaled[1];
      }
      std::vector<double> a = residues(n, 3.5 * f.mod.p), b = residues(n, 3.5 * f.mod.p);
      if (rng_.below(2)) std::fill(a.begin() + static_cast<std::ptrdiff_t>(n / 2), a.end(), 0.0);
      std::vector<double> x = a, y = b;
      loops.forward_row(x.data(), forward, f.mod);
      loops.forward_row(y.data(), forward, f.mod);
      loops.multiply(x.data(), x.data(), y.data(), n, f.inverse_of_length[0][log], f.mod);
      loops.inverse_row(x.data(), inverse, f.mod);
      const u64 z = f.power(integer(f, s), n);
      for (const std::size_t i : {std::size_t{0}, rng_.size(n - 1), n - 1}) {
        u64 below = 0, above = 0;
        for (std::size_t j = 0; j < n; ++j) {
          u64& sum = j <= i ? below : above;
          sum = (sum + f.multiply(integer(f, a[j]), integer(f, b[(i - j) & (n - 1)]))) % f.p;
        }
        ASSERT_EQ(integer(f, x[i]), (below + f.multiply(above, z)) % f.p) << "coefficient " << i;
      }
    }
  });
}

}  // namespace
}  // namespace nmp::hybrid
