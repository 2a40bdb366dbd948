#include "digits/radix_conversion.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "arith/multiply/algorithm_table.h"
#include "digits/radix_basecase.h"
#include "foundation/exceptions.h"
#include "parallel/serial.h"

namespace nmp::CBRv2 {
namespace {

/// Products up to this many words are made by one thread each, several at a time; longer ones by
/// all threads together.
constexpr std::size_t kSharedProductWords = std::size_t{1} << 17;
/// Splits of the tree below which the status display hears of progress.
constexpr unsigned kReportedLevels = 7;

std::size_t product_words(const Split& split, unsigned level) {
  return split.words(level) +
         static_cast<std::size_t>(words_for_power_of_5(split.half_digits(level)));
}

/// The largest level that is spread over threads by halves, with `forks` levels of forking.
struct ForkPlan {
  ForkPlan(const Context& context, const Split& split) {
    const unsigned threads = context.threads.threads();
    if (threads < 2) return;
    for (level = split.levels; level > 0 && product_words(split, level) > kSharedProductWords;)
      --level;
    while ((1u << forks) < 2 * threads && forks < level) ++forks;
  }
  unsigned level = 0;
  unsigned forks = 0;
};

std::size_t product_scratch(const Context& context, const Split& split, unsigned level) {
  const std::size_t words = product_words(split, level);
  return carved_bytes<Word>(words) + multiply_scratch(context, words);
}

/// Scratch of a node and all below it when one thread does them one after another.
std::size_t serial_scratch(const Context& context, const Split& split, unsigned level) {
  parallel::SerialContext threads;
  const Context alone{threads, context.products};
  std::size_t bytes = 0;
  for (unsigned i = 1; i <= level; ++i) bytes = std::max(bytes, product_scratch(alone, split, i));
  return bytes;
}

/// Scratch of a node that `forks` more levels of forking follow.
std::size_t forked_scratch(const Context& context, const Split& split, unsigned level,
                           unsigned forks) {
  if (forks == 0) return serial_scratch(context, split, level);
  return std::max(product_scratch(context, split, level),
                  2 * forked_scratch(context, split, level - 1, forks - 1));
}

/// target[0, words) = the words below the point of product * 2^shift / 2^(32 point).
void take_fraction(Word* target, std::size_t words, const Word* product, std::size_t length,
                   std::size_t point, std::uint64_t shift) {
  const std::uint64_t position = std::uint64_t{point - words} * kWordBits - shift;
  const std::size_t from = static_cast<std::size_t>(position / kWordBits);
  const unsigned bits = position % kWordBits;
  if (bits == 0) {
    std::memcpy(target, product + from, words * sizeof(Word));
    return;
  }
  std::size_t i = 0;
  for (; i < words && from + i + 1 < length; ++i)
    target[i] = static_cast<Word>(load_limb(product + from + i) >> bits);
  if (i < words) target[i] = product[from + i] >> bits;
}

/// Adds one to a number of blocks.
void add_one(Word* blocks, std::size_t count) {
  while (count > 0) {
    if (++blocks[--count] < kBlockRadix) return;
    blocks[count] = 0;
  }
  throw AlgorithmFailedException("CBRv2::convert_L()", "Mismatching block residuals.");
}

class Conversion {
 public:
  Conversion(const Split& split, const PowerTable& powers, const ForkPlan& plan, Progress* progress)
      : split_(split), powers_(powers), plan_(plan), progress_(progress) {}

  /// Converts the node of `level` that starts at block `first` of the whole. Returns its result
  /// word, which means nothing where the node reaches past the blocks that are wanted.
  Word node(Context& context, unsigned level, std::size_t first, Word* words, bool shared,
            unsigned forks, AlignedBufferC scratch);

 private:
  bool split_fraction(Context& context, unsigned level, std::size_t first, Word* words,
                      AlignedBufferC scratch);
  void join(unsigned level, Word* words, Word expected, Word actual);
  void report(unsigned level, std::size_t first);

