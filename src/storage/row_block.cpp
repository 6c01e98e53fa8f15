#include "storage/row_block.h"

#include <algorithm>
#include <cstring>

#include "storage/tree_stream.h"

namespace {

// The first version whose row blocks begin with a mode byte.
constexpr int32_t BlockModeVersion = 6;
constexpr uint8_t StreamMode = 0;
constexpr uint8_t PackedRowMode = 1;

}  // namespace

RowBlockReader::RowBlockReader(TreeReader& in) : in_(in) {
  uint8_t mode = StreamMode;
  if (in.formatVersion >= BlockModeVersion && !in.ReadValue(mode)) {
    Fail();
    return;
  }
  streamMode_ = mode == StreamMode;
  if (!streamMode_) return;
  for (uint32_t s = 0; s < CodecStreamCount; ++s) {
    uint64_t size = 0;
    if (!in.ReadValue(size) || size > in.Remaining()) {
      Fail();
      return;
    }
    chunks_[s].resize(size_t(size));
    if (size && !in.Read(chunks_[s].data(), size_t(size))) {
      Fail();
      return;
    }
  }
  note_ = std::make_unique<CodecFailureNote>();
  reader_ = CreateReader(&Input, this);
  if (!reader_) Fail();
}

bool RowBlockReader::Fail() {
  ok_ = false;
  in_.Fail();
  return false;
}

size_t RowBlockReader::Input(void* context, uint32_t stream, void* data, size_t size) {
  auto& block = *static_cast<RowBlockReader*>(context);
  const std::vector<uint8_t>& chunk = block.chunks_[stream];
  const size_t n = std::min(size, chunk.size() - block.at_[stream]);
  if (n) std::memcpy(data, chunk.data() + block.at_[stream], n);
  block.at_[stream] += n;
  return n;
}

// Reads one packed row's length and bytes.
bool RowBlockReader::Packed(size_t bound) {
  int16_t length = 0;
  if (!in_.ReadValue(length) || length < 0 || size_t(length) > bound || !in_.Read(bytes_, size_t(length)))
    return Fail();
  packedSize_ = size_t(length);
  return true;
}

bool RowBlockReader::Row32(uint32_t* row, int32_t count) {
  if (!ok_ || count < 0 || size_t(count) > MaxRowCount) return Fail();
  if (streamMode_) return ReadRow32(*reader_, row, nullptr, size_t(count)) && !note_->Failed() ? true : Fail();
  if (!Packed(PackedRow32Bound(size_t(count)))) return false;
  const PackedRowResult result = UnpackRow32(bytes_, packedSize_, row, size_t(count));
  return result.IsError() || result.size != packedSize_ ? Fail() : true;
}

bool RowBlockReader::Row16(uint16_t* row, int32_t count) {
  if (!ok_ || count < 0 || size_t(count) > MaxRowCount) return Fail();
  if (streamMode_) {
    if (ReadRow16(*reader_, row, nullptr, size_t(count))) return true;
    // The older codecs have no 16-bit rows: their writers coded them
    // widened.
    uint32_t wide[MaxRowCount];
    if (reader_->Failure() != CodecFailure::none || !ReadRow32(*reader_, wide, nullptr, size_t(count)))
      return Fail();
    for (int32_t i = 0; i < count; ++i) {
      if (wide[i] > 0xFFFF) return Fail();
      row[i] = uint16_t(wide[i]);
    }
    return true;
  }
  if (!Packed(PackedRow16Bound(size_t(count)))) return false;
  const PackedRowResult result = UnpackRow16(bytes_, packedSize_, row, size_t(count));
  return result.IsError() || result.size != packedSize_ ? Fail() : true;
}

RowBlockWriter::RowBlockWriter(TreeWriter& out) : out_(out) {
  if (out.formatVersion >= BlockModeVersion) {
    out.WriteValue(PackedRowMode);
    return;
  }
  writer_ = CreateWriter(StreamCodecId, nullptr, nullptr, &Output, this);
}

RowBlockWriter::~RowBlockWriter() {
  if (!writer_) return;
  writer_.reset();  // flushes into the chunks
  for (const std::vector<uint8_t>& chunk : chunks_) {
    out_.WriteValue(uint64_t(chunk.size()));
    out_.Write(chunk.data(), chunk.size());
  }
}

void RowBlockWriter::Output(void* context, uint32_t stream, const void* data, size_t size) {
  auto& block = *static_cast<RowBlockWriter*>(context);
  const auto* bytes = static_cast<const uint8_t*>(data);
  block.chunks_[stream].insert(block.chunks_[stream].end(), bytes, bytes + size);
}

void RowBlockWriter::Packed(size_t size) {
  out_.WriteValue(int16_t(size));
  out_.Write(bytes_, size);
}

void RowBlockWriter::Row32(const uint32_t* row, int32_t count) {
  if (writer_) return WriteRow32(*writer_, row, nullptr, size_t(count));
  Packed(PackRow32(row, size_t(count), bytes_));
}

void RowBlockWriter::Row16(const uint16_t* row, int32_t count) {
  if (writer_) return WriteRow16(*writer_, row, nullptr, size_t(count));
  Packed(PackRow16(row, size_t(count), bytes_));
}
