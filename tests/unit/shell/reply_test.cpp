// A reply larger than memory allows must still come out whole and in
// order: its complete lines leave early, and the pending part stays small.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "shell/output.h"

namespace {

TEST(Reply, LargeRepliesGoOutEarlyInWholeLines) {
  char path[] = "/tmp/kestrune_reply_XXXXXX";
  const int file = mkstemp(path);
  ASSERT_GE(file, 0);
  std::fflush(stdout);
  const int saved = dup(STDOUT_FILENO);
  ASSERT_GE(dup2(file, STDOUT_FILENO), 0);

  // Pieces of 700 KiB that end inside a line, so an early write that cut
  // a line would show as a line feed in the middle of one.
  const std::string filler(700 << 10, 'x');
  std::string expected;
  size_t largest = 0;
  for (int i = 0; i < 60; ++i) {
    const std::string piece = std::to_string(i) + filler + (i % 3 == 2 ? "\n\n" : "");
    PrintReplyText(piece);
    largest = std::max(largest, PendingReplyBytes());
  }
  FlushReply();
  std::fflush(stdout);
  dup2(saved, STDOUT_FILENO);
  close(saved);
  close(file);

  // Three pieces make one line; the blank line after it is dropped.
  for (int line = 0; line < 20; ++line) {
    for (int i = 3 * line; i < 3 * line + 3; ++i) expected += std::to_string(i) + filler;
    expected += '\n';
  }
  std::ifstream in(path, std::ios::binary);
  const std::string written((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::remove(path);
  EXPECT_TRUE(written == expected) << "written " << written.size() << " bytes, expected " << expected.size();
  EXPECT_LT(largest, ReplyFlushBytes + 2 * filler.size());
  EXPECT_EQ(PendingReplyBytes(), 0u);
}

}  // namespace
