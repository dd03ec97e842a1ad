// AnsiStr.h: the library's narrow string (UTF-8 by convention), its view AnsiSubStr, and
// AnsiStrBuilder for long texts.
//
//   AnsiStr name("Lock");
//   name.Append(" duration").Append('!', 3);            // "Lock duration!!!"
//   int at = name.Find("dur");                            // 5; -1 when absent
//   printf("%s: %u bytes, %u characters\n", name.GetStr(), name.GetLength(), name.GetCharLen());
//
// Accessors: GetStr() is the text (never null: "" for an empty string), GetLength() its length
// in bytes, GetCharLen() its length in UTF-8 characters. Positions and counts are byte
// positions and byte counts unless the name says Char.
//
// An AnsiStr is one pointer to a shared, reference-counted body taken from the particle
// allocator; a null pointer is the empty string. Copies share the body; every change copies it
// first when it is shared (copy-on-write), so copies may travel between threads freely, but one
// string object must not be changed by two threads at once. Body: the 32-bit reference count,
// the capacity and the length (32-bit bytes, without the terminator), then the NUL-terminated
// text. A length of 0 over a text that does not start with NUL means "not known yet" (after a
// caller wrote into an Alloc buffer); it is computed with strlen when first needed.
//
// Every operation that takes a text comes for a char, a const char*, an AnsiSubStr and an
// AnsiStr, and an optional trailing count n repeats the text n times (0 does nothing). Mutating
// operations return the string for chaining. Failures never throw: an allocation failure or a
// length past 32 bits leaves the string unchanged, reports an event from source "ORVGUI" and
// sets the last error to 12.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/core/Export.h"
#include "base/core/Reference.h"

namespace OrvGuiBase {

class AnsiStr;
class AnsiChar;
class WideStr;

// AnsiSubStr: a view of bytes (a pointer and a 32-bit length); the common argument of all
// operations. It does not own the bytes.
class AnsiSubStr {
 public:
  constexpr AnsiSubStr() = default;
  constexpr AnsiSubStr(const char* text, uint32_t length) : m_text(text), m_length(text != nullptr ? length : 0) {}
  AnsiSubStr(const char* text)  // NOLINT(google-explicit-constructor)
      : m_text(text), m_length(text != nullptr ? static_cast<uint32_t>(strlen(text)) : 0) {}
  AnsiSubStr(const AnsiStr& text);  // NOLINT(google-explicit-constructor)

  const char* GetStr() const { return m_text != nullptr ? m_text : ""; }
  uint32_t GetLength() const { return m_length; }
  bool IsEmpty() const { return m_length == 0; }

 private:
  const char* m_text = nullptr;
  uint32_t m_length = 0;
};

class ORVGUI_API AnsiStr {
 public:
  // Imp: the shared body. Blob uses the same body and the same size rules.
  struct ORVGUI_API Imp : Reference {
    uint32_t capacity;
    uint32_t length;
    char text[];  // capacity + 1 bytes follow the header

    // GetAllocSize: the capacity that a request for n bytes gets: r = (n + 23) rounded down to
    // a multiple of 8, then, above 1024, (r | 15) + 1; capacity r - 13 (n itself if that passes
    // 32 bits). The block is capacity + 16 bytes: deliberately three bytes more than header,
    // text and terminator need.
    static uint64_t GetAllocSize(uint64_t n);
    // GetExtendSize: the capacity to ask for when a text grows to n bytes. Normal growth (plain
    // appends, inserts, overwrites): n + 32 below 512, n + n/16 below 8192, then n + 512.
    // Fast growth (builders, stream reads): 1024 up to 512, 2n up to 64 MiB, then n + 64 MiB.
    // 0xFFFFFFFF when the step would pass 32 bits.
    static uint64_t GetExtendSize(uint64_t n, bool fast);
    // Alloc: a body whose capacity is GetAllocSize(capacity), count 1, length 0, text "".
    // Null (with the event and last error 12) when it cannot be had.
    static Imp* Alloc(uint64_t capacity);
    // Create: the same without the event, for callers that report their own (Blob).
    static Imp* Create(uint64_t capacity);
    // Free: gives the body's block (capacity + 16 bytes) back.
    static void Free(Imp* body);
    // GetEmpty: the shared empty text that every empty string reads.
    static const char* GetEmpty() { return ""; }
  };

