#include "compute/bbp_check.h"

#include "foundation/exceptions.h"
#include "foundation/format.h"
#include "tools/bbp/bbp_v2.h"

namespace numforge {

std::string check_with_bbp(const std::string& last, std::uint64_t digits,
                           nmp::parallel::Context& context, nmp::Progress* progress) {
  constexpr unsigned kFormula = 1;
  const std::uint64_t offset = digits - last.size();
  const std::string expected =
      BBPv2::extract(kFormula, offset, last.size(), {}, context, progress).text;
  if (expected != last)
    throw nmp::AlgorithmFailedException(
        "check_with_bbp()", "The last hexadecimal digits are not those of the digit extractor: " +
                                last + " instead of " + expected);
  return "the last " + std::to_string(last.size()) + " hexadecimal digits agree  (" +
         nmp::with_commas(offset + 1) + " - " + nmp::with_commas(digits) + ")";
}

}  // namespace numforge
