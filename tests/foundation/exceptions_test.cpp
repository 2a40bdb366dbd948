#include "foundation/exceptions.h"

#include <gtest/gtest.h>

#include "platform/error.h"

namespace nmp {
namespace {

/// Through a copy, as failures travel between threads. Every class is found by its name.
void expect_report(const Exception& failure, const std::string& report) {
  EXPECT_EQ(failure.clone()->report(), report);
  const Exception* registered = find_exception(failure.name());
  ASSERT_NE(registered, nullptr) << report;
  EXPECT_EQ(typeid(*registered), typeid(failure));
}

/// What most reports begin with.
std::string named(const std::string& name) { return "\n" + name + "\nException Encountered\n"; }

TEST(Exceptions, HaveReportsOfTheirOwn) {
  const std::string exceeded = named("LimitExceededException") + "Limit Exceeded: Too big.\n";
  expect_report(LimitExceededException("f()", "Too big.", 9, 8),
                exceeded + "Limit: 8\nAttempted: 9\nFunction: f()\n");
  expect_report(LimitExceededException("f()", "Too big.", 9),
                exceeded + "Limit: Unknown\nAttempted: 9\nFunction: f()\n");
  expect_report(ArithmeticException("f()", "No."),
                named("ArithmeticException") + "No.\nIn Function f()\n");
  expect_report(StringException("", "Alone."), named("StringException") + "Alone.\n");
  expect_report(ConvolutionTooSmallException("f()", "No.", 5, 6),
                named("ConvolutionTooSmallException") +
                    "Limit Exceeded:\nConvolution Size: 5\nRequested Size: 6\nMessage: No.\n"
                    "In Function f()\n");
  expect_report(
      BSRModularCheckFailedException("f()", 1, 2, {3, 4}),
      named("BSRModularCheckFailedException") + "a = 1\nb = 2\nhash[0] = 3\nhash[1] = 4\n");
  expect_report(BufferTooSmallException("f()", 64, 128),
                named("BufferTooSmallException") +
                    "Buffer is too small:\nFunction: f()\nBuffer Size: 64\nRequired Size: 128\n");
  expect_report(ExponentOverflowException("f()", -5, 4),
                named("ExponentOverflowException") +
                    "Floating-point exponent has exceeded internal limit:\n"
                    "Function: f()\nValue: -5\nLimit: 4\n");
  expect_report(FarMemoryOutOfBoundsException("f()", 1, 2, 3),
                named("FarMemoryOutOfBoundsException") +
                    "Out-of-Bounds Access on FarMemory object:\n"
                    "Function: f()\nObject Size: 1\nAccess Offset: 2\nAccess Length: 3\n");
  expect_report(MemoryAllocationFailedException("f()", "malloc", 10),
                named("MemoryAllocationFailedException") +
                    "Allocation Type: malloc\nAllocation Size: 10\nIn Function f()\n");

  const std::string code = "Error Code: 2 (" + platform::error_text(2) + ")\n";
  const std::string in_f = "In Function: f()\n", path = "Path: x\n";
  expect_report(SystemException("f()", 2),
                "\nSystemException\nSystem Exception Encountered\n" + code + in_f);
  expect_report(FileIO::FileException("f()", "x", 2, "Unable to open."),
                named("FileException") + path + code + in_f + "Unable to open.\n");
  expect_report(DigitViewer2::InconsistentMetaData("f()", "x", 2),
                named("InconsistentMetaData") + path + code + in_f);
  expect_report(R03::Raid03Exception("f()", "x", 2),
                "\nRaid03Exception\nRaid03 Exception Encountered\n" + code + path + in_f);
  expect_report(DiskRaid0::Raid0Exception("f()", "x", 2),
                "\nRaid0Exception\nRaid0 Exception Encountered\n" + code + path + in_f);
  expect_report(StdException("bad alloc"), named("StdException") + "bad alloc\n");
  expect_report(Environment::WMI_Exception("No."), named("WMI_Exception") + "No.\n");
  EXPECT_EQ(find_exception("NoSuchException"), nullptr);
}

}  // namespace
}  // namespace nmp
