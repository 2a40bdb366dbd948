#include "series/brent_mcmillan_merge.h"

#include <algorithm>

#include "arith/hash61.h"
#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/spectrum.h"
#include "arith/word_ops.h"
#include "foundation/exceptions.h"

namespace nmp::BinarySplitting::BrentMcMillanAB {
namespace {

/// Products shorter than this gain nothing from shared transforms: making the plan costs more.
constexpr std::size_t kLeastSharedWords = 400;
/// Numbers that a merge holds in transform space at once.
constexpr unsigned kSpectra = 4;
/// Words that S may have beyond those kept of T, see `lowest_position`.
constexpr std::size_t kFactorGuard = 12;
/// The lowest position where nothing is cut.
constexpr std::int64_t kNowhere = std::numeric_limits<std::int64_t>::min() / 2;

Words lengths(const Range& range) { return {range.D.L, range.C.L, range.T.L, range.U.L}; }

/// What the products of a merge come to, in words.
struct Lengths {
  std::size_t right;   ///< D1 or C1
  std::size_t factor;  ///< S or M as they are multiplied
  std::size_t small;   ///< products of D and C
  std::size_t large;   ///< products with S and M

  Lengths(const Words& l, const Words& r, const Kept& kept)
      : right(std::max(r.D, r.C)),
        factor(std::min(2 * right, kept.T + kFactorGuard)),
        small(std::max({l.D, l.C, right}) + right + 1),
        large(std::max(l.T, l.U) + factor + 1) {}
  SpectrumShape small_shape() const { return {small, right, 2}; }
  SpectrumShape large_shape() const { return {large, std::min(factor, large - factor), 2}; }
  /// Of a place for two products of the small kind, or one of any kind.
  std::size_t room() const { return std::max(2 * small, large); }
};

/// Cuts a pair of numbers below the positions `lowest` and `lowest` - 1.
void cut(Context& context, ExactFloat& x, ExactFloat& y, std::int64_t lowest) {
  x.truncate_below(context, lowest);
  y.truncate_below(context, lowest - 1);
}
void truncate(Context& context, ExactFloat& x, ExactFloat& y, std::size_t words) {
  if (x.L > words) cut(context, x, y, x.mag() - static_cast<std::int64_t>(words));
}

/// The position below which T need not be known. T0*S reaches to within two words of its
/// operands' tops.
std::int64_t lowest_position(const Range& left, const Range& right, std::uint64_t shift,
                             const Kept& kept) {
  if (kept.T == kAll.T) return kNowhere;
  const std::int64_t first = left.T.mag() + 2 * right.D.mag() - 2;
  const std::int64_t second = right.T.mag() + static_cast<std::int64_t>(shift / kWordBits);
  return std::max(first, second) - static_cast<std::int64_t>(kept.T) - 1;
}

std::uint64_t hash_of_product(const ExactFloat& a, const ExactFloat& b) {
  return hash61::multiply(a.hash, b.hash);
}
std::uint64_t hash_of_sum(const ExactFloat& a, const ExactFloat& b, const ExactFloat& c,
                          const ExactFloat& d) {
  return hash61::add(hash_of_product(a, b), hash_of_product(c, d));
}

/// A plan and what a merge does with it.
class Shared {
 public:
  Shared(Context& context, Spectra& spectra, AlignedBufferC memory)
      : context_(context), spectra_(spectra), memory_(memory) {}

  Spectrum transformed(const ExactFloat& x) {
    Spectrum s = spectra_.carve(memory_);
    spectra_.forward(s, x.T, x.L);
    return s;
  }
  /// s = a*b, and s = a*b + c*d.
  void multiply(Spectrum& s, Spectrum& a, Spectrum& b) {
    const Spectra::Term terms[] = {{&a, &b}};
    spectra_.multiply(s, terms);
  }
  void multiply(Spectrum& s, Spectrum& a, Spectrum& b, Spectrum& c, Spectrum& d) {
    const Spectra::Term terms[] = {{&a, &b}, {&c, &d}};
    spectra_.multiply(s, terms);
  }
  /// The value of a spectrum, of at most `words` words, over `place`.
  ExactFloat take(Spectrum& s, Word* place, std::size_t words, std::int64_t exp,
                  std::uint64_t hash) {
    ExactFloat x(place, static_cast<std::uint32_t>(words));
    spectra_.inverse(place, words, s);
    x.L = static_cast<std::uint32_t>(words::stripped_length(place, words));
    x.exp = exp;
    x.sign = true;
    x.hash = hash;
    if (x.computed_hash(context_) != hash)
      throw AlgorithmFailedException("BrentMcMillanAB::merge()",
                                     "Multiplication Failed: Checksum Mismatch");
    return x;
  }

