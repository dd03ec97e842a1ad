// UtfBench.cpp: the UTF conversions and the validator beside glibc iconv, ICU, utfcpp and the C
// runtime's mbstowcs/wcstombs (C.UTF-8), on about 1 MiB of text in each of six scripts.
//
// Groups: IsValidUTF8, UTF8toUTF16, UTF8toUTF32, UTF16toUTF8, UTF16toUTF32, UTF32toUTF8,
// UTF32toUTF16; inputs: ascii, french, russian, arabic, chinese, emoji. Names read
// "<group>/<implementation>/<input>", throughput counts source bytes. Targets: IsValidUTF8 at
// least 8 GB/s on ascii and 2 GB/s on chinese; UTF8toUTF16 and UTF8toUTF32 at least 3 GB/s on
// ascii and 0.8 GB/s on chinese; every conversion at least 4x iconv and 1.5x ICU everywhere.
// The text is generated from fixed word lists with a fixed seed, so every run sees the same.
#include <benchmark/benchmark.h>
#include <iconv.h>
#include <unicode/ucnv.h>
#include <unicode/ustring.h>
#include <utf8cpp/utf8.h>

#include <clocale>
#include <cstdlib>
#include <cwchar>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "base/text/Utf.h"

namespace {

using namespace OrvGuiBase;

struct Script {
  const char* name;
  std::vector<const char*> words;
  const char* separator;  // between words
  const char* comma;
  const char* stop;
};

const std::vector<Script>& Scripts() {
  static const std::vector<Script> scripts = {
      {"ascii",
       {"the",     "quick", "brown",  "fox",     "jumps",    "over",       "lazy",    "dog",    "time",
        "people",  "year",  "way",    "day",     "thing",    "world",      "life",    "hand",   "part",
        "child",   "place", "work",   "week",    "case",     "point",      "company", "number", "group",
        "problem", "fact",  "system", "program", "question", "government", "night",   "home"},
       " ",
       ",",
       "."},
      {"french",
       {"été",     "déjà", "où",    "très",    "français", "garçon",   "élève",    "hôpital",  "forêt", "château",
        "fenêtre", "cœur", "naïve", "bientôt", "à",        "après",    "leçon",    "maître",   "être",  "voilà",
        "crème",   "rôle", "le",    "la",      "les",      "des",      "une",      "et",       "dans",  "pour",
        "avec",    "nous", "vous",  "mais",    "comme",    "plus",     "sur",      "chez",     "temps", "maison",
        "travail", "jour", "monde", "ville",   "enfant",   "question", "histoire", "toujours", "encore"},
       " ",
       ",",
       "."},
      {"russian",
       {"привет", "мир",    "как",     "дела",    "это",       "очень",   "хорошо",  "спасибо", "сегодня",
        "завтра", "россия", "москва",  "человек", "время",     "жизнь",   "работа",  "слово",   "место",
        "город",  "вопрос", "большой", "новый",   "последний", "русский", "который", "должен",  "можно",
        "нужно",  "потому", "когда",   "и",       "в",         "не",      "на",      "с"},
       " ",
       ",",
       "."},
      {"arabic",
       {"مرحبا", "السلام", "عليكم", "كيف",  "حالك", "شكرا", "اليوم", "غدا",  "كتاب",  "مدرسة",
        "بيت",   "سيارة",  "مدينة", "عالم", "حياة", "عمل",  "كلمة",  "وقت",  "إنسان", "جميل",
        "كبير",  "جديد",   "في",    "من",   "إلى",  "على",  "هذا",   "التي", "الذي",  "كان"},
       " ",
       "،",
       "."},
      {"chinese",
       {"的",   "一",   "是",   "不",   "了",   "人",   "我",   "在",   "有",  "他", "这",   "中",   "大",   "来",
        "上",   "国",   "个",   "到",   "说",   "们",   "为",   "子",   "和",  "你", "地",   "出",   "道",   "也",
        "时",   "年",   "得",   "就",   "那",   "要",   "下",   "以",   "生",  "会", "自",   "着",   "去",   "之",
        "过",   "家",   "学",   "对",   "可",   "她",   "里",   "后",   "小",  "么", "心",   "多",   "天",   "而",
        "能",   "好",   "都",   "然",   "没",   "日",   "于",   "起",   "还",  "发", "成",   "事",   "只",   "作",
        "当",   "想",   "看",   "文",   "无",   "开",   "手",   "十",   "用",  "主", "行",   "方",   "又",   "如",
        "前",   "所",   "本",   "见",   "经",   "头",   "面",   "公",   "同",  "三", "已",   "老",   "从",   "动",
        "两",   "长",   "知",   "民",   "样",   "现",   "分",   "将",   "外",  "但", "中国", "世界", "时间", "问题",
        "工作", "发展", "我们", "他们", "社会", "经济", "北京", "上海", "2024"},
       "",
       "，",
       "。"},
      {"emoji",
       {"great", "day",  "lol", "ok", "love", "it", "😀", "😂", "🎉", "🚀",    "❤️", "👍", "🔥", "✨", "🙏",
        "😍",     "🥳", "🌈",   "🍕",  "☕",    "🐱",  "🎶", "💯", "😎", "🤔", "👀",      "🌟", "🍀", "😭", "🤣"},
       " ",
       "!",
       "!"},
  };
  return scripts;
}

// About 1 MiB of text: words with separators, a comma now and then, sentences, lines.
std::string Generate(const Script& script) {
  std::mt19937 rng(12345);
  std::string text;
  int inSentence = 0;
  while (text.size() < (1u << 20)) {
    text += script.words[rng() % script.words.size()];
    ++inSentence;
    const unsigned roll = rng() % 100;
    if (inSentence > 6 && roll < 12) {
      text += script.stop;
      text += rng() % 4 == 0 ? "\n" : script.separator[0] ? script.separator : "";
      inSentence = 0;
    } else if (roll < 20) {
      text += script.comma;
      text += script.separator;
    } else {
      text += script.separator;
    }
  }
  return text;
}

// An input in all three encodings (UTF-32 also as wchar_t for the C runtime).
struct Input {
  std::string utf8;
  std::vector<char16_t> utf16;
  std::vector<char32_t> utf32;
  std::vector<wchar_t> wide;  // NUL-terminated
};

const Input& GetInput(const char* name) {
  static std::map<std::string, Input> inputs;
  Input& input = inputs[name];
  if (input.utf8.empty()) {
    for (const Script& script : Scripts())
      if (std::string(script.name) == name) input.utf8 = Generate(script);
    const uint32_t n = static_cast<uint32_t>(input.utf8.size());
    input.utf16.resize(UTF8toUTF16(input.utf8.data(), n, nullptr, 0));
    UTF8toUTF16(input.utf8.data(), n, input.utf16.data(), static_cast<uint32_t>(input.utf16.size()));
    input.utf32.resize(UTF8toUTF32(input.utf8.data(), n, nullptr, 0));
    UTF8toUTF32(input.utf8.data(), n, input.utf32.data(), static_cast<uint32_t>(input.utf32.size()));
    input.wide.assign(input.utf32.begin(), input.utf32.end());
    input.wide.push_back(0);
  }
  return input;
}

template <class T>
size_t BytesOf(const std::vector<T>& v) {
  return v.size() * sizeof(T);
}

// Reports throughput in source bytes, or an error when a run produced the wrong length.
void Finish(benchmark::State& state, size_t sourceBytes, size_t produced, size_t expected) {
  if (produced != expected)
    state.SkipWithError(("produced " + std::to_string(produced) + ", expected " + std::to_string(expected)).c_str());
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * sourceBytes));
}

