// Conv.cpp: `orvgui conv`, text from one code page to another through MultiByteToWideChar and
// WideCharToMultiByte, like iconv(1) for the library's code pages.
//
// The input is converted in pieces of 1 MiB (the conversion functions count in int), each cut
// after a whole character, so inputs of any size and with NUL bytes pass through unchanged in
// meaning. When a piece fails, the tool walks it one character at a time with the same two
// functions to name the first character that cannot be converted and its offset: a failure
// inside the code-page converter leaves no last error of its own, so the tool supplies EILSEQ.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "base/core/ErrorMessage.h"
#include "base/core/LastError.h"
#include "base/text/CodePage.h"
#include "tools/orvgui/Command.h"

namespace OrvGuiTool {

namespace {

using namespace OrvGuiBase;

const char kUsage[] =
    "usage: orvgui conv --from CP --to CP [IN [OUT]]\n"
    "\n"
    "Converts text from code page --from to code page --to, byte for byte like iconv(1):\n"
    "IN is read (standard input when IN is absent or '-') and the converted text is written to\n"
    "OUT (standard output when OUT is absent or '-'). Every byte of the input is converted, NUL\n"
    "bytes and line ends included; no byte order mark is added or removed.\n"
    "\n"
    "options:\n"
    "  --from CP, --from=CP, -f CP   the code page of the input\n"
    "  --to CP, --to=CP, -t CP       the code page of the output\n"
    "  --                            ends the options (for file names that start with '-')\n"
    "\n"
    "Code pages (decimal numbers):\n"
    "  437      OEM United States          10000    Mac Roman\n"
    "  850      OEM Multilingual Latin 1   28591    ISO-8859-1\n"
    "  1252     Windows Latin 1            28592    ISO-8859-2\n"
    "  65001    UTF-8                      28605    ISO-8859-15\n"
    "  0 and 3 stand for 1252, 1 for 850, 2 for 10000. UTF-8 input is decoded as the library\n"
    "  decodes it (overlong forms and encoded surrogates are accepted) and UTF-8 output is\n"
    "  written in the shortest form.\n"
    "\n"
    "Output: the converted text and nothing else. Standard output receives the text as it is\n"
    "converted; after a failure it holds exactly the conversion of the input before the\n"
    "offending character. OUT is written only once the whole input has converted, and left as\n"
    "it was after a failure; IN and OUT may be the same file. (The converted text is held in\n"
    "memory until then.)\n"
    "\n"
    "Errors go to standard error as 'orvgui conv: <message>'. Input that cannot be converted is\n"
    "reported as one of\n"
    "  orvgui conv: offset N: byte 0xXX has no character in code page CP: <error text>\n"
    "  orvgui conv: offset N: malformed UTF-8 sequence starting with byte 0xXX: <error text>\n"
    "  orvgui conv: offset N: character U+XXXX cannot be represented in code page CP: <error text>\n"
    "where N is the decimal byte offset in the input of the offending character.\n"
    "\n"
    "Exit status: 0 when the whole input was converted; 1 when the input cannot be converted or\n"
    "a file cannot be read or written; 2 for a usage error (a missing, repeated or unknown\n"
    "option, a code page that is not a number or not supported, too many arguments).\n";

constexpr const char* kSub = "conv";
constexpr size_t kPiece = 1 << 20;  // input bytes per conversion call
constexpr unsigned kUtf8 = 65001;

struct Options {
  unsigned from = 0, to = 0;
  bool haveFrom = false, haveTo = false;
  const char* in = nullptr;   // null: standard input
  const char* out = nullptr;  // null: standard output
};

// ParseCodePage: true for a decimal number that the library converts in both directions;
// otherwise false, with the error printed and status set.
bool ParseCodePage(const char* option, const char* text, unsigned& codePage, int& status) {
  char* end = nullptr;
  errno = 0;
  const unsigned long value = *text >= '0' && *text <= '9' ? strtoul(text, &end, 10) : 0;
  if (end == nullptr || *end != 0 || errno != 0 || value > UINT_MAX) {
    status = UsageError(kSub, "%s: '%s' is not a code page number", option, text);
    return false;
  }
  codePage = static_cast<unsigned>(value);
  wchar_t wide = 0;
  char narrow[8];
  SetLastError(0);
  if (MultiByteToWideChar(codePage, 0, "A", 1, &wide, 1) != 1 ||
      WideCharToMultiByte(codePage, 0, L"A", 1, narrow, sizeof narrow, nullptr, nullptr) != 1) {
    if (GetLastError() == ENOSYS) status = UsageError(kSub, "code page %u is not supported", codePage);
    else status = Fail(kSub, "code page %u cannot be used: %s", codePage, GetErrorMessage(GetLastError()).GetStr());
    return false;
  }
  return true;
}

// ParseArguments: true with the options filled in, else false with status set.
bool ParseArguments(int argc, char** argv, Options& options, int& status) {
  std::vector<const char*> files;
  bool optionsEnded = false;
  for (int i = 1; i < argc; ++i) {
    const char* arg = argv[i];
    if (optionsEnded || arg[0] != '-' || strcmp(arg, "-") == 0) {
      files.push_back(arg);
      continue;
    }
    if (strcmp(arg, "--") == 0) {
      optionsEnded = true;
      continue;
    }
    bool isFrom;
    const char* value = nullptr;
    if (strcmp(arg, "--from") == 0 || strcmp(arg, "-f") == 0) isFrom = true;
    else if (strcmp(arg, "--to") == 0 || strcmp(arg, "-t") == 0) isFrom = false;
    else if (strncmp(arg, "--from=", 7) == 0) isFrom = true, value = arg + 7;
    else if (strncmp(arg, "--to=", 5) == 0) isFrom = false, value = arg + 5;
    else {
      status = UsageError(kSub, "unknown option '%s' (see 'orvgui conv --help')", arg);
      return false;
    }
    const char* name = isFrom ? "--from" : "--to";
    if (value == nullptr) {
      if (i + 1 >= argc) {
        status = UsageError(kSub, "%s needs a code page", name);
        return false;
      }
      value = argv[++i];
    }
    if (isFrom ? options.haveFrom : options.haveTo) {
      status = UsageError(kSub, "%s given twice", name);
      return false;
    }
    (isFrom ? options.haveFrom : options.haveTo) = true;
    if (!ParseCodePage(name, value, isFrom ? options.from : options.to, status)) return false;
  }
  if (!options.haveFrom || !options.haveTo) {
    status = UsageError(kSub, "%s is required (see 'orvgui conv --help')", options.haveFrom ? "--to" : "--from");
    return false;
  }
  if (files.size() > 2) {
    status = UsageError(kSub, "unexpected argument '%s'", files[2]);
    return false;
  }
  if (files.size() > 0 && strcmp(files[0], "-") != 0) options.in = files[0];
  if (files.size() > 1 && strcmp(files[1], "-") != 0) options.out = files[1];
  return true;
}

int FailWithLastError(const char* what, const char* name) {
  return Fail(kSub, "%s '%s': %s", what, name, GetErrorMessage(GetLastError()).GetStr());
}

ssize_t ReadSome(int fd, char* buffer, size_t size) {
  ssize_t got;
  do got = read(fd, buffer, size);
  while (got < 0 && errno == EINTR);
  return got;
}

bool WriteAll(int fd, const char* data, size_t size) {
  while (size > 0) {
    const ssize_t put = write(fd, data, size);
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) return false;
    data += put;
    size -= static_cast<size_t>(put);
  }
  return true;
}

// CompletePrefix: how much of a UTF-8 piece ends on a character boundary; an incomplete
// sequence at its end waits for the next piece.
size_t CompletePrefix(const char* data, size_t size) {
  for (size_t back = 1; back <= 4 && back <= size; ++back) {
    const unsigned char byte = static_cast<unsigned char>(data[size - back]);
    if ((byte & 0xC0) == 0x80) continue;  // a continuation byte: keep looking for its lead
    const size_t needs = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
    return needs > back ? size - back : size;
  }
  return size;  // no lead byte nearby: malformed anyway, let the conversion say so
}

// PieceConverter: converts whole pieces from one code page to another.
class PieceConverter {
 public:
  PieceConverter(unsigned from, unsigned to) : m_from(from), m_to(to) {}

