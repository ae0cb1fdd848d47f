// The Win32 ports against the real platform (under Wine): files, process facts, string tables,
// the maker's UI library (a test double in ports/) and the system's message table.
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "platform/text.h"
#include "platform/win32/win32_files.h"
#include "platform/win32/win32_process.h"
#include "platform/win32/win32_ui.h"

namespace vx::platform {
namespace {

std::string Narrow(std::u16string_view text) { return Utf16ToUtf8(text); }

std::u16string ProgramDirectory() {
  const std::u16string path = Win32ProcessInfo().ExecutablePath();
  return path.substr(0, path.size() - FileNamePart(path).size());
}

// Deletes a directory tree that a test made.
void RemoveTree(const std::u16string& directory) {
  WIN32_FIND_DATAW entry{};
  const std::u16string pattern = directory + u"\\*";
  const HANDLE search = ::FindFirstFileW(AsWide(pattern), &entry);
  if (search != INVALID_HANDLE_VALUE) {
    do {
      const std::u16string name = AsU16(entry.cFileName);
      if (name == u"." || name == u"..") continue;
      const std::u16string child = directory + u"\\" + name;
      if (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
        RemoveTree(child);
      } else {
        ::DeleteFileW(AsWide(child));
      }
    } while (::FindNextFileW(search, &entry));
    ::FindClose(search);
  }
  ::RemoveDirectoryW(AsWide(directory));
}

// Reads a file while others may still hold it open for writing.
std::string ReadAll(const std::u16string& path) {
  const HANDLE file = ::CreateFileW(AsWide(path), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return "<cannot open, error " + std::to_string(::GetLastError()) + ">";
  std::string content;
  char chunk[256];
  DWORD read = 0;
  while (::ReadFile(file, chunk, sizeof(chunk), &read, nullptr) && read > 0) content.append(chunk, read);
  ::CloseHandle(file);
  return content;
}

class Win32FilesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    wchar_t temp[MAX_PATH + 1] = {};
    ASSERT_GT(::GetTempPathW(MAX_PATH + 1, temp), 0u);
    m_dir = AsU16(temp) + Utf8ToUtf16("vx-ports-" + std::to_string(::GetCurrentProcessId()) + "-" +
                                      std::to_string(::GetTickCount()));
    ASSERT_TRUE(::CreateDirectoryW(AsWide(m_dir), nullptr)) << ::GetLastError();
  }
  void TearDown() override { RemoveTree(m_dir); }

  std::u16string Path(std::u16string_view name) const { return m_dir + u"\\" + std::u16string(name); }

  LONG Write(IFile& file, std::string_view text) {
    DWORD written = 0;
    const LONG result = file.Write(text.data(), static_cast<DWORD>(text.size()), &written);
    EXPECT_EQ(written, text.size());
    return result;
  }

  Win32FileSystem m_files;
  std::u16string m_dir;
};

TEST_F(Win32FilesTest, CreateAlwaysTruncatesWhereOpenAlwaysKeepsTheContent) {
  const std::u16string path = Path(u"log.trc");
  std::unique_ptr<IFile> file;
  ULONGLONG size = 99;

  ASSERT_EQ(m_files.OpenForWrite(path, FileDisposition::OpenAlways, file), ERROR_SUCCESS);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->SeekToEnd(&size), ERROR_SUCCESS);
  EXPECT_EQ(size, 0u) << "a new file is empty";
  EXPECT_EQ(Write(*file, "first"), ERROR_SUCCESS);
  file.reset();

  ASSERT_EQ(m_files.OpenForWrite(path, FileDisposition::CreateAlways, file), ERROR_SUCCESS);
  EXPECT_EQ(file->SeekToEnd(&size), ERROR_SUCCESS);
  EXPECT_EQ(size, 0u) << "create-always truncates";
  EXPECT_EQ(Write(*file, "ab"), ERROR_SUCCESS);
  file.reset();
  EXPECT_EQ(ReadAll(path), "ab");

