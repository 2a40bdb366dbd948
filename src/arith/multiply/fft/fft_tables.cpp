#include "arith/multiply/fft/fft_tables.h"

#include <atomic>
#include <bit>
#include <memory>
#include <mutex>
#include <new>

#include "arith/multiply/fft/fft_roots.h"
#include "memory/aligned_buffer.h"

namespace nmp::fft {
namespace {

struct AlignedDelete {
  void operator()(double* p) const { ::operator delete (p, std::align_val_t{kBufferAlignment}); }
};
using Storage = std::unique_ptr<double, AlignedDelete>;
Storage allocate(std::size_t doubles) {
  return Storage(static_cast<double*>(
      ::operator new (doubles * sizeof(double), std::align_val_t{kBufferAlignment})));
}

/// z = e(numerator / denominator) of one node.
struct Angle {
  std::uint64_t numerator, denominator;
  /// Of child q of `radix`.
  Angle child(std::uint64_t q, std::uint64_t radix) const {
    return {numerator + q * denominator, denominator * radix};
  }
  /// The p-th power of its twiddle.
  Root twiddle(std::uint64_t p, std::uint64_t radix) const {
    return root(p * numerator, denominator * radix);
  }
};
constexpr Angle kTop = {1, 4};  // x^m - i

void put(double*& out, Root r) {
  *out++ = r.re;
  *out++ = r.im;
}

/// Nodes of one level in order: calls visit(angle) for each. `radices` lead there from the root.
template <typename Visit>
void visit_nodes(Angle angle, const unsigned* radices, unsigned levels, const Visit& visit) {
  if (levels == 0) return visit(angle);
  for (unsigned q = 0; q < *radices; ++q) {
    visit_nodes(angle.child(q, *radices), radices + 1, levels - 1, visit);
  }
}

void fill_leaf(double* out, Angle angle, unsigned leaf) {
  for (unsigned p = 1; p < leaf; ++p) {
    for (unsigned q = 0; q < leaf; ++q) {
      const Root r = angle.child(q, leaf).twiddle(p, leaf);
      out[q] = r.re;
      out[leaf + q] = r.im;
    }
    out += 2 * leaf;
  }
  for (unsigned p = 1; p < leaf; ++p) put(out, angle.twiddle(p, leaf));
  put(out, {0, 0});
}

struct BuiltTree {
  Tree tree = {};
  Storage storage;
};

std::unique_ptr<BuiltTree> build(const Kernels& kernels, Use use, unsigned odd, unsigned log) {
  auto built = std::make_unique<BuiltTree>();
  Tree& tree = built->tree;
  const unsigned leaf = use == Use::kColumns ? 1 : kernels.leaf;
  unsigned radices[kMaxLevels];
  tree.levels = choose_radices(radices, odd, log, leaf, kernels.high, use == Use::kRow);
  const std::size_t points = std::size_t{odd} << log;
  std::size_t doubles = 0, nodes = 1;
  for (unsigned i = 0; i < tree.levels; nodes *= radices[i++]) {
    doubles += 2 * (radices[i] - 1) * nodes;
  }
  const std::size_t leaves = (doubles + 7) / 8 * 8;
  built->storage = allocate(leaves + 2 * points);
  double* out = built->storage.get();
  for (unsigned i = 0; i < tree.levels; ++i) {
    tree.level[i] = {radices[i], out};
    visit_nodes(kTop, radices, i, [&](Angle angle) {
      for (unsigned p = 1; p < radices[i]; ++p) put(out, angle.twiddle(p, radices[i]));
    });
  }
  if (leaf > 1) {
    double* at = built->storage.get() + leaves;
    tree.leaves = at;
    visit_nodes(kTop, radices, tree.levels, [&](Angle angle) {
      fill_leaf(at, angle, leaf);
      at += 2 * leaf * leaf;
    });
  }
  return built;
}

/// Slots that are filled once and then read without a lock.
template <typename T>
class Shared {
 public:
  template <typename Build>
  const T& get(std::mutex& mutex, const Build& make) {
    if (const T* found = ready_.load(std::memory_order_acquire)) return *found;
    const std::lock_guard lock(mutex);
    if (!owner_) {
      owner_ = make();
      ready_.store(owner_.get(), std::memory_order_release);
    }
    return *owner_;
  }

