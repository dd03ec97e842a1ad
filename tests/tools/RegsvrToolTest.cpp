// Tests of `orvgui regsvr` and the greeter example: registering a real server library into a
// private registry, activating it from the client program, and the exit statuses that
// administrators' scripts read.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "TestProcess.h"

namespace {

namespace fs = std::filesystem;

class RegsvrTool : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "orvgui-regsvr-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    m_root = pattern;
  }
  void TearDown() override { fs::remove_all(m_root); }

  ProcessResult Run(std::vector<std::string> args) {
    args.insert(args.begin(), {ORVGUI_TEST_TOOL, "regsvr"});
    return RunProcess(args, {"KRS_REGISTRY=" + m_root.string()});
  }
  ProcessResult Client(std::vector<std::string> args = {}) {
    args.insert(args.begin(), ORVGUI_TEST_GREETER_CLIENT);
    return RunProcess(args, {"KRS_REGISTRY=" + m_root.string()});
  }

  fs::path m_root;
};

TEST_F(RegsvrTool, RegisterActivateUnregister) {
  const std::string greeter = ORVGUI_TEST_GREETER;
  ProcessResult r = Run({greeter});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "DllRegisterServer in " + greeter + " succeeded.\n");
  EXPECT_EQ(r.err, "");

  r = Client({"Ann", "Bob"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "Hello, Ann!\nHello, Bob!\n");

  r = Run({"-u", "/s", greeter});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "");
  r = Client();
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "greeter-client: Class not registered (0x80040154/2147746132)\n");
}

TEST_F(RegsvrTool, ExitStatusesAndMessages) {
  const std::string broken = (m_root / "libbroken.so").string();
  std::ofstream(broken) << "no ELF here";
  std::string library;  // a shared library without registration entries: liborvgui itself
  for (const auto& entry : fs::directory_iterator(fs::path(ORVGUI_TEST_GREETER).parent_path().parent_path()))
    if (entry.path().filename().string().rfind("liborvgui.so", 0) == 0) library = entry.path().string();
  ASSERT_FALSE(library.empty());

  const struct {
    std::vector<std::string> args;
    int status;
    std::string errStart;
  } rows[] = {
      {{"/nonexistent/libx.so"}, 3, "orvgui regsvr: /nonexistent/libx.so could not be loaded: "},
      {{broken}, 3, "orvgui regsvr: " + broken + " could not be loaded: "},
      {{library}, 4, "orvgui regsvr: " + library + " was loaded, but the entry point DllRegisterServer was not found"},
      {{"/u", library}, 4, "orvgui regsvr: " + library + " was loaded, but the entry point DllUnregisterServer was not found"},
      {{ORVGUI_TEST_FAILING_SERVER}, 5,
       "orvgui regsvr: DllRegisterServer in " + std::string(ORVGUI_TEST_FAILING_SERVER) + " failed: Unspecified error"},
      {{(m_root / "missing.reg").string()}, 3, "orvgui regsvr: " + (m_root / "missing.reg").string() + " could not be imported: "},
      {{"/u", "x.reg"}, 1, "orvgui regsvr: x.reg: a registry text file cannot be unregistered"},
      {{"file.unknown"}, 1, "orvgui regsvr: file.unknown: no AutoRegister command for files of type .unknown"},
      {{}, 2, "orvgui regsvr: no FILE given"},
      {{"a.so", "b.so"}, 2, "orvgui regsvr: unexpected argument 'b.so'"},
      {{"-x", "a.so"}, 2, "orvgui regsvr: unexpected argument '-x'"},
      {{"/x", "a.so"}, 2, "orvgui regsvr: unexpected argument 'a.so'"},
  };
  for (const auto& row : rows) {
    const ProcessResult r = Run(row.args);
    EXPECT_EQ(r.status, row.status) << row.errStart;
    EXPECT_EQ(r.err.rfind(row.errStart, 0), 0u) << r.err;
    EXPECT_EQ(r.out, "");
    // Silent: the same status, nothing said.
    if (row.status == 2) continue;
    std::vector<std::string> silent = row.args;
    silent.insert(silent.begin(), "/S");
    const ProcessResult quiet = Run(silent);
    EXPECT_EQ(quiet.status, row.status);
    EXPECT_EQ(quiet.err + quiet.out, "");
  }
}

TEST_F(RegsvrTool, RegistryTextIsImported) {
  const std::string text = (m_root / "greeter.reg").string();
  std::ofstream(text) << "Windows Registry Editor Version 5.00\r\n\r\n"
                         "[HKEY_CLASSES_ROOT\\Example.Greeter\\CLSID]\r\n"
                         "@=\"{8E2C1B7A-4F0D-4C36-9A51-2D7E3B9C6F10}\"\r\n\r\n"
                         "[HKEY_CLASSES_ROOT\\CLSID\\{8E2C1B7A-4F0D-4C36-9A51-2D7E3B9C6F10}\\InprocServer32]\r\n"
                         "@=\"" << fs::canonical(ORVGUI_TEST_GREETER).string() << "\"\r\n";
  ProcessResult r = Run({text});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "Import in " + text + " succeeded.\n");
  r = Client({"Cy"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "Hello, Cy!\n");
}

TEST_F(RegsvrTool, HelpDocumentsTheExitStatuses) {
  const ProcessResult r = Run({"--help"});
  EXPECT_EQ(r.status, 0);
  for (const char* text : {"usage: orvgui regsvr [/u] [/s] FILE", "3  the library", "4  the entry point", "5  the registration call"})
    EXPECT_NE(r.out.find(text), std::string::npos) << text;
}

}  // namespace
