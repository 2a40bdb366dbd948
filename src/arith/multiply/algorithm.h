// A multiplication algorithm, as the dispatcher sees it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "arith/context.h"
#include "arith/multiply/spectrum.h"
#include "arith/word.h"
#include "memory/aligned_buffer.h"

namespace nmp {

/// One registered way to multiply. Instances live for the whole process and hold no state that
/// changes, so any thread may use them.
class Algorithm {
 public:
  constexpr Algorithm(std::uint64_t largest, const char* three_letters, const char* display_name,
                      const char* short_tag, const char* note)
      : max_size(largest),
        id{three_letters[0], three_letters[1], three_letters[2], '\0'},
        name(display_name),
        tag(short_tag),
        description(note) {}
  virtual ~Algorithm() = default;
  Algorithm(const Algorithm&) = delete;
  Algorithm& operator=(const Algorithm&) = delete;

  std::uint64_t max_size;   ///< largest product it accepts, in bits
  char id[4];               ///< the name that tuning lists use, "BKT"
  const char* name;         ///< "Basecase/Karatsuba"
  const char* tag;          ///< "MULB"
  const char* description;  ///< a note shown with the name

  /// Bytes of scratch, a multiple of 64, with which any product of at most `n` words in all
  /// (al + bl <= n) can be formed with up to `threads` threads. Never shrinks as `n` grows.
  virtual std::size_t scratch_bytes(std::size_t n, unsigned threads) const = 0;

  /// Builds what all products share for the life of the process (tables of roots). The first
  /// product does it too; a job does it before it states its memory.
  virtual void prepare() const {}

  /// c[0, al + bl) = a[0, al) * b[0, bl), every word of c written, leading zeros included.
  /// al, bl >= 1, in any order. c overlaps neither operand. a == b with al == bl is a square and
  /// takes the cheaper path. Throws LimitExceededException past `max_size` and
  /// BufferTooSmallException when `scratch` is smaller than promised. Same words for any context.
  virtual void multiply(Context& context, Word* c, const Word* a, std::size_t al, const Word* b,
                        std::size_t bl, AlignedBufferC scratch) const = 0;

  /// What spectrum.h offers, of this algorithm; an algorithm without transforms keeps these.
  virtual Spectra* make_spectra(Context& /*context*/, const SpectrumShape& /*shape*/,
                                AlignedBufferC& /*memory*/) const {
    return nullptr;
  }
  virtual SpectraNeed spectra_need(const SpectrumShape& /*shape*/, unsigned /*threads*/) const {
    return {};
  }
};

}  // namespace nmp
