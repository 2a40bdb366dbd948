#include "arith/multiply/ntt32/ntt32_transform.h"

#include <algorithm>

#include "foundation/exceptions.h"
#include "parallel/context.h"

namespace nmp::n32 {
namespace {

/// Points of a plane from which its passes are worth several tasks, and points of a task.
constexpr std::size_t kParallelPoints = std::size_t{1} << 16, kTaskPoints = std::size_t{1} << 13;

/// The low `bits` bits of x in reverse order.
std::uint64_t reversed(std::uint64_t x, unsigned bits) {
  std::uint64_t result = 0;
  for (; bits > 0; --bits, x >>= 1) result = result << 1 | (x & 1);
  return result;
}

/// One plane's transform.
class Pass {
 public:
  Pass(Context& context, const Kernels& kernels, const Field& field, std::uint32_t* plane,
       Length length, Direction direction)
      : context_(context),
        kernels_(kernels),
        field_(field),
        p_(field.p()),
        x_(plane),
        length_(length),
        direction_(direction),
        twiddles_(field.twiddles(direction)),
        part_(std::size_t{1} << length.log),
        leaf_log_(std::min(length.log, kLeafLog)) {}

  void forward() {
    if (length_.odd == 3) {
      thirds();
      twist_parts();
    }
    for (std::uint32_t q = 0; q < length_.odd; ++q) {
      std::uint32_t* const x = x_ + q * part_;
      std::size_t size = part_, nodes = 1;
      if (has_halves()) {
        size /= 2, nodes = 2;
        halves(x, size, kernels_.split2);
      }
      for (; size > leaf(); size /= 4, nodes *= 4) level(x, nodes, size, kernels_.split4);
    }
    leaves([&](std::uint32_t* x, std::size_t node) {
      twist_leaf(x, node);
      kernels_.split_leaf(x, leaf_log_, twiddles_, p_);
    });
  }

  void inverse() {
    leaves([&](std::uint32_t* x, std::size_t node) {
      kernels_.join_leaf(x, leaf_log_, twiddles_, p_);
      twist_leaf(x, node);
    });
    for (std::uint32_t q = 0; q < length_.odd; ++q) {
      std::uint32_t* const x = x_ + q * part_;
      const std::size_t most = has_halves() ? part_ / 2 : part_;
      for (std::size_t size = leaf(), nodes = part_ / leaf(); size < most;) {
        size *= 4, nodes /= 4;
        level(x, nodes, size, kernels_.join4);
      }
      if (has_halves()) halves(x, most, kernels_.join2);
    }
    if (length_.odd == 3) {
      twist_parts();
      thirds();
    }
  }

 private:
  std::size_t leaf() const { return std::size_t{1} << leaf_log_; }
  bool has_halves() const { return (length_.log - leaf_log_) % 2 != 0; }

  void thirds() {
    const Factor w = make_factor(field_.root(direction_, 3, 1), p_);
    share(context_, part_, kTaskPoints, [&](std::size_t first, std::size_t last) {
      kernels_.thirds(x_, part_, first, last, w, p_);
    });
  }
  /// Part q is x^m - w^q: with s^m = w^q and x = s y it becomes y^m - 1.
  void twist_parts() {
    for (std::uint32_t q = 1; q < 3; ++q) {
      const std::uint32_t s = field_.root(direction_, 3u << length_.log, q);
      share(context_, part_, kTaskPoints, [&](std::size_t first, std::size_t last) {
        kernels_.twist(x_ + q * part_ + first, last - first, field_.power(s, first), s, p_);
      });
    }
  }
  template <typename Kernel>
  void halves(std::uint32_t* x, std::size_t half, Kernel kernel) {
    share(context_, half, kTaskPoints,
          [&](std::size_t first, std::size_t last) { kernel(x, half, first, last, p_); });
  }
  /// All nodes of a level: the quarters of all of them one after the other are shared out.
  template <typename Kernel>
  void level(std::uint32_t* x, std::size_t nodes, std::size_t size, Kernel kernel) {
    const std::size_t quarter = size / 4;
    share(context_, nodes * quarter, kTaskPoints / 4, [&](std::size_t first, std::size_t last) {
      while (first < last) {
        const std::size_t node = first / quarter, from = first % quarter;
        const std::size_t to = std::min(quarter, from + (last - first));
        kernel(x + node * size, quarter, from, to, twiddles_.nodes, node, p_);
        first += to - from;
      }
    });
  }
  template <typename Body>
  void leaves(const Body& body) {
    const std::size_t in_part = part_ / leaf();
    share(context_, length_.points(), leaf(), [&](std::size_t first, std::size_t last) {
      for (std::size_t i = first / leaf(); i < last / leaf(); ++i)
        body(x_ + i * leaf(), i % in_part);
    });
  }
  /// Node j of the leaves' level is x^m - r with r = e(reversed(j) / 2^k).
  void twist_leaf(std::uint32_t* x, std::size_t node) const {
    if (node == 0) return;
    const unsigned levels = length_.log - leaf_log_;
    const std::uint32_t s =
        field_.root(direction_, std::uint32_t{1} << length_.log, reversed(node, levels));
    kernels_.twist(x, leaf(), 1, s, p_);
  }

  Context& context_;
  const Kernels& kernels_;
  const Field& field_;
  const std::uint32_t p_;
  std::uint32_t* const x_;
  const Length length_;
  const Direction direction_;
  const Twiddles twiddles_;
  const std::size_t part_;
  const unsigned leaf_log_;
};

}  // namespace

Length Length::holding(std::uint64_t points) {
  Length best{3, kMaxLog};
  if (points > best.points())
    throw LimitExceededException("n32::Length::holding()",
                                 "No transform is long enough for this product.", points,
                                 best.points());
  for (unsigned log = kLeastLeafLog; log <= kMaxLog; ++log) {
    for (const std::uint32_t odd : {1u, 3u}) {
      const Length length{odd, log};
      if (length.points() >= points && length.points() < best.points()) best = length;
    }
  }
  return best;
}

void share(Context& context, std::size_t n, std::size_t grain,
           const std::function<void(std::size_t, std::size_t)>& body) {
  if (n < kParallelPoints || context.threads.threads() == 1) return body(0, n);
  context.threads.parallel_for(0, n, grain, body);
}

void forward(Context& context, const Kernels& kernels, const Field& field, std::uint32_t* plane,
             Length length) {
  Pass(context, kernels, field, plane, length, kForward).forward();
}

void inverse(Context& context, const Kernels& kernels, const Field& field, std::uint32_t* plane,
             Length length) {
  Pass(context, kernels, field, plane, length, kInverse).inverse();
}

}  // namespace nmp::n32
