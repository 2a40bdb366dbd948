// The one way in which failures travel: a tree of exceptions that can print themselves.
//
// Each report starts with a line break and the class name; its layout is part of the program's
// interface. Every class registers itself by name before main() runs.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nmp {

class Exception {
 public:
  virtual ~Exception() = default;
  /// A copy of the same dynamic type, for handing a failure from one thread to another.
  virtual std::unique_ptr<Exception> clone() const = 0;
  /// The class name without namespaces, "KeyNotFoundException".
  virtual const char* name() const = 0;
  /// The text that `print` shows, line breaks included.
  virtual std::string report() const = 0;
  /// Writes the report to the console in bright red.
  virtual void print() const;
};

/// Adds a class to the process-wide registry. Two classes of one name end the program.
void register_exception(const char* name, std::unique_ptr<Exception> instance);
template <typename Class>
bool register_exception() {
  auto instance = std::make_unique<Class>();
  const char* name = instance->name();
  register_exception(name, std::move(instance));
  return true;
}
/// The registered instance of that name, or null.
const Exception* find_exception(std::string_view name);

// NF_REGISTER_EXCEPTION(Class): in one source file, registers a class while the program
// initialises.
#define NF_REGISTER_EXCEPTION(Class) NF_REGISTER_EXCEPTION_AT(Class, __LINE__)
#define NF_REGISTER_EXCEPTION_AT(Class, line) NF_REGISTER_EXCEPTION_JOIN(Class, line)
#define NF_REGISTER_EXCEPTION_JOIN(Class, line) \
  [[maybe_unused]] const bool nf_registered_##line = ::nmp::register_exception<Class>();

