// Greeter.h: the contract between the greeter server library and its clients.
//
// A component is known to its clients only by identifiers and an interface: the class
// identifier CLSID_Greeter (or the programmatic identifier "Example.Greeter"), the interface
// identifier IID_IGreeter and the abstract IGreeter below. The client never links the server;
// the runtime finds the library through the registry when the class is first activated.
#pragma once

#include "base/OrvGuiBase.h"

// {8E2C1B7A-4F0D-4C36-9A51-2D7E3B9C6F10}
inline constexpr CLSID CLSID_Greeter = {0x8E2C1B7A, 0x4F0D, 0x4C36, {0x9A, 0x51, 0x2D, 0x7E, 0x3B, 0x9C, 0x6F, 0x10}};
// {5D3A9E42-7B1C-4E8F-8C20-6A4F1E0B2D93}
inline constexpr IID IID_IGreeter = {0x5D3A9E42, 0x7B1C, 0x4E8F, {0x8C, 0x20, 0x6A, 0x4F, 0x1E, 0x0B, 0x2D, 0x93}};

inline constexpr const char* kGreeterProgId = "Example.Greeter";

// IGreeter: greets by name. Slot order after IUnknown: Greet, GetCount.
struct IGreeter : IUnknown {
  // Greet: "Hello, <name>!" into *greeting; E_POINTER for a null greeting, E_INVALIDARG for an
  // empty name.
  virtual HRESULT Greet(const OrvGuiBase::AnsiStr& name, OrvGuiBase::AnsiStr* greeting) = 0;
  // GetCount: how many greetings this object has made.
  virtual HRESULT GetCount(unsigned* count) = 0;
};
