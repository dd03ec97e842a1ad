// CrashGuard.cpp: the per-thread chain of jump points and the address probes built on it.
//
// The chain head is read by the fatal-signal handler, so it lives in initial-exec TLS: reading
// it never calls into the dynamic loader (which could allocate) from inside a signal handler.
#include "base/core/CrashGuard.h"

#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace OrvGuiBase {

namespace {
__attribute__((tls_model("initial-exec"))) thread_local CrashGuardFrame* t_guardTop = nullptr;
}

void PushCrashGuard(CrashGuardFrame* frame) {
  frame->previous = t_guardTop;
  frame->signal = 0;
  t_guardTop = frame;
  __atomic_signal_fence(__ATOMIC_SEQ_CST);
}

void PopCrashGuard(CrashGuardFrame* frame) {
  __atomic_signal_fence(__ATOMIC_SEQ_CST);
  if (t_guardTop == frame) t_guardTop = frame->previous;
}

CrashGuardFrame* GetCrashGuard() { return t_guardTop; }

// The probe asks the kernel first: reading our own memory through process_vm_readv fails with
// EFAULT instead of raising a signal, so it works even when a host has replaced our handler.
// Where the call is refused (no such system call, a sandbox), a guarded read decides.
bool IsValidAddress(const void* p) {
  if (p == nullptr) return false;
  const int saved = errno;
  unsigned char copy;
  iovec local{&copy, 1};
  iovec remote{const_cast<void*>(p), 1};
  const ssize_t got = process_vm_readv(getpid(), &local, 1, &remote, 1, 0);
  const int error = errno;
  errno = saved;
  if (got == 1) return true;
  if (got < 0 && error == EFAULT) return false;
  volatile const unsigned char* byte = static_cast<const unsigned char*>(p);
  return CallGuarded("IsValidAddress", [byte] { (void)*byte; });
}

bool IsValidAddress(const void* p, size_t size) {
  if (p == nullptr) return false;
  if (size == 0) return true;
  const uintptr_t start = reinterpret_cast<uintptr_t>(p);
  if (start + size < start) return false;
  const uintptr_t page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
  for (uintptr_t at = start; at < start + size; at = (at & ~(page - 1)) + page)
    if (!IsValidAddress(reinterpret_cast<const void*>(at))) return false;
  return true;
}

}  // namespace OrvGuiBase
