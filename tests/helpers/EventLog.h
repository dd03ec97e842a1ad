// EventLog.h: records the events reported while it lives, for tests.
//
//   EventLog log;
//   ...                                            // code that reports events
//   EXPECT_EQ(log.Events()[0], (std::vector<std::string>{"ORVGUI/601/0/2", "String overflow detected",
//                                                       "length1=2", "length2=4294967296"}));
//
// Each event is "source/id/type/category", the message, then "name=value" per field. Events of
// every thread are recorded.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "trace/EventReport.h"

class EventLog {
 public:
  EventLog() { OrvGuiTrace::SetEventObserver(&Observe, this); }
  ~EventLog() { OrvGuiTrace::SetEventObserver(nullptr, nullptr); }
  EventLog(const EventLog&) = delete;
  EventLog& operator=(const EventLog&) = delete;

  std::vector<std::vector<std::string>> Events() const {
    std::lock_guard<std::mutex> hold(m_lock);
    return m_events;
  }

 private:
  static void Observe(const char* source, unsigned id, const char* message, const OrvGuiTrace::EventField* fields,
                      unsigned count, unsigned type, unsigned category, void* context) {
    std::vector<std::string> event{
        std::string(source) + "/" + std::to_string(id) + "/" + std::to_string(type) + "/" + std::to_string(category),
        message};
    for (unsigned i = 0; i < count; ++i) event.push_back(std::string(fields[i].name) + "=" + fields[i].value.GetStr());
    EventLog* log = static_cast<EventLog*>(context);
    std::lock_guard<std::mutex> hold(log->m_lock);
    log->m_events.push_back(std::move(event));
  }

  mutable std::mutex m_lock;
  std::vector<std::vector<std::string>> m_events;
};
