// The passes of the vector transform over whole planes, one prime at a time.
//
// `load` turns words into a plane whose columns are transformed at every level; `multiply` takes
// rows to their products, then all levels but the first back; `store` does the first one for all
// primes at once and turns residues into words. Planes are only touched through their strips.
#pragma once

#include <cstddef>

#include "arith/context.h"
#include "arith/multiply/hybrid/hybrid_transform.h"
#include "arith/multiply/vector/vector_field.h"
#include "arith/multiply/vector/vector_plan.h"
#include "arith/multiply/vector/vector_plane.h"
#include "arith/word.h"

namespace nmp::vector {

/// One plan with its tables and buffers. Not for use by two threads at once.
class Transform {
 public:
  static constexpr unsigned kMaxSlots = 64;
  /// Has as many tasks as the context has threads, each with buffers of its own.
  Transform(Context& context, const hybrid::Kernels& kernels, const Plan& plan, Carver& memory);
  /// Bytes that the constructor takes.
  static hybrid::Need need(const Plan& plan);

  /// plane = the digits of words[0, count) modulo prime k, columns transformed.
  void load(unsigned k, Plane& plane, const Word* words, std::size_t count);
  /// a = a * b, from columns transformed to those of level 0 transformed. b becomes the spectrum
  /// that it is already where `transform_b` is false; b may be a.
  void multiply(unsigned k, Plane& a, Plane& b, bool transform_b);
  /// out[0, count) = the integer below 2^(32 count) whose residues are in planes[0, primes).
  void store(Word* out, std::size_t count, const Plane* planes);

 private:
  /// Buffers of one task.
  struct Slot {
    hybrid::Tree* trees;  ///< of a row in both directions, of a block's columns
    double* scaled[3];    ///< what they point to
    double* strips;
    hybrid::WideCarry* carries;  ///< one for each run of level 0, for kPiecesPerSlot pieces
  };
  struct Piece {
    std::size_t first, last, number;
  };
  static constexpr std::size_t kPiecesPerSlot = 4;

  static unsigned slots_for(const Plan& plan, unsigned threads);
  static void take(Carver& memory, const Plan& plan, unsigned slots, hybrid::Tree* (*trees)[2],
                   Slot* slot);
  const hybrid::Field& field(unsigned k) const { return *fields_.field[k]; }
  void build_trees(unsigned k, hybrid::Direction direction);
  hybrid::Columns columns(unsigned k, hybrid::Direction direction, const hybrid::Tree* trees,
                          unsigned odd) const;
  Strip strip(unsigned level, std::size_t number) const;
  void load_strip(unsigned k, Plane& plane, const Word* words, std::size_t count,
                  std::size_t number, double* buffer) const;
  /// The columns of a level below the first.
  void inner_level(unsigned k, Plane& plane, unsigned level, hybrid::Direction direction);
  const hybrid::Tree* block_tree(unsigned k, hybrid::Direction direction, unsigned level,
                                 std::size_t block, const Slot& slot) const;
  const hybrid::Tree* row_tree(unsigned k, hybrid::Direction direction, std::size_t row,
                               const Slot& slot) const;
  void multiply_row(unsigned k, Plane& a, Plane& b, bool transform_b, std::size_t row,
                    const Slot& slot) const;
  void store_strip(Word* out, std::size_t count, const Plane* planes, std::size_t number,
                   double* buffer, hybrid::WideCarry* carries) const;
  /// Digits [digit, digit + n) of the result, as far as out[0, count) reaches.
  void store_digits(Word* out, std::size_t count, std::size_t digit, const double* const* r,
                    std::size_t n, hybrid::WideCarry* carry) const;
  std::size_t pieces_of(std::size_t count) const;
  hybrid::WideCarry* carries_of(std::size_t piece) const {
    return slot_[piece / kPiecesPerSlot].carries + piece % kPiecesPerSlot * plan_.rows(0);
  }
  /// Runs body(piece, slot) over the pieces that make up [0, count).
  template <typename Body>
  void split(std::size_t count, const Body& body);

  Context& context_;
  const hybrid::Kernels& kernels_;
  const Fields& fields_;
  const Plan plan_;
  const unsigned slots_;
  hybrid::Tree* trees_[hybrid::kWidePrimes][2];  ///< of level 0, one for each odd part
  Slot slot_[kMaxSlots];
};

}  // namespace nmp::vector
