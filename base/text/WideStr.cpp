// WideStr.cpp: wide bodies, their size and growth rules, and every wide string operation.
//
// Every change of the text goes through Splice, which replaces `removed` characters at `pos`
// by n copies of a text. Its invariant is the copy-on-write rule: a body is written only while
// the calling object owns it alone (reference count below 2) and it is large enough; otherwise
// the result is built in a new body (capacity from the growth rule), the old body is released
// and the object points at the new one. The steps:
//   1. Resolve the length (it may be "not known" after Alloc) and compute the new length in 64
//      bits; past 0xFFFFFFFF report an overflow and change nothing.
//   2. A change that adds and removes nothing returns at once, so it never copies a shared body.
//   3. In place: move the tail to its new place, then write the copies. A text that lies inside
//      the body itself would be overwritten by the move, so it always takes the new-body path.
//   4. New body: copy the head, the copies and the tail, then release the old body.
// The shared empty body has capacity 0 and a count of 2, so it is never written (step 3 needs
// a count below 2) and never released (Link and Release skip capacity 0).
#include "base/text/AnsiStr.h"
#include "base/text/CaseSearch.h"
#include "base/text/Utf.h"
#include "base/text/WideStr.h"

#include <cstring>
#include <cwctype>
#include <new>

#include "base/core/LazyStatic.h"
#include "base/core/ParticleAllocator.h"
#include "private/text/StringEvents.h"

