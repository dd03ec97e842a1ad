// Tests of the reference count's fatal checks and of DebugAbort.
#include "base/core/Reference.h"

#include <gtest/gtest.h>

#include "base/core/DebugAbort.h"

namespace OrvGuiBase {
namespace {

struct Body : Reference {
  void Force(int32_t count) { m_count.store(count); }
};

TEST(Reference, LinkAndUnlinkCount) {
  Body body;
  EXPECT_EQ(body.GetCount(), 1);
  body.Link();
  EXPECT_TRUE(body.IsShared());
  EXPECT_FALSE(body.Unlink());
  EXPECT_TRUE(body.Unlink()) << "the last owner is told to free";
}

TEST(ReferenceDeathTest, BrokenCountsEndTheProcessWithTheirMessage) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        Body body;
        body.Force(0);
        body.Link();
      },
      "Reference::Link: 0x[0-9a-f]+: Invalid reference count \\(1\\)");
  EXPECT_DEATH(
      {
        Body body;
        body.Force(0);
        (void)body.Unlink();
      },
      "Reference::Unlink: 0x[0-9a-f]+: Invalid reference count \\(-1\\)");
  EXPECT_DEATH(
      {
        Body body;
        body.Force(-5);
        body.Link();
      },
      "Invalid reference count \\(-4\\)");
}

TEST(ReferenceDeathTest, DebugAbortFormatsAndAborts) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(DebugAbort("broken %s at %d", "invariant", 42), "^broken invariant at 42\n");
}

}  // namespace
}  // namespace OrvGuiBase
