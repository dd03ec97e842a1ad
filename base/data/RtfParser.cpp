// RtfParser.cpp: the RTF reader: groups, control words, code pages, Unicode escapes, output.
//
// The parser keeps the state of the current group in m_state and the states of the enclosing
// groups on a stack; a '}' restores the saved state, which is all the undoing RTF needs. What a
// piece of content turns into depends on one question, asked of the current state: where does
// it go (GetChannel)? Nowhere (a skipped group, or a part of an encapsulating document that
// does not belong to the chosen output), to plain text, to HTML text that needs escaping, or to
// the source of an encapsulated HTML page, which is copied.
//
// Content is produced in three ways: ASCII text runs go straight to the output; 8-bit bytes
// gather in the decoder until another symbol arrives (so that multi-byte characters may come as
// several escapes); characters of control words and "\u" are encoded here. Before any of them,
// a pending high surrogate must have met its low partner.
#include "base/data/RtfParser.h"

#include <stdlib.h>

#include <cerrno>
#include <cstring>
#include <new>

#include "base/core/ErrorMessage.h"
#include "base/core/LastError.h"
#include "base/fs/DiskFile.h"
#include "base/text/Formatter.h"
#include "private/data/RtfDecoder.h"
#include "private/text/TextBytes.h"

namespace OrvGuiBase {
namespace Rtf {

namespace {

constexpr char kHtmlHeader[] = "<!DOCTYPE html>\n<html>\n<head>\n<meta charset=\"UTF-8\">\n</head>\n<body>\n";
constexpr char kHtmlFooter[] = "\n</body>\n</html>\n";
constexpr size_t kOutputRoom = 64 * 1024;

// What a control word does. Words not in the table are passed over.
enum Action : uint8_t {
  kActNone,
  kActRtf,
  kActBin,
  kActAnsi,
  kActAnsicpg,
  kActMac,
  kActPc,
  kActPca,
  kActUnicode,
  kActUc,
  kActFromHtml,
  kActFromText,
  kActSkipGroup,  // a destination without visible text
  kActBreak,      // a line break
  kActTab,        // a TAB
  kActCell,       // the end of a table cell: a TAB unless a line has just ended
  kActRow,        // the end of a table row: a line break unless a line has just ended
  kActFootnote,   // a footnote: its text on a line of its own
  kActCharacter,  // one character
  kActHtmlRtf,
  kActHtmlTag,
  kActIgnore,  // recognised, nothing to do
};

struct Word {
  const char* name;
  Action action;
  uint32_t character;
};

constexpr Word kWords[] = {
    {"rtf", kActRtf, 0},
    {"bin", kActBin, 0},
    {"ansi", kActAnsi, 0},
    {"ansicpg", kActAnsicpg, 0},
    {"mac", kActMac, 0},
    {"pc", kActPc, 0},
    {"pca", kActPca, 0},
    {"u", kActUnicode, 0},
    {"uc", kActUc, 0},
    {"fromhtml", kActFromHtml, 0},
    {"fromtext", kActFromText, 0},
    {"cpg", kActIgnore, 0},
    {"htmlrtf", kActHtmlRtf, 0},
    {"htmltag", kActHtmlTag, 0},
    {"mhtmltag", kActHtmlTag, 0},
    {"htmlbase", kActIgnore, 0},
    // Line structure.
    {"par", kActBreak, 0},
    {"line", kActBreak, 0},
    {"row", kActRow, 0},
    {"nestrow", kActRow, 0},
    {"sect", kActBreak, 0},
    {"page", kActBreak, 0},
    {"tab", kActTab, 0},
    {"cell", kActCell, 0},
    {"nestcell", kActCell, 0},
    {"footnote", kActFootnote, 0},
    // Characters.
    {"emdash", kActCharacter, 0x2014},
    {"endash", kActCharacter, 0x2013},
    {"emspace", kActCharacter, 0x2003},
    {"enspace", kActCharacter, 0x2002},
    {"qmspace", kActCharacter, 0x2005},
    {"bullet", kActCharacter, 0x2022},
    {"lquote", kActCharacter, 0x2018},
    {"rquote", kActCharacter, 0x2019},
    {"ldblquote", kActCharacter, 0x201C},
    {"rdblquote", kActCharacter, 0x201D},
    {"zwbo", kActCharacter, 0x200B},
    {"zwnbo", kActCharacter, 0xFEFF},
    {"zwj", kActCharacter, 0x200D},
    {"zwnj", kActCharacter, 0x200C},
    {"ltrmark", kActCharacter, 0x200E},
    {"rtlmark", kActCharacter, 0x200F},
    // Destinations whose content is never document text. Most writers also mark them "\*";
    // these are the ones that may come without the mark.
    {"fonttbl", kActSkipGroup, 0},
    {"colortbl", kActSkipGroup, 0},
    {"stylesheet", kActSkipGroup, 0},
    {"info", kActSkipGroup, 0},
    {"pict", kActSkipGroup, 0},
    {"objdata", kActSkipGroup, 0},
    {"objclass", kActSkipGroup, 0},
    {"objname", kActSkipGroup, 0},
    {"fldinst", kActSkipGroup, 0},
    {"datafield", kActSkipGroup, 0},
    {"listtable", kActSkipGroup, 0},
    {"listoverridetable", kActSkipGroup, 0},
    {"revtbl", kActSkipGroup, 0},
    {"rsidtbl", kActSkipGroup, 0},
    {"filetbl", kActSkipGroup, 0},
    {"pn", kActSkipGroup, 0},
    {"xe", kActSkipGroup, 0},
    {"tc", kActSkipGroup, 0},
    {"template", kActSkipGroup, 0},
    {"nonesttables", kActSkipGroup, 0},  // a flat copy of nested tables for older readers
    {"bkmkstart", kActSkipGroup, 0},
    {"bkmkend", kActSkipGroup, 0},
    {"docvar", kActSkipGroup, 0},
    {"falt", kActSkipGroup, 0},
    {"panose", kActSkipGroup, 0},
    {"fontemb", kActSkipGroup, 0},
    {"fontfile", kActSkipGroup, 0},
    {"themedata", kActSkipGroup, 0},
    {"colorschememapping", kActSkipGroup, 0},
    {"datastore", kActSkipGroup, 0},
    {"latentstyles", kActSkipGroup, 0},
    {"xmlnstbl", kActSkipGroup, 0},
    {"generator", kActSkipGroup, 0},
    {"userprops", kActSkipGroup, 0},
    {"annotation", kActSkipGroup, 0},
    {"atnid", kActSkipGroup, 0},
    {"atnauthor", kActSkipGroup, 0},
    {"sp", kActSkipGroup, 0},
};

// WordTable: an open-addressing hash of kWords, built at compile time.
constexpr uint32_t kWordSlots = 256;

constexpr uint32_t HashWord(const char* name, uint32_t length) {
  uint32_t hash = 2166136261u;
  for (uint32_t i = 0; i < length; ++i) hash = (hash ^ static_cast<unsigned char>(name[i])) * 16777619u;
  return hash;
}

constexpr uint32_t Length(const char* text) {
  uint32_t n = 0;
  while (text[n] != 0) ++n;
  return n;
}

constexpr uint32_t kWordCount = sizeof kWords / sizeof kWords[0];

struct WordTable {
  int16_t slot[kWordSlots] = {};
  uint8_t length[kWordCount] = {};
  constexpr WordTable() {
    for (uint32_t i = 0; i < kWordSlots; ++i) slot[i] = -1;
    for (uint32_t w = 0; w < kWordCount; ++w) {
      length[w] = static_cast<uint8_t>(Length(kWords[w].name));
      uint32_t at = HashWord(kWords[w].name, Length(kWords[w].name)) % kWordSlots;
      while (slot[at] >= 0) at = (at + 1) % kWordSlots;
      slot[at] = static_cast<int16_t>(w);
    }
  }
};
constexpr WordTable kWordTable;

const Word* FindWord(const char* name, uint32_t length) {
  if (length > 20) return nullptr;  // longer than every word of the table
  uint32_t at = HashWord(name, length) % kWordSlots;
  for (;;) {
    const int w = kWordTable.slot[at];
    if (w < 0) return nullptr;
    const Word& word = kWords[w];
    if (kWordTable.length[w] == length && memcmp(word.name, name, length) == 0) return &word;
    at = (at + 1) % kWordSlots;
  }
}

// Escape classes of bytes in HTML text: 0 as it is, 1 a markup character, 2 a control
// character, 3 a lead byte that may start a character written as a reference.
struct EscapeTable {
  uint8_t kind[256] = {};
  constexpr EscapeTable() {
    for (unsigned c = 0; c < 0x20; ++c) kind[c] = 2;
    kind[static_cast<unsigned char>('\t')] = 0;
    kind[static_cast<unsigned char>('\n')] = 0;
    kind[static_cast<unsigned char>('\r')] = 0;
    kind[0x7F] = 2;
    kind[static_cast<unsigned char>('&')] = 1;
    kind[static_cast<unsigned char>('<')] = 1;
    kind[static_cast<unsigned char>('>')] = 1;
    kind[static_cast<unsigned char>('"')] = 1;
    kind[0xC2] = 3;
    kind[0xE2] = 3;
    kind[0xEF] = 3;
  }
};
constexpr EscapeTable kEscape;

// IsInvisible: characters that a page would show as nothing or as a plain space, and so are
// written as references: C1 controls, U+00A0, U+00AD, the spaces, joiners and marks U+2000 to
// U+200F, the separators and embeddings U+2028 to U+202F, U+205F to U+206F, U+FEFF.
bool IsInvisible(uint32_t c) {
  return (c >= 0x80 && c <= 0xA0) || c == 0xAD || (c >= 0x2000 && c <= 0x200F) || (c >= 0x2028 && c <= 0x202F) ||
         (c >= 0x205F && c <= 0x206F) || c == 0xFEFF;
}

// DecodeOne: the code point of the UTF-8 character at text (length bytes left); *size its bytes.
uint32_t DecodeOne(const unsigned char* text, size_t length, size_t* size) {
  const unsigned char lead = text[0];
  size_t n = OrvGuiBase::Internal::SequenceLength(lead);
  if (n <= 1 || n > length) {
    *size = 1;
    return lead;
  }
  uint32_t c = lead & (0xFF >> (n + 1));
  for (size_t i = 1; i < n; ++i) {
    if (!OrvGuiBase::Internal::IsContinuation(text[i])) {
      *size = 1;
      return lead;
    }
    c = c << 6 | (text[i] & 0x3F);
  }
  *size = n;
  return c;
}

size_t EncodeOne(uint32_t c, char* out) {
  if (c < 0x80) {
    out[0] = static_cast<char>(c);
    return 1;
  }
  if (c < 0x800) {
    out[0] = static_cast<char>(0xC0 | c >> 6);
    out[1] = static_cast<char>(0x80 | (c & 0x3F));
    return 2;
  }
  if (c < 0x10000) {
    out[0] = static_cast<char>(0xE0 | c >> 12);
    out[1] = static_cast<char>(0x80 | (c >> 6 & 0x3F));
    out[2] = static_cast<char>(0x80 | (c & 0x3F));
    return 3;
  }
  out[0] = static_cast<char>(0xF0 | c >> 18);
  out[1] = static_cast<char>(0x80 | (c >> 12 & 0x3F));
  out[2] = static_cast<char>(0x80 | (c >> 6 & 0x3F));
  out[3] = static_cast<char>(0x80 | (c & 0x3F));
  return 4;
}

// SystemText: the text of a system error number, taken before anything else can change it.
AnsiStr SystemText(int error) { return GetErrorMessage(error != 0 ? error : EIO); }

AnsiStr NameOf(const File& file, const char* otherwise) {
  return file.GetPath().IsEmpty() ? AnsiStr(otherwise) : file.GetPath();
}

}  // namespace

// Output: where the result goes, behind a buffer of its own so that a document of many small
// pieces costs one write per 64 KiB.
struct Parser::Output {
  int mode = kOutputNone;
  WriteStream* stream = nullptr;
  bool ownsStream = false;
  AnsiStrBuilder* builder = nullptr;
  size_t used = 0;
  bool failed = false;
  char buffer[kOutputRoom];

