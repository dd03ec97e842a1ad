// RtfBench.cpp: RTF to plain text of a 10 MiB document, beside the converters a user would
// otherwise run.
//
// Group "Text10MiB" (real time): the document is built from the corpus's documents (each one a
// group of its own, repeated to 10 MiB) and written to a temporary file once. The documents with
// the large word-processor headers (theme data, style and list tables) are left out: they are
// nearly all markup, and unrtf crashes on a few megabytes of them.
// "orvgui" is Rtf2Text from that file to a file; the peers are whole processes reading the file
// and writing to /dev/null: "unrtf" (unrtf --text) and "pandoc" (pandoc -f rtf -t plain). A peer
// that is not installed is skipped with a message. Besides the ratios the run prints MB/s
// (bytes_per_second, MiB/s of input).
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "base/data/RtfParser.h"
#include "base/fs/Directory.h"

extern char** environ;

namespace {

constexpr size_t kDocumentSize = 10u << 20;
// kIterations: the same for every implementation (the ratio compares runs of one name shape);
// one, since pandoc takes about a minute for one conversion.
constexpr int kIterations = 1;

// Document: the corpus documents, each a group, repeated; written once to a temporary file.
class Document {
 public:
  Document() {
    const char* names[] = {
        "table_error_codes", "footnote",     "accent",       "unicode", "list_simple", "list_multiparagraph",
        "list_legacy",       "table_nested", "table_simple", "link",    "bookmark"};
    std::string parts;
    for (const char* name : names) {
      std::ifstream in(std::string(ORVGUI_BENCH_CORPUS) + "/rtf/" + name + ".rtf", std::ios::binary);
      parts.append(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
      parts += "\n";
    }
    std::string text = "{\\rtf1\\ansi\\ansicpg1252\\deff0\n";
    if (parts.size() > 16)
      while (text.size() + parts.size() < kDocumentSize) text += parts;
    text += "}\n";
    // A directory of its own: the peers run in it, and unrtf leaves the pictures it finds there.
    char pattern[] = "/tmp/orvgui-rtf-bench-XXXXXX";
    if (mkdtemp(pattern) == nullptr) return;
    m_directory = pattern;
    const std::string path = m_directory + "/document.rtf";
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0) return;
    m_path = path;
    m_size = text.size();
    for (size_t at = 0; at < text.size();) {
      const ssize_t put = write(fd, text.data() + at, text.size() - at);
      if (put <= 0) break;
      at += static_cast<size_t>(put);
    }
    close(fd);
  }
  ~Document() {
    if (!m_directory.empty()) OrvGuiBase::Directory(m_directory.c_str()).Remove(true, true);
  }
  const std::string& Path() const { return m_path; }
  const std::string& Folder() const { return m_directory; }
  size_t Size() const { return m_size; }

 private:
  std::string m_directory;
  std::string m_path;
  size_t m_size = 0;
};

const Document& TheDocument() {
  static const Document document;
  return document;
}

// Run: the program with its arguments in the folder, standard output and error to /dev/null;
// its exit status.
int Run(const std::vector<std::string>& args, const std::string& folder) {
  std::vector<char*> argv;
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
  pid_t pid = -1;
  const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (spawned != 0) return -1;
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void Text10MiB_orvgui(benchmark::State& state) {
  const Document& document = TheDocument();
  if (document.Path().empty()) return state.SkipWithError("cannot write the document");
  const std::string out = document.Path() + ".txt";
  for (auto _ : state) {
    if (!OrvGuiBase::Rtf2Text(OrvGuiBase::File(document.Path().c_str()), OrvGuiBase::File(out.c_str())))
      return state.SkipWithError("the conversion failed");
  }
  unlink(out.c_str());
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * document.Size()));
}
BENCHMARK(Text10MiB_orvgui)
    ->Name("Text10MiB/orvgui")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(kIterations);

void Peer(benchmark::State& state, const char* program, std::vector<std::string> args) {
  const Document& document = TheDocument();
  if (document.Path().empty()) return state.SkipWithError("cannot write the document");
  OrvGuiBase::File found;
  if (!found.Search(program)) return state.SkipWithError((std::string(program) + " is not installed").c_str());
  args.insert(args.begin(), found.GetPath().GetStr());
  for (std::string& arg : args)
    if (arg == "IN") arg = document.Path();
  for (auto _ : state) {
    if (Run(args, document.Folder()) != 0) return state.SkipWithError((std::string(program) + " failed").c_str());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * document.Size()));
}

void Text10MiB_unrtf(benchmark::State& state) { Peer(state, "unrtf", {"--text", "IN"}); }
BENCHMARK(Text10MiB_unrtf)
    ->Name("Text10MiB/unrtf")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(kIterations);

void Text10MiB_pandoc(benchmark::State& state) {
  Peer(state, "pandoc", {"-f", "rtf", "-t", "plain", "-o", "/dev/null", "IN"});
}
BENCHMARK(Text10MiB_pandoc)
    ->Name("Text10MiB/pandoc")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(kIterations);

}  // namespace
