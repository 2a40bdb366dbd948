#include "digits/output_record.h"

#include <algorithm>

#include "digits/digit_text.h"
#include "foundation/exceptions.h"

namespace nmp {
namespace {

unsigned supported(unsigned radix, const char* function) {
  if (radix != 10 && radix != 16) throw InvalidParametersException(function, "Invalid Radix.");
  return radix;
}

}  // namespace

HashedDigits::HashedDigits(unsigned radix) : counts_(supported(radix, "HashedDigits()")) {}

void LastDigits::set(unsigned radix) {
  radix_ = supported(radix, "LastDigits::set()");
  text_.clear();
  position_ = 0;
}

void LastDigits::append(const std::uint8_t* digits, std::size_t count) {
  const std::size_t taken = std::min(count, kKept);
  const std::size_t before = text_.size();
  text_.resize(before + taken);
  digits_to_text(digits + (count - taken), taken, radix_, text_.data() + before);
  if (text_.size() > kKept) text_.erase(0, text_.size() - kKept);
  position_ += count;
}

std::string LastDigits::label() const {
  if (radix_ == 10) return "Last Decimal Digits:";
  if (radix_ == 16) return "Last Hexadecimal Digits:";
  return "Last Digits:";
}

}  // namespace nmp
