// Tests of FileIterator and DirectoryIterator: patterns, dot files, the type filter with its
// stat fallback, sorting, navigation and copies.
#include <gtest/gtest.h>
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "base/core/LastError.h"
#include "base/fs/FileIterator.h"
#include "telemetry/Telemetry.h"
#include "tests/base/fs/FsTestDirectory.h"

namespace OrvGuiBase {
namespace {

std::string S(const AnsiStr& s) { return std::string(s.GetStr(), s.GetLength()); }

class FileIteratorTest : public FsTest {
 protected:
  void SetUp() override {
    FsTest::SetUp();
    for (const char* name : {"a.txt", "b.log", ".hidden", "c.TXT"}) Write(name, "x");
    ASSERT_EQ(::mkdir(P("d1").c_str(), 0755), 0);
    Write("d1/inner.txt", "x");
    ASSERT_EQ(::mkdir(P(".dotdir").c_str(), 0755), 0);
    ASSERT_EQ(::symlink(P("d1").c_str(), P("linkdir").c_str()), 0);
    ASSERT_EQ(::symlink(P("a.txt").c_str(), P("linkfile").c_str()), 0);
    ASSERT_EQ(::symlink(P("nowhere").c_str(), P("dangling").c_str()), 0);
    ASSERT_EQ(::mkfifo(P("fifo").c_str(), 0600), 0);
  }

