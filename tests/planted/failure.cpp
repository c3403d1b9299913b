// A lane that does not fail on this program does not see failing tests.
#include <gtest/gtest.h>

TEST(Planted, Failure) { EXPECT_EQ(1, 2); }
