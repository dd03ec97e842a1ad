// NamedMutex.cpp: named mutexes as flocks on files under /tmp/.mutexes, with per-thread handles.
//
// A thread's handles hang in a singly linked list of 16-byte nodes in its MutexHandleList
// record; the list is short (the names a thread uses) and only opening and closing walk it, so
// a wait or drop touches nothing but its own handle. The record is released at the thread's
// end, closing what is left. A caller that comes after its own record was released (a
// thread-exit handler of lower priority, a destructor at process exit) gets the shared fallback
// record of ThreadData; only then is the list guarded, by a lock that is never destroyed.
//
// Opening resolves the name one component at a time below the directory, each with O_NOFOLLOW
// relative to the descriptor of its parent, so no symbolic link, planted wherever in the
// world-writable directory, is ever followed, and ".." cannot climb out.
#include "base/core/NamedMutex.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <new>

#include "base/core/LastError.h"
#include "base/core/Memory.h"
#include "base/core/ParticleAllocator.h"
#include "base/core/ThreadData.h"
#include "private/system/Sys.h"

namespace OrvGuiBase {

namespace {

constexpr char kMutexDirectory[] = "/tmp/.mutexes";
constexpr mode_t kDirectoryMode = 0777;  // read, write and search for everybody
constexpr mode_t kFileMode = 0666;       // read and write for everybody

struct MutexHandleNode {
  MutexHandleNode* next;
  MutexHandleData* handle;
};
static_assert(sizeof(MutexHandleNode) == 16);

}  // namespace

// MutexHandleList: the per-thread record of the named mutexes the thread has open.
struct MutexHandleList {
  MutexHandleNode* head = nullptr;
  ~MutexHandleList();
};
using MutexHandleListCloser = ThreadData<MutexHandleList>::Closer;

namespace {

void FreeHandle(MutexHandleData* handle) {
  const int fd = handle->fd;
  delete handle;
  if (fd >= 0) Sys::Close(fd);
}

// HandleListAccess: the calling thread's list, locked only when it is the shared fallback.
class HandleListAccess {
 public:
  HandleListAccess() : m_list(ThreadData<MutexHandleList>::Get()) {
    m_shared = m_list != nullptr && ThreadData<MutexHandleList>::Peek() != m_list;
    if (m_shared) pthread_mutex_lock(&s_fallbackLock);
  }
  ~HandleListAccess() {
    if (m_shared) pthread_mutex_unlock(&s_fallbackLock);
  }
  HandleListAccess(const HandleListAccess&) = delete;
  HandleListAccess& operator=(const HandleListAccess&) = delete;

  MutexHandleList* Get() const { return m_list; }

