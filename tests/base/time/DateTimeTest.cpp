// Tests of the packed values, the conversions between the time forms, and the clocks. The
// SetCurrent functions are only given bad fields: a test never moves the machine's clock.
#include <gtest/gtest.h>
#include <sys/time.h>

#include <cerrno>
#include <climits>

#include "base/core/LastError.h"
#include "base/process/Setup.h"
#include "base/time/Calendar.h"
#include "base/time/Clock.h"
#include "base/time/DateTime.h"

namespace OrvGuiBase {
namespace {

// Restores the setup bias whatever a test did with it.
struct BiasGuard {
  ~BiasGuard() { Setup::ResetTimeZoneBias(); }
};

TEST(DateTime64, ZoneByteAndFields) {
  struct Row {
    int64_t bias;
    int zoneByte;  // -1: cannot be packed
    const char* why;
  } const rows[] = {
      {0, 0, "UTC"},
      {-345, 23 | 0x40, "+05:45, ahead of UTC: negative bias, bit 6"},
      {345, 23, "-05:45, behind UTC"},
      {-720, 48 | 0x40, "+12:00, the limit"},
      {720, 48, "-12:00, the limit"},
      {-735, -1, "past the limit"},
      {-350, -1, "+05:50 is not a multiple of 15"},
      {7, -1, "7 minutes"},
  };
  const datetime dt{{2024, 3, 1}, {12, 30, 5}};
  for (const Row& r : rows) {
    SCOPED_TRACE(r.why);
    EXPECT_EQ(DateTime64::ZoneByte(r.bias), r.zoneByte);
    const DateTime64 v = DateTime64::Make(dt, 7, r.bias);
    if (r.zoneByte < 0) {
      EXPECT_TRUE(v.IsNull());
      continue;
    }
    EXPECT_EQ(v.GetZoneByte(), static_cast<unsigned>(r.zoneByte));
    EXPECT_EQ(v.GetBias(), r.bias);
    EXPECT_EQ(v.GetYear(), 2024u);
    EXPECT_EQ(v.GetMonth(), 3u);
    EXPECT_EQ(v.GetDay(), 1u);
    EXPECT_EQ(v.GetHour(), 12u);
    EXPECT_EQ(v.GetMinute(), 30u);
    EXPECT_EQ(v.GetSecond(), 5u);
    EXPECT_EQ(v.GetMillisecond(), 7u);
    EXPECT_EQ(v.GetValue() >> 56, 0u);
  }
  // Field limits of the packed form.
  EXPECT_TRUE(DateTime64::Make(datetime{{4095, 12, 31}, {23, 59, 59}}, 999, 0).GetValue() != 0);
  EXPECT_TRUE(DateTime64::Make(datetime{{4096, 1, 1}, {}}, 0, 0).IsNull());
  EXPECT_TRUE(DateTime64::Make(datetime{{0, 1, 1}, {}}, 0, 0).IsNull());
  EXPECT_TRUE(DateTime64::Make(datetime{{2024, 1, 1}, {}}, 1000, 0).IsNull());
  EXPECT_TRUE(DateTime64::Make(datetime{{2024, 1, 1}, {24, 0, 0}}, 0, 0).IsNull());
}

TEST(DateTime64, ZonesAndUnixTime) {
  // 12:30 at +05:45 is 06:45 UTC.
  const DateTime64 kathmandu = DateTime64::Make(datetime{{2024, 3, 1}, {12, 30, 0}}, 250, -345);
  const DateTime64 utc = kathmandu.Get(0);
  EXPECT_EQ(utc.GetHour(), 6u);
  EXPECT_EQ(utc.GetMinute(), 45u);
  EXPECT_EQ(utc.GetMillisecond(), 250u);
  EXPECT_EQ(utc.GetZoneByte(), 0u);
  const DateTime64 newYork = kathmandu.Get(300);  // UTC-5: 01:45 the same day
  EXPECT_EQ(newYork.GetDay(), 1u);
  EXPECT_EQ(newYork.GetHour(), 1u);
  EXPECT_EQ(newYork.GetBias(), 300);
  EXPECT_EQ(newYork.Get(-345), kathmandu);
  EXPECT_TRUE(kathmandu.Get(7).IsNull());
  EXPECT_TRUE(DateTime64().Get(0).IsNull());
  // Unix time agrees with the platform's for the same instant.
  struct tm broken = {};
  broken.tm_year = 124, broken.tm_mon = 2, broken.tm_mday = 1, broken.tm_hour = 6, broken.tm_min = 45;
  EXPECT_EQ(kathmandu.GetUnixTime(), timegm(&broken));
  EXPECT_EQ(DateTime64::Make(datetime{{1970, 1, 1}, {}}, 0, 0).GetUnixTime(), 0);
  EXPECT_EQ(DateTime64::Make(datetime{{1969, 12, 31}, {23, 59, 59}}, 0, 0).GetUnixTime(), -1);
}

TEST(DateTime, ConversionsRoundTrip) {
  struct Row {
    datetime dt;
    int64_t seconds;
  } const rows[] = {
      {{{1970, 1, 1}, {}}, 0},
      {{{2024, 3, 1}, {12, 0, 0}}, 1709294400},
      {{{1969, 12, 31}, {23, 59, 59}}, -1},
      {{{2038, 1, 19}, {3, 14, 8}}, 2147483648},
      {{{1601, 1, 1}, {}}, -11644473600},
  };
  for (const Row& r : rows) {
    EXPECT_EQ(DateTime2SimpleTime(r.dt), r.seconds);
    const datetime back = SimpleTime2DateTime(r.seconds);
    EXPECT_EQ(CompareDateTime(back, r.dt), 0) << r.seconds;
    const FILETIME ft = DateTime2FileTime(r.dt);
    EXPECT_EQ(FileTime2SimpleTime(ft), r.seconds);
    EXPECT_EQ(CompareDateTime(FileTime2DateTime(ft), r.dt), 0);
    EXPECT_EQ(DateTime2Milliseconds(r.dt, 123), r.seconds * 1000 + 123);
    int64_t ms = -1;
    EXPECT_EQ(CompareDateTime(Milliseconds2DateTime(r.seconds * 1000 + 123, &ms), r.dt), 0);
    EXPECT_EQ(ms, 123);
    if (r.seconds < -9000000000) {
      EXPECT_EQ(DateTime2Nanoseconds(r.dt, 5), 0);  // before 1677: no nanosecond count
      continue;
    }
    int64_t ns = -1;
    EXPECT_EQ(CompareDateTime(Nanoseconds2DateTime(DateTime2Nanoseconds(r.dt, 5), &ns), r.dt), 0);
    EXPECT_EQ(ns, 5);
  }
  EXPECT_EQ(FileTime2UHyper(SimpleTime2FileTime(0)), 116444736000000000ull);
  EXPECT_EQ(FileTime2UHyper(UHyper2FileTime(0x0123456789ABCDEFull)), 0x0123456789ABCDEFull);
  EXPECT_EQ(FileTime2UHyper(SimpleTime2FileTime(-11644473601)), 0u);  // before 1601
  EXPECT_EQ(DateTime2Nanoseconds(datetime{{2300, 1, 1}, {}}), 0);    // past 2262
  EXPECT_EQ(DateTime2SimpleTime(datetime{{2024, 13, 1}, {}}), 0);

  SYSTEMTIME st;
  ASSERT_TRUE(DateTime2SystemTime(datetime{{2024, 3, 1}, {12, 30, 5}}, st, 42));
  EXPECT_EQ(st.wDayOfWeek, 5);
  EXPECT_EQ(st.wMilliseconds, 42);
  FILETIME ft;
  ASSERT_TRUE(SystemTimeToFileTime(&st, &ft));
  SYSTEMTIME back;
  ASSERT_TRUE(FileTimeToSystemTime(&ft, &back));
  EXPECT_EQ(back.wYear, 2024);
  EXPECT_EQ(back.wSecond, 5);
  EXPECT_EQ(back.wMilliseconds, 42);
  EXPECT_EQ(CompareDateTime(SystemTime2DateTime(back), datetime{{2024, 3, 1}, {12, 30, 5}}), 0);
  SetLastError(0);
  EXPECT_FALSE(SystemTimeToFileTime(nullptr, &ft));
  EXPECT_EQ(GetLastError(), EINVAL);
  st.wDay = 30, st.wMonth = 2;
  EXPECT_FALSE(SystemTimeToFileTime(&st, &ft));
  EXPECT_FALSE(DateTime2SystemTime(datetime{{2024, 3, 1}, {24, 0, 0}}, st));

  packeddatetime packed;
  ASSERT_TRUE(DateTime2PackedDateTime(datetime{{2024, 3, 1}, {1, 2, 3}}, packed));
  EXPECT_EQ(CompareDateTime(PackedDateTime2DateTime(packed), datetime{{2024, 3, 1}, {1, 2, 3}}), 0);
  EXPECT_FALSE(DateTime2PackedDateTime(datetime{{65536, 1, 1}, {}}, packed));
  EXPECT_EQ(packed.d.year, 0);
  timestamp ts;
  ASSERT_TRUE(DateTime2TimeStamp(datetime{{2024, 3, 1}, {1, 2, 3}}, 456, ts));
  int64_t tsMs = 0;
  EXPECT_EQ(CompareDateTime(TimeStamp2DateTime(ts, &tsMs), datetime{{2024, 3, 1}, {1, 2, 3}}), 0);
  EXPECT_EQ(tsMs, 456);
  EXPECT_EQ(ts.bytes[0], 456 & 0xFF);  // little-endian: the millisecond starts the first byte
  const DateTime64 zoned = TimeStamp2DateTime64(ts, -345);
  EXPECT_EQ(zoned.GetBias(), -345);
  EXPECT_EQ(DateTime642TimeStamp(zoned).Get(), ts.Get());
  EXPECT_TRUE(TimeStamp2DateTime64(ts, 10).IsNull());
  EXPECT_FALSE(DateTime2TimeStamp(datetime{{2024, 3, 1}, {1, 2, 3}}, 1000, ts));

  struct tm broken;
  ASSERT_TRUE(DateTime2BrokenTime(datetime{{2024, 3, 1}, {1, 2, 3}}, broken));
  EXPECT_EQ(broken.tm_wday, 5);
  EXPECT_EQ(broken.tm_yday, 60);
  EXPECT_EQ(CompareDateTime(BrokenTime2DateTime(broken), datetime{{2024, 3, 1}, {1, 2, 3}}), 0);
}

TEST(DateTime, UniversalAndLocal) {
  BiasGuard guard;
  Setup::SetTimeZoneBias(-345);  // +05:45
  const datetime local{{2024, 1, 1}, {3, 0, 0}};
  const datetime utc = GetUniversalDateTime(local);
  EXPECT_EQ(CompareDateTime(utc, datetime{{2023, 12, 31}, {21, 15, 0}}), 0);
  EXPECT_EQ(CompareDateTime(GetLocalDateTime(utc), local), 0);
  Setup::ResetTimeZoneBias();
  // The platform's rules: the round trip holds away from daylight-saving changes.
  const datetime noon{{2024, 3, 1}, {12, 0, 0}};
  EXPECT_EQ(CompareDateTime(GetLocalDateTime(GetUniversalDateTime(noon)), noon), 0);
  const datetime bad{{2024, 13, 40}, {}};
  EXPECT_EQ(CompareDateTime(GetUniversalDateTime(bad), bad), 0);  // unchanged
}

TEST(Clock, CurrentTimeAgreesWithTheSystem) {
  timeval before;
  gettimeofday(&before, nullptr);
  datetime utc;
  int64_t ms = -1;
  ASSERT_TRUE(GetCurrentUniversalDateTime(utc, &ms));
  timeval after;
  gettimeofday(&after, nullptr);
  const int64_t seconds = DateTime2SimpleTime(utc);
  EXPECT_GE(seconds, before.tv_sec);
  EXPECT_LE(seconds, after.tv_sec);
  EXPECT_GE(ms, 0);
  EXPECT_LT(ms, 1000);
  int64_t d, mo, y, h, mi, s, milli;
  ASSERT_TRUE(GetCurrentDateTime(d, mo, y, h, mi, s, milli));
  EXPECT_TRUE(IsValidDateTime(datetime{{y, mo, d}, {h, mi, s}}));
  ASSERT_TRUE(GetCurrentUniversalDate(d, mo, y));
  EXPECT_GE(y, 2024);
  ASSERT_TRUE(GetCurrentTime(h, mi, s));
  EXPECT_TRUE(IsValidTime(h, mi, s));

  const uint64_t ticks = GetClockTicks64();
  EXPECT_LE(GetClockTicks64(ticks), 1000u);
  EXPECT_GT(GetHighResolutionClockFrequency(), 0u);
}

TEST(Clock, SystemDateTime64FollowsTheBias) {
  BiasGuard guard;
  struct Row {
    int bias;
    bool packs;
  } const rows[] = {{-345, true}, {345, true}, {0, true}, {-350, false}, {-735, false}};
  for (const Row& r : rows) {
    Setup::SetTimeZoneBias(r.bias);
    const int64_t before = ::time(nullptr);
    const DateTime64 now = GetCurrentSystemDateTime64();
    const int64_t after = ::time(nullptr);
    EXPECT_EQ(now.IsNull(), !r.packs) << r.bias;
    if (!r.packs) continue;
    EXPECT_EQ(now.GetBias(), r.bias);
    EXPECT_GE(now.GetUnixTime(), before);  // the local fields and the bias name this instant
    EXPECT_LE(now.GetUnixTime(), after);
  }
}

TEST(Clock, SetCurrentRefusesBadFieldsWithoutTouchingTheClock) {
  struct Row {
    int64_t day, month, year, hour, minute, second, ms;
  } const rows[] = {
      {30, 2, 2024, 0, 0, 0, 0}, {1, 1, 1753, 0, 0, 0, 0}, {1, 1, 2024, 24, 0, 0, 0},
      {1, 1, 2024, 0, 60, 0, 0}, {1, 1, 2024, 0, 0, 0, 1000}, {1, 1, 2024, 0, 0, 0, -1},
  };
  for (const Row& r : rows) {
    SetLastError(0);
    EXPECT_FALSE(SetCurrentDateTime(r.day, r.month, r.year, r.hour, r.minute, r.second, r.ms));
    EXPECT_EQ(GetLastError(), EINVAL);
    SetLastError(0);
    EXPECT_FALSE(SetCurrentUniversalDateTime(r.day, r.month, r.year, r.hour, r.minute, r.second, r.ms));
    EXPECT_EQ(GetLastError(), EINVAL);
  }
  SetLastError(0);
  EXPECT_FALSE(SetCurrentDate(31, 4, 2024));
  EXPECT_EQ(GetLastError(), EINVAL);
  EXPECT_FALSE(SetCurrentUniversalDate(0, 1, 2024));
  EXPECT_FALSE(SetCurrentTime(-1, 0, 0));
  EXPECT_FALSE(SetCurrentUniversalTime(0, 0, 60));
  EXPECT_EQ(GetLastError(), EINVAL);
}

}  // namespace
}  // namespace OrvGuiBase
