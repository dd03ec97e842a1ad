// Inflate.cpp: the deflate decoder and its zlib and gzip wrappers.
//
// Bits arrive least significant first and are kept in a 64-bit buffer that is topped up eight
// bytes at a time while the input buffer holds that many, and byte by byte near its end; the
// bits above the count held are always zero. Prefix codes are decoded with one look-up in a
// primary table indexed by the next 10 (lengths and literals) or 8 (distances) bits; a longer
// code finds a subtable there, indexed by the bits that follow. Each entry says what the code
// means (a literal, a length or distance base with its extra bits, the end of the block), so
// the decoding loop does no symbol arithmetic.
//
// The output goes into a buffer that keeps the last 32 KiB (the farthest a distance reaches)
// in front of the bytes not yet handed to the sink. When it fills up, the new bytes go to the
// sink and the last 32 KiB move to the front. The checksum of the wrapper is taken over each
// piece as it is handed on.
#include "base/compress/Inflate.h"

#include <cerrno>
#include <cstring>
#include <new>

#include "base/compress/Checksum.h"
#include "private/compress/HuffmanTable.h"
#include "base/core/LastError.h"

namespace OrvGuiBase {

using namespace DeflateCodes;

namespace {

constexpr char kCodec[] = "inflate";
constexpr size_t kWindow = 32768;
constexpr size_t kOutSize = 256 * 1024 + kWindow;
constexpr size_t kOutSlack = 16;
constexpr size_t kInSize = 64 * 1024;
constexpr size_t kMaxMatch = 258;

// A table entry: bits 0-3 the bits the code takes (its full length, also in a subtable),
// bits 4-7 the extra bits that follow it (or a subtable's index bits), bits 8-15 the kind,
// bits 16-31 the value (a literal, a base, or a subtable's offset).
enum Kind : uint32_t { kLiteral = 0, kBase = 1, kEndOfBlock = 2, kSubtable = 3, kInvalid = 4 };
constexpr uint32_t MakeEntry(uint32_t kind, uint32_t value, uint32_t length, uint32_t extra) {
  return value << 16 | kind << 8 | extra << 4 | length;
}
inline uint32_t EntryLength(uint32_t e) { return e & 15; }
inline uint32_t EntryExtra(uint32_t e) { return (e >> 4) & 15; }
inline uint32_t EntryKind(uint32_t e) { return (e >> 8) & 0xFF; }
inline uint32_t EntryValue(uint32_t e) { return e >> 16; }

constexpr int kLitLenBits = 10;
constexpr int kDistBits = 8;
constexpr int kCodeLengthBits = 7;
constexpr size_t kLitLenTableSize = (1u << kLitLenBits) + kLitLenSymbols * (1u << (kMaxBits - kLitLenBits));
constexpr size_t kDistTableSize = (1u << kDistBits) + kDistSymbols * (1u << (kMaxBits - kDistBits));

uint32_t LitLenMeaning(int symbol) {
  if (symbol < 256) return MakeEntry(kLiteral, static_cast<uint32_t>(symbol), 0, 0);
  if (symbol == 256) return MakeEntry(kEndOfBlock, 0, 0, 0);
  if (symbol < 286) return MakeEntry(kBase, kLengthBase[symbol - 257], 0, kLengthExtra[symbol - 257]);
  return MakeEntry(kInvalid, 0, 0, 0);
}
uint32_t DistMeaning(int symbol) {
  return symbol < 30 ? MakeEntry(kBase, kDistBase[symbol], 0, kDistExtra[symbol]) : MakeEntry(kInvalid, 0, 0, 0);
}
uint32_t CodeLengthMeaning(int symbol) { return MakeEntry(kLiteral, static_cast<uint32_t>(symbol), 0, 0); }

// BuildTable: the decoding table of n symbols with the given lengths. An over-subscribed set
// of lengths is refused; an incomplete one too, except a single code of one bit (a block with
// one distance) when allowSingle is set. An empty set gives a table of invalid entries.
bool BuildTable(const uint8_t* lengths, int n, uint32_t (*meaning)(int), int primaryBits, bool allowSingle,
                uint32_t* table) {
  int count[kMaxBits + 1] = {};
  int maxLength = 0;
  for (int i = 0; i < n; ++i) {
    ++count[lengths[i]];
    if (lengths[i] > maxLength) maxLength = lengths[i];
  }
  count[0] = 0;
  const uint32_t invalid = MakeEntry(kInvalid, 0, 0, 0);
  for (size_t i = 0; i < (1u << primaryBits); ++i) table[i] = invalid;
  if (maxLength == 0) return true;
  int left = 1;
  for (int bits = 1; bits <= kMaxBits; ++bits) {
    left = (left << 1) - count[bits];
    if (left < 0) return SetCodecError(kCodec, "invalid code lengths (over-subscribed)");
  }
  if (left > 0 && !(allowSingle && maxLength == 1)) return SetCodecError(kCodec, "invalid code lengths (incomplete)");

  uint16_t codes[kLitLenSymbols];
  AssignCodes(lengths, n, codes);
  const int subBits = maxLength > primaryBits ? maxLength - primaryBits : 0;
  const uint32_t primaryMask = (1u << primaryBits) - 1;
  uint32_t nextSub = 1u << primaryBits;
  for (int symbol = 0; symbol < n; ++symbol) {
    const uint32_t length = lengths[symbol];
    if (length == 0) continue;
    const uint32_t entry = meaning(symbol) | length;
    const uint32_t code = codes[symbol];
    if (length <= static_cast<uint32_t>(primaryBits)) {
      for (uint32_t i = code; i <= primaryMask; i += 1u << length) table[i] = entry;
      continue;
    }
    uint32_t& head = table[code & primaryMask];
    if (EntryKind(head) != kSubtable) {
      head = MakeEntry(kSubtable, nextSub, static_cast<uint32_t>(primaryBits), static_cast<uint32_t>(subBits));
      for (uint32_t i = 0; i < (1u << subBits); ++i) table[nextSub + i] = invalid;
      nextSub += 1u << subBits;
    }
    uint32_t* sub = table + EntryValue(head);
    for (uint32_t i = code >> primaryBits; i < (1u << subBits); i += 1u << (length - primaryBits)) sub[i] = entry;
  }
  return true;
}

}  // namespace

struct Inflater::State {
  // Input.
  ByteSource* source = nullptr;
  uint8_t in[kInSize];
  size_t inPos = 0;
  size_t inEnd = 0;
  bool inputEnded = false;
  uint64_t totalIn = 0;  // bytes taken out of in[] into the bit buffer or copied
  uint64_t bits = 0;
  uint32_t bitCount = 0;

