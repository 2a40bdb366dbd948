// An algorithm whose "transform" is the number itself: what spectrum.h promises, with any length
// and either sign of the wrap-around, and by no means that the program uses.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <new>
#include <span>
#include <vector>

#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/basecase/basecase.h"
#include "arith/multiply/hybrid/hybrid_ntt.h"
#include "arith/multiply/spectrum.h"
#include "arith/word_ops.h"
#include "parallel/serial.h"
#include "support/arithmetic.h"

namespace nmp::test {

class WordSpectra final : public Algorithm {
 public:
  /// Plans wrap around at `surplus` words more than asked for, with this sign.
  WordSpectra(int sign, std::size_t surplus)
      : Algorithm(std::uint64_t{1} << 38, "WSP", "Words", "WSP", "test"),
        sign_(sign),
        surplus_(surplus) {}

  std::size_t scratch_bytes(std::size_t n, unsigned threads) const override {
    return hybrid_ntt().scratch_bytes(n, threads);
  }
  void multiply(Context& context, Word* c, const Word* a, std::size_t al, const Word* b,
                std::size_t bl, AlignedBufferC scratch) const override {
    ++whole_products;
    hybrid_ntt().multiply(context, c, a, al, b, bl, scratch);
  }

  Spectra* make_spectra(Context&, const SpectrumShape& shape,
                        AlignedBufferC& memory) const override {
    std::byte* place = memory.spawn(aligned_bytes(sizeof(Plan))).ptr();
    return new (place) Plan(*this, shape.words + surplus_);
  }
  SpectraNeed spectra_need(const SpectrumShape& shape, unsigned) const override {
    const std::size_t wrap = shape.words + surplus_;
    return {carved_bytes<Plan>(1), carved_bytes<Word>(wrap), wrap};
  }

  mutable std::atomic<std::size_t> whole_products = 0;
  /// The number-th spectrum from now on that `forward` makes is wrong, and all of it, as
  /// after one wrong point; -1 for none.
  mutable std::atomic<int> spoil_in = -1;
  /// The number-th result from now on has one wrong bit; -1 for none.
  mutable std::atomic<int> spoil_word_in = -1;

 private:
  class Plan final : public Spectra {
   public:
    Plan(const WordSpectra& owner, std::size_t words) : owner_(owner) {
      wrap_ = words;
      bytes_ = carved_bytes<Word>(words);
      wrap_sign_ = owner.sign_;
    }
    void forward(Spectrum& s, const Word* words, std::size_t count) override {
      ASSERT_LE(count, wrap_);
      Word* own = reinterpret_cast<Word*>(s.data);
      words::copy(own, words, count);
      words::zero(own + count, wrap_ - count);
      if (owner_.spoil_in < 0 || owner_.spoil_in-- != 0) return;
      for (std::size_t i = 0; i < wrap_; ++i) own[i] ^= 1u << 9;
    }
    void multiply(Spectrum& s, std::span<const Term> terms) override {
      ASSERT_EQ(terms.size(), 1u);
      std::vector<Word> product = wrapped_product(reinterpret_cast<Word*>(terms[0].a->data),
                                                  reinterpret_cast<Word*>(terms[0].b->data));
      above_ = product[wrap_];
      std::copy_n(product.begin(), wrap_, reinterpret_cast<Word*>(s.data));
    }
    Word inverse(Word* out, std::size_t count, Spectrum& s) override {
      const Word* own = reinterpret_cast<const Word*>(s.data);
      EXPECT_TRUE(words::all_equal(own + count, wrap_ - count, 0)) << "more than " << count;
      words::copy(out, own, count);
      if (owner_.spoil_word_in >= 0 && owner_.spoil_word_in-- == 0) out[count / 4] ^= 1u << 9;
      std::fill_n(s.data, bytes_, std::byte{0xEE});
      return above_;
    }

   private:
    /// The residue, wrap_ + 1 words.
    std::vector<Word> wrapped_product(const Word* a, const Word* b) const {
      Arithmetic arithmetic;
      FencedScratch scratch(multiply_scratch(arithmetic.context, 2 * wrap_));
      std::vector<Word> full(2 * wrap_);
      nmp::multiply(arithmetic.context, full.data(), a, wrap_, b, wrap_, scratch.buffer());
      std::vector<Word> low(full.begin(), full.begin() + static_cast<std::ptrdiff_t>(wrap_));
      low.push_back(0);
      const Word* high = full.data() + wrap_;
      if (wrap_sign_ == 1) {
        if (words::add_n(low.data(), low.data(), high, wrap_)) words::increment(low.data(), wrap_);
      } else if (words::sub_n(low.data(), low.data(), high, wrap_)) {
        words::increment(low.data(), wrap_ + 1);
      }
      return low;
    }

    const WordSpectra& owner_;
    Word above_ = 0;
  };

  const int sign_;
  const std::size_t surplus_;
};

/// x with x factor = target modulo 2^(32 target.size()), for an odd factor.
inline std::vector<Word> quotient_from_below(std::vector<Word> target, std::vector<Word> factor) {
  std::vector<Word> x;
  factor.resize(target.size());
  Word inverse = 1;
  for (int i = 0; i < 5; ++i) inverse *= 2 - factor[0] * inverse;
  for (std::size_t i = 0; i < target.size(); ++i) {
    x.push_back(target[i] * inverse);
    words::submul_1(target.data() + i, factor.data(), target.size() - i, x[i]);
  }
  return x;
}

/// A context whose products above a few words have such transforms.
struct WithWordSpectra {
  WithWordSpectra(int sign, std::size_t surplus) : algorithm(sign, surplus) {
    table.add(100, &basecase_karatsuba());
    table.add(std::uint64_t{1} << 32, &algorithm);
  }
  WordSpectra algorithm;
  AlgorithmTable table;
  parallel::SerialContext threads;
  Context context{threads, table};
};

}  // namespace nmp::test
