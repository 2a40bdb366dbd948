#include "compute/job_runner.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "arith/big_float.h"
#include "arith/kernels/kernel_set.h"
#include "arith/multiply/algorithm_table.h"
#include "compute/bbp_check.h"
#include "compute/precision.h"
#include "compute/report.h"
#include "compute/status_display.h"
#include "constants/catalogue.h"
#include "constants/formula.h"
#include "digits/file_names.h"
#include "digits/float_writer.h"
#include "digits/ncd_set_writer.h"
#include "digits/read_check.h"
#include "digits/text_writer.h"
#include "foundation/console.h"
#include "foundation/exceptions.h"
#include "foundation/format.h"
#include "memory/memory_block.h"
#include "parallel/context.h"
#include "platform/process.h"
#include "platform/processor.h"

namespace numforge {
namespace {

using nmp::AlignedBufferC;
using nmp::Word;

/// Pages of code, stacks and small tables that a job touches when it runs.
constexpr std::uint64_t kLatePages = 704 << 10;

/// Refuses what the program may not or the machine cannot take.
void require_memory(const Job& job, std::uint64_t bytes) {
  if (bytes > job.profile->ram_only_limit)
    throw nmp::InvalidParametersException("require_memory()",
                                          "64-bit is required to use more than 2GB of memory.");
  const std::uint64_t machine = nmp::platform::physical_memory();
  if (machine != 0 && bytes > machine)
    throw nmp::InvalidParametersException(
        "require_memory()", "This computation needs " + nmp::byte_size(bytes) +
                                " of memory. This machine has " + nmp::byte_size(machine) + ".");
}

std::size_t checked_precision(const Job& job) {
  const std::uint64_t words = words_for_digits(job.decimal_digits, job.hex_digits);
  // A job of any kind needs at least this many times the memory of its result. Refusing what is
  // far too long keeps the exact sizes within the target's counters.
  constexpr std::uint64_t kLeastBytesPerWord = 8 * sizeof(Word);
  constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
  require_memory(job, words > kMost / kLeastBytesPerWord ? kMost : words * kLeastBytesPerWord);
  if (words > kMostWords)
    throw nmp::LimitExceededException("checked_precision()", "Too many words of precision.", words,
                                      kMostWords);
  return static_cast<std::size_t>(words);
}

/// The parts of a job that follow from its record.
class Run {
 public:
  explicit Run(const Job& job)
      : job_(job),
        precision_(checked_precision(job)),
        formula_(Formulas::make_formula(job.constant, job.argument, job.algorithm)),
        framework_(nmp::parallel::make_context(job.framework)),
        allocator_(nmp::parse_allocator(job.allocator)),
        context_{*framework_, table_, formula_->longest_product(precision_),
                 job.task_decomposition} {
    for (const nmp::TuningLine& line : job.profile->tuning) {
      const nmp::TuningEntry entry{line.id, line.threshold};
      table_.load({&entry, 1});
    }
  }

  /// Sizes, and the tables that the program will hold.
  JobNeeds needs() {
    table_.prepare(4 * precision_);
    return {nmp::platform::peak_memory() + kLatePages + nmp::MemoryBlock::kFenceBytes,
            block_bytes()};
  }
  void execute(std::optional<std::uint64_t> shown_block);
  /// Says which digit files of a job that was broken off are complete.
  void print_files() const;

 private:
  std::uint64_t block_bytes() {
    const std::uint64_t number =
        nmp::carved_bytes<Word>(formula_->result_words(context_, precision_));
    std::uint64_t scratch = formula_->scratch_bytes(context_, precision_);
    for (const unsigned radix : {10u, 16u})
      scratch = std::max<std::uint64_t>(
          scratch, nmp::FloatWriterB::scratch_bytes(context_, digits(radix), radix));
    return number + scratch;
  }
  std::uint64_t digits(unsigned radix) const {
    return radix == 10 ? job_.decimal_digits : job_.hex_digits;
  }
  std::string stem(unsigned radix) const;
  std::string allocator_text() const {
    return std::string(allocator_.type->display_name) + "  (" + allocator_.description() + ")";
  }
  RadixReport produce(unsigned radix, const nmp::BigFloat& number, StatusDisplay& status,
                      AlignedBufferC scratch);
  void write_digits(nmp::FloatWriterB& writer, unsigned radix, RadixReport& report,
                    StatusDisplay& status, AlignedBufferC scratch);
  void announce(std::uint64_t memory) const;
  JobReport describe(std::uint64_t memory_needed) const;

