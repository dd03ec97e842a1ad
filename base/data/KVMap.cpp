// KVMap.cpp: the buckets, the insertion-ordered arrays and their compaction.
#include "base/data/KVMap.h"

#include <bit>
#include <cstdlib>
#include <cstring>
#include <new>

#include "base/core/ParticleAllocator.h"

namespace OrvGuiBase {

namespace {

using Imp = ValDic::Imp;
using IndexArray = ValDic::IndexArray;

size_t IndexBytes(uint32_t capacity) { return sizeof(IndexArray) + sizeof(uint32_t) * size_t{capacity}; }

IndexArray* NewIndexArray(uint32_t capacity) noexcept {
  const size_t bytes = IndexBytes(capacity);
  IndexArray* array = static_cast<IndexArray*>(AllocParticle(bytes));
  if (array == nullptr) [[unlikely]] {
    ReportArrayAllocFail(bytes, capacity);
    return nullptr;
  }
  array->capacity = capacity;
  array->count = 0;
  return array;
}

void FreeIndexArray(IndexArray* array) noexcept {
  if (array != nullptr) FreeParticle(IndexBytes(array->capacity), array);
}

// MakeRoom: room for one more element in an Array, by the common growth rule.
template <class T>
void MakeRoom(Array<T>& array) noexcept {
  if (array.GetCount() == array.GetCapacity()) array.Reserve(ValDic::GetGrowCapacity(array.GetCapacity()));
}

const Array<AnsiStr>& EmptyKeys() {
  static const Array<AnsiStr> s_keys;
  return s_keys;
}
const Array<Val>& EmptyValues() {
  static const Array<Val> s_values;
  return s_values;
}

}  // namespace

uint32_t ValDic::GetGrowCapacity(uint32_t capacity) noexcept {
  uint64_t next;
  if (capacity == 0) next = 11;
  else if (capacity < 20) next = uint64_t{capacity} + 10;
  else if (capacity < 100000) next = uint64_t{capacity} + capacity / 2;
  else next = uint64_t{capacity} + 50000;
  return next > ArrayImp::kMaxCount ? ArrayImp::kMaxCount : static_cast<uint32_t>(next);
}

Imp* Imp::Create(uint32_t capacity) noexcept {
  void* block = AllocParticle(sizeof(Imp));
  if (block == nullptr) [[unlikely]] {
    ReportArrayAllocFail(sizeof(Imp), 1);
    return nullptr;
  }
  Imp* body = new (block) Imp;
  if (capacity > 0) {
    body->keys.Reserve(capacity);
    body->values.Reserve(capacity);
  }
  return body;
}

void Imp::Release(Imp* body) noexcept {
  if (body == nullptr || !body->Unlink()) return;
  for (IndexArray* bucket : body->buckets)
    if ((bucket != nullptr) & !body->IsPooled(bucket)) FreeIndexArray(bucket);  // a branch taken only for a grown bucket
  if (body->pool != nullptr) FreeParticle(body->poolBytes, body->pool);
  // The values are released one by one here, with the least stack per nesting level, when
  // this body is their only owner; the value array then goes with nothing left in it.
  if (!body->values.IsShared() && body->values.GetCount() > 0) {
    Val* slots = const_cast<Val*>(body->values.GetData());
    for (uint32_t i = 0; i < body->values.GetCount(); ++i) {
      const uint64_t word = slots[i].DetachWord();
      if (word & Val::kOwner)
        Val::Unlink(static_cast<unsigned>(word & Val::kTypeMask), reinterpret_cast<void*>(static_cast<intptr_t>(word) >> 8));
    }
  }
  body->~Imp();
  FreeParticle(sizeof(Imp), body);
}

Imp* Imp::Build(Entry* entries, uint32_t count) noexcept {
  Imp* body = Create();
  if (body == nullptr) return nullptr;
  uint32_t perBucket[kBuckets] = {};
  unsigned usedBuckets = 0;  // a bit per bucket with a key
  for (uint32_t i = 0; i < count; ++i) {
    const unsigned b = entries[i].hash % kBuckets;
    ++perBucket[b];
    usedBuckets |= 1u << b;
  }
  // All buckets in one block: a parsed object costs four allocations, whatever its size.
  const size_t bytes = sizeof(uint32_t) * size_t{count} + sizeof(IndexArray) * static_cast<size_t>(std::popcount(usedBuckets));
  if (bytes > 0) {
    if (bytes > 0xFFFFFFFFu || (body->pool = AllocParticle(bytes)) == nullptr) {
      ReportArrayAllocFail(bytes, count);
      Release(body);
      return nullptr;
    }
    body->poolBytes = static_cast<uint32_t>(bytes);
    char* next = static_cast<char*>(body->pool);
    for (unsigned rest = usedBuckets; rest != 0; rest &= rest - 1) {
      const unsigned b = static_cast<unsigned>(std::countr_zero(rest));
      IndexArray* bucket = reinterpret_cast<IndexArray*>(next);
      bucket->capacity = perBucket[b];
      bucket->count = 0;
      body->buckets[b] = bucket;
      next += IndexBytes(perBucket[b]);
    }
  }
  body->keys.Reserve(count).SetCount(count);
  body->values.Reserve(count).SetCount(count);
  AnsiStr* names = const_cast<AnsiStr*>(body->keys.GetData());  // unshared: ours to fill
  Val* slots = const_cast<Val*>(body->values.GetData());
  uint32_t used = 0;
  for (uint32_t i = 0; i < count; ++i) {
    Entry& entry = entries[i];
    IndexArray* chain = body->buckets[entry.hash % kBuckets];
    uint32_t found = used;
    if (used == i) {
      // No duplicate so far: key k came from entry k, whose hash tells most keys apart (a large
      // object of numeric names has many of one length in a bucket).
      const uint32_t length = KeyLength(entry.key);
      for (uint32_t c = 0; c < chain->count; ++c) {
        const uint32_t k = chain->items[c];
        if (entries[k].hash == entry.hash && KeyLength(names[k]) == length &&
            memcmp(names[k].GetStr(), entry.key.GetStr(), length) == 0) {
          found = k;
          break;
        }
      }
    } else {
      found = body->FindKey(entry.key.GetStr(), KeyLength(entry.key), entry.hash % kBuckets);
    }
    if (found < used) {
      slots[found] = std::move(entry.value);
      entry.key = AnsiStr();
      continue;
    }
    names[used] = std::move(entry.key);
    slots[used] = std::move(entry.value);
    chain->items[chain->count++] = used++;
  }
  if (used < count) {
    body->keys.SetCount(used);
    body->values.SetCount(used);
    body->Shrink();
  }
  return body;
}

uint32_t Imp::FindKey(const char* key, uint32_t length, unsigned bucket) const noexcept {
  const IndexArray* chain = buckets[bucket];
  if (chain != nullptr) {
    const AnsiStr* names = keys.GetData();
    for (uint32_t i = 0; i < chain->count; ++i) {
      const AnsiStr& name = names[chain->items[i]];
      if (KeyLength(name) == length && memcmp(name.GetStr(), key, length) == 0) return chain->items[i];
    }
  }
  return keys.GetCount();
}

uint32_t Imp::AddKey(const AnsiStr& key) noexcept { return AddKey(key, GetBucket(key.GetStr())); }

uint32_t Imp::AddKey(const AnsiStr& key, unsigned bucket) noexcept {
  const uint32_t count = keys.GetCount();
  const uint32_t found = FindKey(key.GetStr(), key.GetLength(), bucket);
  if (found < count) return found;
  if (count == ArrayImp::kMaxCount) [[unlikely]] {
    ReportArrayOverflow(count, 1);
    return kNotFound;
  }
  IndexArray* chain = buckets[bucket];
  if (chain == nullptr || chain->count == chain->capacity) {
    IndexArray* grown = NewIndexArray(GetGrowCapacity(chain != nullptr ? chain->capacity : 0));
    if (grown == nullptr) return kNotFound;  // reported; nothing changed
    if (chain != nullptr) {
      memcpy(grown->items, chain->items, sizeof(uint32_t) * chain->count);
      grown->count = chain->count;
      if (!IsPooled(chain)) FreeIndexArray(chain);
    }
    buckets[bucket] = chain = grown;
  }
  MakeRoom(keys);
  MakeRoom(values);
  chain->items[chain->count++] = count;
  keys.Append(key);
  values.Append(Val());
  return count;
}

// Shrink keeps the entries not listed, in their order, in arrays of exactly their count, and
// then rebuilds every bucket from the surviving keys. The new buckets are all allocated before
// anything is replaced, so a failure leaves the map as it was.
bool Imp::Shrink(const uint32_t* remove, uint32_t removeCount) noexcept {
  const uint32_t count = keys.GetCount();
  bool compact = removeCount == 0 && keys.GetCapacity() == count && values.GetCapacity() == count;
  for (unsigned b = 0; compact && b < kBuckets; ++b)
    compact = buckets[b] == nullptr || buckets[b]->capacity == buckets[b]->count;
  if (compact) return true;

  uint8_t* drop = nullptr;
  if (removeCount > 0) {
    drop = static_cast<uint8_t*>(calloc(count, 1));
    if (drop == nullptr) return false;
    for (uint32_t i = 0; i < removeCount; ++i)
      if (remove[i] < count) drop[remove[i]] = 1;
  }
  Array<AnsiStr> newKeys;
  Array<Val> newValues;
  uint32_t kept = 0;
  for (uint32_t i = 0; i < count; ++i) kept += drop == nullptr || drop[i] == 0;
  newKeys.Reserve(kept);
  newValues.Reserve(kept);
  uint32_t perBucket[kBuckets] = {};
  for (uint32_t i = 0; i < count; ++i) {
    if (drop != nullptr && drop[i] != 0) continue;
    newKeys.Append(keys.GetData()[i]);
    newValues.Append(values.GetData()[i]);
    ++perBucket[GetBucket(keys.GetData()[i].GetStr())];
  }
  free(drop);
  IndexArray* rebuilt[kBuckets] = {};
  for (unsigned b = 0; b < kBuckets; ++b) {
    if (perBucket[b] == 0) continue;
    if ((rebuilt[b] = NewIndexArray(perBucket[b])) == nullptr) {
      for (IndexArray* done : rebuilt) FreeIndexArray(done);
      return false;
    }
  }
  for (uint32_t i = 0; i < kept; ++i) {
    IndexArray* chain = rebuilt[GetBucket(newKeys.GetData()[i].GetStr())];
    chain->items[chain->count++] = i;
  }
  for (unsigned b = 0; b < kBuckets; ++b) {
    if (!IsPooled(buckets[b])) FreeIndexArray(buckets[b]);
    buckets[b] = rebuilt[b];
  }
  if (pool != nullptr) {
    FreeParticle(poolBytes, pool);
    pool = nullptr;
    poolBytes = 0;
  }
  keys = std::move(newKeys);
  values = std::move(newValues);
  return true;
}

ValDic& ValDic::operator=(const KVMap& other) noexcept {
  if (other.m_imp != nullptr) other.m_imp->Link();
  Imp::Release(m_imp);
  m_imp = other.m_imp;
  return *this;
}

ValDic& ValDic::operator=(KVMap&& other) noexcept {
  if (this != &other) {
    Imp::Release(m_imp);
    m_imp = other.m_imp;
    other.m_imp = nullptr;
  }
  return *this;
}

Imp* ValDic::MakeImp() noexcept {
  if (m_imp == nullptr) m_imp = Imp::Create();
  return m_imp;
}

int ValDic::Find(const char* key) const noexcept {
  if (m_imp == nullptr) return -1;
  if (key == nullptr) key = "";
  const uint32_t index = m_imp->FindKey(key, static_cast<uint32_t>(strlen(key)), Imp::GetBucket(key));
  return index < m_imp->GetCount() ? static_cast<int>(index) : -1;
}

Val ValDic::Get(const char* key) const noexcept {
  const int index = Find(key);
  return index >= 0 ? m_imp->values.GetData()[index] : Val();
}

bool ValDic::Set(const AnsiStr& key, const Val& value) noexcept { return Set(key, Val(value)); }

bool ValDic::Set(const AnsiStr& key, Val&& value) noexcept {
  Imp* body = MakeImp();
  if (body == nullptr) return false;
  const uint32_t index = body->AddKey(key);
  if (index == kNotFound) return false;
  body->values[index] = std::move(value);
  return true;
}

bool ValDic::Remove(const char* key) noexcept {
  const int index = Find(key);
  if (index < 0) return false;
  const uint32_t at = static_cast<uint32_t>(index);
  return m_imp->Shrink(&at, 1);
}

const AnsiStr& ValDic::GetKey(uint32_t index) const noexcept { return GetKeys()[index]; }
const Val& ValDic::GetValue(uint32_t index) const noexcept { return GetValues()[index]; }
const Array<AnsiStr>& ValDic::GetKeys() const noexcept { return m_imp != nullptr ? m_imp->keys : EmptyKeys(); }
const Array<Val>& ValDic::GetValues() const noexcept { return m_imp != nullptr ? m_imp->values : EmptyValues(); }

}  // namespace OrvGuiBase
