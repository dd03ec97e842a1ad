// FileStreams.cpp: the IStream objects over disk files, memory files and chunks of streams.
#include "base/fs/FileStreams.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <new>

#include "base/com/ComMemory.h"
#include "base/core/LastError.h"
#include "base/text/WideStr.h"

namespace OrvGuiBase {

namespace {

constexpr size_t kCopyBlock = 65536;

// SeekTarget: the position that a move from origin gives (current and size as the origins 1 and
// 2 need them); the error result for a bad origin or a target before the start.
HRESULT SeekTarget(LARGE_INTEGER move, DWORD origin, long long current, long long size, long long& target) {
  long long base;
  switch (origin) {
    case STREAM_SEEK_SET: base = 0; break;
    case STREAM_SEEK_CUR: base = current; break;
    case STREAM_SEEK_END: base = size; break;
    default: return E_ERRNO_INVALID;
  }
  if (__builtin_add_overflow(base, move.QuadPart, &target)) return E_ERRNO_INVALID;
  return target < 0 ? STG_E_INVALIDFUNCTION : S_OK;
}

FILETIME TimespecToFileTime(const timespec& time) {
  const FILETIME seconds = SimpleTime2FileTime(time.tv_sec);
  if (seconds.dwLowDateTime == 0 && seconds.dwHighDateTime == 0) return seconds;
  return UHyper2FileTime(FileTime2UHyper(seconds) + static_cast<uint64_t>(time.tv_nsec) / 100);
}

// FillStat: the record of a file stream: type, size, access, the file's time stamps (when it
// has a path) and its name unless the caller asked for none.
HRESULT FillStat(STATSTG* stat, DWORD flag, const File& file, unsigned long long size, unsigned mode) {
  if (stat == nullptr) return STG_E_INVALIDPOINTER;
  std::memset(static_cast<void*>(stat), 0, sizeof *stat);
  stat->type = STGTY_STREAM;
  stat->cbSize.QuadPart = size;
  stat->grfMode = mode == 5 ? STGM_READ : STGM_READWRITE;  // mode 5 is the read-only open
  if (!file.IsEmpty()) {
    LastErrorSaver keep;
    timespec creation{}, modification{}, access{};
    if (file.GetTimeStamps(&creation, &modification, &access)) {
      stat->ctime = TimespecToFileTime(creation);
      stat->mtime = TimespecToFileTime(modification);
      stat->atime = TimespecToFileTime(access);
    }
  }
  if ((flag & STATFLAG_NONAME) != 0) return S_OK;
  const WideStr name(file.GetPath());
  const size_t bytes = (static_cast<size_t>(name.GetLength()) + 1) * sizeof(wchar_t);
  auto* copy = static_cast<wchar_t*>(CoTaskMemAlloc(bytes));
  if (copy == nullptr) return E_ERRNO_NOMEM;
  std::memcpy(copy, name.GetStr(), bytes);
  stat->pwcsName = copy;
  return S_OK;
}

void StorePosition(ULARGE_INTEGER* out, unsigned long long position) {
  if (out != nullptr) out->QuadPart = position;
}

}  // namespace

HRESULT StreamObject::QueryInterface(REFIID iid, void** object) {
  if (object == nullptr) return E_POINTER;
  if (iid == IID_IUnknown || iid == IID_ISequentialStream || iid == IID_IStream) {
    *object = static_cast<IStream*>(this);
    AddRef();
    return S_OK;
  }
  *object = nullptr;
  return E_NOINTERFACE;
}

ULONG StreamObject::AddRef() {
  Link();
  return static_cast<ULONG>(GetCount());
}

ULONG StreamObject::Release() {
  if (Unlink()) {
    delete this;
    return 0;
  }
  return static_cast<ULONG>(GetCount());
}

HRESULT StreamObject::CopyTo(IStream* pstm, ULARGE_INTEGER cb, ULARGE_INTEGER* pcbRead, ULARGE_INTEGER* pcbWritten) {
  StorePosition(pcbRead, 0);
  StorePosition(pcbWritten, 0);
  if (pstm == nullptr) return STG_E_INVALIDPOINTER;
  char* buffer = new (std::nothrow) char[kCopyBlock];
  if (buffer == nullptr) return E_ERRNO_NOMEM;
  unsigned long long read = 0, written = 0;
  HRESULT result = S_OK;
  while (read < cb.QuadPart) {
    const unsigned long long left = cb.QuadPart - read;
    ULONG got = 0;
    result = Read(buffer, left < kCopyBlock ? static_cast<ULONG>(left) : static_cast<ULONG>(kCopyBlock), &got);
    if (FAILED(result)) break;
    read += got;
    ULONG put = 0;
    const HRESULT wrote = got != 0 ? pstm->Write(buffer, got, &put) : S_OK;
    written += put;
    if (FAILED(wrote)) {
      result = wrote;
      break;
    }
    if (got == 0 || result == S_FALSE) break;
  }
  delete[] buffer;
  StorePosition(pcbRead, read);
  StorePosition(pcbWritten, written);
  return FAILED(result) ? result : S_OK;
}

HRESULT StreamObject::Revert() { return E_ERRNO_NOTSUPPORTED; }
HRESULT StreamObject::LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) { return E_ERRNO_NOTSUPPORTED; }
HRESULT StreamObject::UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) { return E_ERRNO_NOTSUPPORTED; }
HRESULT StreamObject::Clone(IStream** ppstm) {
  if (ppstm != nullptr) *ppstm = nullptr;
  return E_ERRNO_NOTSUPPORTED;
}

