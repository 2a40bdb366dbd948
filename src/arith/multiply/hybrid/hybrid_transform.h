// The passes of the hybrid NTT over whole planes.
//
// Two domains. A plane is in the *column* domain after `load`: columns are transformed, rows are
// not. Once its rows are transformed too, the plane is a *spectrum*. Products go from either domain
// to the column domain, row by row, while a row is in the cache; `store` undoes the columns and
// turns the residues of all primes into words.
#pragma once

#include <cstddef>
#include <span>

#include "arith/context.h"
#include "arith/multiply/hybrid/hybrid_field.h"
#include "arith/multiply/hybrid/hybrid_plan.h"
#include "arith/word.h"
#include "memory/carver.h"

namespace nmp::hybrid {

/// One summand: a * b, or -a * b, in planes of one prime. a == b is a square.
struct PlaneTerm {
  double* a;
  double* b;
  bool transform_a, transform_b;  ///< still in the column domain: made a spectrum on the way
  bool negative;
};

/// What `store` knows of the value.
enum class Range {
  kExact,  ///< the integer itself is below 2^(32 count)
  kWraps,  ///< its residue modulo 2^(32 words()) - 1 is
};

/// One plan with its tables and buffers. Not for use by two threads at once.
class Transform {
 public:
  /// `sum`: terms that `multiply` gets at most. Has as many tasks as the context has
  /// threads, each with buffers of its own.
  Transform(Context& context, const Kernels& kernels, const Plan& plan, unsigned sum,
            Carver& memory);
  static constexpr unsigned kMaxSlots = 64;
  /// Bytes that the constructor takes.
  static Need need(const Plan& plan, unsigned sum);

  /// One operand: words[0, count), to become a plane.
  struct Operand {
    double* plane;
    const Word* words;
    std::size_t count;
  };
  /// Each plane = the digits of its operand, in the column domain of prime k.
  void load(unsigned k, std::span<const Operand> operands);
  void load(unsigned k, double* plane, const Word* words, std::size_t count) {
    const Operand one[] = {{plane, words, count}};
    load(k, one);
  }
  /// target = the sum of terms[0, count), in the column domain. `target` may be an operand. With
  /// terms that may take a coefficient below zero, a multiple of 2^(32 words()) - 1 is added.
  void multiply(unsigned k, double* target, const PlaneTerm* terms, std::size_t count);
  /// out[0, count) = the digits of the value whose residues are in planes[0, primes), column
  /// domain; zero for a value of 0, not all ones. The planes may be overwritten.
  void store(Word* out, std::size_t count, double* const* planes, Range range);

  const Plan& plan() const { return plan_; }
  /// What `store` can count on after one product of plain operands.
  Range range() const { return format_.balanced ? Range::kWraps : Range::kExact; }

 private:
  /// Tables of one prime and one direction; null where the plan has a single row.
  struct Tables {
    Tree* trees;        ///< for each odd part
    double* roots;      ///< in node order, for trees[0]
    double* scaled;     ///< for trees[1 ..]
    double* row_power;  ///< powers of the root of order points(), one for each row
  };
  /// Buffers of one task.
  struct Slot {
    Tree* row_tree;     ///< for both directions
    double* scaled[2];  ///< what they point to
    double* strips;     ///< a strip, rows() * width, for each prime
    double* row;        ///< a row, where there are sums
    Carry* carries;     ///< one for each row, for kPiecesPerSlot pieces
  };
  static unsigned slots_for(const Plan& plan, unsigned threads);
  static void take(Carver& memory, const Plan& plan, unsigned slots, unsigned sum,
                   Tables (*tables)[2], Slot* slot);
  const Field& field(unsigned k) const { return fields_.field[k]; }
  void build_tables(unsigned k, Direction direction);
  Columns columns(unsigned k, Direction direction) const;
  /// The tree of a row: the shared one, or one made for it in `slot`.
  const Tree* row_tree(unsigned k, Direction direction, std::size_t row, const Slot& slot) const;
  double bias_of(unsigned k, const PlaneTerm* terms, std::size_t count) const;
  void multiply_row(unsigned k, std::size_t row, double* target, const PlaneTerm* terms,
                    std::size_t count, double bias, const Slot& slot);
  /// out[0, digits) = those from word number `at` on; |out| < 2p.
  void load_digits(unsigned k, double* out, std::size_t digits, const Word* words, std::size_t at,
                   std::size_t count) const;
  StoreDigits store_loop() const;
  void load_strip(unsigned k, double* plane, const Word* words, std::size_t count,
                  std::size_t column, double* strip) const;
  void store_strip(Word* out, std::size_t count, double* const* planes, std::size_t column,
                   const Slot& slot, Carry* carries, Carry* wraps);
  /// Digits [digit, digit + n) of the result, as far as out[0, count) reaches.
  void store_digits(Word* out, std::size_t count, std::size_t digit, const double* const* r,
                    std::size_t n, Carry* carry) const;
  /// How often the value wraps around, from the last n digits of the last row.
  void count_wraps(const double* const* r, std::size_t n, Carry* wraps) const;
  /// A part of the strips or rows.
  struct Piece {
    std::size_t first, last;
    std::size_t number;
  };
  static constexpr std::size_t kPiecesPerSlot = 4;
  std::size_t pieces_of(std::size_t count) const;
  Carry* carries_of(std::size_t piece) const {
    return slot_[piece / kPiecesPerSlot].carries + piece % kPiecesPerSlot * plan_.rows();
  }
  /// Runs body(piece, slot) over the pieces that make up [0, count).
  template <typename Body>
  void split(std::size_t count, const Body& body);

  Context& context_;
  const Kernels& kernels_;
  const Fields& fields_;
  const Plan plan_;
  const Format format_;
  const unsigned sum_;
  const unsigned slots_;
  Tables tables_[kMaxPrimes][2];
  Slot slot_[kMaxSlots];
};

}  // namespace nmp::hybrid
