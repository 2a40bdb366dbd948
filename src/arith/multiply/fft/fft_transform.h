// The passes of the FFT over whole planes: words to digits to points and back.
//
// A plane is in the *column* domain after `load`: where it has several rows, columns are
// transformed and rows are not. `finish` completes the transform: the plane is then a *spectrum*.
// Products go from the column domain, or from spectra, back to the column domain.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "arith/context.h"
#include "arith/multiply/fft/fft_kernels.h"
#include "arith/multiply/fft/fft_plan.h"
#include "arith/multiply/fft/fft_tables.h"
#include "arith/word.h"
#include "memory/carver.h"

namespace nmp::fft {

/// Whether planes of this length fit the address space.
bool addressable(const Length& length);
/// The most that any transform no longer than this one takes: bytes of a plane, and of the buffers
/// of one task.
struct Footprint {
  std::size_t plane, slot;
};
Footprint most_up_to(const Length& length);

/// One plan with its tables and buffers. Not for use by two threads at once.
class Transform {
 public:
  static constexpr unsigned kMaxSlots = 64;
  /// Tasks that may run at once, each with buffers of its own.
  static unsigned slots_for(const Shape& shape, unsigned threads);
  /// Bytes that the constructor takes with so many slots.
  static std::size_t need(const Shape& shape, unsigned slots);

  Transform(Context& context, const Kernels& kernels, const Plan& plan, unsigned slots,
            Carver& memory);

  std::size_t plane_doubles() const { return shape_.plane_doubles(); }
  /// plane = the digits of words[0, count), in the column domain. Returns the sum of their squares.
  double load(double* plane, const Word* words, std::size_t count);
  /// Takes one from the number that was loaded.
  void subtract_one(double* plane) const;
  /// Column domain to spectrum.
  void finish(double* plane);
  /// z = x * y, both in the column domain; y is lost. x == y is a square.
  void multiply(double* z, double* x, double* y);
  /// z = x * y, x in the column domain and y a spectrum that is kept.
  void multiply_by_spectrum(double* z, double* x, const double* y);
  /// z = the sum of products of spectra, in the column domain.
  void combine(double* z, std::span<const PointTerm> terms);
  /// out[0, count) = the low words of the product in `plane`, column domain, which is overwritten;
  /// what is above them is returned, as a multiple of 2^(32 count), where they are all the words
  /// that the digits hold. Throws AlgorithmFailedException when a number is far from an integer.
  std::int64_t store(Word* out, std::size_t count, double* plane);
  /// The largest distance of a number from its integer in the last `store`.
  double rounding_error() const { return rounding_error_; }

 private:
  /// Buffers of one task.
  struct Slot {
    double* top;            ///< of one row
    std::int64_t* carries;  ///< two for each row
    double* worst;          ///< rounding errors
  };
  static void take(Carver& memory, const Shape& shape, unsigned slots, Slot* slot);
  void load_strip(double* plane, const Word* words, std::size_t count, std::size_t column,
                  double* squares) const;
  void store_strip(Word* out, std::size_t count, double* plane, std::size_t column,
                   Slot& slot) const;
  /// Digits [digit, digit + 8 blocks) of the result, as far as out[0, count) reaches.
  std::int64_t store_digits(Word* out, std::size_t count, std::uint64_t digit, const double* x,
                            std::size_t blocks, std::int64_t carry, double* worst) const;
  /// x and y, where they are not null, from the column domain to spectra; then `combine`.
  void transform_and_combine(double* z, std::span<const PointTerm> terms, double* x, double* y);
  RowTop top(std::size_t row, const Slot& slot) const {
    return row_top(kernels_, shape_, row, slot.top);
  }
  void note_rounding(const double* worst);
  /// Runs body(first, last, slot) over one range of [0, count) for each slot.
  template <typename Body>
  void split(std::size_t count, const Body& body);

  Context& context_;
  const Kernels& kernels_;
  const Plan plan_;
  const Shape shape_;
  const unsigned slots_;
  const Tree* tree_;     ///< of the whole or of a row
  const Tree* columns_;  ///< null for a single row
  double scale_;         ///< 1 / length
  double rounding_error_ = 0;
  Slot slot_[kMaxSlots];
};

}  // namespace nmp::fft
