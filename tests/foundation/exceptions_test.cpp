#include "foundation/exceptions.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/error.h"

namespace nmp {
namespace {

TEST(Exceptions, ReportsHaveTheirLayouts) {
  const std::string head =
      "\nLimitExceededException\nException Encountered\nLimit Exceeded: Too big.\n";
  EXPECT_EQ(LimitExceededException("f()", "Too big.", 9, 8).report(),
            head + "Limit: 8\nAttempted: 9\nFunction: f()\n");
  EXPECT_EQ(LimitExceededException("f()", "Too big.", 9).report(),
            head + "Limit: Unknown\nAttempted: 9\nFunction: f()\n");
  EXPECT_EQ(ArithmeticException("BigFloat::set_mul_uW()", "Divide by zero.").report(),
            "\nArithmeticException\nException Encountered\nDivide by zero.\n"
            "In Function BigFloat::set_mul_uW()\n");
  EXPECT_EQ(StringException("", "Alone.").report(),
            "\nStringException\nException Encountered\nAlone.\n");
  EXPECT_EQ(ConvolutionTooSmallException("f()", "No.", 5, 6).report(),
            "\nConvolutionTooSmallException\nException Encountered\nLimit Exceeded:\n"
            "Convolution Size: 5\nRequested Size: 6\nMessage: No.\nIn Function f()\n");
  EXPECT_EQ(BSRModularCheckFailedException("f()", 1, 2, {3, 4}).report(),
            "\nBSRModularCheckFailedException\nException Encountered\na = 1\nb = 2\n"
            "hash[0] = 3\nhash[1] = 4\n");
  EXPECT_EQ(BufferTooSmallException("f()", 64, 128).report(),
            "\nBufferTooSmallException\nException Encountered\nBuffer is too small:\n"
            "Function: f()\nBuffer Size: 64\nRequired Size: 128\n");
  EXPECT_EQ(ExponentOverflowException("f()", -5, 4).report(),
            "\nExponentOverflowException\nException Encountered\n"
            "Floating-point exponent has exceeded internal limit:\n"
            "Function: f()\nValue: -5\nLimit: 4\n");
  EXPECT_EQ(FarMemoryOutOfBoundsException("f()", 1, 2, 3).report(),
            "\nFarMemoryOutOfBoundsException\nException Encountered\n"
            "Out-of-Bounds Access on FarMemory object:\n"
            "Function: f()\nObject Size: 1\nAccess Offset: 2\nAccess Length: 3\n");
  EXPECT_EQ(MemoryAllocationFailedException("f()", "malloc", 10).report(),
            "\nMemoryAllocationFailedException\nException Encountered\n"
            "Allocation Type: malloc\nAllocation Size: 10\nIn Function f()\n");
}

TEST(Exceptions, SystemFailuresNameTheCodeAndTheSystemsWords) {
  const std::string code = "Error Code: 2 (" + platform::error_text(2) + ")\n";
  EXPECT_EQ(SystemException("f()", 2).report(),
            "\nSystemException\nSystem Exception Encountered\n" + code + "In Function: f()\n");
  EXPECT_EQ(FileIO::FileException("f()", "a/b.txt", 2, "Unable to open.").report(),
            "\nFileException\nException Encountered\nPath: a/b.txt\n" + code +
                "In Function: f()\nUnable to open.\n");
  EXPECT_EQ(
      DigitViewer2::InconsistentMetaData("f()", "x", 2).report(),
      "\nInconsistentMetaData\nException Encountered\nPath: x\n" + code + "In Function: f()\n");
  EXPECT_EQ(
      R03::Raid03Exception("f()", "x", 2).report(),
      "\nRaid03Exception\nRaid03 Exception Encountered\n" + code + "Path: x\nIn Function: f()\n");
}

template <typename Base, typename Derived>
bool catches(const Derived& failure) {
  try {
    throw failure;
  } catch (const Base&) {
    return true;
  } catch (...) {
    return false;
  }
}

TEST(Exceptions, FormOneTree) {
  EXPECT_TRUE(catches<StringException>(KeyNotFoundException("f()", "key")));
  EXPECT_TRUE(catches<StringException>(EndOfStreamException("f()", "end")));
  EXPECT_TRUE(catches<InvalidParametersException>(ConvolutionTooSmallException("f()", "m", 1, 2)));
  EXPECT_TRUE(catches<FileIO::FileException>(DigitViewer2::InconsistentMetaData("f()", "p", 1)));
  EXPECT_FALSE(catches<StringException>(FileIO::FileException("f()", "p", 1)));
  EXPECT_FALSE(catches<StringException>(SystemException("f()", 1)));
}

TEST(Exceptions, CopiesKeepTheirDynamicType) {
  const LimitExceededException failure("f()", "m", 9, 8);
  const Exception& base = failure;
  EXPECT_EQ(base.clone()->report(), failure.report());
}

TEST(Exceptions, EveryClassIsRegisteredUnderItsName) {
  for (const char* name : {"StringException",
                           "InvalidParametersException",
                           "InvalidTransformException",
                           "ConvolutionTooSmallException",
                           "TransformTooSmallException",
                           "AlgorithmFailedException",
                           "BSRModularCheckFailedException",
                           "LimitExceededException",
                           "ParseException",
                           "EndOfStreamException",
                           "KeyNotFoundException",
                           "ArithmeticException",
                           "ExponentOverflowException",
                           "UnsupportedValueException",
                           "UnsupportedNegativeException",
                           "UnsupportedZeroException",
                           "ResourceAcquisitionFailedException",
                           "MemoryAllocationFailedException",
                           "FarMemoryException",
                           "FarMemoryOutOfBoundsException",
                           "FileException",
                           "InconsistentMetaData",
                           "SystemException",
                           "BufferTooSmallException",
                           "StdException",
                           "Raid03Exception",
                           "Raid0Exception",
                           "WMI_Exception",
                           "InterruptedException"}) {
    const Exception* found = find_exception(name);
    ASSERT_NE(found, nullptr) << name;
    EXPECT_STREQ(found->name(), name);
  }
  EXPECT_EQ(find_exception("NoSuchException"), nullptr);
}

TEST(ExceptionsDeathTest, DuplicateNamesEndTheProgram) {
  EXPECT_EXIT(
      {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        register_exception<KeyNotFoundException>();
      },
      testing::ExitedWithCode(1), "Duplicate Exception Type");
}

}  // namespace
}  // namespace nmp
