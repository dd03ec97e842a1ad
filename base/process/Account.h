// Account.h: the accounts the process runs under and the password database.
//
//   AnsiStr user = Account::GetUserName();        // "alice"
//   AccountInfo info;
//   if (Account::LookupByName("bob", info)) printf("%u %s\n", info.uid, info.home.GetStr());
//
// Look-ups go through the password database (getpwnam_r/getpwuid_r, so NSS modules take part)
// and are kept in a small per-thread cache (PasswdCache): a thread asks the database again
// only for names and ids it has not seen within the last kPasswdCacheSeconds, and never
// takes a lock for a cached answer. Kerberos authentication lives in base/process/Kerberos.h.
// Depends on core and text.
#pragma once

#include <cstdint>

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// AccountInfo: one entry of the password database.
struct AccountInfo {
  AnsiStr name;
  uint32_t uid = 0;
  uint32_t gid = 0;
  AnsiStr realName;  // the first comma-separated field of the comment ("gecos") field
  AnsiStr home;
  AnsiStr shell;
};

// How long a cached entry is trusted, and how many entries a thread keeps (the oldest goes).
inline constexpr unsigned kPasswdCacheSeconds = 30;
inline constexpr unsigned kPasswdCacheEntries = 16;

class ORVGUI_API Account {
 public:
  // GetUserName: the account name of the process's effective user, looked up once in the
  // password database; empty (last error set, ENOENT when there is no entry) otherwise.
  static AnsiStr GetUserName();
  // GetHomeDirectory: the effective user's home directory from the password database (HOME is
  // not consulted); empty plus last error when there is no entry.
  static AnsiStr GetHomeDirectory();

  // LookupByName / LookupById: the entry of a user. False with last error ENOENT when there is
  // no such user (or the name is null or empty), or the database's own error (EIO, ENOMEM...).
  // info is changed only on success. Thread-safe; answers come from the calling thread's cache
  // when it holds a fresh one.
  static bool LookupByName(const char* name, AccountInfo& info);
  static bool LookupById(uint32_t uid, AccountInfo& info);

  // FlushCache: forgets the calling thread's cached entries (after the host changed accounts).
  static void FlushCache();
  // GetCacheStatistics: how many look-ups of the calling thread were answered from its cache
  // (hits) and from the database (misses).
  static void GetCacheStatistics(uint64_t& hits, uint64_t& misses);
};

}  // namespace OrvGuiBase
