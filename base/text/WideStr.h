// WideStr.h: the library's wide string (wchar_t, 32 bits: UTF-32) and its view WideSubStr.
//
//   WideStr path(L"/var/log");
//   path.Append(L'/').Append(L"app.log");
//   int at = path.Find(L"LOG", 0, true);                 // 5, ignoring case; -1 when absent
//
// A WideStr is one pointer straight to the first character of a shared, reference-counted
// body, so GetStr() is a plain load. The header fields sit in front of the characters: the
// 32-bit reference count, the capacity and the length (32-bit, in characters, without the
// terminator). The pointer is never null: an empty WideStr points at one shared empty body,
// which is made once and never released. Copies share the body; a change copies it first when
// it is shared (copy-on-write), so string values may be copied and released on many threads at
// once. One WideStr object must not be changed by two threads at once.
//
// Every operation that takes a text comes with the overloads wchar_t, const wchar_t*,
// WideSubStr and WideStr, and most take a trailing repeat count n (default 1; 0 changes
// nothing). Positions and counts are in characters. A position past the length is taken as the
// length.
//
// Failures never throw: a body that cannot be allocated (event 600) or a length past 32 bits
// (event 601) leaves the string unchanged, reports an event from the source "ORVGUI" and sets
// the last error to 12.
//
// Depends on base/core (Reference, particles, lazy statics, last error, events).
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cwchar>

#include "base/core/Export.h"
#include "base/core/Reference.h"

namespace OrvGuiBase {

class WideStr;
class AnsiStr;

// WideSubStr: a view of wide characters: a pointer and a 32-bit length in characters. It owns
// nothing and need not be NUL-terminated; the text it points at must outlive it.
class ORVGUI_API WideSubStr {
 public:
  constexpr WideSubStr() noexcept = default;
  constexpr WideSubStr(const wchar_t* text, uint32_t length) noexcept
      : m_text(length != 0 ? text : nullptr), m_length(text != nullptr ? length : 0) {}
  // WideSubStr(text): the whole NUL-terminated text; null is the empty view.
  WideSubStr(const wchar_t* text) noexcept  // NOLINT(google-explicit-constructor)
      : m_text(text), m_length(text != nullptr ? static_cast<uint32_t>(wcslen(text)) : 0) {}
  WideSubStr(const WideStr& text) noexcept;  // NOLINT(google-explicit-constructor)

  // GetStr: the first character (L"" for a view made from null). Not necessarily terminated.
  const wchar_t* GetStr() const noexcept { return m_text != nullptr ? m_text : L""; }
  // GetLength: the number of characters.
  uint32_t GetLength() const noexcept { return m_length; }
  bool IsEmpty() const noexcept { return m_length == 0; }

 private:
  const wchar_t* m_text = nullptr;
  uint32_t m_length = 0;
};

class ORVGUI_API WideStr {
 public:
  // Imp: the body in front of the characters. The characters follow the header at once
  // (offset 12), terminated by a NUL; the block is capacity * 4 + 16 bytes, so there is always
  // room for the terminator at index capacity.
  struct ORVGUI_API Imp {
    Reference ref;          // 1 when made
    uint32_t capacity = 0;  // characters, without the terminator; 0 only for the empty body
    // length: characters without the terminator. 0 with a non-NUL first character means "not
    // known yet" (after Alloc): it is computed with wcslen and stored on first need. Atomic
    // because readers of a shared body may store it at the same time.
    std::atomic<uint32_t> length{0};
    wchar_t text[1] = {0};

