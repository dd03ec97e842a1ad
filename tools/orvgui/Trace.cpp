// Trace.cpp: `orvgui trace`, the trace viewer, and `orvgui trace emit`, a trace line from a
// script.
#include <regex.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <deque>
#include <mutex>
#include <string>

#include "base/data/Json.h"
#include "base/text/Utf.h"
#include "tools/orvgui/Command.h"
#include "trace/Trace.h"
#include "trace/TraceServer.h"

namespace OrvGuiTool {

namespace {

const char kUsage[] =
    "usage: orvgui trace [--kind LETTERS] [--grep REGEX] [--exclude REGEX] [--pid N]\n"
    "                    [--fields LIST] [--output FILE] [--count N] [--duration SECONDS] [--json]\n"
    "       orvgui trace emit [--kind E|T|F|K|C|I] [--bits N] TEXT\n"
    "\n"
    "orvgui trace shows the trace lines that every process on the machine writes into the trace\n"
    "pipe /tmp/.ZelTracePipe, as they arrive, until Ctrl-C (SIGINT) or SIGTERM stops it. Only one\n"
    "viewer can read the pipe usefully at a time: two would share the lines between them. Each\n"
    "line shows the local time it was received, to the millisecond, and the line as written:\n"
    "  2026-11-24 09:15:02.114 TT|0x1F2A|0x7F3B2C1D0640|server: opened the settings\n"
    "When standard output is a terminal the two leading letters (kind and mask) are coloured.\n"
    "\n"
    "  --kind LETTERS    show only lines of these kinds, a comma-separated list of E, T, F, K, C\n"
    "                    and I. Lines that are not trace lines (no kind and mask letters) count\n"
    "                    as kind I.\n"
    "  --grep REGEX      show only lines that match REGEX (POSIX extended) anywhere\n"
    "  --exclude REGEX   leave out lines that match REGEX\n"
    "  --pid N           show only lines whose first field is the process id N (decimal); the\n"
    "                    writers' format word must include pid (see --fields)\n"
    "  --fields LIST     set the format word that all processes share while the viewer runs, a\n"
    "                    comma-separated list of pid, tid, module, file, line, stack, user and\n"
    "                    noletters; 'bare' alone gives the text without any prefix. The previous\n"
    "                    word is put back when the viewer ends.\n"
    "  --output FILE     also write what is shown (without colours) to FILE, created or emptied\n"
    "  --count N         end after N lines were shown\n"
    "  --duration SECONDS  end after this many seconds (a decimal number)\n"
    "  --json            show one JSON object per line instead:\n"
    "                    {\"time\":\"2026-11-24T09:15:02.114\",\"state\":8193,\"kind\":\"T\",\"text\":\"TT|...\"}\n"
    "                    time is the local receive time, state the kind plus mask bits read from\n"
    "                    the line's first three characters (24577 for a line that is not a trace\n"
    "                    line), kind its letter, text the line as written.\n"
    "\n"
    "orvgui trace emit writes TEXT as one trace message of this process (each line of TEXT a\n"
    "trace line) into the trace pipe, as a program of the machine would, with the format word\n"
    "the processes share. Without a viewer reading the pipe the message is dropped.\n"
    "  --kind K          the kind letter, E, T (the default), F, K, C or I\n"
    "  --bits N          the mask bits (decimal or 0x hexadecimal, default 1); a message whose\n"
    "                    bits are not all within 0xFFF is not written\n"
    "\n"
    "Errors go to standard error as 'orvgui trace: MESSAGE'. Exit status: 0 when the viewer\n"
    "ended (count reached, duration over, a signal, or standard output closed) or the message\n"
    "was emitted; 1 when the trace server or the output file could not be started or opened, or\n"
    "--fields was given and the shared format word could not be mapped; 2 for a usage error.\n";

constexpr const char* kSub = "trace";

volatile sig_atomic_t g_stop = 0;
void OnStopSignal(int) { g_stop = 1; }

struct ReceivedLine {
  timeval received;
  uint32_t state;
  std::string text;
};

std::mutex g_queueLock;
std::condition_variable g_queueChanged;
std::deque<ReceivedLine> g_queue;

void OnLine(bool, bool, const char* line, uint32_t, uint32_t state) {
  ReceivedLine entry{{}, state, line};
  gettimeofday(&entry.received, nullptr);
  std::lock_guard<std::mutex> hold(g_queueLock);
  g_queue.push_back(std::move(entry));
  g_queueChanged.notify_one();
}

const char kKindLetters[] = "?ETFKCI";

char KindOf(uint32_t state) {
  const uint32_t index = state >> 12;
  return index >= 1 && index <= 6 ? kKindLetters[index] : 'I';
}

bool ParseUnsigned(const char* text, unsigned long& value, int base) {
  if (text == nullptr || *text == 0 || *text == '-') return false;
  char* end = nullptr;
  errno = 0;
  value = strtoul(text, &end, base);
  return errno == 0 && *end == 0;
}

bool ParseFields(const char* list, uint32_t& format) {
  static const struct {
    const char* name;
    uint32_t bit;
  } kFields[] = {{"pid", 0x0001},  {"tid", 0x0002},   {"module", 0x0004}, {"file", 0x0020},
                 {"line", 0x0040}, {"stack", 0x0080}, {"user", 0x0100},   {"noletters", 0x1000}};
  if (strcmp(list, "bare") == 0) {
    format = OrvGuiTrace::kTraceBare;
    return true;
  }
  format = 0;
  std::string rest = list;
  for (size_t at = 0; at <= rest.size();) {
    size_t end = rest.find(',', at);
    if (end == std::string::npos) end = rest.size();
    const std::string name = rest.substr(at, end - at);
    bool known = false;
    for (const auto& field : kFields)
      if (name == field.name) {
        format |= field.bit;
        known = true;
      }
    if (!known) return false;
    at = end + 1;
  }
  return true;
}

bool ParseKinds(const char* list, bool kinds[7]) {
  for (int i = 0; i < 7; ++i) kinds[i] = false;
  std::string rest = list;
  for (size_t at = 0; at <= rest.size();) {
    size_t end = rest.find(',', at);
    if (end == std::string::npos) end = rest.size();
    const std::string name = rest.substr(at, end - at);
    const char* found = name.size() == 1 ? strchr(kKindLetters + 1, name[0]) : nullptr;
    if (found == nullptr || name[0] == 0) return false;
    kinds[found - kKindLetters] = true;
    at = end + 1;
  }
  return true;
}

// ProcessField: the process id of the line's first field ("|0x<hex>" after the letters, or
// at the start when the letters are left out); -1 when there is none.
long ProcessField(const std::string& text, uint32_t state) {
  size_t at = state != 0x6001 && text.size() >= 2 && text[0] != '|' ? 2 : 0;
  if (text.compare(at, 3, "|0x") != 0) return -1;
  char* end = nullptr;
  const long pid = strtol(text.c_str() + at + 3, &end, 16);
  return end != text.c_str() + at + 3 && (*end == '|' || *end == ':') ? pid : -1;
}

// JsonText: the line as a JSON string with its quotes; a line that is not UTF-8 (any process
// may write any bytes) has its stray bytes shown as '?'.
std::string JsonText(const std::string& text) {
  using OrvGuiBase::AnsiStr;
  using OrvGuiBase::AnsiStrBuilder;
  const AnsiStr line = OrvGuiBase::EnsureUTF8(AnsiStr(text.c_str(), static_cast<uint32_t>(text.size())), '?');
  AnsiStrBuilder builder;
  AnsiStr error;
  if (!OrvGuiBase::QuoteEscapeJSON(line, builder, error)) return "\"\"";
  const AnsiStr quoted = builder.Detach();
  return std::string(quoted.GetStr(), quoted.GetLength());
}

struct ViewerOptions {
  bool kinds[7] = {true, true, true, true, true, true, true};
  bool haveGrep = false, haveExclude = false, json = false, setFields = false;
  regex_t grep{}, exclude{};
  long pid = -1;
  uint32_t fields = 0;
  const char* output = nullptr;
  unsigned long count = 0;  // 0: no bound
  double duration = 0;      // 0: no bound
};

std::string Format(const ReceivedLine& line, bool json, bool colour) {
  tm local{};
  localtime_r(&line.received.tv_sec, &local);
  char stamp[64];
  snprintf(stamp, sizeof stamp, "%04d-%02d-%02d%c%02d:%02d:%02d.%03ld", local.tm_year + 1900, local.tm_mon + 1,
           local.tm_mday, json ? 'T' : ' ', local.tm_hour, local.tm_min, local.tm_sec,
           static_cast<long>(line.received.tv_usec / 1000));
  if (json)
    return std::string("{\"time\":\"") + stamp + "\",\"state\":" + std::to_string(line.state) + ",\"kind\":\"" +
           KindOf(line.state) + "\",\"text\":" + JsonText(line.text) + "}\n";
  if (!colour || line.state == 0x6001 || line.text.size() < 2) return std::string(stamp) + " " + line.text + "\n";
  static const char* const kColours[] = {"", "\033[1;31m", "\033[1;37m", "\033[36m", "\033[35m", "\033[32m", "\033[34m"};
  return std::string(stamp) + " " + kColours[line.state >> 12] + line.text.substr(0, 2) + "\033[0m" +
         line.text.substr(2) + "\n";
}

bool Shown(const ViewerOptions& options, const ReceivedLine& line) {
  const char kind = KindOf(line.state);
  if (!options.kinds[strchr(kKindLetters + 1, kind) - kKindLetters]) return false;
  if (options.pid >= 0 && ProcessField(line.text, line.state) != options.pid) return false;
  if (options.haveGrep && regexec(&options.grep, line.text.c_str(), 0, nullptr, 0) != 0) return false;
  if (options.haveExclude && regexec(&options.exclude, line.text.c_str(), 0, nullptr, 0) == 0) return false;
  return true;
}

int View(ViewerOptions& options) {
  FILE* saved = nullptr;
  if (options.output != nullptr && (saved = fopen(options.output, "w")) == nullptr)
    return Fail(kSub, "cannot open '%s': %s", options.output, strerror(errno));
  volatile uint32_t* format = nullptr;
  if (!OrvGuiTrace::TraceInitServer(format, &OnLine)) {
    if (saved != nullptr) fclose(saved);
    return Fail(kSub, "cannot start the trace server");
  }
  uint32_t previousFormat = 0;
  if (options.setFields) {
    if (format == nullptr) {
      OrvGuiTrace::TraceExitServer();
      if (saved != nullptr) fclose(saved);
      return Fail(kSub, "cannot map the shared format word /ZelTraceMap");
    }
    previousFormat = *format;
    *format = options.fields;
  }
  struct sigaction stop {};
  stop.sa_handler = &OnStopSignal;
  sigemptyset(&stop.sa_mask);
  sigaction(SIGINT, &stop, nullptr);
  sigaction(SIGTERM, &stop, nullptr);
  signal(SIGPIPE, SIG_IGN);
  const bool colour = !options.json && isatty(STDOUT_FILENO) != 0;
  const auto start = std::chrono::steady_clock::now();
  unsigned long shown = 0;
  bool outputClosed = false;
  while (g_stop == 0 && !outputClosed && (options.count == 0 || shown < options.count)) {
    if (options.duration > 0 &&
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() >= options.duration)
      break;
    std::deque<ReceivedLine> batch;
    {
      std::unique_lock<std::mutex> hold(g_queueLock);
      g_queueChanged.wait_for(hold, std::chrono::milliseconds(50), [] { return !g_queue.empty(); });
      batch.swap(g_queue);
    }
    for (const ReceivedLine& line : batch) {
      if (!Shown(options, line)) continue;
      const std::string text = Format(line, options.json, colour);
      if (fwrite(text.data(), 1, text.size(), stdout) != text.size() || fflush(stdout) != 0) {
        outputClosed = true;
        break;
      }
      if (saved != nullptr) {
        const std::string plain = colour ? Format(line, false, false) : text;
        fwrite(plain.data(), 1, plain.size(), saved);
        fflush(saved);
      }
      if (options.count != 0 && ++shown >= options.count) break;
    }
  }
  if (options.setFields) *format = previousFormat;
  OrvGuiTrace::TraceExitServer();
  if (saved != nullptr) fclose(saved);
  return kExitSuccess;
}

int Emit(int argc, char** argv) {
  unsigned kind = OrvGuiTrace::kTraceTrace;
  unsigned long bits = 1;
  const char* text = nullptr;
  for (int i = 2; i < argc; ++i) {
    const char* arg = argv[i];
    if (IsHelpOption(arg)) {
      fputs(kUsage, stdout);
      return kExitSuccess;
    }
    if (strcmp(arg, "--kind") == 0) {
      if (++i >= argc) return UsageError(kSub, "--kind needs a letter");
      const char* found = strlen(argv[i]) == 1 ? strchr(kKindLetters + 1, argv[i][0]) : nullptr;
      if (found == nullptr) return UsageError(kSub, "invalid kind '%s' (E, T, F, K, C or I)", argv[i]);
      kind = static_cast<unsigned>(found - kKindLetters) * 0x1000;
    } else if (strcmp(arg, "--bits") == 0) {
      if (++i >= argc || !ParseUnsigned(argv[i], bits, 0) || bits > 0xFFFFFFFFul)
        return UsageError(kSub, "--bits needs a number (decimal or 0x hexadecimal)");
    } else if (strcmp(arg, "--") == 0 && i + 1 < argc && text == nullptr) {
      text = argv[++i];
    } else if (arg[0] == '-' && arg[1] != 0) {
      return UsageError(kSub, "unknown option '%s'", arg);
    } else if (text != nullptr) {
      return UsageError(kSub, "unexpected argument '%s' (quote the text as one argument)", arg);
    } else {
      text = arg;
    }
  }
  if (text == nullptr) return UsageError(kSub, "missing TEXT (see 'orvgui trace --help')");
  OrvGuiTrace::TraceToTracer();
  OrvGuiTrace::TraceMsg(kind, static_cast<unsigned>(bits), nullptr, 0, text);
  return kExitSuccess;
}

bool CompileRegex(regex_t& regex, const char* pattern) { return regcomp(&regex, pattern, REG_EXTENDED | REG_NOSUB) == 0; }

int Run(int argc, char** argv) {
  if (argc >= 2 && strcmp(argv[1], "emit") == 0) return Emit(argc, argv);
  ViewerOptions options;
  for (int i = 1; i < argc; ++i) {
    const char* arg = argv[i];
    if (IsHelpOption(arg)) {
      fputs(kUsage, stdout);
      return kExitSuccess;
    }
    const bool takesValue = strcmp(arg, "--kind") == 0 || strcmp(arg, "--grep") == 0 ||
                            strcmp(arg, "--exclude") == 0 || strcmp(arg, "--pid") == 0 ||
                            strcmp(arg, "--fields") == 0 || strcmp(arg, "--output") == 0 ||
                            strcmp(arg, "--count") == 0 || strcmp(arg, "--duration") == 0;
    if (strcmp(arg, "--json") == 0) {
      options.json = true;
      continue;
    }
    if (!takesValue) {
      if (arg[0] == '-') return UsageError(kSub, "unknown option '%s'", arg);
      return UsageError(kSub, "unexpected argument '%s'", arg);
    }
    if (i + 1 >= argc) return UsageError(kSub, "%s needs a value", arg);
    const char* value = argv[++i];
    unsigned long number = 0;
    if (strcmp(arg, "--kind") == 0) {
      if (!ParseKinds(value, options.kinds)) return UsageError(kSub, "invalid kinds '%s' (E,T,F,K,C,I)", value);
    } else if (strcmp(arg, "--grep") == 0) {
      if (options.haveGrep) regfree(&options.grep);
      if (!(options.haveGrep = CompileRegex(options.grep, value)))
        return UsageError(kSub, "invalid regular expression '%s'", value);
    } else if (strcmp(arg, "--exclude") == 0) {
      if (options.haveExclude) regfree(&options.exclude);
      if (!(options.haveExclude = CompileRegex(options.exclude, value)))
        return UsageError(kSub, "invalid regular expression '%s'", value);
    } else if (strcmp(arg, "--pid") == 0) {
      if (!ParseUnsigned(value, number, 10) || number > 0x7FFFFFFF)
        return UsageError(kSub, "invalid process id '%s'", value);
      options.pid = static_cast<long>(number);
    } else if (strcmp(arg, "--fields") == 0) {
      if (!ParseFields(value, options.fields))
        return UsageError(kSub, "invalid fields '%s' (pid,tid,module,file,line,stack,user,noletters or bare)", value);
      options.setFields = true;
    } else if (strcmp(arg, "--output") == 0) {
      options.output = value;
    } else if (strcmp(arg, "--count") == 0) {
      if (!ParseUnsigned(value, number, 10) || number == 0) return UsageError(kSub, "invalid count '%s'", value);
      options.count = number;
    } else {
      char* end = nullptr;
      options.duration = strtod(value, &end);
      if (end == value || *end != 0 || !(options.duration > 0) || options.duration > 1e9)
        return UsageError(kSub, "invalid duration '%s' (seconds)", value);
    }
  }
  const int status = View(options);
  if (options.haveGrep) regfree(&options.grep);
  if (options.haveExclude) regfree(&options.exclude);
  return status;
}

SubcommandRegistration g_registration({"trace", "show the trace lines of every process, or emit one", kUsage, &Run});

}  // namespace

}  // namespace OrvGuiTool
