// Tests of the registry's text form: the export layout, every import form (continuation
// lines, removals, assignments, substitutions, UTF-16 files), export then import reproducing a
// tree byte for byte, hostile files, the key copy and a partial export removed on failure.
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/core/LastError.h"
#include "base/registry/RegistryText.h"
#include "tests/base/registry/RegistryTestRoot.h"

namespace OrvGuiBase {
namespace {

std::string S(const AnsiStr& s) { return std::string(s.GetStr(), s.GetLength()); }

using RegistryTextTest = RegistryTest;

TEST_F(RegistryTextTest, ExportLayout) {
  const Registry reg(AnsiStr("HKEY_COMPANY\\Exp"));
  ASSERT_TRUE(reg.Write("", "", AnsiStr("x")));
  ASSERT_TRUE(reg.Write("", "n", 5));
  ASSERT_TRUE(reg.Write("Sub", "q", AnsiStr("say \"hi\" \\o/")));
  const std::string file = m_dir + "/exp.reg";
  ASSERT_TRUE(reg.Export(File(AnsiStr(file.c_str()))));
  const std::string text = Get(file);
  const std::string key = "HKEY_CURRENT_USER\\Software\\Quelvarn\\Exp";
  const std::string head = "Windows Registry Editor Version 5.00\n\n[" + key + "]\n";
  ASSERT_EQ(text.substr(0, head.size()), head);
  const std::string values = text.substr(head.size(), text.find("\n\n", head.size()) + 2 - head.size());
  EXPECT_TRUE(values == "@=\"x\"\n\"n\"=\"5\"\n\n" || values == "\"n\"=\"5\"\n@=\"x\"\n\n") << values;
  EXPECT_EQ(text.substr(head.size() + values.size()), "[" + key + "\\Sub]\n\"q\"=\"say \\\"hi\\\" \\\\o/\"\n\n");

  // Only listed sub-keys; a missing key or listed key fails without touching the file.
  ASSERT_TRUE(reg.Write("Other", "o", AnsiStr("1")));
  Store<AnsiStr> only;
  only.Append("Sub");
  ASSERT_TRUE(reg.Export(File(AnsiStr(file.c_str())), only));
  EXPECT_EQ(Get(file).find("Other"), std::string::npos);
  EXPECT_NE(Get(file).find("\\Sub]"), std::string::npos);
  Put(file, "keep");
  only.Append("Absent");
  EXPECT_FALSE(reg.Export(File(AnsiStr(file.c_str())), only));
  EXPECT_TRUE(Missing(file));  // begun, then failed: the partial file is removed
  Put(file, "keep");
  SetLastError(0);
  EXPECT_FALSE(reg.Export(File(AnsiStr(file.c_str())), "Absent"));
  EXPECT_EQ(GetLastError(), ENOENT);
  EXPECT_EQ(Get(file), "keep");
}

struct ImportRow {
  const char* reason;
  std::string text;   // after the header line
  const char* file;   // below the root; null: the value must not exist
  std::string value;
};

TEST_F(RegistryTextTest, ImportForms) {
  Put(R("machine/Gone/Deep/v"), "1");
  Put(R("machine/Keep/v"), "old");
  Put(R("machine/Del/v"), "1");
  const ImportRow rows[] = {
      {"quoted string", "[HKEY_LOCAL_MACHINE\\I]\n\"s\"=\"a \\\"b\\\" \\\\c\"\n", "machine/I/s", "a \"b\" \\c"},
      {"default value", "[HKEY_LOCAL_MACHINE\\I]\n@=\"dflt\"\n", "machine/I/registry.default", "dflt"},
      {"blanks around =", "[HKEY_LOCAL_MACHINE\\I]\n  \"b\"  =  \"v\"  \n", "machine/I/b", "v"},
      {"name with = and quote", "[HKEY_LOCAL_MACHINE\\I]\n\"a=\\\"b\"=\"v\"\n", "machine/I/a=\"b", "v"},
      {"dword", "[HKEY_LOCAL_MACHINE\\I]\n\"d\"=dword:0000000A\n", "machine/I/d", "10"},
      {"DWORD with blanks", "[HKEY_LOCAL_MACHINE\\I]\n\"d2\"=DWORD : ff\n", "machine/I/d2", "255"},
      {"dword wraps", "[HKEY_LOCAL_MACHINE\\I]\n\"d3\"=dword:1FFFFFFFF\n", "machine/I/d3", "4294967295"},
      {"dword stops at junk", "[HKEY_LOCAL_MACHINE\\I]\n\"d4\"=dword:12zz\n", "machine/I/d4", "18"},
      {"hex", "[HKEY_LOCAL_MACHINE\\I]\n\"h\"=hex:01,02,ab\n", "machine/I/h", "0102AB"},
      {"hex continued", "[HKEY_LOCAL_MACHINE\\I]\n\"h2\"=hex:01,02,\\\n  03\n", "machine/I/h2", "010203"},
      {"hex(7) CRLF continued", "[HKEY_LOCAL_MACHINE\\I]\r\n\"h3\"=hex(7):41,00,\\\r\n  42,00\r\n", "machine/I/h3",
       "41004200"},
      {"hex( 2 ) with blanks", "[HKEY_LOCAL_MACHINE\\I]\n\"h4\"=HEX ( 2 ) :ff\n", "machine/I/h4", "FF"},
      {"hex empty", "[HKEY_LOCAL_MACHINE\\I]\n\"h5\"=hex:\n", "machine/I/h5", ""},
      {"hex bad item", "[HKEY_LOCAL_MACHINE\\I]\n\"h6\"=hex:01,xyz\n", nullptr, ""},
      {"delete value", "[HKEY_LOCAL_MACHINE\\Del]\n\"v\"=-\n", nullptr, ""},
      {"assignment", "HKEY_LOCAL_MACHINE\\A=v\n", "machine/A/registry.default", "v"},
      {"assignment quoted", "HKEY_LOCAL_MACHINE\\A2 = \"q v\"\n", "machine/A2/registry.default", "q v"},
      {"section then text after ]", "[HKEY_LOCAL_MACHINE\\T] ; note\n\"t\"=\"1\"\n", "machine/T/t", "1"},
      {"comment and junk", "; \"c\"=\"x\"\n[HKEY_LOCAL_MACHINE\\C]\n; \"c\"=\"x\"\nc=\"x\"\n\"c2\"=bogus:1\n",
       nullptr, ""},
      {"value before any section", "\"early\"=\"x\"\n", nullptr, ""},
      {"alias section", "[HKEY_COMPANY\\Al]\n\"v\"=\"1\"\n", "users/tester/Software/Quelvarn/Al/v", "1"},
      {"multi-line value", "[HKEY_LOCAL_MACHINE\\M]\n\"m\"=\"one\\\ntwo\\\n\"\n\"after\"=\"x\"\n", "machine/M/m",
       "one\ntwo\n"},
      {"escaped quote at the end", "[HKEY_LOCAL_MACHINE\\E]\n\"e\"=\"ab\\\"\n", "machine/E/e", "ab\""},
  };
  const std::string file = m_dir + "/in.reg";
  for (const ImportRow& row : rows) {
    SCOPED_TRACE(row.reason);
    Put(file, "Windows Registry Editor Version 5.00\n\n" + row.text);
    ASSERT_TRUE(RegImport(File(AnsiStr(file.c_str())), nullptr, nullptr, true, false));
    if (row.file != nullptr) {
      EXPECT_EQ(Get(R(row.file)), row.value);
    }
  }
  EXPECT_TRUE(Missing(R("machine/I/h6")));
  EXPECT_TRUE(Missing(R("machine/Del/v")));
  EXPECT_TRUE(IsDir(R("machine/Del")));
  EXPECT_TRUE(Missing(R("machine/C/c")));
  EXPECT_TRUE(Missing(R("machine/C/c2")));
  EXPECT_TRUE(IsFile(R("machine/M/after")));

  // Removal of a key with all below it, then the flags: overwrite and keepDefaults.
  Put(file, "[-HKEY_LOCAL_MACHINE\\Gone]\n\"v\"=\"lands nowhere\"\n");
  ASSERT_TRUE(RegImport(File(AnsiStr(file.c_str())), nullptr, nullptr, true, false));
  EXPECT_TRUE(Missing(R("machine/Gone")));
  Put(file, "[HKEY_LOCAL_MACHINE\\Keep]\n\"v\"=\"new\"\n\"w\"=\"new\"\nHKEY_LOCAL_MACHINE\\A=other\n");
  ASSERT_TRUE(RegImport(File(AnsiStr(file.c_str())), nullptr, nullptr, false, true));
  EXPECT_EQ(Get(R("machine/Keep/v")), "old");
  EXPECT_EQ(Get(R("machine/Keep/w")), "new");
  EXPECT_EQ(Get(R("machine/A/registry.default")), "v");
  ASSERT_TRUE(RegImport(File(AnsiStr(file.c_str())), nullptr, nullptr, true, false));
  EXPECT_EQ(Get(R("machine/Keep/v")), "new");
  EXPECT_EQ(Get(R("machine/A/registry.default")), "other");

  // Through a Registry object, sections that name no root lie below its key.
  Put(file, "[Rel\\K]\n\"v\"=\"1\"\n[HKEY_USERS\\Abs]\n\"v\"=\"2\"\n");
  ASSERT_TRUE(Registry(AnsiStr("HKLM\\Base")).Import(File(AnsiStr(file.c_str()))));
  EXPECT_EQ(Get(R("machine/Base/Rel/K/v")), "1");
  EXPECT_EQ(Get(R("users/Abs/v")), "2");

  SetLastError(0);
  EXPECT_FALSE(RegImport(File(AnsiStr((m_dir + "/absent.reg").c_str())), nullptr, nullptr, true, false));
  EXPECT_EQ(GetLastError(), ENOENT);
}

TEST_F(RegistryTextTest, HexLimit) {
  const std::string file = m_dir + "/hex.reg";
  for (size_t count : {size_t{32768}, size_t{32769}}) {
    SCOPED_TRACE(count);
    std::string text = "[HKEY_LOCAL_MACHINE\\H]\n\"big\"=hex:";
    for (size_t i = 0; i < count; ++i) text += (i + 1) % 25 == 0 ? "7f,\\\n  " : "7f,";
    text.pop_back();
    text += "\n\"after\"=\"ok\"\n";
    Put(file, text);
    ::unlink(R("machine/H/big").c_str());
    ASSERT_TRUE(RegImport(File(AnsiStr(file.c_str())), nullptr, nullptr, true, false));
    EXPECT_EQ(Get(R("machine/H/after")), "ok");  // the continuation lines were all taken
    if (count == 32768) {
      Blob bytes;
      ASSERT_TRUE(Registry(AnsiStr("HKLM\\H")).Read("", "big", bytes));
      EXPECT_EQ(bytes.GetLength(), 32768u);
    } else {
      EXPECT_TRUE(Missing(R("machine/H/big")));
    }
  }
}

TEST_F(RegistryTextTest, Utf16AndMarks) {
  const std::string body = "Windows Registry Editor Version 5.00\r\n\r\n[HKEY_LOCAL_MACHINE\\U]\r\n\"name\"=\"gr\xC3\xBC\xC3\x9F \xF0\x9F\x98\x80\"\r\n";
  std::u16string units;
  // Decode the UTF-8 body by hand into UTF-16 (it holds one character outside the BMP).
  for (size_t i = 0; i < body.size();) {
    const unsigned char c = static_cast<unsigned char>(body[i]);
    uint32_t cp = c;
    size_t n = 1;
    if (c >= 0xF0) { cp = c & 0x07; n = 4; } else if (c >= 0xE0) { cp = c & 0x0F; n = 3; } else if (c >= 0xC0) { cp = c & 0x1F; n = 2; }
    for (size_t k = 1; k < n; ++k) cp = (cp << 6) | (static_cast<unsigned char>(body[i + k]) & 0x3F);
    i += n;
    if (cp >= 0x10000) {
      units += static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10));
      units += static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF));
    } else {
      units += static_cast<char16_t>(cp);
    }
  }
  std::string little = "\xFF\xFE", big = "\xFE\xFF";
  for (char16_t u : units) {
    little += static_cast<char>(u & 0xFF), little += static_cast<char>(u >> 8);
    big += static_cast<char>(u >> 8), big += static_cast<char>(u & 0xFF);
  }
  const std::string expected = "gr\xC3\xBC\xC3\x9F \xF0\x9F\x98\x80";
  const std::string file = m_dir + "/u.reg";
  for (const std::string& content : {little, big, "\xEF\xBB\xBF" + body}) {
    ::unlink(R("machine/U/name").c_str());
    Put(file, content);
    ASSERT_TRUE(RegImport(File(AnsiStr(file.c_str())), nullptr, nullptr, true, false));
    EXPECT_EQ(Get(R("machine/U/name")), expected);
  }
  // A lone surrogate is no UTF-16: the file is refused whole.
  Put(file, std::string("\xFF\xFE[\0\x00\xD8", 6));
  SetLastError(0);
  EXPECT_FALSE(RegImport(File(AnsiStr(file.c_str())), nullptr, nullptr, true, false));
  EXPECT_EQ(GetLastError(), EILSEQ);
}

