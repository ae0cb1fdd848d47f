// The output objects: records go to an open trace file, or nowhere.
#include <cstring>

#include "platform/format.h"
#include "support/trace.h"
#include "support/trace_cipher.h"
#include "support/trace_writer.h"

namespace VXTraceNS {

DWORD ComposeRecord(BYTE* buffer, DWORD threadId, RecordKind kind, const void* text, size_t size) {
  if (size > kMaxRecordText) size = kMaxRecordText;
  for (int i = 0; i < 4; ++i) buffer[i] = static_cast<BYTE>(threadId >> (8 * i));
  buffer[4] = static_cast<BYTE>(kind);
  buffer[5] = static_cast<BYTE>(size & 0xFF);
  buffer[6] = static_cast<BYTE>(size >> 8);
  if (size && text != buffer + kRecordHeadSize) std::memcpy(buffer + kRecordHeadSize, text, size);
  return static_cast<DWORD>(kRecordHeadSize + size);
}

CFileOutput::CFileOutput(vx::platform::IFileSystem& files, std::u16string path, bool truncate,
                         std::span<const std::string> headerLines, const SYSTEMTIME& now, DWORD threadId)
    : m_path(std::move(path)) {
  if (m_path.empty() || m_path.size() > MAX_PATH) return;
  using vx::platform::FileDisposition;
  if (files.OpenForWrite(m_path, truncate ? FileDisposition::CreateAlways : FileDisposition::OpenAlways, m_file) !=
      ERROR_SUCCESS) {
    m_file.reset();
    return;
  }
  ULONGLONG size = 0;
  if (m_file->SeekToEnd(&size) != ERROR_SUCCESS) {
    m_file.reset();
    return;
  }
  if (size > 0) {
    // A new run in a file that has content: a dated separator instead of a second header.
    const std::string date = vx::FormatNarrow("%02d-%02d-%02d", now.wMonth, now.wDay, now.wYear);
    BYTE record[kRecordHeadSize + 16];
    const DWORD recordSize = ComposeRecord(record, threadId, RecordKind::NewRun, date.data(), date.size());
    TraceCipher().Apply(record + kRecordHeadSize, recordSize - kRecordHeadSize);
    m_file->Write(record, recordSize, nullptr);
    return;
  }
  std::string header;
  for (const auto& line : headerLines) {
    header += line;
    header += "\r\n";
  }
  m_file->Write(header.data(), static_cast<DWORD>(header.size()), nullptr);
}

void CFileOutput::Write(BYTE* record, DWORD size, CTraceScope&) {
  if (!m_file || size < kRecordHeadSize) return;
  // Enciphered before the seek, while the text is still in the cache; a failed seek drops the record.
  TraceCipher().Apply(record + kRecordHeadSize, size - kRecordHeadSize);
  if (m_file->SeekToEnd(nullptr) != ERROR_SUCCESS) return;
  m_file->Write(record, size, nullptr);
}

}  // namespace VXTraceNS
