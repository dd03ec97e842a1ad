// Tests of compressed memory files, chunk files and the chunk stream, on real files.
#include <gtest/gtest.h>
#include <zlib.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "base/compress/Checksum.h"
#include "base/compress/VerifiedChunk.h"
#include "base/core/LastError.h"
#include "base/fs/FileStreams.h"
#include "base/fs/MemoryFile.h"
#include "tests/base/compress/CompressTestData.h"
#include "tests/base/fs/FsTestDirectory.h"

namespace OrvGuiBase {
namespace {

using namespace CompressTest;
using CompressFileTest = FsTest;

Bytes Content(const MemoryFile& m) {
  return Bytes(reinterpret_cast<const uint8_t*>(m.GetData()), reinterpret_cast<const uint8_t*>(m.GetData()) + m.GetSize());
}

TEST_F(CompressFileTest, MemoryFileDeflatesAndInflatesItsContent) {
  for (const Sample& s : Samples()) {
    for (bool onDisk : {false, true}) {
      MemoryFile m;
      const std::string path = P("content.bin");
      ASSERT_TRUE(m.Create(onDisk ? File(path.c_str()) : File(), s.data.size()));
      if (!s.data.empty()) std::memcpy(m.GetData(), s.data.data(), s.data.size());
      ASSERT_TRUE(m.Deflate()) << s.name;
      // The frame: mark, size, then a zlib stream that zlib itself reads back.
      const Bytes framed = Content(m);
      ASSERT_GE(framed.size(), 12u);
      EXPECT_EQ(std::memcmp(framed.data(), "OMZ1", 4), 0);
      uint64_t size = 0;
      for (int i = 0; i < 8; ++i) size |= uint64_t{framed[4 + i]} << (8 * i);
      EXPECT_EQ(size, s.data.size());
      Bytes viaZlib(s.data.size() + 1);
      uLongf got = viaZlib.size();
      EXPECT_EQ(uncompress(viaZlib.data(), &got, framed.data() + 12, framed.size() - 12), Z_OK) << s.name;
      viaZlib.resize(got);
      EXPECT_TRUE(viaZlib == s.data) << s.name;
      ASSERT_TRUE(m.Inflate()) << s.name << ": " << GetLastErrorMessage().GetStr();
      EXPECT_TRUE(Content(m) == s.data) << s.name;
      ASSERT_TRUE(m.Close());
      if (onDisk) {
        EXPECT_EQ(Read("content.bin").size(), s.data.size());  // the file holds the content
      }
    }
  }
}

TEST_F(CompressFileTest, MemoryFileInflateRefusesBadFrames) {
  const Bytes text = Words(50000, 1);
  MemoryFile good;
  ASSERT_TRUE(good.Create(File(), text.size()));
  std::memcpy(good.GetData(), text.data(), text.size());
  ASSERT_TRUE(good.Deflate(9));
  const Bytes framed = Content(good);
  auto patched = [&](size_t pos, uint8_t value) { Bytes b = framed; b[pos] = value; return b; };
  Bytes cut(framed.begin(), framed.end() - 1);

  struct Case {
    const char* reason;
    Bytes frame;
    unsigned long limit;
    int error;
    const char* message;
  } cases[] = {
      {"no mark", patched(0, 'X'), ~0ul, kErrorMessageCode, "inflate: not a compressed memory file (no \"OMZ1\" mark)"},
      {"shorter than a frame", Bytes{'O', 'M', 'Z', '1'}, ~0ul, kErrorMessageCode, "inflate: not a compressed memory file (no \"OMZ1\" mark)"},
      {"size says less", patched(4, static_cast<uint8_t>(framed[4] - 1)), ~0ul, kErrorMessageCode, "inflate: content longer than its frame says"},
      {"size says more", patched(4, static_cast<uint8_t>(framed[4] + 1)), ~0ul, kErrorMessageCode, "inflate: content shorter than its frame says"},
      {"stream cut", cut, ~0ul, kErrorMessageCode, "inflate: unexpected end of input (truncated stream)"},
      {"past the caller's limit", framed, 49999, E2BIG, "inflate: output exceeds the limit of 49999 bytes"},
  };
  for (const Case& c : cases) {
    MemoryFile m;
    ASSERT_TRUE(m.Create(File(), c.frame.size()));
    std::memcpy(m.GetData(), c.frame.data(), c.frame.size());
    EXPECT_FALSE(m.Inflate(c.limit)) << c.reason;
    EXPECT_EQ(GetLastError(), c.error) << c.reason;
    EXPECT_STREQ(GetLastErrorMessage().GetStr(), c.message) << c.reason;
    EXPECT_TRUE(Content(m) == c.frame) << c.reason << ": content changed by a failed Inflate";
  }
  // A read-only map is not changed.
  Write("plain.txt", "some text");
  MemoryFile readOnly;
  ASSERT_TRUE(readOnly.Open(File(P("plain.txt").c_str())));
  EXPECT_FALSE(readOnly.Deflate());
  EXPECT_EQ(GetLastError(), EACCES);
  EXPECT_EQ(Read("plain.txt"), "some text");
}

TEST_F(CompressFileTest, ChunkFilesRoundTripAndRefuseDamage) {
  const std::string path = P("blocks.chk");
  const Bytes first = Words(100000, 2), second = RandomBytes(70000, 3);
  VerifiedChunkWriter writer;
  VerifiedChunk made[3];
  ASSERT_TRUE(writer.Create(File(path.c_str())));
  ASSERT_TRUE(writer.Append(first.data(), static_cast<uint32_t>(first.size()), &made[0]));
  ASSERT_TRUE(writer.Append("", 0, &made[1]));
  ASSERT_TRUE(writer.Append(second.data(), static_cast<uint32_t>(second.size()), &made[2]));
  ASSERT_TRUE(writer.Close());

  std::vector<VerifiedChunk> chunks;
  ASSERT_TRUE(ReadVerifiedChunks(File(path.c_str()), chunks)) << GetLastErrorMessage().GetStr();
  ASSERT_EQ(chunks.size(), 3u);
  const Bytes* expected[3] = {&first, nullptr, &second};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(chunks[i].GetIndex(), static_cast<uint32_t>(i));
    EXPECT_EQ(chunks[i].GetStart(), made[i].GetStart());
    EXPECT_EQ(chunks[i].GetCrc(), made[i].GetCrc());
    Bytes bytes;
    ASSERT_TRUE(chunks[i].Read(bytes));
    EXPECT_TRUE(bytes == (expected[i] != nullptr ? *expected[i] : Bytes{})) << i;
  }
  EXPECT_EQ(chunks[2].GetStart(), 8u + 8u + first.size() + 8u + 8u);

