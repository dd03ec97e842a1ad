// Tests of the IStream objects over disk files, memory files and chunks, through the interface
// only, as a component server would use them.
#include <dirent.h>
#include <gtest/gtest.h>

#include <cwchar>
#include <functional>
#include <string>

#include "base/com/ComMemory.h"
#include "base/fs/FileStreams.h"
#include "tests/base/fs/FsTestDirectory.h"

namespace OrvGuiBase {
namespace {

constexpr HRESULT kBadOrigin = static_cast<HRESULT>(0x80070016u);
constexpr HRESULT kNotSupported = static_cast<HRESULT>(0x80070026u);

LARGE_INTEGER Move(long long value) {
  LARGE_INTEGER move;
  move.QuadPart = value;
  return move;
}

ULARGE_INTEGER Size(unsigned long long value) {
  ULARGE_INTEGER size;
  size.QuadPart = value;
  return size;
}

std::wstring Wide(const std::string& ascii) { return std::wstring(ascii.begin(), ascii.end()); }

int OpenDescriptors() {
  int count = 0;
  if (DIR* dir = ::opendir("/proc/self/fd")) {
    while (::readdir(dir) != nullptr) ++count;
    ::closedir(dir);
  }
  return count;
}

class FileStreamsTest : public FsTest {
 protected:
  // Kinds: each makes a stream over a file holding "0123456789" (the chunk: "2345678" inside
  // "xx2345678yy").
  struct Kind {
    const char* name;
    std::function<IStream*(FileStreamsTest&)> make;
  };
  static std::vector<Kind> Kinds() {
    return {
        {"disk", [](FileStreamsTest& t) { return t.Open("0123456789", false); }},
        {"memory", [](FileStreamsTest& t) { return t.Open("0123456789", true); }},
        {"chunk", [](FileStreamsTest& t) {
           IStream* inner = t.Open("xx0123456789yy", false);
           IStream* chunk = new FileChunkStream(inner, 2, 10);
           inner->Release();  // the chunk holds its own reference
           return chunk;
         }},
    };
  }
  IStream* Open(const std::string& content, bool memory) {
    Write("s", content);
    IStream* stream = nullptr;
    const HRESULT hr = memory ? MemoryFileStream::Create(&stream, File(P("s")), MemoryFile::kRead, 0)
                              : DiskFileStream::Create(&stream, File(P("s")), DiskFile::kRead, 0);
    EXPECT_EQ(hr, S_OK);
    return stream;
  }
};

TEST_F(FileStreamsTest, ReadsReportTheEnd) {
  for (const Kind& kind : Kinds()) {
    SCOPED_TRACE(kind.name);
    IStream* stream = kind.make(*this);
    ASSERT_NE(stream, nullptr);
    char buffer[16];
    ULONG got = 99;
    EXPECT_EQ(stream->Read(nullptr, 4, &got), STG_E_INVALIDPOINTER);
    EXPECT_EQ(stream->Read(buffer, 4, nullptr), STG_E_INVALIDPOINTER);
    EXPECT_EQ(stream->Read(buffer, 4, &got), S_OK);
    EXPECT_EQ(std::string(buffer, got), "0123");
    EXPECT_EQ(stream->Read(buffer, 6, &got), S_FALSE) << "the last bytes come with S_FALSE";
    EXPECT_EQ(std::string(buffer, got), "456789");
    EXPECT_EQ(stream->Read(buffer, 6, &got), S_FALSE);
    EXPECT_EQ(got, 0u);
    EXPECT_EQ(stream->Release(), 0u);
  }
}

TEST_F(FileStreamsTest, SeekOrigins) {
  struct Row {
    long long offset;
    DWORD origin;
    HRESULT result;
    unsigned long long position;  // after the seek (unchanged after a failure)
  } rows[] = {
      {2, STREAM_SEEK_SET, S_OK, 2},
      {1, STREAM_SEEK_CUR, S_OK, 3},
      {-1, STREAM_SEEK_END, S_OK, 9},
      {0, 3, kBadOrigin, 9},
      {-1, STREAM_SEEK_SET, STG_E_INVALIDFUNCTION, 9},
      {-10, STREAM_SEEK_CUR, STG_E_INVALIDFUNCTION, 9},
      {0, STREAM_SEEK_SET, S_OK, 0},
      {-10, STREAM_SEEK_END, S_OK, 0},
  };
  for (const Kind& kind : Kinds()) {
    SCOPED_TRACE(kind.name);
    IStream* stream = kind.make(*this);
    for (const Row& row : rows) {
      SCOPED_TRACE(testing::Message() << row.offset << " from " << row.origin);
      ULARGE_INTEGER position = Size(12345);
      EXPECT_EQ(stream->Seek(Move(row.offset), row.origin, &position), row.result);
      ASSERT_EQ(stream->Seek(Move(0), STREAM_SEEK_CUR, &position), S_OK);
      EXPECT_EQ(position.QuadPart, row.position);
    }
    // Beyond the end: files allow it (reads find nothing), a chunk does not.
    const HRESULT beyond = stream->Seek(Move(11), STREAM_SEEK_SET, nullptr);
    EXPECT_EQ(beyond, std::string(kind.name) == "chunk" ? STG_E_INVALIDFUNCTION : S_OK);
    stream->Release();
  }
}

TEST_F(FileStreamsTest, StatNamesSizesAndModes) {
  Write("s", "abc");
  struct Row {
    bool memory;
    unsigned mode;
    DWORD access;
  } rows[] = {
      {false, DiskFile::kRead, STGM_READWRITE},   // only mode 5 reports read access
      {false, DiskFile::kReadOnly, STGM_READ},
      {false, DiskFile::kUpdate, STGM_READWRITE},
      {true, MemoryFile::kRead, STGM_READWRITE},
      {true, 5, STGM_READ},
      {true, MemoryFile::kReadWrite, STGM_READWRITE},
  };
  const std::wstring path = Wide(P("s"));
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << (row.memory ? "memory" : "disk") << " mode " << row.mode);
    IStream* stream = nullptr;
    ASSERT_EQ(row.memory ? MemoryFileStream::Create(&stream, File(P("s")), static_cast<MemoryFile::Mode>(row.mode), 0)
                         : DiskFileStream::Create(&stream, File(P("s")), static_cast<DiskFile::Mode>(row.mode), 0),
              S_OK);
    STATSTG stat;
    ASSERT_EQ(stream->Stat(&stat, STATFLAG_DEFAULT), S_OK);
    EXPECT_EQ(stat.type, static_cast<DWORD>(STGTY_STREAM));
    EXPECT_EQ(stat.cbSize.QuadPart, 3u);
    EXPECT_EQ(stat.grfMode, row.access);
    ASSERT_NE(stat.pwcsName, nullptr);
    EXPECT_EQ(std::wstring(stat.pwcsName), path);
    EXPECT_NE(stat.mtime.dwHighDateTime, 0u) << "the file's time stamps";
    CoTaskMemFree(stat.pwcsName);
    ASSERT_EQ(stream->Stat(&stat, STATFLAG_NONAME), S_OK);
    EXPECT_EQ(stat.pwcsName, nullptr);
    EXPECT_EQ(stream->Stat(nullptr, STATFLAG_NONAME), STG_E_INVALIDPOINTER);
    stream->Release();
  }
  IStream* stream = reinterpret_cast<IStream*>(1);
  EXPECT_EQ(DiskFileStream::Create(&stream, File(P("missing")), DiskFile::kRead, 0), static_cast<HRESULT>(0x80070002u));
  EXPECT_EQ(stream, nullptr);
  EXPECT_EQ(MemoryFileStream::Create(&stream, File(P("missing")), MemoryFile::kRead, 0), static_cast<HRESULT>(0x80070002u));
  EXPECT_EQ(DiskFileStream::Create(nullptr, File(P("s")), DiskFile::kRead, 0), STG_E_INVALIDPOINTER);
}

