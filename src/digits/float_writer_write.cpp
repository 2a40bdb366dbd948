// From converted blocks, or from the words themselves, to bytes of one digit each.

#include <algorithm>
#include <vector>

#include "arith/hash61.h"
#include "arith/long_ops.h"
#include "digits/digit_text.h"
#include "digits/float_writer.h"
#include "digits/float_writer_scratch.h"
#include "digits/radix_conversion.h"
#include "foundation/exceptions.h"
#include "parallel/context.h"

namespace nmp {
namespace {

/// Units (blocks of nine digits, words of eight) that one task expands, and tasks per run that goes
/// to the sink at once: about a megabyte.
constexpr std::size_t kChunkUnits = 8192;
constexpr std::size_t kChunks = 16;
constexpr std::size_t kHexDigits = 8;

std::size_t unit_digits(unsigned radix) { return radix == 16 ? kHexDigits : CBRv2::kBlockDigits; }

std::uint64_t units_of(std::uint64_t digits, unsigned radix) {
  return (digits + unit_digits(radix) - 1) / unit_digits(radix);
}

std::size_t run_bytes(std::uint64_t digits, unsigned radix) {
  const std::uint64_t units =
      std::min<std::uint64_t>(units_of(digits, radix), kChunkUnits * kChunks);
  return carved_bytes<std::uint8_t>(static_cast<std::size_t>(units) * unit_digits(radix));
}

const char* label(unsigned radix, bool to_sink) {
  if (radix == 16) return to_sink ? "Writing Hexadecimal Digits" : "Processing Hexadecimal Digits";
  return to_sink ? "Writing Decimal Digits" : "Processing Decimal Digits";
}

}  // namespace

std::size_t FloatWriterB::scratch_bytes(const Context& context, std::uint64_t digits,
                                        unsigned radix) {
  const std::size_t expanding = run_bytes(digits, radix);
  if (radix == 16 || digits == 0) return expanding;
  const CBRv2::Split split(digits);
  const std::size_t converting = CBRv2::PowerTable::storage_bytes(split) +
                                 std::max(CBRv2::PowerTable::scratch_bytes(context, split),
                                          CBRv2::convert_scratch(context, split));
  return carved_bytes<Word>(split.storage()) +
         std::max({expanding, converting, float_writer_verify_scratch(context, digits)});
}

void FloatWriterB::expand(const Word* blocks, std::uint64_t first_unit, std::size_t units,
                          std::uint8_t* digits) const {
  if (radix_ == 10) {
    blocks_to_digits(blocks + first_unit, units, digits);
    return;
  }
  Word part[kChunkUnits];
  copy_fraction(part, first_unit, units);
  words_to_nibbles(part, units, digits);
}

/// The hash of the hexadecimal digits, from the words that they are part of.
std::uint64_t FloatWriterB::hash_of_nibbles(Context& context) const {
  const std::uint64_t full = digits_ / kHexDigits;
  const std::int64_t bottom = -static_cast<std::int64_t>(full);
  const std::int64_t lowest = std::clamp<std::int64_t>(number_.exp, bottom, 0);
  const std::uint64_t hash =
      hash61::multiply(words::hash_of(context, number_.T + (lowest - number_.exp),
                                      static_cast<std::size_t>(-lowest)),
                       hash61::word_weight(lowest - bottom));
  const unsigned rest = 4 * static_cast<unsigned>(digits_ % kHexDigits);
  if (rest == 0) return hash;
  Word last;
  copy_fraction(&last, full, 1);
  return hash61::fold(hash61::multiply(hash, std::uint64_t{1} << rest) +
                      (last >> (kWordBits - rest)));
}

void FloatWriterB::write(Context& context, Progress* progress, DigitSink* sink,
                         HashedDigits& record, LastDigits& last, AlignedBufferC scratch) {
  if (progress != nullptr) progress->step(label(radix_, sink != nullptr));
  last.set(radix_);
  record = HashedDigits(radix_);
  const Word* blocks = nullptr;
  if (radix_ == 10 && digits_ != 0) blocks = scratch.carve<Word>(CBRv2::Split(digits_).storage());
  std::uint8_t* digits = scratch.carve<std::uint8_t>(run_bytes(digits_, radix_));

  const std::size_t chunk_digits = kChunkUnits * unit_digits(radix_);
  for (std::uint64_t offset = 0; offset < digits_; offset += kChunks * chunk_digits) {
    throw_if_interrupted();
    const std::size_t count =
        static_cast<std::size_t>(std::min<std::uint64_t>(digits_ - offset, kChunks * chunk_digits));
    const std::size_t chunks = (count + chunk_digits - 1) / chunk_digits;
    std::vector<DigitCounts> counts(chunks, DigitCounts(radix_));
    context.threads.parallel_for(0, chunks, 1, [&](std::size_t begin, std::size_t end) {
      for (std::size_t i = begin; i < end; ++i) {
        const std::size_t from = i * chunk_digits, size = std::min(chunk_digits, count - from);
        expand(blocks, (offset + from) / unit_digits(radix_),
               static_cast<std::size_t>(units_of(size, radix_)), digits + from);
        counts[i].append(digits + from, size);
      }
    });
    for (std::size_t i = 0; i < chunks; ++i) record.append(counts[i]);
    last.append(digits, count);
    if (sink != nullptr) sink->store_digits(digits, offset, count);
    if (progress != nullptr)
      progress->advance(static_cast<double>(offset + count) / static_cast<double>(digits_));
  }
  const std::uint64_t expected = radix_ == 16     ? hash_of_nibbles(context)
                                 : verified_hash_ ? *verified_hash_
                                                  : hash_of_blocks(context, blocks);
  if (record.hash() != expected)
    throw AlgorithmFailedException("FloatWriterB::convert()", "Checksum Mismatch");
}

}  // namespace nmp
