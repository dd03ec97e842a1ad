// Tests of trace lines as the hook sees them: prefixes, letters, splitting into lines and
// pieces, indentation, masks and stop counts, context buffers, the stack report, the trace file
// and standard error, and the caller's last error. Every test sets its thread's own format word,
// so nothing here touches the shared word or the trace pipe.
#include "trace/Trace.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "TestRegex.h"
#include "base/fs/File.h"

// Allocation counting for the no-allocation test: this program's malloc counts the calls of a
// thread that asks for it and hands every request to the C library's allocator. Not with the
// sanitizers, which bring their own allocator.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define ORVGUI_TEST_COUNTS_ALLOCATIONS 1
extern "C" void* __libc_malloc(size_t size);
static __thread bool t_countAllocations = false;
static __thread unsigned t_allocations = 0;
extern "C" void* malloc(size_t size) {
  if (t_countAllocations) ++t_allocations;
  return __libc_malloc(size);
}
#endif

namespace OrvGuiTrace {
namespace {

// The hook keeps the lines of the thread that runs the test and consumes them.
std::mutex g_linesLock;
std::vector<std::string> g_lines;
pthread_t g_capturingThread;
bool g_consume = true;

bool Capture(const char* line) {
  if (!pthread_equal(pthread_self(), g_capturingThread)) return false;
  std::lock_guard<std::mutex> hold(g_linesLock);
  g_lines.emplace_back(line);
  return g_consume;
}

class TraceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    g_lines.clear();
    g_consume = true;
    g_capturingThread = pthread_self();
    TraceSetMask(0xFFF);
    while (!TraceIsActive()) TraceContinue();
    TraceSetOutput(kTraceBare);
    TraceSetStrHandler(&Capture);
  }
  void TearDown() override {
    TraceSetStrHandler(nullptr);
    for (int i = 0; i < 64; ++i) TraceDecrementIndent();
  }
  std::vector<std::string> Lines(unsigned format, unsigned kind, unsigned bits, const char* file, unsigned line,
                                 const char* text) {
    g_lines.clear();
    TraceSetOutput(format);
    TraceStr(kind, bits, file, line, text);
    return g_lines;
  }
};

std::string Hex(uint64_t value) {
  char text[32];
  snprintf(text, sizeof text, "0x%llX", static_cast<unsigned long long>(value));
  return text;
}

std::string ProgramName() {
  char path[4096];
  const ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
  path[n > 0 ? n : 0] = 0;
  const std::string full = path;
  return full.substr(full.rfind('/') + 1);
}

TEST_F(TraceTest, PrefixFollowsTheFormatWord) {
  const std::string pid = Hex(static_cast<uint32_t>(getpid()));
  const std::string tid = Hex(static_cast<uint64_t>(pthread_self()));
  const passwd* user = getpwuid(geteuid());
  const std::string userName = user != nullptr ? user->pw_name : "???";
  struct Case {
    unsigned format;
    const char* file;
    unsigned line;
    std::string expected;
    const char* why;
  } cases[] = {
      {0xF000, "io", 5, "hi", "bare text: no letters, no separator"},
      {0xF001, "io", 5, "|" + pid + ": hi", "bare bits plus the process: separator again"},
      {0x1000, "io", 5, ": hi", "letters left out, separator kept"},
      {0, "io", 5, "TT: hi", "letters only"},
      {7, "io", 5, "TT|" + pid + "|" + tid + "|" + ProgramName() + ": hi", "the default word"},
      {0x60, "io", 5, "TT|io|....5: hi", "file and dot-padded line"},
      {0x60, "io", 12345, "TT|io|12345: hi", "five digits need no padding"},
      {0x60, "io", 123456, "TT|io|123456: hi", "longer numbers print in full"},
      {0x60, nullptr, 5, "TT||: hi", "without a file both bars stand alone"},
      {0x100, "io", 5, "TT|" + userName + ": hi", "the effective user"},
      {0x1022, "strtools", 9, "|" + tid + "|strtools: hi", "thread and file without letters"},
  };
  for (const Case& c : cases) {
    const std::vector<std::string> lines = Lines(c.format, kTraceTrace, 0x01, c.file, c.line, "hi");
    ASSERT_EQ(lines.size(), 1u) << c.why;
    EXPECT_EQ(lines[0], c.expected) << c.why;
  }
  const std::vector<std::string> depth = Lines(0x80, kTraceTrace, 0x01, nullptr, 0, "hi");
  ASSERT_EQ(depth.size(), 1u);
  EXPECT_TRUE(FullMatch(depth[0], "TT\\|[0-9]+: hi")) << depth[0];
}

