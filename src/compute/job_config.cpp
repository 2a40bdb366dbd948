#include "compute/job_config.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <set>

#include "compute/job_failures.h"
#include "constants/catalogue.h"
#include "foundation/config/notation.h"
#include "foundation/exceptions.h"
#include "memory/allocator_choice.h"

namespace numforge {
namespace {

using nmp::config::Format;
using nmp::config::Object;
using nmp::config::Value;

constexpr const char* kAction = "CustomCompute";

Format format_of(const std::string& path) {
  return path.ends_with(".json") ? Format::kJson : Format::kAcfg;
}

std::int64_t clamped(std::uint64_t x) {
  return static_cast<std::int64_t>(
      std::min<std::uint64_t>(x, std::numeric_limits<std::int64_t>::max()));
}

/// Takes the members of one object by key and refuses those that nobody took.
class Taker {
 public:
  explicit Taker(const Object& object) : object_(object) {}

  template <typename Use>
  void integer(const char* key, Use use) {
    if (const Value* value = take(key)) use(value->integer());
  }
  template <typename Use>
  void string(const char* key, Use use) {
    if (const Value* value = take(key)) use(value->string());
  }
  template <typename Use>
  void object(const char* key, Use use) {
    const Value* value = take(key);
    if (value == nullptr) return;
    Taker inner(value->object());
    use(inner);
    inner.finish();
  }
  /// An object whose members somebody else knows.
  template <typename Use>
  void whole_object(const char* key, Use use) {
    if (const Value* value = take(key)) use(value->object());
  }
  void flag(const char* key, bool& field) {
    integer(key, [&](std::int64_t n) { field = n != 0; });
  }

  void finish() const {
    for (const Object::Member& member : object_.members())
      if (!taken_.contains(member.key))
        throw nmp::ParseException("job_from_config()", "Unknown key \"" + member.key + "\".",
                                  member.value.line());
  }

 private:
  const Value* take(const char* key) {
    taken_.insert(key);
    return object_.find(key);
  }

