// Tests of telemetry: events from real file operations and real lock contention reach an
// installed sink, and nothing flows while a module is off or no sink is installed; module
// names, switching from a configuration text, registration callbacks and counters.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "base/core/CriticalSection.h"
#include "base/fs/DiskFile.h"
#include "helpers/LockContention.h"
#include "telemetry/Telemetry.h"

namespace OrvGuiTelemetry {
namespace {

using OrvGuiBase::CriticalSection;
using OrvGuiBase::CriticalSectionContext;
using OrvGuiBase::DiskFile;
using OrvGuiBase::File;

struct Seen {
  int module;
  int event;
  int value;
  std::vector<std::string> params;
};

// Recorder: a sink that keeps what it receives; removes itself and switches off on exit.
class Recorder {
 public:
  explicit Recorder(bool install = true) {
    if (install) APMSetEventSink(&Sink, this);
  }
  ~Recorder() {
    APMSetEventSink(nullptr, nullptr);
    for (int module : {APM_MODULE_ORVGUI, APM_MODULE_OS, APM_MODULE_HTTP}) APMSetModuleActive(module, 0);
  }
  std::vector<Seen> Take() {
    std::lock_guard<std::mutex> guard(m_lock);
    return std::move(m_seen);
  }
  static void Sink(int module, int event, int value, const char* const* params, unsigned count, void* context) {
    auto* self = static_cast<Recorder*>(context);
    std::lock_guard<std::mutex> guard(self->m_lock);
    self->m_seen.push_back({module, event, value, std::vector<std::string>(params, params + count)});
  }

