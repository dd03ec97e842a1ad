// Tests of DiskFile, MemoryFile, the fast streams and the text streams on real files, FIFOs,
// /dev/full and a directory that the writing user may not write.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <functional>
#include <string>
#include <thread>

#include "base/core/LastError.h"
#include "base/fs/DiskFile.h"
#include "base/fs/FastStream.h"
#include "base/fs/Stream.h"
#include "tests/base/fs/FsTestDirectory.h"
#include "tests/helpers/EventLog.h"

namespace OrvGuiBase {
namespace {

std::string S(const AnsiStr& s) { return std::string(s.GetStr(), s.GetLength()); }

using StreamTest = FsTest;

TEST_F(StreamTest, DiskFileModes) {
  struct Row {
    DiskFile::Mode mode;
    bool exists;       // the file holds "abc" before the open
    int error;         // 0: the open succeeds
    long long size;    // the size after the open
    bool writable;
  } rows[] = {
      {DiskFile::kRead, true, 0, 3, false},        {DiskFile::kRead, false, ENOENT, 0, false},
      {DiskFile::kReadShared, true, 0, 3, false},  {DiskFile::kCreate, true, 0, 0, true},
      {DiskFile::kCreate, false, 0, 0, true},      {DiskFile::kOpenAlways, true, 0, 3, true},
      {DiskFile::kOpenAlways, false, 0, 0, true},  {DiskFile::kCreateTemp, true, 0, 0, true},
      {DiskFile::kReadOnly, true, 0, 3, false},    {DiskFile::kUpdate, true, 0, 3, true},
      {DiskFile::kUpdate, false, ENOENT, 0, false}, {DiskFile::kReadDirect, true, 0, 3, false},
      {DiskFile::kCreateNew, true, EEXIST, 0, false}, {DiskFile::kCreateNew, false, 0, 0, true},
      {DiskFile::kUpdateShared, true, 0, 3, true}, {static_cast<DiskFile::Mode>(77), true, 0, 3, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "mode " << row.mode << (row.exists ? " existing" : " missing"));
    ::unlink(P("f").c_str());
    if (row.exists) Write("f", "abc");
    DiskFile file;
    SetLastError(0);
    ASSERT_EQ(file.Open(File(P("f")), row.mode), row.error == 0);
    if (row.error != 0) {
      EXPECT_EQ(GetLastError(), row.error);
      continue;
    }
    EXPECT_EQ(file.GetSize(), row.size);
    EXPECT_EQ(file.Write("z", 1), row.writable);
    if (!row.writable) {
      EXPECT_EQ(GetLastError(), EBADF);
    }
    EXPECT_TRUE(file.Close());
  }
  // Extra flags are added: O_APPEND writes at the end whatever the position.
  Write("f", "abc");
  DiskFile file;
  ASSERT_TRUE(file.Open(File(P("f")), DiskFile::kUpdate, O_APPEND));
  ASSERT_TRUE(file.Write("de", 2));
  EXPECT_EQ(Read("f"), "abcde");
  // Created files get 0777 before the umask.
  const mode_t mask = ::umask(022);
  ASSERT_TRUE(file.Create(File(P("new"))));
  ::umask(mask);
  struct stat status;
  ASSERT_EQ(::stat(P("new").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0755u);
}

TEST_F(StreamTest, DiskFilePositionsAndSizes) {
  DiskFile file;
  ASSERT_TRUE(file.Create(File(P("d")), 10));
  EXPECT_EQ(file.GetSize(), 10);
  EXPECT_EQ(file.GetPos(), 0);
  ASSERT_TRUE(file.Write("0123456789", 10));
  ASSERT_TRUE(file.Unread(4));
  char buffer[16] = {};
  unsigned got = 0;
  ASSERT_TRUE(file.Read(buffer, sizeof buffer, got));
  EXPECT_EQ(std::string(buffer, got), "6789");
  ASSERT_TRUE(file.Read(buffer, sizeof buffer, got));
  EXPECT_EQ(got, 0u) << "the end reads nothing and is no failure";
  ASSERT_TRUE(file.Reset(2));
  ASSERT_TRUE(file.Skip(3));
  EXPECT_FALSE(file.Read(buffer, 6)) << "only five bytes are left";
  EXPECT_EQ(GetLastError(), ENODATA);
  ASSERT_TRUE(file.Reset());
  ASSERT_TRUE(file.Read(buffer, 4));
  EXPECT_EQ(std::string(buffer, 4), "0123");
  EXPECT_FALSE(file.Unread(100));
  EXPECT_EQ(GetLastError(), EINVAL);

  // Init: the file becomes position + size long and the position moves there.
  SetLastError(0);
  EXPECT_FALSE(file.Init(-1, 5));
  EXPECT_EQ(GetLastError(), 22);
  EXPECT_EQ(file.GetSize(), 10) << "a refused Init changes nothing";
  ASSERT_TRUE(file.Init(4, 3));
  EXPECT_EQ(file.GetSize(), 7);
  EXPECT_EQ(file.GetPos(), 4);
  ASSERT_TRUE(file.Trunc(2));
  EXPECT_EQ(Read("d"), "01");
  EXPECT_TRUE(file.Flush());
  ASSERT_TRUE(file.Close());
  EXPECT_TRUE(file.Close()) << "closing twice is harmless";
  EXPECT_EQ(file.GetPos(), -1);
  EXPECT_EQ(GetLastError(), EBADF);

  // A device that takes nothing: ENOSPC; a zero-length write succeeds before touching it.
  ASSERT_TRUE(file.Open(File("/dev/full"), DiskFile::kUpdate));
  unsigned written = 99;
  EXPECT_TRUE(file.Write("x", 0, written));
  EXPECT_EQ(written, 0u);
  SetLastError(0);
  EXPECT_FALSE(file.Write("xyz", 3, written));
  EXPECT_EQ(GetLastError(), ENOSPC);
  EXPECT_EQ(written, 0u);
}

void IgnoreSignal(int) {}

// A read blocked on a FIFO is hit by signals whose handler does not restart system calls; the
// read must carry on and deliver the data written afterwards.
TEST_F(StreamTest, DiskFileReadsSurviveSignals) {
  ASSERT_EQ(::mkfifo(P("fifo").c_str(), 0600), 0);
  struct sigaction action {}, previous{};
  action.sa_handler = IgnoreSignal;  // no SA_RESTART: the read returns EINTR
  ASSERT_EQ(::sigaction(SIGUSR1, &action, &previous), 0);
  std::atomic<bool> reading{false};
  std::string got;
  bool ok = false;
  int error = 0;
  std::thread reader([&] {
    DiskFile file;
    if (!file.Open(File(P("fifo")))) return;
    char buffer[16];
    unsigned count = 0;
    reading = true;
    ok = file.Read(buffer, 5);
    error = GetLastError();
    count = ok ? 5 : 0;
    got.assign(buffer, count);
  });
  const int writer = ::open(P("fifo").c_str(), O_WRONLY);
  ASSERT_GE(writer, 0);
  while (!reading) std::this_thread::yield();
  for (int i = 0; i < 5; ++i) {
    ::usleep(2000);
    ::pthread_kill(reader.native_handle(), SIGUSR1);
  }
  ASSERT_EQ(::write(writer, "hel", 3), 3);
  ::usleep(2000);
  ::pthread_kill(reader.native_handle(), SIGUSR1);
  ASSERT_EQ(::write(writer, "lo", 2), 2);
  reader.join();
  ::close(writer);
  ::sigaction(SIGUSR1, &previous, nullptr);
  EXPECT_TRUE(ok) << "error " << error;
  EXPECT_EQ(got, "hello");
}

TEST_F(StreamTest, MemoryFileGrowthHeapAndMapped) {
  // A heap block: Extend by one byte grows the room by 512 KiB, content kept.
  MemoryFile heap;
  ASSERT_TRUE(heap.Create(File()));
  EXPECT_TRUE(heap.IsHeap());
  ASSERT_TRUE(heap.Init(0, 5));
  memcpy(heap.GetData(), "hello", 5);
  ASSERT_TRUE(heap.Extend(1, heap.GetLength()));
  EXPECT_EQ(heap.GetLength(), 5 + MemoryFile::kMinGrowth);
  EXPECT_EQ(heap.GetSize(), 5u);
  EXPECT_EQ(std::string(heap.GetData(), 5), "hello");
  ASSERT_TRUE(heap.Extend(MemoryFile::kMinGrowth + 10, 0));
  EXPECT_EQ(heap.GetLength(), MemoryFile::kMinGrowth + 10) << "amounts over the minimum are taken as they are";
  EXPECT_TRUE(heap.Extend(1, 0)) << "room that is there already";
  EXPECT_EQ(heap.GetLength(), MemoryFile::kMinGrowth + 10);
  EXPECT_TRUE(heap.SetSize(100));
  EXPECT_FALSE(heap.SetSize(heap.GetLength() + 1));
  EXPECT_EQ(GetLastError(), EINVAL);
  EXPECT_TRUE(heap.Close());

  // A file: growth extends the file under the map; Close cuts it back to the content.
  MemoryFile mapped;
  ASSERT_TRUE(mapped.Create(File(P("m")), 4));
  EXPECT_FALSE(mapped.IsHeap());
  memcpy(mapped.GetData(), "abcd", 4);
  ASSERT_TRUE(mapped.Extend(1, 4));
  EXPECT_EQ(mapped.GetLength(), 4 + MemoryFile::kMinGrowth);
  EXPECT_EQ(File(P("m")).GetSize(), static_cast<long long>(4 + MemoryFile::kMinGrowth));
  memcpy(mapped.GetData() + 4, "ef", 2);
  ASSERT_TRUE(mapped.SetSize(6));
  EXPECT_TRUE(mapped.Flush());
  ASSERT_TRUE(mapped.Close());
  EXPECT_EQ(Read("m"), "abcdef");

  // Reading maps the whole file; an empty file maps nothing and works.
  MemoryFile reader;
  ASSERT_TRUE(reader.Open(File(P("m")), MemoryFile::kReadPreload, 0));
  EXPECT_EQ(std::string(reader.GetData(), reader.GetSize()), "abcdef");
  EXPECT_FALSE(reader.IsWritable());
  Write("empty", "");
  ASSERT_TRUE(reader.Open(File(P("empty"))));
  EXPECT_EQ(reader.GetSize(), 0u);
  SetLastError(0);
  EXPECT_FALSE(reader.Open(File(P("missing"))));
  EXPECT_EQ(GetLastError(), ENOENT);
}

TEST_F(StreamTest, MemoryFileFailuresAreReported) {
  Write("ro", "data");
  EventLog log;
  struct Row {
    const char* what;
    std::function<bool()> fail;
    int error;
    std::vector<std::string> event;
  };
  MemoryFile file;
  const std::string ulong = std::to_string(ULONG_MAX);
  std::vector<Row> rows = {
      {"growing a read-only map", [&] { return file.Open(File(P("ro"))) && file.Extend(1, 4); }, EINVAL,
       {"ORVGUI/710/0/2", "Memory mapped file operation failed (create map)", "pos=4", "amount_bytes=524288", "error=22"}},
      {"an amount that overflows", [&] { return file.Create(File()) && file.Extend(2, ULONG_MAX); }, EINVAL,
       {"ORVGUI/710/0/2", "Memory mapped file operation failed (create map)", "pos=" + ulong, "amount_bytes=2", "error=22"}},
      {"mapping a directory", [&] { return file.Open(File(m_root.c_str())); }, ENODEV,
       {"ORVGUI/710/0/2", "Memory mapped file operation failed (create map)", "mode=0",
        "init=" + std::to_string(File(m_root.c_str()).GetSize()), "error=19"}},
      {"sizing a read-only file", [&] { return file.Open(File(P("ro"))) && file.Init(2, 8); }, EINVAL,
       {"ORVGUI/710/0/2", "Memory mapped file operation failed (create map)", "pos=2", "init=8", "error=22"}},
  };
#if !defined(__SANITIZE_ADDRESS__)
  // (The sanitizer's allocator ends the process on such a request instead of failing it.)
  rows.push_back({"a heap block larger than memory", [&] { return file.Create(File()) && file.Init(0, ULONG_MAX / 2); },
                  ENOMEM,
                  {"ORVGUI/712/0/2", "Memory mapped file operation failed (create temporary map)", "pos=0",
                   "init=" + std::to_string(ULONG_MAX / 2), "error=12"}});
#endif
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    const size_t before = log.Events().size();
    SetLastError(0);
    EXPECT_FALSE(row.fail());
    EXPECT_EQ(GetLastError(), row.error);
    const auto events = log.Events();
    ASSERT_EQ(events.size(), before + 1);
    EXPECT_EQ(events.back(), row.event);
    file.Close();
  }
  // A failed growth keeps the content readable.
  ASSERT_TRUE(file.Open(File(P("ro"))));
  EXPECT_FALSE(file.Extend(1, 4));
  EXPECT_EQ(std::string(file.GetData(), file.GetSize()), "data");
}

TEST_F(StreamTest, FastReadStreamLinesAndCharacters) {
  struct Row {
    std::string content;
    std::vector<std::string> lines;
    const char* why;
  } rows[] = {
      {"", {}, "an empty file has no line"},
      {"a", {"a"}, "a last line without a line feed"},
      {"a\n", {"a"}, "a line feed ends the last line"},
      {"a\r\nb\rc\n\nd\r", {"a", "b\rc", "", "d\r"}, "only a carriage return before a line feed goes"},
      {std::string("x\0y\n", 4), {std::string("x\0y", 3)}, "bytes pass as they are"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.why);
    Write("t", row.content);
    FastReadStream in(File(P("t")), kFastReadSequential);
    ASSERT_TRUE(in.IsOpen());
    std::vector<std::string> lines;
    for (AnsiStr line; in.ReadLn(line);) lines.push_back(S(line));
    EXPECT_EQ(lines, row.lines);
    EXPECT_EQ(GetLastError(), 0) << "the end is no error";
  }
  Write("t", "\xC3\xA9t\xE2\x82\xAC\xC3");
  FastReadStream in(File(P("t")), kFastReadPreload);
  AnsiChar c;
  ASSERT_TRUE(in.Read(c));
  EXPECT_STREQ(c.GetStr(), "\xC3\xA9");
  char byte = 0;
  ASSERT_TRUE(in.Read(byte));
  EXPECT_EQ(byte, 't');
  ASSERT_TRUE(in.Read(c));
  EXPECT_STREQ(c.GetStr(), "\xE2\x82\xAC");
  EXPECT_FALSE(in.Read(c)) << "a cut sequence";
  EXPECT_EQ(GetLastError(), EILSEQ);
  EXPECT_FALSE(in.Read(byte));
  ASSERT_TRUE(in.Open(kFastRead));
  AnsiStr rest;
  ASSERT_TRUE(in.Read(byte));
  ASSERT_TRUE(in.Read(rest));
  EXPECT_EQ(S(rest), "\xA9t\xE2\x82\xAC\xC3");
}

TEST_F(StreamTest, FastWriteStreamGrowsAppendsAndFailsOnce) {
  std::string expected;
  {
    FastWriteStream out(File(P("w")), false);
    ASSERT_TRUE(out.IsOpen());
    for (int i = 0; i < 100000; ++i) {
      out.PutFmt("%d:%I64d\n", i, int64_t{1} << 40);  // the library's formatter: I64
      expected += std::to_string(i) + ":1099511627776\n";
    }
    EXPECT_GT(out.GetLength(), MemoryFile::kMinGrowth);
    EXPECT_TRUE(out.Write('!'));
    EXPECT_TRUE(out.Write("end", 3));
    ASSERT_TRUE(out.Close());
  }
  expected += "!end";
  EXPECT_EQ(Read("w"), expected);
  {
    FastWriteStream out(File(P("w")), true);
    EXPECT_TRUE(out.WriteFmt("+%s", "more"));
  }
  EXPECT_EQ(Read("w"), expected + "+more") << "append keeps the content; the destructor closes";
  {
    FastWriteStream out(File(P("w")), false);
    EXPECT_TRUE(out.Write("new"));
  }
  EXPECT_EQ(Read("w"), "new");

  FastWriteStream heap(File(), false);
  ASSERT_TRUE(heap.IsHeap());
  heap.Put("in memory");
  EXPECT_EQ(std::string(heap.GetData(), heap.GetSize()), "in memory");

  // /dev/full cannot be sized: the first growth fails, and so does everything after it.
  FastWriteStream full(File("/dev/full"), true);
  ASSERT_TRUE(full.IsOpen());
  EXPECT_FALSE(full.Write('x'));
  const int error = GetLastError();
  EXPECT_NE(error, 0);
  EXPECT_TRUE(full.IsFailed());
  SetLastError(0);
  EXPECT_FALSE(full.Write("y"));
  EXPECT_EQ(GetLastError(), error);
  EXPECT_EQ(full.GetSize(), 0u);
  EXPECT_FALSE(full.Close());
  EXPECT_EQ(GetLastError(), error);
}

// The test files of the text readers: content, and what each read mode finds.
struct TextCase {
  const char* name;
  std::string content;
  TextEncoding shallow, deep;  // the encoding found by modes 2 and 3
  std::string rawLine;        // the first line in modes 0 and 1 (bytes as they are)
  std::string line;           // the first line in modes 2 and 3
  std::string second;         // the second line in modes 2 and 3
};

std::vector<TextCase> TextCases() {
  return {
      {"plain", "ab\r\ncd", kEncodingPlain, kEncodingUTF8, "ab", "ab", "cd"},
      {"latin1", "\xE9t\xE9\n", kEncodingPlain, kEncodingPlain, "\xE9t\xE9", "\xE9t\xE9", ""},
      {"utf8 mark", "\xEF\xBB\xBF" "ab\ncd\n", kEncodingUTF8Mark, kEncodingUTF8Mark, "\xEF\xBB\xBF" "ab", "ab", "cd"},
      {"utf16le", std::string("\xFF\xFE" "a\0b\0\r\0\n\0c\0=\xD8\0\xDE", 16), kEncodingUTF16LE, kEncodingUTF16LE,
       std::string("\xFF\xFE" "a\0b\0\r\0", 8), "ab", "c\xF0\x9F\x98\x80"},
      {"utf16be", std::string("\xFE\xFF\0a\0b\0\n\0c", 10), kEncodingUTF16BE, kEncodingUTF16BE,
       std::string("\xFE\xFF\0a\0b\0", 7), "ab", "c"},
  };
}

TEST_F(StreamTest, ReadStreamFindsMarksInEveryMode) {
  for (const TextCase& text : TextCases()) {
    Write(text.name, text.content);
    for (ReadStreamMode mode : {kReadText, kReadBinary, kReadDetect, kReadDetectDeep}) {
      SCOPED_TRACE(testing::Message() << text.name << " in mode " << mode);
      ReadStream in(File(P(text.name)), mode);
      ASSERT_TRUE(in.IsOpen());
      const bool detects = mode == kReadDetect || mode == kReadDetectDeep;
      EXPECT_EQ(in.GetEncoding(), !detects ? kEncodingPlain : mode == kReadDetect ? text.shallow : text.deep);
      AnsiStr line;
      ASSERT_TRUE(in.ReadLn(line));
      EXPECT_EQ(S(line), detects ? text.line : text.rawLine);
      if (!detects) continue;
      if (text.second.empty()) {
        EXPECT_FALSE(in.ReadLn(line));
        continue;
      }
      ASSERT_TRUE(in.ReadLn(line));
      EXPECT_EQ(S(line), text.second);
      EXPECT_FALSE(in.ReadLn(line));
      EXPECT_EQ(GetLastError(), 0);
    }
  }
  SetLastError(0);
  ReadStream missing(File(P("missing")), kReadDetect);
  EXPECT_FALSE(missing.IsOpen());
  EXPECT_EQ(GetLastError(), ENOENT);
}

TEST_F(StreamTest, ReadStreamCharactersAndRest) {
  Write("t", "\xC3\xA9" "a\xFF" "bc");
  ReadStream in(File(P("t")), kReadBinary);
  AnsiChar c;
  ASSERT_TRUE(in.Read(c));
  EXPECT_STREQ(c.GetStr(), "\xC3\xA9");
  char byte = 0;
  ASSERT_TRUE(in.Read(byte));
  EXPECT_EQ(byte, 'a');
  EXPECT_FALSE(in.Read(c));
  EXPECT_EQ(GetLastError(), EILSEQ);
  AnsiStr rest;
  ASSERT_TRUE(in.Read(rest));
  EXPECT_EQ(S(rest), "bc");
  EXPECT_FALSE(in.Read(rest));

  Write("w", std::string("\xFF\xFE" "A\0\xE9\0\n\0", 8));
  ReadStream wide(File(P("w")), kReadDetect);
  ASSERT_TRUE(wide.Read(byte));
  EXPECT_EQ(byte, 'A');
  EXPECT_FALSE(wide.Read(byte)) << "not ASCII";
  EXPECT_EQ(GetLastError(), EILSEQ);
  ASSERT_TRUE(wide.Read(rest));
  EXPECT_EQ(S(rest), "\n");

  // A lone surrogate spoils its own line only; an odd last byte is dropped.
  Write("w", std::string("\xFE\xFF\xD8\x00\x00\n\x00o\x00k\x00", 11));
  ASSERT_TRUE(wide.Open(kReadDetectDeep));
  AnsiStr line;
  EXPECT_FALSE(wide.ReadLn(line));
  EXPECT_EQ(GetLastError(), EILSEQ);
  ASSERT_TRUE(wide.ReadLn(line));
  EXPECT_EQ(S(line), "ok");
  EXPECT_FALSE(wide.ReadLn(line));
  EXPECT_EQ(GetLastError(), 0);
}

TEST_F(StreamTest, WriteStreamMarksModesAndFormatting) {
  struct Row {
    TextEncoding encoding;
    std::string bytes;
  } rows[] = {
      {kEncodingUnknown, ""}, {kEncodingPlain, ""}, {kEncodingUTF8, ""},
      {kEncodingUTF8Mark, "\xEF\xBB\xBF"}, {kEncodingUTF16BE, "\xFE\xFF"}, {kEncodingUTF16LE, "\xFF\xFE"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.encoding);
    {
      WriteStream out(File(P("b")), kWriteBinary);
      EXPECT_TRUE(out.WriteBOM(row.encoding));
    }
    EXPECT_EQ(Read("b"), row.bytes);
  }
  {
    WriteStream out(File(P("b")), kWriteText);
    EXPECT_TRUE(out.Write('x'));
    EXPECT_TRUE(out.WriteFmt("%I64d|%5s|", int64_t{1} << 32, "ab"));
    EXPECT_TRUE(out.Write(AnsiStr("end")));
  }
  EXPECT_EQ(Read("b"), "x4294967296|   ab|end");
  for (WriteStreamMode mode : {kAppendText, kAppendBinary}) {
    WriteStream out(File(P("b")), mode);
    EXPECT_TRUE(out.Write("+"));
  }
  EXPECT_EQ(Read("b"), "x4294967296|   ab|end++");
  WriteStream closed(File(P("b")));
  SetLastError(0);
  EXPECT_FALSE(closed.WriteBOM(kEncodingUTF8Mark)) << "not open";
  EXPECT_EQ(GetLastError(), EBADF);
}

TEST_F(StreamTest, WriteErrorIsSticky) {
  // Small writes stay in the buffer: the failure shows when it is handed over.
  {
    WriteStream out(File("/dev/full"), kWriteBinary);
    ASSERT_TRUE(out.IsOpen());
    EXPECT_TRUE(out.Write("small"));
    SetLastError(0);
    EXPECT_FALSE(out.Close());
    EXPECT_EQ(GetLastError(), ENOSPC);
    EXPECT_EQ(out.GetError(), Stream::kWriteFailed);
  }
  WriteStream out(File("/dev/full"), kWriteText);
  const std::string big(1 << 20, 'x');
  SetLastError(0);
  EXPECT_FALSE(out.Write(big.data(), big.size()));
  EXPECT_EQ(GetLastError(), ENOSPC);
  EXPECT_EQ(out.GetError(), 4);
  SetLastError(0);
  EXPECT_FALSE(out.Write('y')) << "refused without trying";
  EXPECT_EQ(GetLastError(), ENOSPC);
  EXPECT_FALSE(out.WriteBOM(kEncodingUTF16LE));
  EXPECT_FALSE(out.WriteBOM(kEncodingPlain)) << "even the mark that writes nothing";
  EXPECT_FALSE(out.WriteFmt("%d", 1));
  ASSERT_TRUE(out.Open(kWriteText)) << "opening again starts clean";
  EXPECT_EQ(out.GetError(), 0);
}

// Run as an unprivileged user: the tests run as root, for whom permission bits stop nothing.
int ChecksInReadOnlyDirectory(const std::string& dir) {
  int failed = 0;
  WriteStream text(File((dir + "/text").c_str()), kWriteText);
  if (text.IsOpen() || GetLastError() != EACCES) failed |= 1;
  DiskFile disk;
  if (disk.Create(File((dir + "/disk").c_str())) || GetLastError() != EACCES) failed |= 2;
  MemoryFile memory;
  if (memory.Create(File((dir + "/memory").c_str()), 10) || GetLastError() != EACCES) failed |= 4;
  FastWriteStream fast(File((dir + "/fast").c_str()), false);
  if (fast.IsOpen() || fast.Write('x') || GetLastError() != EBADF) failed |= 8;
  ReadStream read(File((dir + "/present").c_str()), kReadDetect);
  if (!read.IsOpen()) failed |= 16;  // reading is allowed
  return failed;
}

TEST_F(StreamTest, ReadOnlyDirectoryRefusesNewFiles) {
  Write("ro/present", "");
  ASSERT_EQ(::mkdir(P("ro").c_str(), 0555) == 0 || errno == EEXIST, true);
  Write("ro/present", "x");
  ASSERT_EQ(::chmod(P("ro").c_str(), 0555), 0);
  ASSERT_EQ(::chmod(m_root.c_str(), 0755), 0);
  if (::geteuid() != 0) {
    EXPECT_EQ(ChecksInReadOnlyDirectory(P("ro")), 0);
    return;
  }
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    if (::setgid(65534) != 0 || ::setuid(65534) != 0) ::_exit(100);
    ::_exit(ChecksInReadOnlyDirectory(P("ro")));
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << "bit mask of the failed checks (100: no unprivileged user)";
}

}  // namespace
}  // namespace OrvGuiBase
