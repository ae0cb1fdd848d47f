#include <gtest/gtest.h>

#include <vector>

#include "support/trace_cipher.h"

using namespace VXTraceNS;

// Expected values computed by an independent implementation (Python) of the algorithm.
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

// The key stream of the trace files, which every reader of them must produce too: output feedback
// from the facility's initial block under its key, in memory order.
TEST(TraceCipher, TraceKeyStreamIsKnown) {
  std::vector<std::uint8_t> text(16);
  TraceCipher().Apply(text.data(), text.size());
  EXPECT_EQ(text, (std::vector<std::uint8_t>{0x47, 0x96, 0x40, 0x85, 0xc8, 0x8f, 0x87, 0x2f, 0x74, 0x84, 0x82, 0x14,
                                             0x37, 0x0d, 0x11, 0xb6}));
}

TEST(TraceCipher, CachedStreamMatchesLiveComputationAtEveryLength) {
  const TeaKey key{{0x2A4F8DB1u, 0xC3196E07u, 0x7E52A0F4u, 0x94D03B68u}};
  const std::uint32_t initial[2] = {0x01234567u, 0x89ABCDEFu};
  const CTraceCipher cipher(key, initial);
  for (std::size_t size : {0u, 1u, 7u, 8u, 9u, 399u, 511u, 512u, 513u, 520u, 1500u}) {
    std::vector<std::uint8_t> cached(size), live(size);
    for (std::size_t i = 0; i < size; ++i) cached[i] = live[i] = static_cast<std::uint8_t>(i * 7);
    cipher.Apply(cached.data(), size);
    CipherText(live.data(), size, key, initial);
    EXPECT_EQ(cached, live) << "size " << size;
    cipher.Apply(cached.data(), size);  // the same call deciphers
    for (std::size_t i = 0; i < size; ++i) ASSERT_EQ(cached[i], static_cast<std::uint8_t>(i * 7));
  }
}
