// Demo.cpp: `orvgui demo`, a short walk through the library's services as a host uses them.
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <thread>

#include "base/OrvGuiBase.h"
#include "tools/orvgui/Command.h"
#include "trace/EventReport.h"

namespace OrvGuiTool {

namespace {

using namespace OrvGuiBase;

const char kUsage[] =
    "usage: orvgui demo\n"
    "\n"
    "Walks through the library's services the way a host program uses them, printing each step:\n"
    "load-time set-up, last errors and their texts, error objects, per-thread records and\n"
    "thread-exit handlers, critical sections with contention telemetry, timed locks and their\n"
    "threshold event, crash guards, strings on the particle allocator, a named mutex shared by\n"
    "two threads, code pages, and a text file written and read back through the streams. The\n"
    "text is for people, not scripts.\n"
    "\n"
    "Exit status: 0 when every step behaved as shown, 1 otherwise, 2 for a usage error.\n";

int g_failures = 0;

void Step(const char* title) { printf("\n== %s\n", title); }

void Check(bool ok, const char* what) {
  printf("   %s %s\n", ok ? "ok  " : "FAIL", what);
  if (!ok) ++g_failures;
}

void ShowLoad() {
  Step("1. Loading the library");
  printf("   build identifier %s = %s\n", GetBuildIdentifierVariable(), GetEnv(GetBuildIdentifierVariable()).GetStr());
  printf("   program %s, command line: %s\n", GetProgramName().GetStr(), GetCmdLine().GetStr());
  printf("   registry root %s, user hive %s\n", GetRegRoot().GetStr(), GetRegCurrentUser().GetStr());
  printf("   particles %s%s%s\n", UseParticles() ? "on" : "off (", UseParticles() ? "" : GetParticlesDisabledReason(),
         UseParticles() ? "" : ")");
}

void ShowErrors() {
  Step("2. Last errors and their texts");
  SetLastError(2);
  printf("   after a failed open the last error is %d: %s\n", GetLastError(), GetErrorMessage(GetLastError()).GetStr());
  printf("   a class that is not registered: %s\n", GetErrorMessage(static_cast<int>(0x80040154u)).GetStr());
  SetErrorMessage("configuration file is empty");
  printf("   SetErrorMessage leaves last error %d, whose text is: %s\n", GetLastError(),
         GetErrorMessage(GetLastError()).GetStr());
  Check(GetLastError() == 44444, "a message error reads back through its code");
}

void ShowErrorObjects() {
  Step("3. Error objects");
  ICreateErrorInfo* create = nullptr;
  CreateErrorInfo(&create);
  create->SetDescription(const_cast<wchar_t*>(L"printer is out of paper"));
  IErrorInfo* info = nullptr;
  create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info));
  SetErrorInfo(0, info);
  info->Release();
  create->Release();
  IErrorInfo* handed = nullptr;
  const HRESULT first = GetErrorInfo(0, &handed);
  BSTR text = nullptr;
  if (handed != nullptr) handed->GetDescription(&text);
  printf("   GetErrorInfo -> 0x%08X, description \"%ls\"\n", static_cast<unsigned>(first), text ? text : L"");
  free(text);
  if (handed != nullptr) handed->Release();
  IErrorInfo* again = nullptr;
  Check(GetErrorInfo(0, &again) == S_FALSE && again == nullptr, "an error object is handed out once");
}

std::atomic<int> g_exitOrder{0};
int g_firstRan = 0, g_secondRan = 0;
void FirstHandler() { g_firstRan = ++g_exitOrder; }
void SecondHandler() { g_secondRan = ++g_exitOrder; }

void ShowThreadExit() {
  Step("4. Per-thread records and thread-exit handlers");
  std::thread worker([] {
    SetErrorMessage("worker's own message");
    SetThreadExitHandler(&SecondHandler, 10);
    SetThreadExitHandler(&FirstHandler, 20);
  });
  worker.join();
  printf("   the worker's handlers ran in priority order: priority 20 as #%d, priority 10 as #%d\n", g_firstRan,
         g_secondRan);
  Check(g_firstRan == 1 && g_secondRan == 2, "higher priority runs first at thread end");
  Check(GetLastErrorMessage() == "configuration file is empty", "each thread keeps its own last error message");
}

void Sink(int module, int event, int value, const char* const* params, unsigned count, void*) {
  printf("   telemetry: module %d event %d value %d lock \"%s\" site \"%s\"\n", module, event, value,
         count > 0 ? params[0] : "", count > 1 ? params[1] : "");
}

