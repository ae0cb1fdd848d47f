// gpt.ini: the version halves and the lines kept around the Version line.
#include "gpo/gpt_ini.h"

#include <gtest/gtest.h>

using vx::gpo::BumpVersion;
using vx::gpo::GptIni;

TEST(GptIniVersion, EachHalfCountsOnItsOwnAndWrapsToOne) {
  EXPECT_EQ(BumpVersion(0x00050007, true), 0x00050008u);
  EXPECT_EQ(BumpVersion(0x00050007, false), 0x00060007u);
  EXPECT_EQ(BumpVersion(0x1234FFFF, true), 0x12340001u);
  EXPECT_EQ(BumpVersion(0xFFFF1234, false), 0x00011234u);
  EXPECT_EQ(BumpVersion(0xFFFFFFFF, true), 0xFFFF0001u);
  EXPECT_EQ(BumpVersion(0xFFFFFFFF, false), 0x0001FFFFu);
}

TEST(GptIniText, VersionLineIsReadAndRewrittenWithOtherLinesKept) {
  GptIni ini =
      GptIni::Parse("; comment\r\n[general]\r\ndisplayName=New GPO\r\n  version = 65539 \r\n\r\n[Other]\nVersion=7\n");
  EXPECT_EQ(ini.Version(), 65539u);
  ini.SetVersion(BumpVersion(ini.Version(), true));
  EXPECT_EQ(ini.Text(),
            "; comment\r\n[general]\r\ndisplayName=New GPO\r\nVersion=65540\r\n\r\n[Other]\r\nVersion=7\r\n");
}

TEST(GptIniText, MissingVersionOrSectionIsAdded) {
  GptIni ini = GptIni::Parse("[General]\r\ngPCMachineExtensionNames=[{A}]\r\n");
  EXPECT_EQ(ini.Version(), 0u);
  ini.SetVersion(1);
  EXPECT_EQ(ini.Text(), "[General]\r\nVersion=1\r\ngPCMachineExtensionNames=[{A}]\r\n");

  ini = GptIni::Parse("[Other]\rVersion=9");
  EXPECT_EQ(ini.Version(), 0u);  // only [General] counts
  ini.SetVersion(65536);
  EXPECT_EQ(ini.Text(), "[Other]\r\nVersion=9\r\n[General]\r\nVersion=65536\r\n");
}

TEST(GptIniText, UnreadableNumbersCountAsZero) {
  EXPECT_EQ(GptIni::Parse("[General]\nVersion=12abc\n").Version(), 12u);
  EXPECT_EQ(GptIni::Parse("[General]\nVersion=abc\n").Version(), 0u);
  EXPECT_EQ(GptIni::Parse("[General]\nVersion=4294967295\n").Version(), 0xFFFFFFFFu);
  EXPECT_EQ(GptIni::Parse("[General]\nVersion=4294967296\n").Version(), 0u);
  EXPECT_EQ(GptIni::Parse("[General]\nVersion\n").Version(), 0u);
}
