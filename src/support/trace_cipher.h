// Encipherment of trace record texts: a 64-bit block cipher of the TEA family with arithmetic
// (sign-propagating) right shifts, run in output-feedback mode from the same initial block for every
// record. Writer and reader share this file; the key and initial block live only here.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace VXTraceNS {

struct TeaKey {
  std::uint32_t k[4];
};

// One encipherment of the two-word block in place: 32 rounds.
void TeaEncipherBlock(std::uint32_t block[2], const TeaKey& key);

// XORs text with the key stream that starts at the initial block (OFB, reset per record).
// The same call deciphers.
void CipherText(std::uint8_t* text, std::size_t size, const TeaKey& key, const std::uint32_t initial[2]);

// The facility's own key and initial block, assembled at run time from stored words.
TeaKey TraceKey();
void TraceInitialBlock(std::uint32_t block[2]);

// Since every record restarts from the same block, the key stream is the same for every record:
// it is computed once and each record is XORed with its prefix. Records longer than the cached
// stream continue with a live computation.
class CTraceCipher {
 public:
  static constexpr std::size_t kCachedBytes = 512;  // beyond the longest record text the facility writes

  CTraceCipher();
  CTraceCipher(const TeaKey& key, const std::uint32_t initial[2]);
  void Apply(std::uint8_t* text, std::size_t size) const;

 private:
  TeaKey m_key;
  std::uint32_t m_tail[2];  // state after the cached stream
  alignas(16) std::array<std::uint8_t, kCachedBytes> m_stream;
};

// The process-wide cipher with the facility's key (built on first use).
const CTraceCipher& TraceCipher();

}  // namespace VXTraceNS