    // GetAllocSize: the capacity a request for n characters gets. The block is b = (4n + 23)
    // rounded down to a multiple of 8; above 1024 bytes it goes on to the next multiple of 16
    // above, (b | 15) + 1. The capacity is (b - 16) / 4, at least n. Past a block of
    // 0x40000000F bytes the capacity is n itself (block 4n + 16).
    static uint64_t GetAllocSize(uint64_t n) noexcept;
    // GetExtendSize: the capacity asked for when a text grows to n characters: n + 32 below
    // 512, n + n / 16 below 8192, then n + 512; 0xFFFFFFFF once n passes 0xFFFFFDFF.
    static uint64_t GetExtendSize(uint64_t n) noexcept;
    // GetBlockSize: the bytes of the block of a body with this capacity.
    static uint64_t GetBlockSize(uint64_t capacity) noexcept { return capacity * 4 + 16; }
    // Init: a new body for at least capacity characters, empty and terminated, reference count
    // 1. Capacity 0 gives the shared empty body without allocating. Null after reporting event
    // 600 (last error 12) when the block cannot be allocated.
    static Imp* Init(uint64_t capacity) noexcept;
    // Free: gives the block of an unshared body back (capacity * 4 + 16 bytes).
    static void Free(Imp* body) noexcept;
    // GetEmpty: the shared empty body.
    static Imp* GetEmpty() noexcept;
  };

  // Construction. A text with a repeat count n gives n copies of it; the body has exactly the
  // capacity the size rule gives for the length. Copies share the body.
  WideStr() noexcept : m_text(Imp::GetEmpty()->text) {}
  WideStr(const WideStr& other) noexcept : m_text(other.m_text) { Link(); }
  WideStr(WideStr&& other) noexcept : m_text(other.m_text) { other.m_text = Imp::GetEmpty()->text; }
  WideStr(const wchar_t* text, uint32_t n = 1) noexcept  // NOLINT(google-explicit-constructor)
      : WideStr(WideSubStr(text), n) {}
  WideStr(WideSubStr text, uint32_t n = 1) noexcept;  // NOLINT(google-explicit-constructor)
  WideStr(const WideStr& text, uint32_t n) noexcept : WideStr(WideSubStr(text), n) {}
  // From narrow (UTF-8) text, decoded as the converters decode it; empty with the converter's
  // last error (84 for an ill-formed sequence).
  explicit WideStr(const char* text) noexcept;
  explicit WideStr(const AnsiStr& text) noexcept;
  explicit WideStr(wchar_t c, uint32_t n = 1) noexcept : WideStr(WideSubStr(&c, c != 0 ? 1 : 0), n) {}
  ~WideStr() { Release(); }

  // operator=: another WideStr shares its body; a text replaces the content (as Set).
  WideStr& operator=(const WideStr& other) noexcept;
  WideStr& operator=(WideStr&& other) noexcept;
  WideStr& operator=(const wchar_t* text) noexcept { return Set(text); }
  WideStr& operator=(WideSubStr text) noexcept { return Set(text); }
  WideStr& operator=(wchar_t c) noexcept { return Set(c); }
  WideStr& operator=(const char* text) noexcept { return *this = WideStr(text); }
  WideStr& operator=(const AnsiStr& text) noexcept { return *this = WideStr(text); }

  // GetEmpty: a static empty WideStr.
  static const WideStr& GetEmpty() noexcept;

  // GetStr: the characters, NUL-terminated, never null.
  const wchar_t* GetStr() const noexcept { return m_text; }
  operator const wchar_t*() const noexcept { return m_text; }  // NOLINT(google-explicit-constructor)
  // GetLen: the length in characters; after Alloc it is computed once with wcslen and stored.
  uint32_t GetLen() const noexcept {
    const uint32_t length = GetImp()->length.load(std::memory_order_relaxed);
    if (length == 0 && m_text[0] != 0) [[unlikely]]
      return ResolveLength();
    return length;
  }
  // GetLength: the same as GetLen, under the name the narrow string uses.
  uint32_t GetLength() const noexcept { return GetLen(); }
  bool IsEmpty() const noexcept { return GetLen() == 0; }
  // operator[]: the character at pos; 0 at or past the length.
  wchar_t operator[](uint32_t pos) const noexcept { return pos < GetLen() ? m_text[pos] : 0; }
  // GetCapacity: characters the body holds without growing (0 for the shared empty body).
  uint32_t GetCapacity() const noexcept { return GetImp()->capacity; }
  // IsShared: the body has more than one owner (the empty body always counts as shared).
  bool IsShared() const noexcept { return GetImp()->ref.IsShared(); }