  const Split& split_;
  const PowerTable& powers_;
  const ForkPlan& plan_;
  Progress* progress_;
};

/// Puts the fractions of both halves in their places. False where nothing of the right half is
/// wanted, which then stays unset.
bool Conversion::split_fraction(Context& context, unsigned level, std::size_t first, Word* words,
                                AlignedBufferC scratch) {
  const std::size_t length = split_.words(level), half_length = split_.words(level - 1);
  const std::size_t half = split_.blocks(level - 1);
  const bool right_wanted = first + half < split_.wanted;
  Word* product = nullptr;
  std::size_t product_length = 0;
  const Power& power = powers_.for_level(split_, level);
  if (right_wanted) {
    product_length = length + power.length;
    product = scratch.carve<Word>(product_length);
    multiply(context, product, words, length, power.words, power.length, scratch);
  }
  std::memmove(words, words + (length - half_length), half_length * sizeof(Word));
  if (right_wanted)
    take_fraction(words + half, half_length, product, product_length, length, power.exponent);
  return right_wanted;
}

/// Compares what both halves know of the same word and carries into the left one.
void Conversion::join(unsigned level, Word* words, Word expected, Word actual) {
  if (static_cast<Word>(expected - actual) > kOverlapTolerance)
    throw AlgorithmFailedException("CBRv2::convert_T()",
                                   "Overlap Mismatch:\n    RL = " + std::to_string(level) +
                                       "\n    Expected = " + std::to_string(expected) +
                                       "\n    Actual   = " + std::to_string(actual));
  if (expected < actual) add_one(words, split_.blocks(level - 1));
}

void Conversion::report(unsigned level, std::size_t first) {
  if (level + kReportedLevels < split_.levels) return;
  throw_if_interrupted();
  if (progress_ == nullptr) return;
  const double done = static_cast<double>(std::min(first + split_.blocks(level), split_.wanted));
  progress_->advance(done / static_cast<double>(split_.wanted));
}

Word Conversion::node(Context& context, unsigned level, std::size_t first, Word* words, bool shared,
                      unsigned forks, AlignedBufferC scratch) {
  if (level == 0) return convert_L(words, split_.words(0), split_.leaf);
  if (shared && forks == 0 && level <= plan_.level) forks = plan_.forks;
  const std::size_t half = split_.blocks(level - 1);
  Word* right_words = words + half;
  const bool right_wanted = split_fraction(context, level, first, words, scratch);
  const Word expected = right_wanted ? right_words[split_.words(level - 1) - 1] : 0;
  Word left = 0, right = 0;
  if (forks == 0) {
    left = node(context, level - 1, first, words, shared, 0, scratch);
    if (right_wanted)
      right = node(context, level - 1, first + half, right_words, shared, 0, scratch);
  } else {
    parallel::SerialContext one;
    Context alone{one, context.products};
    Context& inner = forks == 1 ? alone : context;
    const std::size_t bytes = scratch.bytes() / 2 / kBufferAlignment * kBufferAlignment;
    AlignedBufferC left_scratch = scratch.spawn(bytes), right_scratch = scratch.spawn(bytes);
    context.threads.fork_join(
        [&] { left = node(inner, level - 1, first, words, false, forks - 1, left_scratch); },
        [&] {
          if (right_wanted)
            right =
                node(inner, level - 1, first + half, right_words, false, forks - 1, right_scratch);
        });
  }
  if (right_wanted) join(level, words, expected, left);
  if (shared) report(level, first);
  return right;
}

}  // namespace

std::size_t convert_scratch(const Context& context, const Split& split) {
  const ForkPlan plan(context, split);
  std::size_t bytes = forked_scratch(context, split, plan.level, plan.forks);
  for (unsigned level = plan.level + 1; level <= split.levels; ++level)
    bytes = std::max(bytes, product_scratch(context, split, level));
  return bytes;
}

void convert_T(Context& context, const Split& split, const PowerTable& powers, Word* node,
               Progress* progress, AlignedBufferC scratch) {
  const ForkPlan plan(context, split);
  Conversion conversion(split, powers, plan, progress);
  conversion.node(context, split.levels, 0, node, true, 0, scratch);
}

}  // namespace nmp::CBRv2
