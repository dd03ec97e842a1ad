// Tests of the account look-ups against the password database as getent(1) reads it.
#include <gtest/gtest.h>
#include <unistd.h>

#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "TestProcess.h"
#include "base/process/Account.h"

namespace OrvGuiBase {
namespace {

// The fields of "getent passwd <key>", or empty when there is no such entry.
std::vector<std::string> Getent(const std::string& key) {
  const ProcessResult result = RunProcess({"/usr/bin/getent", "passwd", key});
  std::vector<std::string> fields;
  if (result.status != 0) return fields;
  std::string line = result.out.substr(0, result.out.find('\n'));
  std::istringstream parts(line);
  for (std::string field; std::getline(parts, field, ':');) fields.push_back(field);
  if (!line.empty() && line.back() == ':') fields.emplace_back();
  return fields;
}

TEST(Account, LookupsAgreeWithGetent) {
  const std::string me = std::to_string(geteuid());
  for (const std::string& key : {std::string("root"), me, std::string("0")}) {
    const std::vector<std::string> fields = Getent(key);
    ASSERT_EQ(fields.size(), 7u) << key;
    AccountInfo info;
    const bool byId = key.find_first_not_of("0123456789") == std::string::npos;
    ASSERT_TRUE(byId ? Account::LookupById(static_cast<uint32_t>(std::stoul(key)), info)
                     : Account::LookupByName(key.c_str(), info))
        << key;
    EXPECT_EQ(info.name.GetStr(), fields[0]);
    EXPECT_EQ(info.uid, std::stoul(fields[2]));
    EXPECT_EQ(info.gid, std::stoul(fields[3]));
    EXPECT_EQ(info.realName.GetStr(), fields[4].substr(0, fields[4].find(',')));
    EXPECT_EQ(info.home.GetStr(), fields[5]);
    EXPECT_EQ(info.shell.GetStr(), fields[6]);
  }
  EXPECT_EQ(Account::GetUserName().GetStr(), Getent(me).at(0));
  EXPECT_EQ(Account::GetHomeDirectory().GetStr(), Getent(me).at(5));
}

TEST(Account, MissingUsersFailWithENOENTAndLeaveTheResultAlone) {
  AccountInfo info;
  info.name = "kept";
  const struct {
    const char* name;
    const char* why;
  } kRows[] = {{"no-such-user-orvgui", "unknown"}, {"", "empty"}, {nullptr, "null"}};
  for (const auto& row : kRows) {
    errno = 0;
    EXPECT_FALSE(Account::LookupByName(row.name, info)) << row.why;
    EXPECT_EQ(errno, ENOENT) << row.why;
  }
  errno = 0;
  EXPECT_FALSE(Account::LookupById(4000000000u, info));
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(info.name, "kept");
}

TEST(Account, PerThreadCache) {
  Account::FlushCache();
  uint64_t hits0 = 0, misses0 = 0, hits = 0, misses = 0;
  Account::GetCacheStatistics(hits0, misses0);
  AccountInfo first, again, byId;
  ASSERT_TRUE(Account::LookupByName("root", first));
  ASSERT_TRUE(Account::LookupByName("root", again));
  ASSERT_TRUE(Account::LookupById(0, byId));
  Account::GetCacheStatistics(hits, misses);
  EXPECT_EQ(misses - misses0, 1u) << "one database query";
  EXPECT_EQ(hits - hits0, 2u) << "by name and by id from the cache";
  EXPECT_EQ(again.home, first.home);
  EXPECT_EQ(byId.name, "root");
  AccountInfo missing;
  EXPECT_FALSE(Account::LookupByName("no-such-user-orvgui", missing));
  EXPECT_FALSE(Account::LookupByName("no-such-user-orvgui", missing));
  Account::GetCacheStatistics(hits, misses);
  EXPECT_EQ(misses - misses0, 3u) << "failures are not cached";

  std::thread other([] {
    uint64_t h = 0, m = 0;
    AccountInfo info;
    EXPECT_TRUE(Account::LookupByName("root", info));
    Account::GetCacheStatistics(h, m);
    EXPECT_EQ(h, 0u) << "another thread has its own cache";
    EXPECT_EQ(m, 1u);
  });
  other.join();

  Account::FlushCache();
  ASSERT_TRUE(Account::LookupByName("root", again));
  uint64_t afterHits = 0, afterMisses = 0;
  Account::GetCacheStatistics(afterHits, afterMisses);
  EXPECT_EQ(afterMisses, misses + 1) << "flushed";
  // More names than the cache holds: the oldest entry goes, the newest stays.
  std::vector<uint32_t> uids;
  for (uint32_t uid = 0; uid < 70000 && uids.size() < kPasswdCacheEntries + 2; ++uid)
    if (Account::LookupById(uid, again)) uids.push_back(uid);
  if (uids.size() < kPasswdCacheEntries + 2) GTEST_SKIP() << "fewer accounts than the cache holds";
  Account::GetCacheStatistics(hits, misses);
  Account::LookupById(uids.back(), again);
  uint64_t lastHits = 0, lastMisses = 0;
  Account::GetCacheStatistics(lastHits, lastMisses);
  EXPECT_EQ(lastHits, hits + 1) << "the newest entry stays";
  Account::LookupById(uids.front(), again);
  Account::GetCacheStatistics(hits, misses);
  EXPECT_EQ(misses, lastMisses + 1) << "the oldest entry went";
}

}  // namespace
}  // namespace OrvGuiBase
