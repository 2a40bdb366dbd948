// Progress that nobody looks at.
#pragma once

#include "foundation/progress.h"

namespace nmp::test {

class NoProgress : public Progress {
 public:
  void stage(std::string_view) override {}
  void note(std::string_view) override {}
  void step(std::string_view) override {}
  void trail(char, std::string_view) override {}
  void untrail(std::size_t) override {}
  void advance(double) override {}
};

}  // namespace nmp::test
