// RegistryText.cpp: export, import and the key copy.
//
// Import works on the whole file in memory (converted to UTF-8 first when it is UTF-16) with a
// cursor over its lines, because two forms run over more than one line: a hex list whose line
// ends in a lone "\" item, and a quoted name or value whose line break is escaped (export
// writes line breaks inside texts that way). A physical line ends at the first "\n"; a "\r"
// before it is dropped. The section state is a checked key: a section that could not be
// checked is still a section, so that its value lines are skipped instead of landing in the
// section before it.
#include "base/registry/RegistryText.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "base/fs/Stream.h"
#include "base/text/BinaryText.h"
#include "base/text/Quoting.h"
#include "base/text/Utf.h"
#include "private/registry/KeyFiles.h"
#include "private/system/Sys.h"

namespace OrvGuiBase {

namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Quote: ExtendedQuote with every line feed escaped as well (see the file's head).
AnsiStr Quote(const AnsiStr& text) {
  AnsiStr quoted = ExtendedQuote(text);
  if (memchr(quoted.GetStr(), '\n', quoted.GetLength()) != nullptr) quoted.Replace("\n", "\\\n");
  return quoted;
}

// ---- export -------------------------------------------------------------------------------

class Exporter {
 public:
  explicit Exporter(WriteStream& out) : m_out(out) {}

  // Key: the key open as fd (kept open by the caller) named name, then the sub-keys: all of
  // them, or those of only when it is given.
  bool Key(int fd, const AnsiStr& name, unsigned depth, const Store<AnsiStr>* only) {
    if (depth > kRegMaxDepth) {
      errno = ENAMETOOLONG;
      return false;
    }
    Store<AnsiStr> keys, values;
    if (!RegFiles::List(fd, only == nullptr ? &keys : nullptr, &values)) return false;
    if (only != nullptr) keys = *only;
    m_out.Write('[');
    m_out.Write(name);
    m_out.Write("]\n", 2);
    for (uint32_t i = 0; i < values.GetCount(); ++i) {
      const AnsiStr& file = values.Get(i);
      const int valueFd = Sys::OpenAt(fd, file.GetStr(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
      AnsiStr text;
      if (valueFd < 0 || !RegFiles::ReadFd(valueFd, text)) {
        if (errno == ENOENT) continue;  // removed while we listed
        return false;
      }
      if (file == kRegDefaultValueFile) m_out.Write('@');
      else m_out.Write(Quote(file));
      m_out.Write('=');
      m_out.Write(Quote(text));
      m_out.Write('\n');
    }
    if (!m_out.Write('\n')) return false;
    for (uint32_t i = 0; i < keys.GetCount(); ++i) {
      AnsiStr sub;
      if (!RegFiles::ValueFileName(keys.Get(i), sub) || sub == kRegDefaultValueFile) {
        errno = EINVAL;  // a listed name must be one plain key name
        return false;
      }
      const int subFd = RegFiles::OpenSubDirectory(fd, sub.GetStr());
      if (subFd < 0) {
        if (errno == ENOENT && only == nullptr) continue;
        return false;
      }
      const bool ok = Key(subFd, AnsiStr(name).Append('\\').Append(sub), depth + 1, nullptr);
      const int error = errno;
      Sys::Close(subFd);
      errno = error;
      if (!ok) return false;
    }
    return true;
  }

 private:
  WriteStream& m_out;
};

// ---- import -------------------------------------------------------------------------------

struct ImportOptions {
  const Store<AnsiStr>* from = nullptr;
  const Store<AnsiStr>* to = nullptr;
  bool overwrite = true;
  bool keepDefaults = false;
  bool substituteValues = true;
  const RegPath* base = nullptr;  // sections that name no root are below this key
};

// LoadText: the file's content as UTF-8 (a UTF-8 mark dropped, UTF-16 converted).
bool LoadText(const File& file, std::string& text) {
  const int fd = Sys::Open(file.GetPath().GetStr(), O_RDONLY | O_NONBLOCK);
  AnsiStr raw;
  if (fd < 0 || !RegFiles::ReadFd(fd, raw)) return false;
  const unsigned char* bytes = reinterpret_cast<const unsigned char*>(raw.GetStr());
  const uint32_t length = raw.GetLength();
  const bool little = length >= 2 && bytes[0] == 0xFF && bytes[1] == 0xFE;
  const bool big = length >= 2 && bytes[0] == 0xFE && bytes[1] == 0xFF;
  if (!little && !big) {
    const uint32_t skip = length >= 3 && bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF ? 3 : 0;
    text.assign(raw.GetStr() + skip, length - skip);
    return true;
  }
  std::u16string units((length - 2) / 2, u'\0');
  for (size_t i = 0; i < units.size(); ++i) {
    const unsigned char a = bytes[2 + 2 * i], b = bytes[3 + 2 * i];
    units[i] = static_cast<char16_t>(little ? (a | (b << 8)) : ((a << 8) | b));
  }
  text.clear();
  if (units.empty()) return true;
  const uint32_t count = static_cast<uint32_t>(units.size());
  const uint32_t needed = UTF16toUTF8(units.data(), count, nullptr, 0);
  if (needed == 0) return false;
  text.resize(needed);
  return UTF16toUTF8(units.data(), count, text.data(), needed) == needed;
}

class Importer {
 public:
  Importer(const std::string& text, const ImportOptions& options)
      : m_p(text.data()), m_end(text.data() + text.size()), m_options(options) {
    if (options.from != nullptr && options.to != nullptr) {
      // Key paths are compared in their canonical form, so "HKLM\A" in a table finds
      // "[HKEY_LOCAL_MACHINE\A]" in the file.
      for (uint32_t i = 0; i < options.from->GetCount() && i < options.to->GetCount(); ++i) {
        m_keyFrom.Append(Canonical(options.from->Get(i)));
        m_keyTo.Append(Canonical(options.to->Get(i)));
      }
    }
  }

  void Run() {
    AnsiSubStr line;
    while (NextLine(line)) Apply(line);
  }

 private:
  // NextLine: the next physical line without its end; false at the end of the text.
  bool NextLine(AnsiSubStr& line) {
    if (m_p >= m_end) return false;
    const char* start = m_p;
    const char* lf = static_cast<const char*>(memchr(m_p, '\n', static_cast<size_t>(m_end - m_p)));
    m_lineEnd = lf != nullptr ? lf : m_end;
    m_p = lf != nullptr ? lf + 1 : m_end;
    const char* stop = m_lineEnd;
    if (stop > start && stop[-1] == '\r') --stop;
    line = AnsiSubStr(start, static_cast<uint32_t>(stop - start));
    return true;
  }

  // ExtendQuoted: the value line that starts at start and whose physical line ends at
  // m_lineEnd. While a quote is open at the end of a line and the line feed there is escaped
  // (the last byte before it is a backslash that escapes nothing else), the next physical
  // line belongs to the value line, the line feed included.
  AnsiSubStr ExtendQuoted(const char* start) {
    bool quoted = false;
    const char* p = start;
    for (;;) {
      bool escapedEnd = false;
      for (; p < m_lineEnd; ++p) {
        if (!quoted) {
          quoted = *p == '"';
        } else if (*p == '\\') {
          if (p + 1 == m_lineEnd) {
            escapedEnd = true;
            p = m_lineEnd;
            break;
          }
          ++p;
        } else if (*p == '"') {
          quoted = false;
        }
      }
      if (!quoted || !escapedEnd || m_lineEnd >= m_end) break;
      p = m_lineEnd + 1;
      const char* lf = static_cast<const char*>(memchr(p, '\n', static_cast<size_t>(m_end - p)));
      m_lineEnd = lf != nullptr ? lf : m_end;
      m_p = lf != nullptr ? lf + 1 : m_end;
    }
    const char* stop = m_lineEnd;
    if (stop > start && stop[-1] == '\r') --stop;
    return AnsiSubStr(start, static_cast<uint32_t>(stop - start));
  }

  static AnsiSubStr Trim(AnsiSubStr text) {
    const char* b = text.GetStr();
    const char* e = b + text.GetLength();
    while (b < e && IsBlank(*b)) ++b;
    while (e > b && (IsBlank(e[-1]) || e[-1] == '\r')) --e;
    return AnsiSubStr(b, static_cast<uint32_t>(e - b));
  }

  static bool StartsWith(AnsiSubStr text, const char* prefix) {
    const size_t n = strlen(prefix);
    return text.GetLength() >= n && memcmp(text.GetStr(), prefix, n) == 0;
  }

  // Canonical: a key path in its canonical form ("" when it names no key).
  AnsiStr Canonical(const AnsiStr& path) const {
    RegPath parsed;
    if (!parsed.Parse(AnsiSubStr(), path)) {
      if (m_options.base == nullptr) return AnsiStr();
      parsed = *m_options.base;
      AnsiStr sub(parsed.GetPath());
      if (!sub.IsEmpty() && !path.IsEmpty()) sub += '\\';
      sub += path;
      if (!parsed.Parse(AnsiSubStr(parsed.GetRoot()), AnsiSubStr(sub))) return AnsiStr();
    }
    RegKey key;
    return key.Locate(parsed) ? key.GetName() : AnsiStr();
  }

  // LocateKey: the checked key that a key path of the file names, after the substitutions.
  bool LocateKey(AnsiSubStr path, RegKey& key) const {
    AnsiStr name = Canonical(AnsiStr(path));
    if (name.IsEmpty()) return false;
    name = RegConvertString(name, &m_keyFrom, &m_keyTo, true);
    return key.Locate(RegPath(name.GetStr()));
  }

  AnsiStr ConvertValue(const AnsiStr& value) const {
    if (!m_options.substituteValues) return value;
    return RegConvertString(value, m_options.from, m_options.to, false);
  }

  void Apply(AnsiSubStr raw) {
    AnsiSubStr line = Trim(raw);
    if (StartsWith(line, "HKEY_") && memchr(line.GetStr(), '=', line.GetLength()) != nullptr) {
      Assign(line);
      return;
    }
    if (StartsWith(line, "[")) {
      OpenSection(line);
      return;
    }
    if (!m_inSection) return;
    if (StartsWith(line, "\"") || StartsWith(line, "@")) {
      // A quoted name or value may go on over escaped line feeds.
      const uint32_t lead = static_cast<uint32_t>(line.GetStr() - raw.GetStr());
      const AnsiSubStr full = ExtendQuoted(raw.GetStr());
      SetValue(Trim(AnsiSubStr(full.GetStr() + lead, full.GetLength() - lead)));
    }
  }

  void Assign(AnsiSubStr line) {
    const char* eq = static_cast<const char*>(memchr(line.GetStr(), '=', line.GetLength()));
    const AnsiSubStr path = Trim(AnsiSubStr(line.GetStr(), static_cast<uint32_t>(eq - line.GetStr())));
    const AnsiSubStr value =
        Trim(AnsiSubStr(eq + 1, static_cast<uint32_t>(line.GetStr() + line.GetLength() - eq - 1)));
    RegKey key;
    if (!LocateKey(path, key)) return;
    if (m_options.keepDefaults && RegFiles::IsValue(key, AnsiSubStr())) return;
    RegFiles::WriteValue(key, AnsiSubStr(), ConvertValue(ExtendedUnQuote(AnsiStr(value))));
  }

  void OpenSection(AnsiSubStr line) {
    const bool remove = StartsWith(line, "[-");
    const char* start = line.GetStr() + (remove ? 2 : 1);
    const char* close = static_cast<const char*>(
        memchr(start, ']', static_cast<size_t>(line.GetStr() + line.GetLength() - start)));
    m_inSection = true;
    m_sectionValid = false;
    if (close == nullptr) return;  // no key: the section's lines are skipped
    const AnsiSubStr path(start, static_cast<uint32_t>(close - start));
    RegKey key;
    if (!LocateKey(path, key)) return;
    if (remove) {
      RegFiles::RemoveKey(key);
      m_inSection = false;
      return;
    }
    if (!RegFiles::MakeKey(key.GetHivePath(), key.GetRelativePath())) return;
    m_section = key;
    m_sectionValid = true;
  }

  // SetValue: one value line of the open section: name, "=", value.
  void SetValue(AnsiSubStr line) {
    const char* p = line.GetStr();
    const char* end = p + line.GetLength();
    AnsiStr name;
    if (*p == '@') {
      ++p;
    } else {
      // The quoted name ends at its first quote that is not escaped.
      const char* q = p + 1;
      while (q < end && *q != '"') q += *q == '\\' && q + 1 < end ? 2 : 1;
      if (q >= end) return;
      name = ExtendedUnQuote(AnsiStr(p, static_cast<uint32_t>(q + 1 - p)));
      p = q + 1;
    }
    while (p < end && IsBlank(*p)) ++p;
    if (p >= end || *p != '=') return;
    const AnsiSubStr value = Trim(AnsiSubStr(p + 1, static_cast<uint32_t>(end - p - 1)));
    if (!m_sectionValid) {
      if (IsHex(value)) SkipHexContinuation(value);
      return;
    }
    if (value.GetLength() == 1 && value.GetStr()[0] == '-') {
      RegFiles::DeleteValue(m_section, name);
    } else if (StartsWith(value, "\"")) {
      Put(name, ConvertValue(ExtendedUnQuote(AnsiStr(value))));
    } else if (IsDword(value)) {
      Put(name, Dword(value));
    } else if (IsHex(value)) {
      Blob bytes;
      if (HexBytes(value, bytes)) Put(name, Binary2B16Str(bytes, "\r\n"));
    }
  }

  void Put(const AnsiStr& name, const AnsiStr& text) {
    RegFiles::WriteValue(m_section, name, text, !m_options.overwrite);
  }

  // AfterWord: the text after word (any case) and optional blanks, or null.
  static const char* AfterWord(AnsiSubStr value, const char* word) {
    const size_t n = strlen(word);
    if (value.GetLength() < n || strncasecmp(value.GetStr(), word, n) != 0) return nullptr;
    const char* p = value.GetStr() + n;
    const char* end = value.GetStr() + value.GetLength();
    while (p < end && IsBlank(*p)) ++p;
    return p;
  }

  static bool IsDword(AnsiSubStr value) {
    const char* p = AfterWord(value, "dword");
    return p != nullptr && p < value.GetStr() + value.GetLength() && *p == ':';
  }

  // Dword: the hexadecimal digits after the colon up to the first other character, as a
  // 32-bit number that wraps silently (as the editor's own reader does), in decimal.
  static AnsiStr Dword(AnsiSubStr value) {
    const char* p = AfterWord(value, "dword") + 1;
    const char* end = value.GetStr() + value.GetLength();
    while (p < end && IsBlank(*p)) ++p;
    uint32_t number = 0;
    for (; p < end && HexDigit(*p) >= 0; ++p) number = number * 16 + static_cast<uint32_t>(HexDigit(*p));
    char buffer[16];
    snprintf(buffer, sizeof buffer, "%u", number);
    return AnsiStr(buffer);
  }

  // HexStart: the first byte item of a hex value ("hex", blanks, an optional "(digits)", ":"),
  // or null when value is no hex value.
  static const char* HexStart(AnsiSubStr value) {
    const char* p = AfterWord(value, "hex");
    const char* end = value.GetStr() + value.GetLength();
    if (p == nullptr) return nullptr;
    if (p < end && *p == '(') {
      ++p;
      while (p < end && IsBlank(*p)) ++p;
      const char* digits = p;
      while (p < end && HexDigit(*p) >= 0) ++p;
      if (p == digits) return nullptr;
      while (p < end && IsBlank(*p)) ++p;
      if (p >= end || *p != ')') return nullptr;
      ++p;
      while (p < end && IsBlank(*p)) ++p;
    }
    return p < end && *p == ':' ? p + 1 : nullptr;
  }

  static bool IsHex(AnsiSubStr value) { return HexStart(value) != nullptr; }

  // HexBytes: the byte items of a hex value, taking continuation lines; false (the lines still
  // taken) for a bad item or more than 32768 bytes.
  bool HexBytes(AnsiSubStr value, Blob& bytes) {
    const char* p = HexStart(value);
    const char* end = value.GetStr() + value.GetLength();
    std::string collected;
    bool good = true;
    for (;;) {
      bool more = false;
      while (p < end) {
        const char* comma = static_cast<const char*>(memchr(p, ',', static_cast<size_t>(end - p)));
        const AnsiSubStr item = Trim(AnsiSubStr(p, static_cast<uint32_t>((comma != nullptr ? comma : end) - p)));
        p = comma != nullptr ? comma + 1 : end;
        if (item.IsEmpty()) continue;
        if (item.GetLength() == 1 && item.GetStr()[0] == '\\') {
          more = true;  // a continuation item; anything after it on the line is ignored
          break;
        }
        const int high = item.GetLength() == 2 ? HexDigit(item.GetStr()[0]) : -1;
        const int low = item.GetLength() == 2 ? HexDigit(item.GetStr()[1]) : -1;
        if (high < 0 || low < 0) {
          good = false;
          continue;
        }
        if (collected.size() >= kRegMaxBinaryValue) good = false;
        else collected.push_back(static_cast<char>(high * 16 + low));
      }
      AnsiSubStr next;
      if (!more || !NextLine(next)) break;
      next = Trim(next);
      p = next.GetStr();
      end = p + next.GetLength();
    }
    if (good) bytes = Blob(collected.data(), static_cast<uint32_t>(collected.size()));
    return good;
  }

  void SkipHexContinuation(AnsiSubStr value) {
    Blob ignored;
    HexBytes(value, ignored);
  }

  const char* m_p;
  const char* m_end;
  const char* m_lineEnd = nullptr;
  const ImportOptions& m_options;
  Store<AnsiStr> m_keyFrom, m_keyTo;
  bool m_inSection = false;
  bool m_sectionValid = false;
  RegKey m_section;
};

bool ImportFile(const File& file, const ImportOptions& options) {
  std::string text;
  if (!LoadText(file, text)) return false;
  Importer(text, options).Run();
  errno = 0;
  return true;
}

// IsAtOrBelow: key lies at or below top (the same hive, top's components a prefix of key's).
bool IsAtOrBelow(const RegKey& key, const RegKey& top) {
  if (key.GetHivePath() != top.GetHivePath()) return false;
  const AnsiStr& a = key.GetRelativePath();
  const AnsiStr& b = top.GetRelativePath();
  if (b.IsEmpty()) return true;
  return a.GetLength() >= b.GetLength() && memcmp(a.GetStr(), b.GetStr(), b.GetLength()) == 0 &&
         (a.GetLength() == b.GetLength() || a[b.GetLength()] == '/');
}

bool CopyKey(const RegPath& fromPath, const RegPath& toPath, bool removeTarget, bool overwrite,
             bool substituteValues, bool removeSource) {
  RegKey from, to;
  if (!from.Open(fromPath, kRegRead) || !to.Locate(toPath)) return false;
  if (removeSource && IsAtOrBelow(to, from)) {
    errno = EINVAL;
    return false;
  }
  TempFile copy;
  if (!copy.Create(Directory(Directory::kTemp), "copy")) return false;
  if (!RegExport(copy, fromPath, {})) return false;
  if (removeTarget && !RegFiles::RemoveKey(to) && errno != ENOENT) return false;
  Store<AnsiStr> fromNames, toNames;
  fromNames.Append(from.GetName());
  toNames.Append(to.GetName());
  ImportOptions options;
  options.from = &fromNames;
  options.to = &toNames;
  options.overwrite = overwrite;
  options.substituteValues = substituteValues;
  if (!ImportFile(copy, options)) return false;
  copy.Cleanup();
  return !removeSource || RegFiles::RemoveKey(from);
}

}  // namespace

bool RegExport(const File& file, const RegPath& key, const Store<AnsiStr>& keys) {
  RegKey located;
  if (!located.Locate(key)) return false;
  const int fd = RegFiles::OpenKey(located, O_PATH);
  if (fd < 0) return false;
  bool ok = false;
  {
    WriteStream out(file, kWriteBinary);
    if (out.IsOpen()) {
      out.Write(kRegExportHeader);
      out.Write("\n\n", 2);
      ok = Exporter(out).Key(fd, located.GetName(), 0, keys.IsEmpty() ? nullptr : &keys);
      const int error = errno;
      ok = out.Close() && ok;
      if (ok) errno = error;
      if (!ok) {
        const int failure = errno;
        file.Remove(true);
        errno = failure;
      }
    }
  }
  const int error = errno;
  Sys::Close(fd);
  errno = ok ? 0 : error;
  return ok;
}

bool RegImport(const File& file, const Store<AnsiStr>* from, const Store<AnsiStr>* to, bool overwrite,
               bool keepDefaults) {
  ImportOptions options;
  options.from = from;
  options.to = to;
  options.overwrite = overwrite;
  options.keepDefaults = keepDefaults;
  return ImportFile(file, options);
}

AnsiStr RegConvertString(const AnsiStr& text, const Store<AnsiStr>* from, const Store<AnsiStr>* to, bool key) {
  if (from == nullptr || to == nullptr) return text;
  for (uint32_t i = 0; i < from->GetCount() && i < to->GetCount(); ++i) {
    const AnsiStr& f = from->Get(i);
    const uint32_t n = f.GetLength();
    if (n == 0 || text.GetLength() < n) continue;
    const bool same = key ? strncasecmp(text.GetStr(), f.GetStr(), n) == 0 : memcmp(text.GetStr(), f.GetStr(), n) == 0;
    if (!same || (text.GetLength() > n && text[n] != '\\')) continue;
    return AnsiStr(to->Get(i)).Append(AnsiSubStr(text.GetStr() + n, text.GetLength() - n));
  }
  return text;
}

bool RegCopyKey(const char* root, const char* from, const char* to, bool removeTarget, bool overwrite,
                bool substituteValues, bool removeSource) {
  return CopyKey(RegPath(root, from), RegPath(root, to), removeTarget, overwrite, substituteValues, removeSource);
}

bool Registry::CopyKey(const AnsiStr& from, const AnsiStr& to, bool removeTarget, bool overwrite) const {
  return OrvGuiBase::CopyKey(GetRegPath(from), GetRegPath(to), removeTarget, overwrite, true, false);
}

bool Registry::MoveKey(const AnsiStr& from, const AnsiStr& to, bool removeTarget, bool overwrite) const {
  return OrvGuiBase::CopyKey(GetRegPath(from), GetRegPath(to), removeTarget, overwrite, true, true);
}

bool Registry::Export(const File& file) const { return RegExport(file, GetRegPath(), {}); }

bool Registry::Export(const File& file, const AnsiStr& key) const { return RegExport(file, GetRegPath(key), {}); }

bool Registry::Export(const File& file, const Store<AnsiStr>& keys) const {
  return RegExport(file, GetRegPath(), keys);
}

bool Registry::Import(const File& file, const Store<AnsiStr>* from, const Store<AnsiStr>* to) const {
  const RegPath base = GetRegPath();
  ImportOptions options;
  options.from = from;
  options.to = to;
  options.base = base.IsValid() ? &base : nullptr;
  return ImportFile(file, options);
}

}  // namespace OrvGuiBase
