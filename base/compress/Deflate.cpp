// Deflate.cpp: the deflate encoder.
//
// The input passes through a window of twice 32 KiB. Every position is entered in a hash table
// of chains keyed by its next three bytes (head[] holds the newest position of a key, prev[]
// links each position to the one before it with the same key; 0 ends a chain). A match is
// looked for along the chain, up to a length-dependent number of links, never farther back
// than 32 KiB less the look-ahead. Greedy levels take a match at once; lazy levels hold it for
// one position and take the later one when it is longer. When the window's upper half is
// reached, the upper half becomes the lower one and every chain position drops by 32 KiB.
//
// Literals and matches are collected in a buffer of 16383 symbols with their frequencies. When
// it fills (or the stream ends) a block is sent: its own codes are built from the frequencies
// (length-limited minimum-redundancy codes), and the block goes out stored, with the fixed
// codes or with its own, whichever costs fewest bits. Stored is possible only while the block's
// bytes are still in the window.
#include "base/compress/Deflate.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "base/compress/Checksum.h"
#include "private/compress/HuffmanTable.h"
#include "base/core/LastError.h"

namespace OrvGuiBase {

using namespace DeflateCodes;

namespace {

constexpr uint32_t kWindow = 32768;
constexpr uint32_t kMinMatch = 3;
constexpr uint32_t kMaxMatch = 258;
constexpr uint32_t kMinLookahead = kMaxMatch + kMinMatch + 1;
constexpr uint32_t kMaxDist = kWindow - kMinLookahead;
constexpr uint32_t kHashBits = 15;
constexpr uint32_t kTooFar = 4096;
constexpr uint32_t kSymbols = 16383;
constexpr size_t kPendingSize = 1 << 17;
constexpr size_t kPendingFlush = kPendingSize - 64;
constexpr uint32_t kStoredMax = 65535;

struct LevelConfig {
  uint16_t good, lazy, nice, chain;
  bool lazyMatching;
};
constexpr LevelConfig kLevels[10] = {
    {0, 0, 0, 0, false},          {4, 4, 8, 4, false},          {4, 5, 16, 8, false},
    {4, 6, 32, 32, false},        {4, 4, 16, 16, true},         {8, 16, 32, 32, true},
    {8, 16, 128, 128, true},      {8, 32, 128, 256, true},      {32, 128, 258, 1024, true},
    {32, 258, 258, 4096, true}};

// Symbol tables: the length symbol (0..28) of each length - 3 and the distance symbol of each
// distance - 1 (for distances past 256, of (distance - 1) >> 7 at 256 + that).
struct SymbolTables {
  uint8_t lengthCode[256];
  uint8_t distCode[512];
  constexpr SymbolTables() : lengthCode(), distCode() {
    for (int code = 0; code < 29; ++code) {
      const int count = code == 28 ? 1 : 1 << kLengthExtra[code];
      for (int i = 0; i < count; ++i) {
        const int index = kLengthBase[code] - 3 + i;
        if (index < 256) lengthCode[index] = static_cast<uint8_t>(code);
      }
    }
    lengthCode[255] = 28;
    for (int code = 0; code < 30; ++code) {
      for (int i = 0; i < (1 << kDistExtra[code]); ++i) {
        const int d = kDistBase[code] - 1 + i;
        if (d < 256) distCode[d] = static_cast<uint8_t>(code);
        else distCode[256 + (d >> 7)] = static_cast<uint8_t>(code);
      }
    }
  }
};
constexpr SymbolTables kSym;

inline uint32_t DistSymbol(uint32_t distMinus1) {
  return distMinus1 < 256 ? kSym.distCode[distMinus1] : kSym.distCode[256 + (distMinus1 >> 7)];
}

// BuildLengths: length-limited code lengths for n symbols with the given frequencies. At least
// two symbols get a code, so that every decoder accepts the code (unused ones cost nothing).
void BuildLengths(const uint32_t* freq, int n, int maxBits, uint8_t* lengths) {
  struct Item {
    uint32_t key;
    uint16_t symbol;
  };
  Item items[kLitLenSymbols];
  int used = 0;
  for (int i = 0; i < n; ++i) {
    lengths[i] = 0;
    if (freq[i] != 0) items[used++] = {freq[i], static_cast<uint16_t>(i)};
  }
  for (int i = 0; used < 2 && i < n; ++i) {
    if (freq[i] == 0) items[used++] = {1, static_cast<uint16_t>(i)};
  }
  std::sort(items, items + used, [](const Item& a, const Item& b) { return a.key != b.key ? a.key < b.key : a.symbol < b.symbol; });

  // Minimum-redundancy lengths in place (Moffat and Katajainen): the keys become first the
  // parents' weights, then the parents' indices, then the depths of the leaves.
  items[0].key += items[1].key;
  int root = 0, leaf = 2;
  for (int next = 1; next < used - 1; ++next) {
    if (leaf >= used || items[root].key < items[leaf].key) {
      items[next].key = items[root].key;
      items[root++].key = static_cast<uint32_t>(next);
    } else {
      items[next].key = items[leaf++].key;
    }
    if (leaf >= used || (root < next && items[root].key < items[leaf].key)) {
      items[next].key += items[root].key;
      items[root++].key = static_cast<uint32_t>(next);
    } else {
      items[next].key += items[leaf++].key;
    }
  }
  items[used - 2].key = 0;
  for (int next = used - 3; next >= 0; --next) items[next].key = items[items[next].key].key + 1;
  int available = 1, usedAtDepth = 0, depth = 0;
  root = used - 2;
  int countAt[64] = {};
  while (available > 0) {
    while (root >= 0 && static_cast<int>(items[root].key) == depth) {
      ++usedAtDepth;
      --root;
    }
    while (available > usedAtDepth) {
      ++countAt[depth < 63 ? depth : 63];
      --available;
    }
    available = 2 * usedAtDepth;
    ++depth;
    usedAtDepth = 0;
  }
  // Limit the depth: codes deeper than maxBits move up to it, then codes are pushed down from
  // shallower levels until the lengths describe a complete code again.
  for (int d = maxBits + 1; d < 64; ++d) {
    countAt[maxBits] += countAt[d];
    countAt[d] = 0;
  }
  uint32_t total = 0;
  for (int d = 1; d <= maxBits; ++d) total += static_cast<uint32_t>(countAt[d]) << (maxBits - d);
  while (total != (1u << maxBits)) {
    --countAt[maxBits];
    for (int d = maxBits - 1; d > 0; --d) {
      if (countAt[d] != 0) {
        --countAt[d];
        countAt[d + 1] += 2;
        break;
      }
    }
    --total;
  }
  // The rarest symbols (first in items) take the longest codes.
  int index = 0;
  for (int d = maxBits; d >= 1; --d) {
    for (int k = countAt[d]; k > 0; --k) lengths[items[index++].symbol] = static_cast<uint8_t>(d);
  }
}

}  // namespace

struct Deflater::State {
  DeflateFormat format = DeflateFormat::kRaw;
  LevelConfig config{};
  int level = kDefaultDeflateLevel;
  ByteSink* sink = nullptr;
  bool failed = false;
  bool finished = false;
  uint32_t check = 0;
  uint64_t totalIn = 0;
  uint64_t totalOut = 0;