 private:
  static inline pthread_mutex_t s_fallbackLock = PTHREAD_MUTEX_INITIALIZER;  // never destroyed
  MutexHandleList* m_list;
  bool m_shared;
};

MutexHandleData* FindHandle(MutexHandleList* list, const char* name) {
  for (MutexHandleNode* node = list->head; node != nullptr; node = node->next)
    if (strcmp(node->handle->name.GetStr(), name) == 0) return node->handle;
  return nullptr;
}

}  // namespace

bool IsValidMutexName(const char* name) {
  if (name == nullptr || *name == 0) return false;
  const char* component = name;
  for (;;) {
    const char* end = strchr(component, '/');
    const size_t length = end != nullptr ? static_cast<size_t>(end - component) : strlen(component);
    if (length == 0 || (component[0] == '.' && (length == 1 || (length == 2 && component[1] == '.')))) return false;
    if (end == nullptr) return true;
    component = end + 1;
  }
}

namespace {

// OpenDirectoryAt: a directory below parent (AT_FDCWD for an absolute path) as an O_PATH
// descriptor, refusing a symbolic link with ELOOP and anything else than a directory with
// ENOTDIR. O_PATH needs no read permission, only search permission on the way.
int OpenDirectoryAt(int parent, const char* path) {
  const int fd = Sys::OpenAt(parent, path, O_PATH | O_NOFOLLOW);
  if (fd < 0) return -1;
  struct stat status;
  int error = 0;
  if (Sys::FileStatus(fd, &status) != 0)
    error = errno;
  else if (S_ISLNK(status.st_mode))
    error = ELOOP;
  else if (!S_ISDIR(status.st_mode))
    error = ENOTDIR;
  if (error == 0) return fd;
  Sys::Close(fd);
  errno = error;
  return -1;
}

// OpenMutexRoot: the mutex directory; with create, made first when missing (everybody may
// use it, whatever the umask). A directory made by someone else keeps its mode.
int OpenMutexRoot(bool create) {
  if (create) {
    if (Sys::MakeDirectory(kMutexDirectory, kDirectoryMode) == 0) {
      const int fd = Sys::Open(kMutexDirectory, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
      if (fd < 0) return -1;
      if (Sys::ChangeMode(fd, kDirectoryMode) != 0) {
        const int error = errno;
        Sys::Close(fd);
        errno = error;
        return -1;
      }
      return fd;
    }
    if (errno != EEXIST) return -1;
  }
  return OpenDirectoryAt(AT_FDCWD, kMutexDirectory);
}

// OpenMutexFile: the mutex file of a valid name, read-write; with create, made when missing.
int OpenMutexFile(const char* name, bool create) {
  int directory = OpenMutexRoot(create);
  const char* component = name;
  while (const char* slash = directory >= 0 ? strchr(component, '/') : nullptr) {
    const AnsiStr part(component, static_cast<size_t>(slash - component));
    const int inner = part.IsEmpty() ? -1 : OpenDirectoryAt(directory, part);  // empty: out of memory
    const int error = errno;
    Sys::Close(directory);
    errno = error;
    directory = inner;
    component = slash + 1;
  }
  if (directory < 0) return -1;

  // O_NONBLOCK: opening a FIFO or a device planted here must not hang before it is refused.
  const int flags = O_RDWR | O_NOFOLLOW | O_NONBLOCK;
  int fd = -1;
  if (create) {
    fd = Sys::OpenAt(directory, component, flags | O_CREAT | O_EXCL, kFileMode);
    if (fd >= 0 && Sys::ChangeMode(fd, kFileMode) != 0) {
      const int error = errno;
      Sys::Close(fd);
      errno = error;
      fd = -1;
    }
  }
  if (fd < 0 && (!create || errno == EEXIST)) fd = Sys::OpenAt(directory, component, flags);
  int error = fd < 0 ? errno : 0;
  Sys::Close(directory);
  if (fd >= 0) {
    struct stat status;
    if (Sys::FileStatus(fd, &status) != 0)
      error = errno;
    else if (!S_ISREG(status.st_mode))
      error = EINVAL;
    if (error != 0) {
      Sys::Close(fd);
      fd = -1;
    }
  }
  errno = error;
  return fd;
}

// OpenHandle: the thread's handle on name, opening the file when the thread has none yet.
MutexHandleData* OpenHandle(const char* name, bool create) {
  HandleListAccess access;
  MutexHandleList* list = access.Get();
  if (list == nullptr) {
    errno = ENOMEM;
    return nullptr;
  }
  if (MutexHandleData* handle = FindHandle(list, name)) {
    ++handle->openCount;
    return handle;
  }
  const int fd = OpenMutexFile(name, create);
  if (fd < 0) return nullptr;
  MutexHandleData* handle = new (std::nothrow) MutexHandleData;
  auto* node = static_cast<MutexHandleNode*>(AllocParticle(sizeof(MutexHandleNode)));
  if (handle != nullptr) {
    handle->fd = fd;
    handle->name = name;
  }
  if (handle == nullptr || node == nullptr || handle->name.GetLength() != strlen(name)) {
    if (handle != nullptr)
      FreeHandle(handle);
    else
      Sys::Close(fd);
    FreeParticle(sizeof(MutexHandleNode), node);
    errno = ENOMEM;
    return nullptr;
  }
  handle->openCount = 1;
  node->handle = handle;
  node->next = list->head;
  list->head = node;
  return handle;
}

void DefaultSleeper(uint32_t milliseconds) { Sys::SleepMilliseconds(milliseconds); }

std::atomic<MutexSleeper> g_sleeper{&DefaultSleeper};

// Step: the sleep after the given try (counted from 0) of a timed wait.
uint32_t Step(uint32_t attempt) { return attempt < 10 ? 10 : attempt < 50 ? 50 : 100; }

}  // namespace

MutexHandleList::~MutexHandleList() {
  const LastErrorSaver saver;
  while (MutexHandleNode* node = head) {
    head = node->next;
    FreeHandle(node->handle);
    FreeParticle(sizeof(MutexHandleNode), node);
  }
}

const char* GetMutexDirectory() { return kMutexDirectory; }

AnsiStr GetMutexFileName(const char* name) {
  if (name == nullptr || *name == 0) return AnsiStr();
  AnsiStr path(kMutexDirectory);
  path += '/';
  path += name;
  return path;
}

MutexHandleData* CreateMutex(bool /*initialOwner: there is no initial owner*/, const char* name) {
  if (name == nullptr) {
    errno = ENOSYS;  // 38 for a missing name, as callers of CreateMutex expect
    return nullptr;
  }
  if (!IsValidMutexName(name)) {
    errno = EINVAL;
    return nullptr;
  }
  return OpenHandle(name, true);
}

MutexHandleData* OpenMutex(const char* name) {
  if (!IsValidMutexName(name)) {
    errno = EINVAL;
    return nullptr;
  }
  return OpenHandle(name, false);
}

// The timed wait: try, and while the lock is busy and time remains, sleep a step and try again.
// The steps grow (10 ms for tries 0 to 9, 50 ms for 10 to 49, 100 ms after) so that a short
// holding is noticed quickly and a long one costs few wake-ups. The remaining time is counted
// down by the steps slept, not read from a clock: the schedule of tries is the contract (a
// timeout of 0 is one try, 100 ms eleven tries), however the machine is loaded.
bool WaitForMutex(MutexHandleData* handle, uint32_t timeoutMs) {
  if (handle == nullptr) {
    errno = EINVAL;
    return false;
  }
  if (handle->lockDepth > 0) {  // recursive per thread: no system call
    ++handle->lockDepth;
    return true;
  }
  if (timeoutMs == kInfinite) {
    if (Sys::Flock(handle->fd, LOCK_EX) != 0) return false;
    handle->lockDepth = 1;
    return true;
  }
  uint32_t remaining = timeoutMs;
  for (uint32_t attempt = 0;; ++attempt) {
    if (Sys::Flock(handle->fd, LOCK_EX | LOCK_NB) == 0) {
      ++handle->lockDepth;
      return true;
    }
    if (errno != EINTR && errno != EWOULDBLOCK) return false;
    if (remaining == 0) {
      errno = ETIMEDOUT;
      return false;
    }
    const uint32_t nap = remaining < Step(attempt) ? remaining : Step(attempt);
    g_sleeper.load(std::memory_order_relaxed)(nap);
    remaining -= nap;
  }
}

bool DropMutex(MutexHandleData* handle) {
  if (handle == nullptr) {
    errno = EINVAL;
    return false;
  }
  if (handle->lockDepth == 0) {
    errno = EPERM;
    return false;
  }
  if (--handle->lockDepth > 0) return true;
  return Sys::Flock(handle->fd, LOCK_UN) == 0;
}

bool CloseMutex(MutexHandleData* handle) {
  if (handle == nullptr) {
    errno = EINVAL;
    return false;
  }
  HandleListAccess access;
  MutexHandleList* list = access.Get();
  // Only a handle of this thread's list is touched: a stale or foreign pointer is refused.
  MutexHandleNode** link = list != nullptr ? &list->head : nullptr;
  while (link != nullptr && *link != nullptr && (*link)->handle != handle) link = &(*link)->next;
  if (link == nullptr || *link == nullptr || handle->openCount == 0) {
    errno = EINVAL;
    return false;
  }
  if (--handle->openCount > 0) return true;
  MutexHandleNode* node = *link;
  *link = node->next;
  FreeParticle(sizeof(MutexHandleNode), node);
  const int fd = handle->fd;
  handle->fd = -1;
  delete handle;
  return Sys::Close(fd) == 0;
}

bool WaitForMutexList(MutexHandleData* const* handles, uint32_t count, uint32_t timeoutMs) {
  if (handles == nullptr || count == 0) {
    errno = EINVAL;
    return false;
  }
  for (uint32_t i = 0; i < count; ++i)
    if (handles[i] == nullptr) {
      errno = EINVAL;
      return false;
    }
  // The order of acquisition: indexes sorted by name (insertion sort; lists are short).
  uint32_t stackOrder[16];
  uint32_t* order = count <= 16 ? stackOrder : static_cast<uint32_t*>(AllocSimple(count * sizeof(uint32_t)));
  if (order == nullptr) return false;
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t at = i;
    while (at > 0 && strcmp(handles[order[at - 1]]->name.GetStr(), handles[i]->name.GetStr()) > 0) {
      order[at] = order[at - 1];
      --at;
    }
    order[at] = i;
  }
  const WaitDeadline deadline(timeoutMs);
  uint32_t taken = 0;
  while (taken < count && WaitForMutex(handles[order[taken]], taken == 0 ? timeoutMs : deadline.GetRemainingMs()))
    ++taken;
  const bool ok = taken == count;
  if (!ok) {
    const LastErrorSaver saver;  // the failing wait's error is the result's
    while (taken > 0) DropMutex(handles[order[--taken]]);
  }
  if (order != stackOrder) FreeSimple(order);
  return ok;
}

bool Wait(MutexHandleData* handle, uint32_t timeoutMs) { return WaitForMutex(handle, timeoutMs); }

bool Wait(MutexHandleData* const* handles, uint32_t count, uint32_t timeoutMs) {
  return WaitForMutexList(handles, count, timeoutMs);
}

MutexSleeper SetMutexSleeper(MutexSleeper sleeper) {
  return g_sleeper.exchange(sleeper != nullptr ? sleeper : &DefaultSleeper);
}

}  // namespace OrvGuiBase
