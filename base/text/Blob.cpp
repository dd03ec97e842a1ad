// Blob.cpp: byte bodies with the narrow string's size rules and their own failure events.
#include "base/text/Blob.h"

#include <cerrno>
#include <cstring>

#include "private/text/StringEvents.h"

namespace OrvGuiBase {

namespace {

constexpr uint64_t kMaxLength = 0xFFFFFFFFu;

// A body for request bytes with the narrow size rule; null with event 100 when refused.
Blob::Imp* AllocBody(uint64_t request, uint64_t length) {
  Blob::Imp* body = Blob::Imp::Create(request);
  if (body == nullptr)
    ReportStringFailure(100, "Blob allocation failed", "size_bytes", Blob::Imp::GetAllocSize(request) + 16,
                        "length_bytes", length);
  return body;
}

void ReportOverflow(uint64_t length1, uint64_t length2) {
  ReportStringFailure(101, "Blob overflow detected", "length1", length1, "length2", length2);
}

}  // namespace

Blob::Blob(const void* data, uint32_t length) { Set(data, length); }

Blob::Blob(const Blob& other) noexcept : m_imp(other.m_imp) {
  if (m_imp != nullptr) m_imp->Link();
}

Blob::~Blob() { Release(); }

void Blob::Release() noexcept {
  if (m_imp != nullptr && m_imp->Unlink()) Imp::Free(m_imp);
  m_imp = nullptr;
}

Blob& Blob::operator=(const Blob& other) noexcept {
  if (other.m_imp != nullptr) other.m_imp->Link();
  Release();
  m_imp = other.m_imp;
  return *this;
}

Blob& Blob::operator=(Blob&& other) noexcept {
  if (this != &other) {
    Release();
    m_imp = other.m_imp;
    other.m_imp = nullptr;
  }
  return *this;
}

Blob& Blob::Splice(uint32_t pos, uint32_t remove, const void* data, uint32_t length) {
  if (data == nullptr) length = 0;
  const uint32_t current = GetLength();
  if (pos > current) pos = current;
  if (remove > current - pos) remove = current - pos;
  const uint64_t newLength = uint64_t{current} - remove + length;
  if (newLength > kMaxLength) {
    ReportOverflow(current, length);
    return *this;
  }
  if (newLength == 0) {
    Release();
    return *this;
  }
  const uint32_t tail = current - pos - remove;
  const char* source = static_cast<const char*>(data);
  const bool aliased = m_imp != nullptr && source + length > m_imp->text && source < m_imp->text + m_imp->capacity;
  if (m_imp != nullptr && !m_imp->IsShared() && m_imp->capacity >= newLength && !aliased) {
    char* at = m_imp->text + pos;
    if (length != remove) memmove(at + length, at + remove, tail);
    if (length != 0) memcpy(at, source, length);
  } else {
    Imp* body = AllocBody(Imp::GetExtendSize(newLength, false), newLength);
    if (body == nullptr) return *this;
    const char* old = m_imp != nullptr ? m_imp->text : nullptr;
    if (pos != 0) memcpy(body->text, old, pos);
    if (length != 0) memcpy(body->text + pos, source, length);
    if (tail != 0) memcpy(body->text + pos + length, old + pos + remove, tail);
    Release();
    m_imp = body;
  }
  m_imp->length = static_cast<uint32_t>(newLength);
  return *this;
}

Blob& Blob::Set(const void* data, uint32_t length) { return Splice(0, GetLength(), data, length); }
Blob& Blob::Append(const void* data, uint32_t length) { return Splice(GetLength(), 0, data, length); }
Blob& Blob::Insert(uint32_t pos, const void* data, uint32_t length) { return Splice(pos, 0, data, length); }
Blob& Blob::Delete(uint32_t pos, uint32_t count) { return Splice(pos, count, nullptr, 0); }

Blob& Blob::Trunc(uint32_t len) {
  const uint32_t length = GetLength();
  return len < length ? Splice(len, length - len, nullptr, 0) : *this;
}

uint8_t* Blob::Alloc(uint32_t n) {
  if (n == 0) {
    Release();
    return nullptr;
  }
  if (m_imp == nullptr || m_imp->IsShared() || m_imp->capacity < n) {
    Imp* body = AllocBody(n, n);
    if (body == nullptr) return nullptr;
    Release();
    m_imp = body;
  }
  m_imp->length = n;
  return reinterpret_cast<uint8_t*>(m_imp->text);
}

Blob& Blob::Shrink() {
  if (m_imp != nullptr && Imp::GetAllocSize(m_imp->length) < uint64_t{m_imp->capacity} * 20 / 100)
    *this = Blob(GetData(), GetLength());
  return *this;
}

bool operator==(const Blob& a, const Blob& b) {
  return a.GetLength() == b.GetLength() && (a.GetLength() == 0 || memcmp(a.GetData(), b.GetData(), a.GetLength()) == 0);
}

}  // namespace OrvGuiBase
