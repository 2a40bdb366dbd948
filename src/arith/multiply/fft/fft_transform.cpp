#include "arith/multiply/fft/fft_transform.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <numeric>
#include <vector>

#include "foundation/exceptions.h"
#include "parallel/context.h"

namespace nmp::fft {
namespace {

/// Points above which a product is worth several tasks.
constexpr std::size_t kParallelPoints = std::size_t{1} << 14;
/// The bound leaves a rounding error far below 1/2; more than this is a fault.
constexpr double kWorstError = 0.125;

/// out[0, count) += carry * 2^(32 position). Returns what passes the end, in units of
/// 2^(32 count).
std::int64_t add_carry(Word* out, std::size_t count, std::size_t position, std::int64_t carry) {
  for (; carry != 0 && position < count; ++position) {
    carry += out[position];
    out[position] = static_cast<Word>(carry);
    carry >>= kWordBits;
  }
  return carry;
}

/// Running maxima over all lengths.
struct Footprints {
  std::vector<Footprint> upto;
  Footprints() {
    Footprint most = {};
    for (unsigned i = 0; i < length_count() && addressable(length_at(i)); ++i) {
      const Shape shape(length_at(i));
      most.plane = std::max(most.plane, carved_bytes<double>(shape.plane_doubles()));
      most.slot = std::max(most.slot, Transform::need(shape, 1));
      upto.push_back(most);
    }
  }
};

}  // namespace

bool addressable(const Length& length) {
  return length.points <= std::numeric_limits<std::size_t>::max() / 128;
}

Footprint most_up_to(const Length& length) {
  static const Footprints all;
  return all.upto[static_cast<std::size_t>(&length - &length_at(0))];
}

unsigned Transform::slots_for(const Shape& shape, unsigned threads) {
  if (shape.single_row() || shape.points <= kParallelPoints) return 1;
  return std::clamp(threads, 1u, kMaxSlots);
}

void Transform::take(Carver& memory, const Shape& shape, unsigned slots, Slot* slot) {
  if (shape.single_row()) return;
  for (unsigned i = 0; i < slots; ++i) {
    Slot s = {};
    s.top = memory.take<double>(row_top_doubles(shape.log_cols));
    s.carries = memory.take<std::int64_t>(shape.rows() * 2);
    s.worst = memory.take<double>(kBlock);
    if (slot) slot[i] = s;
  }
}

std::size_t Transform::need(const Shape& shape, unsigned slots) {
  Carver sum;
  take(sum, shape, slots, nullptr);
  return sum.bytes();
}

Transform::Transform(Context& context, const Kernels& kernels, const Plan& plan, unsigned slots,
                     Carver& memory)
    : context_(context),
      kernels_(kernels),
      plan_(plan),
      shape_(*plan.length),
      slots_(slots),
      columns_(nullptr),
      scale_(1.0 / static_cast<double>(plan.length->points)) {
  take(memory, shape_, slots_, slot_);
  if (shape_.single_row()) {
    tree_ = &shared_tree(kernels, Use::kWhole, plan.length->odd, plan.length->log);
  } else {
    tree_ = &shared_tree(kernels, Use::kRow, 1, shape_.log_cols);
    columns_ = &shared_tree(kernels, Use::kColumns, shape_.odd, shape_.log_rows);
  }
}

template <typename Body>
void Transform::split(std::size_t count, const Body& body) {
  if (slots_ == 1) return body(std::size_t{0}, count, slot_[0]);
  context_.threads.parallel_for(0, slots_, 1, [&](std::size_t first, std::size_t last) {
    for (std::size_t i = first; i < last; ++i) {
      body(count * i / slots_, count * (i + 1) / slots_, slot_[i]);
    }
  });
}

double Transform::load(double* plane, const Word* words, std::size_t count) {
  const std::size_t half = static_cast<std::size_t>(shape_.points);
  if (shape_.single_row()) {
    const std::size_t blocks = half / kBlock;
    double squares[kBlock] = {};
    kernels_.load(plane, blocks, words, count, 0, plan_.bits, squares);
    kernels_.load(plane + kBlock, blocks, words, count, half, plan_.bits, squares);
    return std::accumulate(squares, squares + kBlock, 0.0);
  }
  double sums[kMaxSlots] = {};
  split(shape_.strips(), [&](std::size_t first, std::size_t last, const Slot& slot) {
    double squares[kBlock] = {};
    for (std::size_t i = first; i < last; ++i) {
      load_strip(plane, words, count, i * shape_.width, squares);
    }
    sums[&slot - slot_] = std::accumulate(squares, squares + kBlock, 0.0);
  });
  return std::accumulate(sums, sums + slots_, 0.0);
}

void Transform::load_strip(double* plane, const Word* words, std::size_t count, std::size_t column,
                           double* squares) const {
  const std::size_t rows = shape_.rows(), blocks = shape_.width / kBlock;
  const std::size_t half = static_cast<std::size_t>(shape_.points);
  double* const strip = plane + 2 * column;
  for (std::size_t row = 0; row < rows; ++row) {
    const std::size_t digit = (row << shape_.log_cols) + column;
    double* const x = strip + row * shape_.stride;
    kernels_.load(x, blocks, words, count, digit, plan_.bits, squares);
    kernels_.load(x + kBlock, blocks, words, count, half + digit, plan_.bits, squares);
  }
  kernels_.forward_columns(strip, blocks, shape_.stride, rows, columns_);
}

void Transform::subtract_one(double* plane) const {
  // A constant is the same in every row.
  for (std::size_t row = 0; row < shape_.rows(); ++row) plane[row * shape_.stride] -= 1;
}

void Transform::finish(double* plane) {
  const std::size_t blocks = shape_.cols() / kBlock;
  if (shape_.single_row()) return kernels_.forward(plane, blocks, tree_);
  split(shape_.rows(), [&](std::size_t first, std::size_t last, const Slot& slot) {
    for (std::size_t row = first; row < last; ++row) {
      const RowTop t = top(row, slot);
      kernels_.forward_row(plane + row * shape_.stride, blocks, &t, tree_);
    }
  });
}

void Transform::multiply(double* z, double* x, double* y) {
  const PointTerm term = {x, y, false};
  transform_and_combine(z, {&term, 1}, x, x == y ? nullptr : y);
}

void Transform::multiply_by_spectrum(double* z, double* x, const double* y) {
  const PointTerm term = {x, y, false};
  transform_and_combine(z, {&term, 1}, x, nullptr);
}

void Transform::combine(double* z, std::span<const PointTerm> terms) {
  transform_and_combine(z, terms, nullptr, nullptr);
}

void Transform::transform_and_combine(double* z, std::span<const PointTerm> terms, double* x,
                                      double* y) {
  const std::size_t blocks = shape_.cols() / kBlock;
  if (shape_.single_row()) {
    if (x) kernels_.forward(x, blocks, tree_);
    if (y) kernels_.forward(y, blocks, tree_);
    kernels_.multiply(z, terms.data(), terms.size(), 0, blocks);
    return kernels_.inverse(z, blocks, tree_);
  }
  split(shape_.rows(), [&](std::size_t first, std::size_t last, const Slot& slot) {
    for (std::size_t row = first; row < last; ++row) {
      const std::size_t at = row * shape_.stride;
      const RowTop t = top(row, slot);
      if (x) kernels_.forward_row(x + at, blocks, &t, tree_);
      if (y) kernels_.forward_row(y + at, blocks, &t, tree_);
      kernels_.multiply(z, terms.data(), terms.size(), at, blocks);
      kernels_.inverse_row(z + at, blocks, &t, tree_);
    }
  });
}

std::int64_t Transform::store(Word* out, std::size_t count, double* plane) {
  const std::size_t half = static_cast<std::size_t>(shape_.points);
  const std::size_t half_words = half / kWordBits * plan_.bits;
  if (shape_.single_row()) {
    const std::size_t blocks = half / kBlock;
    double worst[kBlock] = {};
    const std::int64_t carry = store_digits(out, count, 0, plane, blocks, 0, worst);
    const std::int64_t above = store_digits(out, count, half, plane + kBlock, blocks, carry, worst);
    rounding_error_ = 0;
    note_rounding(worst);
    return above;
  }
  split(shape_.strips(), [&](std::size_t first, std::size_t last, Slot& slot) {
    std::fill_n(slot.carries, 2 * shape_.rows(), 0);
    std::fill_n(slot.worst, kBlock, 0);
    for (std::size_t i = first; i < last; ++i) {
      store_strip(out, count, plane, i * shape_.width, slot);
    }
  });
  rounding_error_ = 0;
  for (unsigned i = 0; i < slots_; ++i) note_rounding(slot_[i].worst);
  std::int64_t above = 0;
  for (unsigned i = 0; i < slots_; ++i) {
    const std::size_t end = shape_.strips() * (i + 1) / slots_ * shape_.width;
    for (std::size_t row = 0; row < shape_.rows(); ++row) {
      const std::size_t at = ((row << shape_.log_cols) + end) / kWordBits * plan_.bits;
      above += add_carry(out, count, at, slot_[i].carries[2 * row]);
      above += add_carry(out, count, half_words + at, slot_[i].carries[2 * row + 1]);
    }
  }
  return above;
}

void Transform::store_strip(Word* out, std::size_t count, double* plane, std::size_t column,
                            Slot& slot) const {
  const std::size_t rows = shape_.rows(), blocks = shape_.width / kBlock;
  const std::size_t half = static_cast<std::size_t>(shape_.points);
  double* const strip = plane + 2 * column;
  kernels_.inverse_columns(strip, blocks, shape_.stride, rows, columns_);
  for (std::size_t row = 0; row < rows; ++row) {
    const std::size_t digit = (row << shape_.log_cols) + column;
    const double* const x = strip + row * shape_.stride;
    std::int64_t* const carry = slot.carries + 2 * row;
    carry[0] = store_digits(out, count, digit, x, blocks, carry[0], slot.worst);
    carry[1] = store_digits(out, count, half + digit, x + kBlock, blocks, carry[1], slot.worst);
  }
}

std::int64_t Transform::store_digits(Word* out, std::size_t count, std::uint64_t digit,
                                     const double* x, std::size_t blocks, std::int64_t carry,
                                     double* worst) const {
  const unsigned bits = plan_.bits;
  const auto put = kernels_.store[bits];
  const std::uint64_t start = digit / kBlock * bits, total = std::uint64_t{count} * sizeof(Word);
  if (start >= total) return 0;
  const std::size_t whole = total - start >= std::uint64_t{blocks} * bits
                                ? blocks
                                : static_cast<std::size_t>((total - start) / bits);
  unsigned char* const bytes = reinterpret_cast<unsigned char*>(out) + start;
  carry = put(bytes, x, whole, carry, scale_, worst);
  const std::size_t left = static_cast<std::size_t>(total - start) - whole * bits;
  if (whole == blocks || left == 0) return carry;
  unsigned char last[kMaxBits];
  put(last, x + whole * kBlockDoubles, 1, carry, scale_, worst);
  std::memcpy(bytes + whole * bits, last, left);
  return 0;
}

void Transform::note_rounding(const double* worst) {
  rounding_error_ = std::max(rounding_error_, *std::max_element(worst, worst + kBlock));
  if (rounding_error_ < kWorstError) return;
  throw AlgorithmFailedException("fft::Transform::store()",
                                 "A rounding error of the transform is too large.");
}

}  // namespace nmp::fft