  // Window and chains.
  uint8_t window[2 * kWindow + kMaxMatch + 16];
  uint16_t head[1u << kHashBits];
  uint16_t prev[kWindow];
  uint32_t strStart = 0;
  uint32_t lookahead = 0;
  long blockStart = 0;
  uint32_t matchStart = 0;
  uint32_t matchLength = kMinMatch - 1;
  uint32_t prevLength = kMinMatch - 1;
  uint32_t prevMatch = 0;
  bool matchAvailable = false;

  // Symbols of the current block.
  uint8_t symLc[kSymbols];
  uint16_t symDist[kSymbols];
  uint32_t symCount = 0;
  uint32_t litFreq[kLitLenSymbols];
  uint32_t distFreq[kDistSymbols];

  // Output bits.
  uint64_t bitBuffer = 0;
  uint32_t bitCount = 0;
  uint8_t pending[kPendingSize];
  size_t pendingLength = 0;

  void Reset() {
    std::memset(head, 0, sizeof head);
    std::memset(window, 0, sizeof window);
    strStart = lookahead = 0;
    blockStart = 0;
    matchStart = 0;
    matchLength = prevLength = kMinMatch - 1;
    matchAvailable = false;
    symCount = 0;
    std::memset(litFreq, 0, sizeof litFreq);
    std::memset(distFreq, 0, sizeof distFreq);
    bitBuffer = 0;
    bitCount = 0;
    pendingLength = 0;
    failed = finished = false;
    totalIn = totalOut = 0;
  }