TEST_F(TraceTest, KindAndMaskLetters) {
  struct Case {
    unsigned kind, bits;
    const char* letters;
  } cases[] = {
      {0x1000, 0x01, "EE"}, {0x2000, 0x02, "TX"}, {0x3000, 0x04, "FM"}, {0x4000, 0x08, "KS"},
      {0x5000, 0x10, "CA"}, {0x6000, 0x20, "IW"}, {0x7000, 0x01, "EE"},  // unknown kind: E
      {0x2000, 0x03, "TT"},  {0x2000, 0x00, "TT"}, {0x2000, 0x40, "TT"},  // other bits: the kind again
      {0x2001, 0x02, "EX"},
  };
  for (const Case& c : cases) {
    const std::vector<std::string> lines = Lines(0, c.kind, c.bits, nullptr, 0, "m");
    ASSERT_EQ(lines.size(), 1u) << c.letters;
    EXPECT_EQ(lines[0], std::string(c.letters) + ": m");
  }
}

TEST_F(TraceTest, TextSplitsIntoLinesAtEachKindOfBreak) {
  struct Case {
    const char* text;
    std::vector<std::string> expected;
    const char* why;
  } cases[] = {
      {"a\r\nb\rc\n", {"a", "b", "c"}, "CR LF, lone CR, final LF"},
      {"", {""}, "empty text: the prefix alone"},
      {"\n\n", {"", ""}, "two breaks, two empty lines"},
      {"a\n\nb", {"a", "", "b"}, "an empty line in the middle"},
      {"a\r", {"a"}, "a final CR adds no line"},
      {"\r\r\n", {"", ""}, "CR then CR LF"},
      {"\xC3\xA9\n\xE2\x82\xAC", {"\xC3\xA9", "\xE2\x82\xAC"}, "multi-byte characters"},
  };
  for (const Case& c : cases) {
    std::vector<std::string> expected;
    for (const std::string& line : c.expected) expected.push_back("TT: " + line);
    EXPECT_EQ(Lines(0, kTraceTrace, 1, nullptr, 0, c.text), expected) << c.why;
  }
}

bool IsCharacterStart(char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }

TEST_F(TraceTest, LongLinesGoOutInPiecesCutAtCharacterStarts) {
  std::string text;
  while (text.size() < 3000) text += "\xC3\xA9\xE2\x82\xAC" "a\xF0\x9F\x98\x80";  // 2, 3, 1, 4 bytes
  TraceIncrementIndent();
  TraceIncrementIndent();
  const std::string prefix = "TT|trace.cpp|...42: ";
  const std::vector<std::string> lines = Lines(0x60, kTraceTrace, 1, "trace.cpp", 42, text.c_str());
  ASSERT_GE(lines.size(), 3u);
  std::string joined;
  for (size_t i = 0; i < lines.size(); ++i) {
    const std::string& line = lines[i];
    EXPECT_LE(line.size(), 1024u);
    ASSERT_EQ(line.compare(0, prefix.size(), prefix), 0) << i;
    std::string body = line.substr(prefix.size());
    if (i == 0) {
      ASSERT_EQ(body.compare(0, 2, "  "), 0) << "the first piece is indented";
      body = body.substr(2);
    }
    ASSERT_FALSE(body.empty());
    EXPECT_TRUE(IsCharacterStart(body[0])) << "piece " << i << " starts inside a character";
    if (i + 1 < lines.size()) {
      EXPECT_GT(line.size(), 1024u - 4) << "a piece is filled up to a character start";
    }
    joined += body;
  }
  EXPECT_EQ(joined, text) << "pieces lose or add nothing, continuations carry no indentation";
}

TEST_F(TraceTest, IndentationNeedsItsReserveAndAHugePrefixWritesNothing) {
  for (int i = 0; i < 10; ++i) TraceIncrementIndent();
  const std::string mid(1024 - 80 - 10 - 5, 'f');  // prefix "TT|" + file + ": " leaves exactly the reserve
  std::vector<std::string> lines = Lines(0x20, kTraceTrace, 1, mid.c_str(), 0, "x");
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0], "TT|" + mid + ": " + std::string(10, ' ') + "x") << "indent + prefix + 80 == 1024 still indents";
  const std::string longer = mid + "f";
  lines = Lines(0x20, kTraceTrace, 1, longer.c_str(), 0, "x");
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0], "TT|" + longer + ": x") << "one byte more and the indentation is dropped";
  const std::string huge(1019, 'f');  // "TT|" + 1019 + ": " = 1024 bytes of prefix
  EXPECT_TRUE(Lines(0x20, kTraceTrace, 1, huge.c_str(), 0, "x").empty());
  const std::string fits(1018, 'f');
  lines = Lines(0x20, kTraceTrace, 1, fits.c_str(), 0, "xy");
  ASSERT_EQ(lines.size(), 2u) << "one byte of room: one piece per character";
  EXPECT_EQ(lines[1], "TT|" + fits + ": y");
}

