// ThreadData.h: the one per-thread record discipline of the library.
//
//   struct LastErrorInfo { IErrorInfo* info = nullptr; ~LastErrorInfo(); };
//   LastErrorInfo* record = ThreadData<LastErrorInfo>::Get();    // never null
//
// Get() returns the calling thread's record, creating it on first use: the record is
// allocated, its release is registered as a thread-exit handler (with the priority given as
// the template argument), and the first time in the process a closer object is registered for
// process exit whose destructor releases the record of the thread that runs exit (normally the
// main thread, whose thread-specific destructors never run).
//
// Each thread has a state word: 1 no record yet, 2 created, 4 released. A thread whose record
// has already been released (a service called from a later thread-exit handler or from a
// destructor at process exit) gets one process-wide fallback record, created once and shared
// by all such late callers without a lock; it is never freed, so it outlives every caller.
//
// The records live in this library's thread-local storage; code outside the library reaches
// them through the library's exported functions, never by instantiating this template itself.
#pragma once

#include <cstdint>
#include <new>

#include "base/core/ThreadExit.h"

namespace OrvGuiBase {

template <class Record, int Priority = 0>
class ThreadData {
 public:
  // Get: the calling thread's record, or the fallback record after the thread's teardown.
  static Record* Get() noexcept {
    Record* record = t_record;
    if (record != nullptr) [[likely]]
      return record;
    return GetSlow();
  }

  // Peek: the calling thread's own record if it exists, without creating it.
  static Record* Peek() noexcept { return t_record; }

  // GetState: 1 not created in this thread, 2 created, 4 released.
  static uint32_t GetState() noexcept { return t_state; }

  // Release: the thread-exit handler; frees the calling thread's record.
  static void Release() noexcept {
    Record* record = t_record;
    t_record = nullptr;
    t_state = 4;
    delete record;
  }

  // Closer: its destructor, run at process exit, releases the record of the exiting thread.
  struct Closer {
    ~Closer() { DoThreadExitHandler(&ThreadData::Release); }
  };

 private:
  static Record* GetSlow() noexcept {
    if (t_state == 1) {
      Record* record = new (std::nothrow) Record();
      if (record != nullptr) {
        t_record = record;
        t_state = 2;
        SetThreadExitHandler(&ThreadData::Release, Priority);
        static Closer s_closer;  // registered for process exit the first time only
        (void)s_closer;
        return record;
      }
    }
    return Fallback();
  }

  static Record* Fallback() noexcept {
    static Record* s_fallback = new (std::nothrow) Record();
    return s_fallback;
  }

  // Initial-exec TLS: the library is loaded with the program, so its few words of per-thread
  // state sit in the static TLS block and a lookup is one segment-relative load.
  __attribute__((tls_model("initial-exec"))) static inline thread_local Record* t_record = nullptr;
  __attribute__((tls_model("initial-exec"))) static inline thread_local uint32_t t_state = 1;
};

}  // namespace OrvGuiBase