  // ---- output ----
  bool FlushPending() {
    if (pendingLength == 0 || failed) return !failed;
    if (!sink->Write(pending, pendingLength)) {
      failed = true;
      return false;
    }
    totalOut += pendingLength;
    pendingLength = 0;
    return true;
  }
  // PutBits: count <= 32 bits, least significant first.
  void PutBits(uint32_t value, uint32_t count) {
    bitBuffer |= uint64_t{value} << bitCount;
    bitCount += count;
    if (bitCount >= 32) {
      const uint32_t word = static_cast<uint32_t>(bitBuffer);
      std::memcpy(pending + pendingLength, &word, 4);
      pendingLength += 4;
      bitBuffer >>= 32;
      bitCount -= 32;
      if (pendingLength >= kPendingFlush) FlushPending();
    }
  }
  void AlignBits() {
    while (bitCount > 0) {
      pending[pendingLength++] = static_cast<uint8_t>(bitBuffer);
      bitBuffer >>= 8;
      bitCount = bitCount > 8 ? bitCount - 8 : 0;
    }
    bitBuffer = 0;
  }
  void PutBytes(const uint8_t* data, size_t size) {
    while (size > 0) {
      size_t n = std::min(size, kPendingFlush - pendingLength);
      std::memcpy(pending + pendingLength, data, n);
      pendingLength += n;
      data += n;
      size -= n;
      if (pendingLength >= kPendingFlush) FlushPending();
    }
  }

  void StoredBlock(const uint8_t* data, uint32_t size, bool last) {
    do {
      const uint32_t n = std::min(size, kStoredMax);
      size -= n;
      PutBits(last && size == 0 ? 1 : 0, 3);
      AlignBits();
      const uint8_t header[4] = {static_cast<uint8_t>(n), static_cast<uint8_t>(n >> 8), static_cast<uint8_t>(~n),
                                 static_cast<uint8_t>(~n >> 8)};
      PutBytes(header, 4);
      PutBytes(data, n);
      data += n;
    } while (size > 0);
  }

  // ---- symbols ----
  bool TallyLiteral(uint8_t c) {
    symLc[symCount] = c;
    symDist[symCount++] = 0;
    ++litFreq[c];
    return symCount == kSymbols;
  }
  bool TallyMatch(uint32_t distance, uint32_t lengthMinus3) {
    symLc[symCount] = static_cast<uint8_t>(lengthMinus3);
    symDist[symCount++] = static_cast<uint16_t>(distance);
    ++litFreq[kSym.lengthCode[lengthMinus3] + 257];
    ++distFreq[DistSymbol(distance - 1)];
    return symCount == kSymbols;
  }

  void SendSymbols(const uint8_t* litLen, const uint16_t* litCode, const uint8_t* distLen, const uint16_t* distCode) {
    for (uint32_t i = 0; i < symCount; ++i) {
      const uint32_t lc = symLc[i];
      const uint32_t distance = symDist[i];
      if (distance == 0) {
        PutBits(litCode[lc], litLen[lc]);
        continue;
      }
      const uint32_t code = kSym.lengthCode[lc];
      PutBits(litCode[code + 257], litLen[code + 257]);
      if (kLengthExtra[code] != 0) PutBits(lc - (kLengthBase[code] - 3), kLengthExtra[code]);
      const uint32_t d = DistSymbol(distance - 1);
      PutBits(distCode[d], distLen[d]);
      if (kDistExtra[d] != 0) PutBits(distance - kDistBase[d], kDistExtra[d]);
    }
    PutBits(litCode[256], litLen[256]);
  }