// One iconv descriptor per benchmark, reset after each conversion.
size_t IconvConvert(iconv_t cd, const void* source, size_t bytes, void* target, size_t capacity) {
  char* in = static_cast<char*>(const_cast<void*>(source));
  char* out = static_cast<char*>(target);
  size_t inLeft = bytes, outLeft = capacity;
  const size_t rc = iconv(cd, &in, &inLeft, &out, &outLeft);
  iconv(cd, nullptr, nullptr, nullptr, nullptr);
  return rc == static_cast<size_t>(-1) ? 0 : capacity - outLeft;
}

// ICU's converters between two encodings (for the pairs without a u_str function).
size_t IcuConvert(UConverter* to, UConverter* from, const char* source, size_t bytes, char* target, size_t capacity) {
  UErrorCode error = U_ZERO_ERROR;
  char* out = target;
  const char* in = source;
  UChar pivot[1024];
  UChar* pivotSource = pivot;
  UChar* pivotTarget = pivot;
  ucnv_convertEx(to, from, &out, target + capacity, &in, source + bytes, pivot, &pivotSource, &pivotTarget,
                 pivot + 1024, true, true, &error);
  ucnv_reset(to);
  ucnv_reset(from);
  return U_FAILURE(error) ? 0 : static_cast<size_t>(out - target);
}

