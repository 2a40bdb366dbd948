#include "arith/multiply/algorithm_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "arith/multiply/basecase/basecase.h"
#include "foundation/exceptions.h"
#include "support/arithmetic.h"
#include "support/console_io.h"
#include "support/products.h"

namespace nmp {
namespace {

using test::Words;

/// A multiplier with a weakness: it flips a bit of every product.
class Faulty final : public Algorithm {
 public:
  explicit Faulty(std::uint64_t most, std::size_t scratch = 0)
      : Algorithm(most, "BAD", "Faulty", "BAD", "for tests"), scratch_(scratch) {}
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

std::string refusal(AlgorithmTable& table, std::uint64_t threshold, const Algorithm& algorithm) {
  try {
    table.add(threshold, &algorithm);
  } catch (const StringException& e) {
    return e.function() + ": " + e.message();
  }
  return "accepted";
}

TEST(AlgorithmRegistry, ListsTheSixRecords) {
  const RegisteredAlgorithm expected[] = {
      {"BKT", "Basecase/Karatsuba", "MULB", "Basic Multiply", 65536, nullptr},
      {"N32", "32-bit NTT", "NTT32", "32-bit NTT", 2415919104u, nullptr},
      {"N64", "64-bit NTT", "NTT64", "64-bit NTT", 0x3800000000000000u, nullptr},
      {"FFT", "Floating-Point FFT", "FFTv2", "vector scalable", 17179869184u, nullptr},
      {"VST", "VST Algorithm", "VSTv2", "VST Algorithm", 76800u * 4294967296u, nullptr},
      {"HNT", "Hybrid NTT", "HNTs", "original", 0x7FFF0000000u, nullptr}};
  ASSERT_EQ(algorithm_registry().size(), std::size(expected));
  for (std::size_t i = 0; i < std::size(expected); ++i) {
    const RegisteredAlgorithm& record = algorithm_registry()[i];
    EXPECT_STREQ(record.id, expected[i].id);
    EXPECT_STREQ(record.name, expected[i].name);
    EXPECT_STREQ(record.tag, expected[i].tag);
    EXPECT_STREQ(record.description, expected[i].description);
    EXPECT_EQ(record.max_size, expected[i].max_size) << record.id;
  }
}

TEST(AlgorithmTable, RefusesThresholdsThatDoNotFit) {
  const Algorithm& basecase = basecase_karatsuba();
  AlgorithmTable table;
  EXPECT_EQ(refusal(table, 65568 / 32, basecase),
            "AlgorithmTable::add(): Thresholds is larger than maximum size.");
  EXPECT_EQ(refusal(table, (std::uint64_t{1} << 59) + 1, basecase),
            "AlgorithmTable::add(): Thresholds is larger than maximum size.");
  EXPECT_EQ(refusal(table, 65536 / 32, basecase), "accepted");
  for (const std::uint64_t again : {2048u, 1u})
    EXPECT_EQ(refusal(table, again, basecase),
              "AlgorithmTable::add(): Thresholds must be increasing.");
  table.add(4096, nullptr);
  EXPECT_THROW(table.get_algorithm(2049), LimitExceededException) << "null adds nothing";
}

TEST(AlgorithmTable, SelectsTheFirstEntryThatReaches) {
  const Faulty middle(1u << 20), rest(~std::uint64_t{0});
  AlgorithmTable table;
  table.add(200, &basecase_karatsuba());
  table.add(458, &middle);
  table.add(std::uint64_t{1} << 34, &rest);
  EXPECT_EQ(&table.get_algorithm(0), &basecase_karatsuba());
  EXPECT_EQ(&table.get_algorithm(200), &basecase_karatsuba());
  EXPECT_EQ(&table.get_algorithm(201), &middle);
  EXPECT_EQ(&table.get_algorithm(458), &middle);
  EXPECT_EQ(&table.get_algorithm(std::uint64_t{1} << 34), &rest) << "compared in 64 bits";
  try {
    table.get_algorithm((std::uint64_t{1} << 34) + 1);
    FAIL();
  } catch (const LimitExceededException& e) {
    EXPECT_EQ(e.function(), "AlgorithmTable::get_algorithm()");
    EXPECT_THAT(e.report(), testing::HasSubstr("17179869185"));
  }
}

TEST(AlgorithmTable, LoadsAListAndReportsWhatItSkips) {
  AlgorithmTable table("AlgorithmTableB");
  const TuningEntry list[] = {{"BKT", 6400 + 31},
                              {"XYZ", 7000},
                              {"FFT", 14680064},
                              {"HNT", std::uint64_t{1} << 38},
                              {"N64", 0x3800000000000000u}};
  EXPECT_EQ(test::on_console("", [&] { table.load(list); }),
            "Skipping unknown algorithm: XYZ\n"
            "Warning: AlgorithmTableB does not support: \"FFT\"\n");
  EXPECT_STREQ(table.get_algorithm(200).id, "BKT");
  EXPECT_STREQ(table.get_algorithm(201).id, "HNT");
  EXPECT_STREQ(table.get_algorithm((std::uint64_t{1} << 33)).id, "HNT");
  EXPECT_STREQ(table.get_algorithm((std::uint64_t{1} << 33) + 1).id, "N64");
  const TuningEntry equal[] = {{"BKT", 6400}, {"HNT", 6431}};
  AlgorithmTable other;
  EXPECT_THROW(other.load(equal), StringException) << "equal in words";
}

TEST(AlgorithmTable, ScratchCoversEveryEntryThatMayServe) {
  const Faulty greedy(1u << 20, 640), small(1u << 20);
  AlgorithmTable table;
  table.add(100, &small);
  table.add(200, &greedy);
  table.add(20000, &small);
  EXPECT_EQ(table.scratch_bytes(60, 1), 64u);
  EXPECT_EQ(table.scratch_bytes(100, 1), 128u);
  EXPECT_EQ(table.scratch_bytes(101, 1), 640u);
  EXPECT_EQ(table.scratch_bytes(300, 1), 640u) << "shorter products still use the second entry";
  EXPECT_EQ(table.scratch_bytes(6400, 1), 6400u);
}

TEST(Multiply, RejectsAWrongProduct) {
  const Faulty faulty(1u << 20);
  AlgorithmTable table;
  table.add(20000, &faulty);
  const auto framework = parallel::make_context("none");
  Context context{*framework, table};
  const Words a(256, 0x12345678), b(256, 0x9ABCDEF0), shorter(255, 0x9ABCDEF0);
  const auto run = [&](const Words& x, const Words& y) {
    return test::fenced_product(x, y, multiply_scratch(context, x.size() + y.size()),
                                [&](auto... arguments) { multiply(context, arguments...); });
  };
  try {
    run(a, b);
    FAIL();
  } catch (const AlgorithmFailedException& e) {
    EXPECT_EQ(e.function(), "multiply()");
    EXPECT_EQ(e.message(), "Multiplication Failed: Checksum Mismatch");
  }
  EXPECT_THROW(run(a, a), AlgorithmFailedException);
  EXPECT_NO_THROW(run(a, shorter)) << "short products are not checked";
}

TEST(Multiply, DispatchesByTheLengthOfTheProduct) {
  test::Arithmetic arithmetic;
  for (const auto& [al, bl] : {std::pair{100, 100}, {100, 101}, {200, 1}, {511, 1}, {300, 300}}) {
    const Words a(al, 0xFFFFFFFF), b(bl, 0x80000001);
    const Words c = test::fenced_product(
        a, b, multiply_scratch(arithmetic.context, a.size() + b.size()),
        [&](auto... arguments) { multiply(arithmetic.context, arguments...); });
    EXPECT_EQ(c, test::schoolbook(a, b)) << al << " x " << bl;
  }
}

}  // namespace
}  // namespace nmp
