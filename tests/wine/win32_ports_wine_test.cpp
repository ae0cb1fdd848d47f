// The Win32 ports against the real platform: files, process facts, string tables, the maker's UI
// library (test doubles in ports/) and the system's message table.
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "platform/text.h"
#include "platform/win32/win32_files.h"
#include "platform/win32/win32_handles.h"
#include "platform/win32/win32_process.h"
#include "platform/win32/win32_ui.h"
#include "wine_support.h"

namespace vx::platform {
namespace {

std::string Narrow(std::u16string_view text) { return Utf16ToUtf8(text); }
std::u16string Beside(const wchar_t* file) { return AsU16(vxtest::BesideProgram(file).c_str()); }

class Win32FilesTest : public ::testing::Test {
 protected:
  std::u16string Path(std::u16string_view name) const {
    return std::u16string(AsU16(m_dir.Path().c_str())) + u"\\" + std::u16string(name);
  }

  // The file's bytes, read while writers may still hold it open.
  static std::string Content(const std::u16string& path) {
    const UniqueHandle file(::CreateFileW(AsWide(path), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                          OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    std::string content;
    char chunk[256];
    DWORD read = 0;
    while (::ReadFile(file.get(), chunk, sizeof chunk, &read, nullptr) && read > 0) content.append(chunk, read);
    return content;
  }
  static LONG Write(IFile& file, std::string_view text) {
    DWORD written = 0;
    const LONG result = file.Write(text.data(), static_cast<DWORD>(text.size()), &written);
    EXPECT_EQ(written, text.size());
    return result;
  }

  vxtest::ScratchFolder m_dir;
  Win32FileSystem m_files;
};

TEST_F(Win32FilesTest, WritesReachTheSharedFileAtOnce) {
  const std::u16string path = Path(u"log.trc");
  std::unique_ptr<IFile> file;
  ULONGLONG size = 99;
  ASSERT_EQ(m_files.OpenForWrite(path, FileDisposition::OpenAlways, file), ERROR_SUCCESS);
  EXPECT_EQ(file->SeekToEnd(&size), ERROR_SUCCESS);
  EXPECT_EQ(size, 0u) << "a new file is empty";
  EXPECT_EQ(Write(*file, "first"), ERROR_SUCCESS);
  file.reset();
  ASSERT_EQ(m_files.OpenForWrite(path, FileDisposition::CreateAlways, file), ERROR_SUCCESS);
  EXPECT_EQ(file->SeekToEnd(&size), ERROR_SUCCESS);
  EXPECT_EQ(size, 0u) << "create-always truncates";
  EXPECT_EQ(Write(*file, "ab"), ERROR_SUCCESS);
  EXPECT_EQ(Content(path), "ab") << "nothing is buffered";

  // Open-always keeps the content, and a second writer is let in.
  std::unique_ptr<IFile> second;
  ASSERT_EQ(m_files.OpenForWrite(path, FileDisposition::OpenAlways, second), ERROR_SUCCESS);
  ASSERT_EQ(second->SeekToEnd(nullptr), ERROR_SUCCESS);
  EXPECT_EQ(Write(*second, "cd"), ERROR_SUCCESS);
  ASSERT_EQ(file->SeekToEnd(&size), ERROR_SUCCESS);
  EXPECT_EQ(size, 4u);
  EXPECT_EQ(file->Write("ef", 2, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(Content(path), "abcdef");
}

TEST_F(Win32FilesTest, DirectoriesAndNamesAnswerTheSystemCodes) {
  const std::u16string child = Path(u"Prot\u00f6koll \u65e5\u672c");
  EXPECT_FALSE(m_files.AnyMatch(child + u"\\*"));
  EXPECT_EQ(m_files.CreateDirectory(child), ERROR_SUCCESS);
  EXPECT_TRUE(m_files.AnyMatch(child + u"\\*")) << "an empty directory still matches \"\\*\"";
  EXPECT_EQ(m_files.CreateDirectory(child), ERROR_ALREADY_EXISTS);
  EXPECT_EQ(m_files.CreateDirectory(Path(u"missing\\child")), ERROR_PATH_NOT_FOUND);
  EXPECT_FALSE(m_files.AnyMatch(Path(u"missing\\child\\*")));

  std::unique_ptr<IFile> file;
  ASSERT_EQ(m_files.OpenForWrite(child + u"\\\u00e9t\u00e9.trc", FileDisposition::CreateAlways, file), ERROR_SUCCESS);
  EXPECT_EQ(Write(*file, "x"), ERROR_SUCCESS);
  EXPECT_TRUE(m_files.AnyMatch(child + u"\\\u00e9t\u00e9.trc"));
  EXPECT_FALSE(m_files.AnyMatch(child + u"\\ete.trc"));
  EXPECT_EQ(Content(child + u"\\\u00e9t\u00e9.trc"), "x");
  EXPECT_EQ(m_files.OpenForWrite(Path(u"missing\\log.trc"), FileDisposition::CreateAlways, file), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(file, nullptr);
}

TEST(Win32ProcessInfoTest, FactsAreThoseOfThisProgram) {
  Win32ProcessInfo process;
  const std::u16string module = process.ModulePath();
  EXPECT_TRUE(EqualsIgnoreCase(FileNamePart(module), u"win32_ports_wine_test.exe")) << Narrow(module);
  EXPECT_EQ(SplitPath(module).drive.size(), 2u) << "a full path: " << Narrow(module);
  EXPECT_EQ(process.ExecutablePath(), module) << "the program links the ports itself";

  DWORD session = 0xFFFFFFFF;
  ASSERT_TRUE(::ProcessIdToSessionId(::GetCurrentProcessId(), &session));
  EXPECT_EQ(process.SessionId(), session);
  EXPECT_EQ(process.ProcessId(), ::GetCurrentProcessId());
  DWORD otherThread = process.CurrentThreadId();
  std::thread([&] { otherThread = Win32ProcessInfo().CurrentThreadId(); }).join();
  EXPECT_NE(otherThread, process.CurrentThreadId());
  EXPECT_NE(otherThread, 0u);

  const std::u16string name = process.ComputerName();
  ASSERT_FALSE(name.empty());
  EXPECT_EQ(name.find(u'\0'), std::u16string::npos);
  wchar_t fromEnvironment[256] = {};
  if (::GetEnvironmentVariableW(L"COMPUTERNAME", fromEnvironment, 256) > 0) {
    EXPECT_TRUE(EqualsIgnoreCase(name, AsU16(fromEnvironment))) << Narrow(name);
  }

  const OsVersionInfo os = process.OsVersion();
  EXPECT_EQ(os.platformId, VER_PLATFORM_WIN32_NT);
  EXPECT_GE(os.major, 6u);
  EXPECT_GE(os.productType, VER_NT_WORKSTATION);
  EXPECT_LE(os.productType, VER_NT_SERVER);
  EXPECT_EQ(os.servicePack.find(u'\0'), std::u16string::npos);
}

TEST(Win32ProcessInfoTest, EnvironmentVariablesExpandAndUnknownOnesStay) {
  ASSERT_TRUE(::SetEnvironmentVariableW(L"VX_TRACE_DIR", L"C:\\traces"));
  const std::u16string longValue(600, u'v');
  ASSERT_TRUE(::SetEnvironmentVariableW(L"VX_LONG", AsWide(longValue)));
  Win32ProcessInfo process;
  EXPECT_EQ(Narrow(process.ExpandEnvironment(u"%VX_TRACE_DIR%\\snapin")), "C:\\traces\\snapin");
  EXPECT_EQ(Narrow(process.ExpandEnvironment(u"%VX_NOT_SET%\\x")), "%VX_NOT_SET%\\x");
  EXPECT_EQ(process.ExpandEnvironment(u"<%VX_LONG%>"), u"<" + longValue + u">") << "the buffer grows";
}

TEST(Win32ProcessInfoTest, VersionResourceIsReadWhereThereIsOne) {
  Win32ProcessInfo process;
  VersionResource version;
  ASSERT_TRUE(process.ReadVersionResource(process.ExecutablePath(), version));
  EXPECT_EQ(version.fileVersionMS, 0x00010002u);
  EXPECT_EQ(version.fileVersionLS, 0x00030004u);
  EXPECT_EQ(version.productVersionMS, 0x00050006u);
  EXPECT_EQ(version.productVersionLS, 0x00070008u);
  // The test double of the UI library carries no version resource.
  EXPECT_FALSE(process.ReadVersionResource(Beside(L"ports\\full\\VXFPApiUI.dll"), version));
  EXPECT_FALSE(process.ReadVersionResource(Beside(L"no-such-module.dll"), version));
}

TEST(Win32ProcessInfoTest, NamedMutexLivesAsLongAsItsLastHandle) {
  const std::u16string name = Utf8ToUtf16("vx-ports-test-" + std::to_string(::GetCurrentProcessId()));
  const auto exists = [&] { return UniqueHandle(::OpenMutexW(SYNCHRONIZE, FALSE, AsWide(name))) != nullptr; };
  Win32ProcessInfo process;
  ASSERT_FALSE(exists());
  auto mutex = process.CreateNamedMutex(name);
  ASSERT_NE(mutex, nullptr);
  auto again = process.CreateNamedMutex(name);
  EXPECT_NE(again, nullptr) << "an existing mutex is opened";
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
  EXPECT_EQ(strings.LoadText(102), u"");
  EXPECT_EQ(strings.LoadText(40000), u"");
}

// Points the DLL search at one variant of the UI library's test double: "full", or "partial" without
// the free function.
class Win32ErrorTextLibraryTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(Loaded(), nullptr) << "left loaded by a test"; }
  void TearDown() override { ::SetDllDirectoryW(nullptr); }

  static void Use(const wchar_t* variant) {
    ASSERT_TRUE(::SetDllDirectoryW(vxtest::BesideProgram(std::wstring(L"ports\\") + variant).c_str()));
  }
  static HMODULE Loaded() { return ::GetModuleHandleW(L"VXFPApiUI.dll"); }
  // Buffers handed out and not yet freed, and buffers freed.
  static std::pair<LONG, LONG> Buffers() {
    LONG outstanding = -1, freed = -1;
    if (const auto counts = ProcAddress<void(WINAPI*)(LONG*, LONG*)>(Loaded(), "VxFakeUiCounts")) {
      counts(&outstanding, &freed);
    }
    return {outstanding, freed};
  }
};

TEST_F(Win32ErrorTextLibraryTest, PresentLibraryGivesTheTextAndTakesTheBufferBack) {
  Use(L"full");
  {
    Win32ErrorTextLibrary library;
    EXPECT_EQ(Loaded(), nullptr) << "loaded on first use only";
    char16_t* buffer = nullptr;
    ASSERT_EQ(library.FormatMessage(E_ACCESSDENIED, 3, &buffer), S_OK);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(std::u16string(buffer), u"Text of 0x80070005 (flags 3)");
    EXPECT_EQ(Buffers(), std::make_pair(1L, 0L));
    library.BufferFree(buffer);
    EXPECT_EQ(Buffers(), std::make_pair(0L, 1L));

    char16_t stale[] = u"stale";
    buffer = stale;
    EXPECT_EQ(library.FormatMessage(E_NOTIMPL, 0, &buffer), E_FAIL) << "the library's own failure";
    EXPECT_EQ(buffer, nullptr);
    library.BufferFree(buffer);
    EXPECT_EQ(Buffers(), std::make_pair(0L, 1L));
  }
  EXPECT_EQ(Loaded(), nullptr) << "freed with its owner";
}

TEST_F(Win32ErrorTextLibraryTest, MissingLibraryOrFreeFunctionGivesNoText) {
  const struct {
    const wchar_t* variant;  // null: no library anywhere on the search path
    DWORD expected;
  } cases[] = {{nullptr, ERROR_MOD_NOT_FOUND}, {L"partial", ERROR_PROC_NOT_FOUND}};
  for (const auto& [variant, expected] : cases) {
    SCOPED_TRACE(variant ? "partial" : "none");
    if (variant != nullptr) Use(variant);
    Win32ErrorTextLibrary library;
    char16_t text[] = u"not the library's";
    char16_t* buffer = text;
    EXPECT_EQ(library.FormatMessage(E_ACCESSDENIED, 0, &buffer), HResultFromWin32(expected));
    EXPECT_EQ(buffer, nullptr);
    library.BufferFree(text);  // nothing to give it to, and nothing breaks
    EXPECT_EQ(std::u16string(text), u"not the library's");
    if (Loaded() != nullptr) {
      EXPECT_EQ(Buffers().first, 0) << "no text is taken that could not be freed";
    }
  }
}

TEST(Win32SystemMessagesTest, KnownCodesHaveTextAndUnknownOnesNone) {
  Win32SystemMessages messages;
  std::u16string text;
  ASSERT_TRUE(messages.Lookup(HResultFromWin32(ERROR_ACCESS_DENIED), text));
  EXPECT_NE(text.find(u"ccess"), std::u16string::npos) << Narrow(text);
  ASSERT_TRUE(messages.Lookup(ERROR_FILE_NOT_FOUND, text));
  EXPECT_NE(text.find(u"ile"), std::u16string::npos) << Narrow(text);
  EXPECT_FALSE(messages.Lookup(static_cast<HRESULT>(0xA0FE1234u), text));
}

}  // namespace
}  // namespace vx::platform
