// EventReport.cpp: writing events to the system log or as JSON lines.
//
// Every overload ends in the general writer, which completes the event's data (process, thread,
// version, id text), mirrors it into the trace, shows it to the observer and writes it: one
// syslog call, or one write of the whole JSON line with its newline, so events of different
// threads never interleave within a line.
#include "trace/EventReport.h"

#include <pthread.h>
#include <strings.h>
#include <sys/time.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <vector>

#include "base/core/CallbackSlot.h"
#include "base/core/Init.h"
#include "base/core/LastError.h"
#include "base/core/LazyStatic.h"
#include "base/core/UpcallTrace.h"
#include "base/data/Json.h"
#include "base/process/Environment.h"
#include "base/process/Module.h"
#include "base/text/Formatter.h"
#include "base/time/DateTimeText.h"
#include "private/system/Sys.h"

namespace OrvGuiTrace {

using OrvGuiBase::FmtArgs;

namespace {

// LogType: read once from LOGTYPE; an unknown word is traced and the system log stays.
struct LogType {
  unsigned value = 0;
  LogType() {
    const AnsiStr text = OrvGuiBase::GetEnv("LOGTYPE");
    if (text.IsEmpty()) return;
    if (strcasecmp(text.GetStr(), "system") == 0) value = 0;
    else if (strcasecmp(text.GetStr(), "stdout") == 0) value = 1;
    else if (strcasecmp(text.GetStr(), "stderr") == 0) value = 2;
    else TraceMsg(kTraceError, 0x04, "error", 733, FmtArgs("GetLogType: Unknown type [%s]", text.GetStr()).GetStr());
  }
};
constinit OrvGuiBase::LazyStatic<LogType> s_logtype;

struct EventVersion {
  AnsiStr text{OrvGuiBase::GetLibraryVersion()};
};
constinit OrvGuiBase::LazyStatic<EventVersion> s_version;

AnsiStr g_source;

OrvGuiBase::CallbackSlot<EventObserver> g_observer;

// Merge: each key of from stored under the same key in into (a later key replaces).
void Merge(ValDic& into, const ValDic& from) {
  for (uint32_t i = 0; i < from.GetCount(); ++i) into.Set(from.GetKey(i), from.GetValue(i));
}

// TextValue: a field text as a value: a canonical decimal integer becomes an integer, so that
// counts and sizes reach JSON collectors as numbers.
Val TextValue(const AnsiStr& text) {
  const char* p = text.GetStr();
  const char* digits = *p == '-' ? p + 1 : p;
  const uint32_t length = static_cast<uint32_t>(text.GetLength() - (digits - p));
  bool number = length > 0 && length < 19 && (digits[0] != '0' || length == 1);
  for (uint32_t i = 0; number && i < length; ++i) number = digits[i] >= '0' && digits[i] <= '9';
  if (!number || (digits != p && digits[0] == '0')) return Val(text);
  return Val(static_cast<int64_t>(strtoll(p, nullptr, 10)));
}

void Notify(const char* source, unsigned eventId, const EventDic& event, unsigned type, unsigned category) {
  std::vector<EventField> fields;
  fields.reserve(event.dic1.GetCount());
  for (uint32_t i = 0; i < event.dic1.GetCount(); ++i)
    fields.push_back({event.dic1.GetKey(i).GetStr(), event.dic1.GetValue(i).ToStr()});
  g_observer.Call(source, eventId, event.message.GetStr(), fields.data(), static_cast<unsigned>(fields.size()), type,
                  category);
}

void Mirror(const AnsiStr& text, unsigned type) {
  const char* line = text.GetStr();
  const char* end = strchr(line, '\n');
  const AnsiStr first = FmtArgs("ReportEvent: %s", AnsiStr(line, static_cast<uint32_t>(end != nullptr ? end - line : strlen(line))).GetStr());
  if (type == kEventError) TraceMsg(kTraceError, 0x04, "error", 828, first.GetStr());
  else if (type == kEventWarning) TraceMsg(kTraceError, 0x20, "error", 831, first.GetStr());
  else TraceMsg(kTraceError, 0x02, "error", 834, first.GetStr());
  while (end != nullptr) {
    line = end + 1;
    end = strchr(line, '\n');
    const AnsiStr next(line, static_cast<uint32_t>(end != nullptr ? end - line : strlen(line)));
    TraceMsg(kTraceError, 0x02, "error", 838, FmtArgs("  %s", next.GetStr()).GetStr());
  }
}

void WriteSystemLog(const AnsiStr& text, unsigned type) {
  openlog(nullptr, LOG_PID | LOG_NDELAY, LOG_USER);
  syslog(GetEventPriority(type), "%s", text.GetStr());  // a '%' in the text stays as it is
  closelog();
}

void WriteJsonLine(int fd, const EventDic& event, unsigned type) {
  timeval now{};
  gettimeofday(&now, nullptr);
  const OrvGuiBase::datetime utc = OrvGuiBase::SimpleTime2DateTime(now.tv_sec);
  ValDic record;
  record.Set("@timestamp", OrvGuiBase::DateTime2ISOStr(utc, now.tv_usec / 1000, 0));
  record.Set("level", GetEventLevelWord(type));
  record.Set("message", event.message);
  if (event.processId != 0) record.Set("pid", static_cast<int64_t>(event.processId));
  ValDic krs;
  Merge(krs, event.dic1);
  if (!event.eventId.IsEmpty()) krs.Set("id", event.eventId);
  Merge(krs, event.dic2);
  krs.Set("processname", event.processName);
  krs.Set("threadid", static_cast<int64_t>(event.threadId));
  Merge(krs, event.dic3);
  if (krs.GetCount() > 0) record.Set("krs", krs);
  AnsiStr line, error;
  if (!OrvGuiBase::Val2JSON(Val(record), line, error, true, true)) {
    OrvGuiBase::SetErrorMessage(error);
    return;
  }
  line.Append('\n');
  OrvGuiBase::Sys::WriteAll(fd, line.GetStr(), line.GetLength());
}

}  // namespace

// EventDic text form.

void EventDic::Val2Str(AnsiStr& out, const char* name, const Val& value) {
  if (value.GetType() == OrvGuiBase::VAL_VEC) return Vec2Str(out, name, value);
  if (value.GetType() == OrvGuiBase::VAL_DIC) return Dic2Str(out, FmtArgs("%s.", name).GetStr(), value.GetDic());
  if (!out.IsEmpty()) out.Append('\n');
  out.Append(name).Append('=').Append(value.ToStr());
}

void EventDic::Vec2Str(AnsiStr& out, const char* name, const Val& vec) {
  uint32_t count;
  const Val* items = vec.GetVecData(&count);  // read in place: rendering allocates no array
  for (uint32_t i = 0; i < count; ++i) Val2Str(out, FmtArgs("%s[%u]", name, i).GetStr(), items[i]);
}

void EventDic::Dic2Str(AnsiStr& out, const char* prefix, const ValDic& dic) {
  for (uint32_t i = 0; i < dic.GetCount(); ++i)
    Val2Str(out, FmtArgs("%s%s", prefix, dic.GetKey(i).GetStr()).GetStr(), dic.GetValue(i));
}

AnsiStr EventDic::GetText() const {
  AnsiStr text;
  if (!eventId.IsEmpty()) text.Append(eventId).Append(": ");
  text.Append(message);
  AnsiStr values;
  Dic2Str(values, "", dic1);
  Dic2Str(values, "", dic3);
  if (!values.IsEmpty()) text.Append('\n').Append(values);
  return text;
}

namespace {
void Write(const char* source, const char* message, unsigned eventId, const EventDic& given, ReportEventMode mode,
           unsigned type, unsigned category, bool noTrace);
}  // namespace

// The general writer.
void ReportEvent(const char* source, const char* message, unsigned eventId, const EventDic& given,
                 ReportEventMode mode, unsigned type, unsigned category, bool noTrace) {
  const int saved = errno;
  try {
    Write(source, message, eventId, given, mode, type, category, noTrace);
  } catch (...) {
    // An event that cannot be composed (memory) is lost; the caller must not notice.
  }
  errno = saved;
}

namespace {

void Write(const char* source, const char* message, unsigned eventId, const EventDic& given, ReportEventMode mode,
           unsigned type, unsigned category, bool noTrace) {
  if (source == nullptr) source = "";
  EventDic event = given;
  event.source = source;
  if (message != nullptr) event.message = message;
  event.processId = static_cast<uint32_t>(getpid());
  event.processName = OrvGuiBase::GetProgramName();
  event.threadId = static_cast<uint64_t>(pthread_self());
  event.version = GetEventVersion();
  event.eventId = FormatEventId(source, eventId);
  // The attributes go into a copy: the caller's map may be shared with other events.
  ValDic attributes;
  attributes.Set("category", GetEventCategoryWord(category));
  attributes.Set("version", event.version);
  Merge(attributes, given.dic2);
  event.dic2 = attributes;
  if (!event.description.IsEmpty()) {
    ValDic extra;
    extra.Set("description", event.description);
    Merge(extra, given.dic3);
    event.dic3 = extra;
  }
  const AnsiStr text = event.GetText();
  if (mode != kEventModeNoTrace && !noTrace) Mirror(text, type);
  Notify(source, eventId, event, type, category);
  if (mode != kEventModeTraceOnly) {
    const unsigned logType = GetLogType();
    if (logType == 0) WriteSystemLog(text, type);
    else WriteJsonLine(logType == 1 ? STDOUT_FILENO : STDERR_FILENO, event, type);
  }
}

}  // namespace

void ReportEvent(const char* source, const char* message, unsigned eventId, const EventDic& event, unsigned type,
                 unsigned category, bool noTrace) {
  ReportEvent(source, message, eventId, event, kEventModeDefault, type, category, noTrace);
}

void ReportEvent(const char* source, const char* message, unsigned eventId, const char* text, const ValDic& dic,
                 ReportEventMode mode, unsigned type, unsigned category, bool noTrace, bool buildText) {
  EventDic event;
  event.dic1 = dic;
  event.description = buildText ? BuildEvent(text, dic) : AnsiStr(text);
  ReportEvent(source, message, eventId, event, mode, type, category, noTrace);
}

void ReportEvent(const char* source, const char* message, unsigned eventId, const char* text, const ValDic& dic,
                 unsigned type, unsigned category, bool noTrace, bool buildText) {
  ReportEvent(source, message, eventId, text, dic, kEventModeDefault, type, category, noTrace, buildText);
}

void ReportEvent(const char* source, unsigned eventId, const char* message, const ValDic& dic, unsigned type,
                 unsigned category) {
  ReportEvent(source, message, eventId, nullptr, dic, kEventModeDefault, type, category, false, false);
}

void ReportEvent(const char* source, const char* message, unsigned eventId, const char* text, ReportEventMode mode,
                 unsigned type, unsigned category, bool noTrace) {
  ReportEvent(source, message, eventId, text, ValDic(), mode, type, category, noTrace, false);
}

void ReportEvent(const char* source, const char* message, unsigned eventId, const char* text, unsigned type,
                 unsigned category, bool noTrace) {
  ReportEvent(source, message, eventId, text, ValDic(), kEventModeDefault, type, category, noTrace, false);
}

void ReportEvent(const char* source, const char* message, ReportEventMode mode, unsigned type, unsigned category,
                 bool noTrace) {
  ReportEvent(source, message, 0, EventDic(), mode, type, category, noTrace);
}

void ReportEvent(const char* source, const char* message, unsigned type, unsigned category, bool noTrace) {
  ReportEvent(source, message, 0, EventDic(), kEventModeDefault, type, category, noTrace);
}

void ReportEvent(const char* source, unsigned eventId, const char* message, unsigned type, unsigned category) {
  ReportEvent(source, message, eventId, EventDic(), kEventModeDefault, type, category, false);
}

void ReportEvent(const char* message, unsigned type, unsigned category) {
  ReportEvent(GetEventSource().GetStr(), message, 0, EventDic(), kEventModeDefault, type, category, false);
}

// The entry point of the lower layers: fields in text form become the first dictionary.
void ReportEvent(const char* source, unsigned eventId, const char* message, const EventField* fields,
                 unsigned fieldCount, unsigned type, unsigned category) {
  EventDic event;
  for (unsigned i = 0; fields != nullptr && i < fieldCount; ++i)
    event.dic1.Set(fields[i].name != nullptr ? fields[i].name : "", TextValue(fields[i].value));
  ReportEvent(source, message != nullptr ? message : "", eventId, event, kEventModeDefault, type, category, false);
}

AnsiStr BuildEvent(const char* text, const ValDic& dic) {
  ValDic all;
  Merge(all, dic);
  all.Set("processid", static_cast<int64_t>(getpid()));
  all.Set("processname", OrvGuiBase::GetProgramName());
  all.Set("threadid", static_cast<int64_t>(pthread_self()));
  AnsiStr values;
  EventDic::Dic2Str(values, "", all);
  AnsiStr out(text != nullptr ? text : "");
  if (!out.IsEmpty()) out.Append('\n');
  return out.Append(values);
}

void SetEventSource(const char* source) { g_source = source; }
AnsiStr GetEventSource() { return g_source; }

void SetEventVersion(const char* version) {
  if (EventVersion* v = s_version.Get()) v->text = version;
}

AnsiStr GetEventVersion() {
  const EventVersion* v = s_version.Get();
  return v != nullptr ? v->text : AnsiStr();
}

bool SetEventMessageFile(const char*, const char*) { return true; }
bool InstallEventSource(const char*, const char*) { return true; }
bool RemoveEventSource(const char*) { return true; }

unsigned GetLogType() {
  const LogType* logType = s_logtype.Get();
  return logType != nullptr ? logType->value : 0u;
}

const char* GetEventTypeWord(unsigned type) {
  switch (type) {
    case 1: return "Warning";
    case 2: return "Information";
    case 3: return "";
    default: return "Error";
  }
}

const char* GetEventLevelWord(unsigned type) {
  switch (type) {
    case 0: return "err";
    case 1: return "warning";
    case 2: return "info";
    case 3: return "notice";
    default: return "unknown";
  }
}

int GetEventPriority(unsigned type) {
  switch (type) {
    case 1: return LOG_WARNING;
    case 2: return LOG_INFO;
    case 3: return LOG_NOTICE;
    default: return LOG_ERR;
  }
}

const char* GetEventCategoryWord(unsigned category) {
  static const char* const kWords[] = {"Unknown", "Unknown", "Internal", "Trace", "Message",
                                       "Application", "Installation", "Performance"};
  return category < 8 ? kWords[category] : "Unknown";
}

AnsiStr FormatEventId(const char* source, unsigned eventId) {
  if (source == nullptr || *source == 0 || eventId == 0) return AnsiStr();
  return FmtArgs("%s-%05u", source, eventId);
}

EventObserver SetEventObserver(EventObserver observer, void* context) { return g_observer.Set(observer, context); }

}  // namespace OrvGuiTrace
