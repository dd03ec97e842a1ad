// Thread.cpp: the thread class.
//
// States: Idle (never started), Running (the function runs), Finished (it returned; the thread
// is ending or has ended), Joined (released with pthread_join). Every change happens under
// m_lock and is broadcast on m_changed, which is also how a termination request reaches a
// function sleeping in WaitForTermination. Start holds the lock across pthread_create, so the
// new thread cannot see the object before m_thread is stored.
#include "base/core/Thread.h"

#include <cerrno>

#include "base/core/UpcallTrace.h"

namespace OrvGuiBase {

Thread::Thread() : m_lock("Thread") {}

Thread::~Thread() {
  bool started;
  {
    CriticalSectionContext hold(m_lock, "Thread::~Thread");
    started = m_state == State::Running || m_state == State::Finished;
  }
  if (!started) return;
  RequestTermination();
  Join(kInfinite);
}

bool Thread::Start(Function function, void* context) {
  if (function == nullptr) {
    errno = EINVAL;
    return false;
  }
  CriticalSectionContext hold(m_lock, "Thread::Start");
  if (m_state == State::Running || m_state == State::Finished) {
    errno = EBUSY;
    return false;
  }
  m_function = function;
  m_context = context;
  m_terminate = false;
  m_exitCode = 0;
  pthread_t thread;
  const int rc = pthread_create(&thread, nullptr, &Thread::Run, this);
  if (rc != 0) {
    errno = rc;
    OrvGuiTrace::TraceLastError(OrvGuiTrace::kTraceError, 0x01, "thread", __LINE__, "Thread::Start: Could not create thread");
    return false;
  }
  m_thread = thread;
  m_state = State::Running;
  m_changed.Broadcast();
  return true;
}

void* Thread::Run(void* self) {
  Thread* thread = static_cast<Thread*>(self);
  Function function;
  void* context;
  {
    CriticalSectionContext hold(thread->m_lock, "Thread::Run");
    function = thread->m_function;
    context = thread->m_context;
  }
  const int exitCode = function(*thread, context);
  CriticalSectionContext hold(thread->m_lock, "Thread::Run");
  thread->m_exitCode = exitCode;
  thread->m_state = State::Finished;
  thread->m_changed.Broadcast();
  return nullptr;
}

void Thread::RequestTermination() {
  CriticalSectionContext hold(m_lock, "Thread::RequestTermination");
  m_terminate = true;
  m_changed.Broadcast();
}

bool Thread::IsTerminationRequested() {
  CriticalSectionContext hold(m_lock, "Thread::IsTerminationRequested");
  return m_terminate;
}

bool Thread::WaitForTermination(uint32_t timeoutMs) {
  CriticalSectionContext hold(m_lock, "Thread::WaitForTermination");
  return m_changed.WaitFor(m_lock, timeoutMs, [this] { return m_terminate; });
}

bool Thread::Join(uint32_t timeoutMs) {
  CriticalSectionContext hold(m_lock, "Thread::Join");
  if (m_state == State::Idle) {
    errno = EINVAL;
    return false;
  }
  if (m_state != State::Joined && pthread_equal(m_thread, pthread_self())) {
    errno = EDEADLK;
    return false;
  }
  if (!m_changed.WaitFor(m_lock, timeoutMs, [this] { return m_state != State::Running; })) return false;
  if (m_state == State::Finished) {
    // The function has returned; what remains is the thread's exit (its thread-exit handlers),
    // which does not need this object's lock. Joining under the lock makes concurrent joiners
    // see Joined only once the thread is released.
    const int rc = pthread_join(m_thread, nullptr);
    if (rc != 0) {
      errno = rc;
      return false;
    }
    m_state = State::Joined;
    m_changed.Broadcast();
  }
  return true;
}

bool Thread::IsRunning() {
  CriticalSectionContext hold(m_lock, "Thread::IsRunning");
  return m_state == State::Running;
}

int Thread::GetExitCode() {
  CriticalSectionContext hold(m_lock, "Thread::GetExitCode");
  return m_exitCode;
}

uint64_t Thread::GetThreadId() {
  CriticalSectionContext hold(m_lock, "Thread::GetThreadId");
  return m_state == State::Idle ? 0 : static_cast<uint64_t>(m_thread);
}

uint64_t Thread::GetCurrentThreadId() { return static_cast<uint64_t>(pthread_self()); }

bool Wait(Thread& thread, uint32_t timeoutMs) { return thread.Join(timeoutMs); }

}  // namespace OrvGuiBase
