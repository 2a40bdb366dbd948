// The name of what a step is doing, beside the step's label for as long as it lasts.
#pragma once

#include <string_view>

#include "foundation/progress.h"

namespace nmp {

class StepTrail {
 public:
  /// `progress` may be null.
  StepTrail(Progress* progress, std::string_view text) : progress_(progress) { show(text); }
  ~StepTrail() { hide(); }
  StepTrail(const StepTrail&) = delete;
  StepTrail& operator=(const StepTrail&) = delete;

  void replace(std::string_view text) {
    hide();
    show(text);
  }

 private:
  void show(std::string_view text) {
    if (progress_ != nullptr) progress_->trail('w', text);
  }
  void hide() {
    if (progress_ != nullptr) progress_->untrail(1);
  }

  Progress* progress_;
};

}  // namespace nmp
