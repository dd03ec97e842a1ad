// Blob.h: reference-counted bytes.
//
//   Blob data(header, sizeof header);
//   data.Append(payload, payloadLength);
//   send(fd, data.GetData(), data.GetLength(), 0);
//
// A Blob is one pointer to a shared body with the same layout and size rules as AnsiStr's
// (count, capacity, length, then the bytes; block = capacity + 16), copy-on-write like it. A
// new body's bytes are not cleared and carry no terminator. Failures never throw: an allocation
// failure (event 100 "Blob allocation failed") or a length past 32 bits (event 101 "Blob
// overflow detected") leaves the blob unchanged and sets the last error to 12.
#pragma once

#include <cstdint>

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

class ORVGUI_API Blob {
 public:
  using Imp = AnsiStr::Imp;

  Blob() noexcept = default;
  Blob(const void* data, uint32_t length);
  Blob(const Blob& other) noexcept;
  Blob(Blob&& other) noexcept : m_imp(other.m_imp) { other.m_imp = nullptr; }
  ~Blob();
  Blob& operator=(const Blob& other) noexcept;
  Blob& operator=(Blob&& other) noexcept;

  // GetData: the bytes (null for an empty blob); GetLength: their count.
  const uint8_t* GetData() const noexcept { return m_imp != nullptr ? reinterpret_cast<const uint8_t*>(m_imp->text) : nullptr; }
  uint32_t GetLength() const noexcept { return m_imp != nullptr ? m_imp->length : 0; }
  bool IsEmpty() const noexcept { return GetLength() == 0; }
  uint32_t GetCapacity() const noexcept { return m_imp != nullptr ? m_imp->capacity : 0; }

  // Set / Append / Insert: replace the bytes, add at the end, add at pos (clamped to the end).
  Blob& Set(const void* data, uint32_t length);
  Blob& Append(const void* data, uint32_t length);
  Blob& Append(const Blob& other) { return Append(other.GetData(), other.GetLength()); }
  Blob& Insert(uint32_t pos, const void* data, uint32_t length);
  // Delete: removes count bytes from pos. Trunc: cuts to len bytes.
  Blob& Delete(uint32_t pos, uint32_t count);
  Blob& Trunc(uint32_t len);
  // Alloc: makes the blob n bytes long and returns them for writing (their content is not
  // defined); the body is reused when it is not shared and large enough. Null on failure.
  uint8_t* Alloc(uint32_t n);
  // Shrink: gives unused capacity back when the bytes need under a fifth of it.
  Blob& Shrink();

  friend ORVGUI_API bool operator==(const Blob& a, const Blob& b);

 private:
  Blob& Splice(uint32_t pos, uint32_t remove, const void* data, uint32_t length);
  void Release() noexcept;
  Imp* m_imp = nullptr;
};

// operator==: the same bytes.
ORVGUI_API bool operator==(const Blob& a, const Blob& b);

}  // namespace OrvGuiBase
