#include "foundation/exceptions.h"

#include <map>

#include "foundation/console.h"
#include "foundation/fatal.h"
#include "platform/error.h"

namespace nmp {
namespace {

constexpr std::string_view kHeadline = "Exception Encountered";

/// The text of a report, line by line.
class ReportText {
 public:
  ReportText(const char* name, std::string_view headline) {
    text_ = "\n";
    line(name).line(headline);
  }
  ReportText& line(std::string_view text) {
    text_ += text;
    text_ += '\n';
    return *this;
  }
  /// A label and its value; nothing stands behind a label without a value.
  ReportText& line(std::string_view label, std::string_view value) {
    text_ += label;
    if (!value.empty()) text_ += ' ';
    return line(value);
  }
  ReportText& number(std::string_view label, std::uint64_t value) {
    return line(label, std::to_string(value));
  }
  ReportText& number(std::string_view label, std::int64_t value) {
    return line(label, std::to_string(value));
  }
  ReportText& error_code(std::int64_t code) {
    const std::string words = platform::error_text(code);
    return line("Error Code:", std::to_string(code) + (words.empty() ? "" : " (" + words + ")"));
  }
  std::string text() const { return text_; }

 private:
  std::string text_;
};

}  // namespace

void Exception::print() const {
  console::print('R', report());
  console::flush();
}

std::string StringException::report() const {
  ReportText text(name(), kHeadline);
  text.line(message_);
  if (!function_.empty()) text.line("In Function", function_);
  return text.text();
}

std::string ConvolutionTooSmallException::report() const {
  return ReportText(name(), kHeadline)
      .line("Limit Exceeded:")
      .number("Convolution Size:", convolution_size_)
      .number("Requested Size:", requested_size_)
      .line("Message:", message())
      .line("In Function", function())
      .text();
}

std::string BSRModularCheckFailedException::report() const {
  ReportText text(name(), kHeadline);
  text.number("a =", a_).number("b =", b_);
  for (std::size_t i = 0; i < hashes_.size(); ++i)
    text.number("hash[" + std::to_string(i) + "] =", hashes_[i]);
  return text.text();
}

std::string LimitExceededException::report() const {
  return ReportText(name(), kHeadline)
      .line("Limit Exceeded:", message())
      .line("Limit:", limit_ ? std::to_string(*limit_) : "Unknown")
      .number("Attempted:", attempted_)
      .line("Function:", function())
      .text();
}

std::string ExponentOverflowException::report() const {
  return ReportText(name(), kHeadline)
      .line("Floating-point exponent has exceeded internal limit:")
      .line("Function:", function())
      .number("Value:", value_)
      .number("Limit:", limit_)
      .text();
}

std::string MemoryAllocationFailedException::report() const {
  return ReportText(name(), kHeadline)
      .line("Allocation Type:", type_)
      .number("Allocation Size:", bytes_)
      .line("In Function", function())
      .text();
}

std::string FarMemoryOutOfBoundsException::report() const {
  return ReportText(name(), kHeadline)
      .line("Out-of-Bounds Access on FarMemory object:")
      .line("Function:", function())
      .number("Object Size:", object_size_)
      .number("Access Offset:", offset_)
      .number("Access Length:", length_)
      .text();
}

std::string SystemException::report() const {
  return ReportText(name(), "System Exception Encountered")
      .error_code(error_code_)
      .line("In Function:", function_)
      .text();
}

std::string BufferTooSmallException::report() const {
  return ReportText(name(), kHeadline)
      .line("Buffer is too small:")
      .line("Function:", function_)
      .number("Buffer Size:", buffer_size_)
      .number("Required Size:", required_size_)
      .text();
}

std::string StdException::report() const {
  return ReportText(name(), kHeadline).line(text_).text();
}

std::string FileIO::FileException::report() const {
  ReportText text(name(), kHeadline);
  text.line("Path:", path_).error_code(error_code_).line("In Function:", function_);
  if (!message_.empty()) text.line(message_);
  return text.text();
}

std::string R03::Raid03Exception::report() const {
  return ReportText(name(), "Raid03 Exception Encountered")
      .error_code(error_code_)
      .line("Path:", path_)
      .line("In Function:", function_)
      .text();
}

std::string DiskRaid0::Raid0Exception::report() const {
  return ReportText(name(), "Raid0 Exception Encountered")
      .error_code(error_code_)
      .line("Path:", path_)
      .line("In Function:", function_)
      .text();
}

std::string Environment::WMI_Exception::report() const {
  return ReportText(name(), kHeadline).line(text_).text();
}

namespace {

using Registry = std::map<std::string, std::unique_ptr<Exception>, std::less<>>;

/// Filled while the program initialises, in no particular order of sources; never changed later.
Registry& registry() {
  static Registry classes;
  return classes;
}

}  // namespace

void register_exception(const char* name, std::unique_ptr<Exception> instance) {
  if (!registry().emplace(name, std::move(instance)).second) fatal_exit("Duplicate Exception Type");
}

const Exception* find_exception(std::string_view name) {
  const auto found = registry().find(name);
  return found == registry().end() ? nullptr : found->second.get();
}

// All of the tree but its abstract root. They stand beside the reports so that a program that can
// throw one of them always links its registration.
namespace {
NF_REGISTER_EXCEPTION(StringException)
NF_REGISTER_EXCEPTION(InvalidParametersException)
NF_REGISTER_EXCEPTION(InvalidTransformException)
NF_REGISTER_EXCEPTION(TransformTooSmallException)
NF_REGISTER_EXCEPTION(ConvolutionTooSmallException)
NF_REGISTER_EXCEPTION(AlgorithmFailedException)
NF_REGISTER_EXCEPTION(BSRModularCheckFailedException)
NF_REGISTER_EXCEPTION(LimitExceededException)
NF_REGISTER_EXCEPTION(ParseException)
NF_REGISTER_EXCEPTION(EndOfStreamException)
NF_REGISTER_EXCEPTION(KeyNotFoundException)
NF_REGISTER_EXCEPTION(ArithmeticException)
NF_REGISTER_EXCEPTION(ExponentOverflowException)
NF_REGISTER_EXCEPTION(UnsupportedValueException)
NF_REGISTER_EXCEPTION(UnsupportedNegativeException)
NF_REGISTER_EXCEPTION(UnsupportedZeroException)
NF_REGISTER_EXCEPTION(ResourceAcquisitionFailedException)
NF_REGISTER_EXCEPTION(MemoryAllocationFailedException)
NF_REGISTER_EXCEPTION(FarMemoryException)
NF_REGISTER_EXCEPTION(FarMemoryOutOfBoundsException)
NF_REGISTER_EXCEPTION(InterruptedException)
NF_REGISTER_EXCEPTION(SystemException)
NF_REGISTER_EXCEPTION(BufferTooSmallException)
NF_REGISTER_EXCEPTION(StdException)
NF_REGISTER_EXCEPTION(FileIO::FileException)
NF_REGISTER_EXCEPTION(DigitViewer2::InconsistentMetaData)
NF_REGISTER_EXCEPTION(R03::Raid03Exception)
NF_REGISTER_EXCEPTION(DiskRaid0::Raid0Exception)
NF_REGISTER_EXCEPTION(Environment::WMI_Exception)
}  // namespace

}  // namespace nmp
