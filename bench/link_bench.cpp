// The TCP link on the loopback, server and client in one process: the round
// trip of a small command (is_ready, one frame each way), a large reply
// (repeat, 20 MB of lines, its own formatting included), and file uploads
// as load_tree sends them, each followed by a small request so that the
// file is on the server's disk when the time stops. Speeds are of the
// frame bytes.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>

#include "shell/link/remote_link.h"
#include "shell/link/server_link.h"

namespace {

// The server writes its uploads into its working directory.
char Directory[] = "/tmp/kestrune_link_bench_XXXXXX";
// Bytes of the messages a large reply is sent ahead in.
std::atomic<size_t> MessageBytes = 0;

RemoteLink& Link() {
  static RemoteLink* link = [] {
    if (!mkdtemp(Directory) || chdir(Directory) != 0) std::abort();
    if (!OpenServerLink(DefaultServerAddress, 0)) std::abort();
    std::thread([] { RunServer(true); }).detach();
    std::string error;
    static RemoteLinkHandle handle = OpenRemoteLink(
        DefaultServerAddress, ServerLinkPort(), [](std::string_view text) { MessageBytes += text.size(); }, error);
    if (!handle) std::abort();
    return handle.get();
  }();
  return *link;
}

void RoundTrip(benchmark::State& state) {
  RemoteLink& link = Link();
  for (auto _ : state) benchmark::DoNotOptimize(Request(link, "is_ready", ""));
}
BENCHMARK(RoundTrip)->UseRealTime();

void LargeReply(benchmark::State& state) {
  RemoteLink& link = Link();
  const std::string line = "repeat 20000 " + std::string(1000, 'x');
  MessageBytes = 0;
  size_t bytes = 0;
  for (auto _ : state) bytes += Request(link, line, "").text.size();
  state.SetBytesProcessed(int64_t(bytes + MessageBytes));
}
BENCHMARK(LargeReply)->UseRealTime()->Unit(benchmark::kMillisecond);

void Upload(benchmark::State& state) {
  RemoteLink& link = Link();
  const std::string path = "upload_source";
  {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    const std::string block(1 << 16, 'u');
    for (int64_t left = state.range(0); left > 0; left -= int64_t(block.size()))
      std::fwrite(block.data(), 1, size_t(std::min<int64_t>(left, int64_t(block.size()))), file);
    std::fclose(file);
  }
  std::string error;
  for (auto _ : state) {
    if (!SendFile(link, path, error)) std::abort();
    benchmark::DoNotOptimize(Request(link, "is_ready", ""));
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * state.range(0));
  std::remove(path.c_str());
}
BENCHMARK(Upload)->Arg(65536)->Arg(64 << 20)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

// The server thread never ends by itself; the process ends around it.
int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::fflush(stdout);
  std::remove("kestrune_temp");
  if (chdir("/") == 0) rmdir(Directory);
  std::_Exit(0);
}
