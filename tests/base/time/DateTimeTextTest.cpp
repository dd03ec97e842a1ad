// Tests of the ISO 8601, RFC 1123 and RFC 3501 texts: every writer against fixed texts, every
// reader against good and bad input, and the round trips text -> value -> text.
#include <gtest/gtest.h>

#include <string>

#include "base/process/Setup.h"
#include "base/time/DateTimeText.h"

namespace OrvGuiBase {
namespace {

std::string S(const AnsiStr& s) { return std::string(s.GetStr(), s.GetLength()); }

TEST(DateTimeText, DateTime64GetStr) {
  const datetime dt{{2024, 3, 1}, {12, 30, 5}};
  struct Row {
    int64_t bias;
    char separator;
    bool withZone;
    const char* text;
  } const rows[] = {
      {-60, 'T', true, "2024-03-01T12:30:05.007+01:00"},
      {0, 'T', true, "2024-03-01T12:30:05.007Z"},
      {345, 'T', true, "2024-03-01T12:30:05.007-05:45"},
      {-345, ' ', true, "2024-03-01 12:30:05.007+05:45"},
      {-345, 'T', false, "2024-03-01T12:30:05.007"},
      {720, 'T', true, "2024-03-01T12:30:05.007-12:00"},
  };
  for (const Row& r : rows) {
    const DateTime64 v = DateTime64::Make(dt, 7, r.bias);
    EXPECT_EQ(S(v.GetStr(r.separator, r.withZone)), r.text);
    if (r.separator == 'T' && r.withZone) {
      DateTime64 back;
      ASSERT_EQ(ISOStr2DateTime64(r.text, back), 0) << r.text;
      EXPECT_EQ(back, v) << r.text;
    }
  }
  EXPECT_EQ(S(DateTime64::Make(datetime{{1, 1, 1}, {}}, 0, 0).GetStr()), "0001-01-01T00:00:00.000Z");
  // Bit 7 of the zone byte is the caller's: it does not change the text.
  const DateTime64 flagged(DateTime64::Make(dt, 7, -60).GetValue() | (uint64_t{0x80} << 48));
  EXPECT_EQ(S(flagged.GetStr()), "2024-03-01T12:30:05.007+01:00");
}

TEST(DateTimeText, RFCWriters) {
  EXPECT_EQ(S(UniversalDateTime2RFC1123Str(datetime{{2024, 3, 1}, {12, 0, 0}})), "Fri, 01 Mar 2024 12:00:00 GMT");
  EXPECT_EQ(S(UniversalDateTime2RFC1123Str(datetime{{1994, 11, 6}, {8, 49, 37}})), "Sun, 06 Nov 1994 08:49:37 GMT");
  EXPECT_EQ(S(UniversalDateTime2RFC1123Str(datetime{{2024, 2, 30}, {}})), "");
  EXPECT_EQ(S(UniversalDateTime2RFC1123Str(datetime{})), "");
  EXPECT_EQ(S(UniversalDateTime2RFC3501Str(datetime{{2024, 3, 1}, {9, 5, 0}})), "01-Mar-2024 09:05:00 +0000");
  EXPECT_EQ(S(UniversalDateTime2RFC3501Str(datetime{{2024, 3, 1}, {9, 60, 0}})), "");
}

TEST(DateTimeText, RFC1123Reader) {
  struct Row {
    const char* text;
    int result;
    datetime dt;
    long bias;
  } const rows[] = {
      {"Sun, 06 Nov 1994 08:49:37 GMT", 0, {{1994, 11, 6}, {8, 49, 37}}, 0},
      {"Sunday, 06-Nov-94 08:49:37 GMT", 0, {{1994, 11, 6}, {8, 49, 37}}, 0},
      {"Sun Nov  6 08:49:37 1994", 0, {{1994, 11, 6}, {8, 49, 37}}, 0},
      {"  sun, 6 nov 1994 08:49 gmt  ", 0, {{1994, 11, 6}, {8, 49, 0}}, 0},
      {"06 Nov 1994 08:49:37 +0100", 0, {{1994, 11, 6}, {8, 49, 37}}, -60},
      {"Fri, 01 Mar 2024 12:00:00 -0545", 0, {{2024, 3, 1}, {12, 0, 0}}, 345},
      {"Fri, 01 Mar 2024 12:00:00 EST", 0, {{2024, 3, 1}, {12, 0, 0}}, 300},
      {"Fri, 01 Mar 2024 12:00:00 PDT", 0, {{2024, 3, 1}, {12, 0, 0}}, 420},
      {"Fri, 01-Mar-24 12:00:00 UTC", 0, {{2024, 3, 1}, {12, 0, 0}}, 0},
      {"Wed, 01-Mar-50 12:00:00 Z", 0, {{1950, 3, 1}, {12, 0, 0}}, 0},
      {nullptr, -1, {}, 0},
      {"", -1, {}, 0},
      {"   ", -1, {}, 0},
      {"Fri, 01 Mar 2024 12:00:00", -2, {}, 0},  // no zone
      {"Fri, 01 Mar 2024 12:00:00 XYZ", -2, {}, 0},
      {"Fri, 01 Mar 2024 12:00:00 GMT x", -2, {}, 0},
      {"Fri, 30 Feb 2024 12:00:00 GMT", -2, {}, 0},
      {"Fri, 01 Mar 2024 24:00:00 GMT", -2, {}, 0},
      {"Fri, 01 Foo 2024 12:00:00 GMT", -2, {}, 0},
      {"Fry, 01 Mar 2024 12:00:00 GMT", -2, {}, 0},
      {"Fri, 01 Mar 202 12:00:00 GMT", -2, {}, 0},
      {"Fri, 01 Mar 2024 12:00:00 +01", -2, {}, 0},
      {"Fri, 01 Mar 2024 12:00:00 +0160", -2, {}, 0},
      {"Fri Mar  1 12:00:00", -2, {}, 0},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.text != nullptr ? r.text : "(null)");
    datetime dt{{9, 9, 9}, {9, 9, 9}};
    long bias = 99;
    EXPECT_EQ(RFC1123Str2DateTime(r.text, dt, bias), r.result);
    EXPECT_EQ(CompareDateTime(dt, r.dt), 0);
    EXPECT_EQ(bias, r.bias);
  }
}

TEST(DateTimeText, RFC1123ToDateTime64) {
  struct Row {
    const char* text;
    int result;
    const char* iso;  // of the packed value, with its zone
  } const rows[] = {
      {"Fri, 01 Mar 2024 12:00:00 GMT", 0, "2024-03-01T12:00:00.000Z"},
      {"Fri, 01 Mar 2024 12:00:00 +0545", 0, "2024-03-01T12:00:00.000+05:45"},
      {"Fri, 01 Mar 2024 12:00:00 -0545", 0, "2024-03-01T12:00:00.000-05:45"},
      {"Fri, 01 Mar 2024 12:00:00 +0550", 0, "2024-03-01T06:10:00.000Z"},   // not a multiple of 15: UTC
      {"Fri, 01 Mar 2024 00:05:00 +1300", 0, "2024-02-29T11:05:00.000Z"},   // beyond 12 hours: UTC
      {"Fri, 01 Mar 2024 12:00:00 XYZ", -2, nullptr},
      {"", -1, nullptr},
  };
  for (const Row& r : rows) {
    DateTime64 v(uint64_t{0x80} << 48);  // bit 7 of the zone byte survives the reader
    EXPECT_EQ(RFC1123Str2DateTime64(r.text, v), r.result) << r.text;
    if (r.iso == nullptr) continue;
    EXPECT_EQ(S(v.GetStr()), r.iso) << r.text;
    EXPECT_NE(v.GetZoneByte() & 0x80, 0u);
  }
}

TEST(DateTimeText, RFC3501Reader) {
  struct Row {
    const char* text;
    int result;
    datetime dt;
    long bias;
  } const rows[] = {
      {"01-Mar-2024 09:05:00 +0000", 0, {{2024, 3, 1}, {9, 5, 0}}, 0},
      {"\" 1-Mar-2024 09:05:00 -0700\"", 0, {{2024, 3, 1}, {9, 5, 0}}, 420},
      {"1-mar-2024 09:05:00 +0545", 0, {{2024, 3, 1}, {9, 5, 0}}, -345},
      {"01-Mar-2024 09:05 +0000", -2, {}, 0},
      {"01-Mar-2024 09:05:00 GMT", -2, {}, 0},
      {"\"01-Mar-2024 09:05:00 +0000", -2, {}, 0},
      {"31-Apr-2024 09:05:00 +0000", -2, {}, 0},
      {nullptr, -1, {}, 0},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.text != nullptr ? r.text : "(null)");
    datetime dt;
    long bias = 99;
    EXPECT_EQ(RFC3501Str2DateTime(r.text, dt, bias), r.result);
    EXPECT_EQ(CompareDateTime(dt, r.dt), 0);
    EXPECT_EQ(bias, r.bias);
  }
  DateTime64 v;
  ASSERT_EQ(RFC3501Str2DateTime64("01-Mar-2024 09:05:00 +0545", v), 0);
  EXPECT_EQ(S(v.GetStr()), "2024-03-01T09:05:00.000+05:45");
}

