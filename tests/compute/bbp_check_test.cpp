#include "compute/bbp_check.h"

#include <gtest/gtest.h>

#include "foundation/exceptions.h"
#include "parallel/serial.h"

namespace numforge {
namespace {

TEST(BbpCheck, AcceptsOnlyTheDigitsOfPi) {
  nmp::parallel::SerialContext context;
  const auto check = [&](const std::string& last, std::uint64_t digits) {
    return check_with_bbp(last, digits, context, nullptr);
  };
  EXPECT_EQ(check("349f1c09b075372c", 1015),
            "the last 16 hexadecimal digits agree  (1,000 - 1,015)");
  EXPECT_EQ(check("2", 1), "the last 1 hexadecimal digits agree  (1 - 1)");
  EXPECT_THROW(check("349f1c09b075372d", 1015), nmp::AlgorithmFailedException);
  EXPECT_THROW(check("249f1c09b075372c", 1015), nmp::AlgorithmFailedException);
  EXPECT_THROW(check("349f1c09b075372c", 1014), nmp::AlgorithmFailedException);
}

}  // namespace
}  // namespace numforge