  const Job& job_;
  std::size_t precision_;
  std::unique_ptr<Formulas::Formula> formula_;
  std::unique_ptr<nmp::parallel::Context> framework_;
  nmp::AllocatorChoice allocator_;
  nmp::AlgorithmTable table_;
  nmp::Context context_;
  std::vector<std::string> files_;  ///< complete by now
  std::string open_set_;            ///< first file of a compressed set that is being written
};

const ConstantCatalogueEntry& constant_of(const Job& job) { return constant_by_key(job.constant); }

std::string constant_name(const Job& job) { return result_name(constant_of(job), job.argument); }

std::string short_name_of(const Job& job) {
  const ConstantCatalogueEntry& constant = constant_of(job);
  return short_name(constant, algorithm_by_key(constant, job.algorithm), job.argument);
}

std::string algorithm_file_text(const Job& job) { return file_name_text(short_name_of(job)); }

std::string local_time() {
  const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  std::array<char, 32> text{};
  const std::size_t length =
      std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", std::localtime(&now));
  return {text.data(), length};
}

std::string Run::stem(unsigned radix) const {
  return nmp::digit_file_stem(job_.output_path, constant_name(job_), radix,
                              algorithm_file_text(job_));
}

void row(const char* label, const std::string& value) {
  nmp::console::print('w', label);
  nmp::console::print_line('G', value);
}

void Run::announce(std::uint64_t memory) const {
  nmp::console::print_line();
  row("  Constant:            ", constant_name(job_));
  row("  Algorithm:           ",
      long_name(constant_of(job_), algorithm_by_key(constant_of(job_), job_.algorithm),
                job_.argument, precision_));
  row("  Decimal Digits:      ", nmp::with_commas(job_.decimal_digits));
  row("  Hexadecimal Digits:  ", nmp::with_commas(job_.hex_digits));
  row("  Output Format:       ", digit_format_text(job_));
  row("  Computation Mode:    ", "Ram Only");
  row("  Multi-Threading:     ", framework_->description());
  row("  Memory Allocator:    ", allocator_text());
  row("  Memory Needed:       ", nmp::exact_byte_size(memory));
}

JobReport Run::describe(std::uint64_t memory_needed) const {
  JobReport report;
  report.program = nmp::program_title(*job_.profile);
  report.constant = constant_name(job_);
  report.algorithm = short_name_of(job_);
  report.decimal_digits = job_.decimal_digits;
  report.hex_digits = job_.hex_digits;
  report.framework = framework_->description();
  report.allocator = allocator_text();
  report.threads = framework_->threads();
  report.processor = nmp::platform::processor_name();
  report.kernels = nmp::kernels().name;
  report.started = local_time();
  report.memory_needed = memory_needed;
  if (job_.output_enable)
    report.file = nmp::with_separator(job_.output_path) + constant_name(job_) + " - Report - " +
                  algorithm_file_text(job_) + ".txt";
  return report;
}

void Run::execute(std::optional<std::uint64_t> shown_block) {
  const JobNeeds needed = needs();
  require_memory(job_, needed.memory());
  announce(needed.memory());
  if (shown_block && *shown_block < needed.block) {
    nmp::console::print_line("\nInconsistency: Memory requirement increased with min -> actual.\n");
    nmp::console::print_line("This is a known bug for some constants.");
  }
  JobReport report = describe(needed.memory());
  nmp::MemoryBlock block(allocator_.make(), static_cast<std::size_t>(needed.block));
  report.memory_granted = block.statement();
  row("  Memory Granted:      ", block.statement());
  nmp::console::print_line();

  StatusDisplay status;
  AlignedBufferC scratch = block.buffer();
  const std::size_t words = formula_->result_words(context_, precision_);
  nmp::BigFloat number(scratch.carve<Word>(words), static_cast<std::uint32_t>(words));
  formula_->compute(context_, number, precision_, status, scratch);
  for (const unsigned radix : {16u, 10u})
    if (digits(radix) != 0) report.radixes.push_back(produce(radix, number, status, scratch));
  status.finish();

  report.stages = status.stages();
  report.total_seconds = status.total_seconds();
  report.memory_used = nmp::platform::peak_memory();
  block.release();
  if (!report.file.empty()) write_report(report);
  print_report(report);
}

void Run::print_files() const {
  if (files_.empty() && open_set_.empty())
    return nmp::console::print_line("\nNo digits were left behind.");
  nmp::console::print_line("\nLeft behind when the job was stopped:");
  for (const std::string& file : files_) nmp::console::print_line("    " + file);
  if (!open_set_.empty())
    nmp::console::print_line("    " + open_set_ +
                             " and the files of its set; those named incomplete are not whole");
}

RadixReport Run::produce(unsigned radix, const nmp::BigFloat& number, StatusDisplay& status,
                         AlignedBufferC scratch) {
  RadixReport report;
  report.digits = digits(radix);
  status.stage(radix == 10 ? "Radix Conversion" : "Output");
  nmp::FloatWriterB writer(context_, number, precision_, report.digits, radix);
  writer.convert(context_, &status, scratch);
  if (radix == 10) status.stage("Conversion Check");
  writer.verify(context_, &status, scratch);
  status.stage("Output");
  write_digits(writer, radix, report, status, scratch);
  writer.verify_binary_words(context_, &status);
  if (job_.bbp_check && radix == 16) {
    status.stage("BBP Check");
    report.bbp_check = check_with_bbp(report.last_digits, report.digits, *framework_, &status);
  }
  return report;
}

void Run::write_digits(nmp::FloatWriterB& writer, unsigned radix, RadixReport& report,
                       StatusDisplay& status, AlignedBufferC scratch) {
  nmp::HashedDigits record(radix);
  nmp::LastDigits last;
  last.set(radix);
  const auto write_to = [&](nmp::DigitSink* sink) {
    writer.write(context_, &status, sink, record, last, scratch);
    report.last_digits_label = last.label();
    report.last_digits = last.text();
    report.hash = record.hash();
  };
  if (!job_.output_enable) return write_to(nullptr);
  const bool verify = report.verified = job_.verify;
  if (job_.digits_per_file == 0) {
    report.file = stem(radix) + ".txt";
    nmp::BasicTextWriter file(report.file, writer.first_digits(), radix, report.digits);
    write_to(&file);
    file.close();
    files_.push_back(report.file);
    if (!verify) return;
    status.stage("Output Check");
    return nmp::read_check(*framework_, report.file, record, &status);
  }
  const std::string name =
      nmp::digit_file_stem("", constant_name(job_), radix, algorithm_file_text(job_));
  nmp::BasicNcdSetWriter set(job_.output_path, name, static_cast<std::uint8_t>(radix),
                             job_.digits_per_file, report.digits, writer.first_digits());
  report.file = open_set_ = set.file_path(0);
  write_to(&set);
  report.digits_per_file = set.digits_per_file();
  const auto reader = set.close_and_get_basic_reader();
  open_set_.clear();
  files_.push_back(report.file);
  if (const std::uint64_t more = report.files() - 1; more > 0)
    files_.back() += " and " + nmp::with_commas(more) + " more of its set";
  if (!verify) return;
  status.stage("Output Check");
  nmp::read_check(*framework_, *reader, record, &status);
}

}  // namespace

JobNeeds job_needs(const Job& job) {
  if (job.decimal_digits == 0 && job.hex_digits == 0)
    throw nmp::InvalidParametersException("job_needs()",
                                          "The number of digits to compute must be at least 1.");
  return Run(job).needs();
}

std::uint64_t output_bytes(const Job& job) {
  if (!job.output_enable) return 0;
  // 19 decimal or 16 hexadecimal digits fill a word of a compressed file.
  const auto bytes = [&](std::uint64_t digits, unsigned digits_per_word) {
    return job.digits_per_file == 0 ? digits : digits / digits_per_word * 8;
  };
  return bytes(job.decimal_digits, 19) + bytes(job.hex_digits, 16);
}

void run_job(Job job, std::optional<std::uint64_t> shown_block) {
  settle_output_format(job);
  validate(job);
  Run run(job);
  try {
    run.execute(shown_block);
  } catch (const nmp::InterruptedException&) {
    run.print_files();
    throw;
  }
}

}  // namespace numforge
