// Checks that a call raises a given exception type (std::runtime_error unless
// named) with exactly a given text.
#pragma once

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

template <class Exception = std::runtime_error, class Call>
void expect_message(Call call, const std::string& text) {
  try {
    call();
    ADD_FAILURE() << "no exception, expected: " << text;
  } catch (const Exception& failure) {
    EXPECT_EQ(failure.what(), text);
  }
}
