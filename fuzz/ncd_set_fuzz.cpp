// The reader of sets on any files: it gives digits below the radix, the same ones in both of its
// ways, or throws.
//
// Input: the first byte says where files are put; each "#Comp", of which one follows, begins a
// file.

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "digits/digit_counts.h"
#include "digits/ncd_set_reader.h"
#include "foundation/exceptions.h"
#include "fuzz_file.h"

namespace nmp {
namespace {

constexpr std::size_t kFiles = 3;
constexpr std::string_view kBegin = "#Comp";

template <typename Body>
bool passes(Body body) {
  try {
    body();
  } catch (const Exception&) {
    return false;
  }
  return true;
}

void read_range(BasicNcdSetReader& reader, std::uint64_t offset, std::uint64_t count) {
  DigitCounts counts(reader.radix()), expanded(reader.radix());
  std::vector<std::uint8_t> digits(static_cast<std::size_t>(count));
  const bool counted = passes([&] { reader.load_stats(counts, offset, count); });
  const bool loaded = passes([&] { reader.load_digits(digits.data(), offset, digits.size()); });
  if (counted != loaded) std::abort();
  if (!loaded) return;
  expanded.append(digits.data(), digits.size());
  if (!(counts == expanded)) std::abort();
}

void read_set(const std::string& path, const std::vector<std::string>& folders, std::size_t width) {
  BasicNcdSetReader reader(path, folders, width);
  const std::uint64_t total = reader.total_digits();
  const std::uint64_t most = std::min<std::uint64_t>(total, 5000);
  read_range(reader, 0, most);
  read_range(reader, total - most, most);
  read_range(reader, total / 2, most - most / 2);
  passes([&] { reader.make_commands(0, total); });
  passes([&] { reader.load_file(2); });
}

}  // namespace
}  // namespace nmp

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using nmp::fuzz::File;
  // Any file may stand under the second name, which has a zero in front, or in another folder.
  static const File files[nmp::kFiles][2] = {{File("e0.ncd"), File("e00.ncd")},
                                             {File("e1.ncd"), File("e01.ncd")},
                                             {File("e2.ncd"), File("e02.ncd")}};
  if (size == 0) return 0;
  const unsigned places = data[0];
  std::size_t begin = 1;
  for (std::size_t i = 0; i < nmp::kFiles; ++i) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::size_t next = i + 1 < nmp::kFiles ? text.find(nmp::kBegin, begin + 1) : size;
    const std::size_t end = std::min(next, size);
    const unsigned which = places >> i & 1;
    files[i][which ^ 1].remove();
    if (end - begin > nmp::kBegin.size())
      files[i][which].put(data + begin, end - begin);
    else
      files[i][which].remove();
    begin = end;
  }
  nmp::passes([&] {
    nmp::read_set(files[places >> 3 & 1][places >> (places >> 3 & 1) & 1].path(), {"/nowhere"},
                  places >> 4 & 3);
  });
  return 0;
}