TEST_F(TraceTest, MasksAndStopCountsFilter) {
  struct Case {
    unsigned mask, bits;
    bool written;
  } cases[] = {
      {0xFFF, 0x01, true}, {0xFFF, 0x20, true}, {0xFFF, 0x800, true}, {0xFFF, 0x1000, false},
      {0x04, 0x04, true},  {0x04, 0x06, false}, {0x00, 0x00, true},   {0x00, 0x01, false},
  };
  for (const Case& c : cases) {
    TraceSetMask(c.mask);
    EXPECT_EQ(Lines(0, kTraceTrace, c.bits, nullptr, 0, "m").size(), c.written ? 1u : 0u)
        << std::hex << c.mask << " " << c.bits;
  }
  TraceEnable(0x3000, false);
  EXPECT_EQ(TraceGetMask(), 0x3000u);
  TraceEnable(0x1, true);
  EXPECT_EQ(TraceGetMask(), 0x1u);
  TraceSetMask(0xFFF);
  TraceDisable(0x2, false);
  EXPECT_EQ(TraceGetMask(), 0xFFDu);
  TraceDisable(0x2, true);
  EXPECT_EQ(TraceGetMask(), ~0x2u);
  TraceSetMask(0xFFF);

  TraceStop();
  TraceStop();
  EXPECT_FALSE(TraceIsActive());
  EXPECT_TRUE(Lines(0, kTraceTrace, 1, nullptr, 0, "m").empty());
  TraceContinue();
  EXPECT_TRUE(Lines(0, kTraceTrace, 1, nullptr, 0, "m").empty()) << "stops nest";
  TraceContinue();
  EXPECT_EQ(Lines(0, kTraceTrace, 1, nullptr, 0, "m").size(), 1u);
  TraceContinue();  // one too many does not make the count wrap
  EXPECT_TRUE(TraceIsActive());
}

TEST_F(TraceTest, SettingsBelongToTheirThread) {
  TraceSetMask(0x1);
  TraceStop();
  unsigned otherMask = 0, otherFormat = 0;
  bool otherActive = false;
  std::thread other([&] {
    otherMask = TraceGetMask();
    otherActive = TraceIsActive();
    TraceSetOutput(0x20);
    otherFormat = TraceGetOutput();
  });
  other.join();
  EXPECT_EQ(otherMask, 0xFFFu);
  EXPECT_TRUE(otherActive);
  EXPECT_EQ(otherFormat, 0x20u);
  EXPECT_EQ(TraceGetOutput(), static_cast<unsigned>(kTraceBare));
  TraceContinue();
}

TEST_F(TraceTest, ContextBuffersNestFourDeep) {
  char* buffers[5];
  for (int i = 0; i < 4; ++i) buffers[i] = InitTraceContext("level %d of %s", i, "four");
  buffers[4] = InitTraceContext("one too many");
  for (int i = 0; i < 4; ++i) {
    ASSERT_NE(buffers[i], nullptr);
    EXPECT_EQ(std::string(buffers[i]), "level " + std::to_string(i) + " of four");
    for (int j = 0; j < i; ++j) EXPECT_NE(buffers[i], buffers[j]);
  }
  EXPECT_EQ(buffers[4], nullptr);
  EXPECT_EQ(InitTraceLine(), nullptr) << "the null call still counts";
  for (int i = 0; i < 6; ++i) FreeTraceContext();
  char* again = InitTraceLine();
  EXPECT_EQ(again, buffers[0]) << "after the frees the first buffer is reused";
  EXPECT_EQ(std::string(again), std::string(40, '='));
  char* wide = InitTraceContext(L"%s=%d \u00e9", "n", 7);
  ASSERT_NE(wide, nullptr);
  EXPECT_EQ(std::string(wide), "n=7 \xC3\xA9") << "wide format, narrow arguments";
  const std::string big(2000, 'z');
  char* clipped = InitTraceContext("%s", big.c_str());
  ASSERT_NE(clipped, nullptr);
  EXPECT_EQ(std::string(clipped), std::string(1023, 'z'));
  for (int i = 0; i < 3; ++i) FreeTraceContext();
}

