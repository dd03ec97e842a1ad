// ClassRegistry.cpp: TEMPORARY direct file access until the registry store lands; replaced by
// calls into base/registry before this branch is merged.
#include "private/com/ClassRegistry.h"

#include "base/fs/Directory.h"
#include "base/fs/Stream.h"
#include "base/registry/RegistryRoot.h"

namespace OrvGuiBase {

namespace {
AnsiStr KeyDirectory(const AnsiStr& key) {
  AnsiStr path = GetRegClassesRoot();
  path.Append("/").Append(key);
  path.Replace('\\', '/');
  return path;
}
AnsiStr ValueFile(const AnsiStr& key, const char* name) {
  AnsiStr path = KeyDirectory(key);
  path.Append("/").Append(*name != 0 ? name : "registry.default");
  return path;
}
}  // namespace

AnsiStr ReadClassesRootValue(const AnsiStr& key, const char* name) {
  ReadStream in(File(ValueFile(key, name)), kReadBinary);
  AnsiStr text;
  if (!in.IsOpen()) return text;
  in.ReadLn(text);
  return text;
}

bool WriteClassesRootDefault(const AnsiStr& key, const AnsiStr& value) {
  if (!Directory(KeyDirectory(key)).Create(true, false)) return false;
  WriteStream out(File(ValueFile(key, "")), kWriteBinary);
  return out.IsOpen() && out.Write(value) && out.Close();
}

bool RemoveClassesRootKey(const AnsiStr& key) {
  Directory directory(KeyDirectory(key));
  return !directory.Exists() || directory.Remove(true, true);
}

bool ImportRegistryText(const File&) { return false; }

}  // namespace OrvGuiBase
