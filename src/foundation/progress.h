// How long-running arithmetic tells its job where it stands.
#pragma once

#include <cstddef>
#include <string_view>

namespace nmp {

/// One job's status display. Called from the job's own thread only.
class Progress {
 public:
  virtual ~Progress() = default;
  /// A timed stage of the job begins ("Series", "Division"); ends the stage before it.
  virtual void stage(std::string_view name) = 0;
  /// A line of its own above the status ("Series CommonP2B3...  705,149 terms").
  virtual void note(std::string_view line) = 0;
  /// A step begins ("Summing: "). Ends the step before it.
  virtual void step(std::string_view label) = 0;
  /// Text appended to the step's status, coloured as console.h says.
  virtual void trail(char color, std::string_view text) = 0;
  /// Takes back the last `count` texts of the trail.
  virtual void untrail(std::size_t count) = 0;
  /// The share of the current step's work that is done, 0 to 1.
  virtual void advance(double fraction) = 0;
};

/// Progress that nobody looks at: of work on threads that are not the job's own.
class NoProgress : public Progress {
 public:
  void stage(std::string_view) override {}
  void note(std::string_view) override {}
  void step(std::string_view) override {}
  void trail(char, std::string_view) override {}
  void untrail(std::size_t) override {}
  void advance(double) override {}
};

/// Throws InterruptedException when the user has asked the program to stop. Cheap; long loops call
/// it often, on any thread whose exceptions reach the job.
void throw_if_interrupted();

}  // namespace nmp
