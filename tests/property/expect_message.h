// Checks that a call raises a given exception type with exactly a given text.
#pragma once

#include <gtest/gtest.h>

#include <string>

template <class Exception, class Call>
void expect_message(Call call, const std::string& text) {
  try {
    call();
    ADD_FAILURE() << "no exception, expected: " << text;
  } catch (const Exception& failure) {
    EXPECT_EQ(failure.what(), text);
  }
}
