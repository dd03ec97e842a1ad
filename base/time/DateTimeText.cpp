// DateTimeText.cpp: ISO 8601, RFC 1123 and RFC 3501 texts of the date and time values.
//
// The writers put digits straight into a small buffer (the ISO text of a DateTime64 is on the
// path of every event record); the RFC texts go through the formatter. The readers share one
// cursor over the text: each step either consumes what it expects or reports where it stopped.
#include "base/time/DateTimeText.h"

#include "base/process/Setup.h"
#include "base/text/Formatter.h"

namespace OrvGuiBase {
namespace {

const char* const kMonthNames[13] = {"", "Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
const char* const kDayNames[7] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
const char* const kLongDayNames[7] = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};

// Writes value with at least width digits; returns the position after them.
char* PutDigits(char* out, unsigned value, int width) {
  char digits[10];
  int n = 0;
  do {
    digits[n++] = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value != 0);
  while (n < width) digits[n++] = '0';
  while (n > 0) *out++ = digits[--n];
  return out;
}

inline char* Put2(char* out, unsigned value) {
  if (value > 99) return PutDigits(out, value, 2);
  out[0] = static_cast<char>('0' + value / 10);
  out[1] = static_cast<char>('0' + value % 10);
  return out + 2;
}

// PutZone: "Z", or "+hh:mm" for a zone ahead of UTC (negative bias), "-hh:mm" behind.
char* PutZone(char* out, long bias) {
  if (bias == 0) {
    *out++ = 'Z';
    return out;
  }
  const unsigned minutes = static_cast<unsigned>(bias < 0 ? -bias : bias);
  *out++ = bias < 0 ? '+' : '-';
  out = Put2(out, minutes / 60);
  *out++ = ':';
  return Put2(out, minutes % 60);
}

char* PutTime(char* out, unsigned hour, unsigned minute, unsigned second) {
  out = Put2(out, hour);
  *out++ = ':';
  out = Put2(out, minute);
  *out++ = ':';
  return Put2(out, second);
}

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsAlpha(char c) { return (c | 0x20) >= 'a' && (c | 0x20) <= 'z'; }

// Cursor: the reading position; the helpers consume on success and stay put on failure.
struct Cursor {
  const char* p;

