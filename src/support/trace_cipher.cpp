#include "support/trace_cipher.h"

#include <cstring>

namespace VXTraceNS {

namespace {

constexpr std::uint32_t kDelta = 0x9E3779B9u;

// Arithmetic right shift of the word taken as signed: the deliberate difference from textbook TEA.
inline std::uint32_t Sar5(std::uint32_t w) { return static_cast<std::uint32_t>(static_cast<std::int32_t>(w) >> 5); }

// The stored words; the real key and block are these XORed with kMask, so neither appears whole
// in the binary.
constexpr std::uint32_t kMask = 0x5A17C3E9u;
constexpr std::uint32_t kStoredKey[4] = {0x2A4F8DB1u ^ kMask, 0xC3196E07u ^ kMask, 0x7E52A0F4u ^ kMask,
                                         0x94D03B68u ^ kMask};
constexpr std::uint32_t kStoredBlock[2] = {0x13C6F75Au ^ kMask, 0xE8B2049Du ^ kMask};

void StoreWords(const std::uint32_t block[2], std::uint8_t out[8]) {
  for (int w = 0; w < 2; ++w)
    for (int b = 0; b < 4; ++b) out[w * 4 + b] = static_cast<std::uint8_t>(block[w] >> (8 * b));
}

}  // namespace

void TeaEncipherBlock(std::uint32_t block[2], const TeaKey& key) {
  std::uint32_t w0 = block[0], w1 = block[1], sum = 0;
  for (int round = 0; round < 32; ++round) {
    sum += kDelta;
    w0 += (Sar5(w1) + key.k[1]) ^ ((w1 << 4) + key.k[0]) ^ (sum + w1);
    w1 += (Sar5(w0) + key.k[3]) ^ ((w0 << 4) + key.k[2]) ^ (sum + w0);
  }
  block[0] = w0;
  block[1] = w1;
}

void CipherText(std::uint8_t* text, std::size_t size, const TeaKey& key, const std::uint32_t initial[2]) {
  std::uint32_t state[2] = {initial[0], initial[1]};
  std::uint8_t stream[8];
  for (std::size_t at = 0; at < size; at += 8) {
    TeaEncipherBlock(state, key);
    StoreWords(state, stream);
    const std::size_t run = size - at < 8 ? size - at : 8;
    for (std::size_t i = 0; i < run; ++i) text[at + i] ^= stream[i];
  }
}

TeaKey TraceKey() {
  TeaKey key;
  for (int i = 0; i < 4; ++i) key.k[i] = kStoredKey[i] ^ kMask;
  return key;
}

void TraceInitialBlock(std::uint32_t block[2]) {
  block[0] = kStoredBlock[0] ^ kMask;
  block[1] = kStoredBlock[1] ^ kMask;
}

CTraceCipher::CTraceCipher() {
  std::uint32_t initial[2];
  TraceInitialBlock(initial);
  *this = CTraceCipher(TraceKey(), initial);
}

CTraceCipher::CTraceCipher(const TeaKey& key, const std::uint32_t initial[2]) : m_key(key) {
  m_tail[0] = initial[0];
  m_tail[1] = initial[1];
  for (std::size_t at = 0; at < kCachedBytes; at += 8) {
    TeaEncipherBlock(m_tail, m_key);
    StoreWords(m_tail, &m_stream[at]);
  }
}

void CTraceCipher::Apply(std::uint8_t* text, std::size_t size) const {
  const std::size_t cached = size < kCachedBytes ? size : kCachedBytes;
  std::size_t i = 0;
  for (; i + 8 <= cached; i += 8) {  // eight bytes at a time; memcpy keeps it free of alignment rules
    std::uint64_t block, stream;
    std::memcpy(&block, text + i, 8);
    std::memcpy(&stream, &m_stream[i], 8);
    block ^= stream;
    std::memcpy(text + i, &block, 8);
  }
  for (; i < cached; ++i) text[i] ^= m_stream[i];
  if (size > kCachedBytes) CipherText(text + kCachedBytes, size - kCachedBytes, m_key, m_tail);
}

const CTraceCipher& TraceCipher() {
  static const CTraceCipher cipher;
  return cipher;
}

}  // namespace VXTraceNS
