// Processor and memory, on every system.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "platform/cpuid.h"
#include "platform/pages.h"
#include "platform/process.h"
#include "platform/processor.h"

namespace nmp::platform {
namespace {

TEST(Processor, ASetCountsOnlyWhenTheSystemSavesItsRegisters) {
  constexpr unsigned kNoYmm = kSse2 | kBmi2 | kAdx, kNoZmm = kNoYmm | kAvx2 | kFma;
  constexpr unsigned kAll = kNoZmm | kAvx512 | kAvx512Ifma;
  struct Case {
    std::uint64_t xcr0;
    unsigned leaf1_ecx, leaf7_ebx, features;
  };
  std::vector<Case> cases = {{0xe7, ~0u, ~0u, kAll},
                             {0xe3, ~0u, ~0u, kNoYmm},
                             {0xe5, ~0u, ~0u, kNoYmm},
                             {0xe7, ~(1u << 27), ~0u, kNoYmm}};  // XCR0 must not be believed
  for (std::uint64_t xcr0 : {0x07, 0x27, 0x67, 0xc7, 0xa7})
    cases.push_back({xcr0, ~0u, ~0u, kNoZmm});
  for (int part : {16, 17, 30, 31}) cases.push_back({0xe7, ~0u, ~(1u << part), kNoZmm});
  for (const Case& c : cases) {
    CpuidAnswers answers;
    answers.leaf1_edx = ~0u;
    answers.xcr0 = c.xcr0;
    answers.leaf1_ecx = c.leaf1_ecx;
    answers.leaf7_ebx = c.leaf7_ebx;
    EXPECT_EQ(features_from(answers), c.features) << c.xcr0 << ' ' << c.leaf7_ebx;
  }
  EXPECT_EQ(features_from({}), 0u);
}

TEST(Processor, AgreesWithTheKernel) {
  const std::vector<unsigned> groups = processor_groups();
  EXPECT_GE(logical_processors(), 1u);
  EXPECT_LE(logical_processors(), std::accumulate(groups.begin(), groups.end(), 0u));

  std::ifstream file("/proc/cpuinfo");
  std::string flags, vendor;
  for (std::string line; std::getline(file, line);) {
    const std::string value = line.substr(std::min(line.size(), line.find(':') + 2));
    if (line.starts_with("flags")) flags = " " + value + " ";
    if (line.starts_with("vendor_id")) vendor = value;
  }
  if (flags.empty()) GTEST_SKIP() << "no /proc/cpuinfo with flags";
  const std::pair<unsigned, const char*> sets[] = {{kSse2, " sse2 "},
                                                   {kAvx2, " avx2 "},
                                                   {kFma, " fma "},
                                                   {kAvx512Ifma, " avx512ifma "},
                                                   {kAdx, " adx "}};
  for (const auto& [bit, name] : sets)
    EXPECT_EQ((processor_features() & bit) != 0, flags.find(name) != flags.npos) << name;
  EXPECT_EQ(processor_vendor(), vendor);
}

TEST(Pages, AreZeroedAlignedAndCountedOnlyWhenTouched) {
  constexpr std::size_t kSize = (std::size_t{96} << 20) + 4096, kSlack = std::size_t{12} << 20;
  const std::uint64_t before = peak_memory();
  ErrorCode error = -1;
  auto* pages = static_cast<unsigned char*>(allocate_pages(kSize, &error));
  ASSERT_NE(pages, nullptr);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(pages) % 4096, 0u);
  EXPECT_LT(peak_memory(), before + kSlack);
  unsigned found = 0;
  for (std::size_t i = 0; i < kSize; i += 512) found |= std::exchange(pages[i], 0xff);
  EXPECT_EQ(found, 0u);
  EXPECT_GE(peak_memory() + kSlack, before + kSize);
  EXPECT_LT(peak_memory(), physical_memory());
  free_pages(pages, kSize);
  EXPECT_EQ(allocate_pages(~std::size_t{0}, &error), nullptr);
  EXPECT_NE(error, 0);
}

}  // namespace
}  // namespace nmp::platform
