#include "storage/tree_stream.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

TreeReader::TreeReader(const void* data, size_t size)
    : next_(static_cast<const uint8_t*>(data)), buffered_(size), remaining_(size) {}

TreeReader::TreeReader(std::FILE* file) : file_(file), buffer_(new uint8_t[BufferSize]) {
  struct stat info {};
  const long at = std::ftell(file);
  if (at < 0 || fstat(fileno(file), &info) != 0 || info.st_size < at) {
    failed_ = true;
    readErrno_ = errno ? errno : EIO;
    return;
  }
  remaining_ = uint64_t(info.st_size - at);
}

bool TreeReader::Refill() {
  if (!file_) return false;
  const size_t want = size_t(std::min<uint64_t>(BufferSize, remaining_));
  const size_t got = std::fread(buffer_.get(), 1, want, file_);
  next_ = buffer_.get();
  buffered_ = got;
  // The file shrank under us, or the disk failed: what it promised is not
  // there.
  if (got == 0) {
    if (std::ferror(file_))
      readErrno_ = errno ? errno : EIO;
    else
      pastEnd_ = true;
    remaining_ = 0;
  }
  return got > 0;
}

bool TreeReader::Read(void* out, size_t size) {
  if (failed_) return false;
  if (size > remaining_) {
    failed_ = pastEnd_ = true;
    return false;
  }
  auto* to = static_cast<uint8_t*>(out);
  while (size > 0) {
    if (buffered_ == 0 && !Refill()) {
      failed_ = true;
      return false;
    }
    const size_t n = std::min(size, buffered_);
    std::memcpy(to, next_, n);
    to += n, next_ += n, buffered_ -= n, remaining_ -= n, size -= n;
  }
  return true;
}

void TreeWriter::Write(const void* data, size_t size) {
  if (size == 0 || failed_) return;
  if (memory_) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    memory_->insert(memory_->end(), bytes, bytes + size);
  } else if (std::fwrite(data, 1, size, file_) != size) {
    failed_ = true;
  }
}
