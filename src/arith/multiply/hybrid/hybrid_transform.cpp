#include "arith/multiply/hybrid/hybrid_transform.h"

#include <algorithm>

#include "parallel/context.h"

namespace nmp::hybrid {
namespace {

/// The low `bits` bits of x in reverse order.
std::size_t reversed(std::size_t x, unsigned bits) {
  std::size_t result = 0;
  for (; bits > 0; --bits, x >>= 1) result = result << 1 | (x & 1);
  return result;
}

/// Has so many doubles fetched: the rows of a strip are too far apart for the processor to foresee.
/// May reach past the end.
template <bool kWrite, typename T>
void prefetch(const T* x, std::size_t doubles) {
  const char* const bytes = reinterpret_cast<const char*>(x);
  for (std::size_t i = 0; i < doubles * sizeof(double); i += 64)
    __builtin_prefetch(bytes + i, kWrite, 2);
}

/// out[0, count) += carry * 2^(32 position). What lies past the end is zero.
void add_carry(Word* out, std::size_t count, std::size_t position, const Carry& carry) {
  std::uint64_t sum = 0;
  for (unsigned i = 0; position < count && (i < 6 || sum != 0); ++i, ++position) {
    sum += out[position];
    if (i < 6) sum += static_cast<Word>(carry.limb[i / 2] >> (i % 2 * kWordBits));
    out[position] = static_cast<Word>(sum);
    sum >>= kWordBits;
  }
}

}  // namespace

void Transform::take(Carver& memory, const Plan& plan, unsigned slots, Tables (*tables)[2],
                     Slot* slot) {
  if (plan.single_row()) return;
  const unsigned log = plan.log_rows;
  for (unsigned k = 0; k < plan.primes; ++k) {
    for (const Direction direction : {kForward, kInverse}) {
      Tables t;
      t.trees = memory.take<Tree>(plan.odd);
      t.roots = memory.take<double>(log > 0 ? std::size_t{1} << (log - 1) : 1);
      t.scaled = memory.take<double>((plan.odd - 1) * scaled_column_doubles(log));
      t.row_power = memory.take<double>(plan.rows());
      if (tables) tables[k][direction] = t;
    }
  }
  for (unsigned i = 0; i < slots; ++i) {
    Slot s;
    s.row_tree = memory.take<Tree>(2);
    for (double*& scaled : s.scaled)
      scaled = memory.take<double>(scaled_row_doubles(plan.log_cols));
    s.strips = memory.take<double>(plan.primes * plan.rows() * plan.width);
    s.carries = memory.take<Carry>(plan.rows());
    if (slot) slot[i] = s;
  }
}

std::size_t Transform::need(const Plan& plan, unsigned slots) {
  Carver sum;
  take(sum, plan, slots, nullptr, nullptr);
  return sum.bytes();
}

Transform::Transform(Context& context, const Kernels& kernels, const Plan& plan, unsigned slots,
                     Carver& memory)
    : context_(context), kernels_(kernels), fields_(fields(kernels)), plan_(plan), slots_(slots) {
  take(memory, plan_, slots_, tables_, slot_);
  if (plan_.single_row()) return;
  for (unsigned k = 0; k < plan_.primes; ++k) {
    build_tables(k, kForward);
    build_tables(k, kInverse);
  }
}

void Transform::build_tables(unsigned k, Direction direction) {
  const Field& f = field(k);
  const Tables& t = tables_[k][direction];
  const auto& root = f.root[direction];
  const unsigned odd = odd_index(plan_.odd), log = plan_.log_rows;
  kernels_.make_roots(t.roots, log > 0 ? log - 1 : 0, root[0], f.mod);
  kernels_.make_powers(t.row_power, plan_.rows(), root[odd][plan_.log_cols + log], f.mod);
  Tree& first = t.trees[0];
  first.log = log;
  first.half = 1;
  for (Level& level : first.level) level = {t.roots, t.roots};
  first.blocks = nullptr;
  // Part q holds the residues modulo x^(2^log) - s^(2^log), s the q-th power of the root of order
  // rows().
  double s[15];
  kernels_.make_powers(s, plan_.odd, root[odd][log], f.mod);
  for (unsigned q = 1; q < plan_.odd; ++q) {
    kernels_.scale_tree(&t.trees[q], t.scaled + (q - 1) * scaled_column_doubles(log), &first, s[q],
                        f.mod);
  }
}

Columns Transform::columns(unsigned k, Direction direction) const {
  return {plan_.odd, field(k).odd_roots[direction][odd_index(plan_.odd)],
          tables_[k][direction].trees};
}

const Tree* Transform::row_tree(unsigned k, Direction direction, std::size_t row,
                                const Slot& slot) const {
  const Tree* const shared = &field(k).row[direction][plan_.log_cols];
  const std::size_t part = row >> plan_.log_rows;
  const std::size_t node = row & ((std::size_t{1} << plan_.log_rows) - 1);
  const std::size_t exponent = part + plan_.odd * reversed(node, plan_.log_rows);
  if (exponent == 0) return shared;
  Tree* const tree = &slot.row_tree[direction];
  kernels_.scale_tree(tree, slot.scaled[direction], shared,
                      tables_[k][direction].row_power[exponent], field(k).mod);
  return tree;
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

void Transform::load(unsigned k, double* plane, const Word* words, std::size_t count) {
  if (plan_.single_row()) {
    kernels_.load(plane, plan_.points(), words, count, field(k).mod);
    return;
  }
  split(plan_.strips(), [&](std::size_t first, std::size_t last, const Slot& slot) {
    for (std::size_t i = first; i < last; ++i) {
      load_strip(k, plane, words, count, i * plan_.width, slot.strips);
    }
  });
}

void Transform::load_strip(unsigned k, double* plane, const Word* words, std::size_t count,
                           std::size_t column, double* strip) const {
  const std::size_t rows = plan_.rows(), width = plan_.width;
  std::size_t filled = 0;
  const auto first_word = [&](std::size_t row) {
    return std::min(count, ((row << plan_.log_cols) + column) * kWordsPerDigit);
  };
  while (filled < rows && first_word(filled) < count) ++filled;
  const std::size_t read = reads_half(plan_.odd, plan_.log_rows, filled) ? rows / 2 : rows;
  for (std::size_t row = 0; row < rows; ++row) {
    const std::size_t at = first_word(row);
    if (row < read) kernels_.load(strip + row * width, width, words + at, count - at, field(k).mod);
    prefetch<true>(plane + row * plan_.stride + column, width);
    if (at < count) prefetch<false>(words + at + width * kWordsPerDigit, width);
  }
  const Columns c = columns(k, kForward);
  kernels_.forward_columns(strip, width, filled, plane + column, plan_.stride, &c, field(k).mod);
}

void Transform::forward_rows(unsigned k, double* plane) {
  split(plan_.rows(), [&](std::size_t first, std::size_t last, const Slot& slot) {
    for (std::size_t row = first; row < last; ++row) {
      kernels_.forward_row(plane + row * plan_.stride, row_tree(k, kForward, row, slot),
                           field(k).mod);
    }
  });
}

void Transform::product_rows(unsigned k, double* a, double* b, bool transform_b) {
  const Modulus mod = field(k).mod;
  const double factor = field(k).inverse_of_length(plan_.odd, plan_.log_rows + plan_.log_cols);
  split(plan_.rows(), [&](std::size_t first, std::size_t last, const Slot& slot) {
    for (std::size_t row = first; row < last; ++row) {
      double* const x = a + row * plan_.stride;
      double* const y = b + row * plan_.stride;
      const Tree* const forward = row_tree(k, kForward, row, slot);
      kernels_.forward_row(x, forward, mod);
      if (transform_b) kernels_.forward_row(y, forward, mod);
      kernels_.multiply(x, y, plan_.cols(), factor, mod);
      kernels_.inverse_row(x, row_tree(k, kInverse, row, slot), mod);
    }
  });
}

void Transform::store(Word* out, std::size_t count, double* const* planes) {
  if (plan_.single_row()) {
    Carry carry = {};
    store_digits(out, count, 0, planes, plan_.points(), &carry);
    return;
  }
  split(plan_.strips(), [&](std::size_t first, std::size_t last, const Slot& slot) {
    std::fill_n(slot.carries, plan_.rows(), Carry{});
    for (std::size_t i = first; i < last; ++i) {
      store_strip(out, count, planes, i * plan_.width, slot);
    }
  });
  for (unsigned i = 0; i < slots_; ++i) {
    const std::size_t end = plan_.strips() * (i + 1) / slots_ * plan_.width;
    for (std::size_t row = 0; row < plan_.rows(); ++row) {
      add_carry(out, count, ((row << plan_.log_cols) + end) * kWordsPerDigit,
                slot_[i].carries[row]);
    }
  }
}

void Transform::store_strip(Word* out, std::size_t count, double* const* planes, std::size_t column,
                            const Slot& slot) const {
  const std::size_t rows = plan_.rows(), width = plan_.width;
  for (unsigned k = 0; k < plan_.primes; ++k) {
    double* const strip = slot.strips + k * rows * width;
    const Columns c = columns(k, kInverse);
    kernels_.inverse_columns(strip, width, rows, planes[k] + column, plan_.stride, &c,
                             field(k).mod);
  }
  for (std::size_t row = 0; row < rows; ++row) {
    const double* r[kMaxPrimes];
    for (unsigned k = 0; k < plan_.primes; ++k) r[k] = slot.strips + (k * rows + row) * width;
    for (unsigned k = 0; k < plan_.primes; ++k)
      prefetch<false>(planes[k] + row * plan_.stride + column + width, width);
    store_digits(out, count, (row << plan_.log_cols) + column, r, width, &slot.carries[row]);
  }
}

void Transform::store_digits(Word* out, std::size_t count, std::size_t digit,
                             const double* const* r, std::size_t n, Carry* carry) const {
  constexpr std::size_t kGroup = 4;
  const std::size_t at = digit * kWordsPerDigit;
  if (at >= count) return;
  const auto store = kernels_.store[plan_.primes - 3];
  const std::size_t whole = std::min(n, (count - at) / kWordsPerDigit / kGroup * kGroup);
  store(out + at, r, whole, carry, &fields_.garner);
  const std::size_t written = at + whole * kWordsPerDigit;
  if (whole == n || written == count) return;
  const double* rest[kMaxPrimes];
  for (unsigned k = 0; k < plan_.primes; ++k) rest[k] = r[k] + whole;
  Word last[kGroup * kWordsPerDigit];
  store(last, rest, kGroup, carry, &fields_.garner);
  std::copy_n(last, count - written, out + written);
}

}  // namespace nmp::hybrid