// NF_EXCEPTION(Class, Base): the operations that every class of the tree spells the same way.
#define NF_EXCEPTION(Class)                                                                    \
  std::unique_ptr<Exception> clone() const override { return std::make_unique<Class>(*this); } \
  const char* name() const override { return #Class; }

/// A message, and the qualified name of the function that detected the fault.
class StringException : public Exception {
 public:
  StringException() = default;
  StringException(std::string function, std::string message)
      : function_(std::move(function)), message_(std::move(message)) {}
  NF_EXCEPTION(StringException)
  std::string report() const override;
  const std::string& message() const { return message_; }
  const std::string& function() const { return function_; }

 private:
  std::string function_, message_;
};

#define NF_STRING_EXCEPTION(Class, Base) \
  class Class : public Base {            \
   public:                               \
    using Base::Base;                    \
    NF_EXCEPTION(Class)                  \
  };

/// Rejected arguments and settings.
NF_STRING_EXCEPTION(InvalidParametersException, StringException)
NF_STRING_EXCEPTION(InvalidTransformException, InvalidParametersException)
NF_STRING_EXCEPTION(TransformTooSmallException, InvalidTransformException)
/// A computation that detected its own error.
NF_STRING_EXCEPTION(AlgorithmFailedException, StringException)
/// Malformed text.
class ParseException : public StringException {
 public:
  ParseException() = default;
  ParseException(std::string function, std::string message, std::uint64_t line = 0)
      : StringException(std::move(function), std::move(message)), line_(line) {}
  NF_EXCEPTION(ParseException)
  /// Line of the text, from 1; 0 where it has none.
  std::uint64_t line() const { return line_; }

 private:
  std::uint64_t line_ = 0;
};
NF_STRING_EXCEPTION(EndOfStreamException, ParseException)
NF_STRING_EXCEPTION(KeyNotFoundException, ParseException)
NF_STRING_EXCEPTION(ArithmeticException, StringException)
NF_STRING_EXCEPTION(UnsupportedValueException, StringException)
NF_STRING_EXCEPTION(UnsupportedNegativeException, UnsupportedValueException)
NF_STRING_EXCEPTION(UnsupportedZeroException, UnsupportedValueException)
NF_STRING_EXCEPTION(ResourceAcquisitionFailedException, StringException)
/// Storage of numbers that live on disk.
NF_STRING_EXCEPTION(FarMemoryException, StringException)
/// The user asked the job to stop.
NF_STRING_EXCEPTION(InterruptedException, StringException)

class ConvolutionTooSmallException : public InvalidTransformException {
 public:
  ConvolutionTooSmallException() = default;
  ConvolutionTooSmallException(std::string function, std::string message,
                               std::uint64_t convolution_size, std::uint64_t requested_size)
      : InvalidTransformException(std::move(function), std::move(message)),
        convolution_size_(convolution_size),
        requested_size_(requested_size) {}
  NF_EXCEPTION(ConvolutionTooSmallException)
  std::string report() const override;

 private:
  std::uint64_t convolution_size_ = 0, requested_size_ = 0;
};

class BSRModularCheckFailedException : public AlgorithmFailedException {
 public:
  BSRModularCheckFailedException() = default;
  BSRModularCheckFailedException(std::string function, std::uint64_t a, std::uint64_t b,
                                 std::vector<std::uint64_t> hashes)
      : AlgorithmFailedException(std::move(function), "Modular Redundancy Check Failed"),
        a_(a),
        b_(b),
        hashes_(std::move(hashes)) {}
  NF_EXCEPTION(BSRModularCheckFailedException)
  std::string report() const override;

 private:
  std::uint64_t a_ = 0, b_ = 0;  ///< the two residues that should have been equal
  std::vector<std::uint64_t> hashes_;
};

class LimitExceededException : public StringException {
 public:
  LimitExceededException() = default;
  LimitExceededException(std::string function, std::string message, std::uint64_t attempted,
                         std::optional<std::uint64_t> limit = std::nullopt)
      : StringException(std::move(function), std::move(message)),
        limit_(limit),
        attempted_(attempted) {}
  NF_EXCEPTION(LimitExceededException)
  std::string report() const override;

 private:
  std::optional<std::uint64_t> limit_;
  std::uint64_t attempted_ = 0;
};

class ExponentOverflowException : public ArithmeticException {
 public:
  ExponentOverflowException() = default;
  ExponentOverflowException(std::string function, std::int64_t value, std::int64_t limit)
      : ArithmeticException(std::move(function), "Exponent overflow."),
        value_(value),
        limit_(limit) {}
  NF_EXCEPTION(ExponentOverflowException)
  std::string report() const override;

 private:
  std::int64_t value_ = 0, limit_ = 0;
};

class MemoryAllocationFailedException : public ResourceAcquisitionFailedException {
 public:
  MemoryAllocationFailedException() = default;
  MemoryAllocationFailedException(std::string function, std::string type, std::uint64_t bytes)
      : ResourceAcquisitionFailedException(std::move(function), "Memory allocation failed."),
        type_(std::move(type)),
        bytes_(bytes) {}
  NF_EXCEPTION(MemoryAllocationFailedException)
  std::string report() const override;

 private:
  std::string type_;
  std::uint64_t bytes_ = 0;
};

class FarMemoryOutOfBoundsException : public FarMemoryException {
 public:
  FarMemoryOutOfBoundsException() = default;
  FarMemoryOutOfBoundsException(std::string function, std::uint64_t object_size,
                                std::uint64_t offset, std::uint64_t length)
      : FarMemoryException(std::move(function), "Out of bounds."),
        object_size_(object_size),
        offset_(offset),
        length_(length) {}
  NF_EXCEPTION(FarMemoryOutOfBoundsException)
  std::string report() const override;

 private:
  std::uint64_t object_size_ = 0, offset_ = 0, length_ = 0;
};

/// An operating-system call that failed. `error_code` is errno or GetLastError().
class SystemException : public Exception {
 public:
  SystemException() = default;
  SystemException(std::string function, std::int64_t error_code)
      : function_(std::move(function)), error_code_(error_code) {}
  NF_EXCEPTION(SystemException)
  std::string report() const override;

 private:
  std::string function_;
  std::int64_t error_code_ = 0;
};

/// A caller's buffer is too small. Sizes in the unit of the operation (words or bytes).
class BufferTooSmallException : public Exception {
 public:
  BufferTooSmallException() = default;
  BufferTooSmallException(std::string function, std::uint64_t buffer_size,
                          std::uint64_t required_size)
      : function_(std::move(function)), buffer_size_(buffer_size), required_size_(required_size) {}
  NF_EXCEPTION(BufferTooSmallException)
  std::string report() const override;
  std::uint64_t buffer_size() const { return buffer_size_; }
  std::uint64_t required_size() const { return required_size_; }

 private:
  std::string function_;
  std::uint64_t buffer_size_ = 0, required_size_ = 0;
};

/// A standard-library exception that was caught and wrapped.
class StdException : public Exception {
 public:
  StdException() = default;
  explicit StdException(std::string text) : text_(std::move(text)) {}
  NF_EXCEPTION(StdException)
  std::string report() const override;

 private:
  std::string text_;
};

namespace FileIO {
/// A file operation that failed. The report adds the system's words for the error code.
class FileException : public Exception {
 public:
  FileException() = default;
  FileException(std::string function, std::string path, std::int64_t error_code,
                std::string message = {})
      : function_(std::move(function)),
        path_(std::move(path)),
        error_code_(error_code),
        message_(std::move(message)) {}
  NF_EXCEPTION(FileException)
  std::string report() const override;
  const std::string& path() const { return path_; }
  const std::string& message() const { return message_; }
  std::int64_t error_code() const { return error_code_; }

 private:
  std::string function_, path_;
  std::int64_t error_code_ = 0;
  std::string message_;
};
}  // namespace FileIO

namespace DigitViewer2 {
/// A digit file whose header disagrees with its contents or with its set.
class InconsistentMetaData : public FileIO::FileException {
 public:
  using FileException::FileException;
  NF_EXCEPTION(InconsistentMetaData)
};
}  // namespace DigitViewer2

namespace R03 {
/// The disk layer with parity.
class Raid03Exception : public Exception {
 public:
  Raid03Exception() = default;
  Raid03Exception(std::string function, std::string path, std::int64_t error_code)
      : function_(std::move(function)), path_(std::move(path)), error_code_(error_code) {}
  NF_EXCEPTION(Raid03Exception)
  std::string report() const override;

 private:
  std::string function_, path_;
  std::int64_t error_code_ = 0;
};
}  // namespace R03

namespace DiskRaid0 {
/// The striped disk layer.
class Raid0Exception : public Exception {
 public:
  Raid0Exception() = default;
  Raid0Exception(std::string function, std::string path, std::int64_t error_code)
      : function_(std::move(function)), path_(std::move(path)), error_code_(error_code) {}
  NF_EXCEPTION(Raid0Exception)
  std::string report() const override;

 private:
  std::string function_, path_;
  std::int64_t error_code_ = 0;
};
}  // namespace DiskRaid0

namespace Environment {
/// A failed hardware query.
class WMI_Exception : public Exception {
 public:
  WMI_Exception() = default;
  explicit WMI_Exception(std::string text) : text_(std::move(text)) {}
  NF_EXCEPTION(WMI_Exception)
  std::string report() const override;

 private:
  std::string text_;
};
}  // namespace Environment

}  // namespace nmp
