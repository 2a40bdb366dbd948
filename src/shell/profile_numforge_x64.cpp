// numforge-x64: for jobs past the limits of 32-bit programs.
#include <limits>

#include "shell/profile.h"

namespace numforge {
namespace {

// Measured on Zen 4 with AVX-512: BKT and FFT cross at 60 limbs of 64 bits in each operand, FFT and
// HNT near 25,000.
constexpr nmp::TuningLine kTuning[] = {
    {"BKT", 7680},
    {"FFT", 3276800},
    {"HNT", std::uint64_t{1} << 38},
    {"VST", std::uint64_t{76800} << 32},
    {"N64", std::uint64_t{0x38000000} << 32},
};

}  // namespace

const nmp::BuildProfile kProfile = {
    .tag = "01-x64",
    .label = "x64",
    .ram_only_limit = std::numeric_limits<std::uint64_t>::max(),
    .swap_memory_cap = std::numeric_limits<std::uint64_t>::max(),
    .tuning = kTuning,
};

}  // namespace numforge
