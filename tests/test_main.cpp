// The main of every test program: GoogleTest's, with the program isolated
// from the registry of the machine it runs on where that is the system's
// (see portable.h). A program whose tests run tools on the registry
// is compiled with KOV_TEST_MACHINE_REGISTRY.
#include <gtest/gtest.h>

#include "portable.h"

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
#ifdef KOV_TEST_MACHINE_REGISTRY
  kov_test::Registry_isolation isolation(false);
#else
  kov_test::Registry_isolation isolation(true);
#endif
  return RUN_ALL_TESTS();
}
