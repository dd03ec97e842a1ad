// AnsiStr.cpp: bodies, their size rule and the basic operations.
#include "base/text/AnsiStr.h"

#include <cerrno>
#include <cstring>

#include "base/core/ParticleAllocator.h"

namespace OrvGuiBase {

uint64_t AnsiStr::Imp::GetAllocSize(uint64_t n) {
  uint64_t r = (n + 23) & ~uint64_t{7};
  if (r > 1024) r = (r | 15) + 1;
  const uint64_t capacity = r - 13;
  return capacity > 0xFFFFFFFFu ? n : capacity;
}

uint64_t AnsiStr::Imp::GetExtendSize(uint64_t n, bool fast) {
  if (fast) {
    if (n <= 512) return 1024;
    if (n <= 0x4000000) return 2 * n;
    return n > 0xFBFFFFFFu ? 0xFFFFFFFFu : n + 0x4000000;
  }
  if (n < 512) return n + 32;
  if (n < 8192) return n + n / 16;
  return n > 0xFFFFFDFFu ? 0xFFFFFFFFu : n + 512;
}

AnsiStr::Imp* AnsiStr::Imp::Alloc(uint64_t capacity) {
  const uint64_t size = GetAllocSize(capacity);
  if (size > 0xFFFFFFFFu) {
    errno = ENOMEM;
    return nullptr;
  }
  void* block = AllocParticle(size + 16);
  if (block == nullptr) return nullptr;
  Imp* body = new (block) Imp;
  body->capacity = static_cast<uint32_t>(size);
  body->length = 0;
  body->text[0] = 0;
  return body;
}

void AnsiStr::Imp::Free(Imp* body) {
  const size_t block = body->capacity + 16u;
  body->~Imp();
  FreeParticle(block, body);
}

AnsiStr::AnsiStr(const char* text) {
  if (text != nullptr) Set(text, strlen(text));
}

AnsiStr::AnsiStr(const char* text, size_t length) {
  if (text != nullptr) Set(text, length);
}

AnsiStr::AnsiStr(const AnsiStr& other) noexcept : m_imp(other.m_imp) {
  if (m_imp != nullptr) m_imp->Link();
}

AnsiStr::~AnsiStr() { Release(); }

void AnsiStr::Release() noexcept {
  if (m_imp != nullptr && m_imp->Unlink()) Imp::Free(m_imp);
  m_imp = nullptr;
}

AnsiStr& AnsiStr::operator=(const AnsiStr& other) noexcept {
  if (other.m_imp != nullptr) other.m_imp->Link();
  Release();
  m_imp = other.m_imp;
  return *this;
}

AnsiStr& AnsiStr::operator=(AnsiStr&& other) noexcept {
  if (this != &other) {
    Release();
    m_imp = other.m_imp;
    other.m_imp = nullptr;
  }
  return *this;
}

AnsiStr& AnsiStr::operator=(const char* text) {
  return text != nullptr ? Set(text, strlen(text)) : (Release(), *this);
}

AnsiStr& AnsiStr::Set(const char* text, size_t length) {
  if (length == 0) {
    Release();
    return *this;
  }
  if (length > 0xFFFFFFFFu) {
    errno = ENOMEM;
    return *this;
  }
  if (m_imp != nullptr && !m_imp->IsShared() && m_imp->capacity >= length &&
      (text + length <= m_imp->text || text >= m_imp->text + m_imp->capacity)) {
    memcpy(m_imp->text, text, length);
  } else {
    Imp* body = Imp::Alloc(length);
    if (body == nullptr) return *this;
    memcpy(body->text, text, length);
    Release();
    m_imp = body;
  }
  m_imp->text[length] = 0;
  m_imp->length = static_cast<uint32_t>(length);
  return *this;
}

AnsiStr& AnsiStr::Append(const char* text) { return text ? Append(text, strlen(text)) : *this; }

AnsiStr& AnsiStr::Append(const char* text, size_t length) {
  if (length == 0) return *this;
  const uint64_t oldLength = GetLength();
  const uint64_t newLength = oldLength + length;
  if (newLength > 0xFFFFFFFFu) {
    errno = ENOMEM;
    return *this;
  }
  if (m_imp != nullptr && !m_imp->IsShared() && m_imp->capacity >= newLength) {
    memmove(m_imp->text + oldLength, text, length);
  } else {
    Imp* body = Imp::Alloc(Imp::GetExtendSize(newLength, false));
    if (body == nullptr) return *this;
    memcpy(body->text, GetStr(), oldLength);
    memcpy(body->text + oldLength, text, length);
    Release();
    m_imp = body;
  }
  m_imp->text[newLength] = 0;
  m_imp->length = static_cast<uint32_t>(newLength);
  return *this;
}

int AnsiStr::Compare(const char* a, const char* b) { return strcmp(a ? a : "", b ? b : ""); }

}  // namespace OrvGuiBase
