// FileStreams.h: IStream objects over files: DiskFileStream (descriptor), MemoryFileStream
// (memory map or heap block) and FileChunkStream (a window of another stream).
//
//   IStream* stream = nullptr;
//   HRESULT hr = DiskFileStream::Create(&stream, File("/data/doc.bin"), DiskFile::kRead, 0);
//   if (FAILED(hr)) return hr;                       // 0x80070002: the file is missing
//   ULONG got = 0;
//   while ((hr = stream->Read(buffer, sizeof buffer, &got)) == S_OK) Consume(buffer, got);
//   if (hr == S_FALSE) Consume(buffer, got);         // the end: the last bytes come with it
//   stream->Release();
//
// Result rules shared by all three: Read with a null buffer or a null count pointer answers
// STG_E_INVALIDPOINTER; otherwise it stores the count and answers S_FALSE once the position
// has reached the size, else S_OK. Seek takes origins 0 (start), 1 (current) and 2 (end); any
// other answers 0x80070016, a target before the start STG_E_INVALIDFUNCTION. Stat reports type
// STGTY_STREAM, the size, the access (STGM_READ for a stream opened in mode 5, STGM_READWRITE
// otherwise) and, unless STATFLAG_NONAME is given, the path as a wide string from
// CoTaskMemAlloc (0x8007000C when that fails). Revert, LockRegion, UnlockRegion and Clone answer
// 0x80070026 (not supported). A system error e becomes 0x80070000 | e. The reference count is
// atomic; everything else is for one thread at a time. Depends on base/fs and base/com.
#pragma once

#include "base/com/IStream.h"
#include "base/core/Reference.h"
#include "base/fs/DiskFile.h"
#include "base/fs/MemoryFile.h"

namespace OrvGuiBase {

class VerifiedChunk;

// StreamObject: what the file streams share: reference counting (the object deletes itself
// when the last reference goes), QueryInterface for IUnknown, ISequentialStream and IStream,
// CopyTo through the object's own Read and the target's Write, and the unsupported slots.
class ORVGUI_API StreamObject : public IStream, private Reference {
 public:
  // QueryInterface: E_POINTER for a null object pointer, E_NOINTERFACE (and null) for an
  // interface other than the three.
  HRESULT QueryInterface(REFIID iid, void** object) override;
  ULONG AddRef() override;
  ULONG Release() override;
  // CopyTo: reads up to cb bytes from here and writes them to pstm; the counts are stored when
  // the pointers are not null. Stops at the end of this stream or at the first failure.
  HRESULT CopyTo(IStream* pstm, ULARGE_INTEGER cb, ULARGE_INTEGER* pcbRead, ULARGE_INTEGER* pcbWritten) override;
  HRESULT Revert() override;
  HRESULT LockRegion(ULARGE_INTEGER libOffset, ULARGE_INTEGER cb, DWORD dwLockType) override;
  HRESULT UnlockRegion(ULARGE_INTEGER libOffset, ULARGE_INTEGER cb, DWORD dwLockType) override;
  HRESULT Clone(IStream** ppstm) override;

 protected:
  StreamObject() = default;
  virtual ~StreamObject() = default;
};

// DiskFileStream: an IStream over a DiskFile.
class ORVGUI_API DiskFileStream final : public StreamObject, private DiskFile {
 public:
  // Create: opens file in mode with the extra open flags and hands out a stream with one
  // reference in *stream; the system error as a result code when the open fails
  // (STG_E_INVALIDPOINTER for a null stream pointer).
  static HRESULT Create(IStream** stream, const File& file, DiskFile::Mode mode, unsigned int flags);

  HRESULT Read(void* pv, ULONG cb, ULONG* pcbRead) override;
  HRESULT Write(const void* pv, ULONG cb, ULONG* pcbWritten) override;
  HRESULT Seek(LARGE_INTEGER dlibMove, DWORD dwOrigin, ULARGE_INTEGER* plibNewPosition) override;
  // SetSize: cuts or extends the file. Commit: the data to the device (fsync).
  HRESULT SetSize(ULARGE_INTEGER libNewSize) override;
  HRESULT Commit(DWORD grfCommitFlags) override;
  HRESULT Stat(STATSTG* pstatstg, DWORD grfStatFlag) override;

