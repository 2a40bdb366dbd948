// Expecting an exception by its text, or by the sizes it names.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "foundation/exceptions.h"

namespace nmp::test {

template <typename E, typename Body>
void expect_fault(const std::string& function, const std::string& message, Body body) {
  try {
    body();
    ADD_FAILURE() << "no exception: " << message;
  } catch (const E& e) {
    EXPECT_EQ(e.message(), message);
    EXPECT_EQ(e.function(), function);
  }
}
/// A fault of a file, whose function only its report tells.
template <typename E = FileIO::FileException, typename Body>
void expect_file_fault(const std::string& function, const std::string& message, Body body) {
  try {
    body();
    ADD_FAILURE() << "no exception: " << message;
  } catch (const E& e) {
    EXPECT_EQ(e.message(), message);
    EXPECT_NE(e.report().find(function + "\n"), std::string::npos) << e.report();
  }
}
template <typename Body>
void expect_too_small(std::uint64_t size, std::uint64_t required, Body body) {
  try {
    body();
    ADD_FAILURE() << "no exception for " << required << " words";
  } catch (const BufferTooSmallException& e) {
    EXPECT_EQ(e.buffer_size(), size);
    EXPECT_EQ(e.required_size(), required);
  }
}

}  // namespace nmp::test
