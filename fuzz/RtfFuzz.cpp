// Fuzz target: the RTF reader, to text and to HTML.
//
// Any input must finish (no crash, no hang) with the same verdict and the same error text in
// both modes; a converted text is well-formed UTF-8, and neither output grows beyond a small
// multiple of the input: text at most 3 bytes per input byte (a raw byte that becomes a
// three-byte character), HTML at most 8 (a raw byte of an encapsulated page written as a
// reference such as "&#x20AC;").
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "base/core/LastError.h"
#include "base/data/RtfParser.h"
#include "base/text/Utf.h"

using namespace OrvGuiBase;

namespace {

void Check(bool condition) {
  if (!condition) abort();
}

constexpr size_t kPageFrame = 128;  // the HTML header and footer

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const AnsiSubStr rtf(reinterpret_cast<const char*>(data), static_cast<uint32_t>(size));
  AnsiStr text, html;
  const bool textOk = Rtf2Text(rtf, text);
  const AnsiStr textError = textOk ? AnsiStr() : GetLastErrorMessage();
  const bool htmlOk = Rtf2Html(rtf, html);
  const AnsiStr htmlError = htmlOk ? AnsiStr() : GetLastErrorMessage();

  Check(textOk == htmlOk);
  Check(strcmp(textError.GetStr(), htmlError.GetStr()) == 0);
  if (!textOk) {
    Check(!textError.IsEmpty() && text.IsEmpty() && html.IsEmpty());
    return 0;
  }
  Check(IsValidUTF8(text.GetStr(), text.GetLength()));
  Check(text.GetLength() <= 3 * size);
  Check(html.GetLength() <= 8 * size + kPageFrame);
  return 0;
}
