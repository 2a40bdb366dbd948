#include "tools/bbp/bbp_session.h"

#include <algorithm>
#include <numeric>
#include <vector>

#include "foundation/exceptions.h"
#include "foundation/format.h"
#include "platform/processor.h"

namespace numforge {
namespace {

[[noreturn]] void refuse(const std::string& message) {
  throw nmp::InvalidParametersException("BBPSession::update_settings()", message);
}

}  // namespace

BBPSettings default_bbp_settings() {
  const std::vector<unsigned> groups = nmp::platform::processor_groups();
  BBPSettings settings;
  settings.threads = std::clamp(std::accumulate(groups.begin(), groups.end(), 0u), 1u,
                                nmp::parallel::kMostThreads);
  return settings;
}

BBPSession::BBPSession(const BBPSettings& settings) { update_settings(settings); }

void BBPSession::update_settings(const BBPSettings& settings) {
  if (settings.formula < 0 || settings.formula >= std::int64_t{kBBPFormulas})
    refuse("Invalid Algorithm");
  if (settings.offset < 0) refuse("The hexadecimal offset must not be negative.");
  if (settings.digits < 1 || settings.digits > static_cast<std::int64_t>(kMostBBPDigits))
    refuse("The number of digits to compute must be between 1 and " +
           nmp::with_commas(kMostBBPDigits) + ".");
  if (settings.threads < 1 || settings.threads > std::int64_t{nmp::parallel::kMostThreads})
    refuse("The number of threads must be between 1 and " +
           nmp::with_commas(nmp::parallel::kMostThreads) + ".");
  settings_ = settings;
  plan_ =
      plan_bbp(static_cast<unsigned>(settings.formula), static_cast<std::uint64_t>(settings.offset),
               static_cast<std::uint64_t>(settings.digits));
}

std::string BBPSession::cannot_start() const {
  const BBPModeInfo* best = nullptr;
  for (unsigned mode = 0; mode < kBBPModes; ++mode)
    if ((usable_modes() & mode_bit(BBPMode{mode})) != 0) best = &kBBPModeInfo[mode];
  if (best == nullptr) return "No modes enabled.";
  if (plan_.largest_divisor > best->limit)
    return std::string("Divisor exceeds limit of ") + best->limit_text;
  return "";
}

BBPv2::Digits BBPSession::run(nmp::Progress* progress) const {
  if (const std::string reason = cannot_start(); !reason.empty())
    throw nmp::InvalidParametersException("BBPSession::run()", "Cannot Start: " + reason);
  const std::unique_ptr<nmp::parallel::Context> context = nmp::parallel::make_context(
      std::string(nmp::parallel::kDefaultFramework) + ":" + std::to_string(settings_.threads));
  return BBPv2::extract(plan_.formula, plan_.offset, plan_.digits,
                        {settings_.modes, settings_.pin_threads, nullptr}, *context, progress);
}

}  // namespace numforge
