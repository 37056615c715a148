// SPDX-License-Identifier: Apache-2.0
//
// GoogleTest takes settings from the environment before main begins. A filter that happens to be
// set there while CTest asks for the tests would leave it with few or none of them.
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

// Of this priority, it comes before GoogleTest's own objects are made.
__attribute__((constructor(101))) static void forget_settings() {
  for (char** entry = environ; *entry != nullptr;) {
    const std::string name(*entry, std::strcspn(*entry, "="));
    if (name.rfind("GTEST_", 0) != 0)
      ++entry;
    else
      unsetenv(name.c_str());  // the next entry takes its place
  }
}
