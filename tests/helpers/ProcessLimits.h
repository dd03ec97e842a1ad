// ProcessLimits.h: making the heap refuse in a test's child process.
//
//   #ifndef ORVGUI_TEST_SANITIZED
//   EXPECT_EXIT({ LimitAddressSpace(); ... big allocation fails ... }, ...);
//   #endif
//
// A limit on the address space makes large heap requests fail at once without touching the
// machine. The sanitizers reserve huge shadow regions that such a limit would cut, so their
// builds leave these tests out (ORVGUI_TEST_SANITIZED).
#pragma once

#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ORVGUI_TEST_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ORVGUI_TEST_SANITIZED 1
#endif
#endif

// LimitAddressSpace: limits the calling process to the address space it uses now plus spare
// bytes. Meant for a death-test child: it cannot be raised again.
inline void LimitAddressSpace(unsigned long spare = 64ul << 20) {
  unsigned long pages = 0;
  if (FILE* statm = fopen("/proc/self/statm", "r")) {
    if (fscanf(statm, "%lu", &pages) != 1) pages = 0;
    fclose(statm);
  }
  const rlim_t limit = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + spare;
  const struct rlimit rl = {limit, limit};
  setrlimit(RLIMIT_AS, &rl);
}
