// Products in transform space without a transform: operands stay words and are multiplied the slow
// and obvious way. The oracle for plans that do transform, and a stand-in whose plans can be
// counted and broken.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <new>

#include "arith/multiply/algorithm.h"
#include "arith/multiply/spectrum.h"
#include "support/reference.h"

namespace nmp::test {

/// What a test asks of its plans, and what it learns.
struct ReferencePlans {
  std::size_t extra_words = 0;  ///< that wrap() is longer than it need be
  int wrap_sign = 1;
  bool spoil = false;  ///< flips a bit of every product
  std::size_t made = 0, made_with_sums = 0;
};

class ReferenceSpectra final : public Spectra {
 public:
  ReferenceSpectra(const SpectrumShape& shape, const ReferencePlans& plans)
      : shape_(shape), spoil_(plans.spoil) {
    wrap_ = shape.words + plans.extra_words;
    wrap_sign_ = plans.wrap_sign;
    bytes_ = carved_bytes<Word>(wrap_ + 1);
  }
  void forward(Spectrum& s, const Word* words, std::size_t count) override {
    ASSERT_LE(count, wrap_);
    put(s, natural(words, count), kOperand);
  }
  void multiply(Spectrum& s, std::span<const Term> terms) override {
    ASSERT_LE(terms.size(), shape_.sum);
    Natural sums[2];
    for (const Term& term : terms) {
      const Natural a = get(*term.a, kOperand), b = get(*term.b, kOperand);
      ASSERT_LE(std::min(a.size(), b.size()), shape_.shorter);
      sums[term.negative] = add(sums[term.negative], test::multiply(a, b));
    }
    const Natural plus = reduced(sums[0]), minus = reduced(sums[1]);
    Natural sum =
        compare(plus, minus) >= 0 ? subtract(plus, minus) : subtract(add(plus, modulus()), minus);
    if (spoil_) sum.empty() ? sum.push_back(1) : void(sum[sum.size() / 2] ^= 0x10000);
    put(s, sum, kProduct);
  }
  Word inverse(Word* out, std::size_t count, Spectrum& s) override {
    Natural x = get(s, kProduct);
    EXPECT_LE(count, wrap_);
    if (count < wrap_ && !spoil_) {
      EXPECT_LE(x.size(), count) << "more words than were asked for";
    }
    x.resize(wrap_ + 1);
    std::copy_n(x.begin(), count, out);
    s.stage = 0;
    return count == wrap_ ? x[wrap_] : 0;
  }

 private:
  enum Stage : unsigned { kOperand = 1, kProduct = 2 };
  Natural get(const Spectrum& s, Stage stage) const {
    EXPECT_EQ(s.stage, stage) << "not transformed as this needs";
    Natural words(wrap_ + 1);
    std::memcpy(words.data(), s.data, words.size() * sizeof(Word));
    return stripped(words);
  }
  void put(Spectrum& s, Natural x, Stage stage) const {
    x.resize(wrap_ + 1);
    std::memcpy(s.data, x.data(), x.size() * sizeof(Word));
    s.stage = stage;
  }
  /// 2^(32 wrap) - wrap_sign.
  Natural modulus() const {
    const Natural power = shifted({1}, wrap_);
    return wrap_sign_ > 0 ? subtract(power, {1}) : add(power, {1});
  }
  Natural reduced(Natural x) const {
    const Natural m = modulus();
    while (x.size() > wrap_ && compare(x, m) >= 0) {  // x = high 2^(32 wrap) + low
      const Natural low = natural(x.data(), wrap_), high = natural(&x[wrap_], x.size() - wrap_);
      x = wrap_sign_ > 0            ? add(low, high)
          : compare(low, high) >= 0 ? subtract(low, high)
                                    : subtract(add(low, m), high);
    }
    return compare(x, m) >= 0 ? subtract(x, m) : x;
  }

  SpectrumShape shape_;
  bool spoil_;
};

/// Multiplies by the schoolbook, and shares "transforms" as `plans` say.
class ReferenceAlgorithm final : public Algorithm {
 public:
  explicit ReferenceAlgorithm(ReferencePlans& plans)
      : Algorithm(std::uint64_t{1} << 32, "REF", "Reference", "REF", ""), plans_(plans) {}
  std::size_t scratch_bytes(std::size_t, unsigned) const override { return 0; }
  void multiply(Context&, Word* c, const Word* a, std::size_t al, const Word* b, std::size_t bl,
                AlignedBufferC) const override {
    Natural product = test::multiply(Natural(a, a + al), Natural(b, b + bl));
    product.resize(al + bl);
    std::copy(product.begin(), product.end(), c);
  }
  Spectra* make_spectra(Context&, const SpectrumShape& shape,
                        AlignedBufferC& memory) const override {
    ++plans_.made;
    plans_.made_with_sums += shape.sum > 1;
    return new (memory.carve<ReferenceSpectra>(1)) ReferenceSpectra(shape, plans_);
  }
  SpectraNeed spectra_need(const SpectrumShape& shape, unsigned) const override {
    const ReferenceSpectra spectra(shape, plans_);
    return {carved_bytes<ReferenceSpectra>(1), spectra.bytes(), spectra.wrap()};
  }

 private:
  ReferencePlans& plans_;
};

}  // namespace nmp::test
