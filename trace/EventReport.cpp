// EventReport.cpp: writing events to the system log or as JSON lines.
//
// Each event is written with one syslog call or one write of the whole line, so events of
// different threads never interleave within a line.
#include "trace/EventReport.h"

#include <pthread.h>
#include <strings.h>
#include <sys/time.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "base/core/CallbackSlot.h"
#include "base/core/LazyStatic.h"
#include "base/process/Environment.h"
#include "base/process/Module.h"
#include "private/system/Sys.h"

namespace OrvGuiTrace {

using OrvGuiBase::AnsiStr;

namespace {

struct LogType {
  unsigned value = 0;
  LogType() {
    const AnsiStr text = OrvGuiBase::GetEnv("LOGTYPE");
    if (strcasecmp(text.GetStr(), "stdout") == 0) value = 1;
    else if (strcasecmp(text.GetStr(), "stderr") == 0) value = 2;
  }
};
constinit OrvGuiBase::LazyStatic<LogType> g_logType;

OrvGuiBase::CallbackSlot<EventObserver> g_observer;

void AppendJsonString(std::string& out, const char* text) {
  out += '"';
  for (const char* p = text; *p != 0; ++p) {
    const unsigned char c = static_cast<unsigned char>(*p);
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default:
        if (c < 0x20) {
          char escape[8];
          snprintf(escape, sizeof escape, "\\u%04x", c);
          out += escape;
        } else {
          out += static_cast<char>(c);
        }
    }
  }
  out += '"';
}

std::string IdText(const char* source, unsigned eventId) {
  if (source == nullptr || *source == 0 || eventId == 0) return {};
  char id[32];
  snprintf(id, sizeof id, "-%05u", eventId);
  return std::string(source) + id;
}

void WriteSystemLog(const std::string& id, const char* message, const EventField* fields, unsigned count,
                    unsigned type) {
  std::string text = id.empty() ? std::string() : id + ": ";
  text += message;
  if (count > 0) text += '\n';
  for (unsigned i = 0; i < count; ++i) {
    text += fields[i].name;
    text += '=';
    text += fields[i].value.GetStr();
    if (i + 1 < count) text += '\n';
  }
  static const int kPriority[] = {LOG_ERR, LOG_WARNING, LOG_INFO, LOG_NOTICE};
  openlog(nullptr, LOG_PID | LOG_NDELAY, LOG_USER);
  syslog(type < 4 ? kPriority[type] : LOG_ERR, "%s", text.c_str());
  closelog();
}

void WriteJsonLine(int fd, const std::string& id, const char* message, const EventField* fields,
                   unsigned count, unsigned type, unsigned category) {
  timeval now{};
  gettimeofday(&now, nullptr);
  tm utc{};
  gmtime_r(&now.tv_sec, &utc);
  char stamp[96];
  snprintf(stamp, sizeof stamp, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", utc.tm_year + 1900, utc.tm_mon + 1,
           utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec, static_cast<int>(now.tv_usec / 1000));
  std::string line = "{\"@timestamp\":\"";
  line += stamp;
  line += "\",\"level\":";
  AppendJsonString(line, GetEventLevelWord(type));
  line += ",\"message\":";
  AppendJsonString(line, message);
  line += ",\"pid\":" + std::to_string(getpid());
  line += ",\"krs\":{";
  for (unsigned i = 0; i < count; ++i) {
    AppendJsonString(line, fields[i].name);
    line += ':';
    AppendJsonString(line, fields[i].value.GetStr());
    line += ',';
  }
  if (!id.empty()) {
    line += "\"id\":";
    AppendJsonString(line, id.c_str());
    line += ',';
  }
  line += "\"category\":";
  AppendJsonString(line, GetEventCategoryWord(category));
  line += ",\"processname\":";
  AppendJsonString(line, OrvGuiBase::GetProgramName().GetStr());
  line += ",\"threadid\":" + std::to_string(static_cast<unsigned long long>(pthread_self()));
  line += "}}\n";
  OrvGuiBase::Sys::WriteAll(fd, line.data(), line.size());
}

}  // namespace

unsigned GetLogType() {
  const LogType* logType = g_logType.Get();
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

const char* GetEventCategoryWord(unsigned category) {
  static const char* const kWords[] = {"Unknown", "Unknown", "Internal", "Trace", "Message",
                                       "Application", "Installation", "Performance"};
  return category < 8 ? kWords[category] : "Unknown";
}

EventObserver SetEventObserver(EventObserver observer, void* context) { return g_observer.Set(observer, context); }

void ReportEvent(const char* source, unsigned eventId, const char* message, const EventField* fields,
                 unsigned fieldCount, unsigned type, unsigned category) {
  const int saved = errno;
  if (message == nullptr) message = "";
  if (fields == nullptr) fieldCount = 0;
  try {
    g_observer.Call(source, eventId, message, fields, fieldCount, type, category);
    const std::string id = IdText(source, eventId);
    const unsigned logType = GetLogType();
    if (logType == 0) WriteSystemLog(id, message, fields, fieldCount, type);
    else WriteJsonLine(logType == 1 ? STDOUT_FILENO : STDERR_FILENO, id, message, fields, fieldCount, type, category);
  } catch (...) {
    // An event that cannot be composed (memory) is lost; the caller must not notice.
  }
  errno = saved;
}

}  // namespace OrvGuiTrace
