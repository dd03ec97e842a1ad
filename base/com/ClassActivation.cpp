// ClassActivation.cpp: the class-object cache, the loaded-library list and the ProgID cache.
//
// Three process-wide tables, each a lazy static with its own named lock, taken only around a
// search and an append:
//   - ClassObjectCache: 256 slots of (class identifier, DllGetClassObject). Slots are only ever
//     appended, so a class is looked up in the registry at most once while there is room; when
//     every slot is taken, further classes still activate, reading the registry each time.
//   - InprocServerList: (library path, handle, DllGetClassObject) for every library loaded,
//     searched by path ignoring case. Loading happens under this lock, so eight threads asking
//     for one cold class load its library once.
//   - ProgIDCache: programmatic identifier -> class identifier, filled on success only.
#include "base/com/ClassActivation.h"

#include <cerrno>
#include <new>

#include "private/com/ClassRegistry.h"
#include "base/com/Guid.h"
#include "base/com/Library.h"
#include "base/core/CriticalSection.h"
#include "base/core/ErrorMessage.h"
#include "base/core/LastError.h"
#include "base/core/LazyStatic.h"
#include "base/core/UpcallTrace.h"
#include "base/text/Formatter.h"

namespace OrvGuiBase {

namespace {

constexpr unsigned kClassSlots = 256;

void TraceFailure(unsigned line, const char* what, const GUID& clsid, HRESULT hr) {
  char text[40];
  const AnsiStr message = FmtArgs("%s %s: %s", what, GUID2Chars(clsid, text), GetErrorMessage(hr).GetStr());
  OrvGuiTrace::TraceMsg(OrvGuiTrace::kTraceError, 0, "linuxcom", line, message.GetStr());
}

struct ClassObjectCache {
  CriticalSection lock{"ClassObjectCache"};
  unsigned count = 0;
  struct Slot {
    GUID clsid;
    DllGetClassObjectFunc entry;
  } slots[kClassSlots];

