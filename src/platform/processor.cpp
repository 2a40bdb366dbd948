#include "platform/processor.h"

#include <cstring>

#include "platform/cpuid.h"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#define NF_HAS_CPUID 1
#endif

namespace nmp::platform {
namespace {

constexpr std::uint32_t bit(int n) { return std::uint32_t{1} << n; }

#ifdef NF_HAS_CPUID
/// Low half of the extended control register 0. Only valid where the system has set OSXSAVE.
std::uint64_t read_xcr0() {
  std::uint32_t low, high;
  __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return (std::uint64_t{high} << 32) | low;
}

CpuidAnswers ask_processor() {
  CpuidAnswers answers;
  unsigned a, b, c, d;
  if (__get_cpuid(1, &a, &b, &c, &d)) {
    answers.leaf1_ecx = c;
    answers.leaf1_edx = d;
    if (c & bit(27)) answers.xcr0 = read_xcr0();
  }
  if (__get_cpuid_count(7, 0, &a, &b, &c, &d)) answers.leaf7_ebx = b;
  return answers;
}
#endif

}  // namespace

unsigned features_from(const CpuidAnswers& answers) {
  constexpr std::uint64_t kYmmState = 0x6, kZmmState = 0xe6;
  const bool os_saves = answers.leaf1_ecx & bit(27);
  const bool ymm = os_saves && (answers.xcr0 & kYmmState) == kYmmState;
  const bool zmm = os_saves && (answers.xcr0 & kZmmState) == kZmmState;
  const bool avx = ymm && (answers.leaf1_ecx & bit(28));

  unsigned features = 0;
  if (answers.leaf1_edx & bit(26)) features |= kSse2;
  if (answers.leaf7_ebx & bit(8)) features |= kBmi2;
  if (answers.leaf7_ebx & bit(19)) features |= kAdx;
  if (avx && (answers.leaf7_ebx & bit(5))) features |= kAvx2;
  if (avx && (answers.leaf1_ecx & bit(12))) features |= kFma;
  constexpr std::uint32_t kAvx512Parts = bit(16) | bit(17) | bit(30) | bit(31);  // F DQ BW VL
  if (avx && zmm && (answers.leaf7_ebx & kAvx512Parts) == kAvx512Parts) {
    features |= kAvx512;
    if (answers.leaf7_ebx & bit(21)) features |= kAvx512Ifma;
  }
  return features;
}

#ifdef NF_HAS_CPUID

unsigned processor_features() {
  static const unsigned features = features_from(ask_processor());
  return features;
}

std::string processor_vendor() {
  unsigned a, words[3];
  if (!__get_cpuid(0, &a, &words[0], &words[2], &words[1])) return {};
  char text[sizeof words];
  std::memcpy(text, words, sizeof words);
  return std::string(text, sizeof text);
}

std::string processor_name() {
  unsigned words[12];
  for (unsigned i = 0; i < 3; ++i) {
    unsigned* w = words + 4 * i;
    if (!__get_cpuid(0x80000002u + i, &w[0], &w[1], &w[2], &w[3])) return {};
  }
  char text[sizeof words + 1] = {};
  std::memcpy(text, words, sizeof words);
  std::string name;  // vendors pad with blanks on either side
  for (const char* c = text; *c; ++c)
    if (*c != ' ' || (!name.empty() && name.back() != ' ')) name += *c;
  while (!name.empty() && name.back() == ' ') name.pop_back();
  return name;
}

#else

unsigned processor_features() { return 0; }
std::string processor_vendor() { return {}; }
std::string processor_name() { return {}; }

#endif

}  // namespace nmp::platform
