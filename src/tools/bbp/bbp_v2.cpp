#include "tools/bbp/bbp_v2.h"

#include <algorithm>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>

#include "foundation/exceptions.h"
#include "platform/processor.h"

namespace numforge::BBPv2 {
namespace {

/// Terms of one range: some milliseconds of work.
std::uint64_t chunk_terms(const BBPPlan& plan, unsigned threads) {
  const std::uint64_t most = (std::uint64_t{1} << 16) / (1 + plan.kernel_words / 32);
  const std::uint64_t fair = plan.terms / (8 * std::uint64_t{threads});
  return std::max<std::uint64_t>(64, std::min(most, fair) / 64 * 64);
}

/// One sum by several workers, who take ranges in order until none is left.
class Sum {
 public:
  Sum(const BBPPlan& plan, const Setup& setup, nmp::parallel::Context& context,
      nmp::Progress* progress)
      : plan_(plan),
        setup_(setup),
        kernels_(setup.kernels != nullptr ? *setup.kernels : bbp_kernels()),
        context_(context),
        progress_(progress),
        caller_(std::this_thread::get_id()),
        chunk_(chunk_terms(plan, context.threads())),
        total_(plan.fraction_words()) {}

  FractionFloat run() {
    context_.parallel_for(0, context_.threads(), 1, [this](std::size_t first, std::size_t last) {
      for (std::size_t worker = first; worker < last; ++worker) work(worker);
    });
    if (failure_) report_failure();
    return std::move(total_);
  }

 private:
  void work(std::size_t worker) {
    try {
      std::optional<nmp::platform::PinnedThread> pin;
      if (setup_.pin_threads) pin.emplace(static_cast<unsigned>(worker));
      FractionFloat sum(plan_.fraction_words());
      while (const std::optional<Region> region = next_region()) {
        nmp::throw_if_interrupted();
        add_terms(plan_, *region, setup_.modes, kernels_, sum);
        if (progress_ != nullptr && std::this_thread::get_id() == caller_)
          progress_->advance(static_cast<double>(region->e()) / static_cast<double>(plan_.terms));
      }
      const std::scoped_lock lock(mutex_);
      total_.add(sum);
    } catch (...) {
      const std::scoped_lock lock(mutex_);
      if (!failure_) failure_ = std::current_exception();
    }
  }

  std::optional<Region> next_region() {
    const std::scoped_lock lock(mutex_);
    if (next_ >= plan_.terms || failure_) return std::nullopt;
    const std::uint64_t s = next_;
    next_ = s + std::min(chunk_, plan_.terms - s);
    return Region(s, next_);
  }

  [[noreturn]] void report_failure() const {
    try {
      std::rethrow_exception(failure_);
    } catch (const nmp::InterruptedException&) {
      throw;
    } catch (const nmp::Exception& e) {
      e.print();
    } catch (const std::exception& e) {
      nmp::StdException(e.what()).print();
    }
    throw nmp::StringException("BBPv2::sum_all()", "An exception was thrown from a worker thread.");
  }

  const BBPPlan& plan_;
  const Setup& setup_;
  const BBPKernelSet& kernels_;
  nmp::parallel::Context& context_;
  nmp::Progress* const progress_;
  const std::thread::id caller_;
  const std::uint64_t chunk_;
  std::mutex mutex_;  ///< of all below
  std::uint64_t next_ = 0;
  FractionFloat total_;
  std::exception_ptr failure_;
};

}  // namespace

FractionFloat sum_all(const BBPPlan& plan, const Setup& setup, nmp::parallel::Context& context,
                      nmp::Progress* progress) {
  return Sum(plan, setup, context, progress).run();
}

std::uint64_t proven_digits(const FractionFloat& sum, std::uint64_t precision_bits,
                            std::uint64_t error_bound) {
  FractionFloat least = sum, most = sum;
  const auto bound = static_cast<std::int64_t>(error_bound);
  least.add_at(precision_bits, -bound);
  most.add_at(precision_bits, bound);
  const auto digits = static_cast<std::size_t>(precision_bits / 4);
  const std::string a = least.hex_digits(digits), b = most.hex_digits(digits);
  return static_cast<std::uint64_t>(std::mismatch(a.begin(), a.end(), b.begin()).first - a.begin());
}

Digits extract(unsigned formula, std::uint64_t offset, std::uint64_t digits, const Setup& setup,
               nmp::parallel::Context& context, nmp::Progress* progress) {
  Digits result;
  for (std::size_t more_words = 0;; more_words = 2 * more_words + 1, ++result.attempts) {
    result.plan = plan_bbp(formula, offset, digits, more_words);
    if (progress != nullptr)
      progress->step(result.attempts == 1 ? "Summing: " : "Summing with more bits: ");
    const FractionFloat sum = sum_all(result.plan, setup, context, progress);
    result.proven = proven_digits(sum, result.plan.precision_bits(), result.plan.error_bound);
    if (result.proven < digits) continue;
    result.text = sum.hex_digits(static_cast<std::size_t>(digits));
    return result;
  }
}

}  // namespace numforge::BBPv2
