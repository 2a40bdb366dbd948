// The handle through which arithmetic uses threads.
//
// Two shapes only: a loop split into ranges and a pair of tasks. Results never depend on the
// number of threads, so callers must not let the split show in what they compute. Both shapes nest
// to any depth, and several threads may use one context at once.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace nmp::parallel {

class Context {
 public:
  virtual ~Context() = default;

  /// Threads that work at once, the caller's own included; at least 1.
  virtual unsigned threads() const = 0;
  /// The text that `make_context` would turn into an equal framework.
  virtual std::string description() const = 0;

  /// Calls `body(first, last)` for ranges that tile [begin, end) and waits for all of them; the
  /// caller's thread takes part. Every range but the last is a multiple of `grain` >= 1 long,
  /// counted from `begin`. The first exception from a range is rethrown here after every range that
  /// had begun has ended; ranges that had not begun by then are left out.
  virtual void parallel_for(std::size_t begin, std::size_t end, std::size_t grain,
                            const std::function<void(std::size_t, std::size_t)>& body) = 0;

  /// Runs both tasks and waits for both, with exceptions as above.
  virtual void fork_join(const std::function<void()>& left, const std::function<void()>& right) = 0;
};

inline constexpr std::string_view kDefaultFramework = "pushpool";
inline constexpr unsigned kMostThreads = 1024;

struct FrameworkName {
  std::string_view key;
  std::string_view title;  ///< what a person chooses by
  bool threaded;           ///< whether a number of threads may follow
};
/// All that this program knows, those of other systems included.
std::vector<FrameworkName> framework_names();

/// Builds a framework from its description, KEY or KEY:THREADS. Keys: "none" (which takes no
/// number), "cppasync", "spawn", "taskqueue", "pushpool", "winpool". THREADS: 1 to kMostThreads;
/// without it, all logical processors of this process.
/// Throws InvalidParametersException for a description that is malformed or not available on this
/// system, and ResourceAcquisitionFailedException when no thread can be started; with fewer threads
/// than wanted it warns.
std::unique_ptr<Context> make_context(std::string_view description);

/// The same checks without starting anything. Returns the description with the number of threads
/// ("pushpool:8").
std::string canonical_description(std::string_view description);

}  // namespace nmp::parallel
