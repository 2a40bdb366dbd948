// What the person at the console sees while a job runs, and how long its stages took.
//
// On a terminal one line follows the current step (trail, percentage, elapsed time, an estimate of
// what is left) and is replaced when the step ends. Elsewhere each step is one plain line, printed
// when it ends, without control characters.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "foundation/console.h"
#include "foundation/progress.h"

namespace numforge {

struct StageTime {
  std::string name;
  double seconds = 0;
};

class StatusDisplay : public nmp::Progress {
 public:
  StatusDisplay();
  /// Wipes a live line that an exception left behind.
  ~StatusDisplay() override;

  void stage(std::string_view name) override;
  void note(std::string_view line) override;
  void step(std::string_view label) override;
  void trail(char color, std::string_view text) override;
  void untrail(std::size_t count) override;
  void advance(double fraction) override;

  /// Ends the current step and stage.
  void finish();
  /// Stages in the order in which they first began; one that came twice is summed.
  const std::vector<StageTime>& stages() const { return stages_; }
  double total_seconds() const;

 private:
  using Clock = std::chrono::steady_clock;

  void end_step();
  void end_stage();
  void show(bool now);

  const bool live_;
  const Clock::time_point start_;
  Clock::time_point stage_start_, step_start_, last_shown_;
  std::vector<StageTime> stages_;
  std::string stage_, label_;
  std::vector<nmp::console::ColoredText> trail_;
  double fraction_ = 0;
};

}  // namespace numforge
