#include "arith/long_ops.h"

#include <algorithm>
#include <cstdint>
#include <numeric>

#include "arith/hash61.h"
#include "arith/word_ops.h"
#include "memory/aligned_buffer.h"
#include "parallel/context.h"

namespace nmp::words {
namespace {

constexpr std::size_t kMaxParts = 128;
constexpr std::size_t kMinPartWords = 2048;
constexpr std::size_t kLineWords = kBufferAlignment / sizeof(Word);
/// How far a carry is followed before the rest of its part is handed to the threads.
constexpr std::size_t kShortRipple = 64;

/// The parts of a loop over n words at `target`; all but the first start on a 64-byte boundary.
class Split {
 public:
  Split(const Context& context, const Word* target, std::size_t n) : n_(n) {
    const std::size_t threads = context.threads.threads();
    if (threads <= 1 || n < kParallelWords) return;
    const auto address = reinterpret_cast<std::uintptr_t>(target) / sizeof(Word);
    head_ = (kLineWords - address % kLineWords) % kLineWords;
    const std::size_t wanted = std::min({threads, kMaxParts, n / kMinPartWords});
    const std::size_t each = (n - head_ + wanted - 1) / wanted;
    length_ = (each + kLineWords - 1) / kLineWords * kLineWords;
    parts_ = (n - head_ + length_ - 1) / length_;
  }
  std::size_t parts() const { return parts_; }
  std::size_t begin(std::size_t k) const { return k == 0 ? 0 : head_ + k * length_; }
  std::size_t end(std::size_t k) const { return k + 1 == parts_ ? n_ : head_ + (k + 1) * length_; }
  std::size_t size(std::size_t k) const { return end(k) - begin(k); }

