// Tests of the registry store on a private root: the on-disk form of every value type, root
// and alias resolution, the checks that keep every operation inside its hive, listing and
// removal, the free functions, and two processes writing one value.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <functional>

#include "base/core/LastError.h"
#include "base/process/Module.h"
#include "base/registry/Registry.h"
#include "tests/base/registry/RegistryTestRoot.h"

namespace OrvGuiBase {
namespace {

std::string S(const AnsiStr& s) { return std::string(s.GetStr(), s.GetLength()); }

using RegistryStoreTest = RegistryTest;

TEST_F(RegistryStoreTest, ValueTypesOnDisk) {
  const Registry machine(AnsiStr("HKEY_LOCAL_MACHINE"));
  const uint8_t bytes40[40] = {0x00, 0x01, 0xAB, 0xFF, 0x10};  // the rest zero: two lines of Base16
  std::string hex40;
  for (uint8_t b : bytes40) {
    char h[3];
    snprintf(h, sizeof h, "%02X", b);
    hex40 += h;
  }
  hex40.insert(64, "\r\n");
  Store<AnsiStr> list, empty, oneEmpty;
  list.Append("a").Append("").Append("b c");
  oneEmpty.Append("");
  struct Row {
    const char* name;
    std::function<bool()> write;
    std::string file;  // content expected
    std::function<bool()> readBack;
  } rows[] = {
      {"string", [&] { return machine.Write("A\\B", "v", AnsiStr("abc")); }, "abc",
       [&] { AnsiStr v; return machine.Read("A\\B", "v", v) && v == "abc"; }},
      {"default", [&] { return machine.Write("A\\B", "", AnsiStr("d")); }, "d",
       [&] { AnsiStr v; return machine.Read("A\\B", "", v) && v == "d"; }},
      {"uint max", [&] { return machine.Write("A\\B", "u", 4294967295u); }, "4294967295",
       [&] { unsigned v = 0; return machine.Read("A\\B", "u", v) && v == 4294967295u; }},
      {"int min", [&] { return machine.Write("A\\B", "i", INT_MIN); }, "-2147483648",
       [&] { int v = 0; return machine.Read("A\\B", "i", v) && v == INT_MIN; }},
      {"short", [&] { return machine.Write("A\\B", "s", static_cast<short>(-7)); }, "-7",
       [&] { short v = 0; return machine.Read("A\\B", "s", v) && v == -7; }},
      {"ushort", [&] { return machine.Write("A\\B", "us", static_cast<unsigned short>(65535)); }, "65535",
       [&] { unsigned short v = 0; return machine.Read("A\\B", "us", v) && v == 65535; }},
      {"int64 min", [&] { return machine.Write("A\\B", "l", LLONG_MIN); }, "-9223372036854775808",
       [&] { long long v = 0; return machine.Read("A\\B", "l", v) && v == LLONG_MIN; }},
      {"uint64 max", [&] { return machine.Write("A\\B", "ul", ULLONG_MAX); }, "18446744073709551615",
       [&] { unsigned long long v = 0; return machine.Read("A\\B", "ul", v) && v == ULLONG_MAX; }},
      {"long", [&] { return machine.Write("A\\B", "lo", -5L); }, "-5",
       [&] { long v = 0; return machine.Read("A\\B", "lo", v) && v == -5L; }},
      {"double", [&] { return machine.Write("A\\B", "d", 1.5); }, "1.50",
       [&] { double v = 0; return machine.Read("A\\B", "d", v) && v == 1.5; }},
      {"float", [&] { return machine.Write("A\\B", "f", -0.25f); }, "-0.25",
       [&] { float v = 0; return machine.Read("A\\B", "f", v) && v == -0.25f; }},
      {"binary", [&] { return machine.Write("A\\B", "bin", bytes40, 40); }, hex40,
       [&] {
         uint8_t back[40] = {};
         uint32_t n = 0;
         return machine.Read("A\\B", "bin", back, 40, n) && n == 40 && memcmp(back, bytes40, 40) == 0;
       }},
      {"list", [&] { return machine.Write("A\\B", "list", list); }, std::string("a\0\0b c", 6),
       [&] {
         Store<AnsiStr> v;
         return machine.Read("A\\B", "list", v) && v.GetCount() == 3 && v.Get(1).IsEmpty() && v.Get(2) == "b c";
       }},
      {"empty list", [&] { return machine.Write("A\\B", "el", empty); }, "",
       [&] { Store<AnsiStr> v; v.Append("x"); return machine.Read("A\\B", "el", v) && v.GetCount() == 0; }},
      {"list of one empty string", [&] { return machine.Write("A\\B", "e1", oneEmpty); }, "", [] { return true; }},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ASSERT_TRUE(row.write()) << GetLastError();
    EXPECT_TRUE(row.readBack());
  }
  const char* files[] = {"v", "registry.default", "u", "i", "s", "us", "l", "ul", "lo", "d", "f", "bin", "list", "el", "e1"};
  for (size_t i = 0; i < std::size(files); ++i) {
    SCOPED_TRACE(files[i]);
    EXPECT_TRUE(IsFile(R("machine/A/B/") + files[i]));
    EXPECT_EQ(Get(R("machine/A/B/") + files[i]), rows[i].file);
  }
  // A byte buffer too small says how much it needs.
  uint8_t small[4];
  uint32_t needed = 0;
  EXPECT_FALSE(machine.Read("A\\B", "bin", small, sizeof small, needed));
  EXPECT_EQ(GetLastError(), ERANGE);
  EXPECT_EQ(needed, 40u);
}

TEST_F(RegistryStoreTest, ReadsAndDefaults) {
  const Registry reg(AnsiStr("HKLM\\Soft"));
  Put(R("machine/Soft/text"), " 42 ");
  Put(R("machine/Soft/big"), "70000");
  Put(R("machine/Soft/neg"), "-1");
  Put(R("machine/Soft/hexa"), "0x10");
  Put(R("machine/Soft/junk"), "12abc");
  Put(R("machine/Soft/huge"), "99999999999999999999");
  struct Row {
    const char* name;
    bool ok;
    int error;
    long long value;  // read as short
  } rows[] = {
      {"text", true, 0, 42},       {"big", false, ERANGE, 9},   {"neg", true, 0, -1},
      {"hexa", false, EINVAL, 9},  {"junk", false, EINVAL, 9},  {"huge", false, ERANGE, 9},
      {"missing", false, ENOENT, 9},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    short value = 0;
    SetLastError(0);
    EXPECT_EQ(reg.Read("", row.name, value, static_cast<short>(9)), row.ok);
    EXPECT_EQ(value, row.value);
    if (!row.ok) {
      EXPECT_EQ(GetLastError(), row.error);
    }
  }
  unsigned u = 0;
  EXPECT_FALSE(reg.Read("", "neg", u, 3u));  // no sign for unsigned values
  EXPECT_EQ(u, 3u);

  // writeDefault stores the default of a missing value, never over a bad one.
  EXPECT_FALSE(reg.Read("New", "port", u, 8080u, true));
  EXPECT_EQ(Get(R("machine/Soft/New/port")), "8080");
  EXPECT_FALSE(reg.Read("", "junk", u, 1u, true));
  EXPECT_EQ(Get(R("machine/Soft/junk")), "12abc");
  AnsiStr s;
  EXPECT_FALSE(reg.Read("", "nothing", s, "fallback", true));
  EXPECT_EQ(S(s), "fallback");
  EXPECT_EQ(Get(R("machine/Soft/nothing")), "fallback");

  // onlyIfMissing keeps what is there.
  EXPECT_TRUE(reg.Write("", "text", AnsiStr("new"), true));
  EXPECT_EQ(Get(R("machine/Soft/text")), " 42 ");
  EXPECT_TRUE(reg.Write("", "text", AnsiStr("new")));
  EXPECT_EQ(Get(R("machine/Soft/text")), "new");
}

TEST_F(RegistryStoreTest, RootsAndAliases) {
  const std::string user = "users/tester/";
  const std::string program = S(GetProgramName());
  ASSERT_FALSE(program.empty());
  struct Row {
    const char* path;
    std::string dir;  // below the root
  } rows[] = {
      {"HKEY_LOCAL_MACHINE\\A\\B", "machine/A/B"},
      {"HKEY_CLASSES_ROOT\\CLSID", "classes/CLSID"},
      {"HKEY_USERS\\other\\X", "users/other/X"},
      {"HKEY_CURRENT_USER\\X", user + "X"},
      {"HKEY_COMPANY\\X", user + "Software/Quelvarn/X"},
      {"HKEY_ENVIRONMENT\\PATH", user + "Software/Quelvarn/Environment/PATH"},
      {"HKEY_APPLICATION\\W", user + "Software/Quelvarn/" + program + "/W"},
      {"hkey_local_machine\\lower", "machine/lower"},
      {"HKEY_LOCAL\\Short", "machine/Short"},     // compared over the length written
      {"HKEY_C\\First", "classes/First"},         // the first name that agrees wins
      {"HKLM\\Abbrev", "machine/Abbrev"},
      {"HKCU\\Abbrev", user + "Abbrev"},
      {"HKCR\\Abbrev", "classes/Abbrev"},
      {"HKU\\Abbrev", "users/Abbrev"},
      {"HKEY_LOCAL_MACHINE\\\\Dup//Slash/", "machine/Dup/Slash"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.path);
    const Registry reg{AnsiStr(row.path)};
    ASSERT_TRUE(reg.Write("", "v", AnsiStr("1")));
    EXPECT_EQ(Get(R(row.dir + "/v")), "1");
    RegKey key;
    ASSERT_TRUE(key.Open(RegPath(row.path), kRegRead));
    EXPECT_EQ(S(key.GetDirectory().GetPath()), R(row.dir));
  }
  // The company key and its long form are one directory.
  Registry company(kRegCompany, "Shared");
  ASSERT_TRUE(company.Write("", "x", AnsiStr("via alias")));
  AnsiStr back;
  EXPECT_TRUE(Registry(AnsiStr("HKEY_CURRENT_USER\\Software\\Quelvarn\\Shared")).Read("", "x", back));
  EXPECT_EQ(S(back), "via alias");
  EXPECT_EQ(S(Registry(kRegEnvironment).GetPath()), "HKEY_ENVIRONMENT");
  EXPECT_EQ(S(Registry(static_cast<RegistryType>(3)).GetPath()), "");

  // Roots given apart from the path, and the canonical name.
  RegPath split("HKEY_COMPANY\\Server", "Ports");
  EXPECT_EQ(S(split.GetRoot()), "HKEY_CURRENT_USER");
  EXPECT_EQ(S(split.GetPath()), "Software\\Quelvarn\\Server\\Ports");
  RegKey key;
  ASSERT_TRUE(key.Locate(RegPath("HKLM\\a//b\\")));
  EXPECT_EQ(S(key.GetName()), "HKEY_LOCAL_MACHINE\\a\\b");

  // Unknown roots.
  for (const char* bad : {"", "HKEY_NOWHERE\\A", "\\A", "Software\\A", "HKEY_LOCAL_MACHINEX\\A"}) {
    SCOPED_TRACE(bad);
    SetLastError(0);
    EXPECT_FALSE(RegPath(bad).IsValid());
    EXPECT_FALSE(Registry(AnsiStr(bad)).Write("", "v", AnsiStr("x")));
    EXPECT_EQ(GetLastError(), EINVAL);
  }
  EXPECT_EQ(S(GetRegCurrentUser()), R("users/tester"));
  EXPECT_EQ(S(GetRegClassesRoot()), R("classes"));
}

TEST_F(RegistryStoreTest, NamesThatWouldLeaveTheHiveAreRefused) {
  const Registry machine(AnsiStr("HKEY_LOCAL_MACHINE\\Safe"));
  ASSERT_TRUE(machine.CreateKey());
  struct Row {
    AnsiStr key;
    AnsiStr name;
    int error;
  } rows[] = {
      {"..", "v", EINVAL},
      {"..\\..\\..\\outside", "v", EINVAL},
      {"A\\..\\..", "v", EINVAL},
      {"A/../../x", "v", EINVAL},
      {".", "v", EINVAL},
      {AnsiStr("A\0B", 3), "v", EINVAL},
      {"", "../../../outside/canary", EINVAL},
      {"", "sub/v", EINVAL},
      {"", "..", EINVAL},
      {"", ".", EINVAL},
      {"", AnsiStr("v\0x", 3), EINVAL},
      {AnsiStr(std::string(256, 'k').c_str()), "v", ENAMETOOLONG},
      {"", AnsiStr(std::string(256, 'n').c_str()), ENAMETOOLONG},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(S(row.key) + " / " + S(row.name));
    for (int op = 0; op < 4; ++op) {
      SetLastError(0);
      AnsiStr value;
      const bool ok = op == 0   ? machine.Write(row.key, row.name, AnsiStr("x"))
                      : op == 1 ? machine.Read(row.key, row.name, value)
                      : op == 2 ? machine.Delete(row.key, row.name)
                                : machine.IsValueName(row.key, row.name);
      EXPECT_FALSE(ok) << "operation " << op;
      EXPECT_EQ(GetLastError(), row.error) << "operation " << op;
    }
  }
  EXPECT_FALSE(machine.RemoveKey(".."));
  EXPECT_FALSE(machine.CreateKey("A\\..\\..\\..\\..\\outside\\made"));
  EXPECT_FALSE(RegRemoveKey(RegPath("HKEY_LOCAL_MACHINE\\Safe\\..")));
  // A root key itself cannot be removed, only emptied.
  EXPECT_FALSE(Registry(AnsiStr("HKLM")).RemoveKey());
  EXPECT_EQ(GetLastError(), EACCES);
  EXPECT_TRUE(IsDir(R("machine/Safe")));
  EXPECT_TRUE(OutsideUntouched());

  // The limits themselves pass: a 255-byte name, a key 512 deep; one more fails cleanly.
  EXPECT_TRUE(machine.Write(AnsiStr(std::string(255, 'k').c_str()), AnsiStr(std::string(255, 'n').c_str()),
                            AnsiStr("long")));
  std::string deep;
  for (int i = 0; i < 511; ++i) deep += "d\\";  // 511 below Safe: 512 with it
  EXPECT_TRUE(machine.Write(AnsiStr(deep.c_str()), "v", AnsiStr("deep")));
  SetLastError(0);
  EXPECT_FALSE(machine.Write(AnsiStr((deep + "e").c_str()), "v", AnsiStr("too deep")));
  EXPECT_EQ(GetLastError(), ENAMETOOLONG);
  EXPECT_TRUE(machine.RemoveKey());
  EXPECT_FALSE(IsDir(R("machine/Safe")));
}

TEST_F(RegistryStoreTest, PlantedLinksAreNotFollowed) {
  const Registry machine(AnsiStr("HKEY_LOCAL_MACHINE"));
  ASSERT_TRUE(machine.Write("Trap", "own", AnsiStr("inside")));
  // A key that is a link to the outside directory, and a value that is a link to its file.
  ASSERT_EQ(::symlink(Outside().c_str(), R("machine/Trap/Key").c_str()), 0);
  ASSERT_EQ(::symlink(Outside("canary").c_str(), R("machine/Trap/value").c_str()), 0);
  ASSERT_EQ(::symlink(Outside().c_str(), R("machine/Linked").c_str()), 0);

  AnsiStr text;
  EXPECT_FALSE(machine.Read("Trap", "value", text));
  EXPECT_FALSE(machine.Write("Trap", "value", AnsiStr("overwritten")));
  EXPECT_FALSE(machine.Read("Trap\\Key", "canary", text));
  EXPECT_FALSE(machine.Write("Trap\\Key", "planted", AnsiStr("x")));
  EXPECT_FALSE(machine.Write("Trap\\Key\\Deeper", "planted", AnsiStr("x")));
  EXPECT_FALSE(machine.CreateKey("Linked\\Sub"));
  EXPECT_FALSE(machine.CreateKey("Linked"));
  EXPECT_FALSE(RegKey().Open(RegPath("HKLM\\Trap\\Key"), kRegCreate));
  EXPECT_FALSE(machine.IsKey("Linked"));
  EXPECT_FALSE(machine.IsValueName("Trap", "value"));
  EXPECT_FALSE(machine.RemoveKey("Linked"));
  EXPECT_EQ(GetLastError(), ELOOP);
  EXPECT_EQ(RegGetStringValue(Directory(AnsiStr(R("machine/Trap").c_str())), "value", "dflt"), "dflt");
  EXPECT_FALSE(RegSetStringValue(Directory(AnsiStr(R("machine/Trap").c_str())), "value", "x"));
  // Listing leaves links out.
  EXPECT_EQ(machine.GetKeyCount("Trap"), 0u);
  EXPECT_EQ(machine.GetValueNameCount("Trap"), 1u);
  EXPECT_TRUE(OutsideUntouched());

  // Removing the tree removes the links themselves, never what they point at.
  EXPECT_TRUE(machine.RemoveKey("Trap"));
  EXPECT_TRUE(machine.RemoveKeys());
  EXPECT_TRUE(Missing(R("machine/Trap")));
  EXPECT_TRUE(OutsideUntouched());
}

TEST_F(RegistryStoreTest, ARootReachedThroughALinkWorks) {
  ASSERT_EQ(::symlink(m_root.c_str(), (m_dir + "/alias").c_str()), 0);
  Internal::SetRegRoot((m_dir + "/alias").c_str(), "tester");
  EXPECT_TRUE(Registry(AnsiStr("HKLM\\Via")).Write("", "v", AnsiStr("link")));
  EXPECT_EQ(Get(R("machine/Via/v")), "link");
  AnsiStr back;
  EXPECT_TRUE(Registry(AnsiStr("HKLM\\Via")).Read("", "v", back));
  ::unlink((m_dir + "/alias").c_str());
}

TEST_F(RegistryStoreTest, KeysListingAndRemoval) {
  const Registry reg(AnsiStr("HKLM\\List"));
  EXPECT_FALSE(reg.IsKey());
  EXPECT_EQ(reg.GetKeyCount(), 0u);
  EXPECT_EQ(GetLastError(), ENOENT);
  ASSERT_TRUE(reg.CreateKey("Empty"));
  EXPECT_TRUE(reg.IsKey());
  EXPECT_FALSE(reg.IsFull("Empty"));
  ASSERT_TRUE(reg.Write("One", "name", AnsiStr("keep")));
  ASSERT_TRUE(reg.Write("Two", "name", AnsiStr("drop")));
  ASSERT_TRUE(reg.Write("Three\\Deep", "name", AnsiStr("drop")));
  ASSERT_TRUE(reg.Write("", "", AnsiStr("default")));
  ASSERT_TRUE(reg.Write("", "plain", AnsiStr("p")));
  EXPECT_TRUE(reg.IsFull());
  EXPECT_EQ(reg.GetKeyCount(), 4u);
  std::vector<std::string> keys, values;
  for (unsigned i = 0; i < reg.GetKeyCount(); ++i) keys.push_back(S(reg.GetKey(i)));
  for (unsigned i = 0; i < reg.GetValueNameCount(); ++i) values.push_back(S(reg.GetValueName(i)));
  std::sort(keys.begin(), keys.end());
  std::sort(values.begin(), values.end());
  EXPECT_EQ(keys, (std::vector<std::string>{"Empty", "One", "Three", "Two"}));
  EXPECT_EQ(values, (std::vector<std::string>{"", "plain"}));  // the default value is the empty name
  EXPECT_EQ(S(reg.GetKey(4)), "");
  EXPECT_EQ(GetLastError(), ENOENT);

  EXPECT_TRUE(reg.Delete("plain"));
  EXPECT_FALSE(reg.Delete("plain"));
  EXPECT_EQ(GetLastError(), ENOENT);
  EXPECT_FALSE(reg.Delete("", "Empty"));  // a sub-key is not a value
  EXPECT_TRUE(reg.Delete(""));
  EXPECT_TRUE(Missing(R("machine/List/registry.default")));

  // RemoveKeys by value, by filter, then all.
  EXPECT_TRUE(reg.RemoveKeys("name", "drop"));
  EXPECT_TRUE(IsDir(R("machine/List/One")));
  EXPECT_TRUE(IsDir(R("machine/List/Three")));  // its own "name" is one level deeper
  EXPECT_TRUE(Missing(R("machine/List/Two")));
  EXPECT_TRUE(reg.RemoveKeys([](const AnsiStr& key, const void* context) { return key == static_cast<const char*>(context); },
                             "Three"));
  EXPECT_TRUE(Missing(R("machine/List/Three")));
  EXPECT_TRUE(reg.RemoveKeys());
  EXPECT_EQ(reg.GetKeyCount(), 0u);
  EXPECT_TRUE(reg.IsKey());
  EXPECT_TRUE(Registry(AnsiStr("HKLM\\Nothing")).RemoveKeys());  // nothing to remove

  // Removal by force: locked directories and files go too.
  ASSERT_TRUE(reg.Write("Locked\\Inner", "v", AnsiStr("x")));
  ASSERT_EQ(::chmod(R("machine/List/Locked/Inner/v").c_str(), 0), 0);
  ASSERT_EQ(::chmod(R("machine/List/Locked/Inner").c_str(), 0), 0);
  ASSERT_EQ(::chmod(R("machine/List/Locked").c_str(), 0500), 0);
  EXPECT_TRUE(reg.RemoveKey("Locked"));
  EXPECT_TRUE(Missing(R("machine/List/Locked")));
  EXPECT_FALSE(reg.RemoveKey("Locked"));
  EXPECT_EQ(GetLastError(), ENOENT);
}

TEST_F(RegistryStoreTest, FreeFunctions) {
  EXPECT_EQ(RegRead("HKEY_LOCAL_MACHINE", "Free", "n", 7), 7u);
  EXPECT_TRUE(Missing(R("machine/Free")));
  EXPECT_EQ(RegRead("HKEY_LOCAL_MACHINE", "Free", "n", 7, true), 7u);
  EXPECT_EQ(Get(R("machine/Free/n")), "7");
  EXPECT_TRUE(RegWrite("HKEY_LOCAL_MACHINE\\Free", nullptr, "n", 4294967295u));
  EXPECT_EQ(Get(R("machine/Free/n")), "4294967295");
  EXPECT_EQ(RegRead(nullptr, "HKLM\\Free", "n", 0), 4294967295u);
  EXPECT_TRUE(RegWrite("HKLM", "Free", "n", 1, true));
  EXPECT_EQ(RegRead("HKLM", "Free", "n", 0), 4294967295u);
  EXPECT_EQ(S(RegReadString(RegPath("HKLM\\Free"), "n")), "4294967295");
  EXPECT_EQ(S(RegReadString(RegPath("HKLM\\Free"), "none")), "");

  const Directory key(AnsiStr(R("machine/Free").c_str()));
  EXPECT_TRUE(RegIsValue(key, "n"));
  EXPECT_FALSE(RegIsValue(key, "none"));
  EXPECT_TRUE(RegSetStringValue(key, "", "dflt"));
  EXPECT_EQ(Get(R("machine/Free/registry.default")), "dflt");
  EXPECT_EQ(S(RegGetStringValue(key, nullptr, "x")), "dflt");
  EXPECT_EQ(S(RegGetStringValue(key, "none", "x")), "x");
  EXPECT_TRUE(RegSetUInt32Value(key, "u", 10));
  EXPECT_EQ(Get(R("machine/Free/u")), "10");
  EXPECT_FALSE(RegSetStringValue(key, "a/b", "x"));
  EXPECT_EQ(GetLastError(), EINVAL);
  EXPECT_EQ(S(RegPath2File(key, "").GetPath()), R("machine/Free/registry.default"));
  EXPECT_EQ(S(RegPath2File(key, "v").GetPath()), R("machine/Free/v"));
  EXPECT_TRUE(RegRemoveKey(RegPath("HKLM\\Free")));
  EXPECT_TRUE(Missing(R("machine/Free")));
}

TEST_F(RegistryStoreTest, TwoProcessesWriteOneValue) {
  // Two writers of one value, each many times: no crash, and the file ends as one of the two
  // whole texts (the last writer's), never a mix.
  const std::string a(3000, 'a'), b(2000, 'b');
  pid_t children[2];
  for (int i = 0; i < 2; ++i) {
    children[i] = fork();
    ASSERT_GE(children[i], 0);
    if (children[i] == 0) {
      const Registry reg(AnsiStr("HKLM\\Race"));
      const AnsiStr text((i == 0 ? a : b).c_str());
      for (int n = 0; n < 300; ++n)
        if (!reg.Write("", "v", text)) _exit(1);
      _exit(0);
    }
  }
  for (pid_t child : children) {
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  const std::string last = Get(R("machine/Race/v"));
  EXPECT_TRUE(last == a || last == b) << last.size();
}

}  // namespace
}  // namespace OrvGuiBase
