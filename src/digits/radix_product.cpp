#include "digits/radix_product.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "arith/multiply/algorithm_table.h"
#include "arith/word_ops.h"
#include "foundation/exceptions.h"
#include "parallel/context.h"

namespace nmp::CBRv2 {
namespace {

/// Words of a task where long numbers are copied or summed.
constexpr std::size_t kTaskWords = std::size_t{1} << 15;

std::size_t product_words(const Window& window) { return window.operand + window.power; }

/// Bytes of a product by transforms; 0 where there are none.
std::size_t wrapped_bytes(const Context& context, const Window& window) {
  const SpectraNeed need = spectra_need(context, window.shape());
  if (!need) return 0;
  return carved_bytes<Word>(std::min(product_words(window), need.wrap)) + need.spectrum;
}

/// Where transforms do a level, a product in full is the exception and formed from pieces, in no
/// more memory than they have.
Context context_of_whole(const Context& context, const Window& window) {
  const std::size_t bytes = wrapped_bytes(context, window), words = product_words(window);
  if (bytes == 0) return context;
  return with_pieces_within(context, words, bytes - std::min(bytes, carved_bytes<Word>(words)));
}

/// Modulo 2^32 - 1, which divides 2^(32 n) - 1: the residue of a product survives a cyclic
/// wrap-around of whole words.
constexpr std::uint64_t kResidues = 0xFFFFFFFF;

std::uint64_t residue(Context& context, const Word* words, std::size_t n) {
  std::atomic<std::uint64_t> all = 0;
  context.threads.parallel_for(0, n, kTaskWords, [&](std::size_t begin, std::size_t end) {
    std::uint64_t sum = 0;
    for (std::size_t i = begin; i < end; ++i) sum += words[i];
    all += sum % kResidues;
  });
  return all % kResidues;
}

}  // namespace

Window::Window(const Split& split, unsigned level)
    : power(static_cast<std::size_t>(words_for_power_of_5(split.half_digits(level)))),
      words(split.words(level - 1)) {
  const std::uint64_t all = split.words(level), exponent = split.half_digits(level);
  const std::uint64_t point = all * kWordBits - exponent;
  operand = static_cast<std::size_t>((point + kWordBits - 1) / kWordBits);
  first_bit = point - std::uint64_t{words} * kWordBits;
  guard = static_cast<std::size_t>(first_bit / kWordBits) - 1;
}

SpectrumShape Window::shape() const {
  // Words of P that fall back must end at the guard.
  return {operand + (power > guard ? power - guard : 0), std::min(operand, power)};
}

std::size_t RightHalves::bytes(const Context& context, const Split& split, unsigned level) {
  return spectra_need(context, Window(split, level).shape()).bytes(1);
}

std::size_t RightHalves::node_bytes(const Context& context, const Split& split, unsigned level) {
  const Window window(split, level);
  const std::size_t words = product_words(window);
  return std::max(
      carved_bytes<Word>(words) + multiply_scratch(context_of_whole(context, window), words),
      wrapped_bytes(context, window));
}

RightHalves::RightHalves(Context& context, const Split& split, unsigned level, const Power& power,
                         AlignedBufferC& memory)
    : context_(context), window_(split, level), power_(power) {
  spectra_ = make_spectra(context, window_.shape(), 1, memory);
  if (spectra_ == nullptr) return;
  transformed_ = spectra_->carve(memory);
  spectra_->forward(transformed_, power.words, power.length);
  residue_ = residue(context, power.words, power.length);
}

const Word* RightHalves::multiply(const Word* fraction, AlignedBufferC scratch) {
  const Word* product = spectra_ == nullptr ? nullptr : multiply_wrapped(fraction, scratch);
  return product == nullptr ? multiply_whole(fraction, scratch) : product;
}

/// Null where the words that wrapped around may have changed y.
const Word* RightHalves::multiply_wrapped(const Word* fraction, AlignedBufferC scratch) {
  const std::size_t whole = window_.operand + power_.length;
  const std::size_t length = std::min(whole, spectra_->wrap());
  Word* product = scratch.carve<Word>(length);
  Spectrum x = spectra_->carve(scratch);
  spectra_->forward(x, fraction, window_.operand);
  const Spectra::Term term{&x, &transformed_};
  spectra_->multiply(x, {&term, 1});
  spectra_->inverse(product, length, x);
  if (length == whole || spectra_->wrap_sign() == 1) check(fraction, product, length);
  const Word guard = product[window_.guard];
  const bool hit = length < whole && (guard == 0 || guard == ~Word{0});
  return hit ? nullptr : product;
}

void RightHalves::check(const Word* fraction, const Word* product, std::size_t length) const {
  const std::uint64_t expected =
      residue(context_, fraction, window_.operand) * residue_ % kResidues;
  if (residue(context_, product, length) != expected)
    throw AlgorithmFailedException("multiply()", "Multiplication Failed: Checksum Mismatch");
}

const Word* RightHalves::multiply_whole(const Word* fraction, AlignedBufferC scratch) {
  Context context = context_of_whole(context_, window_);
  Word* product = scratch.carve<Word>(window_.operand + power_.length);
  // Zeros, which a short fraction has many of, stay out.
  const std::size_t length = words::stripped_length(fraction, window_.operand);
  const std::size_t zeros = words::low_zero_words(fraction, length);
  words::zero(product, zeros);
  std::size_t end = zeros;
  if (zeros < length) {
    nmp::multiply(context, product + zeros, fraction + zeros, length - zeros, power_.words,
                  power_.length, scratch);
    end = length + power_.length;
  }
  if (end < window_.operand) words::zero(product + end, window_.operand - end);
  return product;
}

void RightHalves::keep_top(Word* fraction, std::size_t surplus) const {
  // What the last words of the target are copied over goes first.
  const std::size_t n = window_.words, first = n - std::min(n, surplus);
  std::memmove(fraction, fraction + surplus, first * sizeof(Word));
  context_.threads.parallel_for(first, n, kTaskWords, [=](std::size_t begin, std::size_t end) {
    std::memcpy(fraction + begin, fraction + surplus + begin, (end - begin) * sizeof(Word));
  });
}

void RightHalves::take(Word* target, const Word* product) const {
  const Word* source = product + window_.first_bit / kWordBits;
  const unsigned bits = window_.first_bit % kWordBits;
  context_.threads.parallel_for(0, window_.words, kTaskWords,
                                [=](std::size_t begin, std::size_t end) {
                                  if (bits == 0)
                                    words::copy(target + begin, source + begin, end - begin);
                                  else
                                    for (std::size_t i = begin; i < end; ++i)
                                      target[i] = static_cast<Word>(load_limb(source + i) >> bits);
                                });
}

}  // namespace nmp::CBRv2