// --- DiskFileStream ---

HRESULT DiskFileStream::Create(IStream** stream, const File& file, DiskFile::Mode mode, unsigned int flags) {
  if (stream == nullptr) return STG_E_INVALIDPOINTER;
  *stream = nullptr;
  auto* object = new (std::nothrow) DiskFileStream(mode);
  if (object == nullptr) return E_ERRNO_NOMEM;
  if (!object->Open(file, mode, flags)) {
    const HRESULT result = HResultFromLastError();
    object->Release();
    return result;
  }
  *stream = object;
  return S_OK;
}

HRESULT DiskFileStream::Read(void* pv, ULONG cb, ULONG* pcbRead) {
  if (pv == nullptr || pcbRead == nullptr) return STG_E_INVALIDPOINTER;
  unsigned int got = 0;
  const bool ok = DiskFile::Read(pv, cb, got);
  *pcbRead = got;
  if (!ok) return HResultFromLastError();
  const long long position = GetPos();
  const long long size = GetSize();
  if (position < 0 || size < 0) return HResultFromLastError();
  return position >= size ? S_FALSE : S_OK;
}

HRESULT DiskFileStream::Write(const void* pv, ULONG cb, ULONG* pcbWritten) {
  if (pcbWritten != nullptr) *pcbWritten = 0;
  if (pv == nullptr) return STG_E_INVALIDPOINTER;
  unsigned int written = 0;
  const bool ok = DiskFile::Write(pv, cb, written);
  if (pcbWritten != nullptr) *pcbWritten = written;
  return ok ? S_OK : HResultFromLastError();
}

HRESULT DiskFileStream::Seek(LARGE_INTEGER dlibMove, DWORD dwOrigin, ULARGE_INTEGER* plibNewPosition) {
  const long long current = dwOrigin == STREAM_SEEK_CUR ? GetPos() : 0;
  const long long size = dwOrigin == STREAM_SEEK_END ? GetSize() : 0;
  if (current < 0 || size < 0) return HResultFromLastError();
  long long target = 0;
  const HRESULT result = SeekTarget(dlibMove, dwOrigin, current, size, target);
  if (FAILED(result)) return result;
  if (!Reset(target)) return HResultFromLastError();
  StorePosition(plibNewPosition, static_cast<unsigned long long>(target));
  return S_OK;
}

