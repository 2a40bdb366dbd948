// What the processor, and the system together with it, can do.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace nmp::platform {

/// Instruction sets, as bits. A set counts only when the system also saves its registers.
enum Feature : unsigned {
  kSse2 = 1u << 0,
  kAvx2 = 1u << 1,
  kFma = 1u << 2,
  kBmi2 = 1u << 3,
  kAvx512 = 1u << 4,  ///< F, DQ, VL and BW together
  kAvx512Ifma = 1u << 5,
  kAdx = 1u << 6,
};
/// Asked once, then remembered.
unsigned processor_features();

std::string processor_vendor();  ///< "GenuineIntel", "AuthenticAMD", ...
std::string processor_name();    ///< the brand text, or empty
/// Logical processors that this process may use, at least 1.
unsigned logical_processors();
/// Logical processors of each processor group; one entry on systems without groups.
std::vector<unsigned> processor_groups();

/// Keeps the calling thread on one logical processor while it lives, and then puts it back where it
/// could run before. To be destroyed by the same thread.
class PinnedThread {
 public:
  /// The index-th of the processors that the thread may use, counted around.
  explicit PinnedThread(unsigned index);
  ~PinnedThread();
  PinnedThread(const PinnedThread&) = delete;
  PinnedThread& operator=(const PinnedThread&) = delete;
  /// False where the system refuses or knows no such thing.
  bool is_pinned() const { return saved_ != nullptr; }

 private:
  struct Saved;
  std::unique_ptr<Saved> saved_;
};

}  // namespace nmp::platform
