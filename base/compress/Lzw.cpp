// Lzw.cpp: the LZW encoder and decoder.
//
// The decoder learns an entry one code later than the encoder makes it (it needs the first
// byte of the next string), so the width of each code is what the decoder's dictionary needs
// when it reads that code. The encoder therefore keeps a count of the decoder's entries beside
// its own and takes every width from it; the two sides cannot drift apart.
#include "base/compress/Lzw.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>

#include "base/compress/Checksum.h"
#include "base/core/LastError.h"

namespace OrvGuiBase {

namespace {

constexpr char kCodec[] = "lzw";
constexpr uint32_t kClear = 256;
constexpr uint32_t kEnd = 257;
constexpr uint32_t kFirst = 258;
constexpr size_t kBuffer = 1 << 16;

uint32_t BitLength(uint32_t v) { return 32 - static_cast<uint32_t>(__builtin_clz(v)); }

// Width: the bits of a code read while the decoder's dictionary holds entries below next.
uint32_t Width(uint32_t next, uint32_t maxBits) {
  const uint32_t bits = BitLength(next);
  return bits < 9 ? 9 : bits > maxBits ? maxBits : bits;
}

class BitSink {
 public:
  explicit BitSink(ByteSink& sink) : m_sink(sink) {}
  bool Put(uint32_t code, uint32_t width) {
    m_bits |= uint64_t{code} << m_count;
    m_count += width;
    while (m_count >= 8) {
      m_buffer[m_used++] = static_cast<uint8_t>(m_bits);
      m_bits >>= 8;
      m_count -= 8;
    }
    return m_used < kBuffer - 8 || Flush();
  }
  bool PutBytes(const uint8_t* data, size_t size) {
    for (size_t i = 0; i < size; ++i) {
      if (!Put(data[i], 8)) return false;
    }
    return true;
  }
  bool Align() { return m_count == 0 || Put(0, 8 - m_count); }
  bool Flush() {
    const bool ok = m_used == 0 || m_sink.Write(m_buffer, m_used);
    m_used = 0;
    return ok;
  }

 private:
  ByteSink& m_sink;
  uint8_t m_buffer[kBuffer];
  size_t m_used = 0;
  uint64_t m_bits = 0;
  uint32_t m_count = 0;
};

class BitSource {
 public:
  explicit BitSource(ByteSource& source) : m_source(source) {}
  // Get: width bits; false on the end of the input (a truncated stream) or a failing source.
  bool Get(uint32_t width, uint32_t& value) {
    while (m_count < width) {
      if (m_pos == m_end && !Fill()) return m_failed ? false : SetCodecError(kCodec, "unexpected end of input (truncated stream)");
      m_bits |= uint64_t{m_buffer[m_pos++]} << m_count;
      m_count += 8;
    }
    value = static_cast<uint32_t>(m_bits & ((uint64_t{1} << width) - 1));
    m_bits >>= width;
    m_count -= width;
    return true;
  }
  void Align() {
    m_bits >>= m_count % 8;
    m_count -= m_count % 8;
  }
  bool AtEnd() { return m_count == 0 && m_pos == m_end && !Fill() && !m_failed; }
  bool Failed() const { return m_failed; }