TEST_F(RegistryTextTest, ExportThenImportReproducesTheTree) {
  const Registry reg(AnsiStr("HKEY_LOCAL_MACHINE\\Tree"));
  const uint8_t bytes[70] = {0, 1, 2, 0xFE, 0xFF, '\r', '\n', '"', '\\'};
  Store<AnsiStr> list;
  list.Append("one").Append("").Append("th\"ree\\");
  ASSERT_TRUE(reg.Write("", "", AnsiStr("default")));
  ASSERT_TRUE(reg.Write("", "empty", AnsiStr("")));
  ASSERT_TRUE(reg.Write("", "quotes \"and\" \\ back", AnsiStr("\"\\\"\\")));
  ASSERT_TRUE(reg.Write("", "trailing", AnsiStr("ends with \\")));
  ASSERT_TRUE(reg.Write("", "lines", AnsiStr("a\nb\r\nc\\\n\"\n")));
  ASSERT_TRUE(reg.Write("", "quote before break", AnsiStr("x\"\nmore")));
  ASSERT_TRUE(reg.Write("", "name\nwith break", AnsiStr("v")));
  ASSERT_TRUE(reg.Write("", "utf8 \xC3\xA9", AnsiStr("\xE2\x82\xAC \xF0\x9F\x98\x80")));
  ASSERT_TRUE(reg.Write("", "blanks", AnsiStr("  padded  ")));
  ASSERT_TRUE(reg.Write("", "list", list));
  ASSERT_TRUE(reg.Write("", "bin", bytes, sizeof bytes));
  ASSERT_TRUE(reg.Write("", "num", -123456789LL));
  ASSERT_TRUE(reg.Write("", "hex-looking", AnsiStr("hex:01,02")));
  ASSERT_TRUE(reg.Write("Sub\\Deeper\\Deepest", "x", AnsiStr("y")));
  ASSERT_TRUE(reg.CreateKey("Empty Key"));
  ASSERT_TRUE(reg.CreateKey("Sub\\[brackets"));
  ASSERT_TRUE(reg.Write("@", "@", AnsiStr("at")));
  const std::vector<std::string> before = Snapshot(R("machine"));

  const std::string file = m_dir + "/tree.reg";
  ASSERT_TRUE(reg.Export(File(AnsiStr(file.c_str()))));
  ASSERT_TRUE(reg.RemoveKey());
  ASSERT_TRUE(Missing(R("machine/Tree")));
  ASSERT_TRUE(RegImport(File(AnsiStr(file.c_str())), nullptr, nullptr, true, false));
  EXPECT_EQ(Snapshot(R("machine")), before);
}