  // Set: replace the content with n copies of the text (a count of 0 leaves it as it is).
  WideStr& Set(WideSubStr text, uint32_t n = 1) noexcept;
  WideStr& Set(const wchar_t* text, uint32_t n = 1) noexcept { return Set(WideSubStr(text), n); }
  WideStr& Set(const WideStr& text, uint32_t n = 1) noexcept { return Set(WideSubStr(text), n); }
  WideStr& Set(wchar_t c, uint32_t n = 1) noexcept { return Set(WideSubStr(&c, c != 0 ? 1 : 0), n); }

  // Append, operator+=: add n copies of the text at the end.
  WideStr& Append(WideSubStr text, uint32_t n = 1) noexcept;
  WideStr& Append(const wchar_t* text, uint32_t n = 1) noexcept { return Append(WideSubStr(text), n); }
  WideStr& Append(const WideStr& text, uint32_t n = 1) noexcept { return Append(WideSubStr(text), n); }
  WideStr& Append(wchar_t c, uint32_t n = 1) noexcept { return Append(WideSubStr(&c, c != 0 ? 1 : 0), n); }
  WideStr& operator+=(WideSubStr text) noexcept { return Append(text); }
  WideStr& operator+=(const wchar_t* text) noexcept { return Append(text); }
  WideStr& operator+=(const WideStr& text) noexcept { return Append(text); }
  WideStr& operator+=(wchar_t c) noexcept { return Append(c); }

  // Insert: put n copies of the text in front of position pos.
  WideStr& Insert(uint32_t pos, WideSubStr text, uint32_t n = 1) noexcept;
  WideStr& Insert(uint32_t pos, const wchar_t* text, uint32_t n = 1) noexcept {
    return Insert(pos, WideSubStr(text), n);
  }
  WideStr& Insert(uint32_t pos, const WideStr& text, uint32_t n = 1) noexcept {
    return Insert(pos, WideSubStr(text), n);
  }
  WideStr& Insert(uint32_t pos, wchar_t c, uint32_t n = 1) noexcept {
    return Insert(pos, WideSubStr(&c, c != 0 ? 1 : 0), n);
  }

  // Overwrite: write n copies of the text over the characters from pos; the string grows when
  // the text reaches past its end.
  WideStr& Overwrite(uint32_t pos, WideSubStr text, uint32_t n = 1) noexcept;
  WideStr& Overwrite(uint32_t pos, const wchar_t* text, uint32_t n = 1) noexcept {
    return Overwrite(pos, WideSubStr(text), n);
  }
  WideStr& Overwrite(uint32_t pos, const WideStr& text, uint32_t n = 1) noexcept {
    return Overwrite(pos, WideSubStr(text), n);
  }
  WideStr& Overwrite(uint32_t pos, wchar_t c, uint32_t n = 1) noexcept {
    return Overwrite(pos, WideSubStr(&c, c != 0 ? 1 : 0), n);
  }

  // Delete(count): remove count characters from the start. The one-argument form deliberately
  // takes a count, not a position: callers strip prefixes with it.
  WideStr& Delete(uint32_t count) noexcept { return Delete(0, count); }
  // Delete(pos, count): remove up to count characters from pos.
  WideStr& Delete(uint32_t pos, uint32_t count) noexcept;
  // Trunc: cut to at most length characters.
  WideStr& Trunc(uint32_t length) noexcept;
  // Clear: make empty (the shared empty body; the old body is released).
  WideStr& Clear() noexcept;

