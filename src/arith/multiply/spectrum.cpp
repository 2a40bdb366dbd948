#include "arith/multiply/spectrum.h"

#include "arith/multiply/algorithm_table.h"
#include "arith/word_ops.h"
#include "foundation/progress.h"
#include "parallel/context.h"

namespace nmp {
namespace {

/// A plan this long may take seconds; before it is used, the user may have asked to stop.
constexpr std::size_t kPolledWords = std::size_t{1} << 16;

}  // namespace

Spectra* make_spectra(Context& context, const SpectrumShape& shape, unsigned count,
                      AlignedBufferC& memory) {
  const SpectraNeed need = spectra_need(context, shape);
  if (!need || need.bytes(count) > memory.bytes()) return nullptr;
  if (shape.words >= kPolledWords) throw_if_interrupted();
  return context.products.get_algorithm(shape.words).make_spectra(context, shape, memory);
}

SpectraNeed spectra_need(const Context& context, const SpectrumShape& shape) {
  if (shape.words > context.longest_product) return {};
  return context.products.get_algorithm(shape.words).spectra_need(shape, context.threads.threads());
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
