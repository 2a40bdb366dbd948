// The parser of headers on any text: what it accepts is in range, and what it accepts and writes
// again it reads as the same.

#include <cstdlib>

#include "digits/digit_words.h"
#include "digits/ncd_format.h"
#include "foundation/exceptions.h"

namespace nmp {
namespace {

void check(bool good) {
  if (!good) std::abort();
}

void parse(std::string_view text) {
  const ParsedNcdHeader parsed = parse_ncd_header(text, "any.ncd");
  const NcdHeader& header = parsed.header;
  check(parsed.data_offset <= text.size() && text[parsed.data_offset - 1] == '\0');
  check(parsed.range.first < parsed.range.end);
  check(parsed.range.size() <= header.digits_per_file);
  check(parsed.range.first / header.digits_per_file == header.file_id);
  check(header.total_digits == 0 || parsed.range.end <= header.total_digits);
  check(digits_per_word(header.radix) != 0);
  if (!is_ncd_first_digits(header.first_digits)) return;
  const std::string again = ncd_header_text(header);
  const ParsedNcdHeader same = parse_ncd_header(again, "any.ncd");
  check(same.data_offset == again.size() && same.range == parsed.range);
  check(same.header.first_digits == header.first_digits && same.header.radix == header.radix);
}

}  // namespace
}  // namespace nmp

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    nmp::parse({reinterpret_cast<const char*>(data), size});
  } catch (const nmp::FileIO::FileException&) {
  }
  return 0;
}