  ~Output() {
    if (ownsStream) delete stream;
  }
};

class Parser::Decoder : public Internal::Decoder {};

enum Parser::Channel : int {
  kChannelNone = 0,  // nowhere
  kChannelText = 1,  // plain text
  kChannelHtml = 2,  // HTML text: escaped
  kChannelPage = 3,  // the source of an encapsulated page: copied, non-ASCII as references
};

Parser::Parser() : m_output(new (std::nothrow) Output), m_decoder(new (std::nothrow) Decoder) {}

Parser::~Parser() {
  delete m_output;
  delete m_decoder;
  ::free(m_groups);
  ::free(m_input);
}

int Parser::GetCodePage() const { return m_decoder != nullptr ? m_decoder->GetCodePage() : 0; }

bool Parser::Fail(const AnsiStr& message) {
  if (!m_failed) m_error = message;
  m_failed = true;
  return false;
}

// ---- input ---------------------------------------------------------------------------------

bool Parser::SetInputFile(const File& file) {
  if (file.GetPath().IsEmpty()) return Fail("Invalid file");
  DiskFile in;
  if (!in.Open(file, DiskFile::kRead)) {
    const int error = errno;
    return Fail(FmtArgs("Could not open input file [%s]: %s", file.GetPath().GetStr(), SystemText(error).GetStr()));
  }
  const long long size = in.GetSize();
  size_t capacity =
      size > 0 && static_cast<unsigned long long>(size) < (1ull << 40) ? static_cast<size_t>(size) + 1 : 64 * 1024;
  size_t used = 0;
  char* data = static_cast<char*>(::malloc(capacity));
  for (;;) {
    if (data == nullptr) {
      return Fail(FmtArgs("Could not read from file [%s]: %s", file.GetPath().GetStr(), SystemText(ENOMEM).GetStr()));
    }
    if (used == capacity) {
      char* grown = static_cast<char*>(::realloc(data, capacity * 2));
      if (grown == nullptr) ::free(data);
      data = grown;
      capacity *= 2;
      continue;
    }
    const size_t want = capacity - used < 0x40000000u ? capacity - used : 0x40000000u;
    unsigned int got = 0;
    if (!in.Read(data + used, static_cast<unsigned int>(want), got)) {
      const int error = errno;
      ::free(data);
      return Fail(FmtArgs("Could not read from file [%s]: %s", file.GetPath().GetStr(), SystemText(error).GetStr()));
    }
    if (got == 0) break;
    used += got;
  }
  ::free(m_input);
  m_input = data;
  SetInput(data, used);
  return true;
}

void Parser::SetInput(const char* data, size_t size) {
  // A UTF-8 byte order mark that an editor put before the document is not document text.
  if (data != nullptr && size >= 3 && memcmp(data, "\xEF\xBB\xBF", 3) == 0) data += 3, size -= 3;
  m_data = data;
  m_size = size;
  m_scanner.Reset(data, size);
}

// ---- output --------------------------------------------------------------------------------

bool Parser::StartOutput(int mode) {
  if (m_output == nullptr || m_decoder == nullptr)
    return Fail(FmtArgs("Could not allocate write stream: %s", SystemText(ENOMEM).GetStr()));
  if (mode < kOutputNone || mode > kOutputHtml) return Fail(FmtArgs("Invalid output mode [%d]", mode));
  m_output->mode = mode;
  m_output->used = 0;
  m_output->failed = false;
  if (mode != kOutputText || m_output->stream == nullptr) return true;
  WriteStream& stream = *m_output->stream;
  if (!stream.WriteBOM(kEncodingUTF8Mark) || !stream.Flush()) {
    const int error = errno;
    m_output->failed = true;
    return Fail(FmtArgs("Could not write byte order mark to file [%s]: %s",
                        NameOf(stream.GetFile(), "standard output").GetStr(), SystemText(error).GetStr()));
  }
  return true;
}

bool Parser::SetOutputFile(const File& file, int mode) {
  if (file.GetPath().IsEmpty()) return Fail("Invalid file");
  if (m_output == nullptr) return Fail(FmtArgs("Could not allocate write stream: %s", SystemText(ENOMEM).GetStr()));
  WriteStream* stream = new (std::nothrow) WriteStream(file);
  if (stream == nullptr) return Fail(FmtArgs("Could not allocate write stream: %s", SystemText(ENOMEM).GetStr()));
  if (m_output->ownsStream) delete m_output->stream;
  m_output->stream = stream;
  m_output->ownsStream = true;
  m_output->builder = nullptr;
  if (!stream->Open(kWriteBinary)) {
    const int error = errno;
    return Fail(FmtArgs("Could not open output file [%s]: %s", file.GetPath().GetStr(), SystemText(error).GetStr()));
  }
  return StartOutput(mode);
}

bool Parser::SetOutputStream(WriteStream& stream, int mode) {
  if (m_output == nullptr) return Fail(FmtArgs("Could not allocate write stream: %s", SystemText(ENOMEM).GetStr()));
  if (!stream.IsOpen()) return Fail("Invalid file");
  if (m_output->ownsStream) delete m_output->stream;
  m_output->stream = &stream;
  m_output->ownsStream = false;
  m_output->builder = nullptr;
  return StartOutput(mode);
}

void Parser::SetOutputBuffer(AnsiStrBuilder& out, int mode) {
  if (m_output != nullptr) {
    if (m_output->ownsStream) delete m_output->stream;
    m_output->stream = nullptr;
    m_output->ownsStream = false;
    m_output->builder = &out;
  }
  StartOutput(mode);
}

bool Parser::FlushOutput() {
  Output& out = *m_output;
  if (out.failed) return false;
  if (out.used == 0) return true;
  const size_t used = out.used;
  out.used = 0;
  if (out.stream != nullptr) {
    if (out.stream->Write(out.buffer, used)) return true;
    const int error = errno;
    out.failed = true;
    return Fail(FmtArgs("Could not write to file [%s]: %s", NameOf(out.stream->GetFile(), "standard output").GetStr(),
                        SystemText(error).GetStr()));
  }
  if (out.builder != nullptr) {
    out.builder->Append(AnsiSubStr(out.buffer, static_cast<uint32_t>(used)));
    if (out.builder->IsFailed()) {
      out.failed = true;
      return Fail(FmtArgs("Could not write to file [%s]: %s", "memory", SystemText(ENOMEM).GetStr()));
    }
  }
  return true;
}

bool Parser::FinishOutput() {
  if (m_output == nullptr) return !m_failed;
  Output& out = *m_output;
  FlushOutput();
  if (out.stream != nullptr && !out.failed) {
    const bool ok = out.ownsStream ? out.stream->Close() : out.stream->Flush();
    if (!ok) {
      const int error = errno;
      out.failed = true;
      Fail(FmtArgs("Could not write to file [%s]: %s", NameOf(out.stream->GetFile(), "standard output").GetStr(),
                   SystemText(error).GetStr()));
    }
  } else if (out.stream != nullptr && out.ownsStream) {
    out.stream->Close();
  }
  return !m_failed;
}

bool Parser::WriteRaw(const char* text, size_t length) {
  Output& out = *m_output;
  if (out.failed) return false;
  if (length > kOutputRoom - out.used) {
    if (!FlushOutput()) return false;
    if (length >= kOutputRoom) {  // too large to buffer: straight through
      while (length > 0) {
        const size_t piece = length < kOutputRoom ? length : kOutputRoom;
        memcpy(out.buffer, text, piece);
        out.used = piece;
        if (!FlushOutput()) return false;
        text += piece;
        length -= piece;
      }
      return true;
    }
  }
  memcpy(out.buffer + out.used, text, length);
  out.used += length;
  return true;
}

bool Parser::WriteReference(uint32_t codePoint) {
  char reference[16] = "&#x";
  size_t at = 3;
  int shift = 28;
  while (shift > 0 && (codePoint >> shift) == 0) shift -= 4;
  for (; shift >= 0; shift -= 4) reference[at++] = OrvGuiBase::Internal::kUpperHex[codePoint >> shift & 0xF];
  reference[at++] = ';';
  return WriteRaw(reference, at);
}

bool Parser::EscapeUnicode(AnsiSubStr text) {
  const unsigned char* at = reinterpret_cast<const unsigned char*>(text.GetStr());
  size_t left = text.GetLength();
  while (left > 0) {
    size_t size = 1;
    if (!WriteReference(DecodeOne(at, left, &size))) return false;
    at += size;
    left -= size;
  }
  return true;
}

// WriteEscaped: HTML text (page false) or the source of an encapsulated page (page true). Runs
// of bytes that need nothing go out in one piece.
bool Parser::WriteEscaped(const char* text, size_t length, bool page) {
  const unsigned char* bytes = reinterpret_cast<const unsigned char*>(text);
  size_t start = 0, at = 0;
  while (at < length) {
    const unsigned char c = bytes[at];
    const uint8_t kind = page ? (c >= 0x80 ? 3 : 0) : kEscape.kind[c];
    if (kind == 0 || (kind == 3 && !page && c < 0x80)) {
      ++at;
      continue;
    }
    size_t size = 1;
    uint32_t codePoint = c;
    if (kind == 3) {
      codePoint = DecodeOne(bytes + at, length - at, &size);
      if (!page && !IsInvisible(codePoint)) {
        at += size;
        continue;
      }
    }
    if (!WriteRaw(text + start, at - start)) return false;
    bool ok;
    if (kind == 1) {
      ok = c == '&'   ? WriteRaw("&amp;", 5)
           : c == '<' ? WriteRaw("&lt;", 4)
           : c == '>' ? WriteRaw("&gt;", 4)
                      : WriteRaw("&quot;", 6);
    } else {
      ok = WriteReference(codePoint);
    }
    if (!ok) return false;
    at += size;
    start = at;
  }
  return WriteRaw(text + start, length - start);
}

bool Parser::Write(AnsiSubStr text, bool escape) {
  if (m_output == nullptr || m_state.skipped) return m_output != nullptr && !m_output->failed;
  if (m_output->mode == kOutputHtml && !m_headerWritten && !WriteHtmlHeader()) return false;
  if (escape && m_output->mode == kOutputHtml) return WriteEscaped(text.GetStr(), text.GetLength(), false);
  return WriteRaw(text.GetStr(), text.GetLength());
}

bool Parser::WriteText(AnsiSubStr text) {
  return m_output == nullptr || m_output->mode != kOutputText || Write(text, false);
}

bool Parser::WriteHtml(AnsiSubStr text) {
  return m_output == nullptr || m_output->mode != kOutputHtml || m_source == kSourceHtml || Write(text, false);
}

bool Parser::WriteHtmlHeader() {
  if (m_headerWritten) return true;
  m_headerWritten = true;
  return WriteHtml(kHtmlHeader);
}

bool Parser::WriteHtmlFooter() { return WriteHtml(kHtmlFooter); }

// ---- content -------------------------------------------------------------------------------

// GetChannel: where content of the current group goes. An "\htmltag" group holds markup: in HTML
// mode it is copied, in text mode dropped. In a document that encapsulates HTML, HTML mode
// copies the text not marked "\htmlrtf" as page source; in one that encapsulates text, text mode
// drops what is marked.
Parser::Channel Parser::GetChannel() const {
  if (m_state.skipped || m_output == nullptr) return kChannelNone;
  switch (m_output->mode) {
    case kOutputText:
      if (m_state.html || (m_state.suppress && m_source == kSourceText)) return kChannelNone;
      return kChannelText;
    case kOutputHtml:
      if (m_state.html) return kChannelPage;
      if (m_source == kSourceHtml) return m_state.suppress ? kChannelNone : kChannelPage;
      return kChannelHtml;
    default:
      return kChannelNone;
  }
}

bool Parser::EmitUtf8(const char* text, size_t length) {
  if (m_pendingHigh != 0) return Fail(FmtArgs("Incomplete UTF-16 surrogate [0x%04X]", m_pendingHigh));
  const Channel channel = GetChannel();
  if (channel == kChannelNone || length == 0) return true;
  m_atLineStart = false;
  if (!m_headerWritten && m_output->mode == kOutputHtml && !WriteHtmlHeader()) return false;
  if (channel == kChannelText) return WriteRaw(text, length);
  return WriteEscaped(text, length, channel == kChannelPage);
}

bool Parser::EmitCharacter(uint32_t codePoint) {
  if (codePoint == 0) return EmitUtf8("", 0);  // NUL is not text
  char bytes[4];
  return EmitUtf8(bytes, EncodeOne(codePoint, bytes));
}

bool Parser::EmitBreak() {
  if (m_pendingHigh != 0) return EmitUtf8("", 0);
  switch (GetChannel()) {
    case kChannelText:
    case kChannelPage:
      if (!EmitUtf8("\n", 1)) return false;
      break;
    case kChannelHtml:
      if (!m_headerWritten && !WriteHtmlHeader()) return false;
      if (!WriteRaw("<br>\n", 5)) return false;
      break;
    default:
      return true;
  }
  m_atLineStart = true;
  return true;
}

bool Parser::AddByte(unsigned char byte) {
  if (m_pendingHigh != 0) return EmitUtf8("", 0);
  if (GetChannel() == kChannelNone) return true;
  return !m_decoder->Add(byte) || FlushBytes(false);
}

// FlushBytes: the gathered bytes as characters. A final flush (another kind of symbol came)
// decodes a character cut short as well; a flush of a full gathering leaves it for more bytes.
bool Parser::FlushBytes(bool final) { return m_decoder->IsEmpty() || TakeBytes(final); }

// TakeBytes: apart from FlushBytes, so that the common case (nothing gathered) does not set up
// this frame.
__attribute__((noinline)) bool Parser::TakeBytes(bool final) {
  char text[3 * Internal::Decoder::kRoom + 3];
  const size_t length = m_decoder->Take(text, final);
  return EmitUtf8(text, length);
}

bool Parser::ParseText(const char* text, uint32_t length) {
  if (m_skip > 0) {
    const uint32_t skipped = m_skip < length ? m_skip : length;
    m_skip -= skipped;
    text += skipped;
    length -= skipped;
    if (length == 0) return true;
  }
  if (m_pendingHigh != 0) return EmitUtf8("", 0);
  if (GetChannel() == kChannelNone) return true;
  const unsigned char* bytes = reinterpret_cast<const unsigned char*>(text);
  uint32_t at = 0;
  while (at < length) {
    uint32_t end = at;
    while (end < length && bytes[end] < 0x80) ++end;
    if (end > at) {
      if (!FlushBytes() || !EmitUtf8(text + at, end - at)) return false;
      at = end;
    }
    for (; at < length && bytes[at] >= 0x80; ++at)
      if (!AddByte(bytes[at])) return false;
  }
  return true;
}

// ParseUnicode: "\uN", one UTF-16 unit as a signed 16-bit (or unsigned) number; the fallback
// characters that follow it are skipped. A high surrogate waits for the next "\u".
bool Parser::ParseUnicode(const Symbol& symbol) {
  if (!symbol.hasParameter || symbol.value < -32768 || symbol.value > 65535) {
    return Fail(FmtArgs("Invalid UTF-16 escape sequence [u%s]",
                        AnsiStr(AnsiSubStr(symbol.parameterText, symbol.parameterLength)).GetStr()));
  }
  if (!FlushBytes()) return false;
  const uint32_t unit = static_cast<uint32_t>(symbol.value < 0 ? symbol.value + 65536 : symbol.value);
  m_skip = m_state.uc;
  const bool high = unit >= 0xD800 && unit <= 0xDBFF, low = unit >= 0xDC00 && unit <= 0xDFFF;
  if (m_pendingHigh != 0) {
    if (!low) return Fail(FmtArgs("Incomplete UTF-16 surrogate [0x%04X]", m_pendingHigh));
    const uint32_t codePoint = 0x10000 + ((m_pendingHigh - 0xD800) << 10) + (unit - 0xDC00);
    m_pendingHigh = 0;
    return EmitCharacter(codePoint);
  }
  if (high) {
    m_pendingHigh = unit;
    return true;
  }
  if (low) return Fail(FmtArgs("Incomplete UTF-16 surrogate [0x%04X]", unit));
  return EmitCharacter(unit);
}

// ---- groups, words, symbols ----------------------------------------------------------------

bool Parser::PushGroup() {
  if (m_depth >= kMaxGroupDepth)
    return Fail(FmtArgs("Could not push group: groups nest deeper than %u levels", kMaxGroupDepth));
  if (m_depth == m_capacity) {
    const uint32_t capacity = m_capacity == 0 ? 64 : m_capacity * 2;
    Group* grown = static_cast<Group*>(::realloc(static_cast<void*>(m_groups), capacity * sizeof(Group)));
    if (grown == nullptr) return Fail(FmtArgs("Could not push group: %s", SystemText(ENOMEM).GetStr()));
    m_groups = grown;
    m_capacity = capacity;
  }
  m_groups[m_depth++] = m_state;
  m_state.parentSkipped = m_state.skipped;
  m_state.starred = false;
  m_state.word = nullptr;
  m_state.wordLength = 0;
  m_state.wordParameter = 0;
  return true;
}

bool Parser::PopGroup() {
  if (m_depth == 0) return Fail("Invalid group");
  m_state = m_groups[--m_depth];
  return true;
}

bool Parser::SetCodePage(int codePage, bool fromAnsicpg) {
  if (!FlushBytes()) return false;
  if (fromAnsicpg && (codePage < 0 || codePage > 65535)) return Fail(FmtArgs("Invalid codepage [%d]", codePage));
  if (!m_decoder->Select(codePage)) return Fail(FmtArgs("Unsupported code page [%d]", codePage));
  return true;
}

bool Parser::ParseControlWord(const Symbol& symbol) {
  const Word* word = FindWord(symbol.text, symbol.length);
  const Action action = word != nullptr ? word->action : kActNone;
  if (action == kActBin) {
    // Binary data inside a group that is skipped anyway (a picture) is passed over, never
    // beyond the input; anywhere else it would be document content that this reader cannot
    // represent.
    if (!m_state.skipped) return Fail("Binary data is not supported");
    m_scanner.Skip(symbol.value > 0 ? static_cast<size_t>(symbol.value) : 0);
  }
  if (m_skip > 0) {  // a fallback character of "\u"
    --m_skip;
    return true;
  }
  switch (action) {
    case kActRtf:
      if (symbol.value != 1) return Fail(FmtArgs("Unsupported RTF version %d", symbol.value));
      return true;
    case kActAnsi:
      return SetCodePage(0, false);
    case kActAnsicpg:
      return SetCodePage(symbol.value, true);
    case kActMac:
      return SetCodePage(2, false);
    case kActPc:
      return SetCodePage(437, false);
    case kActPca:
      return SetCodePage(850, false);
    case kActUnicode:
      return ParseUnicode(symbol);
    case kActUc:
      m_state.uc = !symbol.hasParameter ? 1 : symbol.value < 0 ? 0 : static_cast<uint32_t>(symbol.value);
      return true;
    case kActFromHtml:
      m_source = kSourceHtml;
      return true;
    case kActFromText:
      m_source = kSourceText;
      return true;
    case kActSkipGroup:
      m_state.skipped = true;
      return true;
    case kActBreak:
      return EmitBreak();
    case kActTab:
      return EmitUtf8("\t", 1);
    case kActCell:
      return m_atLineStart || EmitUtf8("\t", 1);
    case kActRow:
      return m_atLineStart || EmitBreak();
    case kActFootnote:
      return m_atLineStart || EmitBreak();
    case kActCharacter:
      return EmitCharacter(word->character);
    case kActHtmlRtf:
      m_state.suppress = !symbol.hasParameter || symbol.value != 0;
      return true;
    case kActHtmlTag:
      // Deliberately not skipped even when marked "\*": the markup of an encapsulated page.
      if (m_state.starred) m_state.skipped = m_state.parentSkipped;
      m_state.html = true;
      m_state.suppress = false;
      return true;
    case kActIgnore:
      return true;
    default:
      m_state.word = symbol.text;
      m_state.wordLength = symbol.length;
      m_state.wordParameter = symbol.value;
      return true;
  }
}

// ParseControlSymbol: "\'hh" is a byte of text; the others are characters, line ends or marks.
bool Parser::ParseControlSymbol(const Symbol& symbol) {
  if (m_depth == 0) return Fail("Invalid group");
  if (m_skip > 0) {
    --m_skip;
    return true;
  }
  if (symbol.type == kSymbolHexEscape) return AddByte(static_cast<unsigned char>(symbol.value));
  if (!FlushBytes()) return false;
  switch (symbol.value) {
    case '*':
      m_state.skipped = true;
      m_state.starred = true;
      return true;
    case '~':
      return EmitCharacter(0xA0);
    case '_':
      return EmitCharacter(0x2011);
    case '-':
      return true;  // an optional hyphen: only where a line breaks
    case '{':
    case '}':
    case '\\': {
      const char c = static_cast<char>(symbol.value);
      return EmitUtf8(&c, 1);
    }
    case '\r':
    case '\n':
      return EmitBreak();
    case '\t':
      return EmitUtf8("\t", 1);
    default:
      return true;  // "\:", "\|" and the like: index and formula marks
  }
}

bool Parser::ParseSymbol(const Symbol& symbol) {
  if (m_done || m_failed) return false;
  if (m_output == nullptr || m_decoder == nullptr)
    return Fail(FmtArgs("Could not allocate write stream: %s", SystemText(ENOMEM).GetStr()));
  switch (symbol.type) {
    case kSymbolEnd:
      if (m_depth != 0) return Fail("Unexpected end of file");
      if (!FlushBytes()) return false;
      if (m_pendingHigh != 0) return EmitUtf8("", 0);
      if (m_output->mode == kOutputHtml && (!WriteHtmlHeader() || !WriteHtmlFooter())) return false;
      m_done = true;
      return false;
    case kSymbolGroupStart:
      m_skip = 0;
      return FlushBytes() && PushGroup();
    case kSymbolGroupEnd:
      m_skip = 0;
      return FlushBytes() && PopGroup();
    case kSymbolControlWord:
      return FlushBytes() && ParseControlWord(symbol);
    case kSymbolControlSymbol:
    case kSymbolHexEscape:
      return ParseControlSymbol(symbol);
    case kSymbolText:
      return ParseText(symbol.text, symbol.length);
    case kSymbolError:
      return Fail(m_scanner.GetError().IsEmpty() ? AnsiStr("Invalid file") : m_scanner.GetError());
    default:
      return Fail(FmtArgs("Unknown symbol [%d]", static_cast<int>(symbol.type)));
  }
}

bool Parser::Parse() {
  if (!m_failed) {
    Symbol symbol;
    for (;;) {
      m_scanner.Next(symbol);
      if (!ParseSymbol(symbol)) break;
    }
  }
  FinishOutput();
  return !m_failed;
}

}  // namespace Rtf

// ---- entry points ----------------------------------------------------------------------------

namespace {

bool Convert(const File& input, const File* output, int mode) {
  Rtf::Parser parser;
  bool ok = parser.SetInputFile(input);
  if (ok && output != nullptr) ok = parser.SetOutputFile(*output, mode);
  ok = ok && parser.Parse();
  if (!ok) SetErrorMessage(parser.GetError());
  return ok;
}

bool ConvertMemory(AnsiSubStr rtf, AnsiStr& out, int mode) {
  Rtf::Parser parser;
  AnsiStrBuilder builder;
  parser.SetInput(rtf.GetStr(), rtf.GetLength());
  parser.SetOutputBuffer(builder, mode);
  if (!parser.Parse()) {
    out = AnsiStr();
    SetErrorMessage(parser.GetError());
    return false;
  }
  out = builder.Detach();
  return true;
}

}  // namespace

bool Rtf2Text(const File& input, const File& output) { return Convert(input, &output, Rtf::kOutputText); }
bool Rtf2Html(const File& input, const File& output) { return Convert(input, &output, Rtf::kOutputHtml); }
bool ParseRtf(const File& input) { return Convert(input, nullptr, Rtf::kOutputNone); }
bool Rtf2Text(AnsiSubStr rtf, AnsiStr& out) { return ConvertMemory(rtf, out, Rtf::kOutputText); }
bool Rtf2Html(AnsiSubStr rtf, AnsiStr& out) { return ConvertMemory(rtf, out, Rtf::kOutputHtml); }

}  // namespace OrvGuiBase
