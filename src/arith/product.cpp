#include "arith/product.h"

#include <utility>

#include "arith/exact_float.h"
#include "arith/multiply/algorithm_table.h"
#include "arith/word_ops.h"

namespace nmp {

void product(Context& context, Word* c, const Word* a, std::size_t al, const Word* b,
             std::size_t bl, AlignedBufferC scratch, std::optional<std::uint64_t> residue) {
  if (al < bl) {
    std::swap(a, b);
    std::swap(al, bl);
  }
  if (bl == 1)
    c[al] = words::mul_1(c, a, al, b[0]);
  else if (bl == 2)
    store_limb(c + al, words::mul_2(c, a, al, load_limb(b)));
  else if (al + bl < kExactFloatBasecaseLength)
    words::mul_schoolbook(c, a, al, b, bl);
  else
    multiply(context, c, a, al, b, bl, scratch, residue);
}

}  // namespace nmp