TEST(DateTimeText, ISODateReader) {
  struct Row {
    const char* text;
    int result;
    long day, month, year;
    int endOffset;  // -1: null end pointer
  } const rows[] = {
      {"20240301", 0, 1, 3, 2024, 8},
      {"2024-03-01", 0, 1, 3, 2024, 10},
      {"  2024-03-01T12", 0, 1, 3, 2024, 12},
      {"2024-0301", 0, 1, 3, 2024, 9},
      {"2024-3-01", -2, 0, 0, 0, 6},
      {"2024-03-1", -2, 0, 0, 0, 9},
      {"202", -2, 0, 0, 0, 3},
      {"2024-x3-01", -2, 0, 0, 0, 5},
      {"2024-13-01", -2, 0, 0, 0, 5},
      {"2023-02-29", -2, 0, 0, 0, 8},
      {"1752-09-10", -2, 0, 0, 0, 8},
      {"", -1, 0, 0, 0, 0},
      {" \t", -1, 0, 0, 0, 2},
      {nullptr, -1, 0, 0, 0, -1},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.text != nullptr ? r.text : "(null)");
    const char* end = "x";
    long day = 7, month = 7, year = 7;
    EXPECT_EQ(ISOStr2Date(r.text, &end, &day, &month, &year), r.result);
    EXPECT_EQ(day, r.day);
    EXPECT_EQ(month, r.month);
    EXPECT_EQ(year, r.year);
    if (r.endOffset < 0) {
      EXPECT_EQ(end, nullptr);
    } else {
      EXPECT_EQ(end - r.text, r.endOffset);
    }
  }
  date d;
  EXPECT_EQ(ISOStr2Date(" 2024-03-01 ", d), 0);
  EXPECT_EQ(d.day, 1);
  EXPECT_EQ(ISOStr2Date("2024-03-01x", d), -2);
  EXPECT_EQ(d.year, 0);
}

