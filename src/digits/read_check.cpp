#include "digits/read_check.h"

#include <cstdint>
#include <vector>

#include "digits/digit_text.h"
#include "digits/range_stats.h"
#include "digits/text_reader.h"
#include "foundation/console.h"
#include "foundation/exceptions.h"
#include "foundation/format.h"

namespace nmp {
namespace {

constexpr const char* kFunction = "read_check()";

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

DigitCounts read_all(parallel::Context& context, DigitReader& reader, Progress* progress) {
  const std::uint64_t total = reader.total_digits();
  if (progress == nullptr) return range_stats(context, reader, 0, total);
  std::size_t shown = 0;
  return range_stats(context, reader, 0, total, [&](const DigitCounts& so_far) {
    progress->untrail(shown);
    progress->trail('w', "Verifying...  " + with_commas(so_far.total()) + "  digits hashed");
    shown = 1;
    if (total != 0)
      progress->advance(static_cast<double>(so_far.total()) / static_cast<double>(total));
  });
}

void show_difference(const DigitCounts& written, const DigitCounts& read) {
  console::print_line('R', "\nPre-Write Hash = " + std::to_string(written.hash()) +
                               "\nRead-Back Hash = " + std::to_string(read.hash()) +
                               "\nPre-Write Counts =\n" + written.listing() +
                               "Read-Back Counts =\n" + read.listing());
}

void compare(parallel::Context& context, DigitReader& reader, const HashedDigits& written,
             Progress* progress) {
  check_first_digits(reader);
  reader.require_end();
  const DigitCounts read = read_all(context, reader, progress);
  if (read == written.counts()) return;
  show_difference(written.counts(), read);
  throw AlgorithmFailedException(kFunction,
                                 "Digit output failed. Metadata cross-check doesn't match.");
}

}  // namespace

void read_check(parallel::Context& context, DigitReader& reader, const HashedDigits& written,
                Progress* progress) {
  begin_step(reader.radix(), progress);
  compare(context, reader, written, progress);
}

void read_check(parallel::Context& context, const std::string& path, const HashedDigits& written,
                Progress* progress) {
  begin_step(written.radix(), progress);
  BasicTextReader reader(path, written.radix());
  compare(context, reader, written, progress);
}

}  // namespace nmp
