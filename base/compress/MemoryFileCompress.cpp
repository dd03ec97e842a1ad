// MemoryFileCompress.cpp: MemoryFile::Deflate and MemoryFile::Inflate, the memory file's content
// compressed in place behind a small frame (see MemoryFile.h).
#include <cerrno>
#include <cstring>
#include <new>

#include "base/compress/Deflate.h"
#include "base/compress/Inflate.h"
#include "base/core/LastError.h"
#include "base/fs/MemoryFile.h"

namespace OrvGuiBase {

namespace {

constexpr char kMark[4] = {'O', 'M', 'Z', '1'};
constexpr size_t kFrameHeader = 12;

// Replace: the memory file's content becomes bytes.
bool Replace(MemoryFile& file, const std::vector<uint8_t>& bytes) {
  if (!file.Init(0, bytes.size())) return false;
  if (!bytes.empty()) std::memcpy(file.GetData(), bytes.data(), bytes.size());
  return true;
}

}  // namespace

bool MemoryFile::Deflate(int level) {
  if (!IsOpen() || !IsWritable()) {
    SetLastError(EACCES);
    return false;
  }
  try {
    std::vector<uint8_t> packed(kFrameHeader);
    std::memcpy(packed.data(), kMark, 4);
    for (int i = 0; i < 8; ++i) packed[4 + i] = static_cast<uint8_t>(static_cast<uint64_t>(m_size) >> (8 * i));
    VectorSink sink(packed);
    Deflater deflater;
    if (!deflater.Begin(DeflateFormat::kZlib, level, sink) || !deflater.Write(m_data, m_size) || !deflater.Finish()) return false;
    return Replace(*this, packed);
  } catch (const std::bad_alloc&) {
    return SetOutOfMemory("deflate");
  }
}

bool MemoryFile::Inflate(unsigned long limit) {
  if (!IsOpen() || !IsWritable()) {
    SetLastError(EACCES);
    return false;
  }
  if (m_size < kFrameHeader || std::memcmp(m_data, kMark, 4) != 0) {
    return SetCodecError("inflate", "not a compressed memory file (no \"OMZ1\" mark)");
  }
  uint64_t size = 0;
  for (int i = 0; i < 8; ++i) size |= uint64_t{static_cast<uint8_t>(m_data[4 + i])} << (8 * i);
  if (size > limit) return SetLimitError("inflate", limit);
  try {
    std::vector<uint8_t> content;
    VectorSink sink(content);
    MemorySource source(m_data + kFrameHeader, m_size - kFrameHeader);
    Inflater inflater;
    if (!inflater.Run(DeflateFormat::kZlib, source, sink, size)) {
      if (GetLastError() == E2BIG) return SetCodecError("inflate", "content longer than its frame says");
      return false;
    }
    if (content.size() != size) return SetCodecError("inflate", "content shorter than its frame says");
    return Replace(*this, content);
  } catch (const std::bad_alloc&) {
    return SetOutOfMemory("inflate");
  }
}

}  // namespace OrvGuiBase
