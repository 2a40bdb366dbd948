// numforge: the limits of a 32-bit program on every target, so that its results and refusals are
// the same everywhere.
#include "shell/profile.h"

namespace numforge {
namespace {

constexpr nmp::TuningLine kTuning[] = {
    {"BKT", 6400},
    {"FFT", 14680064},
    {"HNT", std::uint64_t{1} << 38},
    {"VST", std::uint64_t{76800} << 32},
    {"N64", std::uint64_t{0x38000000} << 32},
};

}  // namespace

const nmp::BuildProfile kProfile = {
    .tag = "00-x86",
    .label = "Legacy x86",
    .ram_only_limit = std::uint64_t{2} << 30,
    .swap_memory_cap = 1'879'048'185,
    .tuning = kTuning,
};

}  // namespace numforge
