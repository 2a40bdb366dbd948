#include "compute/status_display.h"

#include <algorithm>
#include <cstdio>

#include "foundation/console.h"
#include "foundation/format.h"

namespace numforge {
namespace {

constexpr auto kBetweenUpdates = std::chrono::milliseconds(200);
constexpr std::size_t kLabelWidth = 32;
/// An estimate of what is left is only shown once there is something to base it on.
constexpr double kLeastFraction = 0.02, kLeastSeconds = 1;

double seconds(std::chrono::steady_clock::duration d) {
  return std::chrono::duration<double>(d).count();
}

}  // namespace

StatusDisplay::StatusDisplay()
    : live_(nmp::console::is_terminal()), start_(Clock::now()), last_shown_(start_) {}

StatusDisplay::~StatusDisplay() {
  if (!label_.empty()) nmp::console::clear_line();
}

double StatusDisplay::total_seconds() const { return seconds(Clock::now() - start_); }

void StatusDisplay::stage(std::string_view name) {
  end_stage();
  stage_ = name;
  stage_start_ = Clock::now();
}

void StatusDisplay::end_stage() {
  end_step();
  if (stage_.empty()) return;
  const double took = seconds(Clock::now() - stage_start_);
  const auto known = std::find_if(stages_.begin(), stages_.end(),
                                  [&](const StageTime& s) { return s.name == stage_; });
  if (known == stages_.end())
    stages_.push_back({stage_, took});
  else
    known->seconds += took;
  stage_.clear();
}

void StatusDisplay::finish() { end_stage(); }

void StatusDisplay::note(std::string_view line) {
  end_step();
  nmp::console::print_line(line);
}

void StatusDisplay::step(std::string_view label) {
  end_step();
  label_ = label;
  trail_.clear();
  fraction_ = 0;
  step_start_ = Clock::now();
  show(true);
}

void StatusDisplay::end_step() {
  if (label_.empty()) return;
  nmp::console::clear_line();
  const double took = seconds(Clock::now() - step_start_);
  label_.resize(std::max(label_.size() + 1, kLabelWidth), ' ');
  nmp::console::print(label_);
  nmp::console::print_line('T', nmp::duration(took));
  label_.clear();
}

void StatusDisplay::trail(char color, std::string_view text) {
  trail_.push_back({color, std::string(text)});
  show(false);
}

void StatusDisplay::untrail(std::size_t count) {
  trail_.resize(trail_.size() - std::min(count, trail_.size()));
}

void StatusDisplay::advance(double fraction) {
  fraction_ = std::clamp(fraction, 0.0, 1.0);
  show(false);
}

void StatusDisplay::show(bool now) {
  if (!live_ || label_.empty()) return;
  const Clock::time_point time = Clock::now();
  if (!now && time - last_shown_ < kBetweenUpdates) return;
  last_shown_ = time;
  const double elapsed = seconds(time - step_start_);
  std::string figures;
  if (fraction_ > 0) {
    char percentage[16];
    std::snprintf(percentage, sizeof percentage, "%5.1f%%", 100 * fraction_);
    figures = percentage;
  }
  figures += "  Elapsed: " + nmp::duration(elapsed);
  if (fraction_ >= kLeastFraction && elapsed >= kLeastSeconds)
    figures += "  Left: " + nmp::duration(elapsed * (1 - fraction_) / fraction_);
  std::vector<nmp::console::ColoredText> line = {{'w', label_}, {'Y', figures}, {'w', "  "}};
  line.insert(line.end(), trail_.begin(), trail_.end());
  nmp::console::rewrite_line(line);
}

}  // namespace numforge
