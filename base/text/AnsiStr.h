// AnsiStr.h: the library's narrow string, UTF-8 by convention.
//
//   AnsiStr name("Lock");
//   name.Append(" duration");
//   printf("%s (%u bytes)\n", name.GetStr(), name.GetLength());
//
// An AnsiStr is one pointer to a shared, reference-counted body; a null pointer is the empty
// string, whose text reads as "" (never a null pointer). Copies share the body; a change copies
// it first when it is shared (copy-on-write). Body layout: the 32-bit reference count, the
// capacity and the length (32-bit, bytes, without the terminator), then the NUL-terminated text.
//
// Failures never throw: an allocation failure or a length past 32 bits leaves the string
// unchanged and sets the last error to 12.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/core/Export.h"
#include "base/core/Reference.h"

namespace OrvGuiBase {

class ORVGUI_API AnsiStr {
 public:
  // Imp: the shared body.
  struct Imp : Reference {
    uint32_t capacity;
    uint32_t length;
    char text[1];

    // GetAllocSize: the capacity that a request for n bytes gets: r = (n + 23) rounded down to
    // a multiple of 8, then to the next multiple of 16 above when past 1024; capacity r - 13.
    // The block is capacity + 16 bytes: three bytes more than header, text and NUL need.
    static uint64_t GetAllocSize(uint64_t n);
    // GetExtendSize: the capacity to ask for when a text grows to n bytes.
    static uint64_t GetExtendSize(uint64_t n, bool fast);
    static Imp* Alloc(uint64_t capacity);
    static void Free(Imp* body);
    static const char* GetEmpty() { return ""; }
  };

  AnsiStr() noexcept = default;
  AnsiStr(const char* text);  // NOLINT(google-explicit-constructor): texts convert freely
  AnsiStr(const char* text, size_t length);
  AnsiStr(const AnsiStr& other) noexcept;
  AnsiStr(AnsiStr&& other) noexcept : m_imp(other.m_imp) { other.m_imp = nullptr; }
  ~AnsiStr();

  AnsiStr& operator=(const AnsiStr& other) noexcept;
  AnsiStr& operator=(AnsiStr&& other) noexcept;
  AnsiStr& operator=(const char* text);

  // GetStr: the text, never null.
  const char* GetStr() const noexcept { return m_imp ? m_imp->text : Imp::GetEmpty(); }
  operator const char*() const noexcept { return GetStr(); }
  // GetLength: the length in bytes.
  uint32_t GetLength() const noexcept { return m_imp ? m_imp->length : 0; }
  bool IsEmpty() const noexcept { return GetLength() == 0; }
  // GetCapacity: bytes the body can hold without growing.
  uint32_t GetCapacity() const noexcept { return m_imp ? m_imp->capacity : 0; }

  // Set: replace the content with the text. Append: add the text at the end.
  AnsiStr& Set(const char* text, size_t length);
  AnsiStr& Append(const char* text, size_t length);
  AnsiStr& Append(const char* text);
  AnsiStr& Append(const AnsiStr& text) { return Append(text.GetStr(), text.GetLength()); }
  AnsiStr& Append(char c) { return Append(&c, c != 0 ? 1 : 0); }
  AnsiStr& operator+=(const AnsiStr& text) { return Append(text); }
  AnsiStr& operator+=(const char* text) { return Append(text); }
  AnsiStr& operator+=(char c) { return Append(c); }

  // Compare: three-way comparison of two texts (strcmp order).
  static int Compare(const char* a, const char* b);
  friend bool operator==(const AnsiStr& a, const AnsiStr& b) { return Compare(a.GetStr(), b.GetStr()) == 0; }
  friend bool operator==(const AnsiStr& a, const char* b) { return Compare(a.GetStr(), b) == 0; }

 private:
  void Release() noexcept;
  Imp* m_imp = nullptr;
};

}  // namespace OrvGuiBase
