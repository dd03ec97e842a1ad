// ClassActivationTest.cpp: identifiers, activation through the registry with the example
// server, the caches, and registration. Every test process has a private registry.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "base/com/ClassActivation.h"
#include "base/com/Guid.h"
#include "base/com/Library.h"
#include "base/com/Registration.h"
#include "base/core/ErrorMessage.h"
#include "base/core/LastError.h"
#include "base/process/Module.h"
#include "examples/greeter/Greeter.h"
#include "helpers/PrivateRegistry.h"

namespace {

using namespace OrvGuiBase;
namespace fs = std::filesystem;

// Identifiers no server serves, one per test so that the caches of one process never mix them.
constexpr CLSID kClassA = {0x11111111, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x01}};
constexpr CLSID kClassB = {0x11111111, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x02}};
constexpr CLSID kClassC = {0x11111111, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x03}};
constexpr CLSID kClassD = {0x11111111, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x04}};
constexpr CLSID kClassE = {0x11111111, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x05}};

std::string ReadFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

fs::path ClassesRoot() { return fs::path(orvgui_test::PrivateRegistryRoot()) / "classes"; }

TEST(Guid, TextFormsReadAndWrite) {
  const struct {
    const char* text;
    GUID expected;
    const char* why;
  } rows[] = {
      {"{00000000-0000-0000-C000-000000000046}", IID_IUnknown, "braced"},
      {"00000000-0000-0000-C000-000000000046", IID_IUnknown, "no braces"},
      {"{00000000-0000-0000-c000-000000000046}", IID_IUnknown, "lower case"},
      {"{8E2C1B7A-4F0D-4C36-9A51-2D7E3B9C6F10} trailing", CLSID_Greeter, "text after the last field"},
      {"{0-0-0-C000-000000000046}", IID_IUnknown, "short fields read as scanf does"},
      {"{00000000-0000-0000-C000-00000000004}", {0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 4}},
       "the last field takes the one digit left, as scanf does"},
      {"{00000000-0000-0000-C000-0000000000}", GUID_NULL, "a field missing"},
      {"{00000000_0000-0000-C000-000000000046}", GUID_NULL, "wrong separator"},
      {"{{00000000-0000-0000-C000-000000000046}", GUID_NULL, "only one brace is skipped"},
      {"not an identifier", GUID_NULL, "words"},
      {"", GUID_NULL, "empty"},
  };
  for (const auto& row : rows) EXPECT_TRUE(Str2GUID(row.text) == row.expected) << row.why;
  EXPECT_TRUE(Str2GUID(nullptr) == GUID_NULL);

  EXPECT_STREQ(GUID2Str(IID_IUnknown).GetStr(), "{00000000-0000-0000-C000-000000000046}");
  EXPECT_STREQ(GUID2Str(CLSID_Greeter).GetStr(), "{8E2C1B7A-4F0D-4C36-9A51-2D7E3B9C6F10}");
  EXPECT_STREQ(GUID2Str(IID_IClassFactory).GetStr(), "{00000001-0000-0000-C000-000000000046}");
  EXPECT_TRUE(Str2GUID(GUID2Str(IID_IGreeter).GetStr()) == IID_IGreeter);
}

