// RtfDecoder.h: 8-bit document text of the RTF reader in its code page, as UTF-8 (internal).
//
// The bytes of a document's text (raw bytes and "\'hh" escapes) gather in the decoder until a
// symbol of another kind arrives; then Take turns them into UTF-8. Gathering lets a character
// of several bytes (UTF-8, or the double-byte Asian code pages) arrive as several escapes.
// Code pages: those of the library's code-page functions (base/text/CodePage.h) through a
// table of their upper halves built once per parser and page; 65001 as UTF-8; any other that
// the system's converter knows as "CP<n>" through one descriptor of its own. A byte that does
// not decode becomes U+FFFD. Depends on base/text.
#pragma once

#include <cstddef>
#include <cstdint>

namespace OrvGuiBase::Rtf::Internal {

class Decoder {
 public:
  // kRoom: bytes gathered before Take is due (the caller takes when Add says so).
  static constexpr size_t kRoom = 4096;

  Decoder() = default;
  ~Decoder();
  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;

  // Select: makes codePage current. False (the current page kept) when no converter knows it.
  bool Select(int codePage);
  int GetCodePage() const { return m_codePage; }

  // Add: gathers one byte; true when the gathering is full and Take is due.
  bool Add(unsigned char byte) {
    m_bytes[m_count++] = byte;
    return m_count == kRoom;
  }
  bool IsEmpty() const { return m_count == 0; }
  void Clear() { m_count = 0; }
  // Take: the gathered bytes as UTF-8 into out (room for 3 bytes per gathered byte and 3 more);
  // returns the length. Unless final, an incomplete multi-byte character at the end stays
  // gathered for the next bytes.
  size_t Take(char* out, bool final);

 private:
  struct Table {
    int codePage;
    uint8_t length[128];
    char bytes[128][3];
  };
  enum Kind { kTable, kUtf8, kConverter };

  const Table* FindTable(int codePage);
  size_t TakeUtf8(char* out, bool final);
  size_t TakeConverted(char* out, bool final);

  int m_codePage = 0;
  Kind m_kind = kTable;
  const Table* m_table = nullptr;
  Table* m_tables[16] = {};                         // built tables (the library's code pages are fewer)
  void* m_converter = reinterpret_cast<void*>(-1);  // iconv descriptor for kConverter
  int m_converterPage = -1;
  unsigned char m_bytes[kRoom];
  size_t m_count = 0;
};

}  // namespace OrvGuiBase::Rtf::Internal
