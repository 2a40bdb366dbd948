#include "arith/multiply/vector/vector_transform.h"

#include <algorithm>
#include <atomic>

#include "parallel/context.h"

namespace nmp::vector {
namespace {

using hybrid::Columns;
using hybrid::Direction;
using hybrid::Field;
using hybrid::kForward;
using hybrid::kInverse;
using hybrid::Modulus;
using hybrid::Need;
using hybrid::odd_index;
using hybrid::Tree;
using hybrid::WideCarry;

/// Points from which a product is worth several tasks.
constexpr std::size_t kParallelPoints = std::size_t{1} << 14;

/// A tree of columns with z = 1. Twiddles of all lengths begin alike, so rows and columns share
/// them.
Tree plain_tree(const Field& f, Direction direction, unsigned log) {
  Tree tree = f.row[direction][hybrid::kMinLogRow];
  tree.log = log;
  tree.blocks = nullptr;
  return tree;
}

/// The root of order odd * 2^log to a power, as a residue at most p / 2 in magnitude.
double power_of_root(const Field& f, Direction direction, unsigned odd, unsigned log,
                     std::uint64_t exponent) {
  const double root = f.root[direction][odd_index(odd)][log];
  const double positive = root < 0 ? root + f.mod.p : root;
  return f.centred(f.power(static_cast<std::uint64_t>(positive), exponent));
}

/// out[0, count) += carry * 2^(32 position); nothing passes the end.
void add_carry(Word* out, std::size_t count, std::size_t position, const WideCarry& carry) {
  constexpr unsigned kWords = 2 * sizeof carry.limb / sizeof carry.limb[0];
  std::uint64_t sum = 0;
  for (unsigned i = 0; (i < kWords || sum != 0) && position < count; ++i, ++position) {
    if (i < kWords) sum += static_cast<Word>(carry.limb[i / 2] >> (i % 2 * kWordBits));
    sum += out[position];
    out[position] = static_cast<Word>(sum);
    sum >>= kWordBits;
  }
}

/// Doubles for the strips of one task: those of every level, or two rows.
std::size_t strip_doubles(const Plan& plan) {
  std::size_t most = std::max(plan.primes() * plan.rows(0) * plan.width[0], 2 * plan.cols());
  for (unsigned i = 1; i < plan.levels; ++i) most = std::max(most, plan.rows(i) * plan.width[i]);
  return most;
}

}  // namespace

void Transform::take(Carver& memory, const Plan& plan, unsigned slots, Tree* (*trees)[2],
                     Slot* slot) {
  for (unsigned k = 0; k < plan.primes(); ++k)
    for (const Direction direction : {kForward, kInverse}) {
      Tree* const t = memory.take<Tree>(plan.odd);
      double* const scaled =
          memory.take<double>((plan.odd - 1) * hybrid::scaled_column_doubles(plan.log[0]));
      if (!trees) continue;
      trees[k][direction] = t;
      t[0].blocks = scaled;  // until the trees are built
    }
  const unsigned log = *std::max_element(plan.log, plan.log + plan.levels);
  for (unsigned i = 0; i < slots; ++i) {
    Slot s;
    s.trees = memory.take<Tree>(3);
    for (unsigned t = 0; t < 2; ++t)
      s.scaled[t] = memory.take<double>(hybrid::scaled_row_doubles(plan.log_cols));
    s.scaled[2] = memory.take<double>(hybrid::scaled_column_doubles(log));
    s.strips = memory.take<double>(strip_doubles(plan));
    s.carries = memory.take<WideCarry>(kPiecesPerSlot * plan.rows(0));
    if (slot) slot[i] = s;
  }
}

unsigned Transform::slots_for(const Plan& plan, unsigned threads) {
  return plan.points() < kParallelPoints ? 1 : std::clamp(threads, 1u, kMaxSlots);
}

Need Transform::need(const Plan& plan) {
  const auto bytes = [&](unsigned slots) {
    Carver total;
    take(total, plan, slots, nullptr, nullptr);
    return total.bytes();
  };
  const std::size_t one = bytes(1), slot = one - bytes(0);
  return slots_for(plan, 2) == 1 ? Need{one, 0} : Need{one - slot, slot};
}

Transform::Transform(Context& context, const hybrid::Kernels& kernels, const Plan& plan,
                     Carver& memory)
    : context_(context),
      kernels_(kernels),
      fields_(vector::fields(kernels)),
      plan_(plan),
      slots_(slots_for(plan, context.threads.threads())) {
  take(memory, plan_, slots_, trees_, slot_);
  for (unsigned k = 0; k < plan_.primes(); ++k) {
    build_trees(k, kForward);
    build_trees(k, kInverse);
  }
}

void Transform::build_trees(unsigned k, Direction direction) {
  const Field& f = field(k);
  Tree* const trees = trees_[k][direction];
  double* scaled = const_cast<double*>(trees[0].blocks);
  trees[0] = plain_tree(f, direction, plan_.log[0]);
  // Part q holds the residues modulo x^n - s^n, n = 2^log[0], s the q-th power of the root of
  // order rows(0).
  for (unsigned q = 1; q < plan_.odd; ++q) {
    const double s = power_of_root(f, direction, plan_.odd, plan_.log[0], q);
    kernels_.scale_tree(&trees[q], scaled, &trees[0], s, f.mod);
    scaled += hybrid::scaled_column_doubles(plan_.log[0]);
  }
}

Columns Transform::columns(unsigned k, Direction direction, const Tree* trees, unsigned odd) const {
  return {odd, field(k).odd_roots[direction][odd_index(odd)], trees};
}

template <typename Body>
void Transform::split(std::size_t count, const Body& body) {
  if (slots_ == 1) return body(Piece{0, count, 0}, slot_[0]);
  // Slots take pieces as they get through them: one that others keep waiting takes fewer.
  const std::size_t pieces = pieces_of(count);
  std::atomic<std::size_t> next = 0;
  context_.threads.parallel_for(0, slots_, 1, [&](std::size_t first, std::size_t last) {
    for (std::size_t i = first; i < last; ++i)
      for (std::size_t p; (p = next.fetch_add(1, std::memory_order_relaxed)) < pieces;)
        body(Piece{count * p / pieces, count * (p + 1) / pieces, p}, slot_[i]);
  });
}

std::size_t Transform::pieces_of(std::size_t count) const {
  return slots_ == 1 ? 1 : std::min<std::size_t>(count, slots_ * kPiecesPerSlot);
}

Strip Transform::strip(unsigned level, std::size_t number) const {
  const std::size_t run = plan_.run(level), width = plan_.width[level];
  const std::size_t block = number / (run / width), column = number % (run / width) * width;
  const std::size_t row = block * plan_.rows(level) * (run >> plan_.log_cols);
  const std::size_t at = plan_.place(row + (column >> plan_.log_cols));
  return {at + (column & (plan_.cols() - 1)), plan_.rows(level), plan_.stride[level], width};
}

void Transform::load(unsigned k, Plane& plane, const Word* words, std::size_t count) {
  split(plan_.strips(0), [&](const Piece& piece, const Slot& slot) {
    for (std::size_t i = piece.first; i < piece.last; ++i)
      load_strip(k, plane, words, count, i, slot.strips);
  });
  for (unsigned level = 1; level < plan_.levels; ++level) inner_level(k, plane, level, kForward);
}

void Transform::load_strip(unsigned k, Plane& plane, const Word* words, std::size_t count,
                           std::size_t number, double* buffer) const {
  const std::size_t width = plan_.width[0], run = plan_.run(0);
  const Modulus mod = field(k).mod;
  const auto first_word = [&](std::size_t row) {
    return plan_.word_of(row * run + number * width);
  };
  std::size_t filled = 0;
  while (filled < plan_.rows(0) && first_word(filled) < count) ++filled;
  const bool half = hybrid::reads_half(plan_.odd, plan_.log[0], filled);
  const std::size_t rows = half ? plan_.rows(0) / 2 : plan_.rows(0);
  const hybrid::LoadDigits load_digits = kernels_.load_wide[plan_.format];
  for (std::size_t row = 0; row < rows; ++row)
    load_digits(buffer + row * width, width, words, first_word(row), count, mod);
  const Columns c = columns(k, kForward, trees_[k][kForward], plan_.odd);
  kernels_.forward_columns(buffer, width, filled, buffer, width, &c, mod);
  plane.write(strip(0, number), buffer);
}

const Tree* Transform::block_tree(unsigned k, Direction direction, unsigned level,
                                  std::size_t block, const Slot& slot) const {
  const Field& f = field(k);
  Tree* const tree = &slot.trees[2];
  const Tree plain = plain_tree(f, direction, plan_.log[level]);
  const std::size_t exponent = plan_.exponent(level, block);
  if (exponent == 0) {
    *tree = plain;
    return tree;
  }
  unsigned log = 0;  // of the order of the root: rows(level) * blocks(level)
  for (unsigned i = 0; i <= level; ++i) log += plan_.log[i];
  const double s = power_of_root(f, direction, plan_.odd, log, exponent);
  kernels_.scale_tree(tree, slot.scaled[2], &plain, s, f.mod);
  return tree;
}

void Transform::inner_level(unsigned k, Plane& plane, unsigned level, Direction direction) {
  const std::size_t strips = plan_.strips(level), in_block = strips / plan_.blocks(level);
  const auto transform =
      direction == kForward ? kernels_.forward_columns : kernels_.inverse_columns;
  split(strips, [&](const Piece& piece, const Slot& slot) {
    Columns c = {};
    for (std::size_t i = piece.first; i < piece.last; ++i) {
      if (!c.trees || i % in_block == 0)
        c = columns(k, direction, block_tree(k, direction, level, i / in_block, slot), 1);
      const Strip s = strip(level, i);
      double* const x = plane.read(s, slot.strips);
      transform(x, s.width, s.runs, x, s.width, &c, field(k).mod);
      plane.write(s, x);
    }
  });
}

const Tree* Transform::row_tree(unsigned k, Direction direction, std::size_t row,
                                const Slot& slot) const {
  const Field& f = field(k);
  const Tree* const shared = &f.row[direction][plan_.log_cols];
  const std::size_t exponent = plan_.exponent(plan_.levels, row);
  if (exponent == 0) return shared;
  Tree* const tree = &slot.trees[direction];
  const double s = power_of_root(f, direction, plan_.odd, plan_.log_points(), exponent);
  kernels_.scale_tree(tree, slot.scaled[direction], shared, s, f.mod);
  return tree;
}

void Transform::multiply(unsigned k, Plane& a, Plane& b, bool transform_b) {
  split(plan_.all_rows(), [&](const Piece& piece, const Slot& slot) {
    for (std::size_t row = piece.first; row < piece.last; ++row)
      multiply_row(k, a, b, transform_b, row, slot);
  });
  for (unsigned level = plan_.levels; level-- > 1;) inner_level(k, a, level, kInverse);
}

void Transform::multiply_row(unsigned k, Plane& a, Plane& b, bool transform_b, std::size_t row,
                             const Slot& slot) const {
  const Field& f = field(k);
  const Strip s = {plan_.place(row), 1, 0, plan_.cols()};
  const Tree* const forward = row_tree(k, kForward, row, slot);
  double* const x = a.read(s, slot.strips);
  double* const y = &b == &a ? x : b.read(s, slot.strips + plan_.cols());
  kernels_.forward_row(x, forward, f.mod);
  if (y != x && transform_b) {
    kernels_.forward_row(y, forward, f.mod);
    b.write(s, y);
  }
  const double factor = f.inverse_of_length[odd_index(plan_.odd)][plan_.log_points()];
  kernels_.multiply(x, x, y, plan_.cols(), factor, f.mod);
  kernels_.inverse_row(x, row_tree(k, kInverse, row, slot), f.mod);
  a.write(s, x);
}

void Transform::store(Word* out, std::size_t count, const Plane* planes) {
  const std::size_t rows = plan_.rows(0), strips = plan_.strips(0), pieces = pieces_of(strips);
  split(strips, [&](const Piece& piece, const Slot& slot) {
    WideCarry* const carries = carries_of(piece.number);
    std::fill_n(carries, rows, WideCarry{});
    for (std::size_t i = piece.first; i < piece.last; ++i)
      store_strip(out, count, planes, i, slot.strips, carries);
  });
  for (std::size_t i = 0; i < pieces; ++i) {
    const std::size_t end = strips * (i + 1) / pieces * plan_.width[0];
    for (std::size_t row = 0; row < rows; ++row)
      add_carry(out, count, plan_.word_of(row * plan_.run(0) + end), carries_of(i)[row]);
  }
}

void Transform::store_strip(Word* out, std::size_t count, const Plane* planes, std::size_t number,
                            double* buffer, WideCarry* carries) const {
  const Strip s = strip(0, number);
  const std::size_t size = s.runs * s.width;
  const double* x[hybrid::kWidePrimes];
  for (unsigned k = 0; k < plan_.primes(); ++k) {
    double* const y = planes[k].read(s, buffer + k * size);
    const Columns c = columns(k, kInverse, trees_[k][kInverse], plan_.odd);
    kernels_.inverse_columns(y, s.width, s.runs, y, s.width, &c, field(k).mod);
    x[k] = y;
  }
  for (std::size_t row = 0; row < s.runs; ++row) {
    store_digits(out, count, row * plan_.run(0) + number * s.width, x, s.width, &carries[row]);
    for (unsigned k = 0; k < plan_.primes(); ++k) x[k] += s.width;
  }
}

void Transform::store_digits(Word* out, std::size_t count, std::size_t digit,
                             const double* const* r, std::size_t n, WideCarry* carry) const {
  constexpr std::size_t kGroup = 16;
  const std::size_t at = plan_.word_of(digit);
  if (at >= count) return;
  const hybrid::StoreWide to_words = kernels_.store_wide[plan_.format];
  const std::size_t whole = std::min(n, (count - at) / plan_.word_of(kGroup) * kGroup);
  to_words(out + at, r, whole, carry, &fields_.garner);
  const std::size_t written = at + plan_.word_of(whole);
  if (whole == n || written == count) return;
  const double* rest[hybrid::kWidePrimes];
  for (unsigned k = 0; k < plan_.primes(); ++k) rest[k] = r[k] + whole;
  Word last[kGroup * kMaxWordsPerDigit];
  to_words(last, rest, kGroup, carry, &fields_.garner);
  std::copy_n(last, count - written, out + written);
}

}  // namespace nmp::vector