TEST_F(FileStreamsTest, InterfacesAndReferences) {
  const int descriptors = OpenDescriptors();
  for (const Kind& kind : Kinds()) {
    SCOPED_TRACE(kind.name);
    IStream* stream = kind.make(*this);
    for (const IID* iid : {&IID_IUnknown, &IID_ISequentialStream, &IID_IStream}) {
      void* object = nullptr;
      EXPECT_EQ(stream->QueryInterface(*iid, &object), S_OK);
      EXPECT_EQ(object, static_cast<void*>(stream));
    }
    EXPECT_EQ(stream->AddRef(), 5u) << "one from the start, three from the queries";
    const IID other = {0x0000000d, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    void* object = stream;
    EXPECT_EQ(stream->QueryInterface(other, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(stream->QueryInterface(IID_IStream, nullptr), E_POINTER);
    for (ULONG left = 4; left > 0; --left) EXPECT_EQ(stream->Release(), left);
    EXPECT_EQ(stream->Release(), 0u);
    EXPECT_EQ(OpenDescriptors(), descriptors) << "the last release closed the file";
  }
  // The identifiers as published.
  EXPECT_EQ(IID_ISequentialStream.Data1, 0x0c733a30u);
  EXPECT_EQ(IID_ISequentialStream.Data4[7], 0x7d);
  EXPECT_EQ(IID_IStream.Data1, 0x0000000cu);
}

TEST_F(FileStreamsTest, WritesSizesAndCopies) {
  // A writable heap stream grows as written; a gap left by a seek reads as zeros.
  IStream* memory = nullptr;
  ASSERT_EQ(MemoryFileStream::Create(&memory, File(), MemoryFile::kReadWrite, 0), S_OK);
  ULONG count = 0;
  EXPECT_EQ(memory->Write(nullptr, 1, &count), STG_E_INVALIDPOINTER);
  const std::string block(600000, 'm');
  ASSERT_EQ(memory->Write(block.data(), static_cast<ULONG>(block.size()), &count), S_OK);
  EXPECT_EQ(count, block.size());
  ASSERT_EQ(memory->Seek(Move(2), STREAM_SEEK_END, nullptr), S_OK);
  ASSERT_EQ(memory->Write("end", 3, nullptr), S_OK);
  STATSTG stat;
  ASSERT_EQ(memory->Stat(&stat, STATFLAG_NONAME), S_OK);
  EXPECT_EQ(stat.cbSize.QuadPart, block.size() + 5);
  ASSERT_EQ(memory->SetSize(Size(block.size() + 3)), S_OK);
  ASSERT_EQ(memory->Seek(Move(-4), STREAM_SEEK_END, nullptr), S_OK);
  char buffer[8] = {};
  EXPECT_EQ(memory->Read(buffer, sizeof buffer, &count), S_FALSE);
  EXPECT_EQ(std::string(buffer, count), std::string("m\0\0e", 4));
  EXPECT_EQ(memory->Commit(0), S_OK);

  // CopyTo a disk stream, in blocks, reading from the position.
  IStream* disk = nullptr;
  ASSERT_EQ(DiskFileStream::Create(&disk, File(P("copy")), DiskFile::kCreate, 0), S_OK);
  ASSERT_EQ(memory->Seek(Move(1), STREAM_SEEK_SET, nullptr), S_OK);
  ULARGE_INTEGER read = Size(0), written = Size(0);
  EXPECT_EQ(memory->CopyTo(disk, Size(~0ull), &read, &written), S_OK);
  EXPECT_EQ(read.QuadPart, block.size() + 2);
  EXPECT_EQ(written.QuadPart, block.size() + 2);
  EXPECT_EQ(memory->CopyTo(nullptr, Size(1), nullptr, nullptr), STG_E_INVALIDPOINTER);
  EXPECT_EQ(disk->Commit(0), S_OK);
  EXPECT_EQ(Read("copy"), block.substr(1) + std::string("\0\0e", 3));
  EXPECT_EQ(disk->SetSize(Size(2)), S_OK);
  EXPECT_EQ(Read("copy"), "mm");
  for (IStream* stream : {memory, disk}) {
    EXPECT_EQ(stream->Revert(), kNotSupported);
    EXPECT_EQ(stream->LockRegion(Size(0), Size(1), 0), kNotSupported);
    EXPECT_EQ(stream->UnlockRegion(Size(0), Size(1), 0), kNotSupported);
    IStream* clone = stream;
    EXPECT_EQ(stream->Clone(&clone), kNotSupported);
    EXPECT_EQ(clone, nullptr);
    stream->Release();
  }

  // A mapped file written through the stream holds exactly what was written.
  ASSERT_EQ(MemoryFileStream::Create(&memory, File(P("mapped")), MemoryFile::kWrite, 0), S_OK);
  ASSERT_EQ(memory->Write("mapped", 6, nullptr), S_OK);
  memory->Release();
  EXPECT_EQ(Read("mapped"), "mapped");

  // Read-only streams refuse writes; a full device reports its error.
  Write("r", "r");
  ASSERT_EQ(MemoryFileStream::Create(&memory, File(P("r")), MemoryFile::kRead, 0), S_OK);
  EXPECT_EQ(memory->Write("x", 1, &count), static_cast<HRESULT>(0x80070009u));
  EXPECT_EQ(memory->SetSize(Size(10)), static_cast<HRESULT>(0x80070009u));
  memory->Release();
  ASSERT_EQ(DiskFileStream::Create(&disk, File("/dev/full"), DiskFile::kUpdate, 0), S_OK);
  count = 7;
  EXPECT_EQ(disk->Write("x", 1, &count), static_cast<HRESULT>(0x8007001Cu));
  EXPECT_EQ(count, 0u);
  disk->Release();
}

TEST_F(FileStreamsTest, ChunkStaysInsideItsWindow) {
  IStream* inner = Open("0123456789", false);
  IStream* chunk = new FileChunkStream(inner, 3, 4);
  char buffer[16];
  ULONG got = 0;
  EXPECT_EQ(chunk->Read(buffer, sizeof buffer, &got), S_FALSE);
  EXPECT_EQ(std::string(buffer, got), "3456") << "never past the window";
  ULONG written = 9;
  EXPECT_EQ(chunk->Write("x", 1, &written), kNotSupported);
  EXPECT_EQ(written, 0u);
  EXPECT_EQ(chunk->SetSize(Size(1)), kNotSupported);
  EXPECT_EQ(chunk->Commit(0), kNotSupported);
  ULARGE_INTEGER position;
  EXPECT_EQ(chunk->Seek(Move(5), STREAM_SEEK_SET, &position), STG_E_INVALIDFUNCTION);
  ASSERT_EQ(chunk->Seek(Move(-1), STREAM_SEEK_END, &position), S_OK);
  EXPECT_EQ(position.QuadPart, 3u);
  EXPECT_EQ(chunk->Read(buffer, sizeof buffer, &got), S_FALSE);
  EXPECT_EQ(std::string(buffer, got), "6");
  STATSTG stat;
  ASSERT_EQ(chunk->Stat(&stat, STATFLAG_DEFAULT), S_OK);
  EXPECT_EQ(stat.cbSize.QuadPart, 4u);
  EXPECT_EQ(stat.grfMode, STGM_READ);
  EXPECT_EQ(std::wstring(stat.pwcsName), Wide(P("s")));
  CoTaskMemFree(stat.pwcsName);

  // A window reaching past the file's end stops where the file does.
  IStream* tail = new FileChunkStream(inner, 8, 10);
  EXPECT_EQ(tail->Read(buffer, sizeof buffer, &got), S_FALSE);
  EXPECT_EQ(std::string(buffer, got), "89");
  // The chunks hold the inner stream: it goes with the last of them.
  EXPECT_EQ(inner->Release(), 2u);
  EXPECT_EQ(chunk->Release(), 0u);
  EXPECT_EQ(tail->Release(), 0u);
}

}  // namespace
}  // namespace OrvGuiBase