  // FlushBlock: sends the collected symbols as one block, the cheapest of the three kinds.
  void FlushBlock(bool last) {
    ++litFreq[256];
    uint8_t litLen[kLitLenSymbols], distLen[kDistSymbols];
    BuildLengths(litFreq, 286, kMaxBits, litLen);
    BuildLengths(distFreq, 30, kMaxBits, distLen);
    litLen[286] = litLen[287] = 0;
    distLen[30] = distLen[31] = 0;

    // The code lengths of both codes as one run-length coded sequence.
    int hlit = 286, hdist = 30;
    while (hlit > 257 && litLen[hlit - 1] == 0) --hlit;
    while (hdist > 1 && distLen[hdist - 1] == 0) --hdist;
    uint8_t all[kLitLenSymbols + kDistSymbols];
    std::memcpy(all, litLen, static_cast<size_t>(hlit));
    std::memcpy(all + hlit, distLen, static_cast<size_t>(hdist));
    const int total = hlit + hdist;
    uint8_t rle[kLitLenSymbols + kDistSymbols];
    uint8_t rleExtra[kLitLenSymbols + kDistSymbols];
    int rleCount = 0;
    uint32_t clFreq[kCodeLengthSymbols] = {};
    for (int i = 0; i < total;) {
      const uint8_t v = all[i];
      int run = 1;
      while (i + run < total && all[i + run] == v) ++run;
      i += run;
      if (v == 0) {
        while (run >= 11) {
          const int n = std::min(run, 138);
          rle[rleCount] = 18, rleExtra[rleCount++] = static_cast<uint8_t>(n - 11), ++clFreq[18];
          run -= n;
        }
        if (run >= 3) {
          rle[rleCount] = 17, rleExtra[rleCount++] = static_cast<uint8_t>(run - 3), ++clFreq[17];
          run = 0;
        }
      } else {
        rle[rleCount] = v, rleExtra[rleCount++] = 0, ++clFreq[v];
        --run;
        while (run >= 3) {
          const int n = std::min(run, 6);
          rle[rleCount] = 16, rleExtra[rleCount++] = static_cast<uint8_t>(n - 3), ++clFreq[16];
          run -= n;
        }
      }
      while (run-- > 0) rle[rleCount] = v, rleExtra[rleCount++] = 0, ++clFreq[v];
    }
    uint8_t clLen[kCodeLengthSymbols];
    BuildLengths(clFreq, kCodeLengthSymbols, 7, clLen);
    int hclen = 19;
    while (hclen > 4 && clLen[kCodeLengthOrder[hclen - 1]] == 0) --hclen;

    // Costs in bits.
    uint64_t dynamicBits = 3 + 14 + 3 * static_cast<uint64_t>(hclen), fixedBits = 3;
    for (int s = 0; s < kCodeLengthSymbols; ++s) dynamicBits += uint64_t{clFreq[s]} * clLen[s];
    dynamicBits += uint64_t{clFreq[16]} * 2 + uint64_t{clFreq[17]} * 3 + uint64_t{clFreq[18]} * 7;
    for (int s = 0; s < 286; ++s) {
      const uint64_t extra = s >= 257 ? kLengthExtra[s - 257] : 0;
      dynamicBits += uint64_t{litFreq[s]} * (litLen[s] + extra);
      fixedBits += uint64_t{litFreq[s]} * (FixedLitLenLength(s) + extra);
    }
    for (int s = 0; s < 30; ++s) {
      dynamicBits += uint64_t{distFreq[s]} * (distLen[s] + kDistExtra[s]);
      fixedBits += uint64_t{distFreq[s]} * (kFixedDistLength + kDistExtra[s]);
    }
    const uint32_t storedLength = static_cast<uint32_t>(strStart - blockStart);
    const uint64_t storedBits = (uint64_t{storedLength} + 5 * (storedLength / kStoredMax + 1)) * 8;

    if (blockStart >= 0 && storedBits <= std::min(dynamicBits, fixedBits)) {
      StoredBlock(window + blockStart, storedLength, last);
    } else if (fixedBits <= dynamicBits) {
      PutBits(last ? 3 : 2, 3);
      uint8_t fl[kLitLenSymbols], fd[kDistSymbols];
      uint16_t fc[kLitLenSymbols], fdc[kDistSymbols];
      for (int s = 0; s < kLitLenSymbols; ++s) fl[s] = FixedLitLenLength(s);
      for (int s = 0; s < kDistSymbols; ++s) fd[s] = kFixedDistLength;
      AssignCodes(fl, kLitLenSymbols, fc);
      AssignCodes(fd, kDistSymbols, fdc);
      SendSymbols(fl, fc, fd, fdc);
    } else {
      PutBits(last ? 5 : 4, 3);
      PutBits(static_cast<uint32_t>(hlit - 257), 5);
      PutBits(static_cast<uint32_t>(hdist - 1), 5);
      PutBits(static_cast<uint32_t>(hclen - 4), 4);
      for (int i = 0; i < hclen; ++i) PutBits(clLen[kCodeLengthOrder[i]], 3);
      uint16_t clCode[kCodeLengthSymbols];
      AssignCodes(clLen, kCodeLengthSymbols, clCode);
      for (int i = 0; i < rleCount; ++i) {
        PutBits(clCode[rle[i]], clLen[rle[i]]);
        if (rle[i] == 16) PutBits(rleExtra[i], 2);
        if (rle[i] == 17) PutBits(rleExtra[i], 3);
        if (rle[i] == 18) PutBits(rleExtra[i], 7);
      }
      uint16_t litCode[kLitLenSymbols], distCode[kDistSymbols];
      AssignCodes(litLen, kLitLenSymbols, litCode);
      AssignCodes(distLen, kDistSymbols, distCode);
      SendSymbols(litLen, litCode, distLen, distCode);
    }
    blockStart = strStart;
    symCount = 0;
    std::memset(litFreq, 0, sizeof litFreq);
    std::memset(distFreq, 0, sizeof distFreq);
  }

