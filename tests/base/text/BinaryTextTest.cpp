// Tests of Base16, Base32, Base36 and Base64: the RFC 4648 test vectors, the line separators of
// Base16, malformed input for every decoder, and random data against GNU basenc as an oracle.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

#include "base/core/LastError.h"
#include "base/text/BinaryText.h"

namespace OrvGuiBase {
namespace {

std::string S(const AnsiStr& s) { return std::string(s.GetStr(), s.GetLength()); }
std::string S(const Blob& b) { return std::string(reinterpret_cast<const char*>(b.GetData()), b.GetLength()); }
AnsiSubStr V(const std::string& s) { return AnsiSubStr(s.data(), static_cast<uint32_t>(s.size())); }
Blob B(const std::string& s) { return Blob(s.data(), static_cast<uint32_t>(s.size())); }

using Decoder = bool (*)(AnsiSubStr, Blob&);
bool B16(AnsiSubStr text, Blob& result) { return B16Str2Binary(text, result); }

std::string Decoded(Decoder decode, const std::string& text) {
  Blob result(B("old"));
  SetLastError(0);
  EXPECT_TRUE(decode(V(text), result)) << text;
  EXPECT_EQ(GetLastError(), 0) << text;
  return S(result);
}

// ExpectRejected: the decoder fails with the given error and leaves the caller's blob alone.
void ExpectRejected(Decoder decode, const std::string& text, int error, const char* why) {
  Blob result(B("old"));
  SetLastError(0);
  EXPECT_FALSE(decode(V(text), result)) << why << ": " << text;
  EXPECT_EQ(GetLastError(), error) << why << ": " << text;
  EXPECT_EQ(S(result), "old") << why;
}

TEST(BinaryText, RFC4648TestVectors) {
  struct Row {
    std::string data, b64, b32, b16;
  };
  const Row rows[] = {
      {"", "", "", ""},
      {"f", "Zg==", "MY======", "66"},
      {"fo", "Zm8=", "MZXQ====", "666F"},
      {"foo", "Zm9v", "MZXW6===", "666F6F"},
      {"foob", "Zm9vYg==", "MZXW6YQ=", "666F6F62"},
      {"fooba", "Zm9vYmE=", "MZXW6YTB", "666F6F6261"},
      {"foobar", "Zm9vYmFy", "MZXW6YTBOI======", "666F6F626172"},
  };
  for (const Row& row : rows) {
    const Blob data = B(row.data);
    EXPECT_EQ(S(Binary2B64Str(data)), row.b64);
    EXPECT_EQ(S(Binary2B32Str(data)), row.b32);
    EXPECT_EQ(S(Binary2B16Str(data)), row.b16);
    EXPECT_EQ(Decoded(B64Str2Binary, row.b64), row.data);
    EXPECT_EQ(Decoded(B32Str2Binary, row.b32), row.data);
    EXPECT_EQ(Decoded(B16, row.b16), row.data);
    // Without padding, and Base32 in lower case, the texts read the same.
    std::string bare64 = row.b64, bare32 = row.b32;
    bare64.erase(bare64.find_last_not_of('=') + 1);
    bare32.erase(bare32.find_last_not_of('=') + 1);
    if (row.data.empty()) bare64.clear(), bare32.clear();
    EXPECT_EQ(Decoded(B64Str2Binary, bare64), row.data);
    EXPECT_EQ(Decoded(B32Str2Binary, bare32), row.data);
    for (char& c : bare32) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    EXPECT_EQ(Decoded(B32Str2Binary, bare32), row.data);
    // The URL form differs only in its last two characters and writes no padding.
    EXPECT_EQ(S(Binary2B64UrlStr(data)), row.data.empty() ? "" : bare64);
  }
  const std::string high("\xFB\xFF\xBE", 3);
  EXPECT_EQ(S(Binary2B64Str(B(high))), "+/++");
  EXPECT_EQ(S(Binary2B64UrlStr(B(high))), "-_--");
  EXPECT_EQ(Decoded(B64UrlStr2Binary, "-_--"), high);
  EXPECT_EQ(Decoded(B64UrlStr2Binary, "-w=="), "\xFB");
  EXPECT_EQ(Decoded(B64UrlStr2Binary, "-w"), "\xFB");
}

TEST(BinaryText, Base16LinesAndTolerantDecoding) {
  std::string bytes;
  for (int i = 0; i < 70; ++i) bytes += static_cast<char>(i * 7);
  const std::string text = S(Binary2B16Str(B(bytes), "\r\n"));
  EXPECT_EQ(text.size(), 140u + 2 * 2) << "lines of 32 bytes: two separators";
  EXPECT_EQ(text.find("\r\n"), 64u);
  EXPECT_EQ(text.rfind("\r\n"), 64u + 2 + 64);
  EXPECT_NE(text.substr(text.size() - 2), "\r\n") << "no separator after the last line";
  EXPECT_EQ(Decoded(B16, text), bytes);

  struct Row {
    const char* separator;
    uint32_t lineBytes;
    std::string data, expected;
  };
  const Row rows[] = {
      {"\r\n", 2, "\xAB\xCD\xEF", "ABCD\r\nEF"},
      {"\n", 2, "\x01\x02\x03\x04\x05", "0102\n0304\n05"},
      {", ", 1, "\x0A\xFF", "0A, FF"},
      {"\r\n", 0, "\x01\x02\x03", "010203"},
      {"", 1, "\x01\x02", "0102"},
      {"\r\n", 32, "", ""},
  };
  for (const Row& row : rows) {
    const std::string written = S(Binary2B16Str(B(row.data), row.separator, row.lineBytes));
    EXPECT_EQ(written, row.expected) << row.separator;
    Blob back;
    EXPECT_TRUE(B16Str2Binary(V(written), back, row.separator)) << written;
    EXPECT_EQ(S(back), row.data);
  }

  EXPECT_EQ(Decoded(B16, " 0a Ff\r\n\t10\n"), "\x0A\xFF\x10") << "lower case and white space between bytes";
  Blob back;
  EXPECT_TRUE(B16Str2Binary("01::02::03", back, "::"));
  EXPECT_EQ(S(back), "\x01\x02\x03");
  for (const char* bad : {"0", "012", "0 1", "0\r\n1", "G0", "01-02", "0x01", "01\xC3\xA9"})
    ExpectRejected(B16, bad, EINVAL, "not Base16");
  SetLastError(0);
  EXPECT_FALSE(B16Str2Binary("0::1", back, "::")) << "a separator inside a byte";
  EXPECT_EQ(GetLastError(), EINVAL);
}

TEST(BinaryText, MalformedBase32AndBase64) {
  struct Row {
    Decoder decode;
    const char* text;
    const char* why;
  };
  const Row rows[] = {
      {B64Str2Binary, "Zg=", "padding does not complete the block"},
      {B64Str2Binary, "Zg===", "too much padding"},
      {B64Str2Binary, "Zm9v====", "padding after a whole block"},
      {B64Str2Binary, "Z", "one character carries no byte"},
      {B64Str2Binary, "Zm9vY", "five characters"},
      {B64Str2Binary, "Zh==", "trailing bits not zero"},
      {B64Str2Binary, "Zm9=", "trailing bits not zero, one pad"},
      {B64Str2Binary, "Zm=9", "'=' inside"},
      {B64Str2Binary, "Zm9v\nYmFy", "line break"},
      {B64Str2Binary, "Zm 9v", "blank"},
      {B64Str2Binary, "Zm9-", "URL alphabet in the standard form"},
      {B64UrlStr2Binary, "Zm9+", "standard alphabet in the URL form"},
      {B64Str2Binary, "=", "only padding"},
      {B32Str2Binary, "MY=====", "short padding"},
      {B32Str2Binary, "M", "one character"},
      {B32Str2Binary, "MZX", "three characters"},
      {B32Str2Binary, "MZXW6Y", "six characters"},
      {B32Str2Binary, "MZ======", "trailing bits not zero"},
      {B32Str2Binary, "M1======", "digit 1 is not in the alphabet"},
      {B32Str2Binary, "MZXW6YTB0I======", "digit 0 is not in the alphabet"},
      {B32Str2Binary, "MZXW6===MZXW6===", "padding inside"},
  };
  for (const Row& row : rows) ExpectRejected(row.decode, row.text, EINVAL, row.why);
}

TEST(BinaryText, Base36NumbersAndBytes) {
  struct Number {
    uint64_t value;
    const char* text;
  };
  const Number numbers[] = {{0, "0"},     {35, "Z"},       {36, "10"},
                            {1295, "ZZ"}, {46656, "1000"}, {UINT64_MAX, "3W5E11264SGSF"}};
  for (const Number& n : numbers) {
    EXPECT_EQ(S(UInt2B36Str(n.value)), n.text);
    uint64_t back = 1;
    EXPECT_TRUE(B36Str2UInt(n.text, back));
    EXPECT_EQ(back, n.value);
  }
  uint64_t value = 77;
  EXPECT_TRUE(B36Str2UInt("zz", value));
  EXPECT_EQ(value, 1295u) << "lower case";
  struct BadNumber {
    const char* text;
    int error;
  };
  for (const BadNumber& bad :
       {BadNumber{"", EINVAL}, BadNumber{"-1", EINVAL}, BadNumber{" 1", EINVAL}, BadNumber{"1_0", EINVAL},
        BadNumber{"3W5E11264SGSG", ERANGE}, BadNumber{"ZZZZZZZZZZZZZZ", ERANGE}}) {
    value = 77;
    SetLastError(0);
    EXPECT_FALSE(B36Str2UInt(bad.text, value)) << bad.text;
    EXPECT_EQ(GetLastError(), bad.error) << bad.text;
    EXPECT_EQ(value, 77u) << "left alone";
  }

  struct Bytes {
    std::string data;
    const char* text;
    const char* why;
  };
  const Bytes rows[] = {
      {"", "", "nothing"},
      {std::string(1, '\0'), "0", "one zero byte"},
      {std::string("\0\0\x01", 3), "001", "leading zero bytes are '0's"},
      {std::string("\x01\x00", 2), "74", "256"},
      {"\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF", "3W5E11264SGSF", "the same as the number"},
      {"Hello", "3YUD78MN", "text as a number"},
  };
  for (const Bytes& row : rows) {
    EXPECT_EQ(S(Binary2B36Str(B(row.data))), row.text) << row.why;
    EXPECT_EQ(Decoded(B36Str2Binary, row.text), row.data) << row.why;
  }
  EXPECT_EQ(Decoded(B36Str2Binary, "3yud78mn"), "Hello");
  ExpectRejected(B36Str2Binary, "12 3", EINVAL, "blank");
  ExpectRejected(B36Str2Binary, "+1", EINVAL, "sign");
  ExpectRejected(B36Str2Binary, std::string(6401, '1'), ERANGE, "past the digit limit");

  const std::string limit(4096, '\xFF');
  const AnsiStr longest = Binary2B36Str(B(limit));
  EXPECT_EQ(Decoded(B36Str2Binary, S(longest)), limit) << "the largest accepted input round-trips";
  SetLastError(0);
  EXPECT_TRUE(Binary2B36Str(B(limit + "x")).IsEmpty());
  EXPECT_EQ(GetLastError(), ERANGE);
}

TEST(BinaryText, NullDataWithALengthIsRefused) {
  using Encoder = AnsiStr (*)(const void*, uint32_t);
  for (Encoder encode :
       {Encoder{&Binary2B32Str}, Encoder{&Binary2B64Str}, Encoder{&Binary2B64UrlStr}, Encoder{&Binary2B36Str}}) {
    SetLastError(0);
    EXPECT_TRUE(encode(nullptr, 3).IsEmpty());
    EXPECT_EQ(GetLastError(), EINVAL);
    EXPECT_TRUE(encode(nullptr, 0).IsEmpty());
  }
  SetLastError(0);
  EXPECT_TRUE(Binary2B16Str(nullptr, 3).IsEmpty());
  EXPECT_EQ(GetLastError(), EINVAL);
}

// Random data, every length up to a few blocks: every encoder round-trips, and matches GNU
// basenc, a peer implementation of the same RFC.
TEST(BinaryText, RandomDataAgainstBasenc) {
  std::mt19937 random(4648);
  std::vector<std::string> samples;
  for (int length = 0; length < 40; ++length) {
    std::string bytes(length, '\0');
    for (char& c : bytes) c = static_cast<char>(random());
    samples.push_back(bytes);
  }
  for (const std::string& bytes : samples) {
    const Blob data = B(bytes);
    EXPECT_EQ(Decoded(B16, S(Binary2B16Str(data, "\r\n", 5))), bytes);
    EXPECT_EQ(Decoded(B32Str2Binary, S(Binary2B32Str(data))), bytes);
    EXPECT_EQ(Decoded(B64Str2Binary, S(Binary2B64Str(data))), bytes);
    EXPECT_EQ(Decoded(B64UrlStr2Binary, S(Binary2B64UrlStr(data))), bytes);
    EXPECT_EQ(Decoded(B36Str2Binary, S(Binary2B36Str(data))), bytes);
  }

  if (access("/usr/bin/basenc", X_OK) != 0) GTEST_SKIP() << "GNU basenc is not installed";
  char directory[] = "/tmp/orvgui-basenc-XXXXXX";
  ASSERT_NE(mkdtemp(directory), nullptr);
  const std::string file = std::string(directory) + "/data";
  for (const std::string& bytes : samples) {
    FILE* out = fopen(file.c_str(), "wb");
    ASSERT_NE(out, nullptr);
    fwrite(bytes.data(), 1, bytes.size(), out);
    fclose(out);
    const Blob data = B(bytes);
    struct Peer {
      const char* option;
      std::string ours;
    };
    std::string url = S(Binary2B64UrlStr(data));
    url.append((4 - url.size() % 4) % 4, '=');  // basenc pads its URL form
    for (const Peer& peer : {Peer{"--base16", S(Binary2B16Str(data))}, Peer{"--base32", S(Binary2B32Str(data))},
                             Peer{"--base64", S(Binary2B64Str(data))}, Peer{"--base64url", url}}) {
      const std::string command = std::string("/usr/bin/basenc -w0 ") + peer.option + " " + file;
      FILE* pipe = popen(command.c_str(), "r");
      ASSERT_NE(pipe, nullptr);
      std::string theirs;
      char buffer[256];
      for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) theirs.append(buffer, n);
      EXPECT_EQ(pclose(pipe), 0);
      EXPECT_EQ(peer.ours, theirs) << peer.option << " of " << bytes.size() << " bytes";
    }
  }
  unlink(file.c_str());
  rmdir(directory);
}

}  // namespace
}  // namespace OrvGuiBase
