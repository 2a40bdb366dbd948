#include "arith/multiply/basecase/word_multiply.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "arith/kernels/kernel_set.h"
#include "arith/multiply/basecase/karatsuba.h"
#include "arith/multiply/basecase/limbs_adx.h"
#include "foundation/exceptions.h"
#include "platform/processor.h"

namespace nmp {
namespace {

std::size_t limbs_of(std::size_t words, std::size_t limb_words) {
  return (words + limb_words - 1) / limb_words;
}

/// A copy of a[0, n) with zero words up to a whole limb.
const Word* padded(AlignedBufferC& scratch, const Word* a, std::size_t n, std::size_t limb_words) {
  const std::size_t whole = limbs_of(n, limb_words) * limb_words;
  Word* copy = scratch.carve<Word>(whole);
  std::memcpy(copy, a, n * sizeof(Word));
  std::fill(copy + n, copy + whole, Word{0});
  return copy;
}

}  // namespace

template <class L>
void WordMultiply::limb_product(const KaratsubaCutoffs& cutoffs, Word* c, const Word* a,
                                std::size_t al, const Word* b, std::size_t bl, Word* work) {
  const basecase::Karatsuba<L> karatsuba(cutoffs.multiply, cutoffs.square);
  if (b == nullptr)
    karatsuba.square(c, a, al, work);
  else
    karatsuba.multiply(c, a, al, b, bl, work);
}

WordMultiply::WordMultiply(const char* name, std::size_t limb_words, KaratsubaCutoffs cutoffs,
                           LimbProduct product)
    : name_(name), limb_words_(limb_words), cutoffs_(cutoffs), product_(product) {
  if (cutoffs.multiply < 2 || cutoffs.square < 2)
    throw InvalidParametersException("WordMultiply::WordMultiply()",
                                     "A Karatsuba cut-off is at least 2 limbs.");
}

WordMultiply WordMultiply::c32i(KaratsubaCutoffs cutoffs) {
  return {"WordMultiply c32i", basecase::Limb32::kWords, cutoffs, limb_product<basecase::Limb32>};
}

#ifdef __SIZEOF_INT128__
WordMultiply WordMultiply::c64i(KaratsubaCutoffs cutoffs) {
  return {"WordMultiply c64i", basecase::Limb64::kWords, cutoffs, limb_product<basecase::Limb64>};
}
#endif

#ifdef NF_HAS_ADX_LIMBS
std::optional<WordMultiply> WordMultiply::c64i_adx(KaratsubaCutoffs cutoffs) {
  constexpr unsigned kNeeded = platform::kBmi2 | platform::kAdx;
  const bool present = (platform::processor_features() & kNeeded) == kNeeded;
  // Forcing the portable set forces portable loops here too.
  if (!present || kernels().needs == 0) return std::nullopt;
  return WordMultiply("WordMultiply c64i", basecase::LimbAdx::kWords, cutoffs,
                      limb_product<basecase::LimbAdx>);
}
#else
std::optional<WordMultiply> WordMultiply::c64i_adx(KaratsubaCutoffs) { return std::nullopt; }
#endif

const WordMultiply& WordMultiply::native() {
#ifdef __SIZEOF_INT128__
  static const WordMultiply fastest = c64i_adx().value_or(c64i());
#else
  static const WordMultiply fastest = c32i();
#endif
  return fastest;
}

std::size_t WordMultiply::scratch_bytes(std::size_t n) const {
  // Operands padded to whole limbs take at most one more limb each.
  const std::size_t limbs = n / limb_words_ + 2;
  const std::size_t work = carved_bytes<Word>(basecase::karatsuba_work(limbs) * limb_words_);
  if (limb_words_ == 1) return work;
  const std::size_t copies = carved_bytes<Word>(limbs * limb_words_);
  return work + 2 * (copies + kBufferAlignment);
}

void WordMultiply::multiply(Word* c, const Word* a, std::size_t al, const Word* b, std::size_t bl,
                            AlignedBufferC scratch) const {
  const bool square = a == b && al == bl;
  if (al < bl) {
    std::swap(a, b);
    std::swap(al, bl);
  }
  scratch = scratch.spawn(scratch_bytes(al + bl));
  Word* out = c;
  const std::size_t a_limbs = limbs_of(al, limb_words_), b_limbs = limbs_of(bl, limb_words_);
  const std::size_t out_words = (a_limbs + b_limbs) * limb_words_;
  if (al % limb_words_ != 0) a = padded(scratch, a, al, limb_words_);
  if (!square && bl % limb_words_ != 0) b = padded(scratch, b, bl, limb_words_);
  if (out_words != al + bl) out = scratch.carve<Word>(out_words);
  Word* work = reinterpret_cast<Word*>(scratch.ptr());
  product_(cutoffs_, out, a, a_limbs, square ? nullptr : b, b_limbs, work);
  if (out != c) std::memcpy(c, out, (al + bl) * sizeof(Word));
}

}  // namespace nmp