void ShowContention() {
  Step("5. Critical sections report contention");
  CriticalSection lock("DemoLock");
  APMSetEventSink(&Sink, nullptr);
  APMSetModuleActive(APM_MODULE_ORVGUI, 1);
  std::atomic<bool> held{false};
  lock.Enter("holder");
  std::thread waiter([&] {
    held = true;
    CriticalSectionContext hold(lock, "waiter");
  });
  while (!held) std::this_thread::yield();
  usleep(50000);
  lock.Leave();
  waiter.join();
  APMSetModuleActive(APM_MODULE_ORVGUI, 0);
  APMSetEventSink(nullptr, nullptr);
}

std::atomic<uint64_t> g_fakeTicks{0};
uint64_t FakeClock() { return g_fakeTicks.load(); }

void Observer(const char* source, unsigned id, const char* message, const OrvGuiTrace::EventField* fields,
              unsigned count, unsigned, unsigned, void*) {
  printf("   event %s-%05u \"%s\"", source, id, message);
  for (unsigned i = 0; i < count; ++i) printf(" %s=%s", fields[i].name, fields[i].value.GetStr());
  printf("\n");
}

void ShowLockTiming() {
  Step("6. Timed locks");
  LockInfo lock("DemoTimedLock", LockInfo::ThresholdClass::Short, &FakeClock);
  OrvGuiTrace::EventObserver previous = OrvGuiTrace::SetEventObserver(&Observer, nullptr);
  lock.Enter("ShowLockTiming");
  g_fakeTicks += (LockInfo::GetShortCriticalSectionThreshold() + 1) * 1000000ull;  // held 1 ms too long
  lock.Leave();
  OrvGuiTrace::SetEventObserver(previous, nullptr);
  printf("   the timing registry lists every timed lock:\n");
  for (const LockStatistics& statistics : GetTimingData())
    printf("     %s: %llu contended entries, threshold %llu ms\n", statistics.name.GetStr(),
           static_cast<unsigned long long>(statistics.contentions),
           static_cast<unsigned long long>(statistics.thresholdMs));
}

void ShowCrashGuard() {
  Step("7. Crash guards");
  volatile const char* wild = reinterpret_cast<const char*>(16);
  char copy = 0;
  const bool survived = !CallGuarded("demo", [&] { copy = *wild; });
  Check(survived, "a read through a wild pointer came back as a failed call, not a crash");
  Check(!IsValidAddress(reinterpret_cast<const void*>(16)) && IsValidAddress(&copy), "IsValidAddress probes safely");
  AnsiStr text = FmtArgs("%s and %d", "formatting", 42);
  printf("   the formatter renders \"%s\"\n", text.GetStr());
}

void ShowStrings() {
  Step("8. Strings on particles");
  AnsiStr greeting("hello");
  AnsiStr shared = greeting;  // shares the body
  greeting.Append(", world").ToUpper();
  printf("   \"%s\" and its earlier copy \"%s\" (copy-on-write)\n", greeting.GetStr(), shared.GetStr());
  Check(shared == "hello", "a copy keeps its text when the original changes");
  AnsiStrBuilder out;
  for (int i = 0; i < 1000; ++i) out.Append("line ").Append('\n');
  printf("   a builder made %u bytes; \"%s\" has %u bytes in %u characters\n", out.GetLength(),
         "na\xC3\xAFve", AnsiStr("na\xC3\xAFve").GetLength(), AnsiStr("na\xC3\xAFve").GetCharLen());
  ParticleClassStatistics statistics;
  if (GetParticleClassStatistics(4, &statistics))  // short strings live here
    printf("   the 32-byte class holds %llu particles in %u blocks, %llu of them free in the pool\n",
           static_cast<unsigned long long>(statistics.poolTotal), statistics.blocks,
           static_cast<unsigned long long>(statistics.poolFree));
  Check(CheckParticles(), "the particle pools are consistent");
}

struct MutexDemo {
  AnsiStr name;
  Event tried{true}, released{true};
  bool busyWhileHeld = false, hadAfterDrop = false;
};

int MutexWorker(Thread&, void* context) {
  auto* demo = static_cast<MutexDemo*>(context);
  MutexHandleData* handle = OpenMutex(demo->name);  // this thread's own handle
  demo->busyWhileHeld = handle != nullptr && !WaitForMutex(handle, 0) && GetLastError() == kWaitTimeoutError;
  demo->tried.Set();
  demo->released.Wait();
  demo->hadAfterDrop = handle != nullptr && WaitForMutex(handle, 5000);
  return 0;  // neither dropped nor closed: the thread's end releases it
}