#ifdef ORVGUI_TEST_COUNTS_ALLOCATIONS
unsigned g_counted = 0;
bool CountOnly(const char*) {
  ++g_counted;
  return true;
}

TEST_F(TraceTest, TheNormalPathAllocatesNothing) {
  TraceSetStrHandler(&CountOnly);
  TraceSetOutput(0x10E7);  // process, thread, module, file, line, stack depth, no letters
  std::string text(3000, 'w');
  text += "\r\nsecond\rthird\n";
  TraceStr(kTraceTrace, 1, "alloc", 12, text.c_str());  // the module name is built once, here
  g_counted = 0;
  t_allocations = 0;
  t_countAllocations = true;
  for (int i = 0; i < 10; ++i) {
    TraceStr(kTraceTrace, 1, "alloc", 12, text.c_str());
    TraceMsg(kTraceError, 0x20, nullptr, 0, "short");
    TraceStr(kTraceTrace, 0x4000, "alloc", 12, "masked out");
    (void)InitTraceContext("%d", i);
    FreeTraceContext();
  }
  t_countAllocations = false;
  EXPECT_EQ(g_counted, 10u * (3 + 3 + 1));
  EXPECT_EQ(t_allocations, 0u);
}
#endif

TEST(TraceGetStateTest, ReadsTheFirstThreeCharacters) {
  struct Case {
    const char* line;
    unsigned state;
  } cases[] = {
      {"EE|x", 0x1001}, {"TX x", 0x2002}, {"FM/x", 0x3004}, {"KS:x", 0x4008}, {"CA|", 0x5010},
      {"TW|", 0x2020},  {"CC|", 0x5001},  {"IE|x", 0x6001}, {"II|x", 0x6001}, {"TT-", 0x6001},
      {"TQ|", 0x6001},  {"T", 0x6001},    {"", 0x6001},     {"ee|", 0x6001},  {nullptr, 0x6001},
  };
  for (const Case& c : cases) EXPECT_EQ(TraceGetState(c.line), c.state) << (c.line ? c.line : "null");
}

TEST_F(TraceTest, EveryOperationKeepsTheLastError) {
  void (*operations[])() = {
      [] { TraceStr(kTraceError, 1, "f", 1, "a\nb"); },
      [] { TraceMsg(kTraceError, 0x4000, "f", 1, "masked"); },
      [] { TraceStack(kTraceError, 1, "f", 1, "s"); },
      [] { TraceCallStack(); },
      [] { TraceA("narrow"); },
      [] { TraceW(L"wide"); },
      [] { (void)InitTraceContext("%d", 1); FreeTraceContext(); },
      [] { (void)TraceGetOutput(); (void)TraceGetMask(); TraceStop(); TraceContinue(); },
      [] { TraceLastError(kTraceError, 1, "f", 1, "e"); },
  };
  for (auto operation : operations) {
    errno = 4321;
    operation();
    EXPECT_EQ(errno, 4321);
  }
}

TEST_F(TraceTest, LastErrorStackAndHostEntryPoints) {
  TraceSetOutput(0);
  errno = 2;
  TraceLastError(kTraceError, 1, nullptr, 0, "open settings");
  ASSERT_EQ(g_lines.size(), 1u);
  EXPECT_EQ(g_lines[0], "EE: open settings: No such file or directory (0x00000002/2)");

  g_lines.clear();
  TraceA("from a host");
  TraceW(L"wide \u20ac");
  ASSERT_EQ(g_lines.size(), 2u);
  EXPECT_EQ(g_lines[0], "EE: from a host");
  EXPECT_EQ(g_lines[1], "EE: wide \xE2\x82\xAC");
  EXPECT_NE(dlsym(RTLD_DEFAULT, "TraceA"), nullptr) << "exported under its plain name";
  EXPECT_NE(dlsym(RTLD_DEFAULT, "TraceW"), nullptr);

  g_lines.clear();
  TraceStack(kTraceTrace, 1, nullptr, 0, "here");
  ASSERT_EQ(g_lines.size(), 1u);
  EXPECT_TRUE(FullMatch(g_lines[0], "TT: here: STACK = 0x[0-9a-fA-F]+-0x[0-9a-fA-F]+ \\([0-9]+/[0-9]+\\)"))
      << g_lines[0];
  TraceSetMask(0x1);
  g_lines.clear();
  TraceStack(kTraceTrace, 2, nullptr, 0, "masked");
  EXPECT_TRUE(g_lines.empty());
}

