#include "arith/multiply/hybrid/hybrid_transform.h"

#include <algorithm>
#include <atomic>

#include "parallel/context.h"

namespace nmp::hybrid {
namespace {

/// Points from which a product is worth several tasks.
constexpr std::size_t kParallelPoints = std::size_t{1} << 16;

/// Where the loops for digits of 11, 13 and 14 bytes are.
constexpr unsigned long_index(unsigned bytes) { return bytes == 11 ? 0 : bytes - 12; }

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

/// out[0, count) += carry * 2^(32 position). What passes the end is lost, or comes back at the
/// start where the number is cyclic.
void add_carry(Word* out, std::size_t count, std::size_t position, const Carry& carry,
               bool cyclic) {
  constexpr unsigned kWords = 2 * sizeof carry.limb / sizeof carry.limb[0];
  std::uint64_t sum = 0;
  for (unsigned i = 0; i < kWords || sum != 0; ++i, ++position) {
    if (position >= count) {
      if (!cyclic) return;
      position = 0;
    }
    if (i < kWords) sum += static_cast<Word>(carry.limb[i / 2] >> (i % 2 * kWordBits));
    if (sum == 0) continue;
    sum += out[position];
    out[position] = static_cast<Word>(sum);
    sum >>= kWordBits;
  }
}

}  // namespace

void Transform::take(Carver& memory, const Plan& plan, unsigned slots, unsigned sum,
                     Tables (*tables)[2], Slot* slot) {
  const unsigned log = plan.log_rows;
  for (unsigned k = 0; k < plan.primes && !plan.single_row(); ++k) {
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
    Slot s = {};
    if (sum > 1) s.row = memory.take<double>(plan.cols());
    if (!plan.single_row()) {
      s.row_tree = memory.take<Tree>(2);
      for (double*& scaled : s.scaled)
        scaled = memory.take<double>(scaled_row_doubles(plan.log_cols));
      s.strips = memory.take<double>(plan.primes * plan.rows() * plan.width);
      s.carries = memory.take<Carry>(kPiecesPerSlot * plan.rows());
    }
    if (slot) slot[i] = s;
  }
}

unsigned Transform::slots_for(const Plan& plan, unsigned threads) {
  if (plan.single_row() || plan.points() < kParallelPoints) return 1;
  return std::clamp(threads, 1u, kMaxSlots);
}

Need Transform::need(const Plan& plan, unsigned sum) {
  const auto bytes = [&](unsigned slots) {
    Carver total;
    take(total, plan, slots, sum, nullptr, nullptr);
    return total.bytes();
  };
  const std::size_t one = bytes(1), slot = one - bytes(0);
  return slots_for(plan, 2) == 1 ? Need{one, 0} : Need{one - slot, slot};
}

Transform::Transform(Context& context, const Kernels& kernels, const Plan& plan, unsigned sum,
                     Carver& memory)
    : context_(context),
      kernels_(kernels),
      fields_(hybrid::fields(kernels)),
      plan_(plan),
      format_(kFormats[plan.format]),
      sum_(sum),
      slots_(slots_for(plan, context.threads.threads())) {
  take(memory, plan_, slots_, sum, tables_, slot_);
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

void Transform::load_digits(unsigned k, double* out, std::size_t digits, const Word* words,
                            std::size_t at, std::size_t count) const {
  const Modulus mod = field(k).mod;
  if (format_.bytes > 8) {
    kernels_.load_long[long_index(format_.bytes)](out, digits, words, at, count, mod);
  } else if (format_.balanced) {
    kernels_.load_balanced(out, digits, words, at, count, mod);
    // What the last digit carries wraps around.
    if (at == 0 && count == plan_.words()) out[0] += words[count - 1] >> (kWordBits - 1);
  } else {
    at = std::min(at, count);
    kernels_.load(out, digits, words + at, count - at, mod);
  }
}

StoreDigits Transform::store_loop() const {
  return format_.bytes > 8 ? kernels_.store_long[long_index(format_.bytes)] : kernels_.store;
}

template <typename Body>
void Transform::split(std::size_t count, const Body& body) {
  const std::size_t pieces = pieces_of(count);
  if (slots_ == 1) return body(Piece{0, count, 0}, slot_[0]);
  // Slots take pieces as they get through them: one that others keep waiting takes fewer.
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

void Transform::load(unsigned k, std::span<const Operand> operands) {
  if (plan_.single_row()) {
    for (const Operand& x : operands) load_digits(k, x.plane, plan_.points(), x.words, 0, x.count);
    return;
  }
  const std::size_t strips = plan_.strips();
  split(operands.size() * strips, [&](const Piece& piece, const Slot& slot) {
    for (std::size_t i = piece.first; i < piece.last; ++i) {
      const Operand& x = operands[i / strips];
      load_strip(k, x.plane, x.words, x.count, i % strips * plan_.width, slot.strips);
    }
  });
}

void Transform::load_strip(unsigned k, double* plane, const Word* words, std::size_t count,
                           std::size_t column, double* strip) const {
  const std::size_t rows = plan_.rows(), width = plan_.width;
  std::size_t filled = 0;
  const auto first_word = [&](std::size_t row) {
    return plan_.word_of((row << plan_.log_cols) + column);
  };
  // A signed digit may carry into the next one.
  while (filled < rows && first_word(filled) < count + 2) ++filled;
  const std::size_t read = reads_half(plan_.odd, plan_.log_rows, filled) ? rows / 2 : rows;
  for (std::size_t row = 0; row < rows; ++row) {
    const std::size_t at = first_word(row);
    if (row < read) load_digits(k, strip + row * width, width, words, at, count);
    prefetch<true>(plane + row * plan_.stride + column, width);
    if (at < count) prefetch<false>(words + at + plan_.word_of(width), plan_.word_of(width) / 2);
  }
  const Columns c = columns(k, kForward);
  kernels_.forward_columns(strip, width, filled, plane + column, plan_.stride, &c, field(k).mod);
}

void Transform::multiply(unsigned k, double* target, const PlaneTerm* terms, std::size_t count) {
  const double bias = bias_of(k, terms, count);
  split(plan_.rows(), [&](const Piece& piece, const Slot& slot) {
    for (std::size_t row = piece.first; row < piece.last; ++row)
      multiply_row(k, row, target, terms, count, row == 0 ? bias : 0, slot);
  });
}

double Transform::bias_of(unsigned k, const PlaneTerm* terms, std::size_t count) const {
  std::size_t products = 0;  // that may take a coefficient below zero
  for (std::size_t i = 0; i < count; ++i) products += format_.balanced || terms[i].negative;
  if (products == 0) return 0;
  const std::uint64_t digits =
      std::min<std::uint64_t>(plan_.points(), capacity(plan_.format) / sum_);
  return field(k).centred(field(k).multiply(products * digits, field(k).bias[plan_.format]));
}

void Transform::multiply_row(unsigned k, std::size_t row, double* target, const PlaneTerm* terms,
                             std::size_t count, double bias, const Slot& slot) {
  const Modulus mod = field(k).mod;
  const std::size_t at = row * plan_.stride, cols = plan_.cols();
  const double factor =
      field(k).inverse_of_length[odd_index(plan_.odd)][plan_.log_rows + plan_.log_cols];
  const Tree* forward = nullptr;
  const auto transform = [&](double* x) {
    if (!forward) forward = row_tree(k, kForward, row, slot);
    kernels_.forward_row(x, forward, mod);
  };
  bool target_is_needed = false;  // after the first term
  for (std::size_t i = 0; i < count; ++i) {
    if (terms[i].transform_a) transform(terms[i].a + at);
    if (terms[i].transform_b) transform(terms[i].b + at);
    if (i > 0 && (terms[i].a == target || terms[i].b == target)) target_is_needed = true;
  }
  double* const x = target_is_needed ? slot.row : target + at;
  for (std::size_t i = 0; i < count; ++i) {
    const PlaneTerm& t = terms[i];
    const auto product = i == 0 ? kernels_.multiply : kernels_.multiply_add;
    product(x, t.a + at, t.b + at, cols, t.negative ? -factor : factor, mod);
  }
  // The first point of the first row is where the transform is the sum of all coefficients: what
  // is added there spreads to every coefficient.
  x[0] += bias;
  kernels_.inverse_row(x, row_tree(k, kInverse, row, slot), mod);
  if (target_is_needed) std::copy_n(x, cols, target + at);
}

void Transform::store(Word* out, std::size_t count, double* const* planes, Range range) {
  const bool cyclic = range == Range::kWraps && count == plan_.words();
  Carry wraps = {};
  Carry* const top = range == Range::kWraps && !cyclic ? &wraps : nullptr;
  if (plan_.single_row()) {
    Carry carry = {};
    store_digits(out, count, 0, planes, plan_.points(), &carry);
    if (cyclic) add_carry(out, count, 0, carry, true);
    if (top) count_wraps(planes, plan_.points(), top);
  } else {
    const std::size_t rows = plan_.rows(), pieces = pieces_of(plan_.strips());
    split(plan_.strips(), [&](const Piece& piece, const Slot& slot) {
      Carry* const carries = carries_of(piece.number);
      std::fill_n(carries, rows, Carry{});
      for (std::size_t i = piece.first; i < piece.last; ++i)
        store_strip(out, count, planes, i * plan_.width, slot, carries,
                    i + 1 == plan_.strips() ? top : nullptr);
    });
    for (std::size_t i = 0; i < pieces; ++i) {
      const std::size_t end = plan_.strips() * (i + 1) / pieces * plan_.width;
      for (std::size_t row = 0; row < rows; ++row)
        add_carry(out, count, plan_.word_of((row << plan_.log_cols) + end), carries_of(i)[row],
                  cyclic);
    }
  }
  if (top) add_carry(out, count, 0, wraps, false);
  if (cyclic && std::all_of(out, out + count, [](Word w) { return w == static_cast<Word>(-1); }))
    std::fill_n(out, count, Word{0});
}

void Transform::store_strip(Word* out, std::size_t count, double* const* planes, std::size_t column,
                            const Slot& slot, Carry* carries, Carry* wraps) {
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
    store_digits(out, count, (row << plan_.log_cols) + column, r, width, &carries[row]);
    if (wraps && row + 1 == rows) count_wraps(r, width, wraps);
  }
}

// The integer is the residue plus wraps * (2^(32 words()) - 1), and the residue is below
// 2^(32 words() - 32). So its top word is zeros, or, where less than the wraps is left below, ones:
// a carry from digits that are not looked at here cannot change which.
void Transform::count_wraps(const double* const* r, std::size_t n, Carry* wraps) const {
  constexpr std::size_t kDigits = 16;
  const double* last[kMaxPrimes];
  for (unsigned k = 0; k < plan_.primes; ++k) last[k] = r[k] + (n - kDigits);
  Word top[kDigits * kMaxWordsPerDigit];
  store_loop()(top, last, kDigits, wraps, &fields_.garner);
  if (top[plan_.word_of(kDigits) - 1] >> (kWordBits - 1) == 0) return;
  for (std::uint64_t& limb : wraps->limb)
    if (++limb != 0) break;
}

void Transform::store_digits(Word* out, std::size_t count, std::size_t digit,
                             const double* const* r, std::size_t n, Carry* carry) const {
  constexpr std::size_t kGroup = 16;
  const std::size_t at = plan_.word_of(digit), words = 4 * format_.bytes;  // of a group
  if (at >= count) return;
  const StoreDigits store = store_loop();
  const std::size_t whole = std::min(n, (count - at) / words * kGroup);
  store(out + at, r, whole, carry, &fields_.garner);
  const std::size_t written = at + plan_.word_of(whole);
  if (whole == n || written == count) return;
  const double* rest[kMaxPrimes];
  for (unsigned k = 0; k < plan_.primes; ++k) rest[k] = r[k] + whole;
  Word last[kGroup * kMaxWordsPerDigit];
  store(last, rest, kGroup, carry, &fields_.garner);
  std::copy_n(last, count - written, out + written);
}

}  // namespace nmp::hybrid
