// Registry.h: the registry store: keys as directories, values as small text files.
//
//   Registry settings(kRegCompany, "Server");          // HKEY_CURRENT_USER\Software\Quelvarn\Server
//   unsigned port = 0;
//   settings.Read("Network", "Port", port, 8080u);      // false and 8080 when it is not set
//   settings.Write("Network", "Port", 8081u);           // the file .../Server/Network/Port holds "8081"
//
// On disk a key is a directory and a value a file named like the value; the default (unnamed)
// value is the file "registry.default". A value file holds text without a line end: strings as
// they are; integers of every width in decimal; float and double as decimal text with the
// installation's fraction digits (Setup::GetFractions); bytes as Base16 text with "\r\n" after
// every 32 bytes; a string list as its strings with one NUL between two of them (so an empty
// list and a list of one empty string are both an empty file). Nothing records the type: the
// reader's overload decides how the text is read.
//
// Every key path given to a member is relative to the object's own path (empty: the object's
// key). Names are checked as RegPath.h describes: a key path with a "." or ".." component or
// a NUL, or a value name with a "/" or a NUL or being "." or "..", fails with last error 22
// and touches nothing; no symbolic link below the hive is followed.
//
// Failures: false with the system's last error; a missing key or value is no error for the
// readers, which give the default and false (last error 2). Text that does not read as the
// requested type gives the default and false with last error 22 (34 out of range).
// Concurrency: nothing is cached and there is no lock in the process; every call goes to the
// file system. Writers of one value, in any process, take turns (an exclusive flock on the value
// file while it is cut and written), so the last writer leaves its whole text; readers take no
// lock and may meet a value half written. Objects are values: one per thread, or const use.
// Depends on base/registry/RegPath.h, base/fs, base/text.
#pragma once

#include <cstdint>

#include "base/core/Export.h"
#include "base/fs/File.h"
#include "base/registry/RegPath.h"
#include "base/text/Blob.h"

namespace OrvGuiBase {

// RegistryType: the three well-known keys of the product.
enum RegistryType : unsigned {
  kRegCompany = 0,      // HKEY_COMPANY: HKEY_CURRENT_USER\Software\Quelvarn
  kRegEnvironment = 1,  // HKEY_ENVIRONMENT: ...\Software\Quelvarn\Environment
  kRegApplication = 2,  // HKEY_APPLICATION: ...\Software\Quelvarn\<program name>
};

// RegKeyFilter: asked for each sub-key name by RemoveKeys; true removes it.
using RegKeyFilter = bool (*)(const AnsiStr& key, const void* context);

class ORVGUI_API Registry {
 public:
  Registry() = default;
  explicit Registry(RegistryType type) { SetPath(type); }
  Registry(RegistryType type, const AnsiStr& key);
  // Registry(path): a full key path ("HKEY_LOCAL_MACHINE\\Software\\X", "HKLM\\X", ...).
  explicit Registry(const AnsiStr& path) : m_path(path) {}

  // SetPath: "HKEY_COMPANY", "HKEY_ENVIRONMENT" or "HKEY_APPLICATION"; another type empties
  // the path (every operation then fails with last error 22).
  void SetPath(RegistryType type);
  void SetPath(const AnsiStr& path) { m_path = path; }
  const AnsiStr& GetPath() const { return m_path; }
  // Append / Reduce: one component more or less on the object's path.
  Registry& Append(const AnsiStr& key);
  bool Reduce() { return RegPath::Reduce(m_path); }
  // GetRegPath: the parsed form of the object's path with key appended.
  RegPath GetRegPath(const AnsiStr& key = AnsiStr()) const;

  // Keys.
  bool IsKey(const AnsiStr& key = AnsiStr()) const;
  bool CreateKey(const AnsiStr& key = AnsiStr()) const;
  // RemoveKey: removes the key and everything below it (owner rights added where missing). A
  // root key itself cannot be removed (last error 13).
  bool RemoveKey(const AnsiStr& key = AnsiStr()) const;
  // RemoveKeys: removes every sub-key of the object's key; those for which filter answers
  // true; or those whose string value valueName equals text. True when every removal asked
  // for succeeded (a missing key has nothing to remove: true).
  bool RemoveKeys() const;
  bool RemoveKeys(RegKeyFilter filter, const void* context) const;
  bool RemoveKeys(const AnsiStr& valueName, const AnsiStr& text) const;