// ---- The benchmarks ---------------------------------------------------------------------------

// The C runtime is mbstowcs from UTF-8 and wcstombs to it.
enum class Impl { kOrvgui, kIconv, kIcu, kUtfcpp, kCRuntime };

void Validate(benchmark::State& state, Impl impl, const char* name) {
  const Input& in = GetInput(name);
  const std::string& s = in.utf8;
  bool ok = true;
  for (auto _ : state) {
    if (impl == Impl::kOrvgui) ok = IsValidUTF8(s.data(), s.size());
    if (impl == Impl::kUtfcpp) ok = utf8::is_valid(s.begin(), s.end());
    if (impl == Impl::kIcu) {
      UErrorCode error = U_ZERO_ERROR;
      int32_t length = 0;
      u_strFromUTF8(nullptr, 0, &length, s.data(), static_cast<int32_t>(s.size()), &error);
      ok = error == U_BUFFER_OVERFLOW_ERROR;
    }
    if (impl == Impl::kCRuntime) ok = mbstowcs(nullptr, s.c_str(), 0) != static_cast<size_t>(-1);
    benchmark::DoNotOptimize(ok);
  }
  Finish(state, s.size(), ok, 1);
}

void Utf8To16(benchmark::State& state, Impl impl, const char* name) {
  const Input& in = GetInput(name);
  std::vector<char16_t> out(in.utf16.size() + 64);
  iconv_t cd = iconv_open("UTF-16LE", "UTF-8");
  size_t produced = 0;
  const uint32_t n = static_cast<uint32_t>(in.utf8.size());
  for (auto _ : state) {
    if (impl == Impl::kOrvgui) produced = UTF8toUTF16(in.utf8.data(), n, out.data(), static_cast<uint32_t>(out.size()));
    if (impl == Impl::kIconv) produced = IconvConvert(cd, in.utf8.data(), n, out.data(), BytesOf(out)) / 2;
    if (impl == Impl::kUtfcpp) produced = utf8::utf8to16(in.utf8.begin(), in.utf8.end(), out.data()) - out.data();
    if (impl == Impl::kIcu) {
      UErrorCode error = U_ZERO_ERROR;
      int32_t length = 0;
      u_strFromUTF8(reinterpret_cast<UChar*>(out.data()), static_cast<int32_t>(out.size()), &length, in.utf8.data(),
                    static_cast<int32_t>(n), &error);
      produced = U_SUCCESS(error) ? static_cast<size_t>(length) : 0;
    }
    benchmark::DoNotOptimize(out.data());
  }
  iconv_close(cd);
  Finish(state, n, produced, in.utf16.size());
}

void Utf8To32(benchmark::State& state, Impl impl, const char* name) {
  const Input& in = GetInput(name);
  std::vector<char32_t> out(in.utf32.size() + 64);
  iconv_t cd = iconv_open("UTF-32LE", "UTF-8");
  UErrorCode error = U_ZERO_ERROR;
  UConverter* to = ucnv_open("UTF-32LE", &error);
  UConverter* from = ucnv_open("UTF-8", &error);
  size_t produced = 0;
  const uint32_t n = static_cast<uint32_t>(in.utf8.size());
  for (auto _ : state) {
    if (impl == Impl::kOrvgui) produced = UTF8toUTF32(in.utf8.data(), n, out.data(), static_cast<uint32_t>(out.size()));
    if (impl == Impl::kIconv) produced = IconvConvert(cd, in.utf8.data(), n, out.data(), BytesOf(out)) / 4;
    if (impl == Impl::kUtfcpp) produced = utf8::utf8to32(in.utf8.begin(), in.utf8.end(), out.data()) - out.data();
    if (impl == Impl::kIcu)
      produced = IcuConvert(to, from, in.utf8.data(), n, reinterpret_cast<char*>(out.data()), BytesOf(out)) / 4;
    if (impl == Impl::kCRuntime)
      produced = mbstowcs(reinterpret_cast<wchar_t*>(out.data()), in.utf8.c_str(), out.size());
    benchmark::DoNotOptimize(out.data());
  }
  ucnv_close(to);
  ucnv_close(from);
  iconv_close(cd);
  Finish(state, n, produced, in.utf32.size());
}

