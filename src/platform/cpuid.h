// Reading instruction sets out of the processor's own answers.
#pragma once

#include <cstdint>

namespace nmp::platform {

/// The registers that decide; zero where the processor has no such leaf.
struct CpuidAnswers {
  std::uint32_t leaf1_ecx = 0;
  std::uint32_t leaf1_edx = 0;
  std::uint32_t leaf7_ebx = 0;
  std::uint64_t xcr0 = 0;  ///< register state that the system saves; zero without OSXSAVE
};

/// Feature bits (processor.h) for these answers.
/// Source: Intel 64 and IA-32 Architectures Software Developer's Manual, volume 1, sections 14.3
/// (AVX, FMA, AVX2) and 15.2 (AVX-512), 2023.
unsigned features_from(const CpuidAnswers& answers);

}  // namespace nmp::platform
