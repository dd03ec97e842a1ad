// Tests of the path helpers: roots, reductions, joins, splits, safe names and PATH lists.
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "base/core/LastError.h"
#include "base/fs/Directory.h"
#include "base/fs/Path.h"
#include "base/process/Environment.h"

namespace OrvGuiBase {
namespace {

std::string S(const AnsiStr& s) { return std::string(s.GetStr(), s.GetLength()); }

TEST(Path, SkipRootOfEveryShape) {
  struct Row {
    const char* path;
    const char* rest;  // what follows the root
    const char* why;
  } rows[] = {
      {"", "", "empty path, empty root"},
      {"/a", "a", "one slash"},
      {"\\a", "a", "one backslash"},
      {"/", "", "the root alone"},
      {"a/b", "a/b", "relative"},
      {"C:\\dir", "C:\\dir", "drive letters are not roots"},
      {"//srv/share/a", "a", "UNC with slashes"},
      {"\\\\srv\\share\\a\\b", "a\\b", "UNC with backslashes"},
      {"//srv/share", "", "UNC without a trailing separator"},
      {"//srv", "", "server only"},
      {"//srv/", "", "server and separator"},
      {"\\\\?\\UNC\\srv\\share\\a", "a", "long UNC form"},
      {"\\\\?\\unc\\srv\\share\\a", "a", "UNC compared without case"},
      {"//?/UNC/srv/share/x/y", "x/y", "long form with slashes"},
      {"\\\\?\\C:\\a", "\\?\\C:\\a", "a ? form that is not UNC: a root of one character"},
      {"\\\\?\\UNCX\\srv", "\\?\\UNCX\\srv", "UNC must be followed by a separator"},
      {"//s\xC3\xA9rv/sh\xE2\x82\xACre/f", "f", "UTF-8 in server and share"},
  };
  for (const Row& row : rows) {
    const char* rest = SkipRoot(row.path);
    EXPECT_STREQ(rest, row.rest) << row.why << ": " << row.path;
  }
  EXPECT_EQ(SkipRoot(nullptr), nullptr);
}

TEST(Path, ReduceAppendAndParts) {
  struct Reduce {
    const char* path;
    bool ok;
    const char* after;
  } reductions[] = {
      {"", false, ""},          {"/", false, "/"},         {"/a", true, "/"},
      {"/a/b", true, "/a"},     {"a", true, ""},           {"a\\b", true, "a"},
      {"//srv/share/", false, "//srv/share/"},             {"//srv/share/a", true, "//srv/share/"},
      {"//srv/share/a/b", true, "//srv/share/a"},
  };
  for (const Reduce& row : reductions) {
    AnsiStr path(row.path);
    EXPECT_EQ(SimpleReducePath(path), row.ok) << row.path;
    EXPECT_EQ(S(path), row.after) << row.path;
  }

  struct Append {
    const char* path;
    const char* component;
    bool ok;
    const char* after;
  } appends[] = {
      {"/a", "b", true, "/a/b"},   {"/a/", "b", true, "/a/b"}, {"/a\\", "b", true, "/a\\b"},
      {"/a", "/b", true, "/a/b"},  {"", "b", false, ""},       {"/a", "", false, "/a"},
      {"/", "b", true, "/b"},
  };
  for (const Append& row : appends) {
    AnsiStr path(row.path);
    EXPECT_EQ(SimpleAppendPath(path, row.component), row.ok) << row.path << " + " << row.component;
    EXPECT_EQ(S(path), row.after) << row.path << " + " << row.component;
  }

  struct Parts {
    const char* path;
    const char* directory;
    const char* tail;
    const char* base;
    const char* extension;
  } parts[] = {
      {"/a/b.txt", "/a", "b.txt", "b", "txt"},
      {"/b.txt", "/", "b.txt", "b", "txt"},
      {"b.txt", "", "b.txt", "b", "txt"},
      {"x\\y\\.profile", "x\\y", ".profile", ".profile", ""},
      {"/d/a.b.c", "/d", "a.b.c", "a.b", "c"},
      {"/d/noext", "/d", "noext", "noext", ""},
      {"/d/trail.", "/d", "trail.", "trail", ""},
      {"//srv/share/f.x", "//srv/share/", "f.x", "f", "x"},
      {"/dir.d/file", "/dir.d", "file", "file", ""},
      {"", "", "", "", ""},
  };
  for (const Parts& row : parts) {
    AnsiStr directory("junk"), tail("junk");
    EXPECT_EQ(GetPathParts(row.path, directory, tail), row.tail[0] != '\0') << row.path;
    EXPECT_EQ(S(directory), row.directory) << row.path;
    EXPECT_EQ(S(tail), row.tail) << row.path;
    EXPECT_EQ(S(GetPathHead(row.path)), row.directory) << row.path;
    EXPECT_EQ(S(GetPathBasename(row.path)), row.base) << row.path;
    EXPECT_EQ(S(GetPathExtension(row.path)), row.extension) << row.path;
  }

  // The outputs may be the input itself.
  AnsiStr same("/a/b.c");
  AnsiStr tail;
  GetPathParts(same, same, tail);
  EXPECT_EQ(S(same), "/a");
  EXPECT_EQ(S(tail), "b.c");
  AnsiStr base("x.y"), ext;
  SplitPathTail(base, base, ext);
  EXPECT_EQ(S(base), "x");
  EXPECT_EQ(S(ext), "y");

  EXPECT_EQ(S(SetPathExtension("/a/b.txt", "log")), "/a/b.log");
  EXPECT_EQ(S(SetPathExtension("/a.d/b", "log")), "/a.d/b.log");
  EXPECT_EQ(S(SetPathExtension("/a/b.txt", "")), "/a/b");
  EXPECT_EQ(S(SetPathExtension("/a/.rc", "bak")), "/a/.rc.bak");
}

TEST(Path, MakeBasenameAndCheckFileName) {
  struct Row {
    const char* text;
    const char* expected;
    const char* why;
  } rows[] = {
      {"COM1", "COM1_", "reserved device with a digit"},
      {"lpt9", "lpt9_", "reserved in lower case"},
      {"Nul", "Nul_", "any case"},
      {"con", "con_", "three-letter device"},
      {"com", "com", "com without a digit is free"},
      {"com10", "com10", "two digits are not a device"},
      {"a:b*c", "a-b-c", "forbidden characters become dashes"},
      {"?*<>|\":/\\", "---------", "all nine"},
      {"a\tb", "a$b", "a control character becomes a dollar"},
      {"  x y  ", "x y", "blanks around go"},
      {"caf\xC3\xA9", "caf\xC3\xA9", "UTF-8 stays"},
  };
  for (const Row& row : rows) EXPECT_EQ(S(MakeBasename(row.text)), row.expected) << row.why;

  struct Check {
    const char* name;
    unsigned max;
    bool ok;
    const char* why;
  } checks[] = {
      {"a", 255, true, "one character"},
      {"", 255, false, "empty"},
      {".", 255, false, "dot"},
      {"..", 255, false, "dot dot"},
      {"...", 255, true, "three dots is a name"},
      {"a\\b", 255, false, "backslash"},
      {"a/b", 255, false, "slash"},
      {"a\x1f", 255, false, "control character"},
      {"abcd", 5, true, "one below the limit"},
      {"abcde", 5, false, "reaching the limit fails"},
      {"\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9", 5, true, "counted by characters, not bytes"},
  };
  for (const Check& row : checks) EXPECT_EQ(CheckFileName(row.name, row.max), row.ok) << row.why;
}

TEST(Path, PathListsAndFindInPath) {
  const char* variable = "ORVGUI_TEST_PATHLIST";
  ASSERT_TRUE(SetEnv(variable, "/nonexistent/one:/bin:/usr/bin"));
  AnsiStr found = FindInPath("sh", variable);
  EXPECT_TRUE(S(found) == "/bin/sh" || S(found) == "/usr/bin/sh") << S(found);
  SetLastError(0);
  EXPECT_TRUE(FindInPath("no-such-program-here", variable).IsEmpty());
  EXPECT_EQ(GetLastError(), ENOENT);
  EXPECT_TRUE(FindInPath("bin", "ORVGUI_TEST_PATHLIST").IsEmpty()) << "directories are not files";

  ASSERT_TRUE(SetEnv(variable, "/a:/b"));
  EXPECT_TRUE(AddPath(Directory("/c"), variable));
  EXPECT_EQ(S(GetEnv(variable)), "/a:/b:/c");
  EXPECT_TRUE(AddPath(Directory("/a"), variable));
  EXPECT_EQ(S(GetEnv(variable)), "/a:/b:/c") << "already listed";
  EXPECT_TRUE(DelPath(Directory("/b"), variable));
  EXPECT_EQ(S(GetEnv(variable)), "/a:/c");
  EXPECT_TRUE(DelPath(Directory("/zzz"), variable));
  EXPECT_EQ(S(GetEnv(variable)), "/a:/c");
  ASSERT_TRUE(UnsetEnv(variable));
  EXPECT_TRUE(AddPath(Directory("/only"), variable));
  EXPECT_EQ(S(GetEnv(variable)), "/only");
  UnsetEnv(variable);
}

}  // namespace
}  // namespace OrvGuiBase
