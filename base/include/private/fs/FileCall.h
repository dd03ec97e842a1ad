// FileCall.h: the telemetry bracket around a system call of the streams on a file.
//
//   FileCall call("write", m_file);                 // event 71, value 1 (when observed)
//   ok = Sys::WriteAll(fd, data, size);              // event 71, value 2 when call ends
//
// Costs one relaxed load when the library's telemetry module is off. Keeps errno.
#pragma once

#include "base/core/UpcallTelemetry.h"

namespace OrvGuiBase {

class FileCall {
 public:
  FileCall(const char* call, const char* path)
      : m_call(call), m_path(path), m_observed(IsTelemetryDelivered(APM_MODULE_ORVGUI)) {
    if (m_observed) APMEventParam(APM_MODULE_ORVGUI, APM_EVENT_FILE_CALL, 1, 2, m_call, m_path);
  }
  ~FileCall() {
    if (m_observed) APMEventParam(APM_MODULE_ORVGUI, APM_EVENT_FILE_CALL, 2, 2, m_call, m_path);
  }
  FileCall(const FileCall&) = delete;
  FileCall& operator=(const FileCall&) = delete;

 private:
  const char* m_call;
  const char* m_path;
  bool m_observed;
};

}  // namespace OrvGuiBase
