// AnsiStr.cpp: bodies, their size rules, and every operation of the narrow string.
//
// All changes go through Splice, which replaces a range of the text with n copies of another
// text. It computes the new length in 64 bits first (an overflow leaves the string unchanged),
// changes the body in place when the string owns it alone and it is large enough, and
// otherwise builds a new body with the growth rule, copies the kept parts and the new text,
// and drops the old one. A source that lies inside the body being changed is always copied into
// a new body, so no operation reads bytes it has already overwritten.
#include "base/text/AnsiStr.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <new>

#include "base/core/ParticleAllocator.h"
#include "base/text/AnsiChar.h"
#include "base/text/CaseSearch.h"
#include "base/text/Utf.h"
#include "base/text/WideStr.h"
#include "private/text/StringEvents.h"

namespace OrvGuiBase {

namespace {

constexpr uint64_t kMaxLength = 0xFFFFFFFFu;
constexpr size_t kLargestParticle = 1024;  // larger bodies are heap blocks

void ReportAllocationFailure(uint64_t capacity) {
  ReportStringFailure(1, "String allocation failed", "bytes", capacity + 16, "codeunits", capacity);
}

void ReportOverflow(uint64_t length1, uint64_t length2) {
  ReportStringFailure(2, "String overflow detected", "length1", length1, "length2", length2);
}

inline bool IsContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

// Writes n copies of text (length bytes each) at out; one-byte texts are a single store each.
void Repeat(char* out, const char* text, uint32_t length, uint32_t n) {
  if (length == 1) {
    memset(out, *text, n);
    return;
  }
  for (uint32_t i = 0; i < n; ++i, out += length) memcpy(out, text, length);
}

}  // namespace

// ---- Bodies ----------------------------------------------------------------------------------

uint64_t AnsiStr::Imp::GetAllocSize(uint64_t n) {
  uint64_t r = (n + 23) & ~uint64_t{7};
  if (r > 1024) r = (r | 15) + 1;
  const uint64_t capacity = r - 13;
  return capacity > kMaxLength ? n : capacity;
}

uint64_t AnsiStr::Imp::GetExtendSize(uint64_t n, bool fast) {
  if (fast) {
    if (n <= 512) return 1024;
    if (n <= 0x4000000) return 2 * n;
    return n > 0xFBFFFFFFu ? kMaxLength : n + 0x4000000;
  }
  if (n < 512) return n + 32;
  if (n < 8192) return n + n / 16;
  return n > 0xFFFFFDFFu ? kMaxLength : n + 512;
}

AnsiStr::Imp* AnsiStr::Imp::Create(uint64_t request) {
  const uint64_t capacity = GetAllocSize(request);
  void* block = capacity <= kMaxLength ? AllocParticle(capacity + 16) : nullptr;
  if (block == nullptr) {
    errno = ENOMEM;
    return nullptr;
  }
  Imp* body = new (block) Imp;
  body->capacity = static_cast<uint32_t>(capacity);
  body->length = 0;
  body->text[0] = 0;
  return body;
}

AnsiStr::Imp* AnsiStr::Imp::Alloc(uint64_t request) {
  Imp* body = Create(request);
  if (body == nullptr) ReportAllocationFailure(GetAllocSize(request));
  return body;
}

void AnsiStr::Imp::Free(Imp* body) {
  const size_t block = body->capacity + size_t{16};
  body->~Imp();
  FreeParticle(block, body);
}

// ---- Construction ----------------------------------------------------------------------------

AnsiStr::AnsiStr(const char* text) : AnsiStr(AnsiSubStr(text), 1) {}

AnsiStr::AnsiStr(const char* text, uint32_t length) {
  if (text == nullptr || length == 0) return;
  if ((m_imp = Imp::Alloc(length)) == nullptr) return;
  memcpy(m_imp->text, text, length);
  m_imp->text[length] = 0;
  m_imp->length = static_cast<uint32_t>(length);
}

AnsiStr::AnsiStr(AnsiSubStr text, uint32_t n) {
  const uint64_t length = uint64_t{text.GetLength()} * n;
  if (length == 0) return;
  if (length > kMaxLength) {
    ReportOverflow(text.GetLength(), length);
    return;
  }
  if ((m_imp = Imp::Alloc(length)) == nullptr) return;
  Repeat(m_imp->text, text.GetStr(), text.GetLength(), n);
  m_imp->text[length] = 0;
  m_imp->length = static_cast<uint32_t>(length);
}

AnsiStr::AnsiStr(char c, uint32_t n) : AnsiStr(AnsiSubStr(&c, c != 0 ? 1 : 0), n) {}

namespace {
// The UTF-8 form of length wide characters into a fresh body; null (last error set) on failure.
AnsiStr::Imp* FromWide(const wchar_t* text, size_t length) {
  if (text == nullptr || length == 0) return nullptr;
  if (length > 0xFFFFFFFEu) {
    errno = ENOMEM;
    return nullptr;
  }
  const char32_t* units = reinterpret_cast<const char32_t*>(text);
  const uint32_t bytes = UTF32toUTF8(units, static_cast<uint32_t>(length), nullptr, 0);
  if (bytes == 0) return nullptr;
  AnsiStr::Imp* body = AnsiStr::Imp::Alloc(bytes);
  if (body == nullptr) return nullptr;
  UTF32toUTF8(units, static_cast<uint32_t>(length), body->text, bytes);
  body->text[bytes] = 0;
  body->length = bytes;
  return body;
}
}  // namespace

static_assert(sizeof(wchar_t) == sizeof(char32_t), "wide text is UTF-32");

AnsiStr::AnsiStr(const wchar_t* text) : m_imp(FromWide(text, text != nullptr ? wcslen(text) : 0)) {}

AnsiStr::AnsiStr(const WideStr& text) : m_imp(FromWide(text.GetStr(), text.GetLen())) {}


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

uint32_t AnsiStr::GetLength() const noexcept {
  if (m_imp == nullptr) return 0;
  uint32_t length = __atomic_load_n(&m_imp->length, __ATOMIC_RELAXED);
  if (length == 0 && m_imp->text[0] != 0) {  // written through Alloc: measure once
    length = static_cast<uint32_t>(strnlen(m_imp->text, m_imp->capacity));
    __atomic_store_n(&m_imp->length, length, __ATOMIC_RELAXED);
  }
  return length;
}

// ---- The one mutation ------------------------------------------------------------------------

AnsiStr& AnsiStr::Splice(uint32_t pos, uint32_t remove, AnsiSubStr text, uint32_t n, bool fast) {
  const uint32_t length = GetLength();
  if (pos > length) pos = length;
  if (remove > length - pos) remove = length - pos;
  const uint64_t inserted = uint64_t{text.GetLength()} * n;
  const uint64_t newLength = uint64_t{length} - remove + inserted;
  if (newLength > kMaxLength) {
    ReportOverflow(length, inserted);
    return *this;
  }
  if (newLength == 0) {
    Release();
    return *this;
  }
  const uint32_t tail = length - pos - remove;
  const char* source = text.GetStr();
  const bool aliased = m_imp != nullptr && source + text.GetLength() > m_imp->text &&
                       source < m_imp->text + m_imp->capacity + 1;
  const bool owned = m_imp != nullptr && !m_imp->IsShared() && !aliased;
  if (owned && m_imp->capacity < newLength && m_imp->capacity + size_t{16} > kLargestParticle && !IsNoFree()) {
    // A heap body grows where it lies when the heap can extend it: no copy of the text.
    const uint64_t capacity = Imp::GetAllocSize(Imp::GetExtendSize(newLength, fast));
    if (void* grown = capacity <= kMaxLength ? realloc(m_imp, capacity + 16) : nullptr) {
      m_imp = static_cast<Imp*>(grown);
      m_imp->capacity = static_cast<uint32_t>(capacity);
    }
  }
  if (owned && m_imp->capacity >= newLength) {
    char* at = m_imp->text + pos;
    if (inserted != remove) memmove(at + inserted, at + remove, tail);
    Repeat(at, source, text.GetLength(), n);
  } else {
    Imp* body = Imp::Alloc(Imp::GetExtendSize(newLength, fast));
    if (body == nullptr) return *this;
    const char* old = GetStr();
    memcpy(body->text, old, pos);
    Repeat(body->text + pos, source, text.GetLength(), n);
    memcpy(body->text + pos + inserted, old + pos + remove, tail);
    Release();
    m_imp = body;
  }
  m_imp->text[newLength] = 0;
  m_imp->length = static_cast<uint32_t>(newLength);
  return *this;
}

AnsiStr& AnsiStr::Set(AnsiSubStr text, uint32_t n) {
  // The common case first (a line read into the same string again and again): one copy that
  // fits an owned body and does not come from it. What Splice would do, without its arithmetic.
  Imp* body = m_imp;
  const uint32_t length = text.GetLength();
  if (n == 1 && body != nullptr && length != 0 && length <= body->capacity && !body->IsShared()) {
    const char* source = text.GetStr();
    if (source >= body->text + body->capacity + 1 || source + length <= body->text) {
      memcpy(body->text, source, length);
      body->length = length;
      body->text[length] = 0;
      return *this;
    }
  }
  return Splice(0, GetLength(), text, n);
}

AnsiStr& AnsiStr::Set(const AnsiStr& text, uint32_t n) {
  if (n == 1) return *this = text;  // shares the body
  return Set(AnsiSubStr(text), n);
}

AnsiStr& AnsiStr::Set(char c, uint32_t n) { return Set(AnsiSubStr(&c, c != 0 ? 1 : 0), n); }
AnsiStr& AnsiStr::Append(AnsiSubStr text, uint32_t n) {
  // The common case first: one copy that fits an owned body and does not come from it.
  Imp* body = m_imp;
  if (n == 1 && body != nullptr && body->length != 0 && !body->IsShared()) {
    const uint32_t length = body->length;
    const uint32_t added = text.GetLength();
    const char* source = text.GetStr();
    if (added <= body->capacity - length && (source >= body->text + body->capacity + 1 || source + added <= body->text)) {
      memcpy(body->text + length, source, added);
      body->length = length + added;
      body->text[length + added] = 0;
      return *this;
    }
  }
  return Splice(GetLength(), 0, text, n);
}
AnsiStr& AnsiStr::Append(char c, uint32_t n) { return Append(AnsiSubStr(&c, c != 0 ? 1 : 0), n); }
AnsiStr& AnsiStr::Insert(uint32_t pos, AnsiSubStr text, uint32_t n) { return Splice(pos, 0, text, n); }
AnsiStr& AnsiStr::Insert(uint32_t pos, char c, uint32_t n) { return Insert(pos, AnsiSubStr(&c, c != 0 ? 1 : 0), n); }

AnsiStr& AnsiStr::Overwrite(uint32_t pos, AnsiSubStr text, uint32_t n) {
  const uint64_t covered = uint64_t{text.GetLength()} * n;
  return Splice(pos, covered > kMaxLength ? static_cast<uint32_t>(kMaxLength) : static_cast<uint32_t>(covered), text,
                n);
}

AnsiStr& AnsiStr::Overwrite(uint32_t pos, char c, uint32_t n) {
  return Overwrite(pos, AnsiSubStr(&c, c != 0 ? 1 : 0), n);
}

AnsiStr& AnsiStr::Delete(uint32_t count) { return Splice(0, count, AnsiSubStr(), 0); }
AnsiStr& AnsiStr::Delete(uint32_t pos, uint32_t count) { return Splice(pos, count, AnsiSubStr(), 0); }

AnsiStr& AnsiStr::Trunc(uint32_t len) {
  const uint32_t length = GetLength();
  return len < length ? Splice(len, length - len, AnsiSubStr(), 0) : *this;
}

AnsiStr AnsiStr::operator<<(uint32_t n) const {
  if (n == 0) return *this;
  const uint32_t length = GetLength();
  return n >= length ? AnsiStr() : AnsiStr(GetStr() + n, length - n);
}

AnsiStr AnsiStr::operator>>(uint32_t n) const { return AnsiStr(*this).Insert(0, ' ', n); }

// ---- Buffers and copies ----------------------------------------------------------------------

char* AnsiStr::Alloc(uint32_t n) {
  const uint32_t size = n != 0 ? n : 1;
  if (m_imp == nullptr || m_imp->IsShared() || m_imp->capacity < size) {
    Imp* body = Imp::Alloc(size);
    if (body == nullptr) return nullptr;
    Release();
    m_imp = body;
  }
  m_imp->text[0] = 0;
  m_imp->text[n] = 0;
  m_imp->length = 0;  // not known until the caller has written
  return m_imp->text;
}

char* AnsiStr::Alloc(uint32_t n, char c) {
  char* buffer = Alloc(n);
  if (buffer != nullptr && n != 0) {
    memset(buffer, c, n);
    m_imp->length = c != 0 ? n : 0;
  }
  return buffer;
}

char* AnsiStr::Alloc(uint32_t n, const char* text) {
  const uint32_t copied = text != nullptr ? static_cast<uint32_t>(strnlen(text, n)) : 0;
  if (m_imp != nullptr && text >= m_imp->text && text < m_imp->text + m_imp->capacity + 1) {
    AnsiStr keep(text, copied);  // the source lives in the body about to be reused
    return Alloc(n, keep.GetStr());
  }
  char* buffer = Alloc(n);
  if (buffer != nullptr) {
    memcpy(buffer, text, copied);
    buffer[copied] = 0;
    m_imp->length = copied;
  }
  return buffer;
}

AnsiStr AnsiStr::Copy() const { return AnsiStr(GetStr(), GetLength()); }

AnsiStr AnsiStr::Copy(uint32_t pos) const {
  const uint32_t length = GetLength();
  return pos < length ? AnsiStr(GetStr() + pos, length - pos) : AnsiStr();
}

AnsiStr AnsiStr::Copy(uint32_t pos, uint32_t count) const {
  const uint32_t length = GetLength();
  if (pos >= length) return AnsiStr();
  return AnsiStr(GetStr() + pos, count < length - pos ? count : length - pos);
}

uint32_t AnsiStr::CopyTo(char* buffer) const {
  if (buffer == nullptr) return 0;
  const uint32_t length = GetLength();
  memcpy(buffer, GetStr(), length + size_t{1});
  return length;
}

uint32_t AnsiStr::CopyTo(char* buffer, uint32_t max) const {
  if (buffer == nullptr || max == 0) return 0;
  const uint32_t length = GetLength();
  const uint32_t copied = length < max - 1 ? length : max - 1;
  memcpy(buffer, GetStr(), copied);
  buffer[copied] = 0;
  return copied;
}

uint32_t AnsiStr::CopyTo(char* buffer, uint32_t pos, uint32_t count) const {
  if (buffer == nullptr) return 0;
  const uint32_t length = GetLength();
  const uint32_t start = pos < length ? pos : length;
  const uint32_t copied = count < length - start ? count : length - start;
  memcpy(buffer, GetStr() + start, copied);
  buffer[copied] = 0;
  return copied;
}

// ---- Search and comparison -------------------------------------------------------------------

namespace {

// UpperCopy: length bytes of text upper-cased as UTF-8. Upper-casing keeps every character's
// length, so a position in the copy is the same position in the original.
AnsiStr UpperCopy(const char* text, uint32_t length) {
  AnsiStr copy;
  char* buffer = copy.Alloc(length);
  if (buffer != nullptr) {
    memcpy(buffer, text, length);
    buffer[length] = 0;
    UTF8CharUpperA(buffer);
  }
  return copy;
}

// The position of the first match of needle at or after pos in text[0, length), or -1.
int Search(const char* text, uint32_t length, uint32_t pos, const char* needle, uint32_t needleLength,
           bool ignoreCase) {
  if (needleLength == 0 || pos >= length || needleLength > length - pos) return -1;
  if (ignoreCase) {
    const AnsiStr subject = UpperCopy(text, length);
    const AnsiStr wanted = UpperCopy(needle, needleLength);
    if (subject.GetLength() != length || wanted.GetLength() != needleLength) return -1;  // NUL inside
    return Search(subject.GetStr(), length, pos, wanted.GetStr(), needleLength, false);
  }
  // The first byte by memchr (vectorised in the runtime library), then the rest by memcmp.
  const char* end = text + length - needleLength + 1;
  for (const char* at = text + pos; at < end; ++at) {
    at = static_cast<const char*>(memchr(at, needle[0], static_cast<size_t>(end - at)));
    if (at == nullptr) return -1;
    if (memcmp(at + 1, needle + 1, needleLength - 1) == 0) return static_cast<int>(at - text);
  }
  return -1;
}

}  // namespace

int AnsiStr::Find(char c, uint32_t pos, bool ignoreCase) const {
  if (c == 0) return -1;
  return Search(GetStr(), GetLength(), pos, &c, 1, ignoreCase);
}

int AnsiStr::Find(const char* text, uint32_t pos, bool ignoreCase) const {
  if (text == nullptr) return -1;
  return Search(GetStr(), GetLength(), pos, text, static_cast<uint32_t>(strlen(text)), ignoreCase);
}

unsigned AnsiStr::Count(char c, uint32_t pos, bool ignoreCase) const {
  if (ignoreCase) return UpperCopy(GetStr(), GetLength()).Count(UTF8CharUpperA(c), pos, false);  // fold once
  unsigned count = 0;
  for (int at = Find(c, pos, ignoreCase); at >= 0; at = Find(c, static_cast<uint32_t>(at) + 1, ignoreCase)) ++count;
  return count;
}

unsigned AnsiStr::Count(const char* text, uint32_t pos, bool ignoreCase) const {
  if (ignoreCase && text != nullptr) {  // fold once, then count plainly
    const AnsiStr wanted = UpperCopy(text, static_cast<uint32_t>(strlen(text)));
    return UpperCopy(GetStr(), GetLength()).Count(wanted.GetStr(), pos, false);
  }
  unsigned count = 0;
  for (int at = Find(text, pos, ignoreCase); at >= 0; at = Find(text, static_cast<uint32_t>(at) + 1, ignoreCase))
    ++count;
  return count;
}

int AnsiStr::FindLast(char c, uint32_t pos, bool ignoreCase) const {
  const uint32_t length = GetLength();
  if (c == 0 || pos >= length) return -1;
  const char* text = GetStr();
  const char* hit = ignoreCase ? StrRChrIA(text + pos, text + length, c) : StrRChrA(text + pos, text + length, c);
  return hit != nullptr ? static_cast<int>(hit - text) : -1;
}

int AnsiStr::Compare(const char* a, const char* b) { return strcmp(a != nullptr ? a : "", b != nullptr ? b : ""); }

int AnsiStr::Compare(const char* a, const char* b, bool ignoreCase) {
  return ignoreCase ? NCompare(a, b, 0xFFFFFFFFu, true) : Compare(a, b);
}

int AnsiStr::NCompare(const char* a, const char* b, uint32_t n) {
  return strncmp(a != nullptr ? a : "", b != nullptr ? b : "", n);
}

int AnsiStr::NCompare(const char* a, const char* b, uint32_t n, bool ignoreCase) {
  if (!ignoreCase) return NCompare(a, b, n);
  a = a != nullptr ? a : "";
  b = b != nullptr ? b : "";
  const AnsiStr left = UpperCopy(a, static_cast<uint32_t>(strnlen(a, n)));
  const AnsiStr right = UpperCopy(b, static_cast<uint32_t>(strnlen(b, n)));
  return strncmp(left.GetStr(), right.GetStr(), n);
}

// ---- Replacement and mapping -----------------------------------------------------------------

AnsiStr& AnsiStr::Replace(char from, char to) {
  if (from == 0 || Find(from) < 0) return *this;
  if (to == 0) {  // a NUL would end the text: remove the byte instead
    AnsiStr kept;
    for (const char* p = GetStr(); *p != 0; ++p)
      if (*p != from) kept.Append(*p);
    return *this = kept;
  }
  if (IsShared()) *this = Copy();
  if (m_imp == nullptr) return *this;
  for (char* p = m_imp->text; *p != 0; ++p)
    if (*p == from) *p = to;
  return *this;
}

AnsiStr& AnsiStr::Replace(AnsiSubStr from, AnsiSubStr to) {
  if (from.IsEmpty()) return *this;
  const char* text = GetStr();
  const uint32_t length = GetLength();
  int at = Search(text, length, 0, from.GetStr(), from.GetLength(), false);
  if (at < 0) return *this;
  AnsiStr result;
  uint32_t done = 0;
  while (at >= 0) {
    result.Append(AnsiSubStr(text + done, static_cast<uint32_t>(at) - done)).Append(to);
    done = static_cast<uint32_t>(at) + from.GetLength();
    at = Search(text, length, done, from.GetStr(), from.GetLength(), false);
  }
  result.Append(AnsiSubStr(text + done, length - done));
  return *this = result;
}

AnsiStr& AnsiStr::Replace(const AnsiChar& from, const AnsiChar& to) {
  return Replace(AnsiSubStr(from.GetStr()), AnsiSubStr(to.GetStr()));
}

AnsiStr& AnsiStr::Modify(char (*map)(char)) {
  if (map == nullptr || IsEmpty()) return *this;
  if (IsShared()) *this = Copy();
  if (m_imp == nullptr) return *this;
  const uint32_t length = GetLength();
  for (uint32_t i = 0; i < length; ++i) m_imp->text[i] = map(m_imp->text[i]);
  m_imp->length = static_cast<uint32_t>(strnlen(m_imp->text, length));  // a map to NUL ends the text
  return *this;
}

AnsiStr& AnsiStr::ToLower() {
  return Modify([](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
}

AnsiStr& AnsiStr::ToUpper() {
  return Modify([](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
}

AnsiStr& AnsiStr::Shrink() {
  if (m_imp == nullptr) return *this;
  const uint32_t length = GetLength();
  if (Imp::GetAllocSize(length) < uint64_t{m_imp->capacity} * 20 / 100) *this = Copy();
  return *this;
}

// ---- UTF-8 positions -------------------------------------------------------------------------

uint32_t AnsiStr::GetCharLen() const { return GetCharCount(0, GetLength()); }

uint32_t AnsiStr::GetByteInx(uint32_t charInx) const { return GetByteCount(0, charInx); }

uint32_t AnsiStr::GetCharInx(uint32_t byteInx) const { return GetCharCount(0, byteInx); }

uint32_t AnsiStr::GetByteCount(uint32_t pos, uint32_t charCount) const {
  const uint32_t length = GetLength();
  const char* text = GetStr();
  uint32_t at = pos < length ? pos : length;
  for (uint32_t n = 0; n < charCount && at < length; ++n) {
    ++at;
    while (at < length && IsContinuation(text[at])) ++at;
  }
  return at - (pos < length ? pos : length);
}

uint32_t AnsiStr::GetCharCount(uint32_t pos, uint32_t byteCount) const {
  const uint32_t length = GetLength();
  const char* text = GetStr();
  const uint32_t end = byteCount < length - (pos < length ? pos : length) ? pos + byteCount : length;
  uint32_t count = 0;
  for (uint32_t at = pos; at < end; ++at) count += !IsContinuation(text[at]);
  return count;
}

uint32_t AnsiStr::GetInx(uint32_t byteInx) const {
  const uint32_t length = GetLength();
  if (byteInx >= length) return length;
  const char* text = GetStr();
  while (byteInx > 0 && IsContinuation(text[byteInx])) --byteInx;
  return byteInx;
}

uint32_t AnsiStr::GetCount(uint32_t pos, uint32_t byteCount) const {
  const uint32_t length = GetLength();
  if (pos >= length) return 0;
  const uint32_t end = byteCount < length - pos ? GetInx(pos + byteCount) : length;
  return end > pos ? end - pos : 0;
}

// ---- Builder ---------------------------------------------------------------------------------

AnsiStrBuilder::AnsiStrBuilder(uint32_t capacity) {
  if (capacity != 0 && m_text.Alloc(capacity) == nullptr) m_failed = true;
}

AnsiStrBuilder& AnsiStrBuilder::Append(AnsiSubStr text, uint32_t n) {
  if (m_failed || text.IsEmpty() || n == 0) return *this;
  AnsiStr::Imp* body = m_text.m_imp;
  const uint64_t added = uint64_t{text.GetLength()} * n;
  if (body != nullptr && !body->IsShared() && uint64_t{body->length} + added <= body->capacity &&
      (body->length != 0 || body->text[0] == 0)) {
    Repeat(body->text + body->length, text.GetStr(), text.GetLength(), n);
    body->length += static_cast<uint32_t>(added);
    body->text[body->length] = 0;
    return *this;
  }
  const int saved = errno;
  errno = 0;
  const uint32_t before = m_text.GetLength();
  m_text.Splice(before, 0, text, n, true);
  if (m_text.GetLength() == before) m_failed = true;
  else errno = saved;
  return *this;
}

AnsiStrBuilder& AnsiStrBuilder::Append(char c, uint32_t n) { return Append(AnsiSubStr(&c, c != 0 ? 1 : 0), n); }

char* AnsiStrBuilder::Reserve(uint32_t n) {
  if (m_failed) return nullptr;
  AnsiStr::Imp* body = m_text.m_imp;
  if (body != nullptr && !body->IsShared() && (body->length != 0 || body->text[0] == 0) &&
      uint64_t{body->length} + n <= body->capacity)
    return body->text + body->length;
  const uint64_t length = m_text.GetLength();
  if (length + n > kMaxLength) {
    ReportOverflow(length, n);
    m_failed = true;
    return nullptr;
  }
  AnsiStr::Imp* grown = AnsiStr::Imp::Alloc(AnsiStr::Imp::GetExtendSize(length + n, true));
  if (grown == nullptr) {
    m_failed = true;
    return nullptr;
  }
  memcpy(grown->text, m_text.GetStr(), length + 1);
  grown->length = static_cast<uint32_t>(length);
  m_text.Release();
  m_text.m_imp = grown;
  return grown->text + length;
}

void AnsiStrBuilder::Commit(uint32_t n) {
  AnsiStr::Imp* body = m_text.m_imp;
  if (m_failed || body == nullptr || n == 0) return;
  body->length += n;
  body->text[body->length] = 0;
}

AnsiStr AnsiStrBuilder::Detach() {
  AnsiStr text = static_cast<AnsiStr&&>(m_text);
  m_text = AnsiStr();
  m_failed = false;
  return text;
}

}  // namespace OrvGuiBase