  // Output.
  ByteSink* sink = nullptr;
  uint64_t limit = UINT64_MAX;
  uint8_t out[kOutSize + kOutSlack];
  size_t outPos = 0;
  size_t flushed = 0;
  uint64_t totalOut = 0;
  uint64_t memberOut = 0;  // bytes written by the current gzip member, for its distances and size
  DeflateFormat format = DeflateFormat::kRaw;
  uint32_t check = 0;

  uint32_t litLen[kLitLenTableSize];
  uint32_t dist[kDistTableSize];
  uint32_t fixedLitLen[kLitLenTableSize];
  uint32_t fixedDist[kDistTableSize];
  uint32_t codeLengths[1u << kCodeLengthBits];

  State() {
    uint8_t lengths[kLitLenSymbols];
    for (int i = 0; i < kLitLenSymbols; ++i) lengths[i] = FixedLitLenLength(i);
    BuildTable(lengths, kLitLenSymbols, LitLenMeaning, kLitLenBits, false, fixedLitLen);
    for (int i = 0; i < kDistSymbols; ++i) lengths[i] = kFixedDistLength;
    BuildTable(lengths, kDistSymbols, DistMeaning, kDistBits, false, fixedDist);
  }

  // FillInput: reads more input once in[] is used up; false at the end of the input or on a
  // failing source (sourceFailed set).
  bool sourceFailed = false;
  bool FillInput() {
    if (inputEnded) return false;
    inPos = inEnd = 0;
    long n = source->Read(in, kInSize);
    if (n <= 0) {
      inputEnded = true;
      sourceFailed = n < 0;
      return false;
    }
    inEnd = static_cast<size_t>(n);
    return true;
  }