 private:
  Context& context_;
  Spectra& spectra_;
  AlignedBufferC memory_;
};

/// One merge, step by step.
class Merge {
 public:
  Merge(Context& context, Range& left, Range& right, std::uint64_t shift, const Kept& kept)
      : context_(context),
        left_(left),
        right_(right),
        shift_(shift),
        kept_(kept),
        lengths_(lengths(left), lengths(right), kept),
        lowest_(lowest_position(left, right, shift, kept)) {}

  void run(AlignedBufferC scratch) {
    room_ = scratch.carve<Word>(lengths_.room());
    const std::int64_t factor_lowest = lowest_ - std::max(left_.T.mag(), left_.U.mag()) - 2;
    if (!small_shared(scratch)) small_plain(scratch);
    if (lowest_ != kNowhere) cut(context_, S_, M_, factor_lowest);
    if (!large_shared(scratch)) large_plain(scratch);
    truncate(context_, left_.T, left_.U, kept_.T);
  }

 private:
  Word* second_room() const { return room_ + lengths_.room() / 2; }

  /// D and C in place; S and M into the room. False, and nothing done, where there are no
  /// transforms to share.
  bool small_shared(AlignedBufferC scratch) {
    const ExactFloat &D0 = left_.D, &C0 = left_.C, &D1 = right_.D, &C1 = right_.C;
    if (lengths_.small < kLeastSharedWords || C0.exp - D0.exp != C1.exp - D1.exp) return false;
    Spectra* const spectra = make_spectra(context_, lengths_.small_shape(), kSpectra, scratch);
    if (!spectra) return false;
    Shared shared(context_, *spectra, scratch);
    Spectrum d0 = shared.transformed(D0), c0 = shared.transformed(C0);
    Spectrum d1 = shared.transformed(D1), c1 = shared.transformed(C1);
    shared.multiply(c0, c0, d1, d0, c1);
    shared.multiply(d0, d0, d1);
    shared.multiply(c1, c1, d1);
    shared.multiply(d1, d1, d1);
    const std::uint64_t hash = hash_of_sum(C0, D1, D0, C1);
    ExactFloat D = shared.take(d0, room_, lengths_.small, D0.exp + D1.exp, hash_of_product(D0, D1));
    ExactFloat C = shared.take(c0, second_room(), lengths_.small, C0.exp + D1.exp, hash);
    set_small(D, C);
    M_ = shared.take(c1, second_room(), lengths_.small, C1.exp + D1.exp, hash_of_product(C1, D1));
    S_ = shared.take(d1, room_, lengths_.small, 2 * D1.exp, hash_of_product(D1, D1));
    return true;
  }

  void small_plain(AlignedBufferC scratch) {
    ExactFloat x = carve_number(scratch, lengths_.small), y = carve_number(scratch, lengths_.small);
    ExactFloat C = carve_number(scratch, lengths_.small);
    x.set_mul(context_, left_.C, right_.D, scratch);
    y.set_mul(context_, left_.D, right_.C, scratch);
    C.set_add(context_, x, y);
    x.set_mul(context_, left_.D, right_.D, scratch);
    set_small(x, C);
    S_ = ExactFloat(room_, static_cast<std::uint32_t>(lengths_.small));
    M_ = ExactFloat(second_room(), static_cast<std::uint32_t>(lengths_.small));
    S_.set_mul(context_, right_.D, right_.D, scratch);
    M_.set_mul(context_, right_.C, right_.D, scratch);
  }

