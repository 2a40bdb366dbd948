// Proves that the digits on the disk are the ones that were computed.
#pragma once

#include <string>

#include "digits/digit_sink.h"
#include "digits/output_record.h"
#include "foundation/progress.h"
#include "parallel/context.h"

namespace nmp {

/// Reads all digits back and compares their counts and hash with the record that was kept while
/// they were written, on all threads. `progress` may be null.
///
/// AlgorithmFailedException "Invalid decimal digit in first digits." (or "hexadecimal"), "Digit
/// output failed. Metadata cross-check doesn't match." after showing both records on the console;
/// InvalidParametersException "Invalid radix."; FileException for what cannot be read.
void read_check(parallel::Context& context, DigitReader& reader, const HashedDigits& written,
                Progress* progress);
/// The same for a text file.
void read_check(parallel::Context& context, const std::string& path, const HashedDigits& written,
                Progress* progress);

}  // namespace nmp
