// IStream.h: the byte-stream interfaces ISequentialStream and IStream, their records and
// identifiers, laid out as component servers expect them.
//
//   IStream* stream = nullptr;
//   if (SUCCEEDED(DiskFileStream::Create(&stream, File("/data/in.bin"), DiskFile::kRead, 0))) {
//     ULONG got = 0; char buffer[4096];
//     HRESULT hr = stream->Read(buffer, sizeof buffer, &got);   // S_FALSE: the end is reached
//     stream->Release();
//   }
//
// The types live in the global namespace, where code written for the platform expects them.
// The slot order of the interfaces is fixed: it is the binary contract with other modules.
#pragma once

#include "base/com/HResult.h"
#include "base/core/ComTypes.h"
#include "base/time/DateTime.h"

typedef OrvGuiBase::FILETIME FILETIME;

// LARGE_INTEGER / ULARGE_INTEGER: 64-bit values with their two 32-bit halves.
union LARGE_INTEGER {
  struct {
    DWORD LowPart;
    int32_t HighPart;
  } u;
  int64_t QuadPart;
};
union ULARGE_INTEGER {
  struct {
    DWORD LowPart;
    DWORD HighPart;
  } u;
  uint64_t QuadPart;
};

// Seek origins.
enum STREAM_SEEK : DWORD { STREAM_SEEK_SET = 0, STREAM_SEEK_CUR = 1, STREAM_SEEK_END = 2 };
// Stat flags: STATFLAG_NONAME leaves pwcsName null.
enum STATFLAG : DWORD { STATFLAG_DEFAULT = 0, STATFLAG_NONAME = 1 };
// Storage element types.
enum STGTY : DWORD { STGTY_STORAGE = 1, STGTY_STREAM = 2, STGTY_LOCKBYTES = 3, STGTY_PROPERTY = 4 };
// Access modes reported by Stat.
inline constexpr DWORD STGM_READ = 0;
inline constexpr DWORD STGM_WRITE = 1;
inline constexpr DWORD STGM_READWRITE = 2;

// STATSTG: what Stat tells about a stream. pwcsName, when set, is allocated with
// CoTaskMemAlloc and belongs to the caller (free it with CoTaskMemFree).
struct STATSTG {
  LPOLESTR pwcsName;
  DWORD type;
  ULARGE_INTEGER cbSize;
  FILETIME mtime;
  FILETIME ctime;
  FILETIME atime;
  DWORD grfMode;
  DWORD grfLocksSupported;
  CLSID clsid;
  DWORD grfStateBits;
  DWORD reserved;
};

// {0c733a30-2a1c-11ce-ade5-00aa0044077d}
inline constexpr IID IID_ISequentialStream = {0x0c733a30, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x07, 0x7d}};
// {0000000c-0000-0000-C000-000000000046}
inline constexpr IID IID_IStream = {0x0000000c, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// ISequentialStream: Read and Write after the IUnknown slots.
struct ISequentialStream : IUnknown {
  // Read: up to cb bytes into pv; the count read goes to *pcbRead.
  virtual HRESULT Read(void* pv, ULONG cb, ULONG* pcbRead) = 0;
  // Write: cb bytes from pv; the count written goes to *pcbWritten when it is not null.
  virtual HRESULT Write(const void* pv, ULONG cb, ULONG* pcbWritten) = 0;
};

// IStream: a seekable stream. Slot order: QueryInterface, AddRef, Release, Read, Write, Seek,
// SetSize, CopyTo, Commit, Revert, LockRegion, UnlockRegion, Stat, Clone.
struct IStream : ISequentialStream {
  virtual HRESULT Seek(LARGE_INTEGER dlibMove, DWORD dwOrigin, ULARGE_INTEGER* plibNewPosition) = 0;
  virtual HRESULT SetSize(ULARGE_INTEGER libNewSize) = 0;
  virtual HRESULT CopyTo(IStream* pstm, ULARGE_INTEGER cb, ULARGE_INTEGER* pcbRead, ULARGE_INTEGER* pcbWritten) = 0;
  virtual HRESULT Commit(DWORD grfCommitFlags) = 0;
  virtual HRESULT Revert() = 0;
  virtual HRESULT LockRegion(ULARGE_INTEGER libOffset, ULARGE_INTEGER cb, DWORD dwLockType) = 0;
  virtual HRESULT UnlockRegion(ULARGE_INTEGER libOffset, ULARGE_INTEGER cb, DWORD dwLockType) = 0;
  virtual HRESULT Stat(STATSTG* pstatstg, DWORD grfStatFlag) = 0;
  virtual HRESULT Clone(IStream** ppstm) = 0;
};
