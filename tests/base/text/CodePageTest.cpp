// Tests of MultiByteToWideChar and WideCharToMultiByte: every code page byte for byte against
// glibc iconv in both directions, the argument and error rules, lengths and measuring, inputs
// at the 2 GiB limits, and the converter cache at process exit.
#include <gtest/gtest.h>
#include <iconv.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "base/core/LastError.h"
#include "base/core/ParticleAllocator.h"
#include "base/text/CodePage.h"
#include "helpers/ProcessLimits.h"

namespace OrvGuiBase {
namespace {

constexpr int kUntouched = 4242;  // a last error no conversion sets

// Oracle: glibc's own conversion between two encodings, strict (no //IGNORE).
class Oracle {
 public:
  Oracle(const char* to, const char* from) : m_cd(iconv_open(to, from)) {
    EXPECT_NE(m_cd, reinterpret_cast<iconv_t>(-1)) << from << " -> " << to;
  }
  ~Oracle() { iconv_close(m_cd); }
  Oracle(const Oracle&) = delete;
  Oracle& operator=(const Oracle&) = delete;

  // Convert: what iconv makes of the input, or nothing when it refuses any part of it.
  std::optional<std::string> Convert(const void* data, size_t size) {
    std::string out(size * 8 + 16, '\0');
    char* in = static_cast<char*>(const_cast<void*>(data));
    char* at = out.data();
    size_t inLeft = size, outLeft = out.size();
    const size_t done = iconv(m_cd, &in, &inLeft, &at, &outLeft);
    iconv(m_cd, nullptr, nullptr, nullptr, nullptr);
    if (done == static_cast<size_t>(-1) || inLeft != 0) return std::nullopt;
    out.resize(out.size() - outLeft);
    return out;
  }