  // operator<<: a new string without the first n characters (empty when n reaches the length,
  // the same body when n is 0). operator>>: a new string with n spaces in front.
  WideStr operator<<(uint32_t n) const noexcept;
  WideStr operator>>(uint32_t n) const noexcept;
  // operator<<=, operator>>=: the same in place.
  WideStr& operator<<=(uint32_t n) noexcept { return Delete(0, n); }
  WideStr& operator>>=(uint32_t n) noexcept { return Insert(0, L' ', n); }

  // Alloc: a writable buffer of at least n characters (at least 1), with positions 0 and n
  // cleared and the length "not known": write the text and its NUL, and the next GetLen counts
  // it. The body is reused when it is unshared and large enough. Alloc(n, c) fills positions 0
  // to n - 1 with c; Alloc(n, text) copies text up to its first NUL or n characters. Null (last
  // error 12) when no body can be had; the string is then unchanged.
  wchar_t* Alloc(uint32_t n) noexcept;
  wchar_t* Alloc(uint32_t n, wchar_t c) noexcept;
  wchar_t* Alloc(uint32_t n, const wchar_t* text) noexcept;

  // Copy: a new string with a body of its own: the whole text, the tail from pos, or count
  // characters from pos.
  WideStr Copy() const noexcept { return Copy(0, 0xFFFFFFFFu); }
  WideStr Copy(uint32_t pos) const noexcept { return Copy(pos, 0xFFFFFFFFu); }
  WideStr Copy(uint32_t pos, uint32_t count) const noexcept;
  // CopyTo: copy out to the caller's buffer and terminate it; returns the characters copied
  // (without the NUL). CopyTo(buffer) copies everything (the buffer holds GetLen() + 1);
  // CopyTo(buffer, max) at most max - 1 characters into a buffer of max (nothing when max is
  // 0); CopyTo(buffer, pos, count) up to count characters from pos (the buffer holds count + 1).
  uint32_t CopyTo(wchar_t* buffer) const noexcept { return CopyTo(buffer, 0, 0xFFFFFFFFu); }
  uint32_t CopyTo(wchar_t* buffer, uint32_t max) const noexcept;
  uint32_t CopyTo(wchar_t* buffer, uint32_t pos, uint32_t count) const noexcept;

  // Find: the first position at or after start where the text occurs, -1 when there is none.
  // A NUL character, an empty text and a start at or past the length find nothing. With
  // ignoreCase the characters are compared after towlower.
  int Find(wchar_t c, uint32_t start = 0, bool ignoreCase = false) const noexcept;
  int Find(WideSubStr text, uint32_t start = 0, bool ignoreCase = false) const noexcept;
  int Find(const wchar_t* text, uint32_t start = 0, bool ignoreCase = false) const noexcept {
    return Find(WideSubStr(text), start, ignoreCase);
  }
  // FindLast: the last position at or after start where c occurs, -1 when there is none.
  int FindLast(wchar_t c, uint32_t start = 0, bool ignoreCase = false) const noexcept;
  // Count: how often the text occurs from start on. After each match the count goes on one
  // character further, so overlapping matches count ("aaa" holds "aa" twice).
  unsigned Count(wchar_t c, uint32_t start = 0, bool ignoreCase = false) const noexcept;
  unsigned Count(WideSubStr text, uint32_t start = 0, bool ignoreCase = false) const noexcept;
  unsigned Count(const wchar_t* text, uint32_t start = 0, bool ignoreCase = false) const noexcept {
    return Count(WideSubStr(text), start, ignoreCase);
  }

  // Compare: three-way comparison (-1, 0, 1) of two NUL-terminated texts by character value;
  // null reads as empty. With ignoreCase both sides go through towlower.
  static int Compare(const wchar_t* a, const wchar_t* b, bool ignoreCase = false) noexcept;
  // NCompare: the same over at most count characters.
  static int NCompare(const wchar_t* a, const wchar_t* b, uint32_t count, bool ignoreCase = false) noexcept;