TEST_F(RegistryTextTest, HostileImportStaysInside) {
  ASSERT_EQ(::mkdir(R("machine").c_str(), 0755), 0);
  ASSERT_EQ(::symlink(Outside().c_str(), R("machine/Link").c_str()), 0);
  const std::string file = m_dir + "/evil.reg";
  Put(file,
      "Windows Registry Editor Version 5.00\n\n"
      "[HKEY_LOCAL_MACHINE\\..\\..\\outside]\n\"planted\"=\"x\"\n"
      "[HKEY_LOCAL_MACHINE\\A\\..\\..\\..\\outside]\n\"planted\"=\"x\"\n"
      "[HKEY_LOCAL_MACHINE\\Link]\n\"planted\"=\"x\"\n\"canary\"=-\n"
      "[HKEY_LOCAL_MACHINE\\Link\\Deeper]\n\"planted\"=\"x\"\n"
      "[-HKEY_LOCAL_MACHINE\\Link]\n"
      "[-HKEY_LOCAL_MACHINE\\..]\n"
      "[-HKEY_LOCAL_MACHINE]\n"
      "[HKEY_LOCAL_MACHINE\\Ok]\n\"../../../outside/planted\"=\"x\"\n\"a/b\"=\"x\"\n\"..\"=\"x\"\n"
      "\"fine\"=\"yes\"\n"
      "HKEY_LOCAL_MACHINE\\..\\..\\outside=planted\n"
      "HKEY_LOCAL_MACHINE\\Link=planted\n"
      "[HKEY_NOWHERE\\X]\n\"v\"=\"x\"\n"
      "[/etc/passwd]\n\"v\"=\"x\"\n");
  ASSERT_TRUE(RegImport(File(AnsiStr(file.c_str())), nullptr, nullptr, true, false));
  EXPECT_TRUE(OutsideUntouched());
  // The one sound value went in; the bad names next to it did not.
  EXPECT_EQ(Get(R("machine/Ok/fine")), "yes");
  EXPECT_EQ(Snapshot(R("machine/Ok")), (std::vector<std::string>{"F /fine = yes"}));
  EXPECT_FALSE(IsDir(R("machine/Link")));  // the link is still a link
  EXPECT_TRUE(Missing(R("machine/X")));
}