 private:
  iconv_t m_cd;
};

std::wstring WideOf(const std::string& bytes) {
  std::wstring wide(bytes.size() / sizeof(wchar_t), L'\0');
  memcpy(wide.data(), bytes.data(), wide.size() * sizeof(wchar_t));
  return wide;
}

// ToWide / ToBytes: our conversion of a whole buffer into a target of ample size; nothing
// when the call returns 0.
std::optional<std::wstring> ToWide(unsigned codePage, const std::string& bytes) {
  std::wstring wide(bytes.size() + 1, L'\0');
  const int n = MultiByteToWideChar(codePage, 0, bytes.data(), static_cast<int>(bytes.size()), wide.data(),
                                    static_cast<int>(wide.size()));
  if (n == 0) return std::nullopt;
  wide.resize(static_cast<size_t>(n));
  return wide;
}

std::optional<std::string> ToBytes(unsigned codePage, const std::wstring& wide) {
  std::string bytes(wide.size() * 4 + 1, '\0');
  const int n = WideCharToMultiByte(codePage, 0, wide.data(), static_cast<int>(wide.size()), bytes.data(),
                                    static_cast<int>(bytes.size()), nullptr, nullptr);
  if (n == 0) return std::nullopt;
  bytes.resize(static_cast<size_t>(n));
  return bytes;
}

// ---- Every code page against iconv ------------------------------------------------------------

struct Page {
  unsigned codePage;
  const char* iconvName;
};
const Page kPages[] = {
    {437, "CP437"},       {850, "CP850"},           {1252, "WINDOWS-1252"},    {10000, "MAC"},
    {28591, "ISO-8859-1"}, {28592, "ISO-8859-2"},   {28605, "ISO-8859-15"},
    {0, "WINDOWS-1252"},  {1, "CP850"},             {2, "MAC"},                {3, "WINDOWS-1252"},
};

TEST(CodePage, EverySingleBytePageDecodesAll256BytesAsIconvDoes) {
  for (const Page& page : kPages) {
    SCOPED_TRACE(testing::Message() << "code page " << page.codePage << " (" << page.iconvName << ")");
    Oracle oracle("WCHAR_T", page.iconvName);
    std::string mapped;  // every byte the page defines, 0x00 first: NULs are text here
    int undefined = 0;
    for (int b = 0; b < 256; ++b) {
      const char byte = static_cast<char>(b);
      const std::optional<std::string> expected = oracle.Convert(&byte, 1);
      wchar_t wide = L'?';
      SetLastError(kUntouched);
      const int n = MultiByteToWideChar(page.codePage, 0, &byte, 1, &wide, 1);
      if (expected) {
        mapped += byte;
        EXPECT_EQ(n, 1) << "byte " << b;
        EXPECT_EQ(wide, WideOf(*expected)[0]) << "byte " << b;
      } else {
        ++undefined;
        EXPECT_EQ(n, 0) << "byte " << b << " has no character: the call fails";
        EXPECT_EQ(GetLastError(), kUntouched) << "a failure inside iconv leaves the last error";
      }
    }
    EXPECT_EQ(undefined, page.codePage == 1252 || page.codePage == 0 || page.codePage == 3 ? 5 : 0)
        << "1252 leaves 81 8D 8F 90 9D undefined";
    const std::optional<std::wstring> whole = ToWide(page.codePage, mapped);
    ASSERT_TRUE(whole.has_value());
    EXPECT_EQ(*whole, WideOf(*oracle.Convert(mapped.data(), mapped.size()))) << "the whole page in one call";
    EXPECT_EQ(ToBytes(page.codePage, *whole), mapped) << "and back, byte for byte";
  }
}

TEST(CodePage, EverySingleBytePageEncodesEachWideCharacterAsIconvDoes) {
  std::vector<wchar_t> probes;
  for (wchar_t c = 0; c < 0x10000; ++c) probes.push_back(c);  // the BMP, surrogates included
  for (wchar_t c : {0x10000, 0x1F600, 0x10FFFF, 0x110000, 0x7FFFFFFF}) probes.push_back(c);
  for (const Page& page : kPages) {
    SCOPED_TRACE(testing::Message() << "code page " << page.codePage << " (" << page.iconvName << ")");
    Oracle oracle(page.iconvName, "WCHAR_T");
    int representable = 0;
    for (wchar_t c : probes) {
      const std::optional<std::string> expected = oracle.Convert(&c, sizeof c);
      char bytes[4] = {'?', '?', '?', '?'};
      SetLastError(kUntouched);
      const int n = WideCharToMultiByte(page.codePage, 0, &c, 1, bytes, sizeof bytes, nullptr, nullptr);
      if (expected) {
        ++representable;
        ASSERT_EQ(n, 1) << "U+" << std::hex << static_cast<uint32_t>(c);
        EXPECT_EQ(std::string(bytes, 1), *expected) << "U+" << std::hex << static_cast<uint32_t>(c);
      } else {
        ASSERT_EQ(n, 0) << "U+" << std::hex << static_cast<uint32_t>(c) << " cannot be represented";
        EXPECT_EQ(GetLastError(), kUntouched) << "U+" << std::hex << static_cast<uint32_t>(c);
      }
    }
    EXPECT_GE(representable, 251) << "a single-byte page represents at least its defined bytes";
  }
}

TEST(CodePage, Utf8AgreesWithIconvOnWellFormedTextAndDecodesLeniently) {
  std::wstring all;  // scalar values across every length boundary of UTF-8
  for (wchar_t c = 1; c <= 0x10FFFF; c += c < 0x1000 ? 1 : 97)
    if (c < 0xD800 || c > 0xDFFF) all += c;
  for (wchar_t c : {0x7F, 0x80, 0x7FF, 0x800, 0xD7FF, 0xE000, 0xFFFF, 0x10000, 0x10FFFF}) all += c;
  all += L'\0';
  all += L"tail";
  Oracle encode("UTF-8", "WCHAR_T");
  const std::optional<std::string> utf8 = encode.Convert(all.data(), all.size() * sizeof(wchar_t));
  ASSERT_TRUE(utf8.has_value());
  EXPECT_EQ(ToBytes(65001, all), *utf8);
  EXPECT_EQ(ToWide(65001, *utf8), all);

  struct Row {
    std::string bytes;
    std::optional<std::wstring> wide;  // nothing: EILSEQ
    const char* reason;
  };
  const Row rows[] = {
      {"\xED\xA0\x80", std::wstring(1, 0xD800), "an encoded surrogate decodes as it stands (iconv refuses)"},
      {std::string("\xC0\x80", 2), std::wstring(1, L'\0'), "an overlong NUL decodes too"},
      {"\x80", std::nullopt, "a continuation byte cannot lead"},
      {"\xE4\xB8", std::nullopt, "a sequence cut by the end of the input"},
      {"\xF4\x90\x80\x80", std::nullopt, "above U+10FFFF"},
      {"\xF8\x88\x80\x80\x80", std::nullopt, "a lead byte above F7"},
  };
  for (const Row& row : rows) {
    SetLastError(kUntouched);
    EXPECT_EQ(ToWide(65001, row.bytes), row.wide) << row.reason;
    if (!row.wide) {
      EXPECT_EQ(GetLastError(), EILSEQ) << row.reason << ": UTF-8 errors are the converter's own";
    }
  }
  SetLastError(kUntouched);
  EXPECT_EQ(ToBytes(65001, std::wstring(1, 0x110000)), std::nullopt);
  EXPECT_EQ(GetLastError(), EILSEQ) << "a wide value past U+10FFFF";
}

// ---- Opening descriptors ----------------------------------------------------------------------

std::vector<std::string> g_opened;  // "to <- from" of every open asked for
int g_refusals = 0;                 // how many opens to refuse before letting them through

void* RecordingOpener(const char* to, const char* from) {
  g_opened.push_back(std::string(to) + " <- " + from);
  if (g_refusals > 0) {
    --g_refusals;
    errno = EINVAL;
    return reinterpret_cast<void*>(-1);
  }
  return iconv_open(to, from);
}

TEST(CodePage, EachPageOpensItsIconvNamesOnceAndRetriesAFailedOpen) {
  struct Row {
    unsigned codePage;
    const char* toWide;
    const char* fromWide;
  };
  const Row rows[] = {
      {437, "WCHAR_T//IGNORE <- CP437", "CP437//IGNORE <- WCHAR_T"},
      {1, "WCHAR_T//IGNORE <- CP850", "CP850//IGNORE <- WCHAR_T"},
      {0, "WCHAR_T//IGNORE <- WINDOWS-1252", "WINDOWS-1252//IGNORE <- WCHAR_T"},
      {2, "WCHAR_T//IGNORE <- MAC", "MAC//IGNORE <- WCHAR_T"},
      {28591, "WCHAR_T//IGNORE <- ISO-8859-1", "ISO-8859-1//IGNORE <- WCHAR_T"},
      {28592, "WCHAR_T//IGNORE <- ISO-8859-2", "ISO-8859-2//IGNORE <- WCHAR_T"},
      {28605, "WCHAR_T//IGNORE <- ISO-8859-15", "ISO-8859-15//IGNORE <- WCHAR_T"},
  };
  const Internal::CodePageOpener previous = Internal::SetCodePageOpener(&RecordingOpener);
  std::thread([&] {  // a thread of its own starts with an empty cache
    for (const Row& row : rows) {
      SCOPED_TRACE(row.codePage);
      wchar_t wide[4];
      char bytes[4];
      g_opened.clear();
      g_refusals = 1;
      SetLastError(kUntouched);
      EXPECT_EQ(MultiByteToWideChar(row.codePage, 0, "abc", 3, wide, 4), 0) << "the open is refused";
      EXPECT_EQ(GetLastError(), ENOSYS);
      EXPECT_EQ(MultiByteToWideChar(row.codePage, 0, "abc", 3, wide, 4), 3) << "and retried by the next call";
      EXPECT_EQ(MultiByteToWideChar(row.codePage, 0, "abc", 3, wide, 4), 3);
      EXPECT_EQ(WideCharToMultiByte(row.codePage, 0, L"abc", 3, bytes, 4, nullptr, nullptr), 3);
      EXPECT_EQ(WideCharToMultiByte(row.codePage, 0, L"abc", 3, nullptr, 0, nullptr, nullptr), 3);
      EXPECT_EQ(g_opened, (std::vector<std::string>{row.toWide, row.toWide, row.fromWide}))
          << "two tries towards wide text, one back; later calls reuse the descriptors";
    }
    g_opened.clear();
    wchar_t wide[4];
    MultiByteToWideChar(1252, 0, "abc", 3, wide, 4);
    MultiByteToWideChar(3, 0, "abc", 3, wide, 4);
    MultiByteToWideChar(850, 0, "abc", 3, wide, 4);
    EXPECT_TRUE(g_opened.empty()) << "aliases share the slots of their code page";
  }).join();
  Internal::SetCodePageOpener(previous);
}

// ---- Arguments and errors ---------------------------------------------------------------------

TEST(CodePage, ArgumentsAndUnsupportedPagesFailWithTheirErrors) {
  wchar_t wide[8];
  char bytes[8];
  const char dflt[] = "?";
  int used = 0;
  struct Row {
    const char* reason;
    std::function<int()> call;
    int error;
  };
  auto mb = [&](unsigned cp, const char* s, int n, int target) {
    return [=, &wide] { return MultiByteToWideChar(cp, 0, s, n, wide, target); };
  };
  auto wc = [&](unsigned cp, const wchar_t* s, int n, int target, const char* d, int* u) {
    return [=, &bytes] { return WideCharToMultiByte(cp, 0, s, n, bytes, target, d, u); };
  };
  const Row rows[] = {
      {"null source", mb(1252, nullptr, 3, 8), EINVAL},
      {"source length 0", mb(1252, "abc", 0, 8), EINVAL},
      {"negative target length", mb(1252, "abc", 3, -1), EINVAL},
      {"a negative source length other than -1", mb(1252, "abc", -2, 8), EINVAL},
      {"65001 checks its arguments first", mb(65001, nullptr, -1, 8), EINVAL},
      {"65000 is not supported", mb(65000, "abc", 3, 8), ENOSYS},
      {"932 is not supported", mb(932, "abc", 3, 8), ENOSYS},
      {"4 is not an alias", mb(4, "abc", 3, 8), ENOSYS},
      {"1200 is not supported", mb(1200, "abc", 3, 8), ENOSYS},
      {"null wide source", wc(1252, nullptr, 3, 8, nullptr, nullptr), EINVAL},
      {"wide source length 0", wc(1252, L"abc", 0, 8, nullptr, nullptr), EINVAL},
      {"negative byte target length", wc(1252, L"abc", 3, -5, nullptr, nullptr), EINVAL},
      {"wide source length -3", wc(1252, L"abc", -3, 8, nullptr, nullptr), EINVAL},
      {"65001 with a default character", wc(65001, L"abc", 3, 8, dflt, nullptr), EINVAL},
      {"65001 with a used-default flag", wc(65001, L"abc", 3, 8, nullptr, &used), EINVAL},
      {"65000 with a default character", wc(65000, L"abc", 3, 8, dflt, nullptr), EINVAL},
      {"65000 without one is unsupported", wc(65000, L"abc", 3, 8, nullptr, nullptr), ENOSYS},
      {"1252 with a default character", wc(1252, L"abc", 3, 8, dflt, nullptr), ENOSYS},
      {"932 with a default character", wc(932, L"abc", 3, 8, dflt, &used), ENOSYS},
      {"932 is not supported", wc(932, L"abc", 3, 8, nullptr, nullptr), ENOSYS},
  };
  for (const Row& row : rows) {
    SetLastError(kUntouched);
    EXPECT_EQ(row.call(), 0) << row.reason;
    EXPECT_EQ(GetLastError(), row.error) << row.reason;
  }

  // The used-default flag of the iconv pages is always cleared: no replacement is ever used.
  for (const wchar_t* text : {L"abc", L"a\x4E00" L"c"}) {
    used = 7;
    WideCharToMultiByte(1252, 0, text, 3, bytes, 8, nullptr, &used);
    EXPECT_EQ(used, 0) << "cleared whether or not the text converts";
  }
  used = 7;
  WideCharToMultiByte(932, 0, L"abc", 3, bytes, 8, nullptr, &used);
  EXPECT_EQ(used, 0) << "cleared before the code page is looked at";
  EXPECT_EQ(MultiByteToWideChar(1252, 0xFFFFFFFFu, "ab", 2, wide, 8), 2) << "flags are ignored";
  EXPECT_EQ(WideCharToMultiByte(28591, 0xFFFFFFFFu, L"ab", 2, bytes, 8, nullptr, nullptr), 2) << "flags are ignored";
}

// ---- Lengths, measuring and targets -----------------------------------------------------------

TEST(CodePage, LengthsMeasuringAndTargetSizesOnEveryKindOfPage) {
  for (unsigned cp : {1252u, 0u, 437u, 28592u, 10000u, 65001u}) {
    SCOPED_TRACE(testing::Message() << "code page " << cp);
    const int tooSmallError = cp == 65001 ? ENOBUFS : kUntouched;  // iconv's failure leaves it
    wchar_t wide[8];
    std::fill(std::begin(wide), std::end(wide), L'#');
    EXPECT_EQ(MultiByteToWideChar(cp, 0, "abc", -1, wide, 8), 4) << "-1 converts and counts the NUL";
    EXPECT_EQ(std::wstring(wide, 5), std::wstring(L"abc\0#", 5));
    EXPECT_EQ(MultiByteToWideChar(cp, 0, "abc", -1, nullptr, 8), 4) << "a null target measures";
    wide[0] = L'#';
    EXPECT_EQ(MultiByteToWideChar(cp, 0, "abc", -1, wide, 0), 4) << "a target length of 0 measures";
    EXPECT_EQ(wide[0], L'#') << "measuring writes nothing";
    EXPECT_EQ(MultiByteToWideChar(cp, 0, "a\0b", 3, wide, 3), 3) << "an exact fit, NUL inside";
    EXPECT_EQ(std::wstring(wide, 3), std::wstring(L"a\0b", 3));
    SetLastError(kUntouched);
    EXPECT_EQ(MultiByteToWideChar(cp, 0, "abc", 3, wide, 2), 0) << "one unit short";
    EXPECT_EQ(GetLastError(), tooSmallError);
    EXPECT_EQ(MultiByteToWideChar(cp, 0, "xyz", 3, wide, 3), 3) << "the converter works on after a failure";
    EXPECT_EQ(std::wstring(wide, 3), L"xyz");

    char bytes[8];
    std::fill(std::begin(bytes), std::end(bytes), '#');
    const wchar_t eAcute[] = {0xE9, L'b', L'\0'};  // é exists in all of these pages
    const int eBytes = cp == 65001 ? 2 : 1;
    EXPECT_EQ(WideCharToMultiByte(cp, 0, eAcute, -1, bytes, 8, nullptr, nullptr), eBytes + 2);
    EXPECT_EQ(bytes[eBytes + 1], '\0') << "-1 converts the NUL";
    EXPECT_EQ(bytes[eBytes + 2], '#');
    EXPECT_EQ(WideCharToMultiByte(cp, 0, eAcute, -1, nullptr, 8, nullptr, nullptr), eBytes + 2) << "measures";
    bytes[0] = '#';
    EXPECT_EQ(WideCharToMultiByte(cp, 0, eAcute, 2, bytes, 0, nullptr, nullptr), eBytes + 1) << "measures";
    EXPECT_EQ(bytes[0], '#');
    SetLastError(kUntouched);
    EXPECT_EQ(WideCharToMultiByte(cp, 0, eAcute, 2, bytes, eBytes, nullptr, nullptr), 0) << "one byte short";
    EXPECT_EQ(GetLastError(), tooSmallError);
    EXPECT_EQ(WideCharToMultiByte(cp, 0, eAcute, 2, bytes, eBytes + 1, nullptr, nullptr), eBytes + 1) << "fits";

    // Measuring a long text: the scratch area is far beyond the largest particle.
    const std::string longText(100000, '\xE9');
    const std::optional<std::wstring> longWide = ToWide(cp == 65001 ? 1252 : cp, longText);
    ASSERT_TRUE(longWide.has_value());
    if (cp != 65001) {
      EXPECT_EQ(MultiByteToWideChar(cp, 0, longText.data(), 100000, nullptr, 0), 100000);
    }
    EXPECT_EQ(WideCharToMultiByte(cp, 0, longWide->data(), 100000, nullptr, 0, nullptr, nullptr), 100000 * eBytes);
  }
}

TEST(CodePage, MeasuringFailsLikeConvertingAndGivesItsScratchBack) {
  SetLastError(kUntouched);
  EXPECT_EQ(MultiByteToWideChar(1252, 0, "a\x81", 2, nullptr, 0), 0) << "an undefined byte fails when measuring too";
  EXPECT_EQ(GetLastError(), kUntouched);
  const wchar_t han[] = {L'a', 0x4E00};
  EXPECT_EQ(WideCharToMultiByte(28605, 0, han, 2, nullptr, 0, nullptr, nullptr), 0);
  EXPECT_EQ(GetLastError(), kUntouched);

  // A 20-byte text measures through an 80-byte particle of the thread's own list.
  const char text[] = "twenty bytes of text";
  const wchar_t wide[] = L"five.";
  ASSERT_EQ(MultiByteToWideChar(850, 0, text, 20, nullptr, 0), 20);
  ASSERT_EQ(WideCharToMultiByte(850, 0, wide, 5, nullptr, 0, nullptr, nullptr), 5);
  const uint32_t free = GetThreadParticleCount(80);  // 4 bytes per byte, 16 per wide character
  for (int i = 0; i < 1000; ++i) {
    MultiByteToWideChar(850, 0, text, 20, nullptr, 0);
    WideCharToMultiByte(850, 0, wide, 5, nullptr, 0, nullptr, nullptr);
  }
  EXPECT_EQ(GetThreadParticleCount(80), free) << "every scratch particle came back";
}

#ifndef ORVGUI_TEST_SANITIZED
void MeasuringWithoutMemory() {
  const std::string text(64u << 20, 'a');  // measuring it needs 256 MiB of scratch
  LimitAddressSpace(16u << 20);
  SetLastError(0);
  const bool failed = MultiByteToWideChar(1252, 0, text.data(), static_cast<int>(text.size()), nullptr, 0) == 0 &&
                      GetLastError() == ENOMEM;
  wchar_t wide[4];
  const bool recovered = MultiByteToWideChar(1252, 0, "abc", 3, wide, 4) == 3;
  exit(failed && recovered ? 0 : 1);
}

TEST(CodePage, MeasuringWithoutMemoryIsENOMEM) {
  EXPECT_EXIT(MeasuringWithoutMemory(), testing::ExitedWithCode(0), "");
}
#endif

// ---- The 2 GiB limits -------------------------------------------------------------------------

// RepeatedText: total bytes of address space in which a 16 MiB pattern repeats, followed by a
// page of zeros; costs 16 MiB of memory. Empty when the address space cannot be had.
class RepeatedText {
 public:
  RepeatedText(const std::string& pattern, size_t total) : m_size(total + 4096) {
    constexpr size_t kPiece = 16u << 20;
    const int fd = memfd_create("orvgui-codepage-test", 0);
    if (fd < 0 || ftruncate(fd, kPiece) != 0) return;
    void* area = mmap(nullptr, m_size, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    char* piece = static_cast<char*>(mmap(nullptr, kPiece, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0));
    if (area == MAP_FAILED || piece == MAP_FAILED) return;
    for (size_t at = 0; at < kPiece; at += pattern.size()) memcpy(piece + at, pattern.data(), pattern.size());
    munmap(piece, kPiece);
    m_base = static_cast<char*>(area);
    for (size_t at = 0; at < total; at += kPiece)
      if (mmap(m_base + at, kPiece, PROT_READ, MAP_SHARED | MAP_FIXED, fd, 0) == MAP_FAILED) m_base = nullptr;
    close(fd);
  }
  ~RepeatedText() {
    if (m_base != nullptr) munmap(m_base, m_size);
  }
  const char* Data() const { return m_base; }

 private:
  size_t m_size;
  char* m_base = nullptr;
};

TEST(CodePage, InputsAtTheTwoGigabyteLimits) {
  {
    // 2^31 bytes before the NUL: one more than a -1 length may count.
    RepeatedText text("abcdefgh", size_t{1} << 31);
    ASSERT_NE(text.Data(), nullptr);
    SetLastError(kUntouched);
    EXPECT_EQ(MultiByteToWideChar(1252, 0, text.Data(), -1, nullptr, 0), 0);
    EXPECT_EQ(GetLastError(), EINVAL) << "a string longer than 0x7FFFFFFE bytes";
  }
  {
    // 2^29 wide characters of 4 UTF-8 bytes each: exactly 2^31 bytes, one past a positive int.
    const char32_t emoji[2] = {0x1F600, 0x1F600};
    RepeatedText text(std::string(reinterpret_cast<const char*>(emoji), sizeof emoji), size_t{1} << 31);
    ASSERT_NE(text.Data(), nullptr);
    const wchar_t* wide = reinterpret_cast<const wchar_t*>(text.Data());
    SetLastError(kUntouched);
    EXPECT_EQ(WideCharToMultiByte(65001, 0, wide, 1 << 29, nullptr, 0, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), ERANGE) << "a result of 2^31 bytes";
    EXPECT_EQ(WideCharToMultiByte(65001, 0, wide, (1 << 29) - 1, nullptr, 0, nullptr, nullptr), 0x7FFFFFFC)
        << "four bytes fewer still fit";
  }
}

// ---- Process exit -----------------------------------------------------------------------------

int g_reportPipe = -1;
void ReportOpenDescriptorsAtExit() {
  const long open = Internal::GetOpenCodePageDescriptorCount();
  if (write(g_reportPipe, &open, sizeof open) != sizeof open) _exit(3);
}

TEST(CodePage, TheMainThreadsDescriptorsAreClosedAtProcessExit) {
  if (Internal::GetOpenCodePageDescriptorCount() != 0)
    GTEST_SKIP() << "an earlier test of this process opened the main thread's cache (ctest runs this alone)";
  int report[2];
  ASSERT_EQ(pipe(report), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    close(report[0]);
    g_reportPipe = report[1];
    atexit(&ReportOpenDescriptorsAtExit);  // registered before the cache exists: runs after its closer
    wchar_t wide[4];
    char bytes[4];
    MultiByteToWideChar(437, 0, "abc", 3, wide, 4);
    WideCharToMultiByte(28592, 0, L"abc", 3, bytes, 4, nullptr, nullptr);
    exit(Internal::GetOpenCodePageDescriptorCount() == 2 ? 0 : 4);
  }
  close(report[1]);
  long atExit = -1;
  const ssize_t got = read(report[0], &atExit, sizeof atExit);
  close(report[0]);
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << "the two conversions opened two descriptors";
  ASSERT_EQ(got, static_cast<ssize_t>(sizeof atExit));
  EXPECT_EQ(atExit, 0) << "the process-exit closer closed them";
}

}  // namespace
}  // namespace OrvGuiBase
