#include "storage/codecs/codec.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "storage/codecs/bit_codec.h"
#include "storage/codecs/range_codec.h"
#include "storage/codecs/row_transform.h"
#include "storage/codecs/stream_codec.h"

namespace {

void ExitOnFailure(CodecFailure failure) {
  std::fputs(CodecFailureLine(failure), stdout);
  std::fflush(stdout);
  std::fflush(stderr);
  std::_Exit(1);
}

// Relaxed is enough: the hook is set before any codec runs.
std::atomic<CodecFailureHook> failureHook{ExitOnFailure};

}  // namespace

const char* CodecFailureLine(CodecFailure failure) {
  switch (failure) {
    case CodecFailure::damagedData: return "fse error\n";
    case CodecFailure::wrongId: return "compressor wrong id\n";
    case CodecFailure::treeFailed: return "CreateOptimalTree fail\n";
    default: return "fail\n";
  }
}

void ReportCodecFailure(CodecFailure failure) { failureHook.load(std::memory_order_relaxed)(failure); }

CodecFailureHook SetCodecFailureHook(CodecFailureHook hook) {
  return failureHook.exchange(hook ? hook : ExitOnFailure, std::memory_order_relaxed);
}

std::unique_ptr<CodecWriter> CreateWriter(uint8_t id, const uint64_t* histogram, uint64_t* histogramOut,
                                          CodecOutput output, void* context) {
  if (id > StreamCodecId) return nullptr;
  output(context, 0, &id, 1);
  if (id == RangeCodecId) return std::make_unique<RangeCodecWriter>(histogram, histogramOut, output, context);
  if (id == BitCodecId) return std::make_unique<BitCodecWriter>(output, context);
  return std::make_unique<StreamCodecWriter>(output, context);
}

std::unique_ptr<CodecReader> CreateReader(CodecInput input, void* context) {
  uint8_t id = 0;
  if (input(context, 0, &id, 1) != 1) return nullptr;
  if (id == RangeCodecId) return std::make_unique<RangeCodecReader>(input, context);
  if (id == BitCodecId) return std::make_unique<BitCodecReader>(input, context);
  if (id == StreamCodecId) return std::make_unique<StreamCodecReader>(input, context);
  return nullptr;
}

// The symbols of one row live on the stack (5 KB): no allocation per row,
// and nothing shared between the threads that write at once.
namespace {

// The row functions differ only in the element and its transform or
// reader operation.
template <class Value, class Transform>
void WriteRowOf(CodecWriter& writer, const Value* row, const Value* previous, size_t count, Transform transform) {
  if (count > MaxRowCount) return ReportCodecFailure(CodecFailure::countTooLarge);
  uint32_t symbols[MaxRowCount];
  const uint8_t mode = transform(row, previous, symbols, count);
  writer.WriteSymbols(symbols, count, mode);
}

template <class Read>
bool ReadRowOf(CodecReader& reader, size_t count, Read read) {
  if (count > MaxRowCount) {
    ReportCodecFailure(CodecFailure::countTooLarge);
    return false;
  }
  const bool valid = read();
  if (reader.Failure() != CodecFailure::none) ReportCodecFailure(reader.Failure());
  return valid;
}

}  // namespace

void WriteRow32(CodecWriter& writer, const uint32_t* row, const uint32_t* previous, size_t count) {
  WriteRowOf(writer, row, previous, count, TransformRow32);
}

void WriteRow16(CodecWriter& writer, const uint16_t* row, const uint16_t* previous, size_t count) {
  WriteRowOf(writer, row, previous, count, TransformRow16);
}

bool ReadRow32(CodecReader& reader, uint32_t* row, const uint32_t* previous, size_t count) {
  return ReadRowOf(reader, count, [&] { return reader.ReadRow32(row, previous, count); });
}

bool ReadRow16(CodecReader& reader, uint16_t* row, const uint16_t* previous, size_t count) {
  return ReadRowOf(reader, count, [&] { return reader.ReadRow16(row, previous, count); });
}
