#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "support/trace_cipher.h"

using namespace VXTraceNS;

namespace {
// Expected values computed by an independent implementation (Python) of the algorithm.
constexpr TeaKey kKey{{0x2A4F8DB1u, 0xC3196E07u, 0x7E52A0F4u, 0x94D03B68u}};
}  // namespace

TEST(TraceCipher, KnownAnswersUseArithmeticShifts) {
  std::uint32_t block[2] = {0x80000000u, 0xFFFFFFFFu};
  TeaEncipherBlock(block, TeaKey{{1, 2, 3, 4}});
  // Logical shifts would give 3F4F8884 C4CEFBBF for this block.
  EXPECT_EQ(block[0], 0xE2B14178u);
  EXPECT_EQ(block[1], 0x9008EB24u);

  std::uint32_t zero[2] = {0, 0};
  TeaEncipherBlock(zero, TeaKey{{0, 0, 0, 0}});
  EXPECT_EQ(zero[0], 0x1DEC4E94u);
  EXPECT_EQ(zero[1], 0xF9FEC492u);
}

TEST(TraceCipher, KeyStreamIsOutputFeedbackInMemoryOrder) {
  const std::uint32_t initial[2] = {0x13C6F75Au, 0xE8B2049Du};
  std::uint8_t text[16] = {};
  CipherText(text, sizeof text, kKey, initial);
  const std::uint8_t expected[16] = {0x47, 0x96, 0x40, 0x85, 0xc8, 0x8f, 0x87, 0x2f,
                                     0x74, 0x84, 0x82, 0x14, 0x37, 0x0d, 0x11, 0xb6};
  EXPECT_EQ(0, std::memcmp(text, expected, sizeof text));
}

TEST(TraceCipher, CachedStreamMatchesLiveComputationAtEveryLength) {
  const std::uint32_t initial[2] = {0x01234567u, 0x89ABCDEFu};
  const CTraceCipher cipher(kKey, initial);
  for (std::size_t size : {0u, 1u, 7u, 8u, 9u, 399u, 511u, 512u, 513u, 520u, 1500u}) {
    std::vector<std::uint8_t> cached(size), live(size);
    for (std::size_t i = 0; i < size; ++i) cached[i] = live[i] = static_cast<std::uint8_t>(i * 7);
    cipher.Apply(cached.data(), size);
    CipherText(live.data(), size, kKey, initial);
    EXPECT_EQ(cached, live) << "size " << size;
    cipher.Apply(cached.data(), size);  // the same call deciphers
    for (std::size_t i = 0; i < size; ++i) ASSERT_EQ(cached[i], static_cast<std::uint8_t>(i * 7));
  }
}

TEST(TraceCipher, EveryRecordRestartsFromTheInitialBlock) {
  std::uint8_t a[5] = {'h', 'e', 'l', 'l', 'o'};
  std::uint8_t b[5] = {'h', 'e', 'l', 'l', 'o'};
  TraceCipher().Apply(a, 5);
  TraceCipher().Apply(b, 5);
  EXPECT_EQ(0, std::memcmp(a, b, 5));
  EXPECT_NE(0, std::memcmp(a, "hello", 5));
}
