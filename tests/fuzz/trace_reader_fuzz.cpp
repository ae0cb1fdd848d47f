// libFuzzer entry: the trace file parser and printer on arbitrary bytes. Besides the sanitizers'
// findings, it checks what every caller relies on: offsets stay inside the input, records are
// contiguous, and one record prints as at most one line.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>

#include "trace_reader.h"

static void Require(bool condition) {
  if (!condition) std::abort();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const vxtrace::TraceFile file = vxtrace::ParseTraceFile(std::span<const std::uint8_t>(data, size));
  Require(file.fault.has_value() || !file.header.empty());
  if (file.fault) Require(file.fault->offset <= size && !file.fault->message.empty());
  std::size_t next = file.recordsOffset;
  std::size_t lines = file.header.size();
  for (const vxtrace::TraceRecord& record : file.records) {
    Require(record.offset == next && record.text.size() <= 0xFFFF);
    next = record.offset + 7 + record.text.size();
    Require(next <= size);
    if (record.kind != 't' && record.kind != 'T') ++lines;
  }
  if (!file.fault) Require(next == size);
  const std::string printed = vxtrace::PrintTraceFile(file);
  Require(static_cast<std::size_t>(std::count(printed.begin(), printed.end(), '\n')) == lines);
  return 0;
}