  // Construction. A null text is the empty string.
  AnsiStr() noexcept = default;
  AnsiStr(const char* text);  // NOLINT(google-explicit-constructor): texts convert freely
  AnsiStr(const char* text, uint32_t length);  // the first length bytes (NULs included)
  AnsiStr(AnsiSubStr text, uint32_t n = 1);  // NOLINT(google-explicit-constructor)
  AnsiStr(char c, uint32_t n = 1);           // NOLINT(google-explicit-constructor)
  // From wide (UTF-32) text: its UTF-8 form; empty with last error 84 when the text holds a value
  // that is no Unicode character.
  explicit AnsiStr(const wchar_t* text);
  explicit AnsiStr(const WideStr& text);
  AnsiStr(const AnsiStr& other) noexcept : m_imp(other.m_imp) {
    if (m_imp != nullptr) m_imp->Link();  // a copy shares the body: one atomic increment
  }
  AnsiStr(AnsiStr&& other) noexcept : m_imp(other.m_imp) { other.m_imp = nullptr; }
  ~AnsiStr() {
    if (m_imp != nullptr && m_imp->Unlink()) Imp::Free(m_imp);
  }

  AnsiStr& operator=(const AnsiStr& other) noexcept;
  AnsiStr& operator=(AnsiStr&& other) noexcept;
  AnsiStr& operator=(const char* text) { return Set(AnsiSubStr(text)); }
  AnsiStr& operator=(AnsiSubStr text) { return Set(text); }
  AnsiStr& operator=(char c) { return Set(c); }
  AnsiStr& operator=(const wchar_t* text) { return *this = AnsiStr(text); }
  AnsiStr& operator=(const WideStr& text) { return *this = AnsiStr(text); }

  // Reading.
  const char* GetStr() const noexcept { return m_imp != nullptr ? m_imp->text : Imp::GetEmpty(); }
  operator const char*() const noexcept { return GetStr(); }
  uint32_t GetLength() const noexcept;
  bool IsEmpty() const noexcept { return GetLength() == 0; }
  uint32_t GetCapacity() const noexcept { return m_imp != nullptr ? m_imp->capacity : 0; }
  // operator[]: the byte at pos; 0 at or past the length.
  char operator[](uint32_t pos) const noexcept { return pos < GetLength() ? m_imp->text[pos] : 0; }
  // IsShared: whether another string holds the same body.
  bool IsShared() const noexcept { return m_imp != nullptr && m_imp->IsShared(); }

  // Set: the content becomes n copies of the text.
  AnsiStr& Set(AnsiSubStr text, uint32_t n = 1);
  AnsiStr& Set(const char* text, uint32_t n = 1) { return Set(AnsiSubStr(text), n); }
  AnsiStr& Set(const AnsiStr& text, uint32_t n = 1);
  AnsiStr& Set(char c, uint32_t n = 1);
  // Append: n copies of the text at the end.
  AnsiStr& Append(AnsiSubStr text, uint32_t n = 1);
  AnsiStr& Append(const char* text, uint32_t n = 1) { return Append(AnsiSubStr(text), n); }
  AnsiStr& Append(const AnsiStr& text, uint32_t n = 1) { return Append(AnsiSubStr(text), n); }
  AnsiStr& Append(char c, uint32_t n = 1);
  AnsiStr& operator+=(AnsiSubStr text) { return Append(text); }
  AnsiStr& operator+=(const char* text) { return Append(AnsiSubStr(text)); }
  AnsiStr& operator+=(const AnsiStr& text) { return Append(AnsiSubStr(text)); }
  AnsiStr& operator+=(char c) { return Append(c); }
  // Insert: n copies of the text at pos (at the end when pos is past it).
  AnsiStr& Insert(uint32_t pos, AnsiSubStr text, uint32_t n = 1);
  AnsiStr& Insert(uint32_t pos, const char* text, uint32_t n = 1) { return Insert(pos, AnsiSubStr(text), n); }
  AnsiStr& Insert(uint32_t pos, const AnsiStr& text, uint32_t n = 1) { return Insert(pos, AnsiSubStr(text), n); }
  AnsiStr& Insert(uint32_t pos, char c, uint32_t n = 1);
  // Overwrite: the bytes from pos become n copies of the text; the string grows when the text
  // runs past its end (a pos past the end appends).
  AnsiStr& Overwrite(uint32_t pos, AnsiSubStr text, uint32_t n = 1);
  AnsiStr& Overwrite(uint32_t pos, const char* text, uint32_t n = 1) { return Overwrite(pos, AnsiSubStr(text), n); }
  AnsiStr& Overwrite(uint32_t pos, const AnsiStr& text, uint32_t n = 1) { return Overwrite(pos, AnsiSubStr(text), n); }
  AnsiStr& Overwrite(uint32_t pos, char c, uint32_t n = 1);
  // Delete(count): removes count bytes from the start (deliberately a count, not a position:
  // callers strip prefixes with it). Delete(pos, count): removes count bytes from pos.
  AnsiStr& Delete(uint32_t count);
  AnsiStr& Delete(uint32_t pos, uint32_t count);
  // Trunc: cuts to len bytes (nothing when it is not longer).
  AnsiStr& Trunc(uint32_t len);

