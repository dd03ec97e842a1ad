// ExitProbe: a host program that uses the library during process exit.
//
// main() gives the main thread a record whose release is printed. The closer releases it while
// the library's statics are destroyed; AfterTeardown runs after all of that, from the finaliser
// of a helper library that the loader finalises after liborvgui (ExitLate.c), where services
// must fall back instead of touching freed memory. Each observation is one line on standard
// output.
#include <cstdio>

#include "base/core/ErrorMessage.h"
#include "base/core/LastError.h"
#include "base/core/ThreadData.h"
#include "base/core/ThreadExit.h"

using namespace OrvGuiBase;

struct MainRecord {
  ~MainRecord() { printf("main record released\n"); }
};

static void NeverRuns() { printf("handler registered after teardown ran\n"); }

extern "C" void SetLateAction(void (*action)());

static void AfterTeardown() {
  printf("registry valid: %d\n", IsThreadExitRegistryValid() ? 1 : 0);
  printf("register after teardown: %d\n", SetThreadExitHandler(&NeverRuns));
  printf("main record state: %u\n", ThreadData<MainRecord>::GetState());
  SetErrorMessage("late message");
  printf("late error text: %s\n", GetErrorMessage(44444, nullptr, false).GetStr());
  fflush(stdout);
}

int main() {
  SetLateAction(&AfterTeardown);
  (void)ThreadData<MainRecord>::Get();
  SetErrorMessage("early message");
  printf("early error text: %s\n", GetErrorMessage(44444, nullptr, false).GetStr());
  return 0;
}
