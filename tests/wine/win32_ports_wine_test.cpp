// The Win32 ports against the real platform: files, process facts, string tables, the maker's UI
// library (test doubles in ports/) and the system's message table.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <tuple>

#include "platform/text.h"
#include "platform/win32/win32_files.h"
#include "platform/win32/win32_handles.h"
#include "platform/win32/win32_process.h"
#include "platform/win32/win32_ui.h"
#include "wine_support.h"

namespace vx::platform {
namespace {

// The file's bytes, read while writers may still hold it open.
std::string Content(const std::u16string& path) {
  std::ifstream in(std::filesystem::path(AsWide(path)), std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

class Win32FilesTest : public ::testing::Test {
 protected:
  std::u16string Path(const wchar_t* name) const { return AsU16((m_dir / name).c_str()); }

  vxtest::ScratchFolder m_dir;
  Win32FileSystem m_files;
};

TEST_F(Win32FilesTest, WritesReachTheSharedFileAtOnce) {
  const std::u16string path = Path(L"log.trc");
  std::unique_ptr<IFile> file, second;
  ULONGLONG size = 99;
  ASSERT_EQ(m_files.OpenForWrite(path, FileDisposition::OpenAlways, file), ERROR_SUCCESS);
  DWORD written = 0;
  EXPECT_EQ(file->Write("first", 5, &written), ERROR_SUCCESS);
  EXPECT_EQ(written, 5u);
  ASSERT_EQ(m_files.OpenForWrite(path, FileDisposition::CreateAlways, file), ERROR_SUCCESS);
  EXPECT_EQ(file->SeekToEnd(&size), ERROR_SUCCESS);
  EXPECT_EQ(size, 0u) << "create-always truncates";
  EXPECT_EQ(file->Write("ab", 2, nullptr), ERROR_SUCCESS);

  // Open-always keeps the content, and a second writer is let in; nothing is buffered.
  ASSERT_EQ(m_files.OpenForWrite(path, FileDisposition::OpenAlways, second), ERROR_SUCCESS);
  ASSERT_EQ(second->SeekToEnd(nullptr), ERROR_SUCCESS);
  EXPECT_EQ(second->Write("cd", 2, nullptr), ERROR_SUCCESS);
  ASSERT_EQ(file->SeekToEnd(nullptr), ERROR_SUCCESS);
  EXPECT_EQ(file->Write("ef", 2, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(Content(path), "abcdef");
}

TEST_F(Win32FilesTest, DirectoriesAndNamesAnswerTheSystemCodes) {
  const std::u16string child = Path(L"Prot\u00f6koll \u65e5\u672c");
  EXPECT_FALSE(m_files.AnyMatch(child + u"\\*"));
  EXPECT_EQ(m_files.CreateDirectory(child), ERROR_SUCCESS);
  EXPECT_TRUE(m_files.AnyMatch(child + u"\\*")) << "an empty directory still matches \"\\*\"";
  EXPECT_EQ(m_files.CreateDirectory(child), ERROR_ALREADY_EXISTS);
  EXPECT_EQ(m_files.CreateDirectory(Path(L"missing\\child")), ERROR_PATH_NOT_FOUND);

  const std::u16string file = child + u"\\\u00e9t\u00e9.trc";
  std::unique_ptr<IFile> opened;
  ASSERT_EQ(m_files.OpenForWrite(file, FileDisposition::CreateAlways, opened), ERROR_SUCCESS);
  EXPECT_TRUE(m_files.AnyMatch(file));
  EXPECT_EQ(m_files.OpenForWrite(Path(L"missing\\log.trc"), FileDisposition::CreateAlways, opened),
            ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(opened, nullptr);
}

TEST(Win32ProcessInfoTest, FactsAreThoseOfThisProgram) {
  Win32ProcessInfo process;
  const std::u16string module = process.ModulePath();
  EXPECT_TRUE(EqualsIgnoreCase(FileNamePart(module), u"win32_ports_wine_test.exe")) << Utf16ToUtf8(module);
  EXPECT_EQ(process.ExecutablePath(), module) << "the program links the ports itself";

  wchar_t fromEnvironment[256] = {};
  ASSERT_GT(::GetEnvironmentVariableW(L"COMPUTERNAME", fromEnvironment, 256), 0u);
  EXPECT_TRUE(EqualsIgnoreCase(process.ComputerName(), AsU16(fromEnvironment)));

  const OsVersionInfo os = process.OsVersion();
  EXPECT_EQ(os.platformId, VER_PLATFORM_WIN32_NT);
  EXPECT_GE(os.major, 6u);
  EXPECT_TRUE(os.productType >= VER_NT_WORKSTATION && os.productType <= VER_NT_SERVER) << int{os.productType};
}

TEST(Win32ProcessInfoTest, EnvironmentVariablesExpandAndUnknownOnesStay) {
  ASSERT_TRUE(::SetEnvironmentVariableW(L"VX_TRACE_DIR", L"C:\\traces"));
  const std::u16string longValue(600, u'v');
  ASSERT_TRUE(::SetEnvironmentVariableW(L"VX_LONG", AsWide(longValue)));
  Win32ProcessInfo process;
  EXPECT_EQ(Utf16ToUtf8(process.ExpandEnvironment(u"%VX_TRACE_DIR%\\snapin")), "C:\\traces\\snapin");
  EXPECT_EQ(Utf16ToUtf8(process.ExpandEnvironment(u"%VX_NOT_SET%\\x")), "%VX_NOT_SET%\\x");
  EXPECT_EQ(process.ExpandEnvironment(u"<%VX_LONG%>"), u"<" + longValue + u">") << "the buffer grows";
}

TEST(Win32ProcessInfoTest, VersionResourceIsReadWhereThereIsOne) {
  Win32ProcessInfo process;
  VersionResource v;
  ASSERT_TRUE(process.ReadVersionResource(process.ExecutablePath(), v));
  EXPECT_EQ(std::tie(v.fileVersionMS, v.fileVersionLS, v.productVersionMS, v.productVersionLS),
            std::make_tuple(0x00010002u, 0x00030004u, 0x00050006u, 0x00070008u));
  // The test double of the UI library carries no version resource.
  EXPECT_FALSE(process.ReadVersionResource(AsU16(vxtest::BesideProgram(L"ports\\full\\VXFPApiUI.dll").c_str()), v));
}

TEST(Win32ProcessInfoTest, NamedMutexLivesAsLongAsItsLastHandle) {
  const std::u16string name = Utf8ToUtf16("vx-ports-test-" + std::to_string(::GetCurrentProcessId()));
  const auto exists = [&] { return UniqueHandle(::OpenMutexW(SYNCHRONIZE, FALSE, AsWide(name))) != nullptr; };
  Win32ProcessInfo process;
  auto mutex = process.CreateNamedMutex(name);
  auto again = process.CreateNamedMutex(name);
  ASSERT_TRUE(mutex && again) << "an existing mutex is opened";
  mutex.reset();
  EXPECT_TRUE(exists()) << "the second handle keeps it";
  again.reset();
  EXPECT_FALSE(exists());
}

TEST(Win32StringTableTest, LoadsWholeTextsOfTheGivenModule) {
  Win32StringTable strings(::GetModuleHandleW(nullptr));
  EXPECT_EQ(strings.LoadText(101), u"Short text");
  std::u16string longText;
  for (int i = 0; i < 18; ++i) longText += u"0123456789abcdef";
  EXPECT_EQ(strings.LoadText(117), longText) << "longer than any path-sized buffer";
  EXPECT_EQ(strings.LoadText(40000), u"");
}

HMODULE LoadedUiLibrary() { return ::GetModuleHandleW(L"VXFPApiUI.dll"); }

// Buffers the UI library's test double handed out and has not taken back.
LONG Outstanding() {
  const auto outstanding = ProcAddress<LONG(WINAPI*)()>(LoadedUiLibrary(), "VxFakeUiOutstanding");
  return outstanding != nullptr ? outstanding() : 0;
}

// The DLL search finds one variant of the UI library's test double: "full"; "partial", without the free
// function; or none at all. Text is taken only from a library that can take it back.
TEST(Win32ErrorTextLibraryTest, GivesTheTextOnlyWhenTheLibraryCanTakeItBack) {
  const struct {
    const wchar_t* variant;
    HRESULT answer;
    const char16_t* text;
  } cases[] = {{L"full", S_OK, u"Text of 0x80070005 (flags 3)"},
               {L"partial", HResultFromWin32(ERROR_PROC_NOT_FOUND), nullptr},
               {nullptr, HResultFromWin32(ERROR_MOD_NOT_FOUND), nullptr}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.variant != nullptr ? Utf16ToUtf8(AsU16(c.variant)) : "none");
    const std::wstring directory = vxtest::BesideProgram(std::wstring(L"ports\\") + (c.variant ? c.variant : L""));
    ASSERT_TRUE(::SetDllDirectoryW(c.variant != nullptr ? directory.c_str() : nullptr));
    {
      Win32ErrorTextLibrary library;
      EXPECT_EQ(LoadedUiLibrary(), nullptr) << "loaded on first use only";
      char16_t kept[] = u"kept";
      char16_t* buffer = kept;
      EXPECT_EQ(library.FormatMessage(E_ACCESSDENIED, 3, &buffer), c.answer);
      EXPECT_EQ(std::u16string(buffer != nullptr ? buffer : u"(none)"), c.text != nullptr ? c.text : u"(none)");
      EXPECT_EQ(Outstanding(), c.text != nullptr ? 1 : 0);
      library.BufferFree(buffer != nullptr ? buffer : kept);  // without a free function it is given to nothing
      EXPECT_EQ(Outstanding(), 0);
      buffer = kept;
      EXPECT_EQ(library.FormatMessage(E_NOTIMPL, 0, &buffer), c.text != nullptr ? E_FAIL : c.answer)
          << "E_FAIL is the library's own failure";
      EXPECT_EQ(buffer, nullptr);
    }
    EXPECT_EQ(LoadedUiLibrary(), nullptr) << "freed with its owner";
  }
  ::SetDllDirectoryW(nullptr);
}

TEST(Win32SystemMessagesTest, KnownCodesHaveTextAndUnknownOnesNone) {
  Win32SystemMessages messages;
  std::u16string text;
  ASSERT_TRUE(messages.Lookup(HResultFromWin32(ERROR_ACCESS_DENIED), text));
  EXPECT_NE(text.find(u"ccess"), std::u16string::npos) << Utf16ToUtf8(text);
  EXPECT_FALSE(messages.Lookup(static_cast<HRESULT>(0xA0FE1234u), text));
}

}  // namespace
}  // namespace vx::platform