TEST_F(RegistryTextTest, ConvertString) {
  Store<AnsiStr> from, to;
  from.Append("HKEY_LOCAL_MACHINE\\Src").Append("HKEY_LOCAL_MACHINE\\Other");
  to.Append("HKEY_LOCAL_MACHINE\\Dst");
  struct Row {
    const char* text;
    bool key;
    const char* expected;
  } rows[] = {
      {"HKEY_LOCAL_MACHINE\\Src", true, "HKEY_LOCAL_MACHINE\\Dst"},
      {"HKEY_LOCAL_MACHINE\\Src\\A\\B", true, "HKEY_LOCAL_MACHINE\\Dst\\A\\B"},
      {"hkey_local_machine\\src\\a", true, "HKEY_LOCAL_MACHINE\\Dst\\a"},  // keys ignore case
      {"hkey_local_machine\\src\\a", false, "hkey_local_machine\\src\\a"},  // values do not
      {"HKEY_LOCAL_MACHINE\\Src2", true, "HKEY_LOCAL_MACHINE\\Src2"},      // whole components only
      {"HKEY_LOCAL_MACHINE\\Other", true, "HKEY_LOCAL_MACHINE\\Other"},    // no partner in to
      {"prefix HKEY_LOCAL_MACHINE\\Src", false, "prefix HKEY_LOCAL_MACHINE\\Src"},
  };
  for (const Row& row : rows) EXPECT_EQ(S(RegConvertString(row.text, &from, &to, row.key)), row.expected) << row.text;
  EXPECT_EQ(S(RegConvertString("x", nullptr, &to, true)), "x");
}

