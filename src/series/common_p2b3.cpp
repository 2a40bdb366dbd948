#include "series/common_p2b3.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "arith/hash61.h"
#include "arith/multiply/algorithm_table.h"
#include "foundation/exceptions.h"
#include "foundation/format.h"
#include "parallel/context.h"
#include "series/binary_bbp.h"
#include "series/fault.h"
#include "series/last_merge.h"
#include "series/recurrence.h"
#include "series/reduce.h"
#include "series/subtree_tasks.h"

namespace nmp::BinarySplitting::CommonP2B3 {
namespace {

constexpr std::uint64_t kTermsFloor = 100;
constexpr std::size_t kPlanWarning = 10000;
/// Room above a finished sum for its coefficients, and for a P far smaller than Q.
constexpr std::size_t kFinishWords = 16;

const char* name_of(Family family) {
  switch (family) {
    case Family::kHyperdescent:
      return "Hyperdescent";
    case Family::kBinaryBBP:
      return "BinaryBBP";
    default:
      return "CommonP2B3";
  }
}

/// Ranges below a small share of the series neither report progress nor poll for interruption.
bool is_reported(std::uint64_t range, std::uint64_t all) {
  return range >= 256 && range >= all / 4096;
}

std::uint64_t magnitude(std::int64_t x) {
  return x < 0 ? 0 - static_cast<std::uint64_t>(x) : static_cast<std::uint64_t>(x);
}

/// x *= by, in place.
void multiply_by(Context& context, ExactFloat& x, std::uint64_t by, AlignedBufferC scratch) {
  if (by <= 0xFFFFFFFFu) return x.mul_uW(static_cast<Word>(by));
  std::array<Word, 2> storage{};
  BasicInt integer(storage.data(), 2);
  integer.set_u64(by);
  std::array<Word, 2> copy{};
  ExactFloat factor(copy.data(), 2);
  factor.set_BasicInt(integer, true);
  ExactFloat product = carve_number(scratch, x.L + std::size_t{2});
  product.set_mul(context, x, factor, scratch);
  x.set_ExactFloat(context, product);
}

/// Turns a finished product into the result that has lent it its buffer.
void adopt(BigFloat& result, const ExactFloat& x, std::size_t target) {
  result.T = x.T;
  result.L = x.L;
  result.exp = x.exp;
  result.sign = x.sign;
  result.truncate(target + kExtraPrecision);
}

/// The residue must be right both as the operations carried it and in the words themselves.
void check_residue(Context& context, const Range& range, const ExactFloat& x,
                   std::uint64_t expected) {
  for (const std::uint64_t residue : {x.hash, x.computed_hash(context)}) {
    const std::uint64_t actual = hash61::multiply(residue, range.dropped);
    if (actual != expected) fail_modular_check(range, expected, actual);
  }
}

}  // namespace

double SeriesRun::work_total() const {
  const double n = static_cast<double>(series.terms);
  return n * std::log2(n + 1);
}

void SeriesRun::report(std::uint64_t terms_done, double levels) {
  const double work = static_cast<double>(terms_done) * levels;
  const double done = work_done.fetch_add(work) + work;
  if (std::this_thread::get_id() == owner) progress.advance(std::min(1.0, done / work_total()));
}

void SeriesRun::combine(Context& context, Range& left, const Range& right, const Cut& cut,
                        bool needs_R, const Kept& kept, AlignedBufferC scratch) {
  if (!sizing.keeps_R()) {
    BinaryBBP::lend_ratio(left, right, series.scale(), cut.m - cut.a, kept.sum);
    needs_R = false;
  }
  merge(context, left, right, needs_R, kept, scratch);
}

void SeriesRun::join(Context& context, Range& left, Range& right, const Cut& cut, bool needs_R,
                     AlignedBufferC scratch) {
  if (const CommonFactors* common = sizing.factors(); common && common->is_reduced(cut.a, cut.b))
    drop_common(*common, left, right, cut.a, cut.m, cut.b);
  combine(context, left, right, cut, needs_R, kKeepAll, scratch);
  spoil(left.P);
}

bool BSR_BlockS::BSR_End(Context& context, Range& result, std::uint64_t a, std::uint64_t b,
                         bool needs_R, AlignedBufferC scratch) {
  if (!run_.sizing.is_end(a, b)) return false;
  const bool drops = run_.sizing.factors() != nullptr;
  if (b - a <= run_.series.leaf_terms(drops)) {
    Leaf leaf;
    run_.series.leaf(a, b, drops, leaf);
    set_leaf(result, leaf);
    return true;
  }
  const bool pairs = scratch.bytes() >= run_.sizing.end_bytes(true);
  if (!pairs && scratch.bytes() < run_.sizing.end_bytes(false)) return false;
  const std::size_t step = pairs ? Term::kWords : Term::kWords / 2;
  Range next = carve_range(scratch, {step, step, step});
  result.dropped = 1;
  Term term;
  for (std::uint64_t k = a + 1; k <= b;) {
    const bool two = pairs && k < b;
    two ? run_.series.end_case_2(k, term) : run_.series.end_case_1(k, term);
    Range& target = k == a + 1 ? result : next;
    target.P.set_BasicInt(term.P, term.P_positive);
    target.Q.set_BasicInt(term.Q, true);
    target.R.set_BasicInt(term.R, term.R_positive);
    k += two ? 2 : 1;
    // Later steps read the running R; only the last may go without.
    if (&target == &next) merge(context, result, next, needs_R || k <= b, kKeepAll, scratch);
  }
  return true;
}

/// Tells whether it did; otherwise the range is too short or the scratch is.
bool BSR_BlockS::sum_in_tasks(Context& context, Range& result, std::uint64_t a, std::uint64_t b,
                              bool needs_R, unsigned tds, AlignedBufferC scratch) {
  SubtreeTasks tasks(context, run_, a, b, needs_R, tds);
  if (!tasks.can_run() || tasks.scratch_bytes() > scratch.bytes()) return false;
  run_.progress.trail('T', ":");
  tasks.run(result, scratch);
  run_.progress.untrail(1);
  return true;
}

void BSR_BlockS::BSR_S(Context& context, Range& result, std::uint64_t a, std::uint64_t b,
                       bool needs_R, unsigned tds, AlignedBufferC scratch) {
  static const char* const kName = "BinarySplitting::CommonP2B3::BSR_BlockS::BSR_S()";
  if (b - a > run_.plan.size) throw InvalidParametersException(kName, "Size exceeded for plan.");
  if (tds > run_.plan.tds)
    throw InvalidParametersException(kName,
                                     "Attempted to run with a larger tds than the plan supports.");
  const bool long_range = is_reported(b - a, run_.series.terms);
  if (tds > 1 && long_range && sum_in_tasks(context, result, a, b, needs_R, tds, scratch)) return;
  if (BSR_End(context, result, a, b, needs_R, scratch)) return;
  if (b - a < kTermsFloor && scratch.bytes() < run_.sizing.scratch_bytes(a, b, needs_R))
    throw LimitExceededException(kName, "Unable to fit even 100 terms in memory.", b - a);

  const std::uint64_t m = run_.series.split(a, b);
  if (long_range) throw_if_interrupted();
  const bool reported = long_range && trail_ == Trail::kShown;
  const auto sum_half = [&](Range& half, bool is_left) {
    const std::uint64_t first = is_left ? a : m, last = is_left ? m : b;
    const bool half_needs_R = is_left || needs_R;
    if (!reported) return BSR_S(context, half, first, last, half_needs_R, tds, scratch);
    run_.progress.trail('G', is_left ? "0" : "1");
    // What is too short to report by itself shows as one end case, all its levels together.
    const bool silent = !is_reported(last - first, run_.series.terms);
    if (silent) run_.progress.trail('T', ":");
    BSR_S(context, half, first, last, half_needs_R, tds, scratch);
    if (silent) run_.report(last - first, std::log2(static_cast<double>(last - first)));
    run_.progress.untrail(silent ? 2 : 1);
  };
  sum_half(result, true);
  Range right = carve_range(scratch, run_.sizing.result(m, b, needs_R));
  sum_half(right, false);
  run_.join(context, result, right, {a, m, b}, needs_R, scratch);
  if (reported) run_.report(b - a, 1);
}

void PSR_BlockS::run(Context& context, Range& result, const Block& block, bool needs_R,
                     AlignedBufferC scratch) {
  BSR_BlockS(run_).BSR_S(context, result, block.a, block.b, needs_R, run_.plan.tds, scratch);

  const Residues expected = range_residues(context, run_.series, block.a, block.b);
  check_residue(context, result, result.P, expected.P);
  check_residue(context, result, result.Q, expected.Q);
  if (needs_R && run_.sizing.keeps_R()) check_residue(context, result, result.R, expected.R);
}

void PSR_SeriesPartsS::run(Context& context, Range& result, std::size_t first, std::size_t last,
                           bool needs_R, AlignedBufferC scratch) {
  const std::vector<Block>& blocks = run_.plan.blocks;
  if (last - first == 1)
    return PSR_BlockS(run_).run(context, result, blocks[first], needs_R, scratch);
  const std::uint64_t a = blocks[first].a, b = blocks[last - 1].b;
  const std::uint64_t m = run_.series.split(a, b);
  // The plan was cut by the same rule, so that a block begins at m.
  const auto cut =
      std::lower_bound(blocks.begin(), blocks.end(), m,
                       [](const Block& block, std::uint64_t at) { return block.a < at; });
  const std::size_t middle = static_cast<std::size_t>(cut - blocks.begin());
  run_.progress.trail('G', "0");
  run(context, result, first, middle, true, scratch);
  run_.progress.untrail(1);
  run_.progress.trail('G', "1");
  const Words words = run_.sizing.result(m, b, needs_R);
  AlignedBufferC behind_Q = scratch;
  (void)behind_Q.carve<Word>(words.Q);
  Range right = carve_range(scratch, words);
  run(context, right, middle, last, needs_R, scratch);
  if (run_.sizing.is_last_merge(a, m, b, needs_R))
    merge_last(context, result, right, run_.sizing.kept(a), behind_Q, scratch);
  else
    run_.combine(context, result, right, {a, m, b}, needs_R,
                 {run_.sizing.kept(a), run_.sizing.kept(b)}, scratch);
  run_.progress.untrail(1);
  run_.report(b - a, 1);
}

PSR_SeriesS::PSR_SeriesS(Context& context, const Series& series, std::size_t target)
    : context_(context), series_(series), target_(target), sizing_(context, series, target) {
  plan_.size = series.terms;
  plan_.tds = std::min(context.threads.threads(), context.most_tasks);
  build_plan(0, series.terms);
}

void PSR_SeriesS::build_plan(std::uint64_t a, std::uint64_t b) {
  if (!sizing_.is_exact(a, b) && !sizing_.is_end(a, b)) {
    const std::uint64_t m = series_.split(a, b);
    build_plan(a, m);
    build_plan(m, b);
    return;
  }
  plan_.blocks.push_back({a, b, series_.range_bits(a, b).Q});
}

std::string series_header(const Series& series) {
  char factor[32];
  std::snprintf(factor, sizeof factor, "%.6g", series.expansion_factor);
  return "Series " + std::string(name_of(series.family)) + "...  " + with_commas(series.terms) +
         " terms  (Expansion Factor = " + factor + ")";
}

void PSR_SeriesS::announce(Progress& progress) const {
  progress.note(series_header(series_));
  const std::size_t blocks = plan_.blocks.size();
  if (blocks >= kPlanWarning)
    progress.note("Performance Warning: PSR plan has exceeded 10000 blocks.");
  if (blocks > kPlanWarning - 1) {
    progress.note("PSR plan has reached a size of " + std::to_string(blocks));
    progress.note("It is not recommended to proceed with such a computation.\n");
    progress.note("If you are seeing this message, it means the series is either too slow or");
    progress.note("there is something wrong with its convergence behavior.");
  }
}

std::size_t PSR_SeriesS::result_words() const {
  const Sizing::Words words = sizing_.result(0, series_.terms, false);
  return std::max(words.P, words.Q) + kFinishWords;
}

std::size_t PSR_SeriesS::scratch_bytes() const {
  const Sizing::Words words = sizing_.result(0, series_.terms, false);
  const std::size_t coefficient = carved_bytes<Word>(result_words());
  const std::size_t finishing = 2 * coefficient + multiply_scratch(context_, result_words());
  return carved_bytes<Word>(words.R) +
         std::max(finishing, sizing_.scratch_bytes(0, series_.terms, false));
}

void PSR_SeriesS::run(BigFloat& numerator, BigFloat& denominator, Progress& progress,
                      AlignedBufferC scratch) {
  announce(progress);
  progress.step("Summing: ");
  const std::size_t r_words = sizing_.result(0, series_.terms, false).R;
  Range sum;
  sum.P = ExactFloat(numerator.buffer, numerator.buffer_size);
  sum.Q = ExactFloat(denominator.buffer, denominator.buffer_size);
  sum.R = carve_number(scratch, r_words);
  SeriesRun run{series_, sizing_, plan_, progress};
  PSR_SeriesPartsS(run).run(context_, sum, 0, plan_.blocks.size(), false, scratch);
  finish(sum, numerator, denominator, progress, scratch);
}

void PSR_SeriesS::finish(Range& sum, BigFloat& numerator, BigFloat& denominator, Progress& progress,
                         AlignedBufferC scratch) const {
  if (series_.family == Family::kBinaryBBP) progress.step("Finishing Series");
  scale_with_coefficients(sum, progress, scratch);
  if (series_.family == Family::kHyperdescent) progress.step("Finishing Series");
  adopt(numerator, sum.P, target_);
  adopt(denominator, sum.Q, target_);
}

void PSR_SeriesS::scale_with_coefficients(Range& sum, Progress& progress,
                                          AlignedBufferC scratch) const {
  const std::uint64_t coefP = magnitude(series_.coefP), coefQ = magnitude(series_.coefQ);
  ExactFloat& P = sum.P;
  ExactFloat& Q = sum.Q;
  ExactFloat q = carve_number(scratch, coefQ == 0 ? 0 : Q.L + kFinishWords);
  const auto scale = [&](const char* label, ExactFloat& x, std::uint64_t by) {
    if (series_.family != Family::kBinaryBBP) progress.step(label);
    multiply_by(context_, x, by, scratch);
  };
  const auto add_q_to_P = [&] {
    progress.step("Finalizing: P + Q: ");
    if (series_.coefQ < 0) q.negate();
    if (!P.is_zero()) q.truncate_below(context_, P.exp);
    P.add_ip(context_, q);
  };

  if (series_.coefP < 0) P.negate();
  if (coefP == coefQ) {
    q.set_ExactFloat(context_, Q);
    add_q_to_P();
    scale("Finalizing: P * coefP: ", P, coefP);
    scale("Finalizing: Q * coefD: ", Q, series_.coefD);
  } else {
    scale("Finalizing: P * coefP: ", P, coefP);
    if (coefQ != 0) {
      q.set_ExactFloat(context_, Q);
      scale("Finalizing: Q * coefQ: ", q, coefQ);
    }
    scale("Finalizing: Q * coefD: ", Q, series_.coefD);
    if (coefQ != 0) add_q_to_P();
  }
}

}  // namespace nmp::BinarySplitting::CommonP2B3