// Recurses depth frames of about 1 KB each, then reports the stack.
__attribute__((noinline)) void DeepStack(int depth) {
  volatile char pad[1000];
  pad[0] = static_cast<char>(depth);
  if (depth > 0)
    DeepStack(depth - 1);
  else
    TraceStack(kTraceTrace, 1, nullptr, 0, "deep");
  (void)pad[0];
}

TEST_F(TraceTest, StackThresholdMovesPastTheMaximum) {
  uint64_t maximum = 0, threshold = 0;
  std::thread worker([&] {  // a fresh record: maximum 0, threshold 65,536
    TraceStack(kTraceTrace, 1, nullptr, 0, "base");  // the record's base is set near the top
    TraceGetStackFigures(maximum, threshold);
    EXPECT_EQ(threshold, 65536u);
    DeepStack(30);
    TraceGetStackFigures(maximum, threshold);
    EXPECT_GT(maximum, 30000u);
    EXPECT_EQ(threshold, 65536u) << "below the threshold nothing moves";
    DeepStack(90);
    TraceGetStackFigures(maximum, threshold);
  });
  worker.join();
  ASSERT_GT(maximum, 65536u);
  EXPECT_EQ(threshold, ((maximum + 1024) / 1024) * 1024 + 8192);
}

TEST_F(TraceTest, CallStackListsTheCallerFirst) {
  TraceSetOutput(0x60);
  g_lines.clear();
  TraceCallStack();
  ASSERT_GE(g_lines.size(), 3u);
  for (size_t i = 0; i < g_lines.size(); ++i) {
    char expected[64];
    snprintf(expected, sizeof expected, "EX|trace|.1345: [%02u] ", static_cast<unsigned>(i));
    EXPECT_EQ(g_lines[i].compare(0, strlen(expected), expected), 0) << g_lines[i];
  }
  EXPECT_NE(g_lines[0].find(ProgramName()), std::string::npos) << "frame 0 is the caller, not the library: " << g_lines[0];
}

TEST_F(TraceTest, TheHookCanPassLinesOn) {
  // A hook that returns false lets the line go on; the debugger destination writes nowhere.
  g_consume = false;
  TraceToDebugger();
  EXPECT_EQ(Lines(0, kTraceTrace, 1, nullptr, 0, "passed").size(), 1u);
  TraceToTracer();
  EXPECT_EQ(TraceGetDestination(), static_cast<unsigned>(kTraceToPipe));
}

TEST_F(TraceTest, TraceFileGetsTimeStampedLines) {
  char pattern[] = "/tmp/orvgui-trace-XXXXXX";
  ASSERT_NE(mkdtemp(pattern), nullptr);
  const std::string path = std::string(pattern) + "/trace.log";
  g_consume = false;
  TraceToFile(OrvGuiBase::File(path.c_str()));
  EXPECT_EQ(TraceGetDestination(), static_cast<unsigned>(kTraceToFile));
  TraceSetOutput(0);
  TraceStr(kTraceTrace, 1, nullptr, 0, "first\nsecond");
  TraceToFile(OrvGuiBase::File(path.c_str()));  // reopened: appends
  TraceStr(kTraceError, 1, nullptr, 0, "third");
  TraceToTracer();
  std::ifstream in(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  ASSERT_EQ(lines.size(), 3u);
  const char* texts[] = {"TT: first", "TT: second", "EE: third"};
  for (int i = 0; i < 3; ++i)
    EXPECT_TRUE(FullMatch(lines[i], "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}: " +
                                    std::string(texts[i])))
        << lines[i];
  unlink(path.c_str());
  rmdir(pattern);
}

TEST(TraceDeathTest, ConsoleLinesAndShutdown) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        TraceToConsole();
        TraceSetOutput(0x1000);
        TraceStr(kTraceTrace, 1, nullptr, 0, "to stderr");
        TraceShutdown();
        TraceStr(kTraceTrace, 1, nullptr, 0, "after shutdown");
        TraceSimple();
        TraceSimple("simple %d", 5);
        TraceSimple(L"wide %ls", L"\u00e9");
        _exit(0);
      },
      testing::ExitedWithCode(0),
      "^[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8}\\.[0-9]{3}: : to stderr\n={40}\nsimple 5\nwide \xC3\xA9\n$");
}

}  // namespace
}  // namespace OrvGuiTrace