TEST(ClassActivation, GreeterEndToEndThenFromTheCacheAlone) {
  int result = -1;
  ASSERT_TRUE(DLLRegister(result, ORVGUI_TEST_GREETER)) << GetErrorMessage(result).GetStr();
  EXPECT_EQ(result, S_OK);
  // The library wrote its keys, with its own absolute path.
  const fs::path classKey = ClassesRoot() / "CLSID" / "{8E2C1B7A-4F0D-4C36-9A51-2D7E3B9C6F10}";
  EXPECT_EQ(ReadFile(classKey / "InprocServer32" / "registry.default"), fs::canonical(ORVGUI_TEST_GREETER).string());
  EXPECT_EQ(ReadFile(ClassesRoot() / "Example.Greeter" / "CLSID" / "registry.default"),
            "{8E2C1B7A-4F0D-4C36-9A51-2D7E3B9C6F10}");

  const ClassActivationCounts before = GetClassActivationCounts();
  CLSID clsid;
  ASSERT_EQ(CLSIDFromProgID("Example.Greeter", &clsid), S_OK);
  EXPECT_TRUE(clsid == CLSID_Greeter);
  IGreeter* greeter = nullptr;
  ASSERT_EQ(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IGreeter, reinterpret_cast<void**>(&greeter)), S_OK);
  AnsiStr text;
  EXPECT_EQ(greeter->Greet("Ann", &text), S_OK);
  EXPECT_STREQ(text.GetStr(), "Hello, Ann!");
  EXPECT_EQ(greeter->Greet("", &text), E_INVALIDARG);
  greeter->Release();
  EXPECT_EQ(GetClassActivationCounts().libraries, before.libraries + 1);

  // With the registry gone, the second activation must come from the caches alone.
  fs::remove_all(orvgui_test::PrivateRegistryRoot());
  ASSERT_EQ(CLSIDFromProgID("Example.Greeter", &clsid), S_OK);
  ASSERT_EQ(CoCreateInstance(clsid, nullptr, CLSCTX_ALL, IID_IGreeter, reinterpret_cast<void**>(&greeter)), S_OK);
  unsigned count = 99;
  EXPECT_EQ(greeter->GetCount(&count), S_OK);
  EXPECT_EQ(count, 0u) << "a new object";
  greeter->Release();

  // The class object itself, and an interface the class does not have.
  IClassFactory* factory = nullptr;
  ASSERT_EQ(CoGetClassObject(clsid, CLSCTX_ALL, nullptr, IID_IClassFactory, reinterpret_cast<void**>(&factory)), S_OK);
  IUnknown* outer = factory;
  void* object = &object;
  EXPECT_EQ(factory->CreateInstance(outer, IID_IGreeter, &object), CLASS_E_NOAGGREGATION);
  EXPECT_EQ(object, nullptr);
  factory->Release();
  EXPECT_EQ(CoCreateInstance(clsid, nullptr, CLSCTX_ALL, IID_IClassFactory, &object), E_NOINTERFACE);
  EXPECT_EQ(GetClassActivationCounts().libraries, before.libraries + 1);
}