  // Find: the slot of clsid, or null. Under the lock.
  Slot* Find(const GUID& clsid) {
    for (unsigned i = 0; i < count; ++i)
      if (slots[i].clsid == clsid) return &slots[i];
    return nullptr;
  }
};
constinit LazyStatic<ClassObjectCache> s_classObjects;

struct InprocServer {
  AnsiStr path;
  void* handle;
  DllGetClassObjectFunc entry;
  InprocServer* next;
};
struct InprocServerList {
  CriticalSection lock{"InprocServerList"};
  InprocServer* first = nullptr;
  InprocServer** last = &first;
  unsigned count = 0;
  // Deliberately never unloaded: objects handed out may outlive every reference we know of.
};
constinit LazyStatic<InprocServerList> s_servers;

struct ProgId {
  AnsiStr name;
  GUID clsid;
  ProgId* next;
};
struct ProgIdCache {
  CriticalSection lock{"ProgIDCache"};
  ProgId* first = nullptr;
  ~ProgIdCache() {
    while (ProgId* entry = first) {
      first = entry->next;
      delete entry;
    }
  }
};
constinit LazyStatic<ProgIdCache> s_progIds;

// LoadServer: the DllGetClassObject of the library at path, loading it on first use. The result
// code says why there is none.
HRESULT LoadServer(const AnsiStr& path, DllGetClassObjectFunc* entry) {
  InprocServerList* list = s_servers.Get();
  if (list == nullptr) return E_UNEXPECTED;
  CriticalSectionContext hold(list->lock, "Find");
  for (InprocServer* server = list->first; server != nullptr; server = server->next) {
    if (AnsiStr::Compare(server->path.GetStr(), path.GetStr(), true) == 0) {
      *entry = server->entry;
      return server->entry != nullptr ? S_OK : CO_E_DLLNOTFOUND;
    }
  }
  void* handle = DLLLoad(path);
  if (handle == nullptr) return GetLastError() == ENOENT ? HResultFromError(ENOENT) : CO_E_ERRORINDLL;
  InprocServer* server = new (std::nothrow) InprocServer{path, handle, nullptr, nullptr};
  if (server == nullptr) return E_OUTOFMEMORY;
  server->entry = reinterpret_cast<DllGetClassObjectFunc>(DLLGetSymbol(handle, "DllGetClassObject"));
  *list->last = server;
  list->last = &server->next;
  ++list->count;
  *entry = server->entry;
  return server->entry != nullptr ? S_OK : CO_E_DLLNOTFOUND;
}

}  // namespace

HRESULT CoGetClassObject(REFCLSID clsid, unsigned int, void*, REFIID iid, void** result) {
  if (result == nullptr) return E_POINTER;
  *result = nullptr;
  ClassObjectCache* cache = s_classObjects.Get();
  if (cache == nullptr) return E_UNEXPECTED;
  DllGetClassObjectFunc entry = nullptr;
  {
    CriticalSectionContext hold(cache->lock, "Find");
    if (ClassObjectCache::Slot* slot = cache->Find(clsid)) entry = slot->entry;
  }
  if (entry == nullptr) {
    char text[40];
    const AnsiStr path = ReadClassesRootDefault(FmtArgs("CLSID\\%s\\InprocServer32", GUID2Chars(clsid, text)));
    if (path.IsEmpty()) {
      TraceFailure(__LINE__, "no server for class", clsid, REGDB_E_CLASSNOTREG);
      return REGDB_E_CLASSNOTREG;
    }
    const HRESULT loaded = LoadServer(path, &entry);
    if (FAILED(loaded)) {
      TraceFailure(__LINE__, "cannot load the server of class", clsid, loaded);
      return loaded;
    }
    CriticalSectionContext hold(cache->lock, "Add");
    if (cache->Find(clsid) == nullptr && cache->count < kClassSlots)
      cache->slots[cache->count++] = ClassObjectCache::Slot{clsid, entry};
  }
  return entry(clsid, iid, result);
}

HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer, unsigned int context, REFIID iid, void** result) {
  if (result == nullptr) return E_POINTER;
  *result = nullptr;
  IClassFactory* factory = nullptr;
  const HRESULT got = CoGetClassObject(clsid, context, nullptr, IID_IClassFactory, reinterpret_cast<void**>(&factory));
  if (FAILED(got)) return got;
  if (factory == nullptr) return E_UNEXPECTED;
  const HRESULT made = factory->CreateInstance(outer, iid, result);
  factory->Release();
  return made;
}

HRESULT CLSIDFromProgID(const AnsiStr& progId, GUID* clsid) {
  if (clsid == nullptr) return E_POINTER;
  *clsid = GUID_NULL;
  ProgIdCache* cache = s_progIds.Get();
  if (cache == nullptr) return E_UNEXPECTED;
  {
    CriticalSectionContext hold(cache->lock, "Find");
    for (ProgId* entry = cache->first; entry != nullptr; entry = entry->next) {
      if (entry->name == progId) {
        *clsid = entry->clsid;
        return S_OK;
      }
    }
  }
  const AnsiStr text = progId.IsEmpty() ? AnsiStr() : ReadClassesRootDefault(FmtArgs("%s\\CLSID", progId.GetStr()));
  const GUID found = Str2GUID(text.GetStr());
  if (found == GUID_NULL) {
    const AnsiStr message = FmtArgs("no class for ProgID %s", progId.GetStr());
    OrvGuiTrace::TraceMsg(OrvGuiTrace::kTraceError, 0, "linuxcom", __LINE__, message.GetStr());
    return REGDB_E_CLASSNOTREG;
  }
  *clsid = found;
  CriticalSectionContext hold(cache->lock, "Add");
  if (ProgId* entry = new (std::nothrow) ProgId{progId, found, cache->first}) cache->first = entry;
  return S_OK;
}

ClassActivationCounts GetClassActivationCounts() {
  ClassActivationCounts counts{0, 0};
  if (InprocServerList* list = s_servers.Get()) {
    CriticalSectionContext hold(list->lock, "Count");
    counts.libraries = list->count;
  }
  if (ClassObjectCache* cache = s_classObjects.Get()) {
    CriticalSectionContext hold(cache->lock, "Count");
    counts.classes = cache->count;
  }
  return counts;
}

}  // namespace OrvGuiBase