  // Replace: replace every occurrence of from by to, left to right, without rescanning the
  // replacement. An empty from changes nothing; so does a NUL character.
  WideStr& Replace(wchar_t from, wchar_t to) noexcept;
  WideStr& Replace(WideSubStr from, WideSubStr to) noexcept;
  WideStr& Replace(const WideStr& from, const WideStr& to) noexcept {
    return Replace(WideSubStr(from), WideSubStr(to));
  }
  WideStr& Replace(const wchar_t* from, const wchar_t* to) noexcept {
    return Replace(WideSubStr(from), WideSubStr(to));
  }

  // ToLower, ToUpper, Modify: map each character (towlower, towupper, or the caller's
  // function), copying a shared body first.
  WideStr& ToLower() noexcept;
  WideStr& ToUpper() noexcept;
  WideStr& Modify(wchar_t (*map)(wchar_t)) noexcept;

  // Shrink: when the capacity the length needs is below a fifth of the present capacity, move
  // the text into a body of exactly that size; otherwise keep the body.
  WideStr& Shrink() noexcept;

  // Equality compares the whole texts (lengths, then characters); ordering is Compare's.
  friend bool operator==(const WideStr& a, const WideStr& b) noexcept { return Equal(a, WideSubStr(b)); }
  friend bool operator==(const WideStr& a, const wchar_t* b) noexcept { return Equal(a, WideSubStr(b)); }
  friend bool operator<(const WideStr& a, const WideStr& b) noexcept { return Compare(a.m_text, b.m_text) < 0; }

 private:
  static constexpr size_t kHeaderBytes = 12;
  Imp* GetImp() const noexcept {
    return reinterpret_cast<Imp*>(reinterpret_cast<char*>(const_cast<wchar_t*>(m_text)) - kHeaderBytes);
  }
  void Link() const noexcept {
    Imp* imp = GetImp();
    if (imp->capacity != 0) imp->ref.Link();
  }
  void Release() noexcept;
  uint32_t ResolveLength() const noexcept;
  // MoveToNewBody: the text (length characters, not 0) into a body of its own of exactly that
  // size; false (the string unchanged) when no body can be had.
  bool MoveToNewBody(uint32_t length) noexcept;
  WideStr& Splice(uint32_t pos, uint32_t removed, WideSubStr text, uint32_t n) noexcept;
  template <class Map>
  WideStr& MapChars(Map map) noexcept;
  void Build(WideSubStr head, uint32_t n, WideSubStr tail) noexcept;
  static bool Equal(const WideStr& a, WideSubStr b) noexcept;
  friend ORVGUI_API WideStr operator+(WideSubStr a, WideSubStr b) noexcept;

  const wchar_t* m_text;
};

// operator+: a new string of exactly the joined length.
ORVGUI_API WideStr operator+(WideSubStr a, WideSubStr b) noexcept;
inline WideStr operator+(const WideStr& a, const WideStr& b) noexcept { return WideSubStr(a) + WideSubStr(b); }
inline WideStr operator+(const WideStr& a, const wchar_t* b) noexcept { return WideSubStr(a) + WideSubStr(b); }
inline WideStr operator+(const wchar_t* a, const WideStr& b) noexcept { return WideSubStr(a) + WideSubStr(b); }
inline WideStr operator+(const WideStr& a, wchar_t c) noexcept {
  return WideSubStr(a) + WideSubStr(&c, c != 0 ? 1 : 0);
}
inline WideStr operator+(wchar_t c, const WideStr& b) noexcept {
  return WideSubStr(&c, c != 0 ? 1 : 0) + WideSubStr(b);
}

inline WideSubStr::WideSubStr(const WideStr& text) noexcept : m_text(text.GetStr()), m_length(text.GetLen()) {}

}  // namespace OrvGuiBase
