// The word multipliers: schoolbook and Karatsuba products of any length, in two limb widths.
#pragma once

#include <cstddef>
#include <optional>

#include "arith/word.h"
#include "memory/aligned_buffer.h"

namespace nmp {

/// Operand lengths, in limbs, from which Karatsuba splits; at least 2.
struct KaratsubaCutoffs {
  std::size_t multiply;
  std::size_t square;
};

/// The listed settings ("MULv3:"): 448 bits for either width.
inline constexpr KaratsubaCutoffs kC32iCutoffs{14, 14};
inline constexpr KaratsubaCutoffs kC64iCutoffs{7, 7};
/// Where the methods really cross with this compiler's code; results do not depend on it.
inline constexpr KaratsubaCutoffs kC32iMeasuredCutoffs{24, 32};
inline constexpr KaratsubaCutoffs kC64iMeasuredCutoffs{24, 40};
inline constexpr KaratsubaCutoffs kC64iAdxMeasuredCutoffs{24, 40};

/// Multiplies words as limbs of one width. Stateless apart from its tuning.
class WordMultiply {
 public:
  /// "WordMultiply c32i": limbs of one word. Works on every target.
  static WordMultiply c32i(KaratsubaCutoffs cutoffs = kC32iMeasuredCutoffs);
#ifdef __SIZEOF_INT128__
  /// "WordMultiply c64i": limbs of two words. Only where the compiler has 128-bit products.
  static WordMultiply c64i(KaratsubaCutoffs cutoffs = kC64iMeasuredCutoffs);
#endif
  /// The same on the loops of limbs_adx.h; none where this processor, or the instruction set in
  /// force, is without them.
  static std::optional<WordMultiply> c64i_adx(KaratsubaCutoffs cutoffs = kC64iAdxMeasuredCutoffs);
  /// The fastest one here.
  static const WordMultiply& native();

  const char* name() const { return name_; }
  const KaratsubaCutoffs& cutoffs() const { return cutoffs_; }

  /// Bytes of scratch for any product of at most n words in all; grows with n.
  std::size_t scratch_bytes(std::size_t n) const;

  /// c[0, al + bl) = a[0, al) * b[0, bl), al, bl >= 1 in any order, every word written. c overlaps
  /// neither operand. a == b with al == bl is squared. Throws BufferTooSmallException when scratch
  /// holds fewer than scratch_bytes(al + bl) bytes.
  void multiply(Word* c, const Word* a, std::size_t al, const Word* b, std::size_t bl,
                AlignedBufferC scratch) const;

 private:
  /// c = a * b on whole limbs, al >= bl; `b` null stands for a square.
  using LimbProduct = void (*)(const KaratsubaCutoffs& cutoffs, Word* c, const Word* a,
                               std::size_t al, const Word* b, std::size_t bl, Word* work);

  WordMultiply(const char* name, std::size_t limb_words, KaratsubaCutoffs cutoffs,
               LimbProduct product);
  template <class L>
  static void limb_product(const KaratsubaCutoffs& cutoffs, Word* c, const Word* a, std::size_t al,
                           const Word* b, std::size_t bl, Word* work);

  const char* name_;
  std::size_t limb_words_;
  KaratsubaCutoffs cutoffs_;
  LimbProduct product_;
};

}  // namespace nmp