void Utf16To8(benchmark::State& state, Impl impl, const char* name) {
  const Input& in = GetInput(name);
  std::vector<char> out(in.utf8.size() + 64);
  iconv_t cd = iconv_open("UTF-8", "UTF-16LE");
  size_t produced = 0;
  const uint32_t n = static_cast<uint32_t>(in.utf16.size());
  for (auto _ : state) {
    if (impl == Impl::kOrvgui)
      produced = UTF16toUTF8(in.utf16.data(), n, out.data(), static_cast<uint32_t>(out.size()));
    if (impl == Impl::kIconv) produced = IconvConvert(cd, in.utf16.data(), BytesOf(in.utf16), out.data(), out.size());
    if (impl == Impl::kUtfcpp) produced = utf8::utf16to8(in.utf16.begin(), in.utf16.end(), out.data()) - out.data();
    if (impl == Impl::kIcu) {
      UErrorCode error = U_ZERO_ERROR;
      int32_t length = 0;
      u_strToUTF8(out.data(), static_cast<int32_t>(out.size()), &length,
                  reinterpret_cast<const UChar*>(in.utf16.data()), static_cast<int32_t>(n), &error);
      produced = U_SUCCESS(error) ? static_cast<size_t>(length) : 0;
    }
    benchmark::DoNotOptimize(out.data());
  }
  iconv_close(cd);
  Finish(state, BytesOf(in.utf16), produced, in.utf8.size());
}

void Utf16To32(benchmark::State& state, Impl impl, const char* name) {
  const Input& in = GetInput(name);
  std::vector<char32_t> out(in.utf32.size() + 64);
  iconv_t cd = iconv_open("UTF-32LE", "UTF-16LE");
  size_t produced = 0;
  const uint32_t n = static_cast<uint32_t>(in.utf16.size());
  for (auto _ : state) {
    if (impl == Impl::kOrvgui)
      produced = UTF16toUTF32(in.utf16.data(), n, out.data(), static_cast<uint32_t>(out.size()));
    if (impl == Impl::kIconv)
      produced = IconvConvert(cd, in.utf16.data(), BytesOf(in.utf16), out.data(), BytesOf(out)) / 4;
    if (impl == Impl::kIcu) {
      UErrorCode error = U_ZERO_ERROR;
      int32_t length = 0;
      u_strToUTF32(reinterpret_cast<UChar32*>(out.data()), static_cast<int32_t>(out.size()), &length,
                   reinterpret_cast<const UChar*>(in.utf16.data()), static_cast<int32_t>(n), &error);
      produced = U_SUCCESS(error) ? static_cast<size_t>(length) : 0;
    }
    benchmark::DoNotOptimize(out.data());
  }
  iconv_close(cd);
  Finish(state, BytesOf(in.utf16), produced, in.utf32.size());
}

void Utf32To8(benchmark::State& state, Impl impl, const char* name) {
  const Input& in = GetInput(name);
  std::vector<char> out(in.utf8.size() + 64);
  iconv_t cd = iconv_open("UTF-8", "UTF-32LE");
  UErrorCode error = U_ZERO_ERROR;
  UConverter* to = ucnv_open("UTF-8", &error);
  UConverter* from = ucnv_open("UTF-32LE", &error);
  size_t produced = 0;
  const uint32_t n = static_cast<uint32_t>(in.utf32.size());
  for (auto _ : state) {
    if (impl == Impl::kOrvgui)
      produced = UTF32toUTF8(in.utf32.data(), n, out.data(), static_cast<uint32_t>(out.size()));
    if (impl == Impl::kIconv) produced = IconvConvert(cd, in.utf32.data(), BytesOf(in.utf32), out.data(), out.size());
    if (impl == Impl::kUtfcpp) produced = utf8::utf32to8(in.utf32.begin(), in.utf32.end(), out.data()) - out.data();
    if (impl == Impl::kIcu) {
      produced = IcuConvert(to, from, reinterpret_cast<const char*>(in.utf32.data()), BytesOf(in.utf32), out.data(),
                            out.size());
    }
    if (impl == Impl::kCRuntime) produced = wcstombs(out.data(), in.wide.data(), out.size());
    benchmark::DoNotOptimize(out.data());
  }
  ucnv_close(to);
  ucnv_close(from);
  iconv_close(cd);
  Finish(state, BytesOf(in.utf32), produced, in.utf8.size());
}

