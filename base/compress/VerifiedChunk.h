// VerifiedChunk.h: files of chunks, each carrying its length and its CRC-32, read back only
// when every chunk checks out.
//
//   VerifiedChunkWriter writer;
//   writer.Create(File("/var/cache/app/blocks.chk"));
//   writer.Append(header, headerSize);
//   writer.Append(packed.data(), packed.size());
//   writer.Close();
//
//   std::vector<VerifiedChunk> chunks;
//   if (!ReadVerifiedChunks(File("/var/cache/app/blocks.chk"), chunks)) Report(GetLastErrorMessage());
//   IStream* body = new FileChunkStream(chunks[1]);    // reads the second chunk's bytes only
//
// Layout on disk: the 8 bytes "ORVCHNK1", then every chunk as its length (4 bytes
// little-endian), the CRC-32 of its bytes (4 bytes little-endian) and the bytes. An empty
// chunk is allowed; nothing follows the last chunk. Failures return false with the last
// error: the system error for file operations; 44444 with the message "verified chunk: ..."
// for a file that is not a chunk file, a chunk cut short, or a checksum that does not match.
// Writers and chunk lists are used by one thread at a time.
// Depends on base/fs (File, DiskFile) and base/compress/Checksum.h.
#pragma once

#include <cstdint>
#include <vector>

#include "base/fs/DiskFile.h"
#include "base/fs/File.h"

namespace OrvGuiBase {

// VerifiedChunk: one chunk of a chunk file whose checksum matched when it was read: the file,
// the chunk's number (from 0), where its bytes start in the file, their length and CRC-32.
class ORVGUI_API VerifiedChunk {
 public:
  VerifiedChunk() = default;
  VerifiedChunk(const File& file, uint32_t index, uint64_t start, uint32_t length, uint32_t crc)
      : m_file(file), m_index(index), m_start(start), m_length(length), m_crc(crc) {}

  const File& GetFile() const { return m_file; }
  uint32_t GetIndex() const { return m_index; }
  uint64_t GetStart() const { return m_start; }
  uint32_t GetLength() const { return m_length; }
  uint32_t GetCrc() const { return m_crc; }
  // Read: the chunk's bytes into out (replaced), checked again against the CRC (the file may
  // have changed since it was verified).
  bool Read(std::vector<uint8_t>& out) const;
  // ReadInflated: a chunk written by AppendDeflated: its bytes, checked, then expanded into out
  // (at most limit bytes; failures as for Inflate).
  bool ReadInflated(std::vector<uint8_t>& out, uint64_t limit = UINT64_MAX) const;

 private:
  File m_file;
  uint32_t m_index = 0;
  uint64_t m_start = 0;
  uint32_t m_length = 0;
  uint32_t m_crc = 0;
};

// VerifiedChunkWriter: writes a new chunk file, one chunk per Append.
class ORVGUI_API VerifiedChunkWriter {
 public:
  // Create: makes file (cut to nothing when it exists) and writes the file's mark.
  bool Create(const File& file);
  // Append: adds one chunk of size bytes; the chunk's description goes to *chunk when given.
  bool Append(const void* data, uint32_t size, VerifiedChunk* chunk = nullptr);
  // AppendDeflated: adds one chunk holding size bytes compressed as a zlib stream at level;
  // the length and checksum are those of the compressed bytes.
  bool AppendDeflated(const void* data, size_t size, int level = -1, VerifiedChunk* chunk = nullptr);
  // Close: flushes the file to the device and closes it.
  bool Close();

 private:
  DiskFile m_disk;
  File m_file;
  uint64_t m_pos = 0;
  uint32_t m_count = 0;
};

// ReadVerifiedChunks: every chunk of file, each one's bytes read and checked, into chunks
// (replaced). Nothing is returned unless the whole file is sound.
ORVGUI_API bool ReadVerifiedChunks(const File& file, std::vector<VerifiedChunk>& chunks);

}  // namespace OrvGuiBase