  // Refill: at least 56 bits in the buffer, fewer only at the end of the input.
  void Refill() {
    if (inEnd - inPos >= 8) {
      uint64_t word;
      std::memcpy(&word, in + inPos, 8);
      bits |= word << bitCount;
      const uint32_t bytes = (63 - bitCount) >> 3;
      inPos += bytes;
      totalIn += bytes;
      bitCount |= 56;
      bits &= (uint64_t{1} << bitCount) - 1;
      return;
    }
    while (bitCount <= 56) {
      if (inPos == inEnd && !FillInput()) return;
      bits |= uint64_t{in[inPos++]} << bitCount;
      ++totalIn;
      bitCount += 8;
    }
  }

  bool Truncated() {
    return sourceFailed ? false : SetCodecError(kCodec, "unexpected end of input (truncated stream)");
  }

  // Need: at least n (<= 56) bits, or the failure of a truncated stream.
  bool Need(uint32_t n) {
    if (bitCount < n) Refill();
    return bitCount >= n || Truncated();
  }
  uint32_t Take(uint32_t n) {
    const uint32_t v = static_cast<uint32_t>(bits & ((uint64_t{1} << n) - 1));
    bits >>= n;
    bitCount -= n;
    return v;
  }
  bool ReadBits(uint32_t n, uint32_t& value) {
    if (!Need(n)) return false;
    value = Take(n);
    return true;
  }
  // ReadByte: the next whole byte (the bit buffer is byte aligned), -1 at the end of input.
  int ReadByte() {
    if (bitCount >= 8) return static_cast<int>(Take(8));
    if (inPos == inEnd && !FillInput()) return -1;
    ++totalIn;
    return in[inPos++];
  }
  bool ReadBytes(uint8_t* to, size_t n) {
    for (size_t i = 0; i < n; ++i) {
      int c = ReadByte();
      if (c < 0) return Truncated();
      to[i] = static_cast<uint8_t>(c);
    }
    return true;
  }
  void AlignToByte() { Take(bitCount & 7); }

  // FlushOutput: hands the new bytes to the sink; with slide, keeps only the last 32 KiB.
  bool FlushOutput(bool slide) {
    const size_t n = outPos - flushed;
    if (n > 0) {
      if (n > limit - totalOut) return SetLimitError(kCodec, limit);
      if (format == DeflateFormat::kGzip) check = Crc32(check, out + flushed, n);
      if (format == DeflateFormat::kZlib) check = Adler32(check, out + flushed, n);
      if (!sink->Write(out + flushed, n)) return false;
      totalOut += n;
    }
    if (slide && outPos > kWindow) {
      std::memmove(out, out + outPos - kWindow, kWindow);
      outPos = kWindow;
    }
    flushed = outPos;
    return true;
  }

  bool StoredBlock() {
    AlignToByte();
    uint8_t header[4] = {};
    if (!ReadBytes(header, 4)) return false;
    const uint32_t length = header[0] | header[1] << 8;
    if (static_cast<uint32_t>(header[2] | header[3] << 8) != (length ^ 0xFFFF)) return SetCodecError(kCodec, "invalid stored block lengths");
    uint32_t left = length;
    while (left > 0 && bitCount >= 8) {  // whole bytes still in the bit buffer
      if (outPos == kOutSize && !FlushOutput(true)) return false;
      out[outPos++] = static_cast<uint8_t>(Take(8));
      --left;
    }
    while (left > 0) {
      if (inPos == inEnd && !FillInput()) return Truncated();
      if (outPos == kOutSize && !FlushOutput(true)) return false;
      size_t n = inEnd - inPos;
      if (n > left) n = left;
      if (n > kOutSize - outPos) n = kOutSize - outPos;
      std::memcpy(out + outPos, in + inPos, n);
      outPos += n;
      inPos += n;
      totalIn += n;
      left -= static_cast<uint32_t>(n);
    }
    memberOut += length;
    return true;
  }