  const std::string whole = Read("blocks.chk");
  struct Case {
    const char* reason;
    std::string content;
    const char* message;
  } cases[] = {
      {"wrong mark", "ORVCHNK2" + whole.substr(8), "verified chunk: not a chunk file (no \"ORVCHNK1\" mark)"},
      {"empty file", "", "verified chunk: not a chunk file (no \"ORVCHNK1\" mark)"},
      {"flipped byte in the first chunk", whole.substr(0, 100) + char(whole[100] ^ 1) + whole.substr(101), "verified chunk: chunk 0 is damaged (checksum mismatch)"},
      {"last chunk cut short", whole.substr(0, whole.size() - 1), "verified chunk: chunk 2 is cut short"},
      {"half a header after the last", whole + std::string("\1\0", 2), "verified chunk: chunk 3 is cut short"},
  };
  for (const Case& c : cases) {
    Write("bad.chk", c.content);
    std::vector<VerifiedChunk> none{made[0]};
    EXPECT_FALSE(ReadVerifiedChunks(File(P("bad.chk").c_str()), none)) << c.reason;
    EXPECT_STREQ(GetLastErrorMessage().GetStr(), c.message) << c.reason;
    EXPECT_TRUE(none.empty()) << c.reason;
  }
  // A chunk verified before the file changed is refused when read.
  Write("blocks.chk", whole.substr(0, 100) + char(whole[100] ^ 1) + whole.substr(101));
  Bytes bytes;
  EXPECT_FALSE(chunks[0].Read(bytes));
  EXPECT_STREQ(GetLastErrorMessage().GetStr(), "verified chunk: chunk 0 has changed since it was verified (checksum mismatch)");
  EXPECT_FALSE(ReadVerifiedChunks(File(P("missing.chk").c_str()), chunks));
  EXPECT_EQ(GetLastError(), ENOENT);
}

TEST_F(CompressFileTest, DeflatedChunksExpandAndStayBounded) {
  const std::string path = P("packed.chk");
  const Bytes text = Words(300000, 6);
  VerifiedChunkWriter writer;
  VerifiedChunk packed, plain;
  ASSERT_TRUE(writer.Create(File(path.c_str())));
  ASSERT_TRUE(writer.AppendDeflated(text.data(), text.size(), 9, &packed));
  ASSERT_TRUE(writer.Append("plain", 5, &plain));
  ASSERT_TRUE(writer.Close());
  EXPECT_LT(packed.GetLength(), text.size() / 3);
  std::vector<VerifiedChunk> chunks;
  ASSERT_TRUE(ReadVerifiedChunks(File(path.c_str()), chunks));
  Bytes out;
  ASSERT_TRUE(chunks[0].ReadInflated(out)) << GetLastErrorMessage().GetStr();
  EXPECT_TRUE(out == text);
  EXPECT_FALSE(chunks[0].ReadInflated(out, text.size() - 1));
  EXPECT_EQ(GetLastError(), E2BIG);
  EXPECT_FALSE(chunks[1].ReadInflated(out));  // not a zlib stream
  EXPECT_EQ(std::string(GetLastErrorMessage().GetStr()).rfind("inflate: ", 0), 0u);
}

TEST_F(CompressFileTest, ChunkStreamReadsOneChunkOnly) {
  const std::string path = P("stream.chk");
  VerifiedChunkWriter writer;
  ASSERT_TRUE(writer.Create(File(path.c_str())));
  ASSERT_TRUE(writer.Append("first chunk", 11));
  ASSERT_TRUE(writer.Append("second", 6));
  ASSERT_TRUE(writer.Close());
  std::vector<VerifiedChunk> chunks;
  ASSERT_TRUE(ReadVerifiedChunks(File(path.c_str()), chunks));

  IStream* stream = new FileChunkStream(chunks[0]);
  char buffer[64] = {};
  ULONG got = 0;
  EXPECT_EQ(stream->Read(buffer, 5, &got), S_OK);
  EXPECT_EQ(std::string(buffer, got), "first");
  EXPECT_EQ(stream->Read(buffer, sizeof buffer, &got), S_FALSE);  // stops at the chunk's end
  EXPECT_EQ(std::string(buffer, got), " chunk");
  LARGE_INTEGER move;
  move.QuadPart = 12;
  EXPECT_EQ(stream->Seek(move, STREAM_SEEK_SET, nullptr), STG_E_INVALIDFUNCTION);  // past the end
  ULONG written = 7;
  EXPECT_EQ(stream->Write("x", 1, &written), static_cast<HRESULT>(0x80070026u));
  EXPECT_EQ(written, 0u);
  stream->Release();

  IStream* second = nullptr;
  ASSERT_EQ(FileChunkStream::Create(&second, chunks[1]), S_OK);
  STATSTG stat{};
  ASSERT_EQ(second->Stat(&stat, STATFLAG_NONAME), S_OK);
  EXPECT_EQ(stat.cbSize.QuadPart, 6u);
  EXPECT_EQ(second->Read(buffer, sizeof buffer, &got), S_FALSE);
  EXPECT_EQ(std::string(buffer, got), "second");
  second->Release();

  ASSERT_EQ(std::remove(path.c_str()), 0);
  IStream* gone = nullptr;
  EXPECT_EQ(FileChunkStream::Create(&gone, chunks[1]), static_cast<HRESULT>(0x80070002u));
  EXPECT_EQ(gone, nullptr);
  EXPECT_EQ(FileChunkStream::Create(nullptr, chunks[1]), STG_E_INVALIDPOINTER);
}

}  // namespace
}  // namespace OrvGuiBase
