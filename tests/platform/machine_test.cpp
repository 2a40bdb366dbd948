// Processor and memory, on every system.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <limits>
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
  CpuidAnswers all;
  all.leaf1_ecx = all.leaf1_edx = all.leaf7_ebx = ~0u;
  all.xcr0 = 0xe7;
  EXPECT_EQ(features_from(all), kSse2 | kAvx2 | kFma | kBmi2 | kAvx512 | kAvx512Ifma);
  EXPECT_EQ(features_from({}), 0u);

  CpuidAnswers no_zmm = all;
  for (std::uint64_t xcr0 : {0x07, 0x27, 0x67, 0xc7, 0xa7}) {
    no_zmm.xcr0 = xcr0;
    EXPECT_EQ(features_from(no_zmm), kSse2 | kAvx2 | kFma | kBmi2) << xcr0;
  }
  CpuidAnswers no_ymm = all;
  for (std::uint64_t xcr0 : {0xe3, 0xe5}) {
    no_ymm.xcr0 = xcr0;
    EXPECT_EQ(features_from(no_ymm), kSse2 | kBmi2) << xcr0;
  }
  CpuidAnswers old_system = all;  // OSXSAVE clear: the register must not be believed
  old_system.leaf1_ecx &= ~(1u << 27);
  EXPECT_EQ(features_from(old_system), kSse2 | kBmi2);
  for (int part : {16, 17, 30, 31}) {
    CpuidAnswers partial = all;
    partial.leaf7_ebx &= ~(1u << part);
    EXPECT_EQ(features_from(partial), kSse2 | kAvx2 | kFma | kBmi2) << part;
  }
}

TEST(Processor, AgreesWithTheKernel) {
  std::ifstream file("/proc/cpuinfo");
  std::string flags, vendor, name;
  for (std::string line; std::getline(file, line);) {
    const std::string value = line.substr(std::min(line.size(), line.find(':') + 2));
    if (line.starts_with("flags")) flags = " " + value + " ";
    if (line.starts_with("vendor_id")) vendor = value;
  }
  if (flags.empty()) GTEST_SKIP() << "no /proc/cpuinfo with flags";
  const auto has = [&](const char* flag) {
    return flags.find(std::string(" ") + flag + " ") != flags.npos;
  };
  const unsigned features = processor_features();
  EXPECT_EQ((features & kSse2) != 0, has("sse2"));
  EXPECT_EQ((features & kAvx2) != 0, has("avx2"));
  EXPECT_EQ((features & kFma) != 0, has("fma"));
  EXPECT_EQ((features & kBmi2) != 0, has("bmi2"));
  const bool avx512 = has("avx512f") && has("avx512dq") && has("avx512vl") && has("avx512bw");
  EXPECT_EQ((features & kAvx512) != 0, avx512);
  EXPECT_EQ((features & kAvx512Ifma) != 0, avx512 && has("avx512ifma"));
  EXPECT_EQ(processor_vendor(), vendor);
  EXPECT_EQ(processor_name(), processor_name().c_str());  // no padding
}

TEST(Processor, GroupsAddUpToTheProcessors) {
  const std::vector<unsigned> groups = processor_groups();
  ASSERT_FALSE(groups.empty());
  EXPECT_GE(logical_processors(), 1u);
  EXPECT_LE(logical_processors(), std::accumulate(groups.begin(), groups.end(), 0u));
}

TEST(Pages, AreZeroedAlignedAndCountedOnlyWhenTouched) {
  constexpr std::size_t kSize = (std::size_t{96} << 20) + 4096, kSlack = std::size_t{12} << 20;
  const std::uint64_t before = peak_memory();
  ASSERT_GT(before, 0u);
  ErrorCode error = -1;
  auto* pages = static_cast<unsigned char*>(allocate_pages(kSize, &error));
  ASSERT_NE(pages, nullptr);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(pages) % 4096, 0u);
  EXPECT_LT(peak_memory(), before + kSlack);
  unsigned found = 0;
  for (std::size_t i = 0; i < kSize; i += 512) found |= std::exchange(pages[i], 0xff);
  EXPECT_EQ(found, 0u);
  const std::uint64_t after = peak_memory();
  EXPECT_GE(after + kSlack, before + kSize);
  EXPECT_LE(after, before + kSize + kSlack);
  EXPECT_LT(after, physical_memory());
  free_pages(pages, kSize);
}

TEST(Pages, ComeBackAndRunOut) {
  ErrorCode error = 0;
  // More than the address space of 32 bits, and a noticeable number of mappings, if any were lost.
  for (int i = 0; i < 300; ++i) {
    void* large = allocate_pages(std::size_t{64} << 20, &error);
    void* small = allocate_pages(i % 3, &error);
    ASSERT_TRUE(large && small) << i << ": " << error_text(error);
    free_pages(large, std::size_t{64} << 20);
    free_pages(small, i % 3);
  }
  constexpr std::size_t kAll = std::numeric_limits<std::size_t>::max();
  for (std::size_t bytes : {kAll, kAll - (std::size_t{3} << 20), kAll - (std::size_t{99} << 20)}) {
    EXPECT_EQ(allocate_pages(bytes, &error), nullptr);
    EXPECT_NE(error, 0);
  }
  free_pages(nullptr, 0);
}

}  // namespace
}  // namespace nmp::platform
