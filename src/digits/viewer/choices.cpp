#include "digits/viewer/choices.h"

#include <algorithm>
#include <chrono>
#include <vector>

#include "digits/chi_square.h"
#include "digits/digit_text.h"
#include "digits/ncd_set_writer.h"
#include "digits/range_stats.h"
#include "digits/text_writer.h"
#include "foundation/console.h"
#include "foundation/exceptions.h"
#include "foundation/format.h"
#include "foundation/progress.h"

namespace nmp {
namespace {

/// Digits that one thread moves at a time.
constexpr std::size_t kBlock = std::size_t{1} << 20;
constexpr std::size_t kPerGroup = 10, kPerLine = 50;
constexpr auto kBetweenUpdates = std::chrono::milliseconds(200);

void require_range(const char* function, const OpenDigits& source, const DigitSpan& span) {
  if (span.first < 1 || span.first > span.last || span.last > source.reader->total_digits())
    throw InvalidParametersException(function, "This range of digits is not accessible.");
}

/// A status line on a terminal, nothing elsewhere.
class LiveLine {
 public:
  ~LiveLine() { console::clear_line(); }
  void show(const std::string& text) {
    const auto now = std::chrono::steady_clock::now();
    if (now - shown_ < kBetweenUpdates) return;
    shown_ = now;
    const console::ColoredText part{'w', text};
    console::rewrite_line({&part, 1});
  }

 private:
  std::chrono::steady_clock::time_point shown_ = std::chrono::steady_clock::now();
};

/// Moves the digits [begin, end) of the source, counted from 0, to the same positions of the sink,
/// `shift` further to the front.
void copy_digits(parallel::Context& context, DigitReader& reader, std::uint64_t begin,
                 std::uint64_t end, std::uint64_t shift, DigitSink& sink) {
  reader.require(begin, end - begin);
  LiveLine status;
  for (std::uint64_t done = begin; done < end;) {
    // A few blocks for each thread between two looks at the progress.
    const std::uint64_t stop =
        done + std::min<std::uint64_t>(end - done, std::uint64_t{kBlock} * 4 * context.threads());
    const auto blocks = static_cast<std::size_t>((stop - done - 1) / kBlock + 1);
    context.parallel_for(0, blocks, 1, [&](std::size_t first, std::size_t last) {
      std::vector<std::uint8_t> digits(
          static_cast<std::size_t>(std::min<std::uint64_t>(kBlock, stop - done)));
      for (std::size_t i = first; i < last; ++i) {
        throw_if_interrupted();
        const std::uint64_t offset = done + std::uint64_t{i} * kBlock;
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(kBlock, stop - offset));
        reader.load_digits(digits.data(), offset, count);
        sink.store_digits(digits.data(), offset - shift, count);
      }
    });
    done = stop;
    status.show(with_commas(done - begin) + " of " + with_commas(end - begin) + " digits");
  }
}

void print_stats(const DigitSpan& span, const DigitCounts& counts) {
  const std::string start = with_commas(span.first);
  console::print_line("Current Offset:  " + with_commas(span.first - 1 + counts.total()));
  console::print_line("Hash(" + start + " - current):  " + std::to_string(counts.hash()));
  console::print_line("Digit Counts (" + start + " - current):");
  console::print(counts.listing());
}

/// The writer of a set under BASE, a folder and a name.
BasicNcdSetWriter set_writer(const std::string& base, DigitReader& reader,
                             std::uint64_t digits_per_file, std::uint64_t total) {
  const std::size_t name = base.find_last_of("/\\") + 1;  // npos + 1 is 0: no folder
  return {base.substr(0, name),
          base.substr(name),
          static_cast<std::uint8_t>(reader.radix()),
          digits_per_file,
          total,
          reader.first_digits() + "."};
}

/// Blocks of a set must not replace those they are made from.
void refuse_own_files(const char* function, const OpenDigits& source, const std::string& base) {
  const std::string& path = source.path;
  if (base.empty() || base.back() == '/' || base.back() == '\\')
    throw InvalidParametersException(function, "The compressed files need a name.");
  if (source.set == nullptr || !path.starts_with(base)) return;
  const std::size_t end = path.find_first_not_of("0123456789", base.size());
  if (end != path.npos && path.substr(end) == kNcdExtension)
    throw InvalidParametersException(function,
                                     "These names belong to the files that would be read.");
}

void print_written(const std::string& path) {
  console::print('G', "Done: ");
  console::print_line(path);
}

}  // namespace