 private:
  explicit DiskFileStream(DiskFile::Mode mode) : m_mode(mode) {}
  ~DiskFileStream() override = default;

  DiskFile::Mode m_mode;
};

// MemoryFileStream: an IStream over a MemoryFile: reads and writes are copies, writes grow the
// memory (by at least 512 KiB at a time), and a written file is cut to the stream's size when
// the last reference goes. A File without a path gives a writable heap stream.
class ORVGUI_API MemoryFileStream final : public StreamObject, private MemoryFile {
 public:
  // Create: opens (maps) file in mode with the extra open flags, or makes a heap block for a
  // File without a path, and hands out a stream with one reference in *stream. Writing needs
  // a writable mode (8 or 9): other modes answer 0x80070009 to Write and SetSize.
  static HRESULT Create(IStream** stream, const File& file, MemoryFile::Mode mode, unsigned int flags);

  HRESULT Read(void* pv, ULONG cb, ULONG* pcbRead) override;
  HRESULT Write(const void* pv, ULONG cb, ULONG* pcbWritten) override;
  HRESULT Seek(LARGE_INTEGER dlibMove, DWORD dwOrigin, ULARGE_INTEGER* plibNewPosition) override;
  // SetSize: the size becomes libNewSize (new bytes are zeros). Commit: msync of the map.
  HRESULT SetSize(ULARGE_INTEGER libNewSize) override;
  HRESULT Commit(DWORD grfCommitFlags) override;
  HRESULT Stat(STATSTG* pstatstg, DWORD grfStatFlag) override;

 private:
  explicit MemoryFileStream(MemoryFile::Mode mode) : m_streamMode(mode) {}
  ~MemoryFileStream() override = default;
  // Reserve: room and zeroed content up to end bytes (0x80070009 on a read-only stream).
  HRESULT Reserve(unsigned long end);

  MemoryFile::Mode m_streamMode;
  unsigned long m_pos = 0;
};

// FileChunkStream: a read-only window of length bytes from start in an inner stream. Reads
// never pass the window's end (S_FALSE once it is reached, or when the inner stream ends
// first); seeks are relative to the window and must stay inside it (STG_E_INVALIDFUNCTION
// otherwise); Write answers 0x80070026 with a count of 0; SetSize and Commit answer 0x80070026.
// Stat is the inner stream's, with the window's size and read access.
class ORVGUI_API FileChunkStream final : public StreamObject {
 public:
  // FileChunkStream: takes a reference on inner and moves it to start. Made with new; the
  // creator holds the one reference and gives it up with Release.
  FileChunkStream(IStream* inner, unsigned long long start, unsigned long long length);
  // FileChunkStream(chunk): the bytes of one verified chunk, read from its file (opened
  // read-only here). When the file cannot be opened the stream is empty and Seek and Stat
  // answer E_UNEXPECTED; Create says why instead.
  explicit FileChunkStream(const VerifiedChunk& chunk);
  // Create: a new stream over chunk with one reference in *stream, or the open's failure as a
  // result code (STG_E_INVALIDPOINTER for a null stream pointer).
  static HRESULT Create(IStream** stream, const VerifiedChunk& chunk);

  HRESULT Read(void* pv, ULONG cb, ULONG* pcbRead) override;
  HRESULT Write(const void* pv, ULONG cb, ULONG* pcbWritten) override;
  HRESULT Seek(LARGE_INTEGER dlibMove, DWORD dwOrigin, ULARGE_INTEGER* plibNewPosition) override;
  HRESULT SetSize(ULARGE_INTEGER libNewSize) override;
  HRESULT Commit(DWORD grfCommitFlags) override;
  HRESULT Stat(STATSTG* pstatstg, DWORD grfStatFlag) override;

 private:
  ~FileChunkStream() override;

  IStream* m_inner;
  unsigned long long m_start;
  unsigned long long m_length;
  unsigned long long m_remaining;
};

}  // namespace OrvGuiBase
