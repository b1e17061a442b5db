#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include <pxalog/String.h>

#include "foundation/ByteMovedStack.h"

namespace pxa {
namespace {

TEST(ByteMovedStack, KeepsWhatIsPushedHoweverMuchItGrows) {
  ByteMovedStack<String> stack;
  for (int i = 0; i < 1'000; ++i) stack.push(std::to_string(i));
  ASSERT_EQ(stack.size(), 1'000U);
  for (std::size_t i = 0; i < stack.size(); ++i) EXPECT_EQ(*stack.from(i), std::to_string(i));
}

TEST(ByteMovedStack, GivesUpWhatIsPopped) {
  ByteMovedStack<String> stack;
  for (const char* text : {"a", "b", "c", "d"}) stack.push(text);
  stack.pop();
  EXPECT_EQ(stack.back(), "c");
  stack.popFrom(1);
  EXPECT_EQ(stack.size(), 1U);
  EXPECT_EQ(stack.back(), "a");
}

TEST(ByteMovedStack, LeavesWhatItForgetsToItsNewPlace) {
  ByteMovedStack<String> stack;
  stack.push("stays");
  stack.push("goes");
  String moved;
  std::memcpy(static_cast<void*>(&moved), static_cast<void*>(stack.from(1)), sizeof(String));
  stack.forgetFrom(1);
  EXPECT_EQ(stack.back(), "stays");
  EXPECT_EQ(moved, "goes");
}

}  // namespace
}  // namespace pxa
