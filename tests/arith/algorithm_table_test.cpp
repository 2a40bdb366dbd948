#include "arith/multiply/algorithm_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "arith/multiply/basecase/basecase.h"
#include "foundation/exceptions.h"
#include "support/arithmetic.h"
#include "support/console_io.h"
#include "support/faults.h"
#include "support/products.h"

namespace nmp {
namespace {

using test::expect_fault;
using test::Words;

/// A multiplier with a weakness: it flips a bit of every product.
class Faulty final : public Algorithm {
 public:
  explicit Faulty(std::size_t scratch = 0)
      : Algorithm(~std::uint64_t{0}, "BAD", "Faulty", "BAD", "for tests"), scratch_(scratch) {}
  std::size_t scratch_bytes(std::size_t n, unsigned /*threads*/) const override {
    return scratch_ != 0 ? scratch_ : aligned_bytes(n);
  }
  void multiply(Context& /*context*/, Word* c, const Word* a, std::size_t al, const Word* b,
                std::size_t bl, AlignedBufferC /*scratch*/) const override {
    const Words product = test::schoolbook(Words(a, a + al), Words(b, b + bl));
    std::copy(product.begin(), product.end(), c);
    c[(al + bl) / 2] ^= 0x10;
  }

 private:
  std::size_t scratch_;
};

TEST(Algorithms, RefuseProductsBeyondTheirSize) {
  test::Arithmetic arithmetic;
  Word w = 1;  // refused before anything is touched
  for (const auto& record : algorithm_registry())
    if (record.instance && record.max_size / 32 <= ~std::size_t{0}) {
      const auto n = static_cast<std::size_t>(record.max_size / 32);
      EXPECT_THROW(record.instance->multiply(arithmetic.context, &w, &w, n, &w, 1, {}),
                   LimitExceededException);
    }
}

TEST(AlgorithmTable, RefusesThresholdsThatDoNotFit) {
  const Algorithm& basecase = basecase_karatsuba();
  AlgorithmTable table;
  const auto refuse = [&](std::uint64_t threshold, const char* message) {
    expect_fault<StringException>("AlgorithmTable::add()", message,
                                  [&] { table.add(threshold, &basecase); });
  };
  for (const std::uint64_t threshold : {std::uint64_t{2049}, (std::uint64_t{1} << 59) + 1})
    refuse(threshold, "Thresholds is larger than maximum size.");
  table.add(2048, &basecase);
  for (const std::uint64_t again : {2048u, 1u}) refuse(again, "Thresholds must be increasing.");
}

TEST(AlgorithmTable, SelectsTheFirstEntryThatReaches) {
  const Faulty middle, greedy(6400), rest;
  AlgorithmTable table;
  table.add(200, &middle);
  table.add(458, &greedy);
  table.add(std::uint64_t{1} << 34, &rest);
  EXPECT_EQ(&table.get_algorithm(200), &middle);
  EXPECT_EQ(&table.get_algorithm(201), &greedy);
  EXPECT_EQ(&table.get_algorithm(std::uint64_t{1} << 34), &rest) << "compared in 64 bits";
  try {
    table.get_algorithm((std::uint64_t{1} << 34) + 1);
    FAIL();
  } catch (const LimitExceededException& e) {
    EXPECT_EQ(e.function(), "AlgorithmTable::get_algorithm()");
    EXPECT_THAT(e.report(), testing::HasSubstr("17179869185"));
  }
  // Scratch is that of the entry which serves; with it, shorter products fall to that entry too
  // where their own needs more.
  EXPECT_EQ(table.scratch_bytes(200, 1), 256u);
  EXPECT_EQ(table.scratch_bytes(201, 1), 6400u);
  EXPECT_EQ(table.scratch_bytes(500, 1), 512u);
  EXPECT_EQ(&table.get_algorithm(201, 1, 6400), &greedy);
  EXPECT_EQ(&table.get_algorithm(201, 1, 512), &rest);
  EXPECT_EQ(&table.get_algorithm(201, 1, 64), &greedy) << "none has enough: the first complains";
}

TEST(AlgorithmTable, LoadsAListAndReportsWhatItSkips) {
  AlgorithmTable table("AlgorithmTableB");
  const TuningEntry list[] = {{"BKT", 6400 + 31},
                              {"XYZ", 7000},
                              {"FFT", 14680064},
                              {"HNT", std::uint64_t{1} << 38},
                              {"VST", std::uint64_t{76800} << 32},
                              {"N64", 0x3800000000000000u}};  // the most it takes
  EXPECT_EQ(test::on_console("", [&] { table.load(list); }), "Skipping unknown algorithm: XYZ\n");
  const std::uint64_t last = std::uint64_t{1} << 33;
  for (const auto& [words, id] : {std::pair{std::uint64_t{200}, "BKT"},
                                  {201, "FFT"},
                                  {458752, "FFT"},
                                  {458753, "HNT"},
                                  {last, "HNT"},
                                  {last + 1, "VST"}})
    EXPECT_STREQ(table.get_algorithm(words).id, id);
}

Words product(const Context& context, const Words& a, const Words& b) {
  Context copy = context;
  return test::fenced_product(a, b, multiply_scratch(context, a.size() + b.size()),
                              [&](auto... arguments) { multiply(copy, arguments...); });
}

TEST(Multiply, RejectsAWrongProduct) {
  const Faulty faulty;
  AlgorithmTable table;
  table.add(20000, &faulty);
  const auto framework = parallel::make_context("none");
  const Context context{*framework, table};
  const Words a(256, 0x12345678), b(256, 0x9ABCDEF0), shorter(255, 0x9ABCDEF0);
  for (const Words& other : {std::cref(a), std::cref(b)})
    expect_fault<AlgorithmFailedException>("multiply()", "Multiplication Failed: Checksum Mismatch",
                                           [&] { product(context, a, other); });
  EXPECT_NO_THROW(product(context, a, shorter)) << "short products are not checked";
}

TEST(Multiply, DispatchesByLengthWholeAndInPieces) {
  test::Arithmetic arithmetic;
  for (const auto& [al, bl] :
       {std::pair{100, 100}, {100, 101}, {200, 1}, {511, 1}, {513, 511}, {513, 512}, {3000, 1700}})
    for (const std::size_t longest : {~std::size_t{0}, std::size_t{0}}) {
      const Words a(al, 0xFFFFFFFF), b(bl, 0x80000001);
      arithmetic.context.longest_product = longest;
      EXPECT_EQ(product(arithmetic.context, a, b), test::schoolbook(a, b)) << al << " x " << bl;
    }
}

}  // namespace
}  // namespace nmp
