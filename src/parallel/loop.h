// A loop whose chunks any number of threads take from one counter, until there are none left.
//
// Chunks are handed out as threads ask for them, so that a thread with cheap ones takes more. About
// four per thread keep the last ones short without many visits to the counter.
#pragma once

#include <atomic>
#include <cstddef>
#include <exception>
#include <functional>

namespace nmp::parallel {

class Loop {
 public:
  using Body = std::function<void(std::size_t, std::size_t)>;

  /// [begin, end) must not be empty. `body` must outlive the loop.
  Loop(std::size_t begin, std::size_t end, std::size_t grain, unsigned threads, const Body& body);
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;

  std::size_t chunks() const { return chunks_; }
  /// Chunks that nobody has claimed yet.
  std::size_t left() const {
    const std::size_t next = next_;
    return next < chunks_ ? chunks_ - next : 0;
  }
  /// A chunk for this thread to run; chunks() or more when there is none left.
  std::size_t claim() { return next_++; }
  bool is_chunk(std::size_t claimed) const { return claimed < chunks_; }

  /// Runs a claimed chunk and then as many others as it can claim. Keeps the first exception and
  /// ends the claims.
  void run(std::size_t chunk) noexcept;
  /// Throws the exception that was kept, if any. For the thread that made the loop, after all
  /// others have left it.
  void rethrow();

 private:
  void run_one(std::size_t chunk) const;

  const std::size_t begin_, end_;
  std::size_t chunk_;   ///< length of every chunk but the last
  std::size_t chunks_;  ///< at least 1
  const Body& body_;
  std::atomic<std::size_t> next_{0};
  std::atomic<bool> failed_{false};
  std::exception_ptr error_;  ///< written by the thread that set `failed_`
};

}  // namespace nmp::parallel