 private:
  std::mutex m_lock;
  std::vector<Seen> m_seen;
};

std::string TempPath() {
  char pattern[] = "/tmp/orvgui-telemetry-XXXXXX";
  const int fd = mkstemp(pattern);
  if (fd >= 0) close(fd);
  return pattern;
}

// FileWork: open, write, seek, size, close a real file.
void FileWork(const std::string& path) {
  DiskFile file;
  ASSERT_TRUE(file.Open(File(path.c_str()), DiskFile::kCreate, 0));
  ASSERT_TRUE(file.Write("abc", 3));
  ASSERT_TRUE(file.Reset(0));
  ASSERT_EQ(file.GetSize(), 3);
  ASSERT_TRUE(file.Close());
}

TEST(Telemetry, FileCallsAndContentionReachAnInstalledSink) {
  const std::string path = TempPath();
  Recorder recorder;
  APMSetModuleActive(APM_MODULE_ORVGUI, 1);
  FileWork(path);
  CriticalSection lock("TelemetryTestLock");
  ContendOnce(lock, "waiter");
  const std::vector<Seen> seen = recorder.Take();
  unlink(path.c_str());

  std::vector<std::string> calls;
  for (size_t i = 0; i < seen.size(); ++i) {
    const Seen& e = seen[i];
    EXPECT_EQ(e.module, APM_MODULE_ORVGUI);
    if (e.event == APM_EVENT_FILE_CALL) {
      ASSERT_EQ(e.params.size(), 2u);
      EXPECT_EQ(e.params[1], path);
      if (e.value == 1) {
        calls.push_back(e.params[0]);
        ASSERT_LT(i + 1, seen.size());
        EXPECT_EQ(seen[i + 1].value, 2) << "every call is closed right after it is opened";
        EXPECT_EQ(seen[i + 1].params, e.params);
      }
    }
  }
  EXPECT_EQ(calls, (std::vector<std::string>{"open", "write", "seek", "stat", "close"}));
  std::vector<int> contention;
  for (const Seen& e : seen)
    if (e.event == APM_EVENT_LOCK_CONTENTION && e.params.at(0) == "TelemetryTestLock") {
      EXPECT_EQ(e.params.at(1), "waiter");
      contention.push_back(e.value);
    }
  EXPECT_EQ(contention, (std::vector<int>{1, 2})) << "waiting, then acquired";
}

TEST(Telemetry, NothingFlowsWhileOffOrWithoutASink) {
  const std::string path = TempPath();
  CriticalSection lock("TelemetryQuietLock");
  {
    Recorder recorder;  // a sink, but the module is off
    EXPECT_FALSE(APMIsModuleActive(APM_MODULE_ORVGUI));
    FileWork(path);
    ContendOnce(lock, "waiter");
    APMEventParam(APM_MODULE_ORVGUI, 1, 1, 0);
    EXPECT_TRUE(recorder.Take().empty());
  }
  {
    Recorder recorder(false);  // the module is on, but there is no sink
    APMSetModuleActive(APM_MODULE_ORVGUI, 1);
    EXPECT_TRUE(APMIsModuleSwitchedOn(APM_MODULE_ORVGUI));
    EXPECT_FALSE(APMIsModuleActive(APM_MODULE_ORVGUI));
    EXPECT_FALSE(GetLibraryTelemetryModule().IsActive());
    FileWork(path);
    ContendOnce(lock, "waiter");
    APMSetEventSink(&Recorder::Sink, &recorder);  // installed afterwards: nothing was kept
    EXPECT_TRUE(APMIsModuleActive(APM_MODULE_ORVGUI));
    EXPECT_TRUE(recorder.Take().empty());
    APMSetModuleActive(APM_MODULE_ORVGUI, 0);
    EXPECT_FALSE(APMIsModuleActive(APM_MODULE_ORVGUI));
  }
  unlink(path.c_str());
  EXPECT_FALSE(APMIsEventSinkInstalled());
}

TEST(Telemetry, EventsKeepErrnoAndCapTheirParameters) {
  Recorder recorder;
  GetHTTPTelemetryModule().SetActive(true);
  errno = 1234;
  GetHTTPTelemetryModule().Event(7, 200, "GET", static_cast<const char*>(nullptr), "/index.html");
  APMEventParam(APM_MODULE_HTTP, 8, 0, 20, "1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "11", "12", "13", "14",
                "15", "16", "17", "18", "19", "20");
  EXPECT_EQ(errno, 1234);
  APMEventParam(APM_MODULE_OS, 9, 0, 0);  // another module stays off
  APMEventParam(300, 9, 0, 0);            // out of range
  const std::vector<Seen> seen = recorder.Take();
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[0].module, APM_MODULE_HTTP);
  EXPECT_EQ(seen[0].event, 7);
  EXPECT_EQ(seen[0].value, 200);
  EXPECT_EQ(seen[0].params, (std::vector<std::string>{"GET", "", "/index.html"})) << "null reads as empty";
  EXPECT_EQ(seen[1].params.size(), 16u);
  EXPECT_EQ(seen[1].params.back(), "16");
}

TEST(Telemetry, ModulesByAreaAndFromConfigurationText) {
  const struct {
    const TelemetryModule& module;
    int id;
    const char* name;
  } kModules[] = {
      {GetOSTelemetryModule(), APM_MODULE_OS, "os"},
      {GetHTTPTelemetryModule(), APM_MODULE_HTTP, "http"},
      {GetDatabaseTelemetryModule(), APM_MODULE_DATABASE, "database"},
      {GetRPCTelemetryModule(), APM_MODULE_RPC, "rpc"},
      {GetUITelemetryModule(), APM_MODULE_UI, "ui"},
      {GetLibraryTelemetryModule(), APM_MODULE_ORVGUI, "orvgui"},
  };
  unsigned count = 0;
  const TelemetryModule* const* all = GetTelemetryModules(count);
  ASSERT_EQ(count, 6u);
  for (unsigned i = 0; i < count; ++i) {
    EXPECT_EQ(all[i], &kModules[i].module);
    EXPECT_EQ(all[i]->GetId(), kModules[i].id);
    EXPECT_STREQ(all[i]->GetName(), kModules[i].name);
    EXPECT_EQ(FindTelemetryModule(kModules[i].name), all[i]);
    EXPECT_FALSE(all[i]->IsSwitchedOn()) << "off by default";
  }
  EXPECT_EQ(FindTelemetryModule("HTTP"), &GetHTTPTelemetryModule());
  EXPECT_EQ(FindTelemetryModule("web"), nullptr);
  EXPECT_EQ(FindTelemetryModule(nullptr), nullptr);

  const struct {
    const char* list;
    int result;
    std::vector<int> on;
  } kRows[] = {
      {"", 0, {}},
      {nullptr, 0, {}},
      {"os", 1, {APM_MODULE_OS}},
      {"OS, http  ,,7", 3, {APM_MODULE_OS, APM_MODULE_HTTP, 7}},
      {"os,web", -1, {}},
      {"256", -1, {}},
      {"-1", -1, {}},
      {"1x", -1, {}},
  };
  for (const auto& row : kRows) {
    for (int module = 0; module < 256; ++module) APMSetModuleActive(module, 0);
    errno = 0;
    EXPECT_EQ(APMSwitchModulesOn(row.list), row.result) << (row.list ? row.list : "(null)");
    if (row.result < 0) {
      EXPECT_EQ(errno, EINVAL);
    }
    std::vector<int> on;
    for (int module = 0; module < 256; ++module)
      if (APMIsModuleSwitchedOn(module)) on.push_back(module);
    EXPECT_EQ(on, row.on) << (row.list ? row.list : "(null)");
  }
  for (int module = 0; module < 256; ++module) APMSetModuleActive(module, 0);
}

TEST(Telemetry, CountersCountWhileSwitchedOn) {
  DI_ResetCounters(APM_MODULE_DATABASE);
  DI_AddCounter(APM_MODULE_DATABASE, 3, 5);
  EXPECT_EQ(DI_GetCounter(APM_MODULE_DATABASE, 3), 0) << "off: not counted";
  GetDatabaseTelemetryModule().SetActive(true);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([] {
      for (int i = 0; i < 10000; ++i) GetDatabaseTelemetryModule().Count(3);
    });
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(DI_GetCounter(APM_MODULE_DATABASE, 3), 40000) << "no sink needed, no count lost";
  DI_SetCounter(APM_MODULE_DATABASE, 63, -9);
  EXPECT_EQ(DI_GetCounter(APM_MODULE_DATABASE, 63), -9);
  DI_AddCounter(APM_MODULE_DATABASE, 64, 1);
  DI_AddCounter(APM_MODULE_DATABASE, -1, 1);
  EXPECT_EQ(DI_GetCounter(APM_MODULE_DATABASE, 64), 0);
  EXPECT_EQ(DI_GetCounter(999, 0), 0);
  DI_ResetCounters(APM_MODULE_DATABASE);
  EXPECT_EQ(DI_GetCounter(APM_MODULE_DATABASE, 3), 0);
  GetDatabaseTelemetryModule().SetActive(false);
}

struct Calls {
  std::vector<std::string> order;
};
void CallA(int type, void* context) { static_cast<Calls*>(context)->order.push_back("A" + std::to_string(type)); }
void CallB(int type, void* context) {
  static_cast<Calls*>(context)->order.push_back("B" + std::to_string(type));
  APMSetModuleActive(APM_MODULE_RPC, 1);  // callbacks may switch modules
}

TEST(Telemetry, RegistrationCallbacksPerApplicationType) {
  Calls calls;
  errno = 0;
  EXPECT_EQ(APMRegisterCallback(0, &CallA, &calls), 0);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(APMRegisterCallback(APM_APPLICATION_TYPES, &CallA, &calls), 0);
  EXPECT_EQ(APMRegisterCallback(APM_APPLICATION_SERVICE, nullptr, &calls), 0);
  EXPECT_EQ(APMRegisterApplication(0), -1);

  const int a = APMRegisterCallback(APM_APPLICATION_SERVICE, &CallA, &calls);
  const int b = APMRegisterCallback(APM_APPLICATION_SERVICE, &CallB, &calls);
  const int desktop = APMRegisterCallback(APM_APPLICATION_DESKTOP, &CallA, &calls);
  const int gone = APMRegisterCallback(APM_APPLICATION_SERVICE, &CallA, &calls);
  ASSERT_TRUE(a != 0 && b != 0 && desktop != 0 && gone != 0);
  EXPECT_EQ(APMUnregisterCallback(gone), 1);
  EXPECT_EQ(APMUnregisterCallback(gone), 0);
  EXPECT_TRUE(calls.order.empty()) << "nothing before the host announces its type";

  EXPECT_EQ(APMRegisterApplication(APM_APPLICATION_SERVICE), 2);
  EXPECT_EQ(calls.order, (std::vector<std::string>{"A3", "B3"})) << "in registration order, the type's only";
  EXPECT_TRUE(APMIsModuleSwitchedOn(APM_MODULE_RPC));
  EXPECT_EQ(APMGetApplicationType(), APM_APPLICATION_SERVICE);
  errno = 0;
  EXPECT_EQ(APMRegisterApplication(APM_APPLICATION_SERVICE), 0) << "announced once";
  EXPECT_EQ(errno, EEXIST);
  const int late = APMRegisterCallback(APM_APPLICATION_SERVICE, &CallA, &calls);
  EXPECT_NE(late, 0);
  EXPECT_EQ(calls.order.size(), 3u) << "a late registration runs at once";
  for (int handle : {a, b, desktop, late}) EXPECT_EQ(APMUnregisterCallback(handle), 1);
  APMSetModuleActive(APM_MODULE_RPC, 0);
}

}  // namespace
}  // namespace OrvGuiTelemetry