  // ---- matching ----
  static uint32_t Hash(const uint8_t* p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return ((v & 0xFFFFFF) * 0x9E3779B1u) >> (32 - kHashBits);
  }
  // Insert: enters position pos in its chain and returns the chain's previous head.
  uint32_t Insert(uint32_t pos) {
    uint16_t& h = head[Hash(window + pos)];
    const uint32_t old = h;
    prev[pos & (kWindow - 1)] = static_cast<uint16_t>(old);
    h = static_cast<uint16_t>(pos);
    return old;
  }
  // Slide: the upper half of the window becomes the lower one.
  void Slide() {
    std::memcpy(window, window + kWindow, kWindow);
    strStart -= kWindow;
    matchStart = matchStart >= kWindow ? matchStart - kWindow : 0;
    blockStart -= static_cast<long>(kWindow);
    for (auto& h : head) h = static_cast<uint16_t>(h >= kWindow ? h - kWindow : 0);
    for (auto& p : prev) p = static_cast<uint16_t>(p >= kWindow ? p - kWindow : 0);
  }

  // LongestMatch: the longest match at strStart along the chain from cur, longer than
  // prevLength; sets matchStart and returns its length (at most the look-ahead).
  uint32_t LongestMatch(uint32_t cur) {
    uint32_t chain = config.chain;
    const uint8_t* scan = window + strStart;
    uint32_t best = prevLength;
    uint32_t nice = std::min<uint32_t>(config.nice, lookahead);
    const uint32_t limit = strStart > kMaxDist ? strStart - kMaxDist : 0;
    if (prevLength >= config.good) chain >>= 2;
    const uint32_t maxLength = std::min(kMaxMatch, lookahead);
    do {
      const uint8_t* match = window + cur;
      if (match[best] != scan[best] || match[0] != scan[0] || match[1] != scan[1] || match[2] != scan[2]) continue;
      uint32_t length = 3;
      while (length < kMaxMatch) {
        uint64_t a, b;
        std::memcpy(&a, scan + length, 8);
        std::memcpy(&b, match + length, 8);
        if (a != b) {
          length += static_cast<uint32_t>(__builtin_ctzll(a ^ b)) >> 3;
          break;
        }
        length += 8;
      }
      if (length > kMaxMatch) length = kMaxMatch;
      if (length > best) {
        matchStart = cur;
        best = length;
        if (length >= nice) break;
      }
    } while ((cur = prev[cur & (kWindow - 1)]) > limit && --chain != 0);
    return std::min(best, maxLength);
  }

