// Consumer.cpp: a host program written against the installed headers, as a user would.
#include <orvgui/OrvGuiBase.h>
#include <orvgui/OrvGuiTrace.h>

#include <cstdio>
#include <cstring>

int main() {
  using namespace OrvGuiBase;
  const AnsiStr text = GetErrorMessage(static_cast<int>(0x80040154u));
  printf("%s\n", text.GetStr());
  CriticalSection lock("ConsumerLock");
  {
    CriticalSectionContext hold(lock, "main");
    SetErrorMessage("consumer message");
  }
  printf("%s\n", GetErrorMessage(GetLastError(), nullptr, false).GetStr());
  return strcmp(text.GetStr(), "Class not registered (0x80040154/2147746132)") == 0 ? 0 : 1;
}
