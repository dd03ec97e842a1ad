// Compress.cpp: `orvgui compress`, the library's codecs on files and pipes.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/compress/BlockCompress.h"
#include "base/compress/Deflate.h"
#include "base/compress/Inflate.h"
#include "base/compress/Lzw.h"
#include "base/core/ErrorMessage.h"
#include "base/core/LastError.h"
#include "tools/orvgui/Command.h"

namespace OrvGuiTool {

namespace {

using namespace OrvGuiBase;

const char kUsage[] =
    "usage: orvgui compress [--gzip|--zlib|--raw|--block|--lzw] [-d] [-l LEVEL] [IN [OUT]]\n"
    "\n"
    "Compresses IN into OUT, or with -d expands it. IN and OUT default to standard input and\n"
    "standard output; '-' names them too.\n"
    "\n"
    "Formats (at most one; --gzip when none is given):\n"
    "  --gzip    a gzip file (RFC 1952): deflate data, CRC-32 and size; no name, time 0.\n"
    "            gzip -d reads it; expanding reads every member of a multi-member file.\n"
    "  --zlib    a zlib stream (RFC 1950): deflate data and Adler-32.\n"
    "  --raw     bare deflate data (RFC 1951), no check.\n"
    "  --block   the block compressor: Burrows-Wheeler transform, move-to-front, zero-run\n"
    "            lengths and arithmetic coding; \"OBW\" and the level, then blocks each with\n"
    "            its CRC-32.\n"
    "  --lzw     LZW with variable code width and clear code; \"LZW\" and the largest width,\n"
    "            then the codes and a CRC-32.\n"
    "  -d        expand IN instead of compressing it.\n"
    "  -l LEVEL  compress at LEVEL (not with -d): for --gzip, --zlib and --raw 0 (stored) to 9\n"
    "            (smallest), default 6; for --block 1 to 9, blocks of LEVEL x 100,000 bytes,\n"
    "            default 9; for --lzw 9 to 16, the largest code width in bits, default 16.\n"
    "\n"
    "OUT is written whole or not at all: the output goes to a new file beside OUT (named\n"
    "OUT.XXXXXX) that replaces OUT only when everything succeeded, with mode 0666 before the\n"
    "umask; on failure it is removed and OUT is left as it was. Standard output gets the\n"
    "output as it is made.\n"
    "\n"
    "Errors on standard error:\n"
    "  orvgui compress: cannot open 'IN': REASON\n"
    "  orvgui compress: cannot read 'IN': REASON\n"
    "  orvgui compress: cannot create 'OUT': REASON\n"
    "  orvgui compress: cannot write 'OUT': REASON\n"
    "  orvgui compress: 'IN': MESSAGE     bad or truncated input, for example\n"
    "                                     \"inflate: incorrect data check\",\n"
    "                                     \"lzw: invalid code\", \"block: incorrect data check\"\n"
    "\n"
    "Exit status: 0 success, 1 failure, 2 usage error.\n";

constexpr const char* kSub = "compress";

enum class Format { kGzip, kZlib, kRaw, kBlock, kLzw };

struct Options {
  Format format = Format::kGzip;
  bool formatGiven = false;
  bool expand = false;
  int level = -1;  // -1: the format's default
  const char* in = nullptr;
  const char* out = nullptr;
};

bool ParseArguments(int argc, char** argv, Options& options, int& status) {
  const char* files[2] = {};
  int fileCount = 0;
  bool optionsEnded = false;
  for (int i = 1; i < argc; ++i) {
    const char* arg = argv[i];
    if (optionsEnded || arg[0] != '-' || strcmp(arg, "-") == 0) {
      if (fileCount == 2) {
        status = UsageError(kSub, "unexpected argument '%s'", arg);
        return false;
      }
      files[fileCount++] = arg;
      continue;
    }
    static const struct {
      const char* name;
      Format format;
    } kFormats[] = {{"--gzip", Format::kGzip}, {"--zlib", Format::kZlib}, {"--raw", Format::kRaw},
                    {"--block", Format::kBlock}, {"--lzw", Format::kLzw}};
    bool known = false;
    for (const auto& f : kFormats) {
      if (strcmp(arg, f.name) != 0) continue;
      if (options.formatGiven && options.format != f.format) {
        status = UsageError(kSub, "only one of --gzip, --zlib, --raw, --block and --lzw may be given");
        return false;
      }
      options.format = f.format;
      options.formatGiven = known = true;
    }
    if (known) continue;
    if (strcmp(arg, "--") == 0) {
      optionsEnded = true;
    } else if (strcmp(arg, "-d") == 0) {
      options.expand = true;
    } else if (strcmp(arg, "-l") == 0 || (strncmp(arg, "-l", 2) == 0 && arg[2] != 0)) {
      const char* value = arg[2] != 0 ? arg + 2 : (i + 1 < argc ? argv[++i] : nullptr);
      if (value == nullptr) {
        status = UsageError(kSub, "-l needs a level");
        return false;
      }
      char* end = nullptr;
      errno = 0;
      const long level = strtol(value, &end, 10);
      if (*value == 0 || *end != 0 || errno != 0 || level < 0 || level > 16) {
        status = UsageError(kSub, "invalid level '%s'", value);
        return false;
      }
      options.level = static_cast<int>(level);
    } else {
      status = UsageError(kSub, "unknown option '%s' (see 'orvgui compress --help')", arg);
      return false;
    }
  }
  if (options.expand && options.level >= 0) {
    status = UsageError(kSub, "-l is for compressing, not with -d");
    return false;
  }
  if (options.level >= 0) {
    const int low = options.format == Format::kBlock ? 1 : options.format == Format::kLzw ? 9 : 0;
    const int high = options.format == Format::kLzw ? 16 : 9;
    if (options.level < low || options.level > high) {
      status = UsageError(kSub, "level %d is outside %d..%d for this format", options.level, low, high);
      return false;
    }
  }
  if (fileCount > 0 && strcmp(files[0], "-") != 0) options.in = files[0];
  if (fileCount > 1 && strcmp(files[1], "-") != 0) options.out = files[1];
  return true;
}

// TrackedSource / TrackedSink: a descriptor that remembers whether it was the one that failed.
struct TrackedSource final : ByteSource {
  FdSource fd;
  bool failed = false;
  explicit TrackedSource(int f) : fd(f) {}
  long Read(uint8_t* buffer, size_t size) override {
    const long n = fd.Read(buffer, size);
    failed = failed || n < 0;
    return n;
  }
};

struct TrackedSink final : ByteSink {
  FdSink fd;
  bool failed = false;
  explicit TrackedSink(int f) : fd(f) {}
  bool Write(const uint8_t* data, size_t size) override {
    const bool ok = fd.Write(data, size);
    failed = failed || !ok;
    return ok;
  }
};

bool RunCodec(const Options& o, ByteSource& source, ByteSink& sink) {
  const DeflateFormat deflate =
      o.format == Format::kZlib ? DeflateFormat::kZlib : o.format == Format::kRaw ? DeflateFormat::kRaw : DeflateFormat::kGzip;
  switch (o.format) {
    case Format::kBlock:
      return o.expand ? BlockDecompressStream(source, sink) : BlockCompressStream(source, sink, o.level < 0 ? kDefaultBlockLevel : o.level);
    case Format::kLzw:
      return o.expand ? LzwDecompressStream(source, sink) : LzwCompressStream(source, sink, o.level < 0 ? 16 : o.level);
    default: {
      if (!o.expand) return DeflateStream(deflate, o.level, source, sink);
      Inflater inflater;
      return inflater.Run(deflate, source, sink);
    }
  }
}

std::string ErrorText(int error) {
  return error == kErrorMessageCode ? std::string(GetLastErrorMessage().GetStr()) : std::string(GetErrorMessage(error).GetStr());
}

int Run(int argc, char** argv) {
  Options options;
  int status = kExitSuccess;
  if (!ParseArguments(argc, argv, options, status)) return status;
  const char* inName = options.in != nullptr ? options.in : "standard input";
  const char* outName = options.out != nullptr ? options.out : "standard output";

  int in = STDIN_FILENO;
  if (options.in != nullptr && (in = open(options.in, O_RDONLY | O_CLOEXEC)) < 0) {
    return Fail(kSub, "cannot open '%s': %s", inName, ErrorText(errno).c_str());
  }
  int out = STDOUT_FILENO;
  std::string temporary;
  if (options.out != nullptr) {
    temporary = std::string(options.out) + ".XXXXXX";
    out = mkostemp(temporary.data(), O_CLOEXEC);
    if (out < 0) {
      const int error = errno;
      if (in != STDIN_FILENO) close(in);
      return Fail(kSub, "cannot create '%s': %s", outName, ErrorText(error).c_str());
    }
    const mode_t mask = umask(0);
    umask(mask);
    fchmod(out, 0666 & ~mask);
  }

  TrackedSource source(in);
  TrackedSink sink(out);
  bool ok = RunCodec(options, source, sink);
  int error = GetLastError();
  std::string message = ok ? std::string() : ErrorText(error);
  if (in != STDIN_FILENO) close(in);
  bool outClosed = false;
  if (ok && options.out != nullptr) {
    outClosed = true;
    if (close(out) != 0) {  // a delayed write error (NFS, a full disk) shows here
      ok = false;
      sink.failed = true;
      message = ErrorText(errno);
    }
  }
  if (!ok) {
    if (options.out != nullptr) {
      if (!outClosed) close(out);
      unlink(temporary.c_str());
    }
    if (source.failed) return Fail(kSub, "cannot read '%s': %s", inName, message.c_str());
    if (sink.failed) return Fail(kSub, "cannot write '%s': %s", outName, message.c_str());
    return Fail(kSub, "'%s': %s", inName, message.c_str());
  }
  if (options.out != nullptr && rename(temporary.c_str(), options.out) != 0) {
    error = errno;
    unlink(temporary.c_str());
    return Fail(kSub, "cannot create '%s': %s", outName, ErrorText(error).c_str());
  }
  return kExitSuccess;
}

SubcommandRegistration g_registration({"compress", "compresses and expands gzip, zlib, deflate, block and LZW data", kUsage, &Run});

}  // namespace

}  // namespace OrvGuiTool