namespace OrvGuiBase {

static_assert(offsetof(WideStr::Imp, text) == 12, "the characters follow the three 32-bit header fields");
static_assert(sizeof(wchar_t) == 4, "wide text is UTF-32");

namespace {

constexpr uint64_t kMaxLength = 0xFFFFFFFFu;

// The shared empty body: count 1 when made and raised once more, so that it always reads as
// shared and is never modified in place.
struct EmptyWideBody {
  WideStr::Imp imp;
  EmptyWideBody() noexcept { imp.ref.Link(); }
};
constinit LazyStatic<EmptyWideBody> s_emptyBody;

wchar_t* CharsOf(WideStr::Imp* imp) noexcept {
  return reinterpret_cast<wchar_t*>(reinterpret_cast<char*>(imp) + offsetof(WideStr::Imp, text));
}

void ReportAllocFail(uint64_t bytes, uint64_t codeunits) {
  ReportStringFailure(600, "String allocation failed", "bytes", bytes, "codeunits", codeunits);
}

void ReportOverflow(uint64_t length1, uint64_t length2) {
  ReportStringFailure(601, "String overflow detected", "length1", length1, "length2", length2);
}

// Fill: n copies of text (length characters) at dst. One character is stored directly; longer
// texts are copied once and then doubled from what is already written.
void Fill(wchar_t* dst, const wchar_t* text, uint32_t length, uint32_t n) noexcept {
  if (length == 0 || n == 0) return;
  if (length == 1) {
    if (n == 1)
      dst[0] = text[0];
    else
      wmemset(dst, text[0], n);
    return;
  }
  wmemcpy(dst, text, length);
  const uint64_t total = uint64_t{length} * n;
  for (uint64_t done = length; done < total;) {
    const uint64_t chunk = done < total - done ? done : total - done;
    wmemcpy(dst + done, dst, chunk);
    done += chunk;
  }
}

bool Inside(const WideStr::Imp* imp, const wchar_t* chars, const wchar_t* p) noexcept {
  const uintptr_t begin = reinterpret_cast<uintptr_t>(chars);
  const uintptr_t end = begin + (uintptr_t{imp->capacity} + 1) * sizeof(wchar_t);
  const uintptr_t at = reinterpret_cast<uintptr_t>(p);
  return at >= begin && at < end;
}

inline wchar_t Lower(wchar_t c) noexcept { return FoldWideChar(c, false); }
inline wchar_t Upper(wchar_t c) noexcept { return FoldWideChar(c, true); }

constexpr uint32_t kNone = 0xFFFFFFFFu;  // no match (a position is always below the length)

// Search: the first position p in [from, length - needle length] where needle matches, or
// kNone. The needle is not empty.
uint32_t Search(const wchar_t* text, uint32_t length, uint32_t from, WideSubStr needle, bool ignoreCase) noexcept {
  const uint32_t n = needle.GetLength();
  const wchar_t* pattern = needle.GetStr();
  if (from >= length || n > length - from) return kNone;
  const uint32_t last = length - n;
  if (!ignoreCase) {
    for (uint32_t p = from; p <= last;) {
      const wchar_t* hit = wmemchr(text + p, pattern[0], last - p + 1);
      if (hit == nullptr) break;
      p = static_cast<uint32_t>(hit - text);
      if (wmemcmp(hit + 1, pattern + 1, n - 1) == 0) return p;
      ++p;
    }
    return kNone;
  }
  const wchar_t first = Lower(pattern[0]);
  for (uint32_t p = from; p <= last; ++p) {
    if (Lower(text[p]) != first) continue;
    uint32_t i = 1;
    while (i < n && Lower(text[p + i]) == Lower(pattern[i])) ++i;
    if (i == n) return p;
  }
  return kNone;
}

int Sign(int value) noexcept { return (value > 0) - (value < 0); }

}  // namespace

// ---- Bodies ---------------------------------------------------------------------------------

uint64_t WideStr::Imp::GetAllocSize(uint64_t n) noexcept {
  uint64_t b = (4 * n + 23) & ~uint64_t{7};
  if (b > 1024) b = (b | 15) + 1;
  if (b > 0x40000000Fu) return n;
  return (b - 16) / 4;
}

uint64_t WideStr::Imp::GetExtendSize(uint64_t n) noexcept {
  if (n < 512) return n + 32;
  if (n < 8192) return n + n / 16;
  return n > 0xFFFFFDFFu ? kMaxLength : n + 512;
}

WideStr::Imp* WideStr::Imp::Init(uint64_t capacity) noexcept {
  if (capacity == 0) return GetEmpty();
  const uint64_t granted = GetAllocSize(capacity);
  const uint64_t bytes = GetBlockSize(granted);
  void* block = granted <= kMaxLength ? AllocParticle(bytes) : nullptr;
  if (block == nullptr) {
    ReportAllocFail(bytes, granted);
    return nullptr;
  }
  Imp* body = new (block) Imp;
  body->capacity = static_cast<uint32_t>(granted);
  CharsOf(body)[granted] = 0;
  return body;
}

void WideStr::Imp::Free(Imp* body) noexcept {
  const uint64_t bytes = GetBlockSize(body->capacity);
  body->~Imp();
  FreeParticle(bytes, body);
}

WideStr::Imp* WideStr::Imp::GetEmpty() noexcept {
  if (EmptyWideBody* empty = s_emptyBody.Get()) [[likely]]
    return &empty->imp;
  // Strings made after the shared body was torn down at process exit (late destructors) share
  // this one; it has no destructor, so it lasts to the end of the process.
  static EmptyWideBody s_lateEmpty;
  return &s_lateEmpty.imp;
}

// ---- Construction, assignment, length ------------------------------------------------------

WideStr::WideStr(WideSubStr text, uint32_t n) noexcept : m_text(Imp::GetEmpty()->text) { Build(text, n, {}); }

namespace {
// Decodes length bytes of UTF-8 into target (which must have room for the units and a NUL).
void DecodeInto(WideStr& target, const char* text, uint32_t length) noexcept {
  if (text == nullptr || length == 0) return;
  const uint32_t units = UTF8toUTF32(text, length, nullptr, 0);
  if (units == 0) return;
  wchar_t* buffer = target.Alloc(units);
  if (buffer == nullptr) return;
  UTF8toUTF32(text, length, reinterpret_cast<char32_t*>(buffer), units);
  buffer[units] = 0;  // the length is measured on first use
}
}  // namespace

WideStr::WideStr(const char* text) noexcept : m_text(Imp::GetEmpty()->text) {
  DecodeInto(*this, text, text != nullptr ? static_cast<uint32_t>(strlen(text)) : 0);
}

WideStr::WideStr(const AnsiStr& text) noexcept : m_text(Imp::GetEmpty()->text) {
  DecodeInto(*this, text.GetStr(), text.GetLength());
}

const WideStr& WideStr::GetEmpty() noexcept {
  static const WideStr s_empty;  // its destructor leaves the shared body alone
  return s_empty;
}

void WideStr::Build(WideSubStr head, uint32_t n, WideSubStr tail) noexcept {
  const uint64_t headLength = uint64_t{head.GetLength()} * n;
  const uint64_t length = headLength + tail.GetLength();
  if (length == 0) return;
  if (length > kMaxLength) {
    ReportOverflow(headLength, tail.GetLength());
    return;
  }
  Imp* body = Imp::Init(length);
  if (body == nullptr) return;
  wchar_t* chars = CharsOf(body);
  Fill(chars, head.GetStr(), head.GetLength(), n);
  if (tail.GetLength() != 0) wmemcpy(chars + headLength, tail.GetStr(), tail.GetLength());
  chars[length] = 0;
  body->length.store(static_cast<uint32_t>(length), std::memory_order_relaxed);
  Release();
  m_text = chars;
}

WideStr operator+(WideSubStr a, WideSubStr b) noexcept {
  WideStr result;
  result.Build(a, 1, b);
  return result;
}

WideStr& WideStr::operator=(const WideStr& other) noexcept {
  other.Link();
  Release();
  m_text = other.m_text;
  return *this;
}

WideStr& WideStr::operator=(WideStr&& other) noexcept {
  if (this != &other) {
    Release();
    m_text = other.m_text;
    other.m_text = Imp::GetEmpty()->text;
  }
  return *this;
}

void WideStr::Release() noexcept {
  Imp* imp = GetImp();
  if (imp->capacity != 0 && imp->ref.Unlink()) Imp::Free(imp);
}

bool WideStr::MoveToNewBody(uint32_t length) noexcept {
  Imp* body = Imp::Init(length);
  if (body == nullptr) return false;
  wchar_t* target = CharsOf(body);
  wmemcpy(target, m_text, length);
  target[length] = 0;
  body->length.store(length, std::memory_order_relaxed);
  Release();
  m_text = target;
  return true;
}

uint32_t WideStr::ResolveLength() const noexcept {
  Imp* imp = GetImp();
  // The character at index capacity is always NUL, so the scan ends inside the body.
  const uint32_t length = static_cast<uint32_t>(wcsnlen(m_text, imp->capacity));
  imp->length.store(length, std::memory_order_relaxed);
  return length;
}

bool WideStr::Equal(const WideStr& a, WideSubStr b) noexcept {
  const uint32_t length = a.GetLen();
  return length == b.GetLength() && (length == 0 || wmemcmp(a.m_text, b.GetStr(), length) == 0);
}

// ---- Changes --------------------------------------------------------------------------------

WideStr& WideStr::Splice(uint32_t pos, uint32_t removed, WideSubStr text, uint32_t n) noexcept {
  const uint32_t length = GetLen();
  const uint64_t kept = length - removed;
  const uint64_t added = uint64_t{text.GetLength()} * n;
  if (kept + added > kMaxLength) {
    ReportOverflow(kept, added);
    return *this;
  }
  if (added == 0 && removed == 0) return *this;
  const uint32_t newLength = static_cast<uint32_t>(kept + added);
  const uint32_t tailFrom = pos + removed;
  const uint32_t tailTo = static_cast<uint32_t>(pos + added);
  const uint32_t tail = length - tailFrom;
  Imp* imp = GetImp();
  wchar_t* chars = const_cast<wchar_t*>(m_text);
  if (!imp->ref.IsShared() && imp->capacity >= newLength &&
      (text.GetLength() == 0 || !Inside(imp, chars, text.GetStr()))) {
    if (tailTo != tailFrom && tail != 0) wmemmove(chars + tailTo, chars + tailFrom, tail);
    Fill(chars + pos, text.GetStr(), text.GetLength(), n);
  } else if (newLength == 0) {
    return Clear();
  } else {
    Imp* body = Imp::Init(Imp::GetExtendSize(newLength));
    if (body == nullptr) return *this;
    wchar_t* target = CharsOf(body);
    wmemcpy(target, chars, pos);
    Fill(target + pos, text.GetStr(), text.GetLength(), n);
    wmemcpy(target + tailTo, chars + tailFrom, tail);
    Release();
    m_text = target;
    imp = body;
    chars = target;
  }
  chars[newLength] = 0;
  imp->length.store(newLength, std::memory_order_relaxed);
  return *this;
}

WideStr& WideStr::Set(WideSubStr text, uint32_t n) noexcept {
  return n != 0 ? Splice(0, GetLen(), text, n) : *this;  // a count of 0 does nothing, here too
}

WideStr& WideStr::Append(WideSubStr text, uint32_t n) noexcept { return Splice(GetLen(), 0, text, n); }

WideStr& WideStr::Insert(uint32_t pos, WideSubStr text, uint32_t n) noexcept {
  const uint32_t length = GetLen();
  return Splice(pos < length ? pos : length, 0, text, n);
}

WideStr& WideStr::Overwrite(uint32_t pos, WideSubStr text, uint32_t n) noexcept {
  const uint32_t length = GetLen();
  if (pos > length) pos = length;
  const uint64_t written = uint64_t{text.GetLength()} * n;
  const uint32_t removed = written < length - pos ? static_cast<uint32_t>(written) : length - pos;
  return Splice(pos, removed, text, n);
}

WideStr& WideStr::Delete(uint32_t pos, uint32_t count) noexcept {
  const uint32_t length = GetLen();
  if (pos >= length || count == 0) return *this;
  return Splice(pos, count < length - pos ? count : length - pos, {}, 1);
}

WideStr& WideStr::Trunc(uint32_t length) noexcept {
  const uint32_t current = GetLen();
  return length < current ? Splice(length, current - length, {}, 1) : *this;
}

WideStr& WideStr::Clear() noexcept {
  Release();
  m_text = Imp::GetEmpty()->text;
  return *this;
}

WideStr WideStr::operator<<(uint32_t n) const noexcept {
  if (n == 0) return *this;
  const uint32_t length = GetLen();
  if (n >= length) return WideStr();
  return WideStr(WideSubStr(m_text + n, length - n));
}

WideStr WideStr::operator>>(uint32_t n) const noexcept {
  static const wchar_t kSpace = L' ';
  WideStr result;
  result.Build(WideSubStr(&kSpace, 1), n, *this);
  return result;
}

// ---- Buffers and copies ---------------------------------------------------------------------

wchar_t* WideStr::Alloc(uint32_t n) noexcept {
  const uint32_t wanted = n != 0 ? n : 1;
  Imp* imp = GetImp();
  if (imp->ref.IsShared() || imp->capacity < wanted) {
    Imp* body = Imp::Init(wanted);
    if (body == nullptr) return nullptr;
    Release();
    m_text = CharsOf(body);
    imp = body;
  }
  wchar_t* chars = const_cast<wchar_t*>(m_text);
  chars[0] = 0;
  chars[n] = 0;
  imp->length.store(0, std::memory_order_relaxed);  // not known until the caller has written
  return chars;
}

wchar_t* WideStr::Alloc(uint32_t n, wchar_t c) noexcept {
  wchar_t* chars = Alloc(n);
  if (chars != nullptr && n != 0) wmemset(chars, c, n);
  return chars;
}

wchar_t* WideStr::Alloc(uint32_t n, const wchar_t* text) noexcept {
  // A source inside this string's own body must survive the reuse of that body.
  const WideStr keep = text != nullptr && Inside(GetImp(), m_text, text) ? *this : WideStr();
  wchar_t* chars = Alloc(n);
  if (chars != nullptr && text != nullptr) {
    const size_t length = wcsnlen(text, n);
    wmemmove(chars, text, length);
    chars[length] = 0;
  }
  return chars;
}

WideStr WideStr::Copy(uint32_t pos, uint32_t count) const noexcept {
  const uint32_t length = GetLen();
  if (pos > length) pos = length;
  if (count > length - pos) count = length - pos;
  return WideStr(WideSubStr(m_text + pos, count));
}

uint32_t WideStr::CopyTo(wchar_t* buffer, uint32_t max) const noexcept {
  if (buffer == nullptr || max == 0) return 0;
  const uint32_t length = GetLen();
  const uint32_t count = length < max - 1 ? length : max - 1;
  wmemcpy(buffer, m_text, count);
  buffer[count] = 0;
  return count;
}

uint32_t WideStr::CopyTo(wchar_t* buffer, uint32_t pos, uint32_t count) const noexcept {
  if (buffer == nullptr) return 0;
  const uint32_t length = GetLen();
  if (pos > length) pos = length;
  if (count > length - pos) count = length - pos;
  wmemcpy(buffer, m_text + pos, count);
  buffer[count] = 0;
  return count;
}

// ---- Searches and comparison ----------------------------------------------------------------

int WideStr::Find(wchar_t c, uint32_t start, bool ignoreCase) const noexcept {
  return c != 0 ? Find(WideSubStr(&c, 1), start, ignoreCase) : -1;
}

int WideStr::Find(WideSubStr text, uint32_t start, bool ignoreCase) const noexcept {
  const uint32_t at = text.IsEmpty() ? kNone : Search(m_text, GetLen(), start, text, ignoreCase);
  return at != kNone ? static_cast<int>(at) : -1;
}

int WideStr::FindLast(wchar_t c, uint32_t start, bool ignoreCase) const noexcept {
  const uint32_t length = GetLen();
  if (c == 0 || start >= length) return -1;
  const wchar_t wanted = ignoreCase ? Lower(c) : c;
  for (uint32_t p = length; p-- > start;)
    if ((ignoreCase ? Lower(m_text[p]) : m_text[p]) == wanted) return static_cast<int>(p);
  return -1;
}

unsigned WideStr::Count(wchar_t c, uint32_t start, bool ignoreCase) const noexcept {
  return c != 0 ? Count(WideSubStr(&c, 1), start, ignoreCase) : 0;
}

unsigned WideStr::Count(WideSubStr text, uint32_t start, bool ignoreCase) const noexcept {
  if (text.IsEmpty()) return 0;
  const uint32_t length = GetLen();
  unsigned count = 0;
  for (uint32_t p = Search(m_text, length, start, text, ignoreCase); p != kNone;
       p = Search(m_text, length, p + 1, text, ignoreCase))
    ++count;
  return count;
}

int WideStr::Compare(const wchar_t* a, const wchar_t* b, bool ignoreCase) noexcept {
  if (a == nullptr) a = L"";
  if (b == nullptr) b = L"";
  if (!ignoreCase) return Sign(wcscmp(a, b));
  for (;; ++a, ++b) {
    const wchar_t ca = Lower(*a), cb = Lower(*b);
    if (ca != cb) return ca < cb ? -1 : 1;
    if (ca == 0) return 0;
  }
}

int WideStr::NCompare(const wchar_t* a, const wchar_t* b, uint32_t count, bool ignoreCase) noexcept {
  if (a == nullptr) a = L"";
  if (b == nullptr) b = L"";
  if (!ignoreCase) return Sign(wcsncmp(a, b, count));
  for (uint32_t i = 0; i < count; ++i) {
    const wchar_t ca = Lower(a[i]), cb = Lower(b[i]);
    if (ca != cb) return ca < cb ? -1 : 1;
    if (ca == 0) return 0;
  }
  return 0;
}

// ---- Replacement and mapping ----------------------------------------------------------------

// MapChars: replaces each character c by map(c). A shared body is copied only when some
// character actually changes, and then into a body of exactly the length.
template <class Map>
WideStr& WideStr::MapChars(Map map) noexcept {
  const uint32_t length = GetLen();
  uint32_t first = 0;
  while (first < length && map(m_text[first]) == m_text[first]) ++first;
  if (first == length) return *this;
  if (GetImp()->ref.IsShared() && !MoveToNewBody(length)) return *this;
  wchar_t* chars = const_cast<wchar_t*>(m_text);
  for (uint32_t i = first; i < length; ++i) chars[i] = map(chars[i]);
  return *this;
}

WideStr& WideStr::Replace(wchar_t from, wchar_t to) noexcept {
  if (from == 0 || from == to) return *this;
  return MapChars([from, to](wchar_t c) { return c == from ? to : c; });
}

WideStr& WideStr::Replace(WideSubStr from, WideSubStr to) noexcept {
  if (from.IsEmpty()) return *this;
  const uint32_t length = GetLen();
  uint64_t matches = 0;
  for (uint32_t p = Search(m_text, length, 0, from, false); p != kNone;
       p = Search(m_text, length, p + from.GetLength(), from, false))
    ++matches;
  if (matches == 0) return *this;
  const uint64_t kept = length - matches * from.GetLength();
  const uint64_t added = matches * to.GetLength();
  if (kept + added > kMaxLength) {
    ReportOverflow(kept, added);
    return *this;
  }
  const uint32_t newLength = static_cast<uint32_t>(kept + added);
  if (newLength == 0) return Clear();
  // Always into a new body: from and to may point into this very text.
  Imp* body = Imp::Init(Imp::GetExtendSize(newLength));
  if (body == nullptr) return *this;
  wchar_t* target = CharsOf(body);
  uint32_t read = 0;
  uint32_t written = 0;
  for (uint32_t p = Search(m_text, length, 0, from, false); p != kNone; p = Search(m_text, length, read, from, false)) {
    wmemcpy(target + written, m_text + read, p - read);
    written += p - read;
    if (to.GetLength() != 0) wmemcpy(target + written, to.GetStr(), to.GetLength());
    written += to.GetLength();
    read = p + from.GetLength();
  }
  wmemcpy(target + written, m_text + read, length - read);
  target[newLength] = 0;
  body->length.store(newLength, std::memory_order_relaxed);
  Release();
  m_text = target;
  return *this;
}

WideStr& WideStr::ToLower() noexcept { return MapChars(Lower); }

WideStr& WideStr::ToUpper() noexcept { return MapChars(Upper); }

WideStr& WideStr::Modify(wchar_t (*map)(wchar_t)) noexcept { return map != nullptr ? MapChars(map) : *this; }

WideStr& WideStr::Shrink() noexcept {
  Imp* imp = GetImp();
  if (imp->capacity == 0) return *this;
  const uint32_t length = GetLen();
  if (Imp::GetAllocSize(length) >= uint64_t{imp->capacity} * 20 / 100) return *this;
  if (length == 0) return Clear();
  MoveToNewBody(length);
  return *this;
}

}  // namespace OrvGuiBase
