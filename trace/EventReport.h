// EventReport.h: the library's operational log.
//
//   ValDic values;
//   values.Set("file", path);
//   ReportEvent("MYAPP", 12, "Configuration not found", values, kEventWarning, kCategoryApplication);
//
// An event has a source, a numeric id, a message, a type (error, warning, information,
// notice), a category and named values. It goes to the system log, or as one JSON object per
// line to standard output or standard error, as the environment variable LOGTYPE says
// ("system", the default, "stdout", "stderr"; any case), decided once per process. Every event
// is also mirrored into the trace as "ReportEvent: ...", and an installed observer sees it.
// Reporting never throws and never changes the caller's last error.
//
// A JSON line reads
//   {"@timestamp":"2026-01-02T03:04:05.678Z","level":"err","message":"...","pid":4242,
//    "krs":{<first dictionary>,"id":"ORVGUI-00800",<second dictionary: "category", "version">,
//           "processname":"server","threadid":140245,<third dictionary>}}
// and is written with one write of the line and its "\n"; a system-log event is one syslog
// call of "ORVGUI-00800: message" followed, when there are values, by a newline and one
// "key=value" line per value (array elements as "key[0]", nested maps as "key.sub").
//
// The lower layers' entry point (UpcallEvents.h) takes its fields as texts; a text that is a
// plain decimal integer ("4096", "-3", not "007") becomes an integer value, so that sizes and
// counts reach JSON collectors as numbers.
//
// Depends on the value model (base/data), the JSON writer, the trace entry point and the
// process information.
#pragma once

#include "base/core/UpcallEvents.h"
#include "base/data/KVMap.h"

namespace OrvGuiTrace {

using OrvGuiBase::AnsiStr;
using OrvGuiBase::Val;
using OrvGuiBase::ValDic;

// ReportEventMode: how an event is written. Default: written and mirrored into the trace.
// NoTrace: written, not mirrored (for reports from inside the trace layer). TraceOnly: only
// mirrored into the trace and shown to the observer.
enum ReportEventMode : unsigned { kEventModeDefault = 0, kEventModeNoTrace = 1, kEventModeTraceOnly = 2 };

// EventDic: one event's data on its way to the writer.
struct ORVGUI_API EventDic {
  AnsiStr source;
  AnsiStr message;
  AnsiStr eventId;      // "SOURCE-00012", empty without source or id
  AnsiStr description;  // a further descriptive text (under "description" in the third dictionary)
  AnsiStr version;
  uint32_t processId = 0;
  AnsiStr processName;
  uint64_t threadId = 0;
  ValDic dic1;  // the caller's named values
  ValDic dic2;  // the event's attributes ("category", "version")
  ValDic dic3;  // further values of the caller

  // Val2Str / Vec2Str / Dic2Str: the text form of a value, an array and a map: one
  // "name=value" line per scalar, array elements named "%s[%u]", nested map keys "name.key".
  // Lines are separated by "\n" (none after the last).
  static void Val2Str(AnsiStr& out, const char* name, const Val& value);
  static void Vec2Str(AnsiStr& out, const char* name, const Val& vec);
  static void Dic2Str(AnsiStr& out, const char* prefix, const ValDic& dic);
  // GetText: the system-log text of the event: "id: message" and the values' lines.
  AnsiStr GetText() const;
};

// The overloads; all end in the first. flag (noTrace): the event is not mirrored into the
// trace. buildText: the description is composed by BuildEvent from text and dictionary.
ORVGUI_API void ReportEvent(const char* source, const char* message, unsigned eventId, const EventDic& event,
                            ReportEventMode mode, unsigned type, unsigned category, bool noTrace = false);
ORVGUI_API void ReportEvent(const char* source, const char* message, unsigned eventId, const EventDic& event,
                            unsigned type, unsigned category, bool noTrace = false);
ORVGUI_API void ReportEvent(const char* source, const char* message, unsigned eventId, const char* text,
                            const ValDic& dic, unsigned type, unsigned category, bool noTrace = false,
                            bool buildText = false);
ORVGUI_API void ReportEvent(const char* source, const char* message, unsigned eventId, const char* text,
                            const ValDic& dic, ReportEventMode mode, unsigned type, unsigned category,
                            bool noTrace = false, bool buildText = false);
ORVGUI_API void ReportEvent(const char* source, unsigned eventId, const char* message, const ValDic& dic,
                            unsigned type, unsigned category);
ORVGUI_API void ReportEvent(const char* source, const char* message, unsigned eventId, const char* text,
                            ReportEventMode mode, unsigned type, unsigned category, bool noTrace = false);
ORVGUI_API void ReportEvent(const char* source, const char* message, unsigned eventId, const char* text,
                            unsigned type, unsigned category, bool noTrace = false);
ORVGUI_API void ReportEvent(const char* source, const char* message, ReportEventMode mode, unsigned type,
                            unsigned category, bool noTrace = false);
ORVGUI_API void ReportEvent(const char* source, const char* message, unsigned type, unsigned category,
                            bool noTrace = false);
ORVGUI_API void ReportEvent(const char* source, unsigned eventId, const char* message, unsigned type,
                            unsigned category);
ORVGUI_API void ReportEvent(const char* message, unsigned type, unsigned category);

// BuildEvent: text followed by a newline and the dictionary in the text form, with the keys
// "processid", "processname" and "threadid" of the calling thread added.
ORVGUI_API AnsiStr BuildEvent(const char* text, const ValDic& dic);

// SetEventSource / GetEventSource: the process's own event source (used by the overload
// without one). SetEventVersion / GetEventVersion: the version written under "version";
// starts as the library's version. Meant for start-up: replaced without a lock.
ORVGUI_API void SetEventSource(const char* source);
ORVGUI_API AnsiStr GetEventSource();
ORVGUI_API void SetEventVersion(const char* version);
ORVGUI_API AnsiStr GetEventVersion();
// SetEventMessageFile / InstallEventSource / RemoveEventSource: accepted; message files and
// source registration have no counterpart in the system log. Always true.
ORVGUI_API bool SetEventMessageFile(const char* source, const char* file);
ORVGUI_API bool InstallEventSource(const char* source, const char* file);
ORVGUI_API bool RemoveEventSource(const char* source);

// EventObserver: receives every reported event on the reporting thread, before it is written,
// with the first dictionary's values as texts.
typedef void (*EventObserver)(const char* source, unsigned eventId, const char* message,
                              const EventField* fields, unsigned fieldCount, unsigned type,
                              unsigned category, void* context);

// SetEventObserver: installs an observer (null removes it); returns the previous one.
ORVGUI_API EventObserver SetEventObserver(EventObserver observer, void* context);

// GetLogType: 0 system log, 1 standard output, 2 standard error.
ORVGUI_API unsigned GetLogType();
// GetEventTypeWord / GetEventLevelWord / GetEventCategoryWord: the words of a type and category
// ("Error", "err", "Performance", ...). GetEventPriority: the system-log priority of a type.
ORVGUI_API const char* GetEventTypeWord(unsigned type);
ORVGUI_API const char* GetEventLevelWord(unsigned type);
ORVGUI_API const char* GetEventCategoryWord(unsigned category);
ORVGUI_API int GetEventPriority(unsigned type);
// FormatEventId: "%s-%05u" of source and id; empty when either is missing.
ORVGUI_API AnsiStr FormatEventId(const char* source, unsigned eventId);

}  // namespace OrvGuiTrace