HRESULT DiskFileStream::SetSize(ULARGE_INTEGER libNewSize) {
  if (libNewSize.QuadPart > static_cast<unsigned long long>(LLONG_MAX)) return E_ERRNO_INVALID;
  return Trunc(static_cast<long long>(libNewSize.QuadPart)) ? S_OK : HResultFromLastError();
}

HRESULT DiskFileStream::Commit(DWORD) { return Flush() ? S_OK : HResultFromLastError(); }

HRESULT DiskFileStream::Stat(STATSTG* pstatstg, DWORD grfStatFlag) {
  if (pstatstg == nullptr) return STG_E_INVALIDPOINTER;
  const long long size = GetSize();
  if (size < 0) return HResultFromLastError();
  return FillStat(pstatstg, grfStatFlag, GetFile(), static_cast<unsigned long long>(size), m_mode);
}

// --- MemoryFileStream ---

HRESULT MemoryFileStream::Create(IStream** stream, const File& file, MemoryFile::Mode mode, unsigned int flags) {
  if (stream == nullptr) return STG_E_INVALIDPOINTER;
  *stream = nullptr;
  auto* object = new (std::nothrow) MemoryFileStream(mode);
  if (object == nullptr) return E_ERRNO_NOMEM;
  const bool opened = file.IsEmpty() ? object->MemoryFile::Create(file) : object->Open(file, mode, flags);
  if (!opened) {
    const HRESULT result = HResultFromLastError();
    object->Release();
    return result;
  }
  *stream = object;
  return S_OK;
}

HRESULT MemoryFileStream::Read(void* pv, ULONG cb, ULONG* pcbRead) {
  if (pv == nullptr || pcbRead == nullptr) return STG_E_INVALIDPOINTER;
  const unsigned long left = m_pos < m_size ? m_size - m_pos : 0;
  const unsigned long count = cb < left ? cb : left;
  if (count != 0) std::memcpy(pv, m_data + m_pos, count);
  m_pos += count;
  *pcbRead = static_cast<ULONG>(count);
  return m_pos >= m_size ? S_FALSE : S_OK;
}

HRESULT MemoryFileStream::Reserve(unsigned long end) {
  if (!IsWritable()) return HRESULT_FROM_ERRNO(EBADF);
  if (end > m_length && !Extend(end - m_size, m_size)) return HResultFromLastError();
  if (end > m_size) std::memset(m_data + m_size, 0, end - m_size);
  return S_OK;
}

HRESULT MemoryFileStream::Write(const void* pv, ULONG cb, ULONG* pcbWritten) {
  if (pcbWritten != nullptr) *pcbWritten = 0;
  if (pv == nullptr) return STG_E_INVALIDPOINTER;
  if (cb > ULONG_MAX - m_pos) return E_ERRNO_INVALID;
  const unsigned long end = m_pos + cb;
  const HRESULT room = Reserve(m_pos);  // a position past the end leaves zeros before the data
  if (FAILED(room)) return room;
  if (end > m_length && !Extend(end - m_size, m_size)) return HResultFromLastError();
  std::memcpy(m_data + m_pos, pv, cb);
  m_pos = end;
  if (end > m_size) m_size = end;
  if (pcbWritten != nullptr) *pcbWritten = cb;
  return S_OK;
}

HRESULT MemoryFileStream::Seek(LARGE_INTEGER dlibMove, DWORD dwOrigin, ULARGE_INTEGER* plibNewPosition) {
  long long target = 0;
  const HRESULT result = SeekTarget(dlibMove, dwOrigin, static_cast<long long>(m_pos), static_cast<long long>(m_size), target);
  if (FAILED(result)) return result;
  m_pos = static_cast<unsigned long>(target);
  StorePosition(plibNewPosition, m_pos);
  return S_OK;
}

