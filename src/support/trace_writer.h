// Record composition, shared by the facility and its output objects.
#pragma once

#include <cstddef>

#include "platform/wintypes.h"
#include "support/trace_record.h"

namespace VXTraceNS {

// The longest text a record of this facility carries (scope names, messages and results are cut
// well below it).
inline constexpr size_t kMaxRecordText = 400;

// Writes the 7-byte head and the text into buffer (room for kRecordHeadSize + kMaxRecordText bytes);
// returns the record's size. A text already in place after the head is not copied.
DWORD ComposeRecord(BYTE* buffer, DWORD threadId, RecordKind kind, const void* text, size_t size);

}  // namespace VXTraceNS