  // Convert: true with the converted bytes in [*text, *text + *length); false otherwise.
  bool Convert(const char* data, size_t size, const char** text, size_t* length) {
    *text = nullptr;
    *length = 0;
    if (size == 0) return true;
    m_wide.resize(size);  // no code page gives more wide characters than bytes
    const int units = MultiByteToWideChar(m_from, 0, data, static_cast<int>(size), m_wide.data(), static_cast<int>(size));
    if (units <= 0) return false;
    const size_t capacity = static_cast<size_t>(units) * (m_to == kUtf8 ? 4 : 1);
    m_bytes.resize(capacity);
    const int bytes = WideCharToMultiByte(m_to, 0, m_wide.data(), units, m_bytes.data(), static_cast<int>(capacity),
                                          nullptr, nullptr);
    if (bytes <= 0) return false;
    *text = m_bytes.data();
    *length = static_cast<size_t>(bytes);
    return true;
  }

  // Explain: after Convert failed on data, the message for its first character that cannot
  // be converted; *good is the length of the part before it.
  std::string Explain(const char* data, size_t size, uint64_t offset, size_t* good) {
    const size_t longest = m_from == kUtf8 ? 4 : 1;
    char text[256];
    size_t at = 0;
    while (at < size) {
      wchar_t wide = 0;
      size_t length = 0;
      SetLastError(0);
      for (size_t l = 1; l <= longest && at + l <= size && length == 0; ++l)
        if (MultiByteToWideChar(m_from, 0, data + at, static_cast<int>(l), &wide, 1) == 1) length = l;
      if (length == 0) {
        const unsigned byte = static_cast<unsigned char>(data[at]);
        if (m_from == kUtf8)
          snprintf(text, sizeof text, "offset %llu: malformed UTF-8 sequence starting with byte 0x%02X",
                   static_cast<unsigned long long>(offset + at), byte);
        else
          snprintf(text, sizeof text, "offset %llu: byte 0x%02X has no character in code page %u",
                   static_cast<unsigned long long>(offset + at), byte, m_from);
        return Finish(text, at, good);
      }
      char narrow[16];
      SetLastError(0);
      if (WideCharToMultiByte(m_to, 0, &wide, 1, narrow, sizeof narrow, nullptr, nullptr) <= 0) {
        snprintf(text, sizeof text, "offset %llu: character U+%04X cannot be represented in code page %u",
                 static_cast<unsigned long long>(offset + at), static_cast<unsigned>(wide), m_to);
        return Finish(text, at, good);
      }
      at += length;
    }
    // Every character converts on its own: the piece as a whole failed for another reason.
    *good = 0;
    return "the conversion failed: " + std::string(GetErrorMessage(GetLastError()).GetStr());
  }

