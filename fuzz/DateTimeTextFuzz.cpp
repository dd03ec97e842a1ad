// Fuzz target: the date/time text readers.
//
// Every reader must stop inside the text and either fail with its outputs zero or succeed with
// a value that its writer turns back into a text the reader reads to the same value again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "base/time/DateTimeText.h"

using namespace OrvGuiBase;

namespace {

void Check(bool condition) {
  if (!condition) abort();
}

bool Same(const datetime& a, const datetime& b) { return CompareDateTime(a, b) == 0; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const char* s = text.c_str();

  datetime dt;
  long bias = 0;
  const int rfc1123 = RFC1123Str2DateTime(s, dt, bias);
  Check(rfc1123 == 0 || rfc1123 == -1 || rfc1123 == -2);
  if (rfc1123 != 0) {
    Check(Same(dt, datetime{}) && bias == 0);
  } else if (IsValidDateTime(dt)) {
    const AnsiStr again = UniversalDateTime2RFC1123Str(dt);
    datetime back;
    long backBias = 1;
    Check(RFC1123Str2DateTime(again.GetStr(), back, backBias) == 0 && Same(back, dt) && backBias == 0);
  }

  const int rfc3501 = RFC3501Str2DateTime(s, dt, bias);
  if (rfc3501 != 0) {
    Check(Same(dt, datetime{}) && bias == 0);
  } else if (IsValidDateTime(dt)) {
    const AnsiStr again = UniversalDateTime2RFC3501Str(dt);
    datetime back;
    long backBias = 1;
    Check(RFC3501Str2DateTime(again.GetStr(), back, backBias) == 0 && Same(back, dt));
  }

  const char* end = nullptr;
  long day = 0, month = 0, year = 0;
  const int isoDate = ISOStr2Date(s, &end, &day, &month, &year);
  Check(end != nullptr && end >= s && end <= s + text.size());
  if (isoDate != 0) Check(day == 0 && month == 0 && year == 0);

  long hour = 0, minute = 0, second = 0, ms = 0;
  const int isoTime = ISOStr2Time(s, &end, &hour, &minute, &second, &ms);
  Check(end != nullptr && end >= s && end <= s + text.size());
  if (isoTime == 0) Check(hour < 24 && minute < 60 && second < 60 && ms < 1000);

  DateTime64 value;
  if (ISOStr2DateTime64(s, value) == 0) {
    const AnsiStr again = value.GetStr();
    DateTime64 back;
    Check(ISOStr2DateTime64(again.GetStr(), back) == 0 && back == value);
  }
  timestamp ts;
  if (ISOStr2TimeStamp(s, ts) == 0) Check((ts.Get() & 0x3FF) < 1000);
  return 0;
}