HRESULT MemoryFileStream::SetSize(ULARGE_INTEGER libNewSize) {
  const unsigned long size = libNewSize.QuadPart;
  const HRESULT result = Reserve(size);
  if (FAILED(result)) return result;
  m_size = size;
  return S_OK;
}

HRESULT MemoryFileStream::Commit(DWORD) { return Flush() ? S_OK : HResultFromLastError(); }

HRESULT MemoryFileStream::Stat(STATSTG* pstatstg, DWORD grfStatFlag) {
  return FillStat(pstatstg, grfStatFlag, GetFile(), m_size, m_streamMode);
}

// --- FileChunkStream ---

FileChunkStream::FileChunkStream(IStream* inner, unsigned long long start, unsigned long long length)
    : m_inner(inner), m_start(start), m_length(length), m_remaining(length) {
  if (m_inner == nullptr) {
    m_remaining = 0;
    return;
  }
  m_inner->AddRef();
  LARGE_INTEGER move;
  move.QuadPart = static_cast<long long>(start);
  if (FAILED(m_inner->Seek(move, STREAM_SEEK_SET, nullptr))) m_remaining = 0;  // nothing readable
}

FileChunkStream::~FileChunkStream() {
  if (m_inner != nullptr) m_inner->Release();
}

HRESULT FileChunkStream::Read(void* pv, ULONG cb, ULONG* pcbRead) {
  if (pv == nullptr || pcbRead == nullptr) return STG_E_INVALIDPOINTER;
  *pcbRead = 0;
  const ULONG want = cb < m_remaining ? cb : static_cast<ULONG>(m_remaining);
  if (want == 0) return S_FALSE;
  ULONG got = 0;
  const HRESULT result = m_inner->Read(pv, want, &got);
  if (FAILED(result)) return result;
  if (got > want) got = want;  // an inner stream that claims more than asked is not believed
  m_remaining -= got;
  *pcbRead = got;
  return m_remaining == 0 || result == S_FALSE || got == 0 ? S_FALSE : S_OK;
}

HRESULT FileChunkStream::Write(const void*, ULONG, ULONG* pcbWritten) {
  if (pcbWritten != nullptr) *pcbWritten = 0;
  return E_ERRNO_NOTSUPPORTED;
}

HRESULT FileChunkStream::Seek(LARGE_INTEGER dlibMove, DWORD dwOrigin, ULARGE_INTEGER* plibNewPosition) {
  if (m_inner == nullptr) return E_UNEXPECTED;
  long long target = 0;
  const HRESULT result = SeekTarget(dlibMove, dwOrigin, static_cast<long long>(m_length - m_remaining),
                                    static_cast<long long>(m_length), target);
  if (FAILED(result)) return result;
  if (static_cast<unsigned long long>(target) > m_length) return STG_E_INVALIDFUNCTION;
  LARGE_INTEGER inner;
  inner.QuadPart = static_cast<long long>(m_start + static_cast<unsigned long long>(target));
  const HRESULT moved = m_inner->Seek(inner, STREAM_SEEK_SET, nullptr);
  if (FAILED(moved)) return moved;
  m_remaining = m_length - static_cast<unsigned long long>(target);
  StorePosition(plibNewPosition, static_cast<unsigned long long>(target));
  return S_OK;
}

HRESULT FileChunkStream::SetSize(ULARGE_INTEGER) { return E_ERRNO_NOTSUPPORTED; }

HRESULT FileChunkStream::Commit(DWORD) { return E_ERRNO_NOTSUPPORTED; }

HRESULT FileChunkStream::Stat(STATSTG* pstatstg, DWORD grfStatFlag) {
  if (pstatstg == nullptr) return STG_E_INVALIDPOINTER;
  if (m_inner == nullptr) return E_UNEXPECTED;
  const HRESULT result = m_inner->Stat(pstatstg, grfStatFlag);
  if (FAILED(result)) return result;
  pstatstg->cbSize.QuadPart = m_length;
  pstatstg->grfMode = STGM_READ;
  return S_OK;
}

}  // namespace OrvGuiBase
