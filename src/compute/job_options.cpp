#include "compute/job_options.h"

#include "foundation/exceptions.h"
#include "foundation/fatal.h"

namespace numforge {
namespace {

using nmp::CommandLine;

template <void (*set)(Job&, std::int64_t)>
void integer(CommandLine& line, Job& job) {
  set(job, nmp::parse_integer(line.value()));
  line.advance();
}

template <auto set>
void text(CommandLine& line, Job& job) {
  set(job, line.value());
  line.advance();
}

template <bool Job::*field>
void flag(CommandLine& line, Job& job) {
  job.*field = nmp::parse_integer(line.value()) != 0;
  line.advance();
}

/// An option that only Swap Mode knows.
template <void (*apply)(CommandLine&, Job&)>
void swap_only(CommandLine& line, Job& job) {
  if (job.mode != Mode::Swap)
    throw nmp::InvalidParametersException(
        "swap_only()", "Option " + line.key() + " is not supported for this mode.");
  apply(line, job);
}

void set_swap(Job& job, const std::string& configuration) { job.swap = configuration; }

constexpr nmp::Option<Job> kOptions[] = {
    {"-algorithm", "KEY", "formula to use, where the constant has several", text<set_algorithm>},
    {"-dec", "N", "decimal digits (suffixes K, M, B, T); as many in base 16 follow",
     integer<set_decimal_digits>},
    {"-hex", "N", "hexadecimal digits; as many in base 10 follow", integer<set_hex_digits>},
    {"-o", "PATH", "folder for the digit files", text<set_output_path>},
    {"-od", "0|1", "write digits to files", flag<&Job::output_enable>},
    {"-C", "N", "digits per compressed file, -1 for a single one; 0 writes text files",
     integer<set_digits_per_file>},
    {"-compress", "N", "the same as -C", integer<set_digits_per_file>},
    {"-verify", "0|1", "read the written digits back and check them", flag<&Job::verify>},
    {"-bbp", "0|1", "compare the last hexadecimal digits of Pi with the digit extractor's",
     flag<&Job::bbp_check>},
    {"-mode", "ram|swap", "keep all data in memory, or use disks (not in this version yet)",
     text<set_mode>},
    {"-MA", "NAME[:SETTING,...]",
     "memory: mmap (default) or interleave, both with largepages, lockedpages; malloc",
     text<set_allocator>},
    {"-PF", "NAME[:THREADS]",
     "threads: pushpool (default), taskqueue, spawn, cppasync, winpool, none", text<set_framework>},
    {"-TD", "N", "task decomposition, 1 to 65536", integer<set_task_decomposition>},
    {"-M", "BYTES", "memory to use (Swap Mode)", swap_only<integer<set_swap_memory>>},
    {"-minIO", "BYTES", "smallest disk access (Swap Mode)", swap_only<integer<set_minimum_io>>},
    {"-swap", "CONFIG", "swap disks (Swap Mode)", swap_only<text<set_swap>>},
};

}  // namespace

nmp::OptionTable<Job> job_options() { return kOptions; }

Job parse_job(CommandLine& line, const nmp::BuildProfile& profile) {
  Job job = make_job(line.key(), line.value(), profile);
  line.advance();
  while (!line.at_end()) {
    const nmp::Option<Job>* option = nmp::find_option(job_options(), line.key());
    if (option == nullptr) nmp::fatal_exit("Invalid Parameter: " + line.key());
    option->apply(line, job);
  }
  return job;
}

}  // namespace numforge
