// RtfParser.h: the RTF reader: a Rich Text Format document as plain text or as a simple HTML
// page, in UTF-8. Only the document's text and its line structure are kept; fonts, colours,
// styles, pictures and the tables of the document header are dropped.
//
//   if (!Rtf2Text(File("/data/letter.rtf"), File("/tmp/letter.txt")))
//     printf("%s\n", GetErrorMessage(GetLastError()).GetStr());   // the reader's own message
//   AnsiStr html;
//   if (Rtf2Html(rtfBytes, html)) Show(html);                       // in memory
//
// What comes out:
//   - text mode starts a file with the UTF-8 byte order mark; "\par", "\line", "\row", "\sect",
//     "\page" and a backslash before a line end are line feeds; "\tab" is a TAB, "\cell" and
//     "\nestcell" end a table cell with a TAB (none when the cell's text ended its line, nor a
//     line feed for "\row" then); a footnote starts on a line of its own; the typographic words
//     ("\emdash", "\bullet", "\ldblquote", ...) and "\~" (U+00A0), "\_" (U+2011) are their
//     characters, "\-" (optional hyphen) is dropped, "\{", "\}" and "\\" are their characters;
//   - HTML mode writes the page header before the first output and the footer at the end, escapes
//     '&', '<', '>' and '"', and writes the characters that would be invisible in the page source
//     (controls, U+00A0, U+00AD, the spaces, joiners, marks and separators among U+2000 to
//     U+206F, U+FEFF) as numeric references; a line break is "<br>\n";
//   - a document marked "\fromhtml" holds an HTML page: in HTML mode the page itself comes out
//     (the "\htmltag" and "\mhtmltag" groups and the text not marked "\htmlrtf"), with
//     characters beyond ASCII as numeric references so that the page's own character set
//     declaration stays true; its text mode output is the RTF rendering;
//   - never output: the font and colour tables, style sheets, document information, list
//     tables, revision tables, pictures, object data, field instructions (a field keeps its
//     visible result), the nested-table fallback text, and every "{\*\...}" group other than
//     the HTML markup groups.
// 8-bit text (raw bytes and "\'hh") is read in the document's code page: "\ansi" (Windows
// Latin 1), "\mac", "\pc" (437), "\pca" (850), or "\ansicpgN" for any code page that the
// library's code-page functions or the system's converters know; "\uN" gives one UTF-16 unit
// (surrogate pairs join), after which the "\ucN" fallback characters are skipped (a '{' or '}'
// ends the skipping; a hexadecimal escape or a control word counts as one character).
//
// Limits: groups nest at most kMaxGroupDepth deep ("Could not push group: ..." beyond). "\binN"
// fails the conversion ("Binary data is not supported") unless it sits in a group that is
// skipped anyway (a picture), where its N bytes are passed over (never beyond the end of the
// input). Nothing allocates in proportion to a parameter; memory use is the input plus a
// fixed amount.
// Failures: the entry points return false and make the reader's error text the thread's last
// error message (GetLastError() is then 44444). One Parser is used by one thread at a time.
// Depends on base/fs (File, WriteStream), base/text (code pages, UTF) and RtfScanner.h.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/data/RtfScanner.h"
#include "base/fs/File.h"
#include "base/fs/Stream.h"

namespace OrvGuiBase {

// Rtf2Text / Rtf2Html: convert the RTF file input into output (created or cut; UTF-8). False
// with the error text as the last error message; output then keeps what was written before the
// failure.
ORVGUI_API bool Rtf2Text(const File& input, const File& output);
ORVGUI_API bool Rtf2Html(const File& input, const File& output);
// ParseRtf: reads and checks the RTF file input without writing anything; false as above.
ORVGUI_API bool ParseRtf(const File& input);
// Rtf2Text / Rtf2Html over memory: rtf is the document, out receives the result (without a byte
// order mark). On failure out is empty and the error text is the last error message.
ORVGUI_API bool Rtf2Text(AnsiSubStr rtf, AnsiStr& out);
ORVGUI_API bool Rtf2Html(AnsiSubStr rtf, AnsiStr& out);

namespace Rtf {

// OutputMode: what the parser writes.
enum OutputMode : int {
  kOutputNone = 0,  // nothing (the document is only checked)
  kOutputText = 1,  // plain text
  kOutputHtml = 2,  // an HTML page
};

// SourceKind: what a document says it encapsulates.
enum SourceKind : int { kSourceRtf = 0, kSourceHtml = 1, kSourceText = 2 };

class ORVGUI_API Parser {
 public:
  // kMaxGroupDepth: how deep groups may nest. Word processors stay far below; the limit keeps
  // the group stack of a hostile document small.
  static constexpr uint32_t kMaxGroupDepth = 4096;

  Parser();
  ~Parser();
  Parser(const Parser&) = delete;
  Parser& operator=(const Parser&) = delete;