void ShowNamedMutex() {
  Step("9. Named mutexes and threads");
  MutexDemo demo;
  demo.name = FmtArgs("orvgui-demo-%d", static_cast<int>(getpid()));
  MutexHandleData* mutex = CreateMutex(false, demo.name);
  if (mutex == nullptr) {
    Check(false, GetErrorMessage(GetLastError()).GetStr());
    return;
  }
  printf("   mutex %s is a lock on the file %s\n", demo.name.GetStr(), GetMutexFileName(demo.name).GetStr());
  const bool held = WaitForMutex(mutex, kInfinite) && WaitForMutex(mutex, 0);
  printf("   the main thread holds it %u levels deep\n", mutex->lockDepth);
  Thread worker;
  worker.Start(&MutexWorker, &demo);
  demo.tried.Wait();
  DropMutex(mutex);
  DropMutex(mutex);
  demo.released.Set();
  worker.Join();
  Check(held && demo.busyWhileHeld, "a second thread finds it held (one try with timeout 0, last error 110)");
  Check(demo.hadAfterDrop, "and gets it once both levels are dropped");
  Check(WaitForMutex(mutex, 0), "the worker's end released its handle and the lock");
  DropMutex(mutex);
  CloseMutex(mutex);
  unlink(GetMutexFileName(demo.name));  // closing keeps the file; the demo leaves nothing behind
}

void ShowCodePages() {
  Step("10. Code pages (orvgui conv does this to whole files)");
  const char utf8[] = "caf\xC3\xA9 5\xE2\x82\xAC";
  wchar_t wide[16];
  char latin[16];
  const int units = MultiByteToWideChar(65001, 0, utf8, -1, wide, 16);
  const int bytes = WideCharToMultiByte(1252, 0, wide, units, latin, sizeof latin, nullptr, nullptr);
  printf("   \"%s\" is %d wide characters, in code page 1252 %d bytes:", utf8, units, bytes);
  for (int i = 0; i < bytes; ++i) printf(" %02X", static_cast<unsigned char>(latin[i]));
  printf("\n");
  Check(bytes == 8 && latin[3] == '\xE9' && latin[6] == '\x80', "the euro sign lands on 0x80 of Windows-1252");
  SetLastError(0);
  const int unsupported = MultiByteToWideChar(932, 0, "abc", 3, wide, 16);
  printf("   code page 932: %s\n", GetErrorMessage(GetLastError()).GetStr());
  Check(unsupported == 0 && GetLastError() == 38, "an unsupported code page fails with ENOSYS");
}

void ShowStreams() {
  Step("11. Files and streams");
  TempFile file;
  if (!file.Create()) {
    Check(false, "a temporary file can be made");
    return;
  }
  WriteStream out(file, kWriteBinary);
  out.WriteBOM(kEncodingUTF8Mark);
  out.WriteFmt("%I64d bytes\r\nsecond line\n", int64_t{1} << 40);
  Check(out.Close(), "a text file written with a UTF-8 mark");
  ReadStream in(file, kReadDetect);
  AnsiStr line;
  in.ReadLn(line);
  printf("   read back: encoding %u, first line \"%s\"\n", in.GetEncoding(), line.GetStr());
  Check(in.GetEncoding() == kEncodingUTF8Mark && line == "1099511627776 bytes", "the mark is found and skipped");
  IStream* stream = nullptr;
  char buffer[64];
  ULONG got = 0;
  const bool opened = SUCCEEDED(DiskFileStream::Create(&stream, file, DiskFile::kReadOnly, 0));
  const HRESULT hr = opened ? stream->Read(buffer, sizeof buffer, &got) : E_FAIL;
  printf("   as an IStream: a read of %u bytes answers 0x%08X with %u bytes\n", static_cast<unsigned>(sizeof buffer),
         static_cast<unsigned>(hr), static_cast<unsigned>(got));
  Check(hr == S_FALSE && got == 36, "the read that reaches the end says so with its bytes");
  if (opened) stream->Release();
}

int Run(int argc, char** argv) {
  if (argc > 1) return UsageError("demo", "unexpected argument '%s'", argv[1]);
  printf("liborvgui %s demo\n", GetLibraryVersion());
  ShowLoad();
  ShowErrors();
  ShowErrorObjects();
  ShowThreadExit();
  ShowContention();
  ShowLockTiming();
  ShowCrashGuard();
  ShowStrings();
  ShowNamedMutex();
  ShowCodePages();
  ShowStreams();
  printf("\n%s\n", g_failures == 0 ? "demo complete" : "demo found problems");
  return g_failures == 0 ? kExitSuccess : Fail("demo", "%d step(s) did not behave as shown", g_failures);
}

SubcommandRegistration g_registration({"demo", "a short walk through the library's services", kUsage, &Run});

}  // namespace

}  // namespace OrvGuiTool
