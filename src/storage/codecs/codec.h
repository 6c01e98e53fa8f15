// Row codecs: rows of up to 1326 small unsigned numbers to bytes and back,
// without loss, through 24 independent byte streams that the caller keeps.
//
// A codec never owns its bytes. The writer hands them to an output
// callback, stream by stream; the reader asks an input callback for exactly
// the bytes it needs. The callbacks' context is the caller's (a stream
// arena, a file loader, a test's vectors).
//
// The input callback reports how many bytes it delivered, and fewer than
// asked means the data is damaged. Stored data may be truncated or hostile
// (a file, a fuzzer), so a reader never trusts a size it reads, never reads
// outside its buffers and never loops on bad input: it records the first
// failure, stops reading and gives rows of zeros from then on.
//
// Failures end the process in the program ("fse error" for damaged data,
// "fail" for a row longer than the ceiling, and two of the older codecs'
// own), but the codec layer may not
// print or exit on its own terms, or it could not be fuzzed. So there is one
// place that does: ReportCodecFailure, which the row functions call and
// which runs a replaceable hook. The default hook prints the line and ends
// the process; a fuzz target installs one that only takes note. Code that
// wants a status instead reads CodecReader::Failure.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

// More hands than a row can have are a fault of the caller.
inline constexpr size_t MaxRowCount = 1326;
inline constexpr uint32_t CodecStreamCount = 24;

// output(context, stream, data, size): append size bytes to stream.
using CodecOutput = void (*)(void* context, uint32_t stream, const void* data, size_t size);
// input(context, stream, data, size): copy the next size bytes of stream
// into data; returns the number copied, fewer only at the stream's end.
using CodecInput = size_t (*)(void* context, uint32_t stream, void* data, size_t size);

enum class CodecFailure : uint8_t {
  none,
  damagedData,    // a block or row that no writer makes: "fse error"
  countTooLarge,  // a row of more than MaxRowCount values: "fail"
  wrongId,        // the range codec's head lacks its tag: "compressor wrong id"
  treeFailed,     // a symbol tree of the wrong size: "CreateOptimalTree fail"
};

// The console line of a failure, with its newline.
const char* CodecFailureLine(CodecFailure failure);

// Runs the hook. The default prints CodecFailureLine to the standard output
// and ends the process with status 1, flushing but running no destructors
// (solver threads may still use the globals). If a replaced hook returns,
// the caller carries on safely: the row is not written or is read as zeros.
using CodecFailureHook = void (*)(CodecFailure failure);
void ReportCodecFailure(CodecFailure failure);
// Returns the hook it replaces. Meant for start-up and fuzz targets only:
// the hook is read without a lock by every thread.
CodecFailureHook SetCodecFailureHook(CodecFailureHook hook);

class CodecWriter {
 public:
  // Flushes everything still buffered to the output.
  virtual ~CodecWriter() = default;
  // One transformed row: its mode byte and count symbols.
  virtual void WriteSymbols(const uint32_t* symbols, size_t count, uint8_t mode) = 0;
};

class CodecReader {
 public:
  virtual ~CodecReader() = default;
  // Decode one row; previous must be what the writer was given. They return
  // false if the row is not valid: after a failure, and for ReadRow16 also
  // in a codec without 16-bit rows.
  virtual bool ReadRow32(uint32_t* row, const uint32_t* previous, size_t count) = 0;
  virtual bool ReadRow16(uint16_t* row, const uint16_t* previous, size_t count) = 0;
  // True when the reader undoes the row transform itself, so that the row
  // functions hand it whole rows.
  virtual bool DecodesWholeRows() const = 0;

  CodecFailure Failure() const { return failure_; }

 protected:
  CodecFailure failure_ = CodecFailure::none;
};

// The codec ids, the first byte of stream 0.
inline constexpr uint8_t RangeCodecId = 0;   // older data only
inline constexpr uint8_t BitCodecId = 1;     // older data only
inline constexpr uint8_t StreamCodecId = 2;  // the one this program writes

// Writes the id byte to stream 0 and makes the writer; null, with nothing
// written, for an unknown id. The program writes id 2 only; the writers of
// ids 0 and 1 are there for round trips of older data, and take 32-bit
// rows only (16-bit rows are coded widened and read back as 32-bit rows).
// The histograms serve id 0 alone and may be null: histogram holds the 256
// counts its symbol tree is built from (null: no counts), histogramOut
// receives 256 counts of the values written, for a later writer.
std::unique_ptr<CodecWriter> CreateWriter(uint8_t id, const uint64_t* histogram, uint64_t* histogramOut,
                                          CodecOutput output, void* context);
// Reads the id byte from stream 0 and makes its reader; null for an unknown
// id or for no byte at all. A reader whose head is damaged is made with
// its failure recorded, which the first row reports.
std::unique_ptr<CodecReader> CreateReader(CodecInput input, void* context);

// The row transform, then the writer. previous may be null. A count above
// MaxRowCount is reported and nothing is written.
void WriteRow32(CodecWriter& writer, const uint32_t* row, const uint32_t* previous, size_t count);
void WriteRow16(CodecWriter& writer, const uint16_t* row, const uint16_t* previous, size_t count);

// The inverse; previous null or not as it was for the writer. Returns
// whether the row is valid; a failure is also reported.
bool ReadRow32(CodecReader& reader, uint32_t* row, const uint32_t* previous, size_t count);
bool ReadRow16(CodecReader& reader, uint16_t* row, const uint16_t* previous, size_t count);
