// CodePage.cpp: MultiByteToWideChar and WideCharToMultiByte on top of iconv.
//
// The seven single-byte code pages each have two iconv descriptors per thread, one towards
// wide text and one back, kept in the thread's IConvContextCache. The invariant of a slot: it
// holds either the invalid descriptor (all bits set: not opened yet, or the last open failed)
// or a descriptor in its initial shift state that only this thread uses. A call therefore
//   1. checks its arguments and maps the code page to a slot (65001 never reaches a slot: it
//      goes through the library's own UTF-8 converter);
//   2. opens the slot's descriptor if needed, with "//IGNORE" on the target side;
//   3. converts the whole source with one iconv call, into the caller's target or, when only
//      measuring, into a scratch particle big enough for any result (4 bytes per source byte
//      towards wide text, 16 bytes per wide character back);
//   4. resets the descriptor with an iconv call on null pointers, restoring the invariant.
// iconv is given the whole input at once: an unmappable character makes it report failure
// (after skipping it), and so does a target that is too small; either way the call returns 0
// and the caller's last error stays as it was, deliberately, so that callers that compare the
// last error before and after keep working.
//
// Depends on core (per-thread records, particles, last error) and the UTF conversions.
#include "base/text/CodePage.h"

#include <iconv.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <cwchar>

#include "base/core/ParticleAllocator.h"
#include "base/core/ThreadData.h"
#include "base/text/Utf.h"

namespace OrvGuiBase {

namespace {

constexpr unsigned kUtf8 = 65001;
constexpr unsigned kUtf7 = 65000;
constexpr int kLongestSource = 0x7FFFFFFE;  // longest source, NUL included, of a -1 length
constexpr size_t kMeasureBytesPerByte = 4;
constexpr size_t kMeasureBytesPerWideChar = 16;
const iconv_t kUnopened = reinterpret_cast<iconv_t>(~uintptr_t{0});
const char kWideName[] = "WCHAR_T";
const char kWideNameIgnore[] = "WCHAR_T//IGNORE";

// The iconv code pages, in slot order; the aliases 0..3 are resolved by PageIndex.
struct PageName {
  unsigned codePage;
  const char* name;
  const char* nameIgnore;  // the target name of conversions from wide text
};
constexpr PageName kPages[] = {
    {437, "CP437", "CP437//IGNORE"},
    {850, "CP850", "CP850//IGNORE"},
    {1252, "WINDOWS-1252", "WINDOWS-1252//IGNORE"},
    {10000, "MAC", "MAC//IGNORE"},
    {28591, "ISO-8859-1", "ISO-8859-1//IGNORE"},
    {28592, "ISO-8859-2", "ISO-8859-2//IGNORE"},
    {28605, "ISO-8859-15", "ISO-8859-15//IGNORE"},
};
constexpr int kPageCount = sizeof kPages / sizeof kPages[0];

enum Direction { kToWide = 0, kFromWide = 1 };

// PageIndex: the slot pair of a code page, or -1 when it is not an iconv code page.
[[gnu::always_inline]] inline int PageIndex(unsigned codePage) {
  switch (codePage) {
    case 0: case 3: case 1252: return 2;
    case 1: case 850: return 1;
    case 2: case 10000: return 3;
    case 437: return 0;
    case 28591: return 4;
    case 28592: return 5;
    case 28605: return 6;
    default: return -1;
  }
}

std::atomic<long> g_openDescriptors{0};
std::atomic<Internal::CodePageOpener> g_opener{nullptr};  // null: iconv_open

iconv_t OpenDescriptor(int page, Direction direction) {
  const char* to = direction == kToWide ? kWideNameIgnore : kPages[page].nameIgnore;
  const char* from = direction == kToWide ? kPages[page].name : kWideName;
  const Internal::CodePageOpener opener = g_opener.load(std::memory_order_acquire);
  const iconv_t cd = opener != nullptr ? static_cast<iconv_t>(opener(to, from)) : iconv_open(to, from);
  if (cd != kUnopened) g_openDescriptors.fetch_add(1, std::memory_order_relaxed);
  return cd;
}

void CloseDescriptor(iconv_t cd) {
  iconv_close(cd);
  g_openDescriptors.fetch_sub(1, std::memory_order_relaxed);
}

}  // namespace

// IConvContextCache: the calling thread's descriptors, two per iconv code page.
struct IConvContextCache {
  iconv_t descriptors[2 * kPageCount];
  int* lastError = &errno;  // the thread's errno, fixed for its life: no lookup per call

