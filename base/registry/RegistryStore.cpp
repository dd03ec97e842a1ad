// RegistryStore.cpp: the Registry class and the free functions over keys and values.
#include "base/registry/Registry.h"

#include <fcntl.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <limits>
#include <type_traits>

#include "base/process/Setup.h"
#include "base/text/BinaryText.h"
#include "base/text/NumberText.h"
#include "private/registry/KeyFiles.h"
#include "private/system/Sys.h"

namespace OrvGuiBase {

namespace {

const char* const kTypePaths[] = {"HKEY_COMPANY", "HKEY_ENVIRONMENT", "HKEY_APPLICATION"};

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// ParseDecimal: blanks, an optional "+" or "-", decimal digits, blanks: the whole text, in
// base 10 only. A magnitude is kept as unsigned 64 bits with the sign apart; false with 22
// (not a number) or 34 (past 64 bits).
bool ParseDecimal(const AnsiStr& text, bool& negative, uint64_t& magnitude) {
  const char* p = text.GetStr();
  const char* end = p + text.GetLength();
  while (p < end && IsBlank(*p)) ++p;
  negative = p < end && *p == '-';
  if (p < end && (*p == '-' || *p == '+')) ++p;
  const char* digits = p;
  magnitude = 0;
  bool overflow = false;
  for (; p < end && *p >= '0' && *p <= '9'; ++p) {
    const uint64_t digit = static_cast<uint64_t>(*p - '0');
    if (magnitude > (UINT64_MAX - digit) / 10) overflow = true;
    magnitude = magnitude * 10 + digit;
  }
  const bool any = p > digits;
  while (p < end && IsBlank(*p)) ++p;
  if (!any || p != end) {
    errno = EINVAL;
    return false;
  }
  if (overflow) {
    errno = ERANGE;
    return false;
  }
  return true;
}

template <class T>
bool TextToInteger(const AnsiStr& text, T& value) {
  bool negative = false;
  uint64_t magnitude = 0;
  if (!ParseDecimal(text, negative, magnitude)) return false;
  if constexpr (std::is_signed_v<T>) {
    const uint64_t limit = negative ? static_cast<uint64_t>(std::numeric_limits<T>::max()) + 1
                                    : static_cast<uint64_t>(std::numeric_limits<T>::max());
    if (magnitude > limit) {
      errno = ERANGE;
      return false;
    }
    value = negative ? static_cast<T>(0 - magnitude) : static_cast<T>(magnitude);
  } else {
    if ((negative && magnitude != 0) || magnitude > static_cast<uint64_t>(std::numeric_limits<T>::max())) {
      errno = ERANGE;
      return false;
    }
    value = static_cast<T>(magnitude);
  }
  return true;
}

template <class T>
AnsiStr IntegerToText(T value) {
  char buffer[kMaxIntegerText];
  if constexpr (std::is_signed_v<T>) return AnsiStr(Hyper2Str(buffer, static_cast<int64_t>(value)));
  else return AnsiStr(UHyper2Str(buffer, static_cast<uint64_t>(value)));
}

AnsiStr JoinList(const Store<AnsiStr>& list) {
  AnsiStrBuilder out;
  for (uint32_t i = 0; i < list.GetCount(); ++i) {
    if (i > 0) out.Append(AnsiSubStr("", 1));  // the NUL itself: a char NUL appends nothing
    out.Append(list.Get(i));
  }
  return out.Detach();
}

Store<AnsiStr> SplitList(const AnsiStr& text) {
  Store<AnsiStr> list;
  if (text.IsEmpty()) return list;
  const char* p = text.GetStr();
  const char* end = p + text.GetLength();
  for (;;) {
    const char* nul = static_cast<const char*>(memchr(p, 0, static_cast<size_t>(end - p)));
    const char* stop = nul != nullptr ? nul : end;
    list.Append(AnsiStr(p, static_cast<uint32_t>(stop - p)));
    if (nul == nullptr) break;
    p = nul + 1;
  }
  return list;
}

// OpenKeyDirectory: a key directory given by its path (the free functions' form).
int OpenKeyDirectory(const Directory& key) { return Sys::Open(key.GetPath().GetStr(), O_PATH | O_DIRECTORY); }

// OpenInDirectory: a value file of a key directory, never through a link.
int OpenInDirectory(const Directory& key, const char* valueName, int flags, mode_t mode = 0) {
  AnsiStr file;
  if (!RegFiles::ValueFileName(AnsiSubStr(valueName), file)) return -1;
  const int dirFd = OpenKeyDirectory(key);
  if (dirFd < 0) return -1;
  const int fd = Sys::OpenAt(dirFd, file.GetStr(), flags | O_NOFOLLOW | O_NONBLOCK, mode);
  const int error = errno;
  Sys::Close(dirFd);
  errno = error;
  return fd;
}

bool WriteInDirectory(const Directory& key, const char* valueName, AnsiSubStr text) {
  const int fd = OpenInDirectory(key, valueName, O_WRONLY | O_CREAT | O_TRUNC, 0666);
  if (fd < 0) return false;
  if (!Sys::WriteAll(fd, text.GetStr(), text.GetLength())) {
    const int error = errno;
    Sys::Close(fd);
    errno = error;
    return false;
  }
  return Sys::Close(fd) == 0;
}

}  // namespace

Registry::Registry(RegistryType type, const AnsiStr& key) {
  SetPath(type);
  Append(key);
}

void Registry::SetPath(RegistryType type) {
  m_path = static_cast<unsigned>(type) < 3 ? AnsiStr(kTypePaths[type]) : AnsiStr();
}

Registry& Registry::Append(const AnsiStr& key) {
  if (!key.IsEmpty()) {
    if (!m_path.IsEmpty()) m_path += '\\';
    m_path += key;
  }
  return *this;
}

RegPath Registry::GetRegPath(const AnsiStr& key) const {
  AnsiStr full(m_path);
  if (!key.IsEmpty()) {
    if (!full.IsEmpty()) full += '\\';
    full += key;
  }
  RegPath path;
  path.Parse(AnsiSubStr(), AnsiSubStr(full));
  return path;
}

bool Registry::Locate(const AnsiStr& key, RegKey& located) const { return located.Locate(GetRegPath(key)); }

bool Registry::IsKey(const AnsiStr& key) const {
  RegKey located;
  return located.Open(GetRegPath(key), kRegRead);
}

bool Registry::CreateKey(const AnsiStr& key) const {
  RegKey located;
  return located.Open(GetRegPath(key), kRegCreate);
}

bool Registry::RemoveKey(const AnsiStr& key) const {
  RegKey located;
  return Locate(key, located) && RegFiles::RemoveKey(located);
}

bool Registry::RemoveKeys() const { return RemoveKeys([](const AnsiStr&, const void*) { return true; }, nullptr); }

bool Registry::RemoveKeys(RegKeyFilter filter, const void* context) const {
  RegKey located;
  if (!Locate(AnsiStr(), located)) return false;
  const int fd = RegFiles::OpenKey(located, O_PATH);
  if (fd < 0) return errno == ENOENT;
  Store<AnsiStr> keys;
  bool ok = RegFiles::List(fd, &keys, nullptr);
  for (uint32_t i = 0; ok && i < keys.GetCount(); ++i)
    if (filter == nullptr || filter(keys.Get(i), context)) ok = RegFiles::RemoveTree(fd, keys.Get(i).GetStr());
  const int error = errno;
  Sys::Close(fd);
  errno = error;
  return ok;
}

bool Registry::RemoveKeys(const AnsiStr& valueName, const AnsiStr& text) const {
  struct Match {
    const Registry* self;
    const AnsiStr* name;
    const AnsiStr* text;
  } match{this, &valueName, &text};
  return RemoveKeys(
      [](const AnsiStr& key, const void* context) {
        const Match& m = *static_cast<const Match*>(context);
        AnsiStr value;
        return m.self->ReadText(key, *m.name, value) && value == *m.text;
      },
      &match);
}

bool Registry::List(const AnsiStr& key, Store<AnsiStr>* keys, Store<AnsiStr>* values) const {
  RegKey located;
  if (!Locate(key, located)) return false;
  const int fd = RegFiles::OpenKey(located, O_PATH);
  if (fd < 0) return false;
  const bool ok = RegFiles::List(fd, keys, values);
  const int error = errno;
  Sys::Close(fd);
  errno = error;
  return ok;
}

bool Registry::GetKeys(Store<AnsiStr>& names, const AnsiStr& key) const { return List(key, &names, nullptr); }

bool Registry::GetValueNames(Store<AnsiStr>& names, const AnsiStr& key) const {
  Store<AnsiStr> files;
  if (!List(key, nullptr, &files)) return false;
  for (uint32_t i = 0; i < files.GetCount(); ++i)
    names.Append(files.Get(i) == kRegDefaultValueFile ? AnsiStr() : files.Get(i));
  return true;
}

namespace {

// Pick: the name at index, or "" with last error 2 past the end.
AnsiStr Pick(const Store<AnsiStr>& names, unsigned index) {
  if (index < names.GetCount()) return names.Get(index);
  errno = ENOENT;
  return AnsiStr();
}

}  // namespace

unsigned Registry::GetKeyCount(const AnsiStr& key) const {
  Store<AnsiStr> names;
  return GetKeys(names, key) ? names.GetCount() : 0;
}

AnsiStr Registry::GetKey(unsigned index, const AnsiStr& key) const {
  Store<AnsiStr> names;
  return GetKeys(names, key) ? Pick(names, index) : AnsiStr();
}

unsigned Registry::GetValueNameCount(const AnsiStr& key) const {
  Store<AnsiStr> names;
  return GetValueNames(names, key) ? names.GetCount() : 0;
}

AnsiStr Registry::GetValueName(unsigned index, const AnsiStr& key) const {
  Store<AnsiStr> names;
  return GetValueNames(names, key) ? Pick(names, index) : AnsiStr();
}

bool Registry::IsFull(const AnsiStr& key) const {
  Store<AnsiStr> keys, values;
  return List(key, &keys, &values) && (keys.GetCount() + values.GetCount()) > 0;
}

bool Registry::IsValueName(const AnsiStr& key, const AnsiStr& name) const {
  RegKey located;
  return Locate(key, located) && RegFiles::IsValue(located, name);
}

bool Registry::ReadText(const AnsiStr& key, const AnsiStr& name, AnsiStr& text) const {
  RegKey located;
  return Locate(key, located) && RegFiles::ReadValue(located, name, text);
}

bool Registry::WriteText(const AnsiStr& key, const AnsiStr& name, AnsiSubStr text, bool onlyIfMissing) const {
  RegKey located;
  return Locate(key, located) && RegFiles::WriteValue(located, name, text, onlyIfMissing);
}

bool Registry::Read(const AnsiStr& key, const AnsiStr& name, AnsiStr& value, const AnsiStr& def,
                    bool writeDefault) const {
  if (ReadText(key, name, value)) return true;
  const int error = errno;
  value = def;
  if (writeDefault && error == ENOENT) WriteText(key, name, def, true);
  errno = error;
  return false;
}

bool Registry::Read(const AnsiStr& key, const AnsiStr& name, Store<AnsiStr>& value, const Store<AnsiStr>& def,
                    bool writeDefault) const {
  AnsiStr text;
  if (ReadText(key, name, text)) {
    value = SplitList(text);
    return true;
  }
  const int error = errno;
  value = def;
  if (writeDefault && error == ENOENT) WriteText(key, name, JoinList(def), true);
  errno = error;
  return false;
}

template <class T>
bool Registry::ReadInteger(const AnsiStr& key, const AnsiStr& name, T& value, T def, bool writeDefault) const {
  AnsiStr text;
  if (ReadText(key, name, text) && TextToInteger(text, value)) return true;
  const int error = errno;
  value = def;
  if (writeDefault && error == ENOENT) WriteText(key, name, IntegerToText(def), true);
  errno = error;
  return false;
}

template <class T>
bool Registry::WriteInteger(const AnsiStr& key, const AnsiStr& name, T value, bool onlyIfMissing) const {
  return WriteText(key, name, IntegerToText(value), onlyIfMissing);
}

#define ORVGUI_REGISTRY_INTEGER(T)                                                                      \
  bool Registry::Read(const AnsiStr& key, const AnsiStr& name, T& value, T def, bool writeDefault) const { \
    return ReadInteger<T>(key, name, value, def, writeDefault);                                         \
  }                                                                                                     \
  bool Registry::Write(const AnsiStr& key, const AnsiStr& name, T value, bool onlyIfMissing) const {    \
    return WriteInteger<T>(key, name, value, onlyIfMissing);                                            \
  }
ORVGUI_REGISTRY_INTEGER(short)
ORVGUI_REGISTRY_INTEGER(unsigned short)
ORVGUI_REGISTRY_INTEGER(int)
ORVGUI_REGISTRY_INTEGER(unsigned)
ORVGUI_REGISTRY_INTEGER(long)
ORVGUI_REGISTRY_INTEGER(unsigned long)
ORVGUI_REGISTRY_INTEGER(long long)
ORVGUI_REGISTRY_INTEGER(unsigned long long)
#undef ORVGUI_REGISTRY_INTEGER

namespace {

// Reals: the parser and the writer of each floating type.
template <class T>
struct Real;
template <>
struct Real<double> {
  static int32_t Parse(const char* text, double* value) { return Str2Double(text, nullptr, value); }
  static AnsiStr Text(double value) { return Double2Str(value, Setup::GetFractions()); }
};
template <>
struct Real<float> {
  static int32_t Parse(const char* text, float* value) { return Str2Float(text, nullptr, value); }
  static AnsiStr Text(float value) { return Float2Str(value, Setup::GetFractions()); }
};

}  // namespace

template <class T>
bool Registry::ReadReal(const AnsiStr& key, const AnsiStr& name, T& value, T def, bool writeDefault) const {
  AnsiStr text;
  if (ReadText(key, name, text)) {
    T parsed = 0;
    const int32_t rc = Real<T>::Parse(text.GetStr(), &parsed);
    if (rc == 0) {
      value = parsed;
      return true;
    }
    errno = rc == -2 && parsed != 0 ? ERANGE : EINVAL;
  }
  const int error = errno;
  value = def;
  if (writeDefault && error == ENOENT) WriteText(key, name, Real<T>::Text(def), true);
  errno = error;
  return false;
}

template <class T>
bool Registry::WriteReal(const AnsiStr& key, const AnsiStr& name, T value, bool onlyIfMissing) const {
  const AnsiStr text = Real<T>::Text(value);
  if (text.IsEmpty()) return false;  // NaN: the formatter's last error
  return WriteText(key, name, text, onlyIfMissing);
}

bool Registry::Read(const AnsiStr& key, const AnsiStr& name, double& value, double def, bool writeDefault) const {
  return ReadReal(key, name, value, def, writeDefault);
}

bool Registry::Read(const AnsiStr& key, const AnsiStr& name, float& value, float def, bool writeDefault) const {
  return ReadReal(key, name, value, def, writeDefault);
}

bool Registry::Write(const AnsiStr& key, const AnsiStr& name, double value, bool onlyIfMissing) const {
  return WriteReal(key, name, value, onlyIfMissing);
}

bool Registry::Write(const AnsiStr& key, const AnsiStr& name, float value, bool onlyIfMissing) const {
  return WriteReal(key, name, value, onlyIfMissing);
}

bool Registry::Read(const AnsiStr& key, const AnsiStr& name, Blob& value) const {
  AnsiStr text;
  if (!ReadText(key, name, text)) {
    value = Blob();
    return false;
  }
  Blob bytes;
  if (!B16Str2Binary(text, bytes, "\r\n")) return false;
  value = bytes;
  return true;
}

bool Registry::Read(const AnsiStr& key, const AnsiStr& name, void* data, uint32_t capacity, uint32_t& length) const {
  length = 0;
  Blob bytes;
  if (!Read(key, name, bytes)) return false;
  length = bytes.GetLength();
  if (length > capacity) {
    errno = ERANGE;
    return false;
  }
  if (length > 0) memcpy(data, bytes.GetData(), length);
  return true;
}

bool Registry::Write(const AnsiStr& key, const AnsiStr& name, const AnsiStr& value, bool onlyIfMissing) const {
  return WriteText(key, name, value, onlyIfMissing);
}

bool Registry::Write(const AnsiStr& key, const AnsiStr& name, const Store<AnsiStr>& value, bool onlyIfMissing) const {
  return WriteText(key, name, JoinList(value), onlyIfMissing);
}

bool Registry::Write(const AnsiStr& key, const AnsiStr& name, const void* data, uint32_t length,
                     bool onlyIfMissing) const {
  if (data == nullptr && length != 0) {
    errno = EINVAL;
    return false;
  }
  const AnsiStr text = Binary2B16Str(data, length, "\r\n");
  if (text.IsEmpty() && length != 0) return false;
  return WriteText(key, name, text, onlyIfMissing);
}

bool Registry::Delete(const AnsiStr& key, const AnsiStr& name) const {
  RegKey located;
  return Locate(key, located) && RegFiles::DeleteValue(located, name);
}

unsigned int RegRead(const char* root, const char* key, const char* valueName, unsigned int def, bool writeDefault) {
  RegPath path(root, key);
  RegKey located;
  AnsiStr text;
  unsigned value = def;
  if (located.Locate(path) && RegFiles::ReadValue(located, AnsiSubStr(valueName), text) &&
      TextToInteger(text, value))
    return value;
  const int error = errno;
  if (writeDefault && error == ENOENT && located.IsChecked())
    RegFiles::WriteValue(located, AnsiSubStr(valueName), IntegerToText(def), true);
  errno = error;
  return def;
}

bool RegWrite(const char* root, const char* key, const char* valueName, unsigned int value, bool onlyIfMissing) {
  RegKey located;
  return located.Locate(RegPath(root, key)) &&
         RegFiles::WriteValue(located, AnsiSubStr(valueName), IntegerToText(value), onlyIfMissing);
}

AnsiStr RegReadString(const RegPath& key, const char* valueName) {
  RegKey located;
  AnsiStr text;
  if (located.Locate(key) && RegFiles::ReadValue(located, AnsiSubStr(valueName), text)) return text;
  return AnsiStr();
}

bool RegIsValue(const Directory& key, const char* valueName) {
  return RegFiles::IsRegularFile(OpenInDirectory(key, valueName, O_PATH));
}

bool RegSetStringValue(const Directory& key, const char* valueName, const AnsiStr& value) {
  return WriteInDirectory(key, valueName, value);
}

bool RegSetUInt32Value(const Directory& key, const char* valueName, uint32_t value) {
  return WriteInDirectory(key, valueName, IntegerToText(value));
}

AnsiStr RegGetStringValue(const Directory& key, const char* valueName, const AnsiStr& def) {
  const int fd = OpenInDirectory(key, valueName, O_RDONLY);
  AnsiStr text;
  if (fd >= 0 && RegFiles::ReadFd(fd, text)) return text;
  return def;
}

File RegPath2File(const Directory& key, const AnsiStr& valueName) {
  return File(key, valueName.IsEmpty() ? AnsiStr(kRegDefaultValueFile) : valueName);
}

bool RegRemoveKey(const RegPath& key) {
  RegKey located;
  return located.Locate(key) && RegFiles::RemoveKey(located);
}

}  // namespace OrvGuiBase
