// Both ends of the TCP link in one process, on the loopback: files of
// exactly one block travel each way whole, the download behind an empty
// reply. (Whole sessions of two processes are in tests/link.)
#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "shell/link/frame.h"
#include "shell/link/remote_link.h"
#include "shell/link/server_link.h"

namespace {

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary).write(bytes.data(), std::streamsize(bytes.size()));
}

TEST(Link, FilesOfOneBlockTravelBothWaysWhole) {
  // The server keeps uploads in its working directory: a scratch one.
  char saved[PATH_MAX];
  ASSERT_NE(getcwd(saved, sizeof saved), nullptr);
  char scratch[] = "/tmp/kestrune_link_test_XXXXXX";
  ASSERT_NE(mkdtemp(scratch), nullptr);
  ASSERT_EQ(chdir(scratch), 0);

  std::string down(FrameBlockBytes, '\0'), up(FrameBlockBytes, '\0');
  for (size_t i = 0; i < down.size(); ++i) {
    down[i] = char(i * 7 + i / 251);
    up[i] = char(i * 13 + i / 241);
  }
  WriteFile("down_source", down);
  WriteFile("up_source", up);

  // The file goes with the first reply, which "sleep 0" leaves empty. It
  // is set before the server's thread starts, which orders the two.
  ASSERT_TRUE(OpenServerLink(DefaultServerAddress, 0));
  SetServerPendingFile("down_source", false);
  std::thread server([] { RunServer(true); });
  std::string error;
  RemoteLinkHandle link = OpenRemoteLink(DefaultServerAddress, ServerLinkPort(), nullptr, error);
  ASSERT_TRUE(link) << error;

  const RemoteReply reply = Request(*link, "sleep 0", "down_copy");
  EXPECT_EQ(reply.text, "");
  EXPECT_EQ(reply.fileError, "");
  EXPECT_TRUE(ReadFile("down_copy") == down);

  ASSERT_TRUE(SendFile(*link, "up_source", error)) << error;
  EXPECT_EQ(Request(*link, "is_ready", "").text, "is_ready ok!\n");  // the upload is on disk by now
  EXPECT_TRUE(ReadFile(ServerTempFile) == up);
  EXPECT_FALSE(SendFile(*link, "no_such_file", error));

  link.reset();
  server.join();
  CloseServerLink();
  for (const char* name : {"down_source", "down_copy", "up_source", ServerTempFile}) std::remove(name);
  ASSERT_EQ(chdir(saved), 0);
  EXPECT_EQ(rmdir(scratch), 0);
}

}  // namespace