  // Greedy: levels 1..3. Returns false when a sink failed.
  bool Greedy(bool flush) {
    for (;;) {
      if (lookahead < kMinLookahead && (!flush || lookahead == 0)) return true;
      uint32_t hashHead = 0;
      if (lookahead >= kMinMatch) hashHead = Insert(strStart);
      matchLength = 0;
      if (hashHead != 0 && strStart - hashHead <= kMaxDist) {
        prevLength = kMinMatch - 1;
        matchLength = LongestMatch(hashHead);
      }
      bool full;
      if (matchLength >= kMinMatch) {
        full = TallyMatch(strStart - matchStart, matchLength - kMinMatch);
        lookahead -= matchLength;
        if (matchLength <= config.lazy && lookahead >= kMinMatch) {
          while (--matchLength != 0) Insert(++strStart);
          ++strStart;
        } else {
          strStart += matchLength;
        }
        matchLength = 0;
      } else {
        full = TallyLiteral(window[strStart]);
        --lookahead;
        ++strStart;
      }
      if (full) {
        FlushBlock(false);
        if (failed) return false;
      }
    }
  }

  // Lazy: levels 4..9.
  bool Lazy(bool flush) {
    for (;;) {
      if (lookahead < kMinLookahead && (!flush || lookahead == 0)) break;
      uint32_t hashHead = 0;
      if (lookahead >= kMinMatch) hashHead = Insert(strStart);
      prevLength = matchLength;
      prevMatch = matchStart;
      matchLength = kMinMatch - 1;
      if (hashHead != 0 && prevLength < config.lazy && strStart - hashHead <= kMaxDist) {
        matchLength = LongestMatch(hashHead);
        if (matchLength == kMinMatch && strStart - matchStart > kTooFar) matchLength = kMinMatch - 1;
      }
      if (prevLength >= kMinMatch && matchLength <= prevLength) {
        const uint32_t maxInsert = strStart + lookahead - kMinMatch;
        const bool full = TallyMatch(strStart - 1 - prevMatch, prevLength - kMinMatch);
        lookahead -= prevLength - 1;
        prevLength -= 2;
        do {
          if (++strStart <= maxInsert) Insert(strStart);
        } while (--prevLength != 0);
        matchAvailable = false;
        matchLength = kMinMatch - 1;
        ++strStart;
        if (full) {
          FlushBlock(false);
          if (failed) return false;
        }
      } else if (matchAvailable) {
        if (TallyLiteral(window[strStart - 1])) {
          FlushBlock(false);
          if (failed) return false;
        }
        ++strStart;
        --lookahead;
      } else {
        matchAvailable = true;
        ++strStart;
        --lookahead;
      }
    }
    if (flush && matchAvailable) {
      if (TallyLiteral(window[strStart - 1])) FlushBlock(false);
      matchAvailable = false;
    }
    return !failed;
  }

  bool Compress(bool flush) { return config.lazyMatching ? Lazy(flush) : Greedy(flush); }

  bool Write(const uint8_t* data, size_t size) {
    if (format == DeflateFormat::kGzip) check = Crc32(check, data, size);
    if (format == DeflateFormat::kZlib) check = Adler32(check, data, size);
    totalIn += size;
    while (size > 0) {
      if (level == 0) {
        // Stored only: the window collects one block's worth.
        const size_t n = std::min<size_t>(size, kStoredMax - lookahead);
        std::memcpy(window + lookahead, data, n);
        lookahead += static_cast<uint32_t>(n);
        data += n;
        size -= n;
        if (lookahead == kStoredMax) {
          StoredBlock(window, lookahead, false);
          lookahead = 0;
        }
        if (failed) return false;
        continue;
      }
      if (strStart >= kWindow + kMaxDist) Slide();
      const size_t n = std::min<size_t>(size, 2 * kWindow - strStart - lookahead);
      std::memcpy(window + strStart + lookahead, data, n);
      lookahead += static_cast<uint32_t>(n);
      data += n;
      size -= n;
      if (!Compress(false)) return false;
    }
    return !failed;
  }

