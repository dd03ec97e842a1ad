// KVMap.h: KVMap<AnsiStr, Val, Val, 13> (ValDic), the dictionary of values keyed by text.
//
//   ValDic dic;
//   dic.Set("b", 1); dic.Set("a", "two"); dic.Set("b", 3);   // b replaced in place
//   for (uint32_t i = 0; i < dic.GetCount(); ++i) printf("%s\n", dic.GetKey(i).GetStr());  // b a
//
// The body (KVMap::Imp) is a reference count, 13 buckets and two parallel arrays: the keys in
// insertion order and their values. Each bucket is an array of 32-bit indices into the key
// array. A key's bucket is its hash modulo 13, where the hash is h = h * 31 + byte over the
// UTF-8 text up to its terminator, each byte taken as SIGNED (bytes from 0x80 subtract): keys
// hashed elsewhere with the same rule find the same buckets, so the sign extension stays.
// Enumeration follows the key array, so a map always lists its keys in insertion order.
// Arrays grow by the common rule: first 11 elements, then by 10 below 20, by half below
// 100,000, by 50,000 beyond. An index array that cannot grow is reported through
// ReportArrayAllocFail and the insertion does not happen (the key and value arrays end the
// process instead, as every Array does).
//
// A KVMap is a handle: copies share one body (a dictionary is a reference type, like the map
// a Val holds). The reference count is atomic; the map itself is not locked, so one map must
// not be changed by two threads at once.
//
// Depends on Val (base/data/Val.h), Array and AnsiStr.
#pragma once

#include <cstdint>
#include <cstring>

#include "base/data/Val.h"

namespace OrvGuiBase {

template <class K, class V, class D, unsigned N>
class KVMap;

template <>
class ORVGUI_API KVMap<AnsiStr, Val, Val, 13> {
 public:
  static constexpr unsigned kBuckets = 13;
  static constexpr uint32_t kNotFound = 0xFFFFFFFFu;

  // IndexArray: one bucket: capacity, count, then the key indices.
  struct IndexArray {
    uint32_t capacity;
    uint32_t count;
    uint32_t items[];
  };

  struct ORVGUI_API Imp : Reference {
    IndexArray* buckets[kBuckets] = {};
    Array<AnsiStr> keys;
    Array<Val> values;
    // pool: one block holding the buckets made by Build (a bucket inside it is not freed on
    // its own; one that grows out of it moves to a block of its own).
    void* pool = nullptr;
    uint32_t poolBytes = 0;

    bool IsPooled(const IndexArray* bucket) const noexcept {
      // One unsigned comparison: below the pool wraps around to a large distance.
      return reinterpret_cast<uintptr_t>(bucket) - reinterpret_cast<uintptr_t>(pool) < poolBytes;
    }

    // Create: an empty body with room for capacity keys (null, reported, without memory).
    static Imp* Create(uint32_t capacity = 0) noexcept;
    // Release: drops one reference; the last one frees the body with its keys and values.
    static void Release(Imp* body) noexcept;

    // Hash: the key hash (signed bytes, wrapping at 32 bits) and its bucket.
    static uint32_t Hash(const char* key) noexcept {
      uint32_t h = 0;
      for (; *key != 0; ++key) h = h * 31 + static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(*key)));
      return h;
    }
    static unsigned GetBucket(const char* key) noexcept { return Hash(key) % kBuckets; }
    // KeyLength: the length of a key read from its body in place (look-ups compare many).
    static uint32_t KeyLength(const AnsiStr& key) noexcept {
      const AnsiStr::Imp* body;
      memcpy(&body, static_cast<const void*>(&key), sizeof body);
      return body != nullptr ? body->length : 0;
    }

    // AddKey: the index of key, appended (with a nil value) when new; kNotFound when the
    // bucket could not grow (reported).
    uint32_t AddKey(const AnsiStr& key) noexcept;
    uint32_t AddKey(const AnsiStr& key, unsigned bucket) noexcept;
    // FindKey: the index of key within the bucket's chain, or an index at or beyond the key
    // count when it is absent.
    uint32_t FindKey(const char* key, uint32_t length, unsigned bucket) const noexcept;
    // GetKeys: the keys in insertion order.
    const Array<AnsiStr>& GetKeys() const noexcept { return keys; }
    // Shrink: removes the entries whose indices are listed (any order, repeats ignored), keeps
    // the order of the rest, trims every array to its count and rebuilds the buckets. With no
    // indices it only compacts. False (map unchanged) when memory is short.
    bool Shrink(const uint32_t* remove = nullptr, uint32_t removeCount = 0) noexcept;

    uint32_t GetCount() const noexcept { return keys.GetCount(); }

    // Entry: a key with its hash and value, for Build.
    struct Entry {
      AnsiStr key;
      uint32_t hash;
      Val value;
    };
    // Build: a body holding count entries, as if each were set in turn (a repeated key
    // replaces the earlier value in its place), in arrays of exactly their size. Takes the
    // entries over: their keys and values are left empty. Null (reported) without memory; the
    // entries then still hold their contents.
    static Imp* Build(Entry* entries, uint32_t count) noexcept;
  };

  // GetGrowCapacity: the capacity after capacity by the common growth rule.
  static uint32_t GetGrowCapacity(uint32_t capacity) noexcept;

  KVMap() noexcept = default;
  KVMap(const KVMap& other) noexcept : m_imp(other.m_imp) {
    if (m_imp != nullptr) m_imp->Link();
  }
  KVMap(KVMap&& other) noexcept : m_imp(other.m_imp) { other.m_imp = nullptr; }
  ~KVMap() { Imp::Release(m_imp); }
  KVMap& operator=(const KVMap& other) noexcept;
  KVMap& operator=(KVMap&& other) noexcept;

  // Adopt: a handle over body taking over one reference the caller holds.
  static KVMap Adopt(Imp* body) noexcept {
    KVMap map;
    map.m_imp = body;
    return map;
  }

  uint32_t GetCount() const noexcept { return m_imp != nullptr ? m_imp->GetCount() : 0; }
  bool IsEmpty() const noexcept { return GetCount() == 0; }
  // Find: the index of key, or -1.
  int Find(const char* key) const noexcept;
  bool Contains(const char* key) const noexcept { return Find(key) >= 0; }
  // Get: a linked copy of the value stored under key; nil when absent.
  Val Get(const char* key) const noexcept;
  // Set: stores value under key (appended when new, replaced in place when not); false when
  // memory is short (reported; the map is unchanged).
  bool Set(const AnsiStr& key, const Val& value) noexcept;
  bool Set(const AnsiStr& key, Val&& value) noexcept;
  // Remove: removes key; false when it was absent or memory is short.
  bool Remove(const char* key) noexcept;
  // GetKey / GetValue: the entry at index in insertion order.
  const AnsiStr& GetKey(uint32_t index) const noexcept;
  const Val& GetValue(uint32_t index) const noexcept;
  // GetKeys / GetValues: the parallel arrays (empty arrays for an empty map).
  const Array<AnsiStr>& GetKeys() const noexcept;
  const Array<Val>& GetValues() const noexcept;
  // GetImp: the body (null while the map is empty and has never held anything).
  Imp* GetImp() const noexcept { return m_imp; }
  // Detach: hands the body (and the reference) to the caller.
  Imp* Detach() noexcept {
    Imp* body = m_imp;
    m_imp = nullptr;
    return body;
  }

 private:
  Imp* MakeImp() noexcept;
  Imp* m_imp = nullptr;
};

}  // namespace OrvGuiBase