  const Object& object_;
  std::set<std::string, std::less<>> taken_;
};

/// The job that a constant begins with, its argument as a person types it.
Job take_constant(Taker& constant, const nmp::BuildProfile& profile) {
  std::string key, argument, algorithm;
  constant.string("Constant", [&](const std::string& text) { key = text; });
  constant.integer("Argument", [&](std::int64_t n) { argument = std::to_string(n); });
  constant.string("Algorithm", [&](const std::string& text) { algorithm = text; });
  Job job = make_job(key, argument, profile);
  if (!algorithm.empty()) set_algorithm(job, algorithm);
  return job;
}

void take_output(Taker& output, Job& job) {
  output.string("Path", [&](const std::string& path) { set_output_path(job, path); });
  output.flag("OutputEnable", job.output_enable);
  // 2^64 - 1 stands for one file; the notation's integers are signed.
  output.integer("DigitsPerFile", [&](std::int64_t n) { set_digits_per_file(job, n); });
}

void take_parallelism(Taker& parallelism, Job& job) {
  parallelism.integer("TaskDecomposition", [&](std::int64_t n) { set_task_decomposition(job, n); });
  parallelism.object("Framework", [&](Taker& framework) {
    std::string description;
    framework.string("Framework", [&](const std::string& key) { description = key; });
    framework.integer("Threads", [&](std::int64_t n) {
      if (n != 0) description += ":" + std::to_string(n);
    });
    set_framework(job, description);
  });
}

void take_memory(Taker& memory, Job& job) {
  memory.integer("RequestedMemory", [&](std::int64_t n) { set_swap_memory(job, n); });
  memory.object("FarMemory", [&](Taker& far) {
    far.string("Swap", [&](const std::string& text) { job.swap = text; });
    far.integer("MinimumIO", [&](std::int64_t n) { set_minimum_io(job, n); });
  });
  memory.object("FarMemoryTuning", [&](Taker& tuning) {
    tuning.integer("BytesPerSeek", [&](std::int64_t n) { set_bytes_per_seek(job, n); });
    tuning.flag("ParallelAccess", job.parallel_access);
  });
}

void write_swap_mode(const Job& job, Object& settings) {
  settings.add_section("Swap Mode.");
  Object& memory = settings.add_object("Memory");
  memory.add_integer("RequestedMemory", clamped(job.swap_memory));
  Object& far = memory.add_object("FarMemory");
  far.add_string("Swap", job.swap);
  far.add_integer("MinimumIO", clamped(job.minimum_io));
  Object& tuning = memory.add_object("FarMemoryTuning");
  tuning.add_integer("BytesPerSeek", clamped(job.bytes_per_seek));
  tuning.add_integer("ParallelAccess", job.parallel_access);
  Object& checkpointing = settings.add_object("Checkpointing");
  checkpointing.add_integer("Enabled", job.checkpointing);
  checkpointing.add_string("PostCheckpointCommand", job.post_checkpoint_command);
}

[[noreturn]] void refuse_file(const std::string& path, const std::string& why) {
  throw ConfigLoadException("load_job()", path + ": " + why);
}

}  // namespace

std::string config_path(std::string path) {
  const std::size_t name = path.find_last_of("/\\") + 1;  // 0 where there is none
  return path.find('.', name) == std::string::npos ? path + ".cfg" : path;
}

std::string located_message(const nmp::StringException& failure) {
  const auto* parse = dynamic_cast<const nmp::ParseException*>(&failure);
  if (parse == nullptr || parse->line() == 0) return failure.message();
  return failure.message() + " (line " + std::to_string(parse->line()) + ")";
}

ConfigFile::ConfigFile(const std::string& path) try
    : path_(path),
      root_(nmp::config::load(path, format_of(path))),
      action_(&root_.object().string("Action")) {
} catch (const nmp::ParseException& e) {
  refuse_file(path, located_message(e));
}

const Object& ConfigFile::settings() const {
  try {
    return root_.object().object(action());
  } catch (const nmp::ParseException& e) {
    refuse_file(path_, located_message(e));
  }
}

Job job_from_config(const Object& settings, const nmp::BuildProfile& profile) {
  (void)settings.at("Constant");
  Job job;
  Taker all(settings);
  all.object("Constant", [&](Taker& constant) { job = take_constant(constant, profile); });
  all.object("ComputeSize", [&](Taker& size) {
    size.integer("DecimalDigits", [&](std::int64_t n) { set_decimal_digits(job, n); });
    size.integer("EnableHexDigits", [&](std::int64_t n) { enable_hex_digits(job, n != 0); });
  });
  all.object("Output", [&](Taker& output) { take_output(output, job); });
  all.flag("OutputVerify", job.verify);
  all.string("Mode", [&](const std::string& mode) { set_mode(job, mode); });
  all.object("Parallelism", [&](Taker& parallelism) { take_parallelism(parallelism, job); });
  all.whole_object("Allocator", [&](const Object& allocator) {
    job.allocator = nmp::allocator_from_config(allocator).description();
  });
  all.object("Memory", [&](Taker& memory) { take_memory(memory, job); });
  all.object("Checkpointing", [&](Taker& checkpointing) {
    checkpointing.flag("Enabled", job.checkpointing);
    checkpointing.string("PostCheckpointCommand",
                         [&](const std::string& text) { job.post_checkpoint_command = text; });
  });
  all.finish();
  return job;
}

void write_config(const Job& job, Object& settings) {
  settings.add_section("What is computed.");
  Object& constant = settings.add_object("Constant");
  constant.add_string("Constant", job.constant);
  if (takes_number(constant_by_key(job.constant)))
    constant.add_integer(
        "Argument",
        clamped(job.constant == "brent" ? static_cast<std::uint64_t>(std::countr_zero(job.argument))
                                        : job.argument));
  constant.add_string("Algorithm", job.algorithm);
  Object& size = settings.add_object("ComputeSize");
  size.add_integer("DecimalDigits", clamped(job.decimal_digits));
  size.add_integer("EnableHexDigits", job.hex_digits != 0);

  settings.add_section(
      "Where the digits go. DigitsPerFile: 0 for a text file, -1 for one compressed file.");
  Object& output = settings.add_object("Output");
  output.add_string("Path", job.output_path);
  output.add_integer("OutputEnable", job.output_enable);
  output.add_integer("DigitsPerFile",
                     job.digits_per_file == kOneFile ? -1 : clamped(job.digits_per_file));
  settings.add_integer("OutputVerify", job.verify);

  settings.add_section("How it is computed.");
  settings.add_string("Mode", mode_key(job.mode));
  Object& parallelism = settings.add_object("Parallelism");
  parallelism.add_integer("TaskDecomposition", job.task_decomposition);
  Object& framework = parallelism.add_object("Framework");
  const std::size_t colon = job.framework.find(':');
  framework.add_string("Framework", job.framework.substr(0, colon));
  if (colon != std::string::npos)
    framework.add_integer("Threads", std::stoll(job.framework.substr(colon + 1)));
  nmp::add_to_config(settings.add_object("Allocator"), nmp::parse_allocator(job.allocator));
  if (job.mode == Mode::Swap) write_swap_mode(job, settings);
}

Job load_job(const std::string& path, const nmp::BuildProfile& profile) {
  const ConfigFile file(path);
  if (file.action() != kAction) refuse_file(path, "Invalid Action: " + file.action());
  const Object& settings = file.settings();
  try {
    return job_from_config(settings, profile);
  } catch (const nmp::StringException& e) {
    refuse_file(path, located_message(e));
  }
}

void save_job(const Job& job, const std::string& path) {
  Object file;
  file.add_string("Action", kAction);
  write_config(job, file.add_object(kAction));
  nmp::config::save(path, file, format_of(path));
}

}  // namespace numforge