 private:
  static std::string Finish(const char* text, size_t at, size_t* good) {
    *good = at;
    if (GetLastError() == 0) SetLastError(EILSEQ);  // the code-page converter leaves no last error
    return std::string(text) + ": " + GetErrorMessage(GetLastError()).GetStr();
  }

  unsigned m_from, m_to;
  std::vector<wchar_t> m_wide;
  std::vector<char> m_bytes;
};

int Run(int argc, char** argv) {
  Options options;
  int status = kExitUsage;
  if (!ParseArguments(argc, argv, options, status)) return status;

  int in = STDIN_FILENO;
  if (options.in != nullptr && (in = open(options.in, O_RDONLY | O_CLOEXEC)) < 0)
    return FailWithLastError("cannot open", options.in);
  const char* inName = options.in != nullptr ? options.in : "standard input";
  const bool toFile = options.out != nullptr;
  std::string converted;  // everything, when OUT is a file

  PieceConverter converter(options.from, options.to);
  std::vector<char> buffer(kPiece);
  size_t carried = 0;    // bytes of an incomplete character kept from the previous piece
  uint64_t offset = 0;   // input offset of buffer[0]
  bool atEnd = false;
  while (!atEnd) {
    const ssize_t got = ReadSome(in, buffer.data() + carried, buffer.size() - carried);
    if (got < 0) return FailWithLastError("cannot read", inName);
    atEnd = got == 0;
    const size_t filled = carried + static_cast<size_t>(got);
    const size_t whole =
        atEnd || options.from != kUtf8 ? filled : CompletePrefix(buffer.data(), filled);
    const char* text;
    size_t length;
    if (!converter.Convert(buffer.data(), whole, &text, &length)) {
      size_t good = 0;
      const std::string message = converter.Explain(buffer.data(), whole, offset, &good);
      if (!toFile && converter.Convert(buffer.data(), good, &text, &length) && !WriteAll(STDOUT_FILENO, text, length))
        return FailWithLastError("cannot write", "standard output");
      return Fail(kSub, "%s", message.c_str());
    }
    if (toFile) converted.append(text, length);
    else if (!WriteAll(STDOUT_FILENO, text, length)) return FailWithLastError("cannot write", "standard output");
    carried = filled - whole;
    memmove(buffer.data(), buffer.data() + whole, carried);
    offset += whole;
  }
  if (in != STDIN_FILENO) close(in);
  if (!toFile) return kExitSuccess;

  const int out = open(options.out, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (out < 0) return FailWithLastError("cannot open", options.out);
  if (!WriteAll(out, converted.data(), converted.size())) {
    const int error = GetLastError();
    close(out);
    SetLastError(error);
    return FailWithLastError("cannot write", options.out);
  }
  if (close(out) != 0) return FailWithLastError("cannot write", options.out);
  return kExitSuccess;
}

SubcommandRegistration g_registration({"conv", "converts text between code pages", kUsage, &Run});

}  // namespace

}  // namespace OrvGuiTool
