// GreeterClient.cpp: greeter-client [NAME...], activates Example.Greeter and greets each name.
//
// Exit status: 0 when every greeting was made; 1 when the class cannot be found or activated
// (the reason on standard error, as GetErrorMessage words it).
#include <cstdio>

#include "examples/greeter/Greeter.h"

using namespace OrvGuiBase;

int main(int argc, char** argv) {
  CLSID clsid;
  HRESULT hr = CLSIDFromProgID(kGreeterProgId, &clsid);
  IGreeter* greeter = nullptr;
  if (SUCCEEDED(hr))
    hr = CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IGreeter, reinterpret_cast<void**>(&greeter));
  if (FAILED(hr)) {
    fprintf(stderr, "greeter-client: %s\n", GetErrorMessage(hr).GetStr());
    return 1;
  }
  int status = 0;
  for (int i = 1; i < argc || (i == 1 && argc == 1); ++i) {
    AnsiStr greeting;
    hr = greeter->Greet(argc > 1 ? argv[i] : "World", &greeting);
    if (FAILED(hr)) {
      fprintf(stderr, "greeter-client: %s\n", GetErrorMessage(hr).GetStr());
      status = 1;
      continue;
    }
    printf("%s\n", greeting.GetStr());
  }
  greeter->Release();
  return status;
}