  // operator<<: a new string without the first n bytes (empty when n reaches the length; the
  // same body, shared, when n is 0). operator>>: a new string with n blanks in front.
  AnsiStr operator<<(uint32_t n) const;
  AnsiStr operator>>(uint32_t n) const;
  AnsiStr& operator<<=(uint32_t n) { return Delete(n); }
  AnsiStr& operator>>=(uint32_t n) { return Insert(0, ' ', n); }

  // Alloc: a writable buffer of at least n bytes (at least 1), cleared at positions 0 and n,
  // with the length "not known": after writing, the next query measures it. The body is reused
  // when it is not shared and large enough. Alloc(n, c) fills the n bytes with c; Alloc(n,
  // text) copies text up to its first NUL or n bytes. Null when memory is short.
  char* Alloc(uint32_t n);
  char* Alloc(uint32_t n, char c);
  char* Alloc(uint32_t n, const char* text);

  // Copy: a new string with its own body: all, the tail from pos, or count bytes from pos.
  AnsiStr Copy() const;
  AnsiStr Copy(uint32_t pos) const;
  AnsiStr Copy(uint32_t pos, uint32_t count) const;
  // CopyTo: copies out to a caller's buffer, NUL-terminated; returns the bytes copied. With max
  // (the buffer's size in bytes, terminator included) at most max - 1 bytes are copied.
  uint32_t CopyTo(char* buffer) const;
  uint32_t CopyTo(char* buffer, uint32_t max) const;
  uint32_t CopyTo(char* buffer, uint32_t pos, uint32_t count) const;

  // Find: the first position at or after pos of c or of text, -1 when there is none. Count:
  // how many occurrences there are from pos, each search going on one byte after the previous
  // match (so "aaa" holds "aa" twice). FindLast: the last position of c at or after pos. A NUL
  // c, an empty text or a pos at or past the length finds nothing. With ignoreCase the bytes
  // are compared without regard to case.
  int Find(char c, uint32_t pos = 0, bool ignoreCase = false) const;
  int Find(const char* text, uint32_t pos = 0, bool ignoreCase = false) const;
  unsigned Count(char c, uint32_t pos = 0, bool ignoreCase = false) const;
  unsigned Count(const char* text, uint32_t pos = 0, bool ignoreCase = false) const;
  int FindLast(char c, uint32_t pos = 0, bool ignoreCase = false) const;

  // Compare / NCompare: three-way comparison of two texts (of at most n bytes), negative, 0 or
  // positive; null reads as "".
  static int Compare(const char* a, const char* b);
  static int Compare(const char* a, const char* b, bool ignoreCase);
  static int NCompare(const char* a, const char* b, uint32_t n);
  static int NCompare(const char* a, const char* b, uint32_t n, bool ignoreCase);

