// Products in transform space without a transform: what spectrum.h promises, from schoolbook
// products and residues, for either sign of the wrap-around and for any length. The oracle for
// plans that do transform, and a stand-in whose plans can be counted and broken.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "arith/multiply/algorithm.h"
#include "arith/multiply/spectrum.h"
#include "arith/word_ops.h"
#include "support/reference.h"

namespace nmp::test {

class ReferenceTransforms final : public Algorithm {
 public:
  explicit ReferenceTransforms(int sign, std::size_t multiple)
      : Algorithm(std::uint64_t{1} << 40, "REF", "Reference", "REF", "tests"),
        wrap_sign(sign),
        unit(multiple) {}

  int wrap_sign;
  std::size_t unit;  ///< wrap() is a multiple of this

  /// The product in transform space that comes back wrong, counted from 1; 0: none.
  mutable std::size_t fault = 0;
  mutable std::size_t products = 0;                  ///< formed in transform space so far
  mutable std::size_t made = 0, made_with_sums = 0;  ///< plans

  std::size_t scratch_bytes(std::size_t, unsigned) const override { return 0; }
  void multiply(Context&, Word* c, const Word* a, std::size_t al, const Word* b, std::size_t bl,
                AlignedBufferC) const override {
    al >= bl ? words::mul_schoolbook(c, a, al, b, bl) : words::mul_schoolbook(c, b, bl, a, al);
  }
  Spectra* make_spectra(Context&, const SpectrumShape& shape,
                        AlignedBufferC& memory) const override {
    ++made;
    made_with_sums += shape.sum > 1;
    return new (memory.carve<Plan>(1)) Plan(*this, shape);
  }
  SpectraNeed spectra_need(const SpectrumShape& shape, unsigned) const override {
    const Plan plan(*this, shape);
    return {carved_bytes<Plan>(1), plan.bytes(), plan.wrap()};
  }

 private:
  /// A spectrum is its residue in wrap() + 1 words.
  class Plan final : public Spectra {
   public:
    Plan(const ReferenceTransforms& owner, const SpectrumShape& shape)
        : owner_(owner), shape_(shape) {
      wrap_ = (shape.words + owner.unit - 1) / owner.unit * owner.unit;
      wrap_sign_ = owner.wrap_sign;
      bytes_ = carved_bytes<Word>(wrap_ + 1);
    }
    void forward(Spectrum& s, const Word* words, std::size_t count) override {
      EXPECT_LE(count, wrap_);
      EXPECT_FALSE(reinterpret_cast<const Word*>(s.data) < words + count &&
                   words < reinterpret_cast<const Word*>(s.data + bytes_));
      put(s, natural(words, count), kOperand);
    }
    void multiply(Spectrum& s, std::span<const Term> terms) override {
      EXPECT_LE(terms.size(), shape_.sum);
      Natural sums[2];
      for (const Term& term : terms) {
        const Natural a = get(*term.a, kOperand), b = get(*term.b, kOperand);
        EXPECT_LE(std::min(a.size(), b.size()), shape_.shorter);
        sums[term.negative] = add(sums[term.negative], test::multiply(a, b));
      }
      if (++owner_.products == owner_.fault) sums[0] = add(sums[0], {1});
      put(s, difference(sums[0], sums[1], wrap_, wrap_sign_), kProduct);
    }
    Word inverse(Word* out, std::size_t count, Spectrum& s) override {
      Natural value = get(s, kProduct);
      put(s, Natural(wrap_, 0xEEEEEEEE), kSpoilt);
      value.resize(wrap_ + 1, 0);
      for (std::size_t i = count; i < wrap_; ++i) EXPECT_EQ(value[i], 0u) << "longer than asked";
      std::copy_n(value.begin(), count, out);
      return count == wrap_ ? value[wrap_] : 0;
    }

   private:
    enum Stage : unsigned { kSpoilt, kOperand, kProduct };
    Natural get(const Spectrum& s, Stage stage) const {
      EXPECT_EQ(s.stage, stage) << "not transformed as this needs";
      return natural(reinterpret_cast<const Word*>(s.data), wrap_ + 1);
    }
    void put(Spectrum& s, Natural value, Stage stage) const {
      value.resize(wrap_ + 1, 0);
      std::copy(value.begin(), value.end(), reinterpret_cast<Word*>(s.data));
      s.stage = stage;
    }
    const ReferenceTransforms& owner_;
    const SpectrumShape shape_;
  };
};

}  // namespace nmp::test
