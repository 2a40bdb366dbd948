#include "digits/read_check.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "digits/digit_text.h"
#include "digits/text_reader.h"
#include "foundation/console.h"
#include "foundation/exceptions.h"
#include "foundation/format.h"

namespace nmp {
namespace {

constexpr const char* kFunction = "read_check()";
/// Digits between two looks at the status and at the user's wish to stop.
constexpr std::uint64_t kBlock = std::uint64_t{1} << 22;

void begin_step(unsigned radix, Progress* progress) {
  if (radix != 10 && radix != 16) throw InvalidParametersException(kFunction, "Invalid radix.");
  if (progress != nullptr)
    progress->step(radix == 10 ? "Verifying Decimal Output" : "Verifying Hexadecimal Output");
}

void check_first_digits(const DigitReader& reader) {
  const std::string& text = reader.first_digits();
  std::vector<std::uint8_t> digits(text.size());
  if (text_to_digits(text.data(), text.size(), reader.radix(), digits.data())) return;
  throw AlgorithmFailedException(kFunction, reader.radix() == 10
                                                ? "Invalid decimal digit in first digits."
                                                : "Invalid hexadecimal digit in first digits.");
}

DigitCounts read_all(DigitReader& reader, Progress* progress) {
  DigitCounts counts(reader.radix());
  const std::uint64_t total = reader.total_digits();
  std::size_t shown = 0;
  for (std::uint64_t offset = 0; offset < total; offset += kBlock) {
    throw_if_interrupted();
    reader.load_stats(counts, offset, std::min(kBlock, total - offset));
    if (progress == nullptr) continue;
    const std::string text = "Verifying...  " + with_commas(counts.total()) + "  digits hashed";
    progress->untrail(shown);
    progress->trail('w', text);
    progress->advance(static_cast<double>(counts.total()) / static_cast<double>(total));
    shown = text.size();
  }
  return counts;
}

void show_difference(const DigitCounts& written, const DigitCounts& read) {
  console::print_line('R', "\nPre-Write Hash = " + std::to_string(written.hash()) +
                               "\nRead-Back Hash = " + std::to_string(read.hash()) +
                               "\nPre-Write Counts =\n" + written.listing() +
                               "Read-Back Counts =\n" + read.listing());
}

void compare(DigitReader& reader, const HashedDigits& written, Progress* progress) {
  check_first_digits(reader);
  const DigitCounts read = read_all(reader, progress);
  if (read == written.counts()) return;
  show_difference(written.counts(), read);
  throw AlgorithmFailedException(kFunction,
                                 "Digit output failed. Metadata cross-check doesn't match.");
}

}  // namespace

void read_check(DigitReader& reader, const HashedDigits& written, Progress* progress) {
  begin_step(reader.radix(), progress);
  compare(reader, written, progress);
}

void read_check(const std::string& path, const HashedDigits& written, Progress* progress) {
  begin_step(written.radix(), progress);
  BasicTextReader reader(path, written.radix());
  compare(reader, written, progress);
}

}  // namespace nmp
