// Tests of `orvgui reg` through the real tool on a private registry (KRS_REGISTRY): the
// output of query, the store's form of every type that add writes, questions and /f, copy,
// export and import, the exit statuses, and the "unknown" user of an account without a name.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "TestProcess.h"

namespace {

class RegTool : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/orvgui-regtool-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    m_dir = pattern;
  }
  void TearDown() override {
    std::error_code ignored;
    std::filesystem::remove_all(m_dir, ignored);
  }
  ProcessResult Reg(std::vector<std::string> args, const std::string& input = "") const {
    args.insert(args.begin(), {ORVGUI_TEST_TOOL, "reg"});
    if (input.empty())
      return RunProcess(args, {"KRS_REGISTRY=" + m_dir + "/r", "KRS_USER=admin"});
    // With an answer on standard input: through the shell, the answer piped in.
    std::string line = "printf '" + input + "' | \"$0\"";
    for (size_t i = 1; i < args.size(); ++i) line += " '" + args[i] + "'";
    return RunProcess({"/bin/sh", "-c", line, args[0]}, {"KRS_REGISTRY=" + m_dir + "/r", "KRS_USER=admin"});
  }
  std::string Get(const std::string& tail) const {
    std::ifstream in(m_dir + "/r/" + tail, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  bool Exists(const std::string& tail) const {
    struct stat status;
    return lstat((m_dir + "/r/" + tail).c_str(), &status) == 0;
  }

  std::string m_dir;
};

const char kDone[] = "The operation completed successfully.\n";

TEST_F(RegTool, AddWritesTheStoreForm) {
  struct Case {
    std::vector<std::string> args;
    const char* file;
    std::string content;
  } cases[] = {
      {{"add", "HKLM\\S\\A", "/v", "s", "/d", "text"}, "machine/S/A/s", "text"},
      {{"add", "HKEY_LOCAL_MACHINE\\S\\A", "/ve", "/d", "dflt"}, "machine/S/A/registry.default", "dflt"},
      {{"add", "HKLM\\S\\A", "-v", "dw", "-t", "REG_DWORD", "-d", "0xFFFFFFFF"}, "machine/S/A/dw", "4294967295"},
      {{"add", "HKLM\\S\\A", "/V", "dd", "/T", "reg_dword", "/D", "42"}, "machine/S/A/dd", "42"},
      {{"add", "HKLM\\S\\A", "/v", "q", "/t", "REG_QWORD", "/d", "18446744073709551615"}, "machine/S/A/q",
       "18446744073709551615"},
      {{"add", "HKLM\\S\\A", "/v", "b", "/t", "REG_BINARY", "/d", "00ff10"}, "machine/S/A/b", "00FF10"},
      {{"add", "HKLM\\S\\A", "/v", "m", "/t", "REG_MULTI_SZ", "/d", "a\\0b\\0"}, "machine/S/A/m", std::string("a\0b\0", 4)},
      {{"add", "HKLM\\S\\A", "/v", "m2", "/t", "REG_MULTI_SZ", "/d", "x,y", "/s", ","}, "machine/S/A/m2",
       std::string("x\0y", 3)},
      {{"add", "HKCU\\U", "/v", "u", "/d", "1"}, "users/admin/U/u", "1"},
      {{"add", "HKEY_COMPANY\\C", "/v", "c", "/d", "2"}, "users/admin/Software/Quelvarn/C/c", "2"},
      {{"add", "HKCR\\CLSID\\{X}\\InprocServer32", "/ve", "/d", "/lib/x.so"}, "classes/CLSID/{X}/InprocServer32/registry.default",
       "/lib/x.so"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.args[1] + " " + c.file);
    const ProcessResult r = Reg(c.args);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, kDone);
    EXPECT_EQ(Get(c.file), c.content);
  }
  // A key alone.
  EXPECT_EQ(Reg({"add", "HKU\\Empty\\Key"}).status, 0);
  EXPECT_TRUE(std::filesystem::is_directory(m_dir + "/r/users/Empty/Key"));
}

