// Account.cpp: the password database behind a per-thread cache.
//
// PasswdCache: each thread keeps up to kPasswdCacheEntries entries in a ring, each stamped with
// the monotonic second it was read. A look-up scans the ring (a handful of entries, cheaper
// than any lock), takes a fresh match, and otherwise asks the database and puts the answer in
// the next slot, overwriting the oldest. Failed look-ups are not cached: a user created a
// moment later is found at once.
#include "base/process/Account.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <vector>

#include "base/core/LazyStatic.h"
#include "base/core/ThreadData.h"

namespace OrvGuiBase {

namespace {

// QueryDatabase: one entry by name (when name is not null) or by id; 0 or an errno value.
int QueryDatabase(const char* name, uint32_t uid, AccountInfo& info) {
  long hint = sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(hint > 0 ? static_cast<size_t>(hint) : 16384);
  for (;;) {
    passwd entry{};
    passwd* found = nullptr;
    const int rc = name != nullptr ? getpwnam_r(name, &entry, buffer.data(), buffer.size(), &found)
                                   : getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found);
    if (rc == ERANGE && buffer.size() < (size_t{1} << 20)) {
      buffer.resize(buffer.size() * 2);
      continue;
    }
    if (rc != 0) return rc;
    if (found == nullptr) return ENOENT;
    info.name = entry.pw_name;
    info.uid = entry.pw_uid;
    info.gid = entry.pw_gid;
    const char* gecos = entry.pw_gecos != nullptr ? entry.pw_gecos : "";
    info.realName = AnsiStr(gecos, static_cast<uint32_t>(strcspn(gecos, ",")));
    info.home = entry.pw_dir;
    info.shell = entry.pw_shell;
    return 0;
  }
}

uint64_t MonotonicSeconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint64_t>(now.tv_sec);
}

struct PasswdCache {
  struct Entry {
    AccountInfo info;
    uint64_t stamp = 0;
    bool used = false;
  };
  Entry entries[kPasswdCacheEntries];
  unsigned next = 0;
  uint64_t hits = 0;
  uint64_t misses = 0;

  bool Lookup(const char* name, uint32_t uid, AccountInfo& info) {
    const uint64_t now = MonotonicSeconds();
    for (Entry& entry : entries) {
      if (!entry.used || now - entry.stamp >= kPasswdCacheSeconds) continue;
      if (name != nullptr ? strcmp(entry.info.name.GetStr(), name) == 0 : entry.info.uid == uid) {
        ++hits;
        info = entry.info;
        return true;
      }
    }
    ++misses;
    AccountInfo found;
    const int rc = QueryDatabase(name, uid, found);
    if (rc != 0) {
      errno = rc;
      return false;
    }
    Entry& slot = entries[next];
    next = (next + 1) % kPasswdCacheEntries;
    slot.info = found;
    slot.stamp = now;
    slot.used = true;
    info = found;
    return true;
  }

  void Flush() {
    for (Entry& entry : entries) entry = Entry();
    next = 0;
  }
};

struct ProcessUser {
  AnsiStr name;
  AnsiStr home;
  int error = 0;
  ProcessUser() {
    const int saved = errno;
    AccountInfo info;
    error = QueryDatabase(nullptr, geteuid(), info);
    if (error == 0) {
      name = info.name;
      home = info.home;
    }
    errno = saved;
  }
};

constinit LazyStatic<ProcessUser> g_user;

// CachedLookup: through the thread's cache; a thread whose record is already released (a
// look-up from a late thread-exit handler) asks the database directly, since the shared
// fallback record must not be written by several threads at once.
bool CachedLookup(const char* name, uint32_t uid, AccountInfo& info) {
  if (ThreadData<PasswdCache>::GetState() != 4) {
    if (PasswdCache* cache = ThreadData<PasswdCache>::Get()) return cache->Lookup(name, uid, info);
  }
  const int rc = QueryDatabase(name, uid, info);
  if (rc != 0) errno = rc;
  return rc == 0;
}

}  // namespace

AnsiStr Account::GetUserName() {
  const ProcessUser* user = g_user.Get();
  if (user == nullptr) return AnsiStr();
  if (user->name.IsEmpty()) errno = user->error;
  return user->name;
}

AnsiStr Account::GetHomeDirectory() {
  const ProcessUser* user = g_user.Get();
  if (user == nullptr) return AnsiStr();
  if (user->home.IsEmpty()) errno = user->error != 0 ? user->error : ENOENT;
  return user->home;
}

bool Account::LookupByName(const char* name, AccountInfo& info) {
  if (name == nullptr || *name == '\0') {
    errno = ENOENT;
    return false;
  }
  return CachedLookup(name, 0, info);
}

bool Account::LookupById(uint32_t uid, AccountInfo& info) {
  return CachedLookup(nullptr, uid, info);
}

void Account::FlushCache() {
  if (PasswdCache* cache = ThreadData<PasswdCache>::Peek()) cache->Flush();
}

void Account::GetCacheStatistics(uint64_t& hits, uint64_t& misses) {
  const PasswdCache* cache = ThreadData<PasswdCache>::Peek();
  hits = cache != nullptr ? cache->hits : 0;
  misses = cache != nullptr ? cache->misses : 0;
}

}  // namespace OrvGuiBase