  bool DynamicTables() {
    uint32_t hlit, hdist, hclen;
    if (!ReadBits(5, hlit) || !ReadBits(5, hdist) || !ReadBits(4, hclen)) return false;
    hlit += 257;
    hdist += 1;
    hclen += 4;
    if (hlit > 286 || hdist > 30) return SetCodecError(kCodec, "too many length or distance symbols");
    uint8_t lengths[kLitLenSymbols + kDistSymbols] = {};
    for (uint32_t i = 0; i < hclen; ++i) {
      uint32_t v;
      if (!ReadBits(3, v)) return false;
      lengths[kCodeLengthOrder[i]] = static_cast<uint8_t>(v);
    }
    if (!BuildTable(lengths, kCodeLengthSymbols, CodeLengthMeaning, kCodeLengthBits, false, codeLengths)) return false;
    std::memset(lengths, 0, sizeof lengths);
    for (uint32_t i = 0; i < hlit + hdist;) {
      if (bitCount < 7 + 7) Refill();
      const uint32_t e = codeLengths[bits & ((1u << kCodeLengthBits) - 1)];
      if (EntryKind(e) == kInvalid) return SetCodecError(kCodec, "invalid code lengths code");
      if (EntryLength(e) > bitCount) return Truncated();
      Take(EntryLength(e));
      const uint32_t symbol = EntryValue(e);
      if (symbol < 16) {
        lengths[i++] = static_cast<uint8_t>(symbol);
        continue;
      }
      uint32_t repeat, value = 0;
      if (symbol == 16) {
        if (i == 0) return SetCodecError(kCodec, "invalid repeat of a code length with none before");
        value = lengths[i - 1];
        if (!ReadBits(2, repeat)) return false;
        repeat += 3;
      } else if (symbol == 17) {
        if (!ReadBits(3, repeat)) return false;
        repeat += 3;
      } else {
        if (!ReadBits(7, repeat)) return false;
        repeat += 11;
      }
      if (i + repeat > hlit + hdist) return SetCodecError(kCodec, "invalid code lengths repeat");
      while (repeat-- > 0) lengths[i++] = static_cast<uint8_t>(value);
    }
    if (lengths[256] == 0) return SetCodecError(kCodec, "missing end-of-block code");
    return BuildTable(lengths, static_cast<int>(hlit), LitLenMeaning, kLitLenBits, true, litLen) &&
           BuildTable(lengths + hlit, static_cast<int>(hdist), DistMeaning, kDistBits, true, dist);
  }

  // Decode: one table look-up, through a subtable where the code is long.
  static uint32_t Lookup(const uint32_t* table, uint32_t primaryBits, uint64_t bits) {
    uint32_t e = table[bits & ((1u << primaryBits) - 1)];
    if (EntryKind(e) == kSubtable) e = table[EntryValue(e) + ((bits >> primaryBits) & ((1u << EntryExtra(e)) - 1))];
    return e;
  }

