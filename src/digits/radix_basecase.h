// The leaves of the radix conversion: digits off the front of a short fraction, block by block.
#pragma once

#include <cstddef>

#include "arith/word.h"

namespace nmp::CBRv2 {

/// Takes the next 9 m digits off a fraction.
///
/// Shapes    node[0, words): the fraction, least significant word first, below 1.
///           node[0, blocks) on return: the digits, most significant block first. The buffer holds
///           max(words, blocks). 1 <= blocks <= kMaxLeafBlocks.
/// Promise   With z the fraction times 10^(9 m), D the blocks read as one number and r the result:
///             D + r / 2^32  <=  z  <  D + (r + 2) / 2^32.
/// Failure   AlgorithmFailedException "TL < AL" when the fraction has fewer words than its digits
/// need. Method    Multiply by a power of ten and take what passes the point (Knuth, The Art of
/// Computer
///           Programming, volume 2, 1997, section 4.4, method 2a), dropping low words as they stop
///           to matter.
/// Cost      O(m^2), no scratch.
Word convert_L(Word* node, std::size_t words, std::size_t blocks);

/// The same promise, word by word on 32-bit registers: what targets without 64-bit registers run,
/// and what the other one is compared with.
Word convert_L_portable(Word* node, std::size_t words, std::size_t blocks);

}  // namespace nmp::CBRv2