  // Listing, by index in the order the directory listing gives; each call lists again. Value
  // names leave out nothing: the default value is listed as the empty name. An index past the
  // end gives "" (last error 2). IsFull: the key holds a value or a sub-key.
  unsigned GetKeyCount(const AnsiStr& key = AnsiStr()) const;
  AnsiStr GetKey(unsigned index, const AnsiStr& key = AnsiStr()) const;
  unsigned GetValueNameCount(const AnsiStr& key = AnsiStr()) const;
  AnsiStr GetValueName(unsigned index, const AnsiStr& key = AnsiStr()) const;
  bool IsFull(const AnsiStr& key = AnsiStr()) const;
  // GetKeys / GetValueNames: the whole lists at once (appended to names).
  bool GetKeys(Store<AnsiStr>& names, const AnsiStr& key = AnsiStr()) const;
  bool GetValueNames(Store<AnsiStr>& names, const AnsiStr& key = AnsiStr()) const;
  // IsValueName: the value exists (in the object's key, or in key).
  bool IsValueName(const AnsiStr& name) const { return IsValueName(AnsiStr(), name); }
  bool IsValueName(const AnsiStr& key, const AnsiStr& name) const;

  // Read: the value name of key into value. A missing value gives def and false; with
  // writeDefault the default is then also written. Texts read as stored; numbers read their
  // decimal text (blanks around it allowed) and fail with 22 when it is not one, 34 when it
  // does not fit the type.
  bool Read(const AnsiStr& key, const AnsiStr& name, AnsiStr& value, const AnsiStr& def = AnsiStr(),
            bool writeDefault = false) const;
  bool Read(const AnsiStr& key, const AnsiStr& name, Store<AnsiStr>& value, const Store<AnsiStr>& def = {},
            bool writeDefault = false) const;
  bool Read(const AnsiStr& key, const AnsiStr& name, short& value, short def = 0, bool writeDefault = false) const;
  bool Read(const AnsiStr& key, const AnsiStr& name, unsigned short& value, unsigned short def = 0,
            bool writeDefault = false) const;
  bool Read(const AnsiStr& key, const AnsiStr& name, int& value, int def = 0, bool writeDefault = false) const;
  bool Read(const AnsiStr& key, const AnsiStr& name, unsigned& value, unsigned def = 0,
            bool writeDefault = false) const;
  bool Read(const AnsiStr& key, const AnsiStr& name, long& value, long def = 0, bool writeDefault = false) const;
  bool Read(const AnsiStr& key, const AnsiStr& name, unsigned long& value, unsigned long def = 0,
            bool writeDefault = false) const;
  bool Read(const AnsiStr& key, const AnsiStr& name, long long& value, long long def = 0,
            bool writeDefault = false) const;
  bool Read(const AnsiStr& key, const AnsiStr& name, unsigned long long& value, unsigned long long def = 0,
            bool writeDefault = false) const;
  bool Read(const AnsiStr& key, const AnsiStr& name, float& value, float def = 0, bool writeDefault = false) const;
  bool Read(const AnsiStr& key, const AnsiStr& name, double& value, double def = 0,
            bool writeDefault = false) const;
  // Read (bytes): decodes the Base16 text into data (capacity bytes); length receives the
  // byte count. A value of more than capacity bytes fails with 34 and length tells the size
  // needed; text that is not Base16 fails with 22. A missing value gives length 0 and false.
  bool Read(const AnsiStr& key, const AnsiStr& name, void* data, uint32_t capacity, uint32_t& length) const;
  bool Read(const AnsiStr& key, const AnsiStr& name, Blob& value) const;

  // Write: makes the key when it is missing and writes the value file, replacing its content.
  // With onlyIfMissing an existing value is kept (and that is success).
  bool Write(const AnsiStr& key, const AnsiStr& name, const AnsiStr& value, bool onlyIfMissing = false) const;
  bool Write(const AnsiStr& key, const AnsiStr& name, const char* value, bool onlyIfMissing = false) const {
    return Write(key, name, AnsiStr(value), onlyIfMissing);
  }
  bool Write(const AnsiStr& key, const AnsiStr& name, const Store<AnsiStr>& value, bool onlyIfMissing = false) const;
  bool Write(const AnsiStr& key, const AnsiStr& name, short value, bool onlyIfMissing = false) const;
  bool Write(const AnsiStr& key, const AnsiStr& name, unsigned short value, bool onlyIfMissing = false) const;
  bool Write(const AnsiStr& key, const AnsiStr& name, int value, bool onlyIfMissing = false) const;
  bool Write(const AnsiStr& key, const AnsiStr& name, unsigned value, bool onlyIfMissing = false) const;
  bool Write(const AnsiStr& key, const AnsiStr& name, long value, bool onlyIfMissing = false) const;
  bool Write(const AnsiStr& key, const AnsiStr& name, unsigned long value, bool onlyIfMissing = false) const;
  bool Write(const AnsiStr& key, const AnsiStr& name, long long value, bool onlyIfMissing = false) const;
  bool Write(const AnsiStr& key, const AnsiStr& name, unsigned long long value, bool onlyIfMissing = false) const;
  bool Write(const AnsiStr& key, const AnsiStr& name, float value, bool onlyIfMissing = false) const;
  bool Write(const AnsiStr& key, const AnsiStr& name, double value, bool onlyIfMissing = false) const;
  bool Write(const AnsiStr& key, const AnsiStr& name, const void* data, uint32_t length,
             bool onlyIfMissing = false) const;
  bool Write(const AnsiStr& key, const AnsiStr& name, const Blob& value, bool onlyIfMissing = false) const {
    return Write(key, name, value.GetData(), value.GetLength(), onlyIfMissing);
  }