  // Tails of every entry, in list order.
  template <class Iterator>
  std::vector<std::string> Tails(Iterator it) {
    std::vector<std::string> tails;
    for (; it; it.ToNext()) tails.push_back(S(GetPathTail(it.GetPath())));
    return tails;
  }
  template <class Iterator>
  std::set<std::string> Set(Iterator it) {
    auto tails = Tails(it);
    EXPECT_EQ(tails.size(), it.GetCount());
    return std::set<std::string>(tails.begin(), tails.end());
  }
  Directory Root() const { return Directory(m_root.c_str()); }
};

TEST_F(FileIteratorTest, PatternsDotFilesAndTypes) {
  using Names = std::set<std::string>;
  struct Row {
    const char* pattern;
    Names files;
    Names directories;
    const char* why;
  } rows[] = {
      {"*", {"a.txt", "b.log", ".hidden", "c.TXT", "linkdir", "linkfile", "dangling", "fifo"}, {"d1", ".dotdir"},
       "all, dot files included, never . or ..; the link to a directory is a file"},
      {"*.txt", {"a.txt"}, {}, "case-sensitive"},
      {"*.[tT][xX][tT]", {"a.txt", "c.TXT"}, {}, "bracket classes"},
      {"?.log", {"b.log"}, {}, "one character"},
      {".*", {".hidden"}, {".dotdir"}, "dot names"},
      {"link*", {"linkdir", "linkfile"}, {}, "links by name"},
      {"d1/*", {"inner.txt"}, {}, "a pattern with a directory"},
      {"nothing*", {}, {}, "no match"},
      {"[", {}, {}, "a broken class matches nothing"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(Set(FileIterator(Root(), row.pattern)), row.files) << row.why << ": " << row.pattern;
    EXPECT_EQ(Set(DirectoryIterator(Root(), row.pattern)), row.directories) << row.why << ": " << row.pattern;
  }
  EXPECT_EQ(Set(FileIterator(Root())), rows[0].files);
  EXPECT_TRUE(FileIterator(Root(), "a.txt").GetFile().Exists());
  EXPECT_TRUE(DirectoryIterator(Root(), "d1").GetDirectory().Exists());

  SetLastError(0);
  FileIterator missing(Directory(P("missing")));
  EXPECT_FALSE(missing);
  EXPECT_EQ(missing.GetCount(), 0u);
  EXPECT_EQ(GetLastError(), ENOENT) << "only the last error tells";
  SetLastError(0);
  FileIterator notDirectory(Directory(P("a.txt")));
  EXPECT_EQ(notDirectory.GetCount(), 0u);
  EXPECT_EQ(GetLastError(), ENOTDIR);
}

TEST_F(FileIteratorTest, TypeFilterAndItsStatFallback) {
  // With a known type the entry type decides; with DT_UNKNOWN stat follows the link. The two
  // disagree about links to directories on purpose.
  struct Row {
    unsigned char type;
    const char* tail;
    bool asFile;
    bool asDirectory;
    const char* why;
  } rows[] = {
      {DT_REG, "a.txt", true, false, "regular file"},
      {DT_DIR, "d1", false, true, "directory"},
      {DT_LNK, "linkdir", true, false, "known link to a directory: a file, not a directory"},
      {DT_LNK, "dangling", true, false, "known dangling link: still a file"},
      {DT_FIFO, "fifo", true, false, "FIFO"},
      {DT_CHR, "a.txt", false, false, "character devices are neither"},
      {DT_UNKNOWN, "a.txt", true, false, "stat: regular file"},
      {DT_UNKNOWN, "d1", false, true, "stat: directory"},
      {DT_UNKNOWN, "linkdir", false, true, "stat follows the link: a directory, not a file"},
      {DT_UNKNOWN, "linkfile", true, false, "stat follows the link to a file"},
      {DT_UNKNOWN, "fifo", true, false, "stat: FIFO"},
      {DT_UNKNOWN, "dangling", false, false, "a failed stat skips the entry"},
      {DT_UNKNOWN, "missing", false, false, "gone between readdir and stat"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(AcceptEntryType(row.type, P(row.tail).c_str(), false), row.asFile) << row.why;
    EXPECT_EQ(AcceptEntryType(row.type, P(row.tail).c_str(), true), row.asDirectory) << row.why;
  }
  EXPECT_FALSE(AcceptEntryType(DT_UNKNOWN, "/dev/null", false)) << "a character device by stat";
}

struct StatEvents {
  std::vector<std::pair<int, std::string>> seen;
};

void CollectStat(int module, int event, int value, const char* const* params, unsigned count, void* context) {
  if (module == APM_MODULE_ORVGUI && event == APM_EVENT_FILE_STAT && count == 1)
    static_cast<StatEvents*>(context)->seen.emplace_back(value, params[0]);
}

TEST_F(FileIteratorTest, UnknownTypeStatIsReportedToTelemetry) {
  StatEvents events;
  const APMEventSink previous = APMSetEventSink(CollectStat, &events);
  EXPECT_TRUE(AcceptEntryType(DT_REG, P("a.txt").c_str(), false));
  EXPECT_TRUE(events.seen.empty()) << "the module is off";
  APMSetModuleActive(APM_MODULE_ORVGUI, 1);
  EXPECT_TRUE(AcceptEntryType(DT_REG, P("a.txt").c_str(), false));
  EXPECT_TRUE(events.seen.empty()) << "a known type needs no stat";
  EXPECT_FALSE(AcceptEntryType(DT_UNKNOWN, P("missing").c_str(), false));
  APMSetModuleActive(APM_MODULE_ORVGUI, 0);
  APMSetEventSink(previous, nullptr);
  ASSERT_EQ(events.seen.size(), 2u);
  EXPECT_EQ(events.seen[0], std::make_pair(1, std::string(P("missing"))));
  EXPECT_EQ(events.seen[1], std::make_pair(2, std::string(P("missing"))));
}

TEST_F(FileIteratorTest, NavigationSortAndCopies) {
  FileIterator it(Root(), "*");
  const unsigned count = it.GetCount();
  ASSERT_EQ(count, 8u);
  it.Sort();
  std::vector<std::string> ascending = Tails(it);
  std::vector<std::string> expected = ascending;
  std::sort(expected.begin(), expected.end(), [](const std::string& a, const std::string& b) {
    return AnsiStr::Compare(a.c_str(), b.c_str(), true) < 0;
  });
  EXPECT_EQ(ascending, expected);
  EXPECT_EQ(ascending.front(), ".hidden");

  it.Sort(true);
  std::vector<std::string> descending = Tails(it);
  std::reverse(descending.begin(), descending.end());
  EXPECT_EQ(descending, ascending);

  // Backwards from the end gives the same entries in reverse.
  it.Sort();
  std::vector<std::string> backwards;
  for (bool on = it.ToLast(); on; on = it.ToPrev()) backwards.push_back(S(GetPathTail(it.GetPath())));
  std::reverse(backwards.begin(), backwards.end());
  EXPECT_EQ(backwards, ascending);
  EXPECT_FALSE(it) << "past the front";
  EXPECT_FALSE(it.ToNext()) << "no way on from nowhere";
  EXPECT_TRUE(it.ToFirst());

  // A copy has its own list and position.
  it.ToNext();
  FileIterator copy(it);
  EXPECT_EQ(S(copy.GetPath()), S(it.GetPath()));
  copy.Clear();
  EXPECT_FALSE(copy);
  EXPECT_EQ(copy.GetCount(), 0u);
  EXPECT_EQ(it.GetCount(), count);
  it.Reset();
  EXPECT_EQ(S(GetPathTail(it.GetPath())), ascending.front());
  copy = it;
  EXPECT_EQ(copy.GetCount(), count);
  FileIterator moved(static_cast<FileIterator&&>(copy));
  EXPECT_EQ(moved.GetCount(), count);

  // The paths are full paths below the directory.
  EXPECT_EQ(S(it.GetPath()).rfind(m_root + "/", 0), 0u);
}

TEST_F(FileIteratorTest, RelativeDirectory) {
  char cwd[4096];
  ASSERT_NE(::getcwd(cwd, sizeof cwd), nullptr);
  ASSERT_EQ(::chdir(m_root.c_str()), 0);
  FileIterator here(Directory(""), "*.txt");
  FileIterator dot(Directory("."), "*.txt");
  FileIterator bare(Directory(""), "d1/*");
  ASSERT_EQ(::chdir(cwd), 0);
  ASSERT_EQ(here.GetCount(), 1u);
  EXPECT_EQ(S(here.GetPath()), "a.txt");
  EXPECT_EQ(S(dot.GetPath()), "./a.txt");
  EXPECT_EQ(S(bare.GetPath()), "d1/inner.txt");
}

}  // namespace
}  // namespace OrvGuiBase
