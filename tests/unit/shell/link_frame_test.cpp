// Frames of the TCP link without sockets: the header's bytes, the limits
// each side applies before it reads a body, and file frames at the block
// boundary, against layouts written out by hand.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "shell/link/frame.h"

namespace {

struct MemorySource {
  std::string bytes;
  size_t position = 0;
  bool ReadExact(void* data, size_t size) {
    if (bytes.size() - position < size) return false;
    bytes.copy(static_cast<char*>(data), size, position);
    position += size;
    return true;
  }
};

struct MemorySink {
  std::string bytes;
  bool WriteAll(const void* data, size_t size) {
    bytes.append(static_cast<const char*>(data), size);
    return true;
  }
};

std::string Header(uint8_t kind, uint64_t length) {
  uint8_t bytes[FrameHeaderBytes];
  EncodeFrameHeader({kind, length}, bytes);
  return std::string(reinterpret_cast<char*>(bytes), sizeof bytes);
}

TEST(LinkFrame, HeaderIsKindThenLittleEndianLength) {
  EXPECT_EQ(Header(3, 0x0102030405060708), std::string("\x03\x08\x07\x06\x05\x04\x03\x02\x01", 9));
  EXPECT_EQ(Header(0, 0), std::string(9, '\0'));
  EXPECT_EQ(Header(1, 65536), std::string("\x01\x00\x00\x01\x00\x00\x00\x00\x00", 9));
  const std::string bytes = Header(200, uint64_t(1) << 62);
  const FrameHeader header = DecodeFrameHeader(reinterpret_cast<const uint8_t*>(bytes.data()));
  EXPECT_EQ(header.kind, 200);
  EXPECT_EQ(header.length, uint64_t(1) << 62);
}

TEST(LinkFrame, EachSideRefusesWhatItWouldHaveToHold) {
  const uint64_t huge = uint64_t(1) << 62;
  struct Case {
    FrameHeader header;
    bool clientFrameTaken, serverFrameTaken;
  } cases[] = {
      {{RequestFrame, MaxRequestBytes}, true, true},
      {{RequestFrame, MaxRequestBytes + 1}, false, true},
      {{RequestFrame, huge}, false, false},
      {{UploadFrame, huge}, true, false},  // the server streams it to disk
      {{FileFrame, huge}, false, true},    // the client streams it to disk
      {{ReplyFrame, MaxReplyBytes}, false, true},
      {{ReplyFrame, MaxReplyBytes + 1}, false, false},
      {{7, 5}, false, true},  // a message of a kind the client doesn't know
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "kind " << int(c.header.kind) << " length " << c.header.length);
    EXPECT_EQ(RefuseClientFrame(c.header) == nullptr, c.clientFrameTaken);
    EXPECT_EQ(RefuseServerFrame(c.header) == nullptr, c.serverFrameTaken);
  }
}

TEST(LinkFrame, ABodyHoldsNoMoreThanArrived) {
  // A request that claims the largest line and sends ten bytes.
  MemorySource source{Header(RequestFrame, MaxRequestBytes) + "is_ready a"};
  std::string line;
  FrameHeader header;
  const char* refusal = nullptr;
  auto noUpload = [](const char*, size_t) { ADD_FAILURE() << "no upload here"; };
  EXPECT_EQ(ReadClientFrame(source, line, noUpload, header, refusal), ClientFrame::End);
  EXPECT_LE(line.capacity(), 2 * FrameBlockBytes);

  // An upload of 2^62 bytes cut short: the consumer sees what came.
  MemorySource upload{Header(UploadFrame, uint64_t(1) << 62) + std::string(70000, 'u')};
  size_t uploaded = 0;
  EXPECT_EQ(ReadClientFrame(upload, line, [&](const char*, size_t size) { uploaded += size; }, header, refusal),
            ClientFrame::End);
  EXPECT_EQ(uploaded, FrameBlockBytes);  // the cut second block is not passed on

  // Header cut short, then frames that are whole, back to back.
  MemorySource shortHeader{std::string("\0\5\0", 3)};
  EXPECT_EQ(ReadClientFrame(shortHeader, line, noUpload, header, refusal), ClientFrame::End);
  MemorySource two{Header(RequestFrame, 8) + "is_ready" + Header(RequestFrame, 0) + Header(9, 1) + "x"};
  EXPECT_EQ(ReadClientFrame(two, line, noUpload, header, refusal), ClientFrame::Request);
  EXPECT_EQ(line, "is_ready");
  EXPECT_EQ(ReadClientFrame(two, line, noUpload, header, refusal), ClientFrame::Request);
  EXPECT_EQ(line, "");
  EXPECT_EQ(ReadClientFrame(two, line, noUpload, header, refusal), ClientFrame::Refused);
  EXPECT_STREQ(refusal, "unknown frame kind");
}

TEST(LinkFrame, FileFramesAroundTheBlockSize) {
  struct Case {
    size_t fileSize;
    std::string reply;
  } cases[] = {{0, ""}, {1, "dump_tree ok!\n"}, {65535, ""}, {65536, ""}, {65537, "x\n"}, {200000, "y\n"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "file of " << c.fileSize << " bytes");
    std::string content(c.fileSize, '\0');
    for (size_t i = 0; i < content.size(); ++i) content[i] = char(i * 131 + i / 977);
    std::FILE* file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    std::fwrite(content.data(), 1, content.size(), file);
    std::rewind(file);
    MemorySink sink;
    ASSERT_TRUE(WriteFileFrame(sink, file, content.size(), c.reply));
    std::fclose(file);

    const uint32_t replySize = uint32_t(c.reply.size());
    const std::string expected = Header(FileFrame, c.fileSize) + content +
                                 std::string{char(replySize), 0, 0, 0} + c.reply;
    EXPECT_TRUE(sink.bytes == expected);

    MemorySource source{sink.bytes + Header(ReplyFrame, 0)};
    uint8_t bytes[FrameHeaderBytes];
    ASSERT_TRUE(source.ReadExact(bytes, sizeof bytes));
    const FrameHeader header = DecodeFrameHeader(bytes);
    std::string received, reply = "stale";
    ASSERT_TRUE(CopyFrameBody(source, header.length, [&](const char* data, size_t size) {
      EXPECT_LE(size, FrameBlockBytes);
      received.append(data, size);
    }));
    ASSERT_TRUE(ReadFileFrameReply(source, reply));
    EXPECT_TRUE(received == content);
    EXPECT_EQ(reply, c.reply);
    EXPECT_EQ(source.bytes.size() - source.position, FrameHeaderBytes);  // the next frame is untouched
  }
}

TEST(LinkFrame, BrokenFileFramesFail) {
  // A file that yields fewer bytes than announced can't make a frame.
  std::FILE* file = std::tmpfile();
  ASSERT_NE(file, nullptr);
  std::fputs("short", file);
  std::rewind(file);
  MemorySink sink;
  EXPECT_FALSE(WriteFileFrame(sink, file, 6, ""));
  std::fclose(file);

  // A reply size past the client's bound, and a reply cut short.
  std::string reply;
  MemorySource huge{std::string("\xff\xff\xff\xff", 4) + "abc"};
  EXPECT_FALSE(ReadFileFrameReply(huge, reply));
  MemorySource cut{std::string("\x05\0\0\0", 4) + "abc"};
  EXPECT_FALSE(ReadFileFrameReply(cut, reply));
}

}  // namespace