  bool HuffmanBlock(const uint32_t* lit, const uint32_t* dis) {
    for (;;) {
      if (bitCount < 48) Refill();
      if (outPos + kMaxMatch > kOutSize && !FlushOutput(true)) return false;
      uint32_t e = Lookup(lit, kLitLenBits, bits);
      uint32_t n = EntryLength(e);
      if (n > bitCount || EntryKind(e) == kInvalid) {
        return EntryKind(e) == kInvalid && n <= bitCount ? SetCodecError(kCodec, "invalid literal/length code") : Truncated();
      }
      bits >>= n;
      bitCount -= n;
      if (EntryKind(e) == kLiteral) {
        out[outPos++] = static_cast<uint8_t>(EntryValue(e));
        ++memberOut;
        // A second literal without another refill: the common case of literal runs.
        if (bitCount >= 15) {
          e = Lookup(lit, kLitLenBits, bits);
          if (EntryKind(e) == kLiteral && EntryLength(e) <= bitCount) {
            bits >>= EntryLength(e);
            bitCount -= EntryLength(e);
            out[outPos++] = static_cast<uint8_t>(EntryValue(e));
            ++memberOut;
          }
        }
        continue;
      }
      if (EntryKind(e) == kEndOfBlock) return true;
      uint32_t extra = EntryExtra(e);
      if (extra > bitCount) return Truncated();
      const uint32_t length = EntryValue(e) + Take(extra);

      e = Lookup(dis, kDistBits, bits);
      n = EntryLength(e);
      if (n > bitCount || EntryKind(e) == kInvalid) {
        return EntryKind(e) == kInvalid && n <= bitCount ? SetCodecError(kCodec, "invalid distance code") : Truncated();
      }
      bits >>= n;
      bitCount -= n;
      extra = EntryExtra(e);
      if (extra > bitCount) return Truncated();
      const uint32_t distance = EntryValue(e) + Take(extra);
      if (distance > memberOut) return SetCodecError(kCodec, "invalid distance too far back");

      uint8_t* to = out + outPos;
      const uint8_t* from = to - distance;
      outPos += length;
      memberOut += length;
      if (distance >= 16) {  // whole 16-byte pieces: may write up to 15 bytes of slack
        uint8_t* const end = to + length;
        do {
          std::memcpy(to, from, 16);
          to += 16;
          from += 16;
        } while (to < end);
      } else if (distance >= 8) {
        uint8_t* const end = to + length;
        do {
          std::memcpy(to, from, 8);
          to += 8;
          from += 8;
        } while (to < end);
      } else if (distance == 1) {
        std::memset(to, *from, length);
      } else {
        for (uint32_t i = 0; i < length; ++i) to[i] = from[i];
      }
    }
  }

  bool Blocks() {
    for (;;) {
      uint32_t header;
      if (!ReadBits(3, header)) return false;
      bool ok;
      switch (header >> 1) {
        case 0: ok = StoredBlock(); break;
        case 1: ok = HuffmanBlock(fixedLitLen, fixedDist); break;
        case 2: ok = DynamicTables() && HuffmanBlock(litLen, dist); break;
        default: return SetCodecError(kCodec, "invalid block type");
      }
      if (!ok) return false;
      if (header & 1) return FlushOutput(false);
    }
  }

  bool ZlibHeader() {
    uint8_t h[2];
    if (!ReadBytes(h, 2)) return false;
    if ((h[0] & 0x0F) != 8) return SetCodecError(kCodec, "unknown compression method");
    if ((h[0] >> 4) > 7) return SetCodecError(kCodec, "invalid window size");
    if ((h[0] << 8 | h[1]) % 31 != 0) return SetCodecError(kCodec, "incorrect header check");
    if (h[1] & 0x20) return SetCodecError(kCodec, "preset dictionary not supported");
    return true;
  }