  void SkipSpace() {
    while (IsSpace(*p)) ++p;
  }
  bool Take(char c) {
    if (*p != c) return false;
    ++p;
    return true;
  }
  // Digits: exactly n digits.
  bool Digits(int n, long& value) {
    long v = 0;
    for (int i = 0; i < n; ++i) {
      if (!IsDigit(p[i])) return false;
      v = v * 10 + (p[i] - '0');
    }
    p += n;
    value = v;
    return true;
  }
  // DigitsOrStop: exactly n digits; when one is missing the cursor stops on that character.
  bool DigitsOrStop(int n, long& value) {
    const char* start = p;
    if (Digits(n, value)) return true;
    while (p < start + n && IsDigit(*p)) ++p;
    return false;
  }
  // DigitRun: min to max digits, as many as there are.
  int DigitRun(int min, int max, long& value) {
    int n = 0;
    long v = 0;
    while (n < max && IsDigit(p[n])) v = v * 10 + (p[n++] - '0');
    if (n < min) return 0;
    p += n;
    value = v;
    return n;
  }
  // Word: the run of ASCII letters, at most 15; its length (0 when there is none).
  int Word(char* word) {
    int n = 0;
    while (IsAlpha(p[n]) && n < 15) word[n] = static_cast<char>(p[n] | 0x20), ++n;
    if (IsAlpha(p[n])) return 0;
    word[n] = '\0';
    p += n;
    return n;
  }
};

bool SameName(const char* lower, const char* name) {
  for (; *name != '\0'; ++lower, ++name) {
    if (*lower != (*name | 0x20)) return false;
  }
  return *lower == '\0';
}

int MonthOf(const char* lower) {
  for (int m = 1; m <= 12; ++m) {
    if (SameName(lower, kMonthNames[m])) return m;
  }
  return 0;
}

bool IsWeekday(const char* lower) {
  for (int d = 0; d < 7; ++d) {
    if (SameName(lower, kDayNames[d]) || SameName(lower, kLongDayNames[d])) return true;
  }
  return false;
}

bool ReadMonthName(Cursor& c, long& month) {
  Cursor probe = c;
  char word[16];
  if (probe.Word(word) != 3 || (month = MonthOf(word)) == 0) return false;
  c = probe;
  return true;
}

// ReadClockTime: hh:mm[:ss] (seconds optional only when allowed).
bool ReadClockTime(Cursor& c, time& t, bool secondsOptional) {
  long h, m, s = 0;
  if (!c.Digits(2, h) || !c.Take(':') || !c.Digits(2, m)) return false;
  if (c.Take(':')) {
    if (!c.Digits(2, s)) return false;
  } else if (!secondsOptional) {
    return false;
  }
  t = time{h, m, s};
  return true;
}

// ReadNumericZone: +hhmm / -hhmm into a bias (+0100 gives -60).
bool ReadNumericZone(Cursor& c, long& bias) {
  const char sign = *c.p;
  if (sign != '+' && sign != '-') return false;
  Cursor probe{c.p + 1};
  long h, m;
  if (!probe.Digits(2, h) || !probe.Digits(2, m) || m >= 60) return false;
  bias = (sign == '+' ? -1 : 1) * (h * 60 + m);
  c = probe;
  return true;
}

bool ReadZone(Cursor& c, long& bias) {
  if (ReadNumericZone(c, bias)) return true;
  struct Named {
    const char* name;
    long bias;
  };
  static const Named kZones[] = {{"gmt", 0},   {"ut", 0},    {"utc", 0},   {"z", 0},     {"est", 300}, {"edt", 240},
                                 {"cst", 360}, {"cdt", 300}, {"mst", 420}, {"mdt", 360}, {"pst", 480}, {"pdt", 420}};
  Cursor probe = c;
  char word[16];
  if (probe.Word(word) == 0) return false;
  for (const Named& zone : kZones) {
    if (SameName(word, zone.name)) {
      bias = zone.bias;
      c = probe;
      return true;
    }
  }
  return false;
}

bool FieldsInRange(const datetime& dt) {
  return dt.d.month >= 1 && dt.d.month <= 12 && dt.d.day >= 1 && dt.d.day <= GetDaysOfMonth(dt.d.year, dt.d.month) &&
         IsValidTime(dt.t);
}

// Finish: only white space may follow.
int Finish(Cursor& c, const datetime& dt) {
  c.SkipSpace();
  if (*c.p != '\0') return -2;
  return FieldsInRange(dt) ? 0 : -2;
}

int ReadRFC1123(const char* text, datetime& out, long& bias) {
  if (text == nullptr) return -1;
  Cursor c{text};
  c.SkipSpace();
  if (*c.p == '\0') return -1;
  datetime dt;
  long day = 0, month = 0, year = 0;
  if (IsAlpha(*c.p)) {
    char word[16];
    if (c.Word(word) == 0 || !IsWeekday(word)) return -2;
    if (!c.Take(',')) {
      // asctime: Www Mmm d hh:mm:ss yyyy, always UTC.
      c.SkipSpace();
      if (!ReadMonthName(c, month)) return -2;
      c.SkipSpace();
      if (c.DigitRun(1, 2, day) == 0 || !c.Take(' ')) return -2;
      c.SkipSpace();
      if (!ReadClockTime(c, dt.t, false) || !c.Take(' ')) return -2;
      c.SkipSpace();
      if (!c.Digits(4, year) || IsDigit(*c.p)) return -2;
      dt.d = date{year, month, day};
      bias = 0;
      return Finish(c, dt) == 0 ? (out = dt, 0) : -2;
    }
    c.SkipSpace();
  }
  if (c.DigitRun(1, 2, day) == 0) return -2;
  const bool dashed = c.Take('-');  // RFC 850: dd-Mmm-yy
  if (!dashed) c.SkipSpace();
  if (!ReadMonthName(c, month)) return -2;
  if (dashed ? !c.Take('-') : !IsSpace(*c.p)) return -2;
  c.SkipSpace();
  const int yearDigits = c.DigitRun(2, 4, year);
  if (yearDigits == 3 || yearDigits == 0 || IsDigit(*c.p)) return -2;
  if (yearDigits == 2) year += year >= 50 ? 1900 : 2000;
  if (!IsSpace(*c.p)) return -2;
  c.SkipSpace();
  if (!ReadClockTime(c, dt.t, true) || !IsSpace(*c.p)) return -2;
  c.SkipSpace();
  long zone = 0;
  if (!ReadZone(c, zone)) return -2;
  dt.d = date{year, month, day};
  if (Finish(c, dt) != 0) return -2;
  out = dt;
  bias = zone;
  return 0;
}

int ReadRFC3501(const char* text, datetime& out, long& bias) {
  if (text == nullptr) return -1;
  Cursor c{text};
  c.SkipSpace();
  if (*c.p == '\0') return -1;
  const bool quoted = c.Take('"');
  long day = 0, month = 0, year = 0;
  if (c.Take(' ')) {
    if (!c.Digits(1, day)) return -2;
  } else if (c.DigitRun(1, 2, day) == 0) {
    return -2;
  }
  datetime dt;
  if (!c.Take('-') || !ReadMonthName(c, month) || !c.Take('-') || !c.Digits(4, year) || !c.Take(' ') ||
      !ReadClockTime(c, dt.t, false) || !c.Take(' ')) {
    return -2;
  }
  long zone = 0;
  if (!ReadNumericZone(c, zone)) return -2;
  if (quoted && !c.Take('"')) return -2;
  dt.d = date{year, month, day};
  if (Finish(c, dt) != 0) return -2;
  out = dt;
  bias = zone;
  return 0;
}

// Pack: the fields and bias into a DateTime64, moving to UTC when the zone byte cannot hold
// the bias; keeps bit 7 of the previous zone byte. -2 when the fields cannot be packed.
int Pack(datetime dt, long millisecond, long bias, DateTime64& out) {
  if (dt.d.year < 1 || dt.d.year > 4095) return -2;
  if (DateTime64::ZoneByte(bias) < 0) {
    AddMinutes(dt, bias);
    bias = 0;
  }
  const DateTime64 packed = DateTime64::Make(dt, millisecond, bias);
  if (packed.IsNull()) return -2;
  out = DateTime64(packed.GetValue() | (out.GetValue() & (uint64_t{0x80} << 48)));
  return 0;
}

// ReadPacked: one of the RFC readers, its result packed; the reader's failure passes through.
int ReadPacked(int (*reader)(const char*, datetime&, long&), const char* text, DateTime64& out) {
  datetime dt;
  long bias = 0;
  if (const int result = reader(text, dt, bias); result != 0) return result;
  return Pack(dt, 0, bias, out);
}

// ReadIsoTimeFields: the time grammar of ISOStr2Time; 0, or -2 with the cursor on the missing
// digit or at the start of the field that is out of range.
int ReadIsoTimeFields(Cursor& c, time& t, long& millisecond) {
  long h = 0, m = 0, s = 0;
  millisecond = 0;
  const char* hourAt = c.p;
  if (!c.DigitsOrStop(2, h)) return -2;
  const bool colons = c.Take(':');
  const char* minuteAt = c.p;
  if (!c.DigitsOrStop(2, m)) return -2;
  const char* secondAt = c.p;
  const bool hasSeconds = colons ? c.Take(':') : IsDigit(*c.p);
  if (hasSeconds) {
    secondAt = c.p;
    if (!c.DigitsOrStop(2, s)) return -2;
    if (*c.p == '.' || *c.p == ',') {
      ++c.p;
      long fraction = 0;
      const int n = c.DigitRun(1, 9, fraction);
      if (n == 0 || IsDigit(*c.p)) return -2;
      for (int i = n; i > 3; --i) fraction /= 10;
      for (int i = n; i < 3; ++i) fraction *= 10;
      millisecond = fraction;
    }
  }
  const char* bad = h > 23 ? hourAt : m > 59 ? minuteAt : s > 59 ? secondAt : nullptr;
  if (bad != nullptr) {
    c.p = bad;
    return -2;
  }
  t = time{h, m, s};
  return 0;
}

// ReadIsoDateTime: the grammar of ISOStr2DateTime64 into fields and a bias (0 without a zone).
int ReadIsoDateTime(const char* text, datetime& dt, long& millisecond, long& bias) {
  const char* end = nullptr;
  long day, month, year;
  const int result = ISOStr2Date(text, &end, &day, &month, &year);
  if (result != 0) return result;
  Cursor c{end};
  dt = datetime{date{year, month, day}, time{}};
  millisecond = 0;
  bias = 0;
  if (*c.p == 'T' || *c.p == 't' || (*c.p == ' ' && IsDigit(c.p[1]))) {
    ++c.p;
    if (ReadIsoTimeFields(c, dt.t, millisecond) != 0) return -2;
  }
  if (*c.p == 'Z' || *c.p == 'z') {
    ++c.p;
  } else if (*c.p == '+' || *c.p == '-') {
    const long sign = *c.p++ == '+' ? -1 : 1;
    long h = 0, m = 0;
    if (!c.Digits(2, h)) return -2;
    const bool colon = c.Take(':');
    if (colon || IsDigit(*c.p)) {
      if (!c.Digits(2, m)) return -2;
    }
    if (h > 23 || m > 59) return -2;
    bias = sign * (h * 60 + m);
  }
  c.SkipSpace();
  return *c.p == '\0' ? 0 : -2;
}

AnsiStr TimeText(const time& t, long millisecond, long bias, char* buffer, char* out) {
  if (!IsValidTime(t) || millisecond < -1 || millisecond > 999 || (bias != kNoBias && (bias < -1439 || bias > 1439))) {
    return AnsiStr();
  }
  out = PutTime(out, static_cast<unsigned>(t.hour), static_cast<unsigned>(t.minute), static_cast<unsigned>(t.second));
  if (millisecond >= 0) {
    *out++ = '.';
    out = PutDigits(out, static_cast<unsigned>(millisecond), 3);
  }
  if (bias != kNoBias) out = PutZone(out, bias);
  return AnsiStr(buffer, static_cast<uint32_t>(out - buffer));
}

}  // namespace

AnsiStr DateTime64::GetStr(char separator, bool withZone) const {
  char buffer[48];
  char* out = PutDigits(buffer, GetYear(), 4);
  *out++ = '-';
  out = Put2(out, GetMonth());
  *out++ = '-';
  out = Put2(out, GetDay());
  *out++ = separator;
  out = PutTime(out, GetHour(), GetMinute(), GetSecond());
  *out++ = '.';
  out = PutDigits(out, GetMillisecond(), 3);
  if (withZone) out = PutZone(out, static_cast<long>(GetBias()));
  return AnsiStr(buffer, static_cast<uint32_t>(out - buffer));
}

AnsiStr UniversalDateTime2RFC1123Str(const datetime& utc) {
  if (!IsValidDateTime(utc)) return AnsiStr();
  return FmtArgs("%s, %02ld %s %ld %02ld:%02ld:%02ld GMT", kDayNames[GetDayInWeek(utc.d)], long{utc.d.day},
                 kMonthNames[utc.d.month], long{utc.d.year}, long{utc.t.hour}, long{utc.t.minute}, long{utc.t.second});
}

AnsiStr UniversalDateTime2RFC3501Str(const datetime& utc) {
  if (!IsValidDateTime(utc)) return AnsiStr();
  return FmtArgs("%02ld-%s-%ld %02ld:%02ld:%02ld +0000", long{utc.d.day}, kMonthNames[utc.d.month], long{utc.d.year},
                 long{utc.t.hour}, long{utc.t.minute}, long{utc.t.second});
}

int RFC1123Str2DateTime(const char* text, datetime& out, long& bias) {
  out = datetime{};
  bias = 0;
  return ReadRFC1123(text, out, bias);
}

int RFC3501Str2DateTime(const char* text, datetime& out, long& bias) {
  out = datetime{};
  bias = 0;
  return ReadRFC3501(text, out, bias);
}

int RFC1123Str2DateTime64(const char* text, DateTime64& out) { return ReadPacked(RFC1123Str2DateTime, text, out); }
int RFC3501Str2DateTime64(const char* text, DateTime64& out) { return ReadPacked(RFC3501Str2DateTime, text, out); }

int ISOStr2Date(const char* text, const char** end, long* day, long* month, long* year) {
  long ignored;
  long& d = day != nullptr ? *day : ignored;
  long& m = month != nullptr ? *month : ignored;
  long& y = year != nullptr ? *year : ignored;
  d = m = y = 0;
  const char* stop = nullptr;
  int result = -1;
  if (text != nullptr) {
    Cursor c{text};
    c.SkipSpace();
    long yv = 0, mv = 0, dv = 0;
    const char* monthAt = nullptr;
    const char* dayAt = nullptr;
    if (*c.p == '\0') {
      result = -1;
    } else if (!c.DigitsOrStop(4, yv) || (c.Take('-'), monthAt = c.p, !c.DigitsOrStop(2, mv)) ||
               (c.Take('-'), dayAt = c.p, !c.DigitsOrStop(2, dv))) {
      result = -2;
    } else if (mv < 1 || mv > 12) {
      result = -2;
      c.p = monthAt;
    } else if (dv < 1 || dv > GetDaysOfMonth(yv, mv) || (yv == 1752 && mv == 9 && dv > 2 && dv < 14)) {
      result = -2;
      c.p = dayAt;
    } else {
      result = 0;
      d = dv, m = mv, y = yv;
    }
    stop = c.p;
  }
  if (end != nullptr) *end = stop;
  return result;
}

int ISOStr2Date(const char* text, date& out) {
  out = date{};
  const char* end = nullptr;
  long day, month, year;
  const int result = ISOStr2Date(text, &end, &day, &month, &year);
  if (result != 0) return result;
  Cursor c{end};
  c.SkipSpace();
  if (*c.p != '\0') return -2;
  out = date{year, month, day};
  return 0;
}

int ISOStr2Time(const char* text, const char** end, long* hour, long* minute, long* second, long* millisecond) {
  long ignored;
  long& h = hour != nullptr ? *hour : ignored;
  long& m = minute != nullptr ? *minute : ignored;
  long& s = second != nullptr ? *second : ignored;
  long& ms = millisecond != nullptr ? *millisecond : ignored;
  h = m = s = ms = 0;
  if (text == nullptr) {
    if (end != nullptr) *end = nullptr;
    return -1;
  }
  Cursor c{text};
  c.SkipSpace();
  int result = -1;
  if (*c.p != '\0') {
    time t;
    long fraction = 0;
    result = ReadIsoTimeFields(c, t, fraction);
    if (result == 0) h = t.hour, m = t.minute, s = t.second, ms = fraction;
  }
  if (end != nullptr) *end = c.p;
  return result;
}

int ISOStr2Time(const char* text, time& out) {
  out = time{};
  const char* end = nullptr;
  long h, m, s;
  const int result = ISOStr2Time(text, &end, &h, &m, &s, nullptr);
  if (result != 0) return result;
  Cursor c{end};
  c.SkipSpace();
  if (*c.p != '\0') return -2;
  out = time{h, m, s};
  return 0;
}

int ISOStr2DateTime64(const char* text, DateTime64& out) {
  datetime dt;
  long millisecond = 0, bias = 0;
  if (const int result = ReadIsoDateTime(text, dt, millisecond, bias); result != 0) return result;
  DateTime64 packed;
  if (Pack(dt, millisecond, bias, packed) != 0) return -2;
  out = packed;
  return 0;
}

int ISOStr2TimeStamp(const char* text, timestamp& out) {
  datetime dt;
  long millisecond = 0, bias = 0;
  if (const int result = ReadIsoDateTime(text, dt, millisecond, bias); result != 0) return result;
  AddMinutes(dt, bias);
  const DateTime64 packed = DateTime64::Make(dt, millisecond, 0);
  if (packed.IsNull()) return -2;
  out.Set(packed.GetValue() & 0xFFFFFFFFFFFFull);
  return 0;
}

AnsiStr DateTime2ISOStr(const datetime& dt, long millisecond, long bias, char separator) {
  if (dt.d.year < 0 || dt.d.year > 9999 || dt.d.month < 1 || dt.d.month > 12 || dt.d.day < 1 ||
      dt.d.day > GetDaysOfMonth(dt.d.year, dt.d.month)) {
    return AnsiStr();
  }
  char buffer[48];
  char* out = PutDigits(buffer, static_cast<unsigned>(dt.d.year), 4);
  *out++ = '-';
  out = Put2(out, static_cast<unsigned>(dt.d.month));
  *out++ = '-';
  out = Put2(out, static_cast<unsigned>(dt.d.day));
  *out++ = separator;
  return TimeText(dt.t, millisecond, bias, buffer, out);
}

AnsiStr LocalDateTime2ISOStr(const datetime& local, long millisecond, char separator) {
  const datetime utc = GetUniversalDateTime(local);
  const int64_t bias = Setup::IsTimeZoneBiasSet() ? Setup::GetTimeZoneBias() : CountMinutes(local, utc);
  return DateTime2ISOStr(local, millisecond, static_cast<long>(bias), separator);
}

AnsiStr Time2ISOStr(const time& t, long millisecond, long bias) {
  char buffer[32];
  return TimeText(t, millisecond, bias, buffer, buffer);
}

}  // namespace OrvGuiBase