TEST_F(RegTool, QueryOutput) {
  ASSERT_EQ(Reg({"add", "HKLM\\Q", "/ve", "/d", "root default"}).status, 0);
  ASSERT_EQ(Reg({"add", "HKLM\\Q", "/v", "b", "/d", "2"}).status, 0);
  ASSERT_EQ(Reg({"add", "HKLM\\Q", "/v", "a", "/d", "1"}).status, 0);
  ASSERT_EQ(Reg({"add", "HKLM\\Q\\Sub", "/v", "m", "/t", "REG_MULTI_SZ", "/d", "x\\0y"}).status, 0);
  ASSERT_EQ(Reg({"add", "HKLM\\Q\\Sub\\Deep", "/v", "a", "/d", "deep"}).status, 0);
  ASSERT_EQ(Reg({"add", "HKLM\\Q\\Other"}).status, 0);
  struct Case {
    std::vector<std::string> args;
    int status;
    std::string out;
    std::string err;
  } cases[] = {
      {{"query", "HKLM\\Q"}, 0,
       "HKEY_LOCAL_MACHINE\\Q\n    (Default)    REG_SZ    root default\n    a    REG_SZ    1\n    b    REG_SZ    2\n", ""},
      {{"query", "HKLM\\Q", "/v", "b"}, 0, "HKEY_LOCAL_MACHINE\\Q\n    b    REG_SZ    2\n", ""},
      {{"query", "HKLM\\Q", "/ve"}, 0, "HKEY_LOCAL_MACHINE\\Q\n    (Default)    REG_SZ    root default\n", ""},
      {{"query", "HKLM\\Q\\Sub", "/s"}, 0,
       "HKEY_LOCAL_MACHINE\\Q\\Sub\n    m    REG_SZ    x\\0y\n\nHKEY_LOCAL_MACHINE\\Q\\Sub\\Deep\n    a    REG_SZ    deep\n", ""},
      {{"query", "HKLM\\Q", "/v", "a", "/s"}, 0,
       "HKEY_LOCAL_MACHINE\\Q\n    a    REG_SZ    1\n\nHKEY_LOCAL_MACHINE\\Q\\Sub\\Deep\n    a    REG_SZ    deep\n", ""},
      {{"query", "HKLM\\Q\\Other"}, 0, "HKEY_LOCAL_MACHINE\\Q\\Other\n", ""},
      {{"query", "HKLM\\Q", "/v", "zz"}, 1, "", "orvgui reg: the value 'zz' does not exist in 'HKLM\\Q'\n"},
      {{"query", "HKLM\\Q\\Other", "/ve"}, 1, "", "orvgui reg: the value '(Default)' does not exist in 'HKLM\\Q\\Other'\n"},
      {{"query", "HKLM\\Nope"}, 1, "", "orvgui reg: the key 'HKLM\\Nope' does not exist\n"},
      {{"query", "HKXX\\Q"}, 2, "", "orvgui reg: 'HKXX\\Q' does not start with a known root key\n"},
      {{"query", "HKLM\\..\\x"}, 2, "", "orvgui reg: invalid key name 'HKLM\\..\\x': Invalid argument\n"},
      {{"query"}, 2, "", "orvgui reg: query takes one KEY\n"},
      {{"query", "HKLM\\Q", "/x"}, 2, "", "orvgui reg: unknown switch '/x'\n"},
      {{"query", "HKLM\\Q", "/v", "a", "/ve"}, 2, "", "orvgui reg: /v, /ve and /va exclude each other\n"},
      {{"frobnicate"}, 2, "", "orvgui reg: unknown operation 'frobnicate'\n"},
      {{"add", "HKLM\\Q", "/v", "n", "/t", "REG_DWORD", "/d", "4294967296"}, 2, "",
       "orvgui reg: '4294967296' is not a REG_DWORD number\n"},
      {{"add", "HKLM\\Q", "/v", "n", "/t", "REG_BINARY", "/d", "0g"}, 2, "", "orvgui reg: '0g' is not pairs of hexadecimal digits\n"},
      {{"add", "HKLM\\Q", "/v", "n", "/t", "REG_NONE"}, 2, "", "orvgui reg: unknown type 'REG_NONE'\n"},
      {{"add", "HKLM\\Q", "/v", "a/b", "/d", "x"}, 1, "", "orvgui reg: cannot write the value: Invalid argument\n"},
  };
  for (const Case& c : cases) {
    std::string line;
    for (const std::string& a : c.args) line += a + " ";
    SCOPED_TRACE(line);
    const ProcessResult r = Reg(c.args);
    EXPECT_EQ(r.status, c.status);
    EXPECT_EQ(r.out, c.out);
    EXPECT_EQ(r.err, c.err);
  }
  const ProcessResult help = Reg({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.out.rfind("usage: orvgui reg query KEY [/v NAME | /ve] [/s]\n", 0), 0u);
  EXPECT_EQ(Reg({"/?"}).out, help.out);
}

TEST_F(RegTool, QuestionsAndDeletion) {
  ASSERT_EQ(Reg({"add", "HKLM\\D\\Sub", "/v", "v", "/d", "1"}).status, 0);
  ASSERT_EQ(Reg({"add", "HKLM\\D", "/v", "w", "/d", "1"}).status, 0);
  ASSERT_EQ(Reg({"add", "HKLM\\D", "/ve", "/d", "1"}).status, 0);
  // Without /f an existing value is not replaced unless the answer is yes.
  ProcessResult r = Reg({"add", "HKLM\\D", "/v", "w", "/d", "2"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "Value w exists, overwrite (Yes/No)? \n");
  EXPECT_EQ(r.err, "orvgui reg: the operation was cancelled\n");
  EXPECT_EQ(Get("machine/D/w"), "1");
  r = Reg({"add", "HKLM\\D", "/v", "w", "/d", "2"}, "yes\\n");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(Get("machine/D/w"), "2");
  EXPECT_EQ(Reg({"add", "HKLM\\D", "/v", "w", "/d", "3"}, "n\\n").status, 1);
  EXPECT_EQ(Reg({"add", "HKLM\\D", "/v", "w", "/d", "3", "/f"}).status, 0);
  EXPECT_EQ(Get("machine/D/w"), "3");

  EXPECT_EQ(Reg({"delete", "HKLM\\D", "/v", "w"}).status, 1);
  EXPECT_TRUE(Exists("machine/D/w"));
  EXPECT_EQ(Reg({"delete", "HKLM\\D", "/v", "w", "/f"}).status, 0);
  EXPECT_FALSE(Exists("machine/D/w"));
  r = Reg({"delete", "HKLM\\D", "/v", "w", "/f"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvgui reg: the value 'w' does not exist in 'HKLM\\D'\n");
  EXPECT_EQ(Reg({"delete", "HKLM\\D", "/ve", "/f"}).status, 0);
  EXPECT_FALSE(Exists("machine/D/registry.default"));
  ASSERT_EQ(Reg({"add", "HKLM\\D", "/v", "x", "/d", "1"}).status, 0);
  EXPECT_EQ(Reg({"delete", "HKLM\\D", "/va", "/f"}).status, 0);
  EXPECT_FALSE(Exists("machine/D/x"));
  EXPECT_TRUE(Exists("machine/D/Sub/v"));  // sub-keys stay
  r = Reg({"delete", "HKLM\\D"}, "Y\\n");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, std::string("Permanently delete the registry key HKLM\\D (Yes/No)? ") + kDone);
  EXPECT_FALSE(Exists("machine/D"));
  EXPECT_EQ(Reg({"delete", "HKLM\\D", "/f"}).status, 1);
  r = Reg({"delete", "HKLM", "/f"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvgui reg: the root key 'HKLM' cannot be deleted\n");
}

TEST_F(RegTool, CopyExportImport) {
  ASSERT_EQ(Reg({"add", "HKLM\\Src", "/v", "v", "/d", "top"}).status, 0);
  ASSERT_EQ(Reg({"add", "HKLM\\Src\\Sub", "/v", "ref", "/d", "HKEY_LOCAL_MACHINE\\Src\\Sub"}).status, 0);
  EXPECT_EQ(Reg({"copy", "HKLM\\Src", "HKLM\\Flat"}).status, 0);
  EXPECT_EQ(Get("machine/Flat/v"), "top");
  EXPECT_FALSE(Exists("machine/Flat/Sub"));
  EXPECT_EQ(Reg({"copy", "HKLM\\Src", "HKLM\\Flat", "/s"}).status, 1);  // exists: asks, no answer
  EXPECT_EQ(Reg({"copy", "HKLM\\Src", "HKLM\\Flat", "/s", "/f"}).status, 0);
  EXPECT_EQ(Get("machine/Flat/Sub/ref"), "HKEY_LOCAL_MACHINE\\Src\\Sub");  // byte for byte
  EXPECT_EQ(Reg({"copy", "HKLM\\Nope", "HKLM\\X"}).status, 1);
  EXPECT_EQ(Reg({"copy", "HKLM\\Src"}).status, 2);

  const std::string file = m_dir + "/out.reg";
  ProcessResult r = Reg({"export", "HKLM\\Src", file});
  EXPECT_EQ(r.status, 0) << r.err;
  std::ifstream in(file, std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  EXPECT_EQ(text,
            "Windows Registry Editor Version 5.00\n\n[HKEY_LOCAL_MACHINE\\Src]\n\"v\"=\"top\"\n\n"
            "[HKEY_LOCAL_MACHINE\\Src\\Sub]\n\"ref\"=\"HKEY_LOCAL_MACHINE\\\\Src\\\\Sub\"\n\n");
  EXPECT_EQ(Reg({"export", "HKLM\\Src", file}).status, 1);  // exists: asks
  EXPECT_EQ(Reg({"export", "HKLM\\Src", file, "/y"}).status, 0);
  EXPECT_EQ(Reg({"export", "HKLM\\Nope", m_dir + "/none.reg"}).status, 1);
  EXPECT_FALSE(std::filesystem::exists(m_dir + "/none.reg"));

  EXPECT_EQ(Reg({"delete", "HKLM\\Src", "/f"}).status, 0);
  r = Reg({"import", file});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, kDone);
  EXPECT_EQ(Get("machine/Src/Sub/ref"), "HKEY_LOCAL_MACHINE\\Src\\Sub");
  r = Reg({"import", m_dir + "/absent.reg"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvgui reg: cannot import '" + m_dir + "/absent.reg': No such file or directory\n");
}

TEST_F(RegTool, AnAccountWithoutANameIsUnknown) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to run the tool as a user without an account";
  // A uid without an entry in the password database, and no KRS_USER: the user hive is
  // users/unknown.
  ASSERT_EQ(chmod(m_dir.c_str(), 0777), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    if (setgid(54321) != 0 || setuid(54321) != 0) _exit(100);
    if (freopen("/dev/null", "w", stdout) == nullptr) _exit(102);
    unsetenv("KRS_USER");
    setenv("KRS_REGISTRY", (m_dir + "/r").c_str(), 1);
    execl(ORVGUI_TEST_TOOL, ORVGUI_TEST_TOOL, "reg", "add", "HKCU\\K", "/v", "v", "/d", "x", static_cast<char*>(nullptr));
    _exit(101);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  ASSERT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(Get("users/unknown/K/v"), "x");
}

}  // namespace
