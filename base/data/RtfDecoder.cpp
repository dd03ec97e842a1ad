// RtfDecoder.cpp: gathered 8-bit text to UTF-8 in the document's code page.
#include "private/data/RtfDecoder.h"

#include <iconv.h>
#include <stdlib.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "base/core/LastError.h"
#include "base/text/CodePage.h"
#include "base/text/Utf.h"
#include "private/text/TextBytes.h"

namespace OrvGuiBase::Rtf::Internal {

namespace {

constexpr char kReplacement[] = "\xEF\xBF\xBD";  // U+FFFD
const iconv_t kNoConverter = reinterpret_cast<iconv_t>(-1);

size_t PutReplacement(char* out) {
  memcpy(out, kReplacement, 3);
  return 3;
}

// IsDoubleByte: the system's Asian code pages, whose characters may take two bytes.
bool IsDoubleByte(int codePage) {
  return codePage == 932 || codePage == 936 || codePage == 949 || codePage == 950 || codePage == 1361;
}

}  // namespace

Decoder::~Decoder() {
  for (Table* table : m_tables) delete table;
  if (m_converter != kNoConverter) iconv_close(static_cast<iconv_t>(m_converter));
}

// FindTable: the upper half of a code page of the library's code-page functions, each byte
// converted once with MultiByteToWideChar; null when the library does not know the page. The
// lower half is ASCII in all of them.
const Decoder::Table* Decoder::FindTable(int codePage) {
  size_t slot = 0;
  for (; slot < sizeof m_tables / sizeof m_tables[0] && m_tables[slot] != nullptr; ++slot)
    if (m_tables[slot]->codePage == codePage) return m_tables[slot];
  const LastErrorSaver saver;
  wchar_t probe = 0;
  if (MultiByteToWideChar(static_cast<unsigned>(codePage), 0, "A", 1, &probe, 1) != 1 || probe != L'A') return nullptr;
  Table* table = new (std::nothrow) Table;
  if (table == nullptr) return nullptr;
  table->codePage = codePage;
  for (unsigned byte = 0x80; byte < 0x100; ++byte) {
    const char source = static_cast<char>(byte);
    wchar_t wide = 0;
    const char32_t* unit = reinterpret_cast<const char32_t*>(&wide);
    uint32_t length = 0;
    if (MultiByteToWideChar(static_cast<unsigned>(codePage), 0, &source, 1, &wide, 1) == 1 && wide != 0)
      length = UTF32toUTF8(unit, 1, table->bytes[byte - 0x80], 3);
    if (length == 0) {
      memcpy(table->bytes[byte - 0x80], kReplacement, 3);
      length = 3;
    }
    table->length[byte - 0x80] = static_cast<uint8_t>(length);
  }
  if (slot < sizeof m_tables / sizeof m_tables[0])
    m_tables[slot] = table;
  else {  // more pages than slots: replace the last one
    delete m_tables[slot - 1];
    m_tables[slot - 1] = table;
  }
  return table;
}

bool Decoder::Select(int codePage) {
  if (codePage == m_codePage && m_table != nullptr) return true;
  if (codePage == 65001) {
    m_codePage = codePage;
    m_kind = kUtf8;
    return true;
  }
  if (const Table* table = FindTable(codePage)) {
    m_codePage = codePage;
    m_kind = kTable;
    m_table = table;
    return true;
  }
  if (m_converterPage != codePage) {
    char name[32];
    snprintf(name, sizeof name, "CP%d", codePage);
    iconv_t converter = iconv_open("UTF-8", name);
    if (converter == kNoConverter) {
      snprintf(name, sizeof name, "WINDOWS-%d", codePage);
      converter = iconv_open("UTF-8", name);
    }
    if (converter == kNoConverter) return false;
    if (m_converter != kNoConverter) iconv_close(static_cast<iconv_t>(m_converter));
    m_converter = converter;
    m_converterPage = codePage;
  }
  m_codePage = codePage;
  m_kind = kConverter;
  return true;
}

size_t Decoder::Take(char* out, bool final) {
  if (m_count == 0) return 0;
  if (m_kind == kUtf8) return TakeUtf8(out, final);
  if (m_kind == kConverter) return TakeConverted(out, final);
  if (m_table == nullptr) m_table = FindTable(m_codePage);
  size_t put = 0;
  for (size_t i = 0; i < m_count; ++i) {
    const unsigned char byte = m_bytes[i];
    if (byte < 0x80)
      out[put++] = static_cast<char>(byte);
    else if (m_table == nullptr)
      put += PutReplacement(out + put);
    else {
      memcpy(out + put, m_table->bytes[byte - 0x80], 3);
      put += m_table->length[byte - 0x80];
    }
  }
  m_count = 0;
  return put;
}

// TakeUtf8: well-formed sequences pass as they are; any other byte becomes U+FFFD.
size_t Decoder::TakeUtf8(char* out, bool final) {
  size_t put = 0, at = 0;
  while (at < m_count) {
    const unsigned char lead = m_bytes[at];
    const size_t length = OrvGuiBase::Internal::SequenceLength(lead);
    if (length > 1 && at + length > m_count && !final) {
      bool complete = false;  // a prefix of a sequence so far: wait for the rest
      for (size_t i = at + 1; i < m_count; ++i)
        if (!OrvGuiBase::Internal::IsContinuation(m_bytes[i])) complete = true;
      if (!complete) break;
    }
    if (length != 0 && at + length <= m_count &&
        IsValidUTF8(reinterpret_cast<const char*>(m_bytes + at), static_cast<unsigned long>(length))) {
      memcpy(out + put, m_bytes + at, length);
      put += length;
      at += length;
    } else {
      put += PutReplacement(out + put);
      ++at;
    }
  }
  memmove(m_bytes, m_bytes + at, m_count - at);
  m_count -= at;
  return put;
}

// TakeConverted: the system's converter, a byte that it refuses replaced and passed over.
size_t Decoder::TakeConverted(char* out, bool final) {
  iconv_t converter = static_cast<iconv_t>(m_converter);
  char* in = reinterpret_cast<char*>(m_bytes);
  size_t inLeft = m_count;
  char* target = out;
  size_t targetLeft = 3 * m_count + 3;
  while (inLeft > 0) {
    if (iconv(converter, &in, &inLeft, &target, &targetLeft) != static_cast<size_t>(-1)) break;
    if (errno == EINVAL && !final && IsDoubleByte(m_codePage)) break;  // a lead byte waits for its trail
    if (targetLeft < 3) break;                                         // cannot happen with the room above; never loop
    const size_t put = PutReplacement(target);
    target += put;
    targetLeft -= put;
    ++in;
    --inLeft;
  }
  iconv(converter, nullptr, nullptr, nullptr, nullptr);
  memmove(m_bytes, in, inLeft);
  m_count = inLeft;
  return static_cast<size_t>(target - out);
}

}  // namespace OrvGuiBase::Rtf::Internal
