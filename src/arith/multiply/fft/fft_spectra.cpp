#include "arith/multiply/fft/fft_spectra.h"

#include <algorithm>
#include <new>

#include "arith/multiply/fft/fft_transform.h"
#include "parallel/context.h"

namespace nmp::fft {
namespace {

double* plane(const Spectrum& s) { return reinterpret_cast<double*>(s.data); }

/// What a plan takes from its memory besides the transform's buffers.
struct Parts {
  Parts(std::size_t words, unsigned sum, Carver& memory);
  std::byte* object;
  PointTerm* terms;
  Word* whole;  ///< all words of a value of which the caller wants some
};

class FftSpectra final : public Spectra {
 public:
  FftSpectra(Context& context, const Kernels& kernels, const Plan& plan, const Parts& parts,
             Carver& memory)
      : parts_(parts),
        transform_(context, kernels, plan,
                   Transform::slots_for(Shape(*plan.length), context.threads.threads()), memory) {
    wrap_ = plan.words();
    wrap_sign_ = -1;
    bytes_ = carved_bytes<double>(transform_.plane_doubles());
  }

  void forward(Spectrum& s, const Word* words, std::size_t count) override {
    transform_.load(plane(s), words, count);
    // The digits of a number that fills the plan leave the topmost bit to the digit beyond them.
    if (count == wrap_ && words[count - 1] >> (kWordBits - 1) != 0)
      transform_.subtract_one(plane(s));
    transform_.finish(plane(s));
  }

  void multiply(Spectrum& s, std::span<const Term> terms) override {
    for (std::size_t i = 0; i < terms.size(); ++i) {
      parts_.terms[i] = {plane(*terms[i].a), plane(*terms[i].b), terms[i].negative};
    }
    transform_.combine(plane(s), {parts_.terms, terms.size()});
  }

  Word inverse(Word* out, std::size_t count, Spectrum& s) override {
    Word* const all = count == wrap_ ? out : parts_.whole;
    const Word above = reduce(all, transform_.store(all, wrap_, plane(s)));
    if (all != out) std::copy_n(all, count, out);
    return count == wrap_ ? above : 0;
  }

 private:
  /// all + above * 2^(32 wrap) modulo 2^(32 wrap) + 1, in all; returns the word above.
  Word reduce(Word* all, std::int64_t above) const {
    // all - above: a borrow out of the top, 2^(32 wrap), comes back as one.
    for (std::int64_t carry = -above; carry != 0;) {
      for (std::size_t i = 0; i < wrap_ && carry != 0; ++i) {
        carry += all[i];
        all[i] = static_cast<Word>(carry);
        carry >>= kWordBits;
      }
      if (carry == 1 && std::all_of(all, all + wrap_, [](Word w) { return w == 0; })) return 1;
      carry = -carry;
    }
    return 0;
  }

  const Parts parts_;
  Transform transform_;
};

Parts::Parts(std::size_t words, unsigned sum, Carver& memory)
    : object(memory.take<std::byte>(sizeof(FftSpectra))),
      terms(memory.take<PointTerm>(sum)),
      whole(memory.take<Word>(words)) {}

}  // namespace

Spectra* make_spectra(Context& context, const Kernels& kernels, const SpectrumShape& shape,
                      AlignedBufferC& memory) {
  const Plan plan = plan_wrapped(shape.words, shape.shorter, shape.sum);
  if (!plan.length || !addressable(*plan.length)) return nullptr;
  Carver carver(memory);
  const Parts parts(plan.words(), shape.sum, carver);
  Spectra* const made = new (parts.object) FftSpectra(context, kernels, plan, parts, carver);
  memory = carver.rest();
  return made;
}

SpectraNeed spectra_need(const SpectrumShape& shape, unsigned threads) {
  const Plan plan = plan_wrapped(shape.words, shape.shorter, shape.sum);
  if (!plan.length || !addressable(*plan.length)) return {};
  const Shape layout(*plan.length);
  Carver sum;
  Parts(plan.words(), shape.sum, sum);
  return {sum.bytes() + Transform::need(layout, Transform::slots_for(layout, threads)),
          carved_bytes<double>(layout.plane_doubles()), plan.words()};
}

}  // namespace nmp::fft
