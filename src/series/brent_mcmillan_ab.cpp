#include "series/brent_mcmillan_ab.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "arith/hash61.h"
#include "arith/multiply/algorithm_table.h"
#include "foundation/console.h"
#include "foundation/exceptions.h"
#include "foundation/format.h"
#include "parallel/context.h"
#include "parallel/serial.h"
#include "series/brent_mcmillan_leaf.h"
#include "series/fault.h"

namespace nmp::BinarySplitting::BrentMcMillanAB {
namespace {

constexpr std::uint64_t kTermsFloor = 100;
constexpr std::uint64_t kPlanWarning = 10000;
/// Halves of a block shorter than this are not worth a task.
constexpr std::uint64_t kLeastTerms = 1024;
/// With less scratch than this, the floor on terms is looked at.
constexpr std::size_t kScarceBytes = std::size_t{1} << 16;
/// Words beyond the target in what the end of a run works with.
constexpr std::size_t kFinishGuard = 4;

/// The residue must be right both as the operations carried it and in the words themselves.
void check_residue(Context& context, const Range& range, const ExactFloat& x,
                   std::uint64_t expected) {
  for (const std::uint64_t actual : {x.hash, x.computed_hash(context)}) {
    if (actual == expected) continue;
    console::print_line('R', "Modular Redundancy Check Failed");
    throw BSRModularCheckFailedException("BinarySplitting::BrentMcMillanAB::PSR_BlockS::run()",
                                         expected, actual,
                                         {range.D.hash, range.C.hash, range.T.hash, range.U.hash});
  }
}

double levels_of(std::uint64_t terms) { return std::log2(static_cast<double>(terms)); }

}  // namespace

void SeriesRun::report(std::uint64_t terms_done, double levels) {
  const double work = static_cast<double>(terms_done) * levels;
  const double total = static_cast<double>(parameters.terms) * levels_of(parameters.terms + 1);
  const double done = work_done.fetch_add(work) + work;
  if (std::this_thread::get_id() == owner) progress.advance(std::min(1.0, done / total));
}

bool SeriesRun::is_reported(std::uint64_t range) const {
  return range >= 256 && range >= parameters.terms / 4096;
}

bool BSR_BlockS::BSR_End(Range& result, std::uint64_t a, std::uint64_t b) {
  if (!Sizing::is_end(a, b)) return false;
  set_leaf(run_.parameters, result, a, b);
  return true;
}

/// Tells whether it did; otherwise the range is too short or the scratch is.
bool BSR_BlockS::sum_halves_at_once(Context& context, Range& left, Range& right, std::uint64_t a,
                                    std::uint64_t b, unsigned tds, AlignedBufferC scratch) {
  if (tds < 2 || b - a < 2 * kLeastTerms || !run_.is_reported(b - a)) return false;
  const std::uint64_t m = Sizing::split(a, b);
  parallel::SerialContext one_thread;
  Context serial{one_thread, context.products, context.longest_product};
  Context& half_context = tds > 2 ? context : serial;
  const Sizing sizing = run_.sizing.in(half_context);
  const std::size_t share = scratch.bytes() / 2 / kBufferAlignment * kBufferAlignment;
  if (std::max(sizing.scratch_bytes(a, m), sizing.scratch_bytes(m, b)) > share) return false;
  AlignedBufferC arenas[] = {scratch.spawn(share), scratch.spawn(share)};
  const auto sum = [&](Range& half, std::uint64_t from, std::uint64_t to, AlignedBufferC arena) {
    BSR_BlockS(run_, Trail::kHidden).BSR_S(half_context, half, from, to, (tds + 1) / 2, arena);
  };
  const bool shown = trail_ == Trail::kShown;
  if (shown) run_.progress.trail('T', ":");
  context.threads.fork_join([&] { sum(left, a, m, arenas[0]); },
                            [&] { sum(right, m, b, arenas[1]); });
  if (shown) run_.progress.untrail(1);
  if (shown) run_.report(b - a, levels_of(m - a));
  return true;
}

void BSR_BlockS::BSR_S(Context& context, Range& result, std::uint64_t a, std::uint64_t b,
                       unsigned tds, AlignedBufferC scratch) {
  static const char* const kName = "BinarySplitting::BrentMcMillanAB::BSR_BlockS::BSR_S()";
  if (b - a > run_.plan.size) throw InvalidParametersException(kName, "Size exceeded for plan.");
  if (tds > run_.plan.tds)
    throw InvalidParametersException(kName,
                                     "Attempted to run with a larger tds than the plan supports.");
  if (BSR_End(result, a, b)) return;
  if (b - a < kTermsFloor && scratch.bytes() < kScarceBytes &&
      scratch.bytes() < run_.sizing.scratch_bytes(a, b))
    throw LimitExceededException(kName, "Unable to fit even 100 terms in memory.", b - a);

  const bool long_range = run_.is_reported(b - a);
  if (long_range) throw_if_interrupted();
  const bool reported = long_range && trail_ == Trail::kShown;
  const std::uint64_t m = Sizing::split(a, b);
  const auto sum_half = [&](Range& half, bool is_left, AlignedBufferC rest) {
    const std::uint64_t first = is_left ? a : m, last = is_left ? m : b;
    if (!reported) return BSR_S(context, half, first, last, tds, rest);
    run_.progress.trail('G', is_left ? "0" : "1");
    // What is too short to report by itself shows as one end case, all its levels together.
    const bool silent = !run_.is_reported(last - first);
    if (silent) run_.progress.trail('T', ":");
    BSR_S(context, half, first, last, tds, rest);
    if (silent) run_.report(last - first, levels_of(last - first));
    run_.progress.untrail(silent ? 2 : 1);
  };
  const AlignedBufferC whole = scratch;
  Range right = carve_range(scratch, run_.sizing.result(m, b));
  if (!sum_halves_at_once(context, result, right, a, b, tds, scratch)) {
    sum_half(result, true, whole);
    sum_half(right, false, scratch);
  }
  merge(context, result, right, run_.parameters.shift(a, m), kAll, scratch);
  spoil(result.T);
  if (reported) run_.report(b - a, 1);
}

void PSR_BlockS::run(Context& context, Range& result, std::uint64_t a, std::uint64_t b,
                     AlignedBufferC scratch) {
  BSR_BlockS(run_).BSR_S(context, result, a, b, run_.plan.tds, scratch);
  check(context, result, a, b);
}

void PSR_BlockS::check(Context& context, const Range& range, std::uint64_t a,
                       std::uint64_t b) const {
  const Residues expected = range_residues(context, run_.parameters, a, b);
  check_residue(context, range, range.D, expected.D);
  check_residue(context, range, range.C, expected.C);
  check_residue(context, range, range.T, expected.T);
  check_residue(context, range, range.U, expected.U);
}

void PSR_SeriesPartsS::run(Context& context, Range& result, std::uint64_t a, std::uint64_t b,
                           AlignedBufferC scratch) {
  if (run_.sizing.is_exact(a, b)) return PSR_BlockS(run_).run(context, result, a, b, scratch);
  throw_if_interrupted();  // where n is far too large, all blocks are too short to ask
  const std::uint64_t m = Sizing::split(a, b);
  run_.progress.trail('G', "0");
  run(context, result, a, m, scratch);
  run_.progress.untrail(1);
  run_.progress.trail('G', "1");
  Range right = carve_range(scratch, run_.sizing.result(m, b));
  run(context, right, m, b, scratch);
  merge(context, result, right, run_.parameters.shift(a, m), run_.sizing.kept(a, b), scratch);
  run_.progress.untrail(1);
  run_.report(b - a, 1);
}

PSR_SeriesS::PSR_SeriesS(Context& context, const Parameters& parameters)
    : context_(context), parameters_(parameters), sizing_(context, parameters_) {
  plan_.size = parameters.terms;
  plan_.tds = std::min(context.threads.threads(), context.most_tasks);
}

std::uint64_t PSR_SeriesS::count_blocks(std::uint64_t a, std::uint64_t b) const {
  if (sizing_.is_exact(a, b)) return 1;
  throw_if_interrupted();
  const std::uint64_t m = Sizing::split(a, b);
  return count_blocks(a, m) + count_blocks(m, b);
}

void PSR_SeriesS::announce(Progress& progress) {
  const double factor = sizing_.expansion_factor();
  char text[32];
  std::snprintf(text, sizeof text, "%.6g", factor);
  progress.note("Series A and B...  " + with_commas(parameters_.terms) +
                " terms  (Expansion Factor = " + text + ")");
  plan_.blocks = count_blocks(0, parameters_.terms);
  if (plan_.blocks < kPlanWarning) return;
  progress.note("Performance Warning: PSR plan has exceeded 10000 blocks.");
  progress.note("PSR plan has reached a size of " + std::to_string(plan_.blocks));
  progress.note("It is not recommended to proceed with such a computation.\n");
  progress.note("If you are seeing this message, it means the series is either too slow or");
  progress.note("there is something wrong with its convergence behavior.");
}

std::size_t PSR_SeriesS::finishing_words() const { return parameters_.target + kFinishGuard; }

std::size_t PSR_SeriesS::scratch_bytes() const {
  const std::size_t words = finishing_words(), product = 2 * words;
  const std::size_t finishing = 2 * carved_bytes<Word>(product) +
                                2 * carved_bytes<Word>(words + 2) +
                                multiply_scratch(context_, product);
  return sizing_.result(0, parameters_.terms).bytes() +
         std::max(finishing, sizing_.scratch_bytes(0, parameters_.terms));
}

void PSR_SeriesS::run(Results& results, std::size_t refined_target, Progress& progress,
                      AlignedBufferC scratch) {
  announce(progress);
  progress.step("Summing: ");
  Range sum = carve_range(scratch, sizing_.result(0, parameters_.terms));
  SeriesRun run{parameters_, sizing_, plan_, progress};
  PSR_SeriesPartsS(run).run(context_, sum, 0, parameters_.terms, scratch);
  finish(sum, results, refined_target, progress, scratch);
}

void PSR_SeriesS::finish(Range& sum, Results& results, std::size_t refined_target,
                         Progress& progress, AlignedBufferC scratch) {
  const std::size_t words = finishing_words();
  for (ExactFloat* x : {&sum.D, &sum.C, &sum.T, &sum.U}) x->truncate(context_, words);
  ExactFloat S = carve_number(scratch, words + 2), R = carve_number(scratch, words + 2);
  ExactFloat x = carve_number(scratch, 2 * words), y = carve_number(scratch, 2 * words);

  progress.step("Finishing Series");
  for (ExactFloat* of : {&sum.T, &sum.U}) of->mp2(2 * std::int64_t{parameters_.k});
  for (ExactFloat* of : {&sum.T, &sum.U}) of->truncate(context_, words);
  x.set_mul(context_, sum.C, sum.T, scratch);
  y.set_mul(context_, sum.D, sum.U, scratch);
  x.truncate(context_, words);
  y.truncate_below(context_, x.exp);
  x.usubAB_ip(context_, y);
  results.numerator.set_ExactFloat(x, parameters_.target);

  progress.step("Finalizing: Q^2: ");
  x.set_mul(context_, sum.D, sum.D, scratch);
  x.truncate(context_, words);
  S.set_ExactFloat(context_, x);
  progress.step("Finalizing: R + S: ");
  x.truncate_below(context_, sum.T.exp);
  R.set_add(context_, sum.T, x);
  R.truncate(context_, words);
  progress.step("Finalizing: Q * (R + S): ");
  x.set_mul(context_, sum.D, R, scratch);
  results.denominator.set_ExactFloat(x, parameters_.target);
  if (refined_target == 0) return;
  results.S.set_ExactFloat(S, refined_target);
  results.R.set_ExactFloat(R, refined_target);
}

}  // namespace nmp::BinarySplitting::BrentMcMillanAB
