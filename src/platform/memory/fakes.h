// Settable fakes of the small ports (clock, process facts, UI) for tests and Linux tools.
#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/process.h"
#include "platform/ui.h"

namespace vx::platform {

class FakeClock : public IClock {
 public:
  DWORD GetTickCount() override { return tick.load(); }
  SYSTEMTIME GetLocalTime() override {
    std::lock_guard lock(m_mutex);
    return time;
  }
  void SetTime(const SYSTEMTIME& t) {
    std::lock_guard lock(m_mutex);
    time = t;
  }
  void Advance(DWORD ms) { tick += ms; }

  std::atomic<DWORD> tick{1000};
  SYSTEMTIME time{2026, 11, 0, 22, 20, 47, 5, 123};

 private:
  std::mutex m_mutex;
};

class FakeProcessInfo : public IProcessInfo {
 public:
  class FakeHandle : public IHandle {
   public:
    FakeHandle(FakeProcessInfo& owner, std::u16string name) : m_owner(owner), m_name(std::move(name)) {
      m_owner.openMutexes.push_back(m_name);
    }
    ~FakeHandle() override { std::erase(m_owner.openMutexes, m_name); }

   private:
    FakeProcessInfo& m_owner;
    std::u16string m_name;
  };

  std::u16string ModulePath() override { return modulePath; }
  std::u16string ExecutablePath() override { return executablePath; }
  DWORD SessionId() override {
    ++sessionIdCalls;
    return sessionId;
  }
  DWORD ProcessId() override { return processId; }
  DWORD CurrentThreadId() override { return threadId; }
  std::u16string ComputerName() override { return computerName; }
  OsVersionInfo OsVersion() override { return osVersion; }
  bool ReadVersionResource(std::u16string_view, VersionResource& out) override {
    if (!hasVersion) return false;
    out = version;
    return true;
  }
  std::u16string ExpandEnvironment(std::u16string_view text) override {
    std::u16string out(text);
    for (const auto& [name, value] : environment) {
      const std::u16string token = u"%" + name + u"%";
      for (size_t at = 0; (at = out.find(token, at)) != std::u16string::npos; at += value.size())
        out.replace(at, token.size(), value);
    }
    return out;
  }
  std::unique_ptr<IHandle> CreateNamedMutex(std::u16string_view name) override {
    return std::make_unique<FakeHandle>(*this, std::u16string(name));
  }

  std::u16string modulePath = u"C:\\Program Files\\Vantorix\\VXGPOSnapin.dll";
  std::u16string executablePath = u"C:\\Windows\\System32\\mmc.exe";
  DWORD sessionId = 1;
  int sessionIdCalls = 0;
  DWORD processId = 4242;
  DWORD threadId = 7;
  std::u16string computerName = u"ADMIN-PC";
  OsVersionInfo osVersion{VER_PLATFORM_WIN32_NT, 6, 1, VER_NT_WORKSTATION, u"Service Pack 1"};
  bool hasVersion = true;
  VersionResource version{0x00030002, 0x00010000, 0x00050004, 0x00070006};
  std::vector<std::u16string> openMutexes;
  std::map<std::u16string, std::u16string> environment{{u"TEMP", u"C:\\Users\\admin\\AppData\\Local\\Temp"}};
};

class RecordingMessageBox : public IMessageBox {
 public:
  struct Shown {
    HWND owner;
    std::u16string text;
    std::u16string caption;
    UINT type;
  };
  int Show(HWND owner, std::u16string_view text, std::u16string_view caption, UINT type) override {
    shown.push_back({owner, std::u16string(text), std::u16string(caption), type});
    if (answers.empty()) return answer;
    const int next = answers.front();
    answers.erase(answers.begin());
    return next;
  }
  std::vector<Shown> shown;
  std::vector<int> answers;  // answered in turn, then `answer` for every later box
  int answer = IDOK;
};

class FakeStringTable : public IStringTable {
 public:
  std::u16string LoadText(UINT id) override {
    const auto it = texts.find(id);
    return it == texts.end() ? std::u16string() : it->second;
  }
  std::map<UINT, std::u16string> texts;
};

// The maker's UI library as tests want it: present or absent, with or without a text per code.
class FakeErrorTextLibrary : public IErrorTextLibrary {
 public:
  HRESULT FormatMessage(HRESULT hr, DWORD, char16_t** buffer) override {
    *buffer = nullptr;
    if (!present) return static_cast<HRESULT>(0x8007007Eu);  // the module was not found
    const auto it = texts.find(hr);
    if (it == texts.end()) return E_FAIL;
    auto* copy = new char16_t[it->second.size() + 1];
    std::char_traits<char16_t>::copy(copy, it->second.c_str(), it->second.size() + 1);
    *buffer = copy;
    ++outstanding;
    return S_OK;
  }
  void BufferFree(char16_t* buffer) override {
    if (!buffer) return;
    delete[] buffer;
    --outstanding;
    ++freed;
  }
  bool present = true;
  std::map<HRESULT, std::u16string> texts;
  int outstanding = 0;
  int freed = 0;
};

class FakeSystemMessages : public ISystemMessages {
 public:
  bool Lookup(HRESULT hr, std::u16string& text) override {
    const auto it = texts.find(hr);
    if (it == texts.end()) return false;
    text = it->second;
    return true;
  }
  std::map<HRESULT, std::u16string> texts;
};

}  // namespace vx::platform
