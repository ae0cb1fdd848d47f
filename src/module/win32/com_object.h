// Our own small COM building blocks: the module lock count that every live object and every server
// lock holds, a reference-counting object template, and the class-factory template.
#pragma once

#include <unknwn.h>

#include <atomic>
#include <new>
#include <utility>

#include "platform/wintypes.h"

namespace vx::module {

// The module's lock count: DllCanUnloadNow answers S_OK only at 0.
class CModuleLock {
 public:
  static void Lock() { s_count.fetch_add(1, std::memory_order_relaxed); }
  static void Unlock() { s_count.fetch_sub(1, std::memory_order_acq_rel); }
  static long Count() { return s_count.load(std::memory_order_acquire); }

 private:
  static inline std::atomic<long> s_count{0};
};

// Holds one module lock for the lifetime of the object that has it as a base or member.
class CModuleLockHolder {
 public:
  CModuleLockHolder() { CModuleLock::Lock(); }
  CModuleLockHolder(const CModuleLockHolder&) = delete;
  CModuleLockHolder& operator=(const CModuleLockHolder&) = delete;
  ~CModuleLockHolder() { CModuleLock::Unlock(); }
};

// A concrete reference-counted COM object over T. T derives from its interfaces and provides
//   bool FindInterface(REFIID iid, void** out)   (without AddRef)
// The count is changed atomically, as the factories may be reached from any thread.
template <class T>
class CComObject final : public T {
 public:
  template <class... Args>
  explicit CComObject(Args&&... args) : T(std::forward<Args>(args)...) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (!T::FindInterface(iid, out)) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++m_references); }
  ULONG STDMETHODCALLTYPE Release() override {
    const long left = --m_references;
    if (left == 0) delete this;
    return static_cast<ULONG>(left);
  }

 private:
  std::atomic<long> m_references{1};
  CModuleLockHolder m_lock;
};

// Creates a new T and queries it for iid: the standard creator of the class factories.
template <class T>
HRESULT CreateComInstance(REFIID iid, void** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  CComObject<T>* object = nullptr;
  // No exception may leave through COM: a failing constructor becomes a code.
  try {
    object = new CComObject<T>();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_UNEXPECTED;
  }
  const HRESULT hr = object->QueryInterface(iid, out);
  object->Release();
  return hr;
}

// The class factories: LockServer counts in the module lock; CreateInstance is the derived class's.
class CClassFactoryBase : public IClassFactory {
 public:
  virtual ~CClassFactoryBase() = default;

  bool FindInterface(REFIID iid, void** out) {
    if (iid == IID_IUnknown || iid == IID_IClassFactory) {
      *out = static_cast<IClassFactory*>(this);
      return true;
    }
    return false;
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
    if (lock)
      CModuleLock::Lock();
    else
      CModuleLock::Unlock();
    return S_OK;
  }
};

// The standard creator: E_POINTER for a null result, CLASS_E_NOAGGREGATION for an outer object
// (no class of this module can be aggregated), else a new T queried for iid.
template <class T>
HRESULT StandardCreate(IUnknown* outer, REFIID iid, void** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (outer != nullptr) return CLASS_E_NOAGGREGATION;
  return CreateComInstance<T>(iid, out);
}

// The standard class factory of T.
template <class T>
class CClassFactory : public CClassFactoryBase {
 public:
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
    return StandardCreate<T>(outer, iid, out);
  }
};

}  // namespace vx::module
