// CompressTestData.h: the inputs the compression tests run every codec over: empty, tiny,
// incompressible, highly repetitive, structured, and real documents of the shared corpus.
#pragma once

#include <cstdint>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace OrvGuiBase::CompressTest {

using Bytes = std::vector<uint8_t>;

inline Bytes ReadCorpus(const std::string& tail) {
  std::ifstream in(std::string(ORVGUI_TEST_CORPUS) + "/" + tail, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline Bytes RandomBytes(size_t size, uint32_t seed) {
  std::mt19937 rng(seed);
  Bytes b(size);
  for (auto& c : b) c = static_cast<uint8_t>(rng());
  return b;
}

// Words: text-like data drawn from a small vocabulary, with long and short repeats.
inline Bytes Words(size_t size, uint32_t seed) {
  static const char* const kWords[] = {"the ", "quick ", "brown ", "fox ", "jumps ", "over ", "lazy ", "dog ",
                                       "\n", "compression ", "window ", "of ", "32768 ", "bytes ", "and ", "a "};
  std::mt19937 rng(seed);
  Bytes b;
  while (b.size() < size) {
    const char* w = kWords[rng() % 16];
    b.insert(b.end(), w, w + std::char_traits<char>::length(w));
  }
  b.resize(size);
  return b;
}

struct Sample {
  const char* name;
  Bytes data;
};

inline std::vector<Sample> Samples() {
  std::vector<Sample> s;
  s.push_back({"empty", {}});
  s.push_back({"one byte", {'x'}});
  s.push_back({"tiny", {'a', 'b', 'c', 'a', 'b', 'c', 'a', 'b', 'c'}});
  s.push_back({"random 100 KiB", RandomBytes(100000, 1)});
  s.push_back({"zeros 1 MiB", Bytes(1 << 20, 0)});
  Bytes period(200000);
  for (size_t i = 0; i < period.size(); ++i) period[i] = static_cast<uint8_t>("abcdefg"[i % 7]);
  s.push_back({"period 7", period});
  s.push_back({"words 300 KB", Words(300000, 2)});
  Bytes mixed = Words(50000, 3);
  Bytes noise = RandomBytes(40000, 4);
  mixed.insert(mixed.end(), noise.begin(), noise.end());
  Bytes more = Words(70000, 5);
  mixed.insert(mixed.end(), more.begin(), more.end());
  s.push_back({"text, noise, text", mixed});
  s.push_back({"twitter.json", ReadCorpus("json/bench/twitter.json")});
  s.push_back({"UTF-8-test.txt", ReadCorpus("utf8/UTF-8-test.txt")});
  s.push_back({"heading.rtf", ReadCorpus("rtf/heading.rtf")});
  return s;
}

}  // namespace OrvGuiBase::CompressTest
