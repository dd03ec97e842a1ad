// LastError.cpp: errno as the last error, and the per-thread last error message.
#include "base/core/LastError.h"

#include <pthread.h>

#include <cerrno>

#include "base/core/ThreadData.h"

namespace OrvGuiBase {

// LastErrorMessage: the per-thread record of the last error message.
struct LastErrorMessage {
  uint64_t threadId = static_cast<uint64_t>(pthread_self());
  AnsiStr message;
};
using LastErrorMessageCloser = ThreadData<LastErrorMessage>::Closer;

int GetLastError() { return errno; }
void SetLastError(int error) { errno = error; }

void SetErrorMessage(const AnsiStr& text) {
  if (LastErrorMessage* record = ThreadData<LastErrorMessage>::Get()) record->message = text;
  errno = kErrorMessageCode;
}

AnsiStr GetLastErrorMessage() {
  const int saved = errno;
  LastErrorMessage* record = ThreadData<LastErrorMessage>::Get();
  AnsiStr message = record != nullptr ? record->message : AnsiStr();
  errno = saved;
  return message;
}

HRESULT HResultFromError(int error) { return HRESULT_FROM_ERRNO(error); }

HRESULT HResultFromLastError() {
  const int error = errno;
  return error == 0 ? E_FAIL : HResultFromError(error);
}

int ErrorFromHResult(HRESULT hr) {
  if (HRESULT_FACILITY(hr) == FACILITY_SYSTEM_ERROR) return static_cast<int>(static_cast<uint32_t>(hr) & 0xFFFFu);
  return static_cast<int>(hr);
}

}  // namespace OrvGuiBase
