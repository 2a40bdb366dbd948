// What the viewer does with the digits of a file.
//
// Positions are counted from 1, the first digit after the point, and ranges include both ends. A
// range that is not inside the file is InvalidParametersException "This range of digits is not
// accessible." with the function's name.
#pragma once

#include <cstdint>
#include <string>

#include "digits/viewer/open_digits.h"
#include "parallel/context.h"

namespace nmp {

struct DigitSpan {
  std::uint64_t first = 1, last = 0;
};

/// Prints the digits, each line with the position of its last one.
void view_range(const OpenDigits& source, const DigitSpan& span);

/// Prints counts, hash and the picture of the counts.
void compute_stats(parallel::Context& context, const OpenDigits& source, const DigitSpan& span);

/// Writes a text file. Digits that do not begin at 1 get "0." in front, being the fraction of a
/// larger multiple of the number.
void extract_digits(parallel::Context& context, const OpenDigits& source, const DigitSpan& span,
                    const std::string& path);

/// Writes digits 1 to `digits` as the set BASE0.ncd, BASE1.ncd, ...; kSingleFile for one file.
void compress_digits(parallel::Context& context, const OpenDigits& source, std::uint64_t digits,
                     std::uint64_t digits_per_file, const std::string& base);

/// Writes blocks first_id to last_id of the set that all digits of the source would make, so that
/// machines or disks can share the work and their files still belong together.
void compress_blocks(parallel::Context& context, const OpenDigits& source, std::uint64_t first_id,
                     std::uint64_t last_id, std::uint64_t digits_per_file, const std::string& base);

}  // namespace nmp