TEST(ClassActivation, PathsDifferingOnlyInCaseLoadTheLibraryOnce) {
  const std::string path = fs::canonical(ORVGUI_TEST_GREETER).string();
  std::string shouted = path;
  for (char& c : shouted) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
  ASSERT_NE(path, shouted);
  ASSERT_TRUE(CoRegisterObject(true, CLSID_Greeter, path.c_str(), ""));
  ASSERT_TRUE(CoRegisterObject(true, kClassA, shouted.c_str(), ""));

  IUnknown* object = nullptr;
  ASSERT_EQ(CoCreateInstance(CLSID_Greeter, nullptr, CLSCTX_ALL, IID_IUnknown, reinterpret_cast<void**>(&object)), S_OK);
  object->Release();
  const ClassActivationCounts before = GetClassActivationCounts();
  // The upper-case path names no file here: only the loaded-library list can serve it, and the
  // library answers for itself that it does not serve kClassA.
  EXPECT_EQ(CoCreateInstance(kClassA, nullptr, CLSCTX_ALL, IID_IUnknown, reinterpret_cast<void**>(&object)),
            CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(GetClassActivationCounts().libraries, before.libraries);
  EXPECT_EQ(GetClassActivationCounts().classes, before.classes + 1);
}

TEST(ClassActivation, FailuresAndTheirTexts) {
  IUnknown* object = nullptr;
  EXPECT_EQ(CoGetClassObject(kClassB, CLSCTX_ALL, nullptr, IID_IClassFactory, nullptr), E_POINTER);
  EXPECT_EQ(CoCreateInstance(kClassB, nullptr, CLSCTX_ALL, IID_IUnknown, nullptr), E_POINTER);
  GUID none;
  EXPECT_EQ(CLSIDFromProgID("Example.Nothing", nullptr), E_POINTER);
  EXPECT_EQ(CLSIDFromProgID("Example.Nothing", &none), REGDB_E_CLASSNOTREG);
  EXPECT_TRUE(none == GUID_NULL);

  // Unknown class.
  EXPECT_EQ(CoCreateInstance(kClassB, nullptr, CLSCTX_ALL, IID_IUnknown, reinterpret_cast<void**>(&object)), REGDB_E_CLASSNOTREG);
  EXPECT_NE(strstr(GetErrorMessage(REGDB_E_CLASSNOTREG).GetStr(), "Class not registered"), nullptr);

  // A library that is not there.
  const std::string missing = std::string(orvgui_test::PrivateRegistryRoot()) + "-none/libmissing.so";
  ASSERT_TRUE(CoRegisterObject(true, kClassC, missing.c_str(), ""));
  const HRESULT notThere = CoCreateInstance(kClassC, nullptr, CLSCTX_ALL, IID_IUnknown, reinterpret_cast<void**>(&object));
  EXPECT_EQ(notThere, HResultFromError(ENOENT));
  EXPECT_NE(strstr(GetErrorMessage(notThere).GetStr(), "No such file"), nullptr);

  // A library without DllGetClassObject: the library itself.
  ASSERT_TRUE(CoRegisterObject(true, kClassD, GetLibraryPath(), ""));
  EXPECT_EQ(CoCreateInstance(kClassD, nullptr, CLSCTX_ALL, IID_IUnknown, reinterpret_cast<void**>(&object)), CO_E_DLLNOTFOUND);
  EXPECT_NE(strstr(GetErrorMessage(CO_E_DLLNOTFOUND).GetStr(), "DLL for class not found"), nullptr);

  // A file that is no library; nothing is cached, so a repaired registry entry works next time.
  const std::string broken = orvgui_test::PrivateRegistryRoot() + "/libbroken.so";
  std::ofstream(broken) << "not a shared object";
  ASSERT_TRUE(CoRegisterObject(true, kClassE, broken.c_str(), ""));
  EXPECT_EQ(CoCreateInstance(kClassE, nullptr, CLSCTX_ALL, IID_IUnknown, reinterpret_cast<void**>(&object)), CO_E_ERRORINDLL);
  ASSERT_TRUE(CoRegisterObject(true, kClassE, fs::canonical(ORVGUI_TEST_GREETER).c_str(), ""));
  EXPECT_EQ(CoCreateInstance(kClassE, nullptr, CLSCTX_ALL, IID_IUnknown, reinterpret_cast<void**>(&object)),
            CLASS_E_CLASSNOTAVAILABLE);
}

TEST(Library, LoadAlongTheLibraryPathAndLookUpSymbols) {
  const fs::path greeter = fs::canonical(ORVGUI_TEST_GREETER);
  setenv("LD_LIBRARY_PATH", (std::string("/nonexistent:") + greeter.parent_path().string()).c_str(), 1);
  void* handle = DLLLoad(greeter.filename().c_str());
  ASSERT_NE(handle, nullptr) << GetLastErrorMessage().GetStr();
  EXPECT_NE(DLLGetSymbol(handle, "DllGetClassObject"), nullptr);
  SetLastError(0);
  EXPECT_EQ(DLLGetSymbol(handle, "NoSuchEntry"), nullptr);
  EXPECT_EQ(GetLastError(), ENOSYS);
  EXPECT_NE(strstr(GetLastErrorMessage().GetStr(), "NoSuchEntry"), nullptr);
  EXPECT_TRUE(DLLFree(handle));

  EXPECT_EQ(DLLLoad("libno-such-library-here.so"), nullptr);
  EXPECT_EQ(GetLastError(), ENOENT);
  EXPECT_EQ(DLLLoad(""), nullptr);
  EXPECT_EQ(GetLastError(), ENOENT);
  EXPECT_TRUE(DLLFree(nullptr));
}

TEST(Registration, EntriesResultsAndFileTypes) {
  int result = 0;
  // A library whose entries fail: the call was made, the result is its own.
  EXPECT_FALSE(DLLRegister(result, ORVGUI_TEST_FAILING_SERVER));
  EXPECT_EQ(result, E_FAIL);
  EXPECT_EQ(GetLastError(), 0);
  EXPECT_FALSE(DLLUnRegister(result, ORVGUI_TEST_FAILING_SERVER, "extra"));
  EXPECT_EQ(result, E_FAIL);
  // No entry, no library.
  EXPECT_FALSE(DLLRegister(result, GetLibraryPath()));
  EXPECT_EQ(result, CO_E_DLLNOTFOUND);
  EXPECT_EQ(GetLastError(), ENOSYS);
  EXPECT_FALSE(DLLRegister(result, "/nonexistent/libx.so"));
  EXPECT_EQ(result, HResultFromError(ENOENT));
  EXPECT_EQ(GetLastError(), ENOENT);

  // Registering and unregistering by file type: the greeter through its extension, then a
  // file type with a command.
  ASSERT_TRUE(FileRegister(result, File(ORVGUI_TEST_GREETER)));
  EXPECT_TRUE(fs::exists(ClassesRoot() / "Example.Greeter"));
  ASSERT_TRUE(FileUnRegister(result, File(ORVGUI_TEST_GREETER)));
  EXPECT_FALSE(fs::exists(ClassesRoot() / "Example.Greeter"));
  EXPECT_FALSE(fs::exists(ClassesRoot() / "CLSID" / "{8E2C1B7A-4F0D-4C36-9A51-2D7E3B9C6F10}"));

  const fs::path root = orvgui_test::PrivateRegistryRoot();
  const fs::path target = root / "it's a file.greet";
  std::ofstream(target) << "x";
  EXPECT_FALSE(FileRegister(result, File(target.c_str())));
  EXPECT_EQ(result, REGDB_E_CLASSNOTREG);
  fs::create_directories(ClassesRoot() / ".greet");
  std::ofstream(ClassesRoot() / ".greet" / "registry.default") << "GreetFile";
  fs::create_directories(ClassesRoot() / "GreetFile");
  std::ofstream(ClassesRoot() / "GreetFile" / "AutoRegister") << "cp %1 " << (root / "registered").string();
  std::ofstream(ClassesRoot() / "GreetFile" / "AutoUnRegister") << "exit 3";
  ASSERT_TRUE(FileRegister(result, File(target.c_str()))) << std::hex << result;
  EXPECT_EQ(ReadFile(root / "registered"), "x") << "the name with a quote and a blank reached the command whole";
  EXPECT_FALSE(FileUnRegister(result, File(target.c_str())));
  EXPECT_EQ(result, E_FAIL);

  // A registry text is imported; it cannot be unregistered.
  const fs::path text = root / "classes.reg";
  std::ofstream(text) << "Windows Registry Editor Version 5.00\r\n\r\n"
                         "[HKEY_CLASSES_ROOT\\Example.Text\\CLSID]\r\n"
                         "@=\"{11111111-2222-3333-4444-555555555505}\"\r\n";
  ASSERT_TRUE(FileRegister(result, File(text.c_str())));
  EXPECT_EQ(result, S_OK);
  GUID imported;
  ASSERT_EQ(CLSIDFromProgID("Example.Text", &imported), S_OK);
  EXPECT_TRUE(imported == kClassE);
  EXPECT_FALSE(FileRegister(result, File((root / "missing.reg").c_str())));
  EXPECT_EQ(result, HResultFromError(ENOENT));
  EXPECT_FALSE(FileUnRegister(result, File((root / "x.reg").c_str())));
  EXPECT_EQ(GetLastError(), ENOSYS);
}

TEST(Registration, TypeLibrariesAndClassKeys) {
  ASSERT_TRUE(TypeLibRegister(true, kClassA, "1.0", "/opt/app/app.tlb"));
  const fs::path key = ClassesRoot() / "TypeLib" / "{11111111-2222-3333-4444-555555555501}" / "1.0";
  EXPECT_EQ(ReadFile(key / "0" / "linux64" / "registry.default"), "/opt/app/app.tlb");
  EXPECT_FALSE(TypeLibRegister(true, kClassA, "1\\0", "/x"));
  EXPECT_FALSE(TypeLibRegister(true, kClassA, "", "/x"));
  ASSERT_TRUE(TypeLibRegister(false, kClassA, "1.0", ""));
  EXPECT_FALSE(fs::exists(key));

  // Removing a class leaves a ProgID that another class has taken over.
  ASSERT_TRUE(CoRegisterObject(true, kClassB, "/opt/b.so", "Example.Shared"));
  ASSERT_TRUE(CoRegisterObject(true, kClassC, "/opt/c.so", "Example.Shared"));
  ASSERT_TRUE(CoRegisterObject(false, kClassB, "", "Example.Shared"));
  EXPECT_FALSE(fs::exists(ClassesRoot() / "CLSID" / "{11111111-2222-3333-4444-555555555502}"));
  EXPECT_EQ(ReadFile(ClassesRoot() / "Example.Shared" / "CLSID" / "registry.default"),
            "{11111111-2222-3333-4444-555555555503}");
  EXPECT_FALSE(CoRegisterObject(true, kClassD, "", ""));
}

}  // namespace