void view_range(const OpenDigits& source, const DigitSpan& span) {
  require_range("view_range()", source, span);
  DigitReader& reader = *source.reader;
  reader.require(span.first - 1, span.last - span.first + 1);
  std::uint8_t digits[kPerLine];
  char text[kPerLine];
  for (std::uint64_t at = span.first; at <= span.last;) {
    throw_if_interrupted();
    const auto count =
        static_cast<std::size_t>(std::min<std::uint64_t>(kPerLine, span.last - at + 1));
    reader.load_digits(digits, at - 1, count);
    digits_to_text(digits, count, reader.radix(), text);
    std::string line;
    for (std::size_t i = 0; i < count; i += kPerGroup)
      line += std::string(text + i, std::min(kPerGroup, count - i)) + " ";
    at += count;
    line.resize(kPerLine + kPerLine / kPerGroup, ' ');
    console::print_line(line + " :  " + with_commas(at - 1));
  }
}

void compute_stats(parallel::Context& context, const OpenDigits& source, const DigitSpan& span) {
  require_range("compute_stats()", source, span);
  console::print_line("Processing " + with_commas(span.last - span.first + 1) + " digits...\n");
  LiveLine status;
  const DigitCounts counts = range_stats(
      context, *source.reader, span.first - 1, span.last, [&](const DigitCounts& so_far) {
        status.show("Current Offset: " + with_commas(span.first - 1 + so_far.total()) + "  Hash(" +
                    with_commas(span.first) + " - current): " + std::to_string(so_far.hash()));
      });
  print_stats(span, counts);
  console::print_line("\nHash(A - B) are the digits from A - B as an integer modulo (2^61 - 1).\n");
  for (const std::string& line : deviation_picture(counts)) console::print_line(line);
}

void extract_digits(parallel::Context& context, const OpenDigits& source, const DigitSpan& span,
                    const std::string& path) {
  constexpr const char* kFunction = "extract_digits()";
  require_range(kFunction, source, span);
  if (path == source.path)
    throw InvalidParametersException(kFunction, "This is the file that would be read.");
  DigitReader& reader = *source.reader;
  const std::string leading = span.first == 1 ? reader.first_digits() + "." : "0.";
  BasicTextWriter writer(path, leading, reader.radix(), span.last - span.first + 1);
  copy_digits(context, reader, span.first - 1, span.last, span.first - 1, writer);
  writer.close();
  print_written(path);
}

void compress_digits(parallel::Context& context, const OpenDigits& source, std::uint64_t digits,
                     std::uint64_t digits_per_file, const std::string& base) {
  constexpr const char* kFunction = "compress_digits()";
  require_range(kFunction, source, {1, digits});
  refuse_own_files(kFunction, source, base);
  DigitReader& reader = *source.reader;
  BasicNcdSetWriter writer = set_writer(base, reader, digits_per_file, digits);
  copy_digits(context, reader, 0, digits, 0, writer);
  writer.close();
  print_written(writer.file_path(0) +
                (digits > writer.digits_per_file() ? " and those that follow" : ""));
}

void compress_blocks(parallel::Context& context, const OpenDigits& source, std::uint64_t first_id,
                     std::uint64_t last_id, std::uint64_t digits_per_file,
                     const std::string& base) {
  constexpr const char* kFunction = "compress_blocks()";
  DigitReader& reader = *source.reader;
  const std::uint64_t total = reader.total_digits();
  if (digits_per_file < kLeastDigitsPerFile)
    throw InvalidParametersException(kFunction, "Invalid Digits per File");
  if (total == 0 || first_id > last_id || last_id > (total - 1) / digits_per_file)
    throw InvalidParametersException(kFunction, "This range of digits is not accessible.");
  refuse_own_files(kFunction, source, base);
  BasicNcdSetWriter writer = set_writer(base, reader, digits_per_file, total);
  const std::uint64_t begin = first_id * digits_per_file, last = last_id * digits_per_file;
  const std::uint64_t end = last + std::min(digits_per_file, total - last);
  copy_digits(context, reader, begin, end, 0, writer);
  writer.close();
  print_written(writer.file_path(first_id) +
                (last_id > first_id ? " to " + writer.file_path(last_id) : ""));
}

}  // namespace nmp
