// Thread.h: a function run on a thread of its own, asked to stop through a flag, and joined.
//
//   int Serve(Thread& self, void* queue) {
//     while (!self.WaitForTermination(1000)) Poll(queue);   // wakes at once when asked to stop
//     return 0;
//   }
//   Thread server;
//   server.Start(&Serve, &queue);
//   ...
//   server.RequestTermination();
//   server.Join();                                         // or Wait(server, 5000)
//
// The termination flag, the state and the exit code are guarded by the thread object's critical
// section and announced through its condition, so every member may be called from any thread.
// The thread's per-thread records (last error message, named-mutex handles, ...) are released
// when its function returns, before Join returns.
//
// Depends on CriticalSection and WaitObjects.
#pragma once

#include <pthread.h>

#include <cstdint>

#include "base/core/CriticalSection.h"
#include "base/core/Export.h"
#include "base/core/WaitObjects.h"

namespace OrvGuiBase {

class ORVGUI_API Thread {
 public:
  // Function: what the thread runs; its result becomes the exit code. It must not throw (an
  // exception that leaves a thread's function ends the process).
  using Function = int (*)(Thread& thread, void* context);

  Thread();
  // ~Thread: a thread that was started and not joined is asked to terminate and joined (this
  // waits for its function to return). A thread must not destroy its own Thread object.
  ~Thread();
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;

  // Start: runs function(*this, context) on a new thread; the termination flag is cleared. A
  // Thread that has been joined may be started again. Fails with last error 16 (EBUSY) while a
  // previous start has not been joined, 22 for a null function, or the error of thread creation.
  bool Start(Function function, void* context = nullptr);

  // RequestTermination: sets the termination flag and wakes the thread if it waits in
  // WaitForTermination. The function decides when to return; nothing is cancelled.
  void RequestTermination();
  // IsTerminationRequested: the flag, for functions that poll it.
  bool IsTerminationRequested();
  // WaitForTermination: sleeps until termination is requested or timeoutMs passed; true when
  // it was requested (at once if it already was), false with last error 110 otherwise. Meant for
  // the thread's own function, as an interruptible sleep.
  bool WaitForTermination(uint32_t timeoutMs);

  // Join: waits until the function has returned and the thread has ended, then releases it.
  // True when joined (also when it already was); false with last error 110 when timeoutMs
  // passed first, 22 when the thread was never started, 35 (EDEADLK) when called on itself.
  bool Join(uint32_t timeoutMs = kInfinite);
  // IsRunning: started and its function has not returned yet.
  bool IsRunning();
  // GetExitCode: the function's result once it has returned; 0 before.
  int GetExitCode();
  // GetThreadId: the thread's id (its pthread_t, as the thread-exit functions take it), 0
  // before the first start; it stays valid for reading after the thread ends.
  uint64_t GetThreadId();
  // GetCurrentThreadId: the calling thread's id in the same form.
  static uint64_t GetCurrentThreadId();

 private:
  enum class State { Idle, Running, Finished, Joined };
  static void* Run(void* self);

  CriticalSection m_lock;
  Condition m_changed;  // state or termination flag changed
  State m_state = State::Idle;
  bool m_terminate = false;
  Function m_function = nullptr;
  void* m_context = nullptr;
  int m_exitCode = 0;
  pthread_t m_thread{};
};

// Wait: Join as a wait overload.
ORVGUI_API bool Wait(Thread& thread, uint32_t timeoutMs = kInfinite);

}  // namespace OrvGuiBase
