// VerifiedChunk.cpp: writing and verifying chunk files, and the chunk stream over one chunk.
#include "base/compress/VerifiedChunk.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "base/com/HResult.h"
#include "base/compress/ByteStream.h"
#include "base/compress/Checksum.h"
#include "base/compress/Deflate.h"
#include "base/compress/Inflate.h"
#include "base/core/LastError.h"
#include "base/fs/FileStreams.h"

namespace OrvGuiBase {

namespace {

constexpr char kCodec[] = "verified chunk";
constexpr char kMark[8] = {'O', 'R', 'V', 'C', 'H', 'N', 'K', '1'};
constexpr uint32_t kChunkHeader = 8;

uint32_t Load32(const uint8_t* p) { return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24; }

bool ChunkError(uint32_t index, const char* what) {
  char text[96];
  std::snprintf(text, sizeof text, "chunk %u %s", index, what);
  return SetCodecError(kCodec, text);
}

// ReadExactly: size bytes, or a chunk error when the file ends first.
bool ReadExactly(DiskFile& disk, void* buffer, uint32_t size, uint32_t index) {
  uint32_t have = 0;
  while (have < size) {
    unsigned int got = 0;
    if (!disk.Read(static_cast<uint8_t*>(buffer) + have, size - have, got)) return false;
    if (got == 0) return ChunkError(index, "is cut short");
    have += got;
  }
  return true;
}

// CrcOfBytes: reads length bytes at the file's position and returns their CRC-32 in crc.
bool CrcOfBytes(DiskFile& disk, uint32_t length, uint32_t index, uint32_t& crc, std::vector<uint8_t>* keep) {
  uint8_t buffer[65536];
  crc = 0;
  while (length > 0) {
    const uint32_t n = length < sizeof buffer ? length : static_cast<uint32_t>(sizeof buffer);
    if (!ReadExactly(disk, buffer, n, index)) return false;
    crc = Crc32(crc, buffer, n);
    if (keep != nullptr) keep->insert(keep->end(), buffer, buffer + n);
    length -= n;
  }
  return true;
}

}  // namespace

bool VerifiedChunk::Read(std::vector<uint8_t>& out) const {
  out.clear();
  DiskFile disk;
  if (!disk.Open(m_file, DiskFile::kRead) || !disk.Reset(static_cast<long long>(m_start))) return false;
  try {
    out.reserve(m_length);
    uint32_t crc = 0;
    if (!CrcOfBytes(disk, m_length, m_index, crc, &out)) return false;
    if (crc != m_crc) {
      out.clear();
      return ChunkError(m_index, "has changed since it was verified (checksum mismatch)");
    }
  } catch (const std::bad_alloc&) {
    return SetOutOfMemory(kCodec);
  }
  return true;
}

bool VerifiedChunk::ReadInflated(std::vector<uint8_t>& out, uint64_t limit) const {
  std::vector<uint8_t> packed;
  try {
    if (!Read(packed)) return false;
  } catch (const std::bad_alloc&) {
    return SetOutOfMemory(kCodec);
  }
  return Inflate(DeflateFormat::kZlib, packed.data(), packed.size(), out, limit);
}

bool VerifiedChunkWriter::AppendDeflated(const void* data, size_t size, int level, VerifiedChunk* chunk) {
  std::vector<uint8_t> packed;
  if (!Deflate(DeflateFormat::kZlib, data, size, packed, level)) return false;
  if (packed.size() > UINT32_MAX) {
    SetLastError(EFBIG);
    return false;
  }
  return Append(packed.data(), static_cast<uint32_t>(packed.size()), chunk);
}

bool VerifiedChunkWriter::Create(const File& file) {
  m_file = file;
  m_count = 0;
  m_pos = sizeof kMark;
  return m_disk.Create(file) && m_disk.Write(kMark, sizeof kMark);
}

bool VerifiedChunkWriter::Append(const void* data, uint32_t size, VerifiedChunk* chunk) {
  const uint32_t crc = Crc32(0, data, size);
  uint8_t header[kChunkHeader];
  for (int i = 0; i < 4; ++i) {
    header[i] = static_cast<uint8_t>(size >> (8 * i));
    header[4 + i] = static_cast<uint8_t>(crc >> (8 * i));
  }
  if (!m_disk.Write(header, kChunkHeader) || (size > 0 && !m_disk.Write(data, size))) return false;
  if (chunk != nullptr) *chunk = VerifiedChunk(m_file, m_count, m_pos + kChunkHeader, size, crc);
  m_pos += kChunkHeader + uint64_t{size};
  ++m_count;
  return true;
}

bool VerifiedChunkWriter::Close() {
  const bool flushed = m_disk.Flush();
  return m_disk.Close() && flushed;
}

bool ReadVerifiedChunks(const File& file, std::vector<VerifiedChunk>& chunks) {
  chunks.clear();
  DiskFile disk;
  if (!disk.Open(file, DiskFile::kRead)) return false;
  const long long size = disk.GetSize();
  if (size < 0) return false;
  char mark[sizeof kMark];
  unsigned int got = 0;
  if (size < static_cast<long long>(sizeof kMark) || !disk.Read(mark, sizeof mark, got) || got != sizeof mark ||
      std::memcmp(mark, kMark, sizeof kMark) != 0) {
    return SetCodecError(kCodec, "not a chunk file (no \"ORVCHNK1\" mark)");
  }
  std::vector<VerifiedChunk> found;
  uint64_t pos = sizeof kMark;
  for (uint32_t index = 0; pos < static_cast<uint64_t>(size); ++index) {
    uint8_t header[kChunkHeader];
    if (!ReadExactly(disk, header, kChunkHeader, index)) return false;
    const uint32_t length = Load32(header), crc = Load32(header + 4);
    if (pos + kChunkHeader + length > static_cast<uint64_t>(size)) return ChunkError(index, "is cut short");
    uint32_t actual = 0;
    if (!CrcOfBytes(disk, length, index, actual, nullptr)) return false;
    if (actual != crc) return ChunkError(index, "is damaged (checksum mismatch)");
    try {
      found.emplace_back(file, index, pos + kChunkHeader, length, crc);
    } catch (const std::bad_alloc&) {
      return SetOutOfMemory(kCodec);
    }
    pos += kChunkHeader + uint64_t{length};
  }
  chunks.swap(found);
  return true;
}

// --- FileChunkStream over a verified chunk ---

namespace {

IStream* OpenChunkFile(const VerifiedChunk& chunk, HRESULT* result) {
  IStream* inner = nullptr;
  const HRESULT hr = DiskFileStream::Create(&inner, chunk.GetFile(), DiskFile::kReadOnly, 0);
  if (result != nullptr) *result = hr;
  return FAILED(hr) ? nullptr : inner;
}

}  // namespace

FileChunkStream::FileChunkStream(const VerifiedChunk& chunk)
    : FileChunkStream(OpenChunkFile(chunk, nullptr), chunk.GetStart(), chunk.GetLength()) {
  if (m_inner != nullptr) m_inner->Release();  // the window holds its own reference
}

HRESULT FileChunkStream::Create(IStream** stream, const VerifiedChunk& chunk) {
  if (stream == nullptr) return STG_E_INVALIDPOINTER;
  *stream = nullptr;
  HRESULT hr = S_OK;
  IStream* inner = OpenChunkFile(chunk, &hr);
  if (inner == nullptr) return hr;
  FileChunkStream* made = new (std::nothrow) FileChunkStream(inner, chunk.GetStart(), chunk.GetLength());
  inner->Release();
  if (made == nullptr) return HResultFromError(ENOMEM);
  *stream = made;
  return S_OK;
}

}  // namespace OrvGuiBase
