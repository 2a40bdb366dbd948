// The reader of text files on any file: it gives digits below the radix or throws.

#include <cstdlib>

#include "digits/digit_counts.h"
#include "digits/text_reader.h"
#include "foundation/exceptions.h"
#include "fuzz_file.h"

namespace nmp {
namespace {

void read(const std::string& path, unsigned radix) {
  BasicTextReader reader(path, radix);
  const std::uint64_t total = reader.total_digits();
  if (reader.first_digits().size() >= BasicTextReader::kLeadingBytes) std::abort();
  DigitCounts all(radix), expanded(radix);
  reader.load_stats(all, 0, total);
  std::vector<std::uint8_t> digits(static_cast<std::size_t>(total));
  reader.load_digits(digits.data(), 0, digits.size());
  expanded.append(digits.data(), digits.size());
  if (all.total() != total || !(all == expanded)) std::abort();
}

}  // namespace
}  // namespace nmp

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const nmp::fuzz::File file("digits.txt");
  file.put(data, size);
  for (unsigned radix : {10u, 16u}) {
    try {
      nmp::read(file.path(), radix);
    } catch (const nmp::Exception&) {
    }
  }
  return 0;
}