  bool GzipHeader() {
    uint8_t h[10];
    if (!ReadBytes(h, 10)) return false;
    if (h[0] != 0x1F || h[1] != 0x8B) return SetCodecError(kCodec, "incorrect header (not gzip)");
    if (h[2] != 8) return SetCodecError(kCodec, "unknown compression method");
    const uint8_t flags = h[3];
    if (flags & 0xE0) return SetCodecError(kCodec, "unknown header flags set");
    uint32_t headerCrc = Crc32(0, h, 10);
    if (flags & 0x04) {  // extra field
      uint8_t x[2];
      if (!ReadBytes(x, 2)) return false;
      headerCrc = Crc32(headerCrc, x, 2);
      for (uint32_t n = x[0] | x[1] << 8; n > 0; --n) {
        uint8_t c;
        if (!ReadBytes(&c, 1)) return false;
        headerCrc = Crc32(headerCrc, &c, 1);
      }
    }
    for (uint8_t mask : {uint8_t{0x08}, uint8_t{0x10}}) {  // file name, comment: zero-terminated
      if (!(flags & mask)) continue;
      uint8_t c;
      do {
        if (!ReadBytes(&c, 1)) return false;
        headerCrc = Crc32(headerCrc, &c, 1);
      } while (c != 0);
    }
    if (flags & 0x02) {
      uint8_t x[2];
      if (!ReadBytes(x, 2)) return false;
      if (static_cast<uint32_t>(x[0] | x[1] << 8) != (headerCrc & 0xFFFF)) return SetCodecError(kCodec, "header crc mismatch");
    }
    return true;
  }

  bool Member() {
    memberOut = 0;
    if (format == DeflateFormat::kZlib && !ZlibHeader()) return false;
    if (format == DeflateFormat::kGzip && !GzipHeader()) return false;
    check = format == DeflateFormat::kZlib ? 1 : 0;
    if (!Blocks()) return false;
    AlignToByte();
    uint8_t t[8];
    if (format == DeflateFormat::kZlib) {
      if (!ReadBytes(t, 4)) return false;
      if ((uint32_t{t[0]} << 24 | t[1] << 16 | t[2] << 8 | t[3]) != check) return SetCodecError(kCodec, "incorrect data check");
    } else if (format == DeflateFormat::kGzip) {
      if (!ReadBytes(t, 8)) return false;
      if ((uint32_t{t[0]} | uint32_t{t[1]} << 8 | uint32_t{t[2]} << 16 | uint32_t{t[3]} << 24) != check) return SetCodecError(kCodec, "incorrect data check");
      if ((uint32_t{t[4]} | uint32_t{t[5]} << 8 | uint32_t{t[6]} << 16 | uint32_t{t[7]} << 24) != static_cast<uint32_t>(memberOut)) {
        return SetCodecError(kCodec, "incorrect length check");
      }
    }
    return true;
  }

  // AtEnd: true when no input is left; a byte that is left is put back.
  bool AtEnd() {
    if (bitCount >= 8 || inPos < inEnd) return false;
    return !FillInput();
  }

  bool Run() {
    if (!Member()) return false;
    for (;;) {
      if (AtEnd()) return !sourceFailed;
      if (format != DeflateFormat::kGzip) return SetCodecError(kCodec, "trailing data after the end of the stream");
      outPos = flushed = 0;
      if (!Member()) return false;
    }
  }
};

Inflater::Inflater() = default;
Inflater::~Inflater() = default;

bool Inflater::Run(DeflateFormat format, ByteSource& source, ByteSink& sink, uint64_t limit) {
  if (!MakeState(m_state, "inflate")) return false;
  State& s = *m_state;
  s.source = &source;
  s.sink = &sink;
  s.limit = limit;
  s.format = format;
  s.inPos = s.inEnd = s.outPos = s.flushed = 0;
  s.inputEnded = s.sourceFailed = false;
  s.totalIn = s.totalOut = 0;
  s.bits = 0;
  s.bitCount = 0;
  return s.Run();
}

uint64_t Inflater::GetTotalIn() const { return m_state ? m_state->totalIn - m_state->bitCount / 8 : 0; }
uint64_t Inflater::GetTotalOut() const { return m_state ? m_state->totalOut : 0; }

bool Inflate(DeflateFormat format, const void* data, size_t size, std::vector<uint8_t>& out, uint64_t limit) {
  return RunOnBuffer(data, size, out, [&](ByteSource& in, ByteSink& to) { return Inflater().Run(format, in, to, limit); });
}

}  // namespace OrvGuiBase