  ASSERT_EQ(m_files.OpenForWrite(path, FileDisposition::OpenAlways, file), ERROR_SUCCESS);
  EXPECT_EQ(file->SeekToEnd(nullptr), ERROR_SUCCESS);
  EXPECT_EQ(Write(*file, "cd"), ERROR_SUCCESS);
  EXPECT_EQ(file->SeekToEnd(&size), ERROR_SUCCESS);
  EXPECT_EQ(size, 4u);
  file.reset();
  EXPECT_EQ(ReadAll(path), "abcd");
}

TEST_F(Win32FilesTest, OpenFileIsSharedAndEveryWriteIsVisibleAtOnce) {
  const std::u16string path = Path(u"shared.trc");
  std::unique_ptr<IFile> first;
  std::unique_ptr<IFile> second;
  ASSERT_EQ(m_files.OpenForWrite(path, FileDisposition::OpenAlways, first), ERROR_SUCCESS);
  ASSERT_EQ(m_files.OpenForWrite(path, FileDisposition::OpenAlways, second), ERROR_SUCCESS)
      << "a second writer is let in";

  EXPECT_EQ(Write(*first, "one;"), ERROR_SUCCESS);
  EXPECT_EQ(ReadAll(path), "one;") << "nothing is buffered";
  ASSERT_EQ(second->SeekToEnd(nullptr), ERROR_SUCCESS);
  EXPECT_EQ(Write(*second, "two;"), ERROR_SUCCESS);
  ASSERT_EQ(first->SeekToEnd(nullptr), ERROR_SUCCESS);
  EXPECT_EQ(first->Write("three;", 6, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(ReadAll(path), "one;two;three;");
}

TEST_F(Win32FilesTest, OpeningInAMissingDirectoryFails) {
  std::unique_ptr<IFile> file;
  ASSERT_EQ(m_files.OpenForWrite(Path(u"other.trc"), FileDisposition::CreateAlways, file), ERROR_SUCCESS);
  EXPECT_EQ(m_files.OpenForWrite(Path(u"missing\\log.trc"), FileDisposition::CreateAlways, file),
            ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(file, nullptr);
}

TEST_F(Win32FilesTest, DirectoryCreationAnswersTheSystemCode) {
  const std::u16string child = Path(u"child");
  EXPECT_FALSE(m_files.AnyMatch(child + u"\\*"));
  EXPECT_EQ(m_files.CreateDirectory(child), ERROR_SUCCESS);
  EXPECT_TRUE(m_files.AnyMatch(child + u"\\*")) << "an empty directory still matches \"\\*\"";
  EXPECT_EQ(m_files.CreateDirectory(child), ERROR_ALREADY_EXISTS);

  const std::u16string orphan = Path(u"missing\\child");
  EXPECT_EQ(m_files.CreateDirectory(orphan), ERROR_PATH_NOT_FOUND);
  EXPECT_FALSE(m_files.AnyMatch(orphan + u"\\*"));
}

TEST_F(Win32FilesTest, NamesOutsideAsciiReachTheFileSystem) {
  const std::u16string directory = Path(u"Prot\u00f6koll \u65e5\u672c");
  ASSERT_EQ(m_files.CreateDirectory(directory), ERROR_SUCCESS);
  std::unique_ptr<IFile> file;
  ASSERT_EQ(m_files.OpenForWrite(directory + u"\\\u00e9t\u00e9.trc", FileDisposition::CreateAlways, file),
            ERROR_SUCCESS);
  EXPECT_EQ(Write(*file, "x"), ERROR_SUCCESS);
  file.reset();
  EXPECT_TRUE(m_files.AnyMatch(directory + u"\\\u00e9t\u00e9.trc"));
  EXPECT_FALSE(m_files.AnyMatch(directory + u"\\ete.trc"));
  EXPECT_EQ(ReadAll(directory + u"\\\u00e9t\u00e9.trc"), "x");
}

TEST(Win32ProcessInfoTest, ModuleAndExecutableAreThisProgram) {
  Win32ProcessInfo process;
  const std::u16string module = process.ModulePath();
  EXPECT_TRUE(EqualsIgnoreCase(FileNamePart(module), u"win32_ports_wine_test.exe")) << Narrow(module);
  EXPECT_EQ(SplitPath(module).drive.size(), 2u) << "a full path: " << Narrow(module);
  EXPECT_EQ(process.ExecutablePath(), module) << "the program links the ports itself";
}

TEST(Win32ProcessInfoTest, IdsAreThoseOfThisProcessAndThread) {
  Win32ProcessInfo process;
  DWORD session = 0xFFFFFFFF;
  ASSERT_TRUE(::ProcessIdToSessionId(::GetCurrentProcessId(), &session));
  EXPECT_EQ(process.SessionId(), session);
  EXPECT_EQ(process.ProcessId(), ::GetCurrentProcessId());

  const DWORD mainThread = process.CurrentThreadId();
  DWORD otherThread = mainThread;
  std::thread([&] { otherThread = Win32ProcessInfo().CurrentThreadId(); }).join();
  EXPECT_NE(otherThread, mainThread);
  EXPECT_NE(otherThread, 0u);
}

TEST(Win32ProcessInfoTest, ComputerNameIsTheSystemOne) {
  const std::u16string name = Win32ProcessInfo().ComputerName();
  ASSERT_FALSE(name.empty());
  EXPECT_EQ(name.find(u'\0'), std::u16string::npos);
  wchar_t fromEnvironment[256] = {};
  if (::GetEnvironmentVariableW(L"COMPUTERNAME", fromEnvironment, 256) > 0) {
    EXPECT_TRUE(EqualsIgnoreCase(name, AsU16(fromEnvironment))) << Narrow(name);
  }
}

TEST(Win32ProcessInfoTest, EnvironmentVariablesExpandAndUnknownOnesStay) {
  ASSERT_TRUE(::SetEnvironmentVariableW(L"VX_TRACE_DIR", L"C:\\traces"));
  Win32ProcessInfo process;
  EXPECT_EQ(Narrow(process.ExpandEnvironment(u"%VX_TRACE_DIR%\\snapin")), "C:\\traces\\snapin");
  EXPECT_EQ(Narrow(process.ExpandEnvironment(u"%VX_NOT_SET%\\x")), "%VX_NOT_SET%\\x");
  const std::u16string longValue(600, u'v');
  ASSERT_TRUE(::SetEnvironmentVariableW(L"VX_LONG", AsWide(longValue)));
  EXPECT_EQ(process.ExpandEnvironment(u"<%VX_LONG%>"), u"<" + longValue + u">") << "the buffer grows";
}

TEST(Win32ProcessInfoTest, OsVersionIsAnNtVersion) {
  const OsVersionInfo os = Win32ProcessInfo().OsVersion();
  EXPECT_EQ(os.platformId, VER_PLATFORM_WIN32_NT);
  EXPECT_GE(os.major, 6u);
  EXPECT_GE(os.productType, VER_NT_WORKSTATION);
  EXPECT_LE(os.productType, VER_NT_SERVER);
  EXPECT_EQ(os.servicePack.find(u'\0'), std::u16string::npos);
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
  EXPECT_FALSE(process.ReadVersionResource(ProgramDirectory() + u"ports\\full\\VXFPApiUI.dll", version));
  EXPECT_FALSE(process.ReadVersionResource(ProgramDirectory() + u"no-such-module.dll", version));
}

TEST(Win32ProcessInfoTest, NamedMutexLivesAsLongAsItsHandle) {
  const std::u16string name = Utf8ToUtf16("vx-ports-test-" + std::to_string(::GetCurrentProcessId()));
  const auto exists = [&] {
    const HANDLE opened = ::OpenMutexW(SYNCHRONIZE, FALSE, AsWide(name));
    if (opened == nullptr) return false;
    ::CloseHandle(opened);
    return true;
  };
  Win32ProcessInfo process;
  ASSERT_FALSE(exists());
  auto mutex = process.CreateNamedMutex(name);
  ASSERT_NE(mutex, nullptr);
  EXPECT_TRUE(exists());
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

// Points the DLL search at one variant of the UI library's test double (or at none).
class Win32ErrorTextLibraryTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(::GetModuleHandleW(L"VXFPApiUI.dll"), nullptr) << "left loaded by a test"; }
  void TearDown() override { ::SetDllDirectoryW(nullptr); }

  static void UseLibraryIn(std::u16string_view variant) {
    const std::u16string directory = ProgramDirectory() + u"ports\\" + std::u16string(variant);
    ASSERT_TRUE(::SetDllDirectoryW(AsWide(directory)));
  }

  struct Counts {
    LONG outstanding = -1;
    LONG freed = -1;
  };
  static Counts BufferCounts() {
    using CountsFunction = void(WINAPI*)(LONG*, LONG*);
    Counts counts;
    const HMODULE library = ::GetModuleHandleW(L"VXFPApiUI.dll");
    const auto query =
        reinterpret_cast<CountsFunction>(reinterpret_cast<void*>(::GetProcAddress(library, "VxFakeUiCounts")));
    if (query != nullptr) query(&counts.outstanding, &counts.freed);
    return counts;
  }
};

TEST_F(Win32ErrorTextLibraryTest, PresentLibraryGivesTheTextAndTakesTheBufferBack) {
  UseLibraryIn(u"full");
  {
    Win32ErrorTextLibrary library;
    EXPECT_EQ(::GetModuleHandleW(L"VXFPApiUI.dll"), nullptr) << "loaded on first use only";

    char16_t* buffer = nullptr;
    ASSERT_EQ(library.FormatMessage(E_ACCESSDENIED, 0, &buffer), S_OK);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(std::u16string(buffer), u"Text of 0x80070005 (flags 0)");
    EXPECT_EQ(BufferCounts().outstanding, 1);
    library.BufferFree(buffer);
    EXPECT_EQ(BufferCounts().outstanding, 0);
    EXPECT_EQ(BufferCounts().freed, 1);

    ASSERT_EQ(library.FormatMessage(E_FAIL, 3, &buffer), S_OK);
    EXPECT_EQ(std::u16string(buffer), u"Text of 0x80004005 (flags 3)");
    library.BufferFree(buffer);

    char16_t stale[] = u"stale";
    buffer = stale;
    EXPECT_EQ(library.FormatMessage(E_NOTIMPL, 0, &buffer), E_FAIL) << "the library's own failure";
    EXPECT_EQ(buffer, nullptr);
    library.BufferFree(buffer);
    EXPECT_EQ(BufferCounts().freed, 2);
    EXPECT_EQ(BufferCounts().outstanding, 0);
  }
  EXPECT_EQ(::GetModuleHandleW(L"VXFPApiUI.dll"), nullptr) << "freed with its owner";
}

TEST_F(Win32ErrorTextLibraryTest, MissingLibraryAnswersModuleNotFound) {
  Win32ErrorTextLibrary library;
  char16_t text[] = u"not the library's";
  char16_t* buffer = text;
  EXPECT_EQ(library.FormatMessage(E_ACCESSDENIED, 0, &buffer), HResultFromWin32(ERROR_MOD_NOT_FOUND));
  EXPECT_EQ(buffer, nullptr);
  library.BufferFree(text);  // nothing to give it to, and nothing breaks
  EXPECT_EQ(library.FormatMessage(E_FAIL, 0, &buffer), HResultFromWin32(ERROR_MOD_NOT_FOUND));
  EXPECT_EQ(std::u16string(text), u"not the library's");
}

TEST_F(Win32ErrorTextLibraryTest, LibraryWithoutTheFreeFunctionAnswersProcNotFound) {
  UseLibraryIn(u"partial");
  Win32ErrorTextLibrary library;
  char16_t text[] = u"not the library's";
  char16_t* buffer = text;
  EXPECT_EQ(library.FormatMessage(E_ACCESSDENIED, 0, &buffer), HResultFromWin32(ERROR_PROC_NOT_FOUND));
  EXPECT_EQ(buffer, nullptr);
  EXPECT_EQ(BufferCounts().outstanding, 0) << "no text is taken that could not be freed";
  library.BufferFree(text);
  EXPECT_EQ(std::u16string(text), u"not the library's");
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