TEST(DateTimeText, ISOTimeReader) {
  struct Row {
    const char* text;
    int result;
    long hour, minute, second, ms;
  } const rows[] = {
      {"12:30", 0, 12, 30, 0, 0},        {"12:30:05", 0, 12, 30, 5, 0},   {"123005", 0, 12, 30, 5, 0},
      {"12:30:05.5", 0, 12, 30, 5, 500}, {"12:30:05,123456", 0, 12, 30, 5, 123},
      {"1230", 0, 12, 30, 0, 0},         {"24:00:00", -2, 0, 0, 0, 0},    {"12:60", -2, 0, 0, 0, 0},
      {"12:3", -2, 0, 0, 0, 0},          {"12:30:05.", -2, 0, 0, 0, 0},   {"12:30:05.1234567890", -2, 0, 0, 0, 0},
      {"", -1, 0, 0, 0, 0},
  };
  for (const Row& r : rows) {
    long h = 9, m = 9, s = 9, ms = 9;
    EXPECT_EQ(ISOStr2Time(r.text, nullptr, &h, &m, &s, &ms), r.result) << r.text;
    EXPECT_EQ(h, r.hour) << r.text;
    EXPECT_EQ(m, r.minute) << r.text;
    EXPECT_EQ(s, r.second) << r.text;
    EXPECT_EQ(ms, r.ms) << r.text;
  }
  struct EndRow {
    const char* text;
    int endOffset;
  } const ends[] = {{"12:30:05Z", 8}, {"12:3", 4}, {"12:60:00", 3}, {"25:00", 0}, {"1230x", 4}, {"12:30:61", 6}};
  for (const EndRow& r : ends) {
    const char* end = nullptr;
    ISOStr2Time(r.text, &end, nullptr, nullptr, nullptr);
    EXPECT_EQ(end - r.text, r.endOffset) << r.text;
  }
  time t;
  EXPECT_EQ(ISOStr2Time("12:30:05 ", t), 0);
  EXPECT_EQ(t.second, 5);
  EXPECT_EQ(ISOStr2Time("12:30:05Z", t), -2);  // the whole text must be the time
}