TEST_F(RegistryTextTest, ImportWithSubstitutions) {
  // Key paths are matched in their canonical form (a short root in the table finds the long one
  // in the file); string values are matched as written.
  Store<AnsiStr> from, to;
  from.Append("HKLM\\Old").Append("HKEY_LOCAL_MACHINE\\Old");
  to.Append("HKEY_LOCAL_MACHINE\\New").Append("HKEY_LOCAL_MACHINE\\NewValue");
  const std::string file = m_dir + "/subst.reg";
  Put(file,
      "[HKEY_LOCAL_MACHINE\\Old\\K]\n\"ref\"=\"HKEY_LOCAL_MACHINE\\\\Old\\\\K\"\n\"other\"=\"HKEY_LOCAL_MACHINE\\\\Older\"\n"
      "[hkey_local_machine\\old]\n@=\"top\"\nHKEY_LOCAL_MACHINE\\Old\\A=assigned\n");
  ASSERT_TRUE(RegImport(File(AnsiStr(file.c_str())), &from, &to, true, false));
  EXPECT_TRUE(Missing(R("machine/Old")));
  EXPECT_EQ(Get(R("machine/New/K/ref")), "HKEY_LOCAL_MACHINE\\NewValue\\K");
  EXPECT_EQ(Get(R("machine/New/K/other")), "HKEY_LOCAL_MACHINE\\Older");
  EXPECT_EQ(Get(R("machine/New/registry.default")), "top");
  EXPECT_EQ(Get(R("machine/New/A/registry.default")), "assigned");
}