  IConvContextCache() {
    for (iconv_t& cd : descriptors) cd = kUnopened;
  }
  ~IConvContextCache() {
    for (iconv_t cd : descriptors)
      if (cd != kUnopened) CloseDescriptor(cd);
  }
  IConvContextCache(const IConvContextCache&) = delete;
  IConvContextCache& operator=(const IConvContextCache&) = delete;
};
// Released after the default thread-exit handlers (which may still convert text) and before
// the particle lists.
using IConvContextCacheRecord = ThreadData<IConvContextCache, -1000>;
using IConvContextCacheCloser = IConvContextCacheRecord::Closer;

namespace {

// Converter: the descriptor of one call. Normally the thread's cached one; a caller that comes
// after its thread's cache has been released (a late thread-exit handler, a destructor at
// process exit) gets a descriptor of its own for the call, since the process-wide fallback
// record may be shared by several such callers at once.
class Converter {
 public:
  Converter(int page, Direction direction) {
    const int slot = 2 * page + direction;
    if (IConvContextCache* cache = IConvContextCacheRecord::Peek()) [[likely]] {
      m_lastError = cache->lastError;
      m_cd = cache->descriptors[slot];
      if (m_cd == kUnopened) [[unlikely]]
        m_cd = cache->descriptors[slot] = OpenDescriptor(page, direction);  // a failed open is retried next time
    } else {
      Attach(page, direction);
    }
  }
  ~Converter() {
    if (m_owned) [[unlikely]]
      CloseDescriptor(m_cd);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  bool IsOpen() const { return m_cd != kUnopened; }

  // Convert: one iconv call over the whole source, then the reset. Returns the bytes written,
  // or -1 when iconv failed; the caller's last error is kept either way.
  int64_t Convert(const void* source, size_t sourceBytes, void* target, size_t targetBytes) {
    const int saved = *m_lastError;
    char* in = static_cast<char*>(const_cast<void*>(source));
    char* out = static_cast<char*>(target);
    size_t inLeft = sourceBytes, outLeft = targetBytes;
    const size_t done = iconv(m_cd, &in, &inLeft, &out, &outLeft);
    iconv(m_cd, nullptr, nullptr, nullptr, nullptr);
    *m_lastError = saved;
    return done == static_cast<size_t>(-1) ? -1 : static_cast<int64_t>(targetBytes - outLeft);
  }

  // Measure: Convert into a scratch particle of scratchBytes that is given back afterwards; -2
  // when there is no memory for it (last error ENOMEM).
  [[gnu::noinline]] int64_t Measure(const void* source, size_t sourceBytes, size_t scratchBytes) {
    void* scratch = AllocParticle(scratchBytes);
    if (scratch == nullptr) {
      errno = ENOMEM;
      return -2;
    }
    const int64_t produced = Convert(source, sourceBytes, scratch, scratchBytes);
    FreeParticle(scratchBytes, scratch);
    return produced;
  }

 private:
  // Attach: the first call of the thread creates its cache; after the cache is gone, a
  // descriptor for this call alone.
  [[gnu::noinline]] void Attach(int page, Direction direction) {
    m_lastError = &errno;
    IConvContextCache* cache = IConvContextCacheRecord::Get();
    if (cache != nullptr && cache == IConvContextCacheRecord::Peek()) {
      m_cd = cache->descriptors[2 * page + direction] = OpenDescriptor(page, direction);
    } else {
      m_cd = OpenDescriptor(page, direction);
      m_owned = m_cd != kUnopened;
    }
  }

  iconv_t m_cd = kUnopened;
  int* m_lastError;
  bool m_owned = false;
};

int Fail(int error) {
  errno = error;
  return 0;
}

// Result: the count of units produced, ERANGE when it does not fit a positive int.
int Result(int64_t units) {
  if (units < 0) return 0;  // failed inside iconv (last error untouched) or no scratch memory
  if (units > 0x7FFFFFFF) return Fail(ERANGE);
  return static_cast<int>(units);
}

// SourceLength: the units to convert, or 0 for an invalid length. -1 counts up to and
// including the terminator; any other negative length is invalid too.
template <class Unit>
int SourceLength(const Unit* source, int sourceLength) {
  if (sourceLength > 0) return sourceLength;
  if (sourceLength != -1) return 0;
  size_t length;
  if constexpr (sizeof(Unit) == 1) length = strlen(source);
  else length = wcslen(source);
  return length < static_cast<size_t>(kLongestSource) ? static_cast<int>(length + 1) : 0;
}

}  // namespace

namespace Internal {
long GetOpenCodePageDescriptorCount() { return g_openDescriptors.load(std::memory_order_relaxed); }
CodePageOpener SetCodePageOpener(CodePageOpener opener) { return g_opener.exchange(opener); }
}  // namespace Internal

}  // namespace OrvGuiBase

using namespace OrvGuiBase;

int MultiByteToWideChar(unsigned int codePage, unsigned int /*flags*/, const char* source, int sourceLength,
                        wchar_t* target, int targetLength) {
  if (source == nullptr || sourceLength == 0 || targetLength < 0) return Fail(EINVAL);
  const int length = SourceLength(source, sourceLength);
  if (length == 0) return Fail(EINVAL);
  if (target == nullptr) targetLength = 0;  // measure only

  if (codePage == kUtf8) {
    static_assert(sizeof(wchar_t) == sizeof(char32_t));
    const uint32_t units = UTF8toUTF32(source, static_cast<uint32_t>(length), reinterpret_cast<char32_t*>(target),
                                       static_cast<uint32_t>(targetLength));
    return Result(units);
  }
  const int page = PageIndex(codePage);
  if (page < 0) return Fail(ENOSYS);
  Converter converter(page, kToWide);
  if (!converter.IsOpen()) return Fail(ENOSYS);
  const int64_t bytes =
      targetLength != 0
          ? converter.Convert(source, static_cast<size_t>(length), target, static_cast<size_t>(targetLength) * sizeof(wchar_t))
          : converter.Measure(source, static_cast<size_t>(length), static_cast<size_t>(length) * kMeasureBytesPerByte);
  return Result(bytes < 0 ? bytes : bytes / static_cast<int64_t>(sizeof(wchar_t)));
}

int WideCharToMultiByte(unsigned int codePage, unsigned int /*flags*/, const wchar_t* source, int sourceLength,
                        char* target, int targetLength, const char* defaultChar, int* usedDefaultChar) {
  if (source == nullptr || sourceLength == 0 || targetLength < 0) return Fail(EINVAL);
  const int length = SourceLength(source, sourceLength);
  if (length == 0) return Fail(EINVAL);
  if (target == nullptr) targetLength = 0;  // measure only

  if (codePage == kUtf8 || codePage == kUtf7) {
    if (defaultChar != nullptr || usedDefaultChar != nullptr) return Fail(EINVAL);
    if (codePage == kUtf8)
      return Result(UTF32toUTF8(reinterpret_cast<const char32_t*>(source), static_cast<uint32_t>(length), target,
                                static_cast<uint32_t>(targetLength)));
  } else {
    if (defaultChar != nullptr) return Fail(ENOSYS);  // a replacement character is never used
    if (usedDefaultChar != nullptr) *usedDefaultChar = 0;
  }
  const int page = PageIndex(codePage);
  if (page < 0) return Fail(ENOSYS);
  Converter converter(page, kFromWide);
  if (!converter.IsOpen()) return Fail(ENOSYS);
  const size_t sourceBytes = static_cast<size_t>(length) * sizeof(wchar_t);
  return Result(targetLength != 0
                    ? converter.Convert(source, sourceBytes, target, static_cast<size_t>(targetLength))
                    : converter.Measure(source, sourceBytes, static_cast<size_t>(length) * kMeasureBytesPerWideChar));
}
