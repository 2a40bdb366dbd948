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

TEST(Exceptions, HaveReportsOfTheirOwn) {
  const std::string head =
      "\nLimitExceededException\nException Encountered\nLimit Exceeded: Too big.\n";
  expect_report(LimitExceededException("f()", "Too big.", 9, 8),
                head + "Limit: 8\nAttempted: 9\nFunction: f()\n");
  expect_report(LimitExceededException("f()", "Too big.", 9),
                head + "Limit: Unknown\nAttempted: 9\nFunction: f()\n");
  expect_report(ArithmeticException("BigFloat::set_mul_uW()", "Divide by zero."),
                "\nArithmeticException\nException Encountered\nDivide by zero.\n"
                "In Function BigFloat::set_mul_uW()\n");
  expect_report(StringException("", "Alone."),
                "\nStringException\nException Encountered\nAlone.\n");
  expect_report(ConvolutionTooSmallException("f()", "No.", 5, 6),
                "\nConvolutionTooSmallException\nException Encountered\nLimit Exceeded:\n"
                "Convolution Size: 5\nRequested Size: 6\nMessage: No.\nIn Function f()\n");
  expect_report(BSRModularCheckFailedException("f()", 1, 2, {3, 4}),
                "\nBSRModularCheckFailedException\nException Encountered\na = 1\nb = 2\n"
                "hash[0] = 3\nhash[1] = 4\n");
  expect_report(BufferTooSmallException("f()", 64, 128),
                "\nBufferTooSmallException\nException Encountered\nBuffer is too small:\n"
                "Function: f()\nBuffer Size: 64\nRequired Size: 128\n");
  expect_report(ExponentOverflowException("f()", -5, 4),
                "\nExponentOverflowException\nException Encountered\n"
                "Floating-point exponent has exceeded internal limit:\n"
                "Function: f()\nValue: -5\nLimit: 4\n");
  expect_report(FarMemoryOutOfBoundsException("f()", 1, 2, 3),
                "\nFarMemoryOutOfBoundsException\nException Encountered\n"
                "Out-of-Bounds Access on FarMemory object:\n"
                "Function: f()\nObject Size: 1\nAccess Offset: 2\nAccess Length: 3\n");
  expect_report(MemoryAllocationFailedException("f()", "malloc", 10),
                "\nMemoryAllocationFailedException\nException Encountered\n"
                "Allocation Type: malloc\nAllocation Size: 10\nIn Function f()\n");

  const std::string code = "Error Code: 2 (" + platform::error_text(2) + ")\n";
  expect_report(SystemException("f()", 2),
                "\nSystemException\nSystem Exception Encountered\n" + code + "In Function: f()\n");
  expect_report(FileIO::FileException("f()", "a/b.txt", 2, "Unable to open."),
                "\nFileException\nException Encountered\nPath: a/b.txt\n" + code +
                    "In Function: f()\nUnable to open.\n");
  expect_report(
      DigitViewer2::InconsistentMetaData("f()", "x", 2),
      "\nInconsistentMetaData\nException Encountered\nPath: x\n" + code + "In Function: f()\n");
  expect_report(
      R03::Raid03Exception("f()", "x", 2),
      "\nRaid03Exception\nRaid03 Exception Encountered\n" + code + "Path: x\nIn Function: f()\n");
  expect_report(
      DiskRaid0::Raid0Exception("f()", "x", 2),
      "\nRaid0Exception\nRaid0 Exception Encountered\n" + code + "Path: x\nIn Function: f()\n");
  expect_report(StdException("bad alloc"), "\nStdException\nException Encountered\nbad alloc\n");
  expect_report(Environment::WMI_Exception("No."), "\nWMI_Exception\nException Encountered\nNo.\n");
  EXPECT_EQ(find_exception("NoSuchException"), nullptr);
}

}  // namespace
}  // namespace nmp