TEST(DateTimeText, ISODateTimeAndTimeStampReaders) {
  struct Row {
    const char* text;
    int result;
    const char* iso;  // GetStr of the DateTime64 read
  } const rows[] = {
      {"2024-03-01", 0, "2024-03-01T00:00:00.000Z"},
      {"2024-03-01T12:30:05Z", 0, "2024-03-01T12:30:05.000Z"},
      {"2024-03-01 12:30:05.25+05:45", 0, "2024-03-01T12:30:05.250+05:45"},
      {"20240301T123005-0545", 0, "2024-03-01T12:30:05.000-05:45"},
      {"2024-03-01T12:30+01", 0, "2024-03-01T12:30:00.000+01:00"},
      {"2024-03-01T00:10:00+00:20", 0, "2024-02-29T23:50:00.000Z"},  // not a multiple of 15
      {"0000-01-01", -2, nullptr},
      {"2024-03-01T", -2, nullptr},
      {"2024-03-01T12:30:05+5", -2, nullptr},
      {"2024-03-01T12:30:05 x", -2, nullptr},
      {"", -1, nullptr},
  };
  for (const Row& r : rows) {
    DateTime64 v;
    EXPECT_EQ(ISOStr2DateTime64(r.text, v), r.result) << r.text;
    if (r.iso == nullptr) continue;
    EXPECT_EQ(S(v.GetStr()), r.iso) << r.text;
  }
  timestamp ts;
  ASSERT_EQ(ISOStr2TimeStamp("2024-03-01T12:30:05.007+01:00", ts), 0);
  const DateTime64 utc(ts.Get());
  EXPECT_EQ(S(utc.GetStr()), "2024-03-01T11:30:05.007Z");
  EXPECT_TRUE(IsValidTimeStamp(ts));
  EXPECT_EQ(ISOStr2TimeStamp("2024-02-30", ts), -2);
}

