// Products in transform space without a transform: what spectrum.h promises, from schoolbook
// products and residues, for either sign of the wrap-around and for any length.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>

#include "arith/multiply/algorithm.h"
#include "arith/multiply/spectrum.h"
#include "arith/word_ops.h"
#include "support/reference.h"

namespace nmp::test {

class ReferenceTransforms final : public Algorithm {
 public:
  explicit ReferenceTransforms(int wrap_sign)
      : Algorithm(std::uint64_t{1} << 40, "REF", "Reference", "REF", "tests"), sign_(wrap_sign) {}

  /// The product in transform space that comes back wrong, counted from 1; 0: none.
  mutable std::size_t fault = 0;
  mutable std::size_t products = 0;  ///< formed in transform space so far

  std::size_t scratch_bytes(std::size_t, unsigned) const override { return 0; }
  void multiply(Context&, Word* c, const Word* a, std::size_t al, const Word* b, std::size_t bl,
                AlignedBufferC) const override {
    al >= bl ? words::mul_schoolbook(c, a, al, b, bl) : words::mul_schoolbook(c, b, bl, a, al);
  }

  Spectra* make_spectra(Context&, const SpectrumShape& shape,
                        AlignedBufferC& memory) const override {
    return new (memory.carve<Plan>(1)) Plan(*this, wrap_of(shape));
  }
  SpectraNeed spectra_need(const SpectrumShape& shape, unsigned) const override {
    const std::size_t wrap = wrap_of(shape);
    return {carved_bytes<Plan>(1), carved_bytes<Word>(wrap + 1), wrap};
  }

 private:
  static std::size_t wrap_of(const SpectrumShape& shape) { return (shape.words + 4) / 5 * 5; }

  /// A spectrum is its residue in wrap() + 1 words.
  class Plan final : public Spectra {
   public:
    Plan(const ReferenceTransforms& owner, std::size_t wrap) : owner_(owner) {
      wrap_ = wrap;
      wrap_sign_ = owner.sign_;
      bytes_ = carved_bytes<Word>(wrap + 1);
    }
    void forward(Spectrum& s, const Word* words, std::size_t count) override {
      EXPECT_LE(count, wrap_);
      EXPECT_FALSE(reinterpret_cast<const Word*>(s.data) < words + count &&
                   words < reinterpret_cast<const Word*>(s.data + bytes_));
      put(s, natural(words, count));
    }
    void multiply(Spectrum& s, std::span<const Term> terms) override {
      Natural sum;
      for (const Term& term : terms) {
        const Natural product = reduced(test::multiply(get(*term.a), get(*term.b)));
        sum = reduced(term.negative ? subtract(test::add(sum, modulus()), product)
                                    : test::add(sum, product));
      }
      if (++owner_.products == owner_.fault) sum = reduced(test::add(sum, Natural(1, 1)));
      put(s, sum);
    }
    Word inverse(Word* out, std::size_t count, Spectrum& s) override {
      Natural value = get(s);
      std::memset(s.data, 0xEE, bytes_);
      value.resize(wrap_ + 1, 0);
      for (std::size_t i = count; i < wrap_; ++i) EXPECT_EQ(value[i], 0u) << "longer than asked";
      std::copy_n(value.begin(), count, out);
      return count == wrap_ ? value[wrap_] : 0;
    }

   private:
    Natural modulus() const {
      const Natural power = shifted(Natural(1, 1), wrap_);
      return wrap_sign_ < 0 ? test::add(power, Natural(1, 1)) : subtract(power, Natural(1, 1));
    }
    Natural reduced(Natural x) const {
      const Natural m = modulus();
      for (int i = 0; i < 3 && x.size() > wrap_; ++i) {  // both parts are at most 2^(32 wrap_)
        const Natural low = natural(x.data(), wrap_),
                      high = natural(x.data() + wrap_, x.size() - wrap_);
        x = wrap_sign_ > 0 ? test::add(low, high) : subtract(test::add(low, m), high);
      }
      while (compare(x, m) >= 0) x = subtract(x, m);
      return x;
    }
    Natural get(const Spectrum& s) const {
      return natural(reinterpret_cast<const Word*>(s.data), wrap_ + 1);
    }
    void put(Spectrum& s, Natural value) const {
      value.resize(wrap_ + 1, 0);
      std::copy(value.begin(), value.end(), reinterpret_cast<Word*>(s.data));
    }
    const ReferenceTransforms& owner_;
  };
  int sign_;
};

}  // namespace nmp::test
