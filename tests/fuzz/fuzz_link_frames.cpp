// Fuzz target: arbitrary bytes as what one end of the TCP link receives.
// The first byte picks the end: even, the server reading its client's
// frames; odd, the client reading its server's (replies, messages, files
// and the replies behind them). Either reads until the bytes run out or a
// frame is refused, and must never hold more than has arrived: a length
// field is a claim, not a size.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "shell/link/frame.h"

namespace {

struct MemorySource {
  const uint8_t* data;
  size_t size;
  size_t position = 0;
  bool ReadExact(void* out, size_t count) {
    if (size - position < count) return false;
    for (size_t i = 0; i < count; ++i) static_cast<uint8_t*>(out)[i] = data[position + i];
    position += count;
    return true;
  }
};

// A buffer may round its capacity up, but not past twice what arrived.
void CheckHeld(const std::string& body, const MemorySource& source) {
  if (body.capacity() > 2 * source.position + 64) std::abort();
}

void ReadAsServer(MemorySource& source) {
  std::string line;
  for (;;) {
    FrameHeader header;
    const char* refusal = nullptr;
    uint64_t uploaded = 0;
    const ClientFrame frame =
        ReadClientFrame(source, line, [&](const char*, size_t size) { uploaded += size; }, header, refusal);
    CheckHeld(line, source);
    if (frame == ClientFrame::Upload && uploaded != header.length) std::abort();
    if (frame == ClientFrame::End || frame == ClientFrame::Refused) return;
  }
}

void ReadAsClient(MemorySource& source) {
  std::string body;
  for (;;) {
    const ServerFrame frame = ReadServerFrame(source, body, [](MemorySource& from, uint64_t length) {
      return CopyFrameBody(from, length, [](const char*, size_t) {});
    });
    CheckHeld(body, source);
    if (frame == ServerFrame::End) return;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  MemorySource source{data + 1, size - 1};
  if (data[0] % 2 == 0)
    ReadAsServer(source);
  else
    ReadAsClient(source);
  return 0;
}
