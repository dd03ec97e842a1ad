// Tests of File, Directory and DirectoryEntry on real files in a temporary directory.
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <atomic>
#include <string>
#include <thread>

#include "base/core/LastError.h"
#include "base/fs/File.h"
#include "tests/base/fs/FsTestDirectory.h"

namespace OrvGuiBase {
namespace {

std::string S(const AnsiStr& s) { return std::string(s.GetStr(), s.GetLength()); }

using FileTest = FsTest;

TEST_F(FileTest, CreateSizeAndRemove) {
  const File file(P("a.txt"));
  EXPECT_FALSE(file.Exists());
  ASSERT_TRUE(file.Create());
  EXPECT_TRUE(file.Exists());
  EXPECT_EQ(file.GetSize(), 0);
  Write("a.txt", "keep");
  EXPECT_TRUE(file.Create()) << "an existing file is fine";
  EXPECT_EQ(Read("a.txt"), "keep") << "and keeps its content";
  SetLastError(0);
  EXPECT_FALSE(file.Create(true));
  EXPECT_EQ(GetLastError(), EEXIST);
  EXPECT_TRUE(file.SetSize(100000));
  EXPECT_EQ(file.GetSize(), 100000);
  EXPECT_FALSE(file.SetSize(-1));
  EXPECT_EQ(GetLastError(), EINVAL);
  ASSERT_EQ(::chmod(P("a.txt").c_str(), 0), 0);
  EXPECT_TRUE(file.Remove(true));
  EXPECT_FALSE(file.Exists());
  SetLastError(0);
  EXPECT_FALSE(file.Remove());
  EXPECT_EQ(GetLastError(), ENOENT);
  EXPECT_EQ(file.GetSize(), -1);
  EXPECT_EQ(GetLastError(), ENOENT);

  // Names built from parts.
  const Directory dir(m_root.c_str());
  EXPECT_EQ(S(File(dir, "x.y").GetPath()), P("x.y"));
  EXPECT_EQ(S(File(File::kLog, dir, "com1").GetPath()), P("com1_.log"));
  EXPECT_EQ(S(File(File::kText, dir, "a:b", "csv").GetPath()), P("a-b.csv"));
  EXPECT_EQ(S(File::MakeTail("", "txt")), "file.txt");
  EXPECT_EQ(S(File::MakeTail("n", "")), "n");
}

struct Progress {
  long long total = -1;
  int calls = 0;
  long long cancelAt = -1;  // cancel once this many bytes are done
  long long lastDone = -1;
};

bool OnProgress(long long total, long long done, void* context) {
  auto* p = static_cast<Progress*>(context);
  p->total = total;
  p->lastDone = done;
  ++p->calls;
  return p->cancelAt >= 0 && done >= p->cancelAt;
}

TEST_F(FileTest, CopyWithProgressCancellationAndRefusals) {
  std::string content;
  for (int i = 0; content.size() < 200000; ++i) content += std::to_string(i) + ",";
  Write("src", content);
  const File source(P("src")), target(P("dst"));

  Progress all;
  ASSERT_TRUE(source.Copy(target, true, OnProgress, &all));
  EXPECT_EQ(Read("dst"), content);
  EXPECT_TRUE(File::IsEqualContent(source, target));
  EXPECT_EQ(all.total, static_cast<long long>(content.size()));
  EXPECT_EQ(all.calls, static_cast<int>(content.size() / 65536) + 2) << "before each block and at the end";

  // The fail-if-exists flag leaves the existing destination untouched.
  Write("dst", "existing");
  SetLastError(0);
  EXPECT_FALSE(source.Copy(target, true));
  EXPECT_EQ(GetLastError(), EEXIST);
  EXPECT_EQ(Read("dst"), "existing");
  EXPECT_TRUE(source.Copy(target, false));
  EXPECT_EQ(Read("dst"), content);

  // Cancelled after the first block: ECANCELED and one block written.
  Progress cancel;
  cancel.cancelAt = 65536;
  const File partial(P("partial"));
  SetLastError(0);
  EXPECT_FALSE(source.Copy(partial, false, OnProgress, &cancel));
  EXPECT_EQ(GetLastError(), ECANCELED);
  EXPECT_EQ(cancel.calls, 2);
  EXPECT_EQ(partial.GetSize(), 65536);
  EXPECT_FALSE(File::IsEqualContent(source, partial));
  EXPECT_EQ(GetLastError(), 0) << "different content is not an error";
  EXPECT_TRUE(File::IsEqualContent(source, partial, 65536)) << "the first block matches";

  // Cancelled before anything: an empty destination.
  Progress first;
  first.cancelAt = 0;
  EXPECT_FALSE(source.Copy(File(P("none")), false, OnProgress, &first));
  EXPECT_EQ(GetLastError(), ECANCELED);
  EXPECT_EQ(File(P("none")).GetSize(), 0);

  // A missing source creates nothing.
  EXPECT_FALSE(File(P("missing")).Copy(File(P("made")), false));
  EXPECT_EQ(GetLastError(), ENOENT);
  EXPECT_FALSE(File(P("made")).Exists());

  // An empty source still asks once.
  Write("empty", "");
  Progress empty;
  EXPECT_TRUE(File(P("empty")).Copy(File(P("empty2")), true, OnProgress, &empty));
  EXPECT_EQ(empty.calls, 1);

  // A pseudo file whose size reads as zero still has its content copied, and a device that
  // takes nothing fails the copy with ENOSPC: neither end is a regular file here.
  ASSERT_TRUE(File("/proc/self/status").Copy(File(P("status")), false));
  EXPECT_GT(File(P("status")).GetSize(), 0);
  EXPECT_FALSE(File(P("src")).Copy(File("/dev/full"), false));
  EXPECT_EQ(GetLastError(), ENOSPC);
}

TEST_F(FileTest, FailuresWhereNothingMayBeWritten) {
  // Tests run as root, so permission bits do not stop anything: /proc refuses new files for
  // everybody, and writes into it fail whatever the user.
  Write("src", "data");
  SetLastError(0);
  EXPECT_FALSE(File(P("src")).Copy(File("/proc/self/orvgui-copy"), false));
  EXPECT_NE(GetLastError(), 0);
  SetLastError(0);
  EXPECT_FALSE(File("/proc/self/orvgui-new").Create());
  EXPECT_NE(GetLastError(), 0);
  SetLastError(0);
  EXPECT_FALSE(Directory("/proc/self/orvgui-dir").Create());
  EXPECT_NE(GetLastError(), 0);
  File moved(P("src"));
  SetLastError(0);
  EXPECT_FALSE(moved.Move(File("/proc/self/orvgui-moved"), false));
  EXPECT_NE(GetLastError(), 0);
  EXPECT_EQ(S(moved.GetPath()), P("src")) << "a failed move keeps the old name";
  EXPECT_EQ(Read("src"), "data");

  if (::geteuid() != 0) {
    ASSERT_EQ(::mkdir(P("ro").c_str(), 0500), 0);
    EXPECT_FALSE(File(P("ro/x")).Create());
    EXPECT_EQ(GetLastError(), EACCES);
  }
}

TEST_F(FileTest, MoveWithAndWithoutReplace) {
  Write("a", "A");
  Write("b", "B");
  File a(P("a"));
  SetLastError(0);
  EXPECT_FALSE(a.Move(File(P("b")), true));
  EXPECT_EQ(GetLastError(), EEXIST);
  EXPECT_EQ(Read("a"), "A");
  EXPECT_EQ(Read("b"), "B");
  EXPECT_EQ(S(a.GetPath()), P("a"));

  EXPECT_TRUE(a.Move(File(P("c")), true));
  EXPECT_EQ(S(a.GetPath()), P("c"));
  EXPECT_EQ(Read("c"), "A");
  EXPECT_TRUE(a.Move(File(P("b")), false));
  EXPECT_EQ(Read("b"), "A");
  EXPECT_FALSE(File(P("c")).Exists());

  Directory d(P("d"));
  ASSERT_TRUE(d.Create());
  ASSERT_TRUE(Directory(P("e")).Create());
  Write("e/inside", "x");
  EXPECT_FALSE(d.Move(Directory(P("e")), true));
  EXPECT_EQ(GetLastError(), EEXIST);
  EXPECT_TRUE(d.Move(Directory(P("f")), true));
  EXPECT_TRUE(Directory(P("f")).Exists());
}

AnsiStr Numbered(unsigned attempt) {
  char text[16];
  std::snprintf(text, sizeof text, "n%u", attempt);
  return AnsiStr(text);
}

bool NotN1(const AnsiStr& path, void*) { return !S(path).ends_with("/n1"); }

TEST_F(FileTest, UniqueNames) {
  const Directory dir(m_root.c_str());
  Write("n0", "0");
  File made;
  ASSERT_TRUE(made.CreateUnique(dir, Numbered));
  EXPECT_EQ(S(made.GetPath()), P("n1"));
  File other;
  ASSERT_TRUE(other.CreateUnique(dir, Numbered, NotN1));
  EXPECT_EQ(S(other.GetPath()), P("n2"));
  Write("mover", "m");
  File mover(P("mover"));
  ASSERT_TRUE(mover.MoveUnique(dir, Numbered));
  EXPECT_EQ(S(mover.GetPath()), P("n3"));
  EXPECT_EQ(Read("n0"), "0") << "nothing replaced";

  Directory sub(m_root.c_str());
  ASSERT_TRUE(sub.CreateUnique(Numbered));
  EXPECT_EQ(S(sub.GetPath()), P("n4"));
  EXPECT_TRUE(sub.ExistsAsDirectory());
  Directory free(m_root.c_str());
  ASSERT_TRUE(free.AppendUnique(Numbered));
  EXPECT_EQ(S(free.GetPath()), P("n5"));
  EXPECT_FALSE(free.Exists()) << "AppendUnique does not create";
}

TEST_F(FileTest, DirectoryCreateCopyAndRecursiveRemove) {
  Directory deep(P("a/b/c"));
  SetLastError(0);
  EXPECT_FALSE(deep.Create());
  EXPECT_EQ(GetLastError(), ENOENT);
  ASSERT_TRUE(deep.Create(true));
  EXPECT_TRUE(deep.Create(true)) << "existing is fine";
  EXPECT_FALSE(deep.Create(false, true));
  EXPECT_EQ(GetLastError(), EEXIST);
  Write("a/f1", "one");
  Write("a/b/.f2", "two");
  Write("a/b/c/f3", "three");
  ASSERT_EQ(::symlink(P("a/b").c_str(), P("a/link").c_str()), 0);
  Write("plain", "");
  EXPECT_FALSE(Directory(P("plain")).Create()) << "a file of that name";

  ASSERT_TRUE(Directory(P("a")).Copy(Directory(P("copy")), true));
  EXPECT_EQ(Read("copy/f1"), "one");
  EXPECT_EQ(Read("copy/b/.f2"), "two");
  EXPECT_EQ(Read("copy/b/c/f3"), "three");
  EXPECT_TRUE(Directory(P("copy/link")).ExistsAsSymLink()) << "a link to a directory stays a link";
  EXPECT_TRUE(File(P("copy/link/.f2")).Exists());

  Array<AnsiStr> names;
  ASSERT_TRUE(Directory(P("a/b")).GetContent(names));
  EXPECT_EQ(names.GetCount(), 2u);
  DirectoryEntry::Data data[4];
  unsigned count = 0;
  ASSERT_TRUE(Directory(P("a")).GetContent(data, 4, count));
  EXPECT_EQ(count, 3u);
  int dirs = 0, links = 0;
  for (unsigned i = 0; i < count; ++i) dirs += data[i].isDirectory, links += data[i].isSymLink;
  EXPECT_EQ(dirs, 2) << "b and the link to it";
  EXPECT_EQ(links, 1);
  EXPECT_FALSE(Directory(P("a")).GetContent(data, 2, count));
  EXPECT_EQ(GetLastError(), ENOBUFS);

  ASSERT_EQ(::chmod(P("a/b/c").c_str(), 0), 0);
  ASSERT_EQ(::chmod(P("a/b/c/f3").c_str(), 0), 0);
  SetLastError(0);
  EXPECT_FALSE(Directory(P("a")).Remove()) << "not empty";
  EXPECT_EQ(GetLastError(), ENOTEMPTY);
  Write("outside", "");
  ASSERT_TRUE(Directory(P("kept")).Create());
  Write("kept/file", "stays");
  ASSERT_EQ(::symlink(P("kept").c_str(), P("a/b/out").c_str()), 0);
  EXPECT_TRUE(Directory(P("a")).Remove(true, true));
  EXPECT_FALSE(Directory(P("a")).Exists());
  EXPECT_EQ(Read("kept/file"), "stays") << "a link to a directory is removed, not followed";
  EXPECT_TRUE(Directory(P("a")).Remove(true, true) == false && GetLastError() == ENOENT);
}

TEST_F(FileTest, TimeStampsAttributesAndIdentity) {
  Write("t", "x");
  const File file(P("t"));
  const timespec when{1000000000, 123456789};
  ASSERT_TRUE(file.SetModificationTime(when));
  timespec got{};
  ASSERT_TRUE(file.GetModificationTime(got));
  EXPECT_EQ(got.tv_sec, when.tv_sec);
  EXPECT_EQ(got.tv_nsec, when.tv_nsec);
  const timespec accessed{1200000000, 0};
  ASSERT_TRUE(file.SetAccessTime(accessed));
  ASSERT_TRUE(file.GetTimeStamps(nullptr, &got, nullptr));
  EXPECT_EQ(got.tv_sec, when.tv_sec) << "setting the access time leaves the modification time";
  ASSERT_TRUE(file.GetAccessTime(got));
  EXPECT_EQ(got.tv_sec, accessed.tv_sec);
  EXPECT_TRUE(file.GetCreationTime(got));
  EXPECT_FALSE(File(P("missing")).GetModificationTime(got));
  EXPECT_EQ(GetLastError(), ENOENT);

  unsigned long long device = 0, index = 0, links = 0;
  ASSERT_TRUE(file.CreateHardLink(File(P("hard"))));
  ASSERT_TRUE(File(P("hard")).Identify(device, index, &links));
  EXPECT_EQ(links, 2u);
  EXPECT_EQ(index, file.GetIndexNumber());
  EXPECT_TRUE(file.IsEqual(File(P("hard"))));
  EXPECT_TRUE(file.IsEqual(File(P("./t"))));
  EXPECT_FALSE(file.IsEqual(File(P("missing"))));
  EXPECT_EQ(S(DirectoryEntry::IndexNumber2Str(0xABCull)), "0000000000000ABC");
  EXPECT_GT(file.GetTotalSpace(), 0);
  EXPECT_GT(file.GetTotalSpace(), file.GetAvailableSpace() - 1);

  Blob value;
  SetLastError(0);
  EXPECT_FALSE(file.GetExtendedAttribute("orvgui", value));
  const int missing = GetLastError();
  if (!file.SetExtendedAttribute("orvgui", Blob("v1\0z", 4))) {
    GTEST_SKIP() << "no user extended attributes on this file system (" << GetLastError() << ")";
  }
  EXPECT_EQ(missing, 61) << "ENODATA for a missing attribute";
  EXPECT_TRUE(file.HasExtendedAttribute("orvgui"));
  EXPECT_TRUE(file.HasExtendedAttribute("user.orvgui")) << "the namespace is implied";
  ASSERT_TRUE(file.GetExtendedAttribute("orvgui", value));
  EXPECT_EQ(value, Blob("v1\0z", 4));
  ASSERT_TRUE(file.SetExtendedAttribute("orvgui", Blob()));
  ASSERT_TRUE(file.GetExtendedAttribute("orvgui", value));
  EXPECT_TRUE(value.IsEmpty());
}

TEST_F(FileTest, DetectTextEncoding) {
  struct Row {
    std::string bytes;
    int plain;
    int deep;
    const char* why;
  } rows[] = {
      {"", 1, 2, "empty"},
      {"hello", 1, 2, "ASCII"},
      {"caf\xC3\xA9", 1, 2, "valid UTF-8 without a mark"},
      {"\xEF\xBB\xBFx", 3, 3, "UTF-8 mark"},
      {"\xEF\xBB\xBF", 3, 3, "UTF-8 mark alone"},
      {"\xEF\xBB", 1, 1, "half a mark is not valid text"},
      {std::string("\xFE\xFF\0A", 4), 4, 4, "UTF-16 big endian"},
      {std::string("\xFF\xFE\x41\0", 4), 5, 5, "UTF-16 little endian"},
      {"\xC3\x28", 1, 1, "invalid sequence"},
      {"\xC0\xAF", 1, 1, "overlong"},
      {std::string(70000, 'a') + "\xFF", 1, 1, "invalid at the very end"},
  };
  int n = 0;
  for (const Row& row : rows) {
    const std::string tail = "enc" + std::to_string(n++);
    Write(tail, row.bytes);
    EXPECT_EQ(File(P(tail)).DetectTextEncoding(false), row.plain) << row.why;
    EXPECT_EQ(File(P(tail)).DetectTextEncoding(true), row.deep) << row.why;
  }
  EXPECT_EQ(File(P("missing")).DetectTextEncoding(true), 0);
  ASSERT_TRUE(Directory(P("dir")).Create());
  EXPECT_EQ(File(P("dir")).DetectTextEncoding(true), 0) << "a directory is not a readable file";
}

TEST_F(FileTest, DetectTextEncodingSurvivesAFileCutWhileMapped) {
  // Another thread cuts the file and makes it again while it is scanned: a read of a vanished
  // page faults, and the scan must answer "not valid" (1) instead of crashing.
  const std::string content(4 << 20, 'a');
  Write("shrinking", content);
  std::atomic<bool> stop{false};
  std::thread cutter([&] {
    while (!stop.load()) {
      (void)::truncate(P("shrinking").c_str(), 0);
      (void)::truncate(P("shrinking").c_str(), static_cast<off_t>(content.size()));
    }
  });
  int seen[3] = {0, 0, 0};
  for (int i = 0; i < 200; ++i) {
    const int result = File(P("shrinking")).DetectTextEncoding(true);
    ASSERT_TRUE(result == 1 || result == 2) << result;
    ++seen[result];
  }
  stop = true;
  cutter.join();
  // Zero bytes are valid UTF-8, so a fault is the only way to a 1 here.
  RecordProperty("faults", seen[1]);
}

TEST_F(FileTest, WellKnownDirectoriesAndFixedAnswers) {
  const passwd* user = ::getpwuid(::geteuid());
  ASSERT_NE(user, nullptr);
  EXPECT_EQ(S(Directory(Directory::kHome).GetPath()), user->pw_dir);
  EXPECT_EQ(S(Directory(Directory::kDownloads).GetPath()), std::string(user->pw_dir) + "/Downloads");
  char cwd[4096];
  ASSERT_NE(::getcwd(cwd, sizeof cwd), nullptr);
  EXPECT_EQ(S(Directory(Directory::kCurrent).GetPath()), cwd);
  EXPECT_FALSE(Directory(Directory::kTemp).IsEmpty());
  EXPECT_TRUE(Directory(Directory::kProgram).Exists());
  for (unsigned type : {0u, 21u, 28u, 1000u})
    EXPECT_TRUE(Directory(static_cast<Directory::DirectoryType>(type)).IsEmpty()) << type;

  Write("f.txt", "x");
  const File file(P("f.txt"));
  struct Change {
    bool (*call)(const File&);
    const char* name;
  } changes[] = {
      {[](const File& f) { return f.SetHidden(true); }, "SetHidden"},
      {[](const File& f) { return f.SetSystem(true); }, "SetSystem"},
      {[](const File& f) { return f.SetArchive(true); }, "SetArchive"},
      {[](const File& f) { return f.Encrypt(); }, "Encrypt"},
      {[](const File& f) { return f.ResetAccess(); }, "ResetAccess"},
      {[](const File& f) { return f.SetCreationTime(timespec{1, 0}); }, "SetCreationTime"},
      {[](const File& f) { AnsiStr s; return f.GetShortNameInfo(s); }, "GetShortNameInfo"},
  };
  for (const Change& change : changes) {
    SetLastError(0);
    EXPECT_FALSE(change.call(file)) << change.name;
    EXPECT_EQ(GetLastError(), 95) << change.name;
  }
  EXPECT_FALSE(file.IsSystem());
  EXPECT_FALSE(file.IsEncrypted());
  EXPECT_TRUE(file.GetVersion().IsEmpty());
  EXPECT_EQ(S(file.GetShortName()), "f.txt");
  EXPECT_FALSE(file.IsHidden());
  EXPECT_TRUE(File(P(".rc")).IsHidden());
  EXPECT_TRUE(file.IsReadable());
  ASSERT_TRUE(file.SetAccess(6, 4, 0));
  struct stat status;
  ASSERT_EQ(::stat(P("f.txt").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640u);
  EXPECT_FALSE(file.IsExecutable());
  EXPECT_TRUE(File::CheckPathRoot("/x"));
  EXPECT_FALSE(File::CheckPathRoot("x"));
  EXPECT_EQ(S(File("//srv/share/f").GetPathRoot()), "//srv/share/");
  EXPECT_EQ(S(File(P("./f.txt")).GetCanonicalName()), S(File(P("f.txt")).GetCanonicalName()));
  EXPECT_FALSE(File::CheckName(std::string(255, 'a').c_str()));
  EXPECT_TRUE(File::CheckName(std::string(254, 'a').c_str()));

  DirectoryWatcher watcher;
  for (int i = 0; i < 2; ++i) {
    SetLastError(0);
    EXPECT_FALSE(watcher.Init(Directory(m_root.c_str())));
    EXPECT_EQ(GetLastError(), 38);
  }
  watcher.Exit();
}

TEST_F(FileTest, TempFileRemovesItsFile) {
  std::string path;
  {
    TempFile temp;
    ASSERT_TRUE(temp.Create(Directory(m_root.c_str()), "orv"));
    path = S(temp.GetPath());
    EXPECT_TRUE(File(temp.GetPath()).Exists());
    EXPECT_EQ(path.rfind(m_root + "/orv", 0), 0u);
  }
  EXPECT_FALSE(File(path.c_str()).Exists());
  TempFile gone(P("never-made"));
  SetLastError(0);
  EXPECT_FALSE(gone.Cleanup());
  EXPECT_EQ(GetLastError(), ENOENT);
  EXPECT_TRUE(gone.IsEmpty()) << "the name is forgotten either way";
  EXPECT_TRUE(gone.Cleanup());
}

}  // namespace
}  // namespace OrvGuiBase