  // SetInputFile: reads the whole file (a regular file, a pipe, a device) into the parser.
  // SetInput: parses size bytes at data instead (not copied: they must stay until Parse ends).
  // A UTF-8 byte order mark before the document is passed over.
  // False with the error text kept: "Invalid file", "Could not open input file [%s]: %s",
  // "Could not read from file [%s]: %s".
  bool SetInputFile(const File& file);
  void SetInput(const char* data, size_t size);

  // SetOutputFile: writes the result into file (created or cut) in mode; text mode begins with
  // the UTF-8 byte order mark. False with the error text kept: "Invalid file", "Could not
  // allocate write stream: %s", "Could not open output file [%s]: %s", "Could not write byte
  // order mark to file [%s]: %s".
  bool SetOutputFile(const File& file, int mode);
  // SetOutputStream: writes into an open stream of the caller (standard output, say), with the
  // byte order mark in text mode as above; the stream must outlive Parse.
  bool SetOutputStream(WriteStream& stream, int mode);
  // SetOutputBuffer: appends the result to out (no byte order mark); out must outlive Parse.
  void SetOutputBuffer(AnsiStrBuilder& out, int mode);

  // Parse: converts the input. False at the first error, with its text in GetError. Once the
  // whole document is read the output is flushed (to a file: closed).
  bool Parse();
  // ParseSymbol: one step of Parse, for a caller that scans for itself: true to go on, false
  // when the document ended (GetError empty) or failed.
  bool ParseSymbol(const Symbol& symbol);
  // GetError: the text of the first failure, empty while there was none.
  const AnsiStr& GetError() const { return m_error; }

  // WriteText: text, in text mode only. WriteHtml: text, in HTML mode only and only when the
  // document does not encapsulate HTML. Write: text (HTML-escaped when escape is set and the
  // mode is HTML) unless an open group is skipped, after the HTML header when none was
  // written yet. Each returns false once the output has failed.
  bool WriteText(AnsiSubStr text);
  bool WriteHtml(AnsiSubStr text);
  bool Write(AnsiSubStr text, bool escape);
  // WriteHtmlHeader: the page's header, once per document. WriteHtmlFooter: its end.
  bool WriteHtmlHeader();
  bool WriteHtmlFooter();
  // EscapeUnicode: writes each character of the UTF-8 text as "&#x%X;".
  bool EscapeUnicode(AnsiSubStr text);

  // For tests and diagnostics: the group depth, the current code page, the source kind.
  uint32_t GetDepth() const { return m_depth; }
  int GetCodePage() const;
  int GetSourceKind() const { return m_source; }

 private:
  // Group: the state a group sets and its end restores.
  struct Group {
    uint32_t uc = 1;             // fallback characters after each "\u"
    bool skipped = false;        // nothing of the group reaches the output
    bool parentSkipped = false;  // the enclosing group's skipped flag
    bool starred = false;        // the group began with "\*"
    bool html = false;           // an "\htmltag" group: its content is HTML
    bool suppress = false;       // "\htmlrtf": RTF-only content of an encapsulating document
    const char* word = nullptr;  // the last control word the parser passed over, and its
    uint32_t wordLength = 0;     // parameter (bookkeeping for diagnostics)
    int32_t wordParameter = 0;
  };
  struct Output;
  class Decoder;
  enum Channel : int;

  bool Fail(const AnsiStr& message);
  Channel GetChannel() const;
  bool PushGroup();
  bool PopGroup();
  bool ParseControlWord(const Symbol& symbol);
  bool ParseControlSymbol(const Symbol& symbol);
  bool ParseText(const char* text, uint32_t length);
  bool AddByte(unsigned char byte);
  bool FlushBytes(bool final = true);
  bool TakeBytes(bool final);
  bool ParseUnicode(const Symbol& symbol);
  bool EmitCharacter(uint32_t codePoint);
  bool EmitUtf8(const char* text, size_t length);
  bool EmitBreak();
  bool SetCodePage(int codePage, bool fromAnsicpg);
  bool WriteRaw(const char* text, size_t length);
  bool WriteEscaped(const char* text, size_t length, bool nonAscii);
  bool WriteReference(uint32_t codePoint);
  bool FlushOutput();
  bool StartOutput(int mode);
  bool FinishOutput();

  Scanner m_scanner;
  char* m_input = nullptr;  // the input read from a file (owned), else null
  const char* m_data = nullptr;
  size_t m_size = 0;
  Output* m_output;
  Decoder* m_decoder;
  Group* m_groups = nullptr;  // the enclosing groups' saved states
  Group m_state;              // the current group's state
  uint32_t m_depth = 0;
  uint32_t m_capacity = 0;
  uint32_t m_skip = 0;         // fallback characters still to skip after "\u"
  uint32_t m_pendingHigh = 0;  // a high surrogate waiting for its low partner (0: none)
  int m_source = kSourceRtf;
  bool m_headerWritten = false;
  bool m_atLineStart = true;  // nothing was written since the last line break
  bool m_done = false;
  bool m_failed = false;  // m_error holds the first failure
  AnsiStr m_error;
};

}  // namespace Rtf
}  // namespace OrvGuiBase