 private:
  bool Fill() {
    const long n = m_source.Read(m_buffer, kBuffer);
    m_failed = n < 0;
    if (n <= 0) return false;
    m_pos = 0;
    m_end = static_cast<size_t>(n);
    return true;
  }
  ByteSource& m_source;
  uint8_t m_buffer[kBuffer];
  size_t m_pos = 0;
  size_t m_end = 0;
  uint64_t m_bits = 0;
  uint32_t m_count = 0;
  bool m_failed = false;
};

// Encoder dictionary: open addressing on (prefix code, byte), twice as many slots as codes.
struct EncoderState {
  uint32_t keys[1u << 17];
  uint16_t values[1u << 17];
  uint8_t input[kBuffer];
};

}  // namespace

bool LzwCompressStream(ByteSource& source, ByteSink& sink, int maxBits) {
  if (maxBits < 9 || maxBits > 16) {
    SetLastError(EINVAL);
    return false;
  }
  const uint32_t bits = static_cast<uint32_t>(maxBits);
  const uint32_t limit = 1u << bits;
  const uint32_t mask = (1u << (bits + 1)) - 1;
  std::unique_ptr<EncoderState> s(new (std::nothrow) EncoderState);
  std::unique_ptr<BitSink> out(new (std::nothrow) BitSink(sink));
  if (!s || !out) {
    return SetOutOfMemory(kCodec);
  }
  std::memset(s->keys, 0xFF, sizeof s->keys);
  const uint8_t header[4] = {'L', 'Z', 'W', static_cast<uint8_t>(bits)};
  if (!out->PutBytes(header, 4)) return false;

  uint32_t next = kFirst;         // the encoder's next entry
  uint32_t decoderNext = kFirst;  // the decoder's, one code behind
  bool first = true;              // the next code is the first after a clear
  int64_t current = -1;           // the code of the string matched so far
  uint32_t crc = 0;
  // Emit: one code, at the width the decoder will read it with.
  auto emit = [&](uint32_t code) {
    const bool ok = out->Put(code, Width(decoderNext, bits));
    if (code < kClear || code >= kFirst) {
      if (!first && decoderNext < limit) ++decoderNext;
      first = false;
    }
    return ok;
  };
  for (;;) {
    const long n = source.Read(s->input, kBuffer);
    if (n < 0) return false;
    if (n == 0) break;
    crc = Crc32(crc, s->input, static_cast<size_t>(n));
    for (long i = 0; i < n; ++i) {
      const uint32_t c = s->input[i];
      if (current < 0) {
        current = c;
        continue;
      }
      const uint32_t key = static_cast<uint32_t>(current) << 8 | c;
      uint32_t slot = (key * 0x9E3779B1u) >> (32 - (bits + 1));
      while (s->keys[slot] != 0xFFFFFFFFu && s->keys[slot] != key) slot = (slot + 1) & mask;
      if (s->keys[slot] == key) {
        current = s->values[slot];
        continue;
      }
      if (!emit(static_cast<uint32_t>(current))) return false;
      s->keys[slot] = key;
      s->values[slot] = static_cast<uint16_t>(next++);
      if (next == limit) {
        if (!emit(kClear)) return false;
        std::memset(s->keys, 0xFF, sizeof s->keys);
        next = decoderNext = kFirst;
        first = true;
      }
      current = c;
    }
  }
  if (current >= 0 && !emit(static_cast<uint32_t>(current))) return false;
  uint8_t trailer[4];
  for (int i = 0; i < 4; ++i) trailer[i] = static_cast<uint8_t>(crc >> (8 * i));
  return emit(kEnd) && out->Align() && out->PutBytes(trailer, 4) && out->Flush();
}

bool LzwDecompressStream(ByteSource& source, ByteSink& sink, uint64_t limit) {
  struct DecoderState {
    uint16_t prefix[1u << 16];
    uint8_t suffix[1u << 16];
    uint8_t stack[1u << 16];
    uint8_t out[kBuffer];
  };
  std::unique_ptr<DecoderState> s(new (std::nothrow) DecoderState);
  std::unique_ptr<BitSource> in(new (std::nothrow) BitSource(source));
  if (!s || !in) {
    return SetOutOfMemory(kCodec);
  }
  uint32_t header[4] = {};
  for (uint32_t& h : header) {
    if (!in->Get(8, h)) return false;
  }
  if (header[0] != 'L' || header[1] != 'Z' || header[2] != 'W') return SetCodecError(kCodec, "incorrect header (not an LZW stream)");
  if (header[3] < 9 || header[3] > 16) return SetCodecError(kCodec, "invalid code width in the header");
  const uint32_t bits = header[3];
  const uint32_t maxCodes = 1u << bits;

  uint32_t next = kFirst;
  int64_t previous = -1;
  uint8_t previousFirst = 0;
  size_t used = 0;
  uint64_t total = 0;
  uint32_t crc = 0;
  auto flush = [&]() {
    if (used == 0) return true;
    if (used > limit - total) return SetLimitError(kCodec, limit);
    crc = Crc32(crc, s->out, used);
    total += used;
    const bool ok = sink.Write(s->out, used);
    used = 0;
    return ok;
  };
  for (;;) {
    uint32_t code = 0;
    if (!in->Get(Width(next, bits), code)) return false;
    if (code == kEnd) break;
    if (code == kClear) {
      next = kFirst;
      previous = -1;
      continue;
    }
    // Unwind the string of code onto the stack, last byte first.
    size_t depth = 0;
    uint32_t walk = code;
    if (code >= kFirst) {
      if (code > next || (code == next && (previous < 0 || next == maxCodes))) return SetCodecError(kCodec, "invalid code");
      if (code == next) {  // the string just being defined: previous + its own first byte
        s->stack[depth++] = previousFirst;
        walk = static_cast<uint32_t>(previous);
      }
      while (walk >= kFirst) {
        s->stack[depth++] = s->suffix[walk];
        walk = s->prefix[walk];
      }
    }
    s->stack[depth++] = static_cast<uint8_t>(walk);
    const uint8_t firstByte = static_cast<uint8_t>(walk);
    if (previous >= 0 && next < maxCodes) {
      s->prefix[next] = static_cast<uint16_t>(previous);
      s->suffix[next] = firstByte;
      ++next;
    }
    previous = code;
    previousFirst = firstByte;
    while (depth > 0) {
      if (used == kBuffer && !flush()) return false;
      s->out[used++] = s->stack[--depth];
    }
  }
  if (!flush()) return false;
  in->Align();
  uint32_t stored = 0;
  for (int i = 0; i < 4; ++i) {
    uint32_t b = 0;
    if (!in->Get(8, b)) return false;
    stored |= b << (8 * i);
  }
  if (stored != crc) return SetCodecError(kCodec, "incorrect data check");
  if (!in->AtEnd()) return in->Failed() ? false : SetCodecError(kCodec, "trailing data after the end of the stream");
  return true;
}

bool LzwCompress(const void* data, size_t size, std::vector<uint8_t>& out, int maxBits) {
  return RunOnBuffer(data, size, out, [&](ByteSource& in, ByteSink& to) { return LzwCompressStream(in, to, maxBits); });
}

bool LzwDecompress(const void* data, size_t size, std::vector<uint8_t>& out, uint64_t limit) {
  return RunOnBuffer(data, size, out, [&](ByteSource& in, ByteSink& to) { return LzwDecompressStream(in, to, limit); });
}

}  // namespace OrvGuiBase
