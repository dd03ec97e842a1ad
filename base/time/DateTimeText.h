// DateTimeText.h: the fixed, locale-independent texts of the date and time values.
//
//   AnsiStr iso = GetCurrentSystemDateTime64().GetStr();          // "2024-03-01T12:30:05.007+01:00"
//   AnsiStr http = UniversalDateTime2RFC1123Str(now);              // "Fri, 01 Mar 2024 12:00:00 GMT"
//   DateTime64 value;
//   if (RFC1123Str2DateTime64("Sun, 06 Nov 1994 08:49:37 GMT", value) == 0) ...
//
// Readers return 0 on success, -1 when the text holds no value at all (null, empty or only
// white space) and -2 when it is malformed or out of range; their outputs are zero unless the
// result is 0. Writers give the empty string for a value they cannot write. Every reader
// accepts what the matching writer produces. Month and weekday names are the English
// three-letter ones, read without regard to case. Thread safe; nothing shared.
//
// Depends on the string class, the formatter and DateTime/Calendar.
#pragma once

#include "base/text/AnsiStr.h"
#include "base/time/Calendar.h"
#include "base/time/DateTime.h"

namespace OrvGuiBase {

// kNoBias: "no zone" for the bias arguments of the ISO writers.
inline constexpr long kNoBias = -0x7FFFFFFFL - 1;

// UniversalDateTime2RFC1123Str: "Fri, 01 Mar 2024 12:00:00 GMT"; empty for an invalid value.
ORVGUI_API AnsiStr UniversalDateTime2RFC1123Str(const datetime& utc);
// UniversalDateTime2RFC3501Str: "01-Mar-2024 12:00:00 +0000" (IMAP); empty for an invalid value.
ORVGUI_API AnsiStr UniversalDateTime2RFC3501Str(const datetime& utc);

// RFC1123Str2DateTime: reads the three forms an HTTP server must accept, after optional white
// space, with nothing but white space after them:
//   RFC 1123   [Www,] dd Mmm yyyy hh:mm[:ss] zone     "Sun, 06 Nov 1994 08:49:37 GMT"
//   RFC 850    Weekday, dd-Mmm-yy hh:mm:ss zone       "Sunday, 06-Nov-94 08:49:37 GMT"
//   asctime    Www Mmm d hh:mm:ss yyyy                "Sun Nov  6 08:49:37 1994" (UTC)
// The day has one or two digits; a two-digit year is 19yy from 50 on and 20yy below. The zone
// is GMT, UT, UTC, Z, one of EST EDT CST CDT MST MDT PST PDT, or +hhmm / -hhmm; bias receives
// the minutes to add to the fields to get UTC (+0100 gives -60). The weekday, when given, is
// only checked to be a weekday name, not against the date. Fields are checked for range
// (month 1 to 12, day to the month's length, hour below 24, minute and second below 60).
ORVGUI_API int RFC1123Str2DateTime(const char* text, datetime& out, long& bias);
// RFC1123Str2DateTime64: the above, packed: a bias within +-12 hours and a multiple of 15
// minutes is kept in the zone byte, any other is added to the fields (UTC, zone 0). Bit 7 of
// out's zone byte is kept. -2 also for a year above 4095.
ORVGUI_API int RFC1123Str2DateTime64(const char* text, DateTime64& out);

// RFC3501Str2DateTime: the IMAP date-time "dd-Mmm-yyyy hh:mm:ss +hhmm", the day one or two
// digits (a leading blank allowed), optionally in double quotes; bias as above.
ORVGUI_API int RFC3501Str2DateTime(const char* text, datetime& out, long& bias);
ORVGUI_API int RFC3501Str2DateTime64(const char* text, DateTime64& out);

// ISOStr2Date: after optional white space, exactly four digits of year, an optional "-",
// exactly two of month, an optional "-", exactly two of day: 20240301 and 2024-03-01 both
// read as 1 March 2024, 2024-3-01 is malformed. The outputs are set to 0 first. end (when
// given) receives: null for a null text; the terminator for an empty text; the offending
// character when a digit is missing; the first month or day digit when the month is not 1 to
// 12 or the day not in the month (-2 then too); otherwise the character after the day. Text
// after the date is left to the caller.
ORVGUI_API int ISOStr2Date(const char* text, const char** end, long* day, long* month, long* year);
// The whole text must be the date (white space around it allowed).
ORVGUI_API int ISOStr2Date(const char* text, date& out);

// ISOStr2Time: "hh:mm[:ss[.fff]]" or "hhmm[ss[.fff]]" (the colons all or none), after optional
// white space; the fraction has 1 to 9 digits of which the first three give the millisecond
// (the rest are read and dropped; "," is taken for "." as well). end receives the character
// after the time; on -2 the missing digit or the start of the field out of range.
ORVGUI_API int ISOStr2Time(const char* text, const char** end, long* hour, long* minute, long* second,
                           long* millisecond = nullptr);
ORVGUI_API int ISOStr2Time(const char* text, time& out);

// ISOStr2DateTime64: date ["T" or " " time] [zone], the whole text, white space around it
// allowed. The zone is "Z" or +hh[:mm] / -hh[:mm] (+ for zones ahead of UTC); without one the
// value is taken as UTC. The date alone is midnight. A zone that the zone byte cannot hold
// (not a multiple of 15 minutes) is added to the fields, which are then stored as UTC.
ORVGUI_API int ISOStr2DateTime64(const char* text, DateTime64& out);
// ISOStr2TimeStamp: the same grammar, stored as UTC in a timestamp.
ORVGUI_API int ISOStr2TimeStamp(const char* text, timestamp& out);

// DateTime2ISOStr: "2024-03-01T12:30:05", with the separator given; millisecond 0 to 999 adds
// ".fff"; a bias (minutes, UTC = local + bias) adds "Z" for 0 and "+hh:mm" / "-hh:mm" else
// (the sign is that of the zone: + ahead of UTC). Empty when a field is out of range (year 0
// to 9999, the others as for a valid time and a day of its month) or the bias is beyond 24
// hours.
ORVGUI_API AnsiStr DateTime2ISOStr(const datetime& dt, long millisecond = -1, long bias = kNoBias,
                                   char separator = 'T');
// LocalDateTime2ISOStr: a local datetime with the zone suffix of its bias at that moment.
ORVGUI_API AnsiStr LocalDateTime2ISOStr(const datetime& local, long millisecond = -1, char separator = 'T');
// Time2ISOStr: "12:30:05" with the optional ".fff" and zone suffix as above.
ORVGUI_API AnsiStr Time2ISOStr(const time& t, long millisecond = -1, long bias = kNoBias);

}  // namespace OrvGuiBase