 private:
  std::size_t n_;
  std::size_t head_ = 0, length_ = 0, parts_ = 1;
};

/// Runs work(k) for every part. The closure handed over is one reference wide: no allocation.
template <typename Work>
void for_parts(Context& context, const Split& split, const Work& work) {
  if (split.parts() == 1) return work(0);
  context.threads.parallel_for(0, split.parts(), 1, [&work](std::size_t first, std::size_t last) {
    for (std::size_t k = first; k < last; ++k) work(k);
  });
}

struct Add {
  static constexpr Word kTransparent = ~Word{0};  ///< what lets a carry through
  static Word loop(Word* c, const Word* a, const Word* b, std::size_t n) {
    return words::add_n(c, a, b, n);
  }
  static Word ripple(Word* c, std::size_t n) { return increment(c, n); }
};
struct Subtract {
  static constexpr Word kTransparent = 0;
  static Word loop(Word* c, const Word* a, const Word* b, std::size_t n) {
    return words::sub_n(c, a, b, n);
  }
  static Word ripple(Word* c, std::size_t n) { return decrement(c, n); }
};

template <typename Op>
Word combine_n(Context& context, Word* c, const Word* a, const Word* b, std::size_t n) {
  const Split split(context, c, n);
  if (split.parts() == 1) return Op::loop(c, a, b, n);
  struct Part {
    Word carry;        // out of the part, with nothing coming in
    bool transparent;  // a carry coming in would go through
    bool unfinished;   // it goes on past the first words
  };
  Part part[kMaxParts];
  for_parts(context, split, [&](std::size_t k) {
    const std::size_t i = split.begin(k);
    part[k].carry = Op::loop(c + i, a + i, b + i, split.size(k));
    part[k].transparent = all_equal(c + i, split.size(k), Op::kTransparent);
    part[k].unfinished = false;
  });
  Word carry = 0;
  bool any_unfinished = false;
  for (std::size_t k = 0; k < split.parts(); ++k) {
    if (carry != 0) {
      part[k].unfinished =
          Op::ripple(c + split.begin(k), std::min(kShortRipple, split.size(k))) != 0;
      any_unfinished |= part[k].unfinished;
    }
    carry = part[k].carry | (part[k].transparent ? carry : 0);
  }
  if (any_unfinished) {
    for_parts(context, split, [&](std::size_t k) {
      if (part[k].unfinished && split.size(k) > kShortRipple)
        Op::ripple(c + split.begin(k) + kShortRipple, split.size(k) - kShortRipple);
    });
  }
  return carry;
}

/// c = a + carry or a - carry, where the longer operand stands alone.
template <typename Op>
Word carry_on(Context& context, Word* c, const Word* a, std::size_t n, Word carry) {
  copy(context, c, a, n);
  return carry != 0 ? Op::ripple(c, n) : 0;
}

void fill_ones(Word* target, std::size_t n) { std::fill_n(target, n, ~Word{0}); }

}  // namespace

Word add_n(Context& context, Word* c, const Word* a, const Word* b, std::size_t n) {
  return combine_n<Add>(context, c, a, b, n);
}
Word sub_n(Context& context, Word* c, const Word* a, const Word* b, std::size_t n) {
  return combine_n<Subtract>(context, c, a, b, n);
}

void copy(Context& context, Word* target, const Word* source, std::size_t n) {
  if (target == source) return;
  const Split split(context, target, n);
  for_parts(context, split, [&](std::size_t k) {
    words::copy(target + split.begin(k), source + split.begin(k), split.size(k));
  });
}

void zero(Context& context, Word* target, std::size_t n) {
  const Split split(context, target, n);
  for_parts(context, split,
            [&](std::size_t k) { words::zero(target + split.begin(k), split.size(k)); });
}

Word negate_n(Context& context, Word* c, const Word* a, std::size_t n) {
  const Split split(context, c, n);
  for_parts(context, split, [&](std::size_t k) {
    complement(c + split.begin(k), a + split.begin(k), split.size(k));
  });
  return increment(c, n) ^ 1;  // the increment only runs over for a = 0
}

std::uint64_t hash_of(Context& context, const Word* words, std::size_t n) {
  const Split split(context, words, n);
  if (split.parts() == 1) return hash61::of_words(words, n);
  std::uint64_t part[kMaxParts];
  for_parts(context, split, [&](std::size_t k) {
    part[k] = hash61::multiply(hash61::of_words(words + split.begin(k), split.size(k)),
                               hash61::word_weight(static_cast<std::int64_t>(split.begin(k))));
  });
  return std::accumulate(part, part + split.parts(), std::uint64_t{0}, hash61::add);
}

Word add_placed(Context& context, Word* c, const Placed& a, const Placed& b) {
  if (a.offset > b.offset) return add_placed(context, c, b, a);
  const std::size_t overlap_end = std::min(a.top(), b.top());
  copy(context, c, a.T, std::min(a.L, b.offset));
  if (b.offset >= a.top()) {
    zero(context, c + a.top(), b.offset - a.top());
    copy(context, c + b.offset, b.T, b.L);
    return 0;
  }
  Word* const middle = c + b.offset;
  const Word carry = add_n(context, middle, a.T + b.offset, b.T, overlap_end - b.offset);
  const Placed& upper = a.top() > b.top() ? a : b;
  return carry_on<Add>(context, c + overlap_end, upper.T + (overlap_end - upper.offset),
                       upper.top() - overlap_end, carry);
}

Word sub_placed(Context& context, Word* c, const Placed& a, const Placed& b) {
  std::size_t at = 0;  // positions below are done
  Word borrow = 0;
  if (a.offset <= b.offset) {
    at = b.offset;
    copy(context, c, a.T, at);
  } else {
    at = std::min(a.offset, b.top());
    borrow = negate_n(context, c, b.T, at);
    if (at < a.offset) {
      if (borrow != 0)
        fill_ones(c + at, a.offset - at);
      else
        zero(context, c + at, a.offset - at);
      at = a.offset;
    }
  }
  // From here on a has words at every position; b does up to its top.
  if (at < b.top()) {
    const std::size_t n = b.top() - at;
    Word* const middle = c + at;
    const Word* const from = a.T + (at - a.offset);
    const Word below = borrow;
    borrow = sub_n(context, middle, from, b.T + (at - b.offset), n);
    if (below != 0) borrow |= decrement(middle, n);
    at = b.top();
  }
  return carry_on<Subtract>(context, c + at, a.T + (at - a.offset), a.top() - at, borrow);
}

}  // namespace nmp::words