  bool Finish() {
    if (level == 0) {
      StoredBlock(window, lookahead, true);
    } else {
      if (!Compress(true)) return false;
      FlushBlock(true);
    }
    AlignBits();
    uint8_t trailer[8];
    if (format == DeflateFormat::kZlib) {
      const uint8_t t[4] = {static_cast<uint8_t>(check >> 24), static_cast<uint8_t>(check >> 16),
                            static_cast<uint8_t>(check >> 8), static_cast<uint8_t>(check)};
      PutBytes(t, 4);
    } else if (format == DeflateFormat::kGzip) {
      const uint32_t size = static_cast<uint32_t>(totalIn);
      for (int i = 0; i < 4; ++i) trailer[i] = static_cast<uint8_t>(check >> (8 * i));
      for (int i = 0; i < 4; ++i) trailer[4 + i] = static_cast<uint8_t>(size >> (8 * i));
      PutBytes(trailer, 8);
    }
    return FlushPending();
  }

  void Header() {
    if (format == DeflateFormat::kZlib) {
      const uint32_t levelFlags = level < 2 ? 0 : level < 6 ? 1 : level == 6 ? 2 : 3;
      uint32_t h = 0x78 << 8 | levelFlags << 6;
      h += 31 - h % 31;
      const uint8_t bytes[2] = {static_cast<uint8_t>(h >> 8), static_cast<uint8_t>(h)};
      PutBytes(bytes, 2);
    } else if (format == DeflateFormat::kGzip) {
      const uint8_t bytes[10] = {0x1F, 0x8B, 8, 0, 0, 0, 0, 0, static_cast<uint8_t>(level == 9 ? 2 : level == 1 ? 4 : 0), 3};
      PutBytes(bytes, 10);
    }
  }
};

Deflater::Deflater() = default;
Deflater::~Deflater() = default;

bool Deflater::Begin(DeflateFormat format, int level, ByteSink& sink) {
  if (level < -1 || level > 9) {
    SetLastError(EINVAL);
    return false;
  }
  if (!MakeState(m_state, "deflate")) return false;
  State& s = *m_state;
  s.Reset();
  s.format = format;
  s.level = level < 0 ? kDefaultDeflateLevel : level;
  s.config = kLevels[s.level];
  s.sink = &sink;
  s.check = format == DeflateFormat::kZlib ? 1 : 0;
  s.Header();
  return true;
}

bool Deflater::Write(const void* data, size_t size) {
  if (!m_state || m_state->finished) {
    SetLastError(EINVAL);
    return false;
  }
  if (m_state->failed) return false;
  return m_state->Write(static_cast<const uint8_t*>(data), size);
}

bool Deflater::Finish() {
  if (!m_state || m_state->finished) {
    SetLastError(EINVAL);
    return false;
  }
  if (m_state->failed) return false;
  m_state->finished = true;
  return m_state->Finish();
}

uint64_t Deflater::GetTotalIn() const { return m_state ? m_state->totalIn : 0; }
uint64_t Deflater::GetTotalOut() const { return m_state ? m_state->totalOut : 0; }

bool DeflateStream(DeflateFormat format, int level, ByteSource& source, ByteSink& sink) {
  Deflater deflater;
  if (!deflater.Begin(format, level, sink)) return false;
  std::vector<uint8_t> buffer(1 << 16);
  for (;;) {
    const long n = source.Read(buffer.data(), buffer.size());
    if (n < 0) return false;
    if (n == 0) return deflater.Finish();
    if (!deflater.Write(buffer.data(), static_cast<size_t>(n))) return false;
  }
}

bool Deflate(DeflateFormat format, const void* data, size_t size, std::vector<uint8_t>& out, int level) {
  return RunOnBuffer(data, size, out, [&](ByteSource& in, ByteSink& to) { return DeflateStream(format, level, in, to); });
}

}  // namespace OrvGuiBase