TEST_F(RegistryTextTest, CopyAndMoveKeys) {
  const Registry reg(AnsiStr("HKLM\\Soft"));
  ASSERT_TRUE(reg.Write("Src", "v", AnsiStr("1")));
  ASSERT_TRUE(reg.Write("Src\\Sub", "ref", AnsiStr("HKEY_LOCAL_MACHINE\\Soft\\Src\\Sub")));
  ASSERT_TRUE(reg.Write("Src\\Sub", "", AnsiStr("d")));
  ASSERT_TRUE(reg.Write("Dst", "stale", AnsiStr("s")));
  ASSERT_TRUE(reg.Write("Dst", "v", AnsiStr("old")));

  ASSERT_TRUE(reg.CopyKey("Src", "Dst", false, false));  // merge, keep existing values
  EXPECT_EQ(Get(R("machine/Soft/Dst/v")), "old");
  EXPECT_EQ(Get(R("machine/Soft/Dst/stale")), "s");
  EXPECT_EQ(Get(R("machine/Soft/Dst/Sub/registry.default")), "d");
  EXPECT_EQ(Get(R("machine/Soft/Dst/Sub/ref")), "HKEY_LOCAL_MACHINE\\Soft\\Dst\\Sub");  // a reference follows the copy

  ASSERT_TRUE(reg.CopyKey("Src", "Dst", true));  // replace the target
  EXPECT_TRUE(Missing(R("machine/Soft/Dst/stale")));
  EXPECT_EQ(Get(R("machine/Soft/Dst/v")), "1");
  ASSERT_TRUE(RegCopyKey("HKEY_LOCAL_MACHINE\\Soft", "Src", "Plain", false, true, false, false));
  EXPECT_EQ(Get(R("machine/Soft/Plain/Sub/ref")), "HKEY_LOCAL_MACHINE\\Soft\\Src\\Sub");  // copied as it is

  // A copy into its own sub-key is a snapshot; a move there is refused.
  ASSERT_TRUE(reg.CopyKey("Src", "Src\\Inner"));
  EXPECT_EQ(Get(R("machine/Soft/Src/Inner/Sub/registry.default")), "d");
  EXPECT_TRUE(Missing(R("machine/Soft/Src/Inner/Inner")));
  SetLastError(0);
  EXPECT_FALSE(reg.MoveKey("Src", "Src\\Again"));
  EXPECT_EQ(GetLastError(), EINVAL);

  ASSERT_TRUE(reg.MoveKey("Src", "Moved"));
  EXPECT_TRUE(Missing(R("machine/Soft/Src")));
  EXPECT_EQ(Get(R("machine/Soft/Moved/Inner/v")), "1");
  EXPECT_FALSE(reg.CopyKey("Src", "X"));
  EXPECT_EQ(GetLastError(), ENOENT);
  EXPECT_TRUE(Missing(R("machine/Soft/X")));
}

TEST_F(RegistryTextTest, FailedExportRemovesThePartialFile) {
  const Registry reg(AnsiStr("HKLM\\Big"));
  const std::string value(4096, 'v');
  for (int i = 0; i < 64; ++i) ASSERT_TRUE(reg.Write("", AnsiStr(std::to_string(i).c_str()), AnsiStr(value.c_str())));
  const std::string file = m_dir + "/partial.reg";
  // In a child whose files may not grow past 64 KiB the export runs out of room half way.
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {65536, 65536};
    setrlimit(RLIMIT_FSIZE, &limit);
    const bool ok = reg.Export(File(AnsiStr(file.c_str())));
    _exit(ok ? 1 : GetLastError() == EFBIG ? 0 : 2);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_TRUE(Missing(file));
  // Without the limit the same export works.
  ASSERT_TRUE(reg.Export(File(AnsiStr(file.c_str()))));
  EXPECT_GT(Get(file).size(), 64u * 4096u);
}

}  // namespace
}  // namespace OrvGuiBase