void Utf32To16(benchmark::State& state, Impl impl, const char* name) {
  const Input& in = GetInput(name);
  std::vector<char16_t> out(in.utf16.size() + 64);
  iconv_t cd = iconv_open("UTF-16LE", "UTF-32LE");
  size_t produced = 0;
  const uint32_t n = static_cast<uint32_t>(in.utf32.size());
  for (auto _ : state) {
    if (impl == Impl::kOrvgui)
      produced = UTF32toUTF16(in.utf32.data(), n, out.data(), static_cast<uint32_t>(out.size()));
    if (impl == Impl::kIconv)
      produced = IconvConvert(cd, in.utf32.data(), BytesOf(in.utf32), out.data(), BytesOf(out)) / 2;
    if (impl == Impl::kIcu) {
      UErrorCode error = U_ZERO_ERROR;
      int32_t length = 0;
      u_strFromUTF32(reinterpret_cast<UChar*>(out.data()), static_cast<int32_t>(out.size()), &length,
                     reinterpret_cast<const UChar32*>(in.utf32.data()), static_cast<int32_t>(n), &error);
      produced = U_SUCCESS(error) ? static_cast<size_t>(length) : 0;
    }
    benchmark::DoNotOptimize(out.data());
  }
  iconv_close(cd);
  Finish(state, BytesOf(in.utf32), produced, in.utf16.size());
}

struct Group {
  const char* name;
  void (*run)(benchmark::State&, Impl, const char*);
  std::vector<Impl> implementations;
};

const char* NameOf(Impl impl, const char* group) {
  switch (impl) {
    case Impl::kOrvgui:
      return "orvgui";
    case Impl::kIconv:
      return "iconv";
    case Impl::kIcu:
      return "icu";
    case Impl::kUtfcpp:
      return "utfcpp";
    case Impl::kCRuntime:
      return std::string(group).starts_with("UTF32") ? "wcstombs" : "mbstowcs";
  }
  return "";
}

const bool kRegistered = [] {
  setlocale(LC_ALL, "C.UTF-8");  // for mbstowcs and wcstombs
  const Group groups[] = {
      {"IsValidUTF8", Validate, {Impl::kOrvgui, Impl::kIcu, Impl::kUtfcpp, Impl::kCRuntime}},
      {"UTF8toUTF16", Utf8To16, {Impl::kOrvgui, Impl::kIconv, Impl::kIcu, Impl::kUtfcpp}},
      {"UTF8toUTF32", Utf8To32, {Impl::kOrvgui, Impl::kIconv, Impl::kIcu, Impl::kUtfcpp, Impl::kCRuntime}},
      {"UTF16toUTF8", Utf16To8, {Impl::kOrvgui, Impl::kIconv, Impl::kIcu, Impl::kUtfcpp}},
      {"UTF16toUTF32", Utf16To32, {Impl::kOrvgui, Impl::kIconv, Impl::kIcu}},
      {"UTF32toUTF8", Utf32To8, {Impl::kOrvgui, Impl::kIconv, Impl::kIcu, Impl::kUtfcpp, Impl::kCRuntime}},
      {"UTF32toUTF16", Utf32To16, {Impl::kOrvgui, Impl::kIconv, Impl::kIcu}},
  };
  for (const Group& group : groups)
    for (const Script& script : Scripts())
      for (Impl impl : group.implementations) {
        const std::string name = std::string(group.name) + "/" + NameOf(impl, group.name) + "/" + script.name;
        benchmark::RegisterBenchmark(name.c_str(), [run = group.run, impl, name = script.name](
                                                       benchmark::State& state) { run(state, impl, name); });
      }
  return true;
}();

}  // namespace