  void set_small(ExactFloat& D, ExactFloat& C) {
    truncate(context_, D, C, kept_.D);
    left_.D.set_ExactFloat(context_, D);
    left_.C.set_ExactFloat(context_, C);
  }

  /// T and U in place; spoils S and M. False as above.
  bool large_shared(AlignedBufferC scratch) {
    ExactFloat &T = left_.T, &U = left_.U;
    if (lengths_.large < kLeastSharedWords || U.exp - T.exp != M_.exp - S_.exp) return false;
    Spectra* const spectra = make_spectra(context_, lengths_.large_shape(), kSpectra, scratch);
    if (!spectra) return false;
    Shared shared(context_, *spectra, scratch);
    Spectrum s = shared.transformed(S_), m = shared.transformed(M_);
    Spectrum t = shared.transformed(T), u = shared.transformed(U);
    shared.multiply(u, u, s, t, m);
    shared.multiply(t, t, s);
    ExactFloat product =
        shared.take(u, room_, lengths_.large, U.exp + S_.exp, hash_of_sum(U, S_, T, M_));
    set_sum(U, product, right_.U, lowest_ - 1);
    product = shared.take(t, room_, lengths_.large, T.exp + S_.exp, hash_of_product(T, S_));
    set_sum(T, product, right_.T, lowest_);
    return true;
  }

  void large_plain(AlignedBufferC scratch) {
    ExactFloat x = carve_number(scratch, lengths_.large), y = carve_number(scratch, lengths_.large);
    x.set_mul(context_, left_.U, S_, scratch);
    y.set_mul(context_, left_.T, M_, scratch);
    x.truncate_below(context_, lowest_ - 1);
    y.truncate_below(context_, lowest_ - 1);
    left_.U.set_add(context_, x, y);
    x.set_ExactFloat(context_, left_.U);
    set_sum(left_.U, x, right_.U, lowest_ - 1);
    x.set_mul(context_, left_.T, S_, scratch);
    set_sum(left_.T, x, right_.T, lowest_);
  }

  /// x = product + 2^shift right.
  void set_sum(ExactFloat& x, ExactFloat& product, ExactFloat& right, std::int64_t lowest) {
    right.mp2(static_cast<std::int64_t>(shift_));
    product.truncate_below(context_, lowest);
    right.truncate_below(context_, lowest);
    x.set_add(context_, product, right);
  }

  Context& context_;
  Range& left_;
  Range& right_;
  std::uint64_t shift_;
  Kept kept_;
  Lengths lengths_;
  std::int64_t lowest_;
  Word* room_ = nullptr;
  ExactFloat S_, M_;
};

/// Bytes for a plan and its spectra, or for the places of `products` plain products.
std::size_t products_bytes(const Context& context, const SpectrumShape& shape,
                           std::size_t products) {
  const std::size_t plain =
      products * carved_bytes<Word>(shape.words) + multiply_scratch(context, shape.words);
  return std::max(plain, spectra_need(context, shape).bytes(kSpectra));
}

}  // namespace

std::size_t Words::bytes() const {
  return carved_bytes<Word>(D) + carved_bytes<Word>(C) + carved_bytes<Word>(T) +
         carved_bytes<Word>(U);
}

Range carve_range(AlignedBufferC& scratch, const Words& words) {
  Range range;
  range.D = carve_number(scratch, words.D);
  range.C = carve_number(scratch, words.C);
  range.T = carve_number(scratch, words.T);
  range.U = carve_number(scratch, words.U);
  return range;
}

std::size_t merge_bytes(const Context& context, const Words& left, const Words& right,
                        const Kept& kept) {
  const Lengths lengths(left, right, kept);
  return carved_bytes<Word>(lengths.room()) +
         std::max(products_bytes(context, lengths.small_shape(), 3),
                  products_bytes(context, lengths.large_shape(), 2));
}

void merge(Context& context, Range& left, Range& right, std::uint64_t shift, const Kept& kept,
           AlignedBufferC scratch) {
  Merge(context, left, right, shift, kept).run(scratch);
}

}  // namespace nmp::BinarySplitting::BrentMcMillanAB
