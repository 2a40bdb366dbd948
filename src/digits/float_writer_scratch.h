// Scratch of the parts of FloatWriterB.
#pragma once

#include <cstddef>
#include <cstdint>

#include "arith/context.h"

namespace nmp {

/// Bytes of scratch that verifying a decimal conversion takes beside the converted blocks.
std::size_t float_writer_verify_scratch(const Context& context, std::uint64_t digits);

}  // namespace nmp