TEST(DateTimeText, ISOWritersRoundTrip) {
  struct Row {
    datetime dt;
    long ms;
    long bias;
    const char* text;
  } const rows[] = {
      {{{2024, 3, 1}, {12, 30, 5}}, -1, kNoBias, "2024-03-01T12:30:05"},
      {{{2024, 3, 1}, {12, 30, 5}}, 7, kNoBias, "2024-03-01T12:30:05.007"},
      {{{2024, 3, 1}, {12, 30, 5}}, 7, 0, "2024-03-01T12:30:05.007Z"},
      {{{2024, 3, 1}, {12, 30, 5}}, -1, -345, "2024-03-01T12:30:05+05:45"},
      {{{1999, 12, 31}, {23, 59, 59}}, 999, 345, "1999-12-31T23:59:59.999-05:45"},
  };
  for (const Row& r : rows) {
    const std::string text = S(DateTime2ISOStr(r.dt, r.ms, r.bias));
    EXPECT_EQ(text, r.text);
    DateTime64 v;
    ASSERT_EQ(ISOStr2DateTime64(text.c_str(), v), 0) << text;
    EXPECT_EQ(CompareDateTime(v.GetDateTime(), r.dt), 0) << text;
    EXPECT_EQ(v.GetMillisecond(), static_cast<unsigned>(r.ms < 0 ? 0 : r.ms));
    EXPECT_EQ(v.GetBias(), r.bias == kNoBias ? 0 : r.bias);
    // The time alone reads back from its own text.
    const std::string timeText = S(Time2ISOStr(r.dt.t, r.ms));
    long h, m, s, ms;
    ASSERT_EQ(ISOStr2Time(timeText.c_str(), nullptr, &h, &m, &s, &ms), 0) << timeText;
    EXPECT_EQ(h, r.dt.t.hour);
    EXPECT_EQ(s, r.dt.t.second);
    EXPECT_EQ(ms, r.ms < 0 ? 0 : r.ms);
  }
  EXPECT_EQ(S(DateTime2ISOStr(datetime{{2024, 2, 30}, {}})), "");
  EXPECT_EQ(S(DateTime2ISOStr(datetime{{2024, 2, 1}, {}}, 1000)), "");
  EXPECT_EQ(S(DateTime2ISOStr(datetime{{2024, 2, 1}, {}}, -1, 1440)), "");
  EXPECT_EQ(S(DateTime2ISOStr(datetime{{2024, 2, 1}, {1, 2, 3}}, -1, kNoBias, ' ')), "2024-02-01 01:02:03");
  EXPECT_EQ(S(Time2ISOStr(time{1, 2, 3}, -1, -60)), "01:02:03+01:00");
  EXPECT_EQ(S(Time2ISOStr(time{24, 0, 0})), "");

  Setup::SetTimeZoneBias(-345);
  EXPECT_EQ(S(LocalDateTime2ISOStr(datetime{{2024, 3, 1}, {12, 0, 0}})), "2024-03-01T12:00:00+05:45");
  Setup::ResetTimeZoneBias();
}

TEST(DateTimeText, RFCRoundTrips) {
  const datetime samples[] = {{{2024, 3, 1}, {12, 0, 0}}, {{1753, 1, 2}, {0, 0, 0}}, {{4712, 12, 30}, {23, 59, 59}},
                              {{2000, 2, 29}, {6, 7, 8}}};
  for (const datetime& dt : samples) {
    const std::string rfc1123 = S(UniversalDateTime2RFC1123Str(dt));
    datetime back;
    long bias = 1;
    ASSERT_EQ(RFC1123Str2DateTime(rfc1123.c_str(), back, bias), 0) << rfc1123;
    EXPECT_EQ(CompareDateTime(back, dt), 0) << rfc1123;
    EXPECT_EQ(bias, 0);
    EXPECT_EQ(S(UniversalDateTime2RFC1123Str(back)), rfc1123);
    const std::string rfc3501 = S(UniversalDateTime2RFC3501Str(dt));
    ASSERT_EQ(RFC3501Str2DateTime(rfc3501.c_str(), back, bias), 0) << rfc3501;
    EXPECT_EQ(CompareDateTime(back, dt), 0) << rfc3501;
    EXPECT_EQ(S(UniversalDateTime2RFC3501Str(back)), rfc3501);
  }
}

}  // namespace
}  // namespace OrvGuiBase
