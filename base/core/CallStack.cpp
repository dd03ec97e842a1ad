// CallStack.cpp: backtrace(3) with symbols from the dynamic linker, demangled.
#include "base/core/CallStack.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace OrvGuiBase {

__attribute__((noinline)) AnsiStr GetCallStack(unsigned skip) {
  const int saved = errno;
  void* frames[65];
  const int depth = backtrace(frames, 65);
  AnsiStr text;
  for (int i = 1 + static_cast<int>(skip); i < depth; ++i) {
    char address[32];
    snprintf(address, sizeof address, "[%p]", frames[i]);
    Dl_info info{};
    const bool known = dladdr(frames[i], &info) != 0;
    if (!text.IsEmpty()) text.Append('\n');
    text.Append(known && info.dli_fname != nullptr ? info.dli_fname : "??");
    if (known && info.dli_sname != nullptr) {
      int status = 0;
      char* demangled = abi::__cxa_demangle(info.dli_sname, nullptr, nullptr, &status);
      char offset[32];
      snprintf(offset, sizeof offset, "+0x%zx)",
               static_cast<size_t>(static_cast<char*>(frames[i]) - static_cast<char*>(info.dli_saddr)));
      text.Append('(').Append(status == 0 && demangled != nullptr ? demangled : info.dli_sname).Append(offset);
      free(demangled);
    }
    text.Append(' ').Append(address);
  }
  errno = saved;
  return text;
}

}  // namespace OrvGuiBase