  // Replace: every occurrence, left to right, without overlap; an empty from does nothing.
  AnsiStr& Replace(char from, char to);
  AnsiStr& Replace(AnsiSubStr from, AnsiSubStr to);
  AnsiStr& Replace(const AnsiChar& from, const AnsiChar& to);
  // ToLower / ToUpper / Modify: map each byte.
  AnsiStr& ToLower();
  AnsiStr& ToUpper();
  AnsiStr& Modify(char (*map)(char));
  // Shrink: gives unused capacity back when the text needs under a fifth of it.
  AnsiStr& Shrink();

  // UTF-8 positions. A character starts at every byte that is not a continuation byte (10xxxxxx).
  // GetCharLen: characters in the text. GetByteInx: the byte offset of character charInx (the
  // length past the end). GetCharInx: the character index of the byte offset. GetByteCount:
  // bytes taken by charCount characters from pos. GetCharCount: characters that start in
  // byteCount bytes from pos. GetInx: the largest character boundary at or below byteInx.
  // GetCount: the largest whole-character byte count from pos that fits in byteCount.
  uint32_t GetCharLen() const;
  uint32_t GetByteInx(uint32_t charInx) const;
  uint32_t GetCharInx(uint32_t byteInx) const;
  uint32_t GetByteCount(uint32_t pos, uint32_t charCount) const;
  uint32_t GetCharCount(uint32_t pos, uint32_t byteCount) const;
  uint32_t GetInx(uint32_t byteInx) const;
  uint32_t GetCount(uint32_t pos, uint32_t byteCount) const;

  friend bool operator==(const AnsiStr& a, const AnsiStr& b) {
    return a.GetLength() == b.GetLength() && memcmp(a.GetStr(), b.GetStr(), a.GetLength()) == 0;
  }
  friend bool operator==(const AnsiStr& a, const char* b) { return Compare(a.GetStr(), b) == 0; }
  friend bool operator<(const AnsiStr& a, const AnsiStr& b) { return Compare(a.GetStr(), b.GetStr()) < 0; }
  friend AnsiStr operator+(const AnsiStr& a, AnsiSubStr b) { return AnsiStr(a).Append(b); }

 private:
  friend class AnsiStrBuilder;
  // Splice: the one mutation: replaces remove bytes at pos with n copies of text.
  AnsiStr& Splice(uint32_t pos, uint32_t remove, AnsiSubStr text, uint32_t n, bool fast = false);
  void Release() noexcept;
  Imp* m_imp = nullptr;
};

inline AnsiSubStr::AnsiSubStr(const AnsiStr& text) : m_text(text.GetStr()), m_length(text.GetLength()) {}

// AnsiStrBuilder: builds a long text piece by piece with the fast growth rule.
//
//   AnsiStrBuilder out;
//   for (const Item& item : items) out.Append(item.name).Append(',');
//   AnsiStr text = out.GetResult();
//
// The builder keeps its position in the body's length field, so every append is a bounds
// check and a copy. A failed append (memory, 32-bit overflow) is sticky: later appends do
// nothing, and IsFailed tells the caller once at the end.
class ORVGUI_API AnsiStrBuilder {
 public:
  AnsiStrBuilder() = default;
  explicit AnsiStrBuilder(uint32_t capacity);

  AnsiStrBuilder& Append(AnsiSubStr text, uint32_t n = 1);
  AnsiStrBuilder& Append(const char* text) { return Append(AnsiSubStr(text)); }
  AnsiStrBuilder& Append(const AnsiStr& text) { return Append(AnsiSubStr(text)); }
  AnsiStrBuilder& Append(char c, uint32_t n = 1);
  // Reserve: room for n more bytes and a terminator at the end of the text, for the caller to
  // write into and then add to the text with Commit(n) (at most the n reserved); null when the
  // builder has failed or memory is short (the failure is sticky, as for Append).
  char* Reserve(uint32_t n);
  void Commit(uint32_t n);

  const char* GetStr() const { return m_text.GetStr(); }
  uint32_t GetLength() const { return m_text.GetLength(); }
  bool IsFailed() const { return m_failed; }
  // GetResult: the text built so far (shared with the builder, which copies on its next append).
  const AnsiStr& GetResult() const { return m_text; }
  // Detach: hands the text over and empties the builder.
  AnsiStr Detach();

 private:
  AnsiStr m_text;
  bool m_failed = false;
};

}  // namespace OrvGuiBase