  // Delete: removes the value (the default value for the empty name); false with 2 when it
  // does not exist.
  bool Delete(const AnsiStr& name) const { return Delete(AnsiStr(), name); }
  bool Delete(const AnsiStr& key, const AnsiStr& name) const;

  // CopyKey: copies from (with everything below it) to to, both relative to the object's key,
  // through the registry's text form: from is exported to a temporary file, to is removed
  // first when removeTarget is set, and the file is imported with to in place of from. With
  // overwrite false, values that exist at the target are kept. MoveKey: the same, then from is
  // removed; to may not lie inside from (last error 22).
  bool CopyKey(const AnsiStr& from, const AnsiStr& to, bool removeTarget = false, bool overwrite = true) const;
  bool MoveKey(const AnsiStr& from, const AnsiStr& to, bool removeTarget = false, bool overwrite = true) const;

  // Import / Export: the registry text format (RegistryText.h), relative to the object's key:
  // Export writes the object's key, or one sub-key, or the listed sub-keys, each with
  // everything below it. Import reads a whole file (from/to: substitutions, may be null).
  bool Export(const File& file) const;
  bool Export(const File& file, const AnsiStr& key) const;
  bool Export(const File& file, const Store<AnsiStr>& keys) const;
  bool Import(const File& file, const Store<AnsiStr>* from = nullptr, const Store<AnsiStr>* to = nullptr) const;

 private:
  // Locate: the checked key of key below the object's path (not touching the disk).
  bool Locate(const AnsiStr& key, RegKey& located) const;
  bool List(const AnsiStr& key, Store<AnsiStr>* keys, Store<AnsiStr>* values) const;
  bool ReadText(const AnsiStr& key, const AnsiStr& name, AnsiStr& text) const;
  bool WriteText(const AnsiStr& key, const AnsiStr& name, AnsiSubStr text, bool onlyIfMissing) const;
  template <class T>
  bool ReadInteger(const AnsiStr& key, const AnsiStr& name, T& value, T def, bool writeDefault) const;
  template <class T>
  bool WriteInteger(const AnsiStr& key, const AnsiStr& name, T value, bool onlyIfMissing) const;
  template <class T>
  bool ReadReal(const AnsiStr& key, const AnsiStr& name, T& value, T def, bool writeDefault) const;
  template <class T>
  bool WriteReal(const AnsiStr& key, const AnsiStr& name, T value, bool onlyIfMissing) const;

  AnsiStr m_path;
};

// RegRead: the unsigned value valueName of key (relative to root, a root key name; either may
// hold the whole path), def when it is missing or not a number; with writeDefault a missing
// value is written as def.
ORVGUI_API unsigned int RegRead(const char* root, const char* key, const char* valueName, unsigned int def,
                                bool writeDefault = false);
// RegWrite: stores an unsigned value in decimal; with onlyIfMissing an existing value is kept.
ORVGUI_API bool RegWrite(const char* root, const char* key, const char* valueName, unsigned int value,
                         bool onlyIfMissing = false);
// RegReadString: the string value valueName of the key; "" (last error 2) when it is missing.
ORVGUI_API AnsiStr RegReadString(const RegPath& key, const char* valueName);

// Functions on a key directory opened already (RegKey::GetDirectory). The value name is
// checked as for Registry; the value file itself is never opened through a link.
// RegIsValue: the value file exists. RegSetStringValue / RegSetUInt32Value: write it (the key
// directory must exist). RegGetStringValue: its text, or def when it is missing.
ORVGUI_API bool RegIsValue(const Directory& key, const char* valueName);
ORVGUI_API bool RegSetStringValue(const Directory& key, const char* valueName, const AnsiStr& value);
ORVGUI_API bool RegSetUInt32Value(const Directory& key, const char* valueName, uint32_t value);
ORVGUI_API AnsiStr RegGetStringValue(const Directory& key, const char* valueName, const AnsiStr& def);
// RegPath2File: the file of a value in a key directory ("registry.default" for the empty name).
ORVGUI_API File RegPath2File(const Directory& key, const AnsiStr& valueName);
// RegRemoveKey: removes the key with everything below it (see Registry::RemoveKey).
ORVGUI_API bool RegRemoveKey(const RegPath& key);

}  // namespace OrvGuiBase
