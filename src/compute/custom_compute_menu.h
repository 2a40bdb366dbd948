// The Custom Compute menu: a job's settings, line by line, until it starts.
#pragma once

#include <cstdint>
#include <optional>

#include "compute/job.h"
#include "compute/job_runner.h"
#include "foundation/build_profile.h"

namespace numforge {

class CustomComputeMenu {
 public:
  explicit CustomComputeMenu(const nmp::BuildProfile& profile);

  /// Shows the menu and takes choices until a job has run, or the input ends. A round that fails
  /// prints its report and leaves the job as it was. InterruptedException passes through.
  void run();

 private:
  enum class Next { kShowAgain, kLeave };

  void show();
  void show_memory();
  Next round();
  Next choose(std::int64_t option);
  Next choose_ram_only(std::int64_t option);
  Next choose_swap_mode(std::int64_t option);
  void start();

  Job job_;
  std::optional<JobNeeds> needs_;  ///< as shown; nothing where the job cannot be sized
};

}  // namespace numforge
