// The handle through which arithmetic uses threads.
//
// Two shapes only: a loop split into ranges and a pair of tasks. Results never depend on the
// number of threads, so callers must not let the split show in what they compute.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace nmp::parallel {

class Context {
 public:
  virtual ~Context() = default;

  /// Threads that work at once, the caller's own included; at least 1.
  virtual unsigned threads() const = 0;
  /// The text that `make_context` would turn into an equal framework.
  virtual std::string description() const = 0;

  /// Calls `body(first, last)` for ranges that tile [begin, end) and waits for all of them. Every
  /// range but the last is a multiple of `grain` long, counted from `begin`. An exception from a
  /// range is rethrown here after the other ranges have ended.
  virtual void parallel_for(std::size_t begin, std::size_t end, std::size_t grain,
                            const std::function<void(std::size_t, std::size_t)>& body) = 0;

  /// Runs both tasks and waits for both. If either throws, one of the exceptions is rethrown.
  virtual void fork_join(const std::function<void()>& left, const std::function<void()>& right) = 0;
};

/// Builds a framework from its description: the framework's key ("none").
/// Throws InvalidParametersException for a name that is unknown or not available here.
std::unique_ptr<Context> make_context(std::string_view description);

}  // namespace nmp::parallel
