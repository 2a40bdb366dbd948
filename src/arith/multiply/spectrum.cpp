#include "arith/multiply/spectrum.h"

#include <algorithm>

#include "arith/multiply/algorithm_table.h"
#include "arith/word_ops.h"
#include "foundation/progress.h"
#include "parallel/context.h"

namespace nmp {
namespace {

/// A plan this long may take seconds; before it is used, the user may have asked to stop.
constexpr std::size_t kPolledWords = std::size_t{1} << 16;

/// The shape cut down to what the context lets transforms have.
SpectrumShape within(const Context& context, SpectrumShape shape) {
  shape.words = std::min(shape.words, context.longest_product);
  shape.shorter = std::min(shape.shorter, shape.words);
  return shape;
}

}  // namespace

Spectra* make_spectra(Context& context, const SpectrumShape& shape, AlignedBufferC& memory) {
  if (shape.words > context.longest_product) return nullptr;
  if (shape.words >= kPolledWords) throw_if_interrupted();
  return context.products.get_algorithm(shape.words).make_spectra(context, shape, memory);
}

std::size_t spectra_bytes(const Context& context, const SpectrumShape& shape) {
  return context.products.spectra_bytes(within(context, shape), context.threads.threads());
}

std::size_t spectrum_bytes(const Context& context, const SpectrumShape& shape) {
  return context.products.spectrum_bytes(within(context, shape));
}

bool take_sign(Word* words, std::size_t n, int wrap_sign, Word above) {
  const bool negative = above != 0 || words[n - 1] >> (kWordBits - 1) != 0;
  if (!negative) return false;
  // 2^(32 n) - wrap_sign - x: the complement of all words, plus two where the sign is
  // -1; for x = 2^(32 n), whose low words are zero, that wraps around to one, as it should.
  words::complement(words, words, n);
  if (wrap_sign < 0) {
    words::add_1(words, words, n, 2);
  }
  return true;
}

}  // namespace nmp