 private:
  std::atomic<const T*> ready_ = nullptr;
  std::unique_ptr<T> owner_;
};

std::mutex& building() {
  static std::mutex mutex;
  return mutex;
}

unsigned odd_number(unsigned odd) { return odd / 2; }

/// Up to this many points the roots for the tops of all rows are kept.
constexpr std::uint64_t kMaxSharedTops = std::uint64_t{1} << 18;

/// Of one row's top: the twiddles, then 16 fine and cols / 256 coarse roots for the twist.
constexpr std::size_t kFine = 32, kCoarse = kFine + 2 * kBlockDoubles;
std::size_t top_roots(const Shape& shape) { return kCoarse + 2 * (shape.cols() / 256); }

void fill_roots(double* out, const Shape& shape, Angle angle) {
  double* coarse = out + kCoarse;
  double* const fine = out + kFine;
  for (unsigned p = 1; p < 4; ++p) put(out, angle.twiddle(p, 4));
  for (unsigned q = 0; q < 4; ++q) {
    for (unsigned p = 1; p < 4; ++p) put(out, angle.child(q, 4).twiddle(p, 4));
  }
  put(out, {0, 0});
  // e((angle - 1/4) j / cols), a turn added so that no angle is negative.
  const std::uint64_t denominator = angle.denominator << shape.log_cols;
  const std::uint64_t quarter = angle.denominator / 4;
  const auto twist = [&](std::uint64_t j) {
    return root(denominator + angle.numerator * j - quarter * j, denominator);
  };
  for (std::size_t j = 0; j < 16; ++j) {
    const Root r = twist(j);
    double* const block = fine + j / kBlock * kBlockDoubles + j % kBlock;
    block[0] = r.re;
    block[kBlock] = r.im;
  }
  for (std::size_t i = 0; i < shape.cols() / 256; ++i) put(coarse, twist(16 * i));
}

/// The angle of a row: the node that the columns' steps lead to.
Angle row_angle(const Kernels& kernels, const Shape& shape, std::size_t row) {
  unsigned radices[kMaxLevels];
  const unsigned levels =
      choose_radices(radices, shape.odd, shape.log_rows, 1, kernels.high, false);
  std::size_t below = shape.rows();
  Angle angle = kTop;
  for (unsigned i = 0; i < levels; ++i) {
    below /= radices[i];
    angle = angle.child(row / below % radices[i], radices[i]);
  }
  return angle;
}

std::unique_ptr<Storage> build_tops(const Kernels& kernels, const Shape& shape) {
  const std::size_t each = top_roots(shape);
  auto storage = std::make_unique<Storage>(allocate(shape.rows() * each));
  for (std::size_t row = 0; row < shape.rows(); ++row) {
    fill_roots(storage->get() + row * each, shape, row_angle(kernels, shape, row));
  }
  return storage;
}

const double* shared_tops(const Kernels& kernels, const Shape& shape) {
  static Shared<Storage> all[2][5][kMaxLog + 1];
  return all[kernels.leaf == 8][odd_number(shape.odd)][shape.log_rows + shape.log_cols]
      .get(building(), [&] { return build_tops(kernels, shape); })
      .get();
}

}  // namespace

const Tree& shared_tree(const Kernels& kernels, Use use, unsigned odd, unsigned log) {
  static Shared<BuiltTree> all[2][3][5][kMaxLog + 1];
  return all[kernels.leaf == 8][static_cast<unsigned>(use)][odd_number(odd)][log]
      .get(building(), [&] { return build(kernels, use, odd, log); })
      .tree;
}

RowTop row_top(const Kernels& kernels, const Shape& shape, std::size_t row, double* storage) {
  const double* roots = storage;
  if (shape.points <= kMaxSharedTops) {
    roots = shared_tops(kernels, shape) + row * top_roots(shape);
  } else {
    fill_roots(storage, shape, row_angle(kernels, shape, row));
  }
  double* const twist = storage + top_roots(shape);
  kernels.make_twist(twist, roots + kFine, roots + kCoarse, shape.cols() / 256);
  return {roots, twist};
}

void prepare_tables(const Kernels& kernels) {
  for (unsigned i = 0; i < length_count() && length_at(i).points <= kMaxSharedTops; ++i) {
    const Length& length = length_at(i);
    const Shape shape(length);
    if (shape.single_row()) {
      (void)shared_tree(kernels, Use::kWhole, length.odd, length.log);
    } else {
      (void)shared_tree(kernels, Use::kColumns, shape.odd, shape.log_rows);
      (void)shared_tree(kernels, Use::kRow, 1, shape.log_cols);
      (void)shared_tops(kernels, shape);
    }
  }
}

}  // namespace nmp::fft
