// JsonBench.cpp: JSON2Val and Val2JSON beside RapidJSON (DOM), nlohmann::json and simdjson (DOM).
//
// Groups "Parse/<file>" and "Print/<file>" over the three classic documents (twitter.json,
// citm_catalog.json, canada.json). Throughput is reported as bytes/s of the source text, so the
// ratios compare like with like. Targets: parsing at least 2x nlohmann and 0.7x RapidJSON,
// printing at least as fast as RapidJSON's writer. The parse benchmarks also report the memory
// of the parsed document per byte of text ("doc_per_text"; target at most 4 for orvgui).
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <simdjson.h>
#include <sstream>
#include <string>
#include <unordered_set>

#include "base/data/Json.h"

namespace {

using namespace OrvGuiBase;

const char* const kFiles[] = {"twitter.json", "citm_catalog.json", "canada.json"};

const std::string& Document(int index) {
  static std::string s_texts[3];
  std::string& text = s_texts[index];
  if (text.empty()) {
    std::ifstream in(std::string(ORVGUI_BENCH_CORPUS) + "/json/bench/" + kFiles[index], std::ios::binary);
    std::stringstream all;
    all << in.rdbuf();
    text = all.str();
  }
  return text;
}

// DocumentBytes: the blocks a parsed value holds (shared bodies counted once).
struct DocumentBytes {
  std::unordered_set<const void*> seen;
  size_t bytes = 0;

  void Add(const Val& value) {
    const void* body = value.GetPointer();
    if (!value.IsOwner() || !seen.insert(body).second) return;
    switch (value.GetType()) {
      case VAL_INT:
      case VAL_FLOAT: bytes += 16; break;
      case VAL_STR: bytes += AnsiStr::Imp::GetAllocSize(value.GetStrLength()) + 16; break;
      case VAL_VEC: {
        uint32_t count;
        const Val* items = value.GetVecData(&count);
        bytes += ArrayImp::GetBlockSize(static_cast<const ArrayImp*>(body)->capacity);
        for (uint32_t i = 0; i < count; ++i) Add(items[i]);
        break;
      }
      case VAL_DIC: {
        const ValDic::Imp* map = static_cast<const ValDic::Imp*>(body);
        bytes += sizeof(ValDic::Imp) + ArrayImp::GetBlockSize(map->keys.GetCapacity()) +
                 ArrayImp::GetBlockSize(map->values.GetCapacity());
        for (const ValDic::IndexArray* bucket : map->buckets)
          if (bucket != nullptr) bytes += sizeof(ValDic::IndexArray) + 4 * bucket->capacity;
        for (uint32_t i = 0; i < map->GetCount(); ++i) {
          const AnsiStr& key = map->keys.GetData()[i];
          if (seen.insert(key.GetStr()).second) bytes += AnsiStr::Imp::GetAllocSize(key.GetLength()) + 16;
          Add(map->values.GetData()[i]);
        }
        break;
      }
      default: break;
    }
  }
};

size_t HeapInUse() { return mallinfo2().uordblks; }

void Parse_orvgui(benchmark::State& state, int file) {
  const AnsiStr text(Document(file).data(), static_cast<uint32_t>(Document(file).size()));
  for (auto _ : state) {
    Val value;
    AnsiStr error;
    if (!JSON2Val(text, value, error)) state.SkipWithError(error.GetStr());
    benchmark::DoNotOptimize(value);
  }
  Val value;
  AnsiStr error;
  JSON2Val(text, value, error);
  DocumentBytes size;
  size.Add(value);
  state.counters["doc_per_text"] = static_cast<double>(size.bytes) / text.GetLength();
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.GetLength()));
}

void Parse_rapidjson(benchmark::State& state, int file) {
  const std::string& text = Document(file);
  size_t memory = 0;
  for (auto _ : state) {
    rapidjson::Document doc;
    doc.Parse(text.c_str(), text.size());
    if (doc.HasParseError()) state.SkipWithError("parse error");
    memory = doc.GetAllocator().Size();
    benchmark::DoNotOptimize(doc);
  }
  state.counters["doc_per_text"] = static_cast<double>(memory) / text.size();
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void Parse_nlohmann(benchmark::State& state, int file) {
  const std::string& text = Document(file);
  size_t memory = 0;
  for (auto _ : state) {
    const size_t before = HeapInUse();
    nlohmann::json doc = nlohmann::json::parse(text);
    memory = HeapInUse() - before;
    benchmark::DoNotOptimize(doc);
  }
  state.counters["doc_per_text"] = static_cast<double>(memory) / text.size();
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void Parse_simdjson(benchmark::State& state, int file) {
  const simdjson::padded_string text(Document(file));
  simdjson::dom::parser parser;  // kept across documents, as simdjson is meant to be used
  for (auto _ : state) {
    simdjson::dom::element doc;
    if (parser.parse(text).get(doc) != simdjson::SUCCESS) state.SkipWithError("parse error");
    benchmark::DoNotOptimize(doc);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void Print_orvgui(benchmark::State& state, int file) {
  Val value;
  AnsiStr error;
  JSON2Val(Document(file).c_str(), value, error);
  for (auto _ : state) {
    AnsiStr text;
    if (!Val2JSON(value, text, error, true, false)) state.SkipWithError(error.GetStr());
    benchmark::DoNotOptimize(text);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Document(file).size()));
}

void Print_rapidjson(benchmark::State& state, int file) {
  rapidjson::Document doc;
  doc.Parse(Document(file).c_str());
  for (auto _ : state) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    doc.Accept(writer);
    benchmark::DoNotOptimize(buffer.GetString());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Document(file).size()));
}

void Print_nlohmann(benchmark::State& state, int file) {
  const nlohmann::json doc = nlohmann::json::parse(Document(file));
  for (auto _ : state) benchmark::DoNotOptimize(doc.dump());
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Document(file).size()));
}

void Print_simdjson(benchmark::State& state, int file) {
  simdjson::dom::parser parser;
  simdjson::dom::element doc;
  if (parser.parse(simdjson::padded_string(Document(file))).get(doc) != simdjson::SUCCESS) return;
  for (auto _ : state) benchmark::DoNotOptimize(simdjson::minify(doc));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Document(file).size()));
}

int Register() {
  struct Peer {
    const char* name;
    void (*parse)(benchmark::State&, int);
    void (*print)(benchmark::State&, int);
  };
  const Peer peers[] = {{"orvgui", Parse_orvgui, Print_orvgui},
                        {"rapidjson", Parse_rapidjson, Print_rapidjson},
                        {"nlohmann", Parse_nlohmann, Print_nlohmann},
                        {"simdjson", Parse_simdjson, Print_simdjson}};
  for (int file = 0; file < 3; ++file) {
    std::string stem = kFiles[file];
    stem.erase(stem.find('.'));
    for (const Peer& peer : peers)
      benchmark::RegisterBenchmark(("Parse/" + std::string(peer.name) + "/" + stem).c_str(), peer.parse, file);
    for (const Peer& peer : peers)
      benchmark::RegisterBenchmark(("Print/" + std::string(peer.name) + "/" + stem).c_str(), peer.print, file);
  }
  return 0;
}
const int g_registered = Register();

}  // namespace
