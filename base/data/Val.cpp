// Val.cpp: the value word, its boxes and references, its texts, and the shaped structures.
#include "base/data/Val.h"

#include <pthread.h>

#include <cmath>
#include <new>

#include "base/core/DebugAbort.h"
#include "base/core/LastError.h"
#include "base/core/ParticleAllocator.h"
#include "base/core/UpcallTrace.h"
#include "base/data/KVMap.h"
#include "base/process/Setup.h"
#include "base/text/Formatter.h"

namespace OrvGuiBase {

namespace {

// Box: a double or a 64-bit integer that does not fit the word, with its own count.
struct Box : Reference {
  uint32_t reserved = 0;
  union {
    double real;
    int64_t integer;
  };
};
static_assert(sizeof(Box) == 16, "a box is 16 bytes");

// Fits: the top nine bits of a 64-bit pattern are all zero or all one, so the pattern
// survives a shift left by eight and an arithmetic shift back.
inline bool Fits(uint64_t bits) noexcept {
  const uint64_t top = bits >> 55;
  return top == 0 || top == 0x1FF;
}

// The handle types are one body pointer each; a value holds that body. These move a body in
// and out of a handle without touching its count.
template <class Handle>
void* BodyOf(const Handle& handle) noexcept {
  void* body;
  memcpy(&body, static_cast<const void*>(&handle), sizeof body);
  return body;
}
template <class Handle>
Handle LinkedHandle(void* body) noexcept {
  Handle handle;
  if (body != nullptr) {
    static_cast<Reference*>(body)->Link();
    memcpy(static_cast<void*>(&handle), &body, sizeof body);
  }
  return handle;
}
// ArrayBody: the reference count of an Array body (its first member).
inline Reference& ArrayRef(void* body) noexcept { return static_cast<ArrayImp*>(body)->ref; }

Box* NewBox() noexcept {
  void* block = AllocParticle(sizeof(Box));
  if (block == nullptr) [[unlikely]] {
    ReportArrayAllocFail(sizeof(Box), 1);
    DebugAbort("Could not allocate value");
  }
  return new (block) Box;
}

}  // namespace

const char* GetValTypeName(unsigned type) {
  static const char* const kNames[] = {"VAL_NIL", "VAL_BOOL", "VAL_INT", "VAL_FLOAT", "VAL_DATE", "VAL_STR",
                                       "VAL_PIU", "VAL_DIC",  "VAL_VEC", "VAL_AGG",   "VAL_OBJ",  "VAL_BLOB"};
  return type < sizeof kNames / sizeof kNames[0] ? kNames[type] : "VAL_???";
}

uint64_t Val::MakeWord(unsigned type, const void* object, bool owner) noexcept {
  const uint64_t address = reinterpret_cast<uint64_t>(object);
  if (!Fits(address)) [[unlikely]]
    DebugAbort("Pointer value %p not within supported range", object);
  return (address << 8) | (owner ? kOwner : 0) | type;
}

void Val::Link(unsigned type, void* object) noexcept {
  switch (type) {
    case VAL_VEC: ArrayRef(object).Link(); break;
    default: static_cast<Reference*>(object)->Link(); break;
  }
}

void Val::Unlink(unsigned type, void* object) noexcept {
  switch (type) {
    case VAL_INT:
    case VAL_FLOAT:
      if (static_cast<Box*>(object)->Unlink()) FreeParticle(sizeof(Box), object);
      break;
    case VAL_STR:
    case VAL_BLOB:
      if (static_cast<AnsiStr::Imp*>(object)->Unlink()) AnsiStr::Imp::Free(static_cast<AnsiStr::Imp*>(object));
      break;
    case VAL_DIC: ValDic::Imp::Release(static_cast<ValDic::Imp*>(object)); break;
    case VAL_VEC: {
      // Released here rather than through an Array handle: documents nest hundreds of levels
      // deep, and each level of this recursion must cost as little stack as possible.
      ArrayImp* body = static_cast<ArrayImp*>(object);
      if (!body->ref.Unlink()) break;
      uint64_t* slots = body->GetSlots();
      for (uint32_t i = 0; i < body->count; ++i) {
        if (!(slots[i] & kOwner)) continue;
        const unsigned elementType = static_cast<unsigned>(slots[i] & kTypeMask);
        void* element = WordPointer(slots[i]);
        if (elementType == VAL_FLOAT || elementType == VAL_INT) {  // boxes, the most common owned elements
          if (static_cast<Box*>(element)->Unlink()) FreeParticle(sizeof(Box), element);
        } else {
          Unlink(elementType, element);
        }
      }
      ArrayImp::FreeBlock(body);
      break;
    }
    case VAL_AGG: VShapedStruct::Release(static_cast<VShapedStruct*>(object)); break;
    case VAL_OBJ: VShapedObject::Release(static_cast<VShapedObject*>(object)); break;
    default: DebugAbort("Val::Unlink: type %u holds no reference", type);
  }
}

void Val::ReportInvalidType(unsigned expected, const Val& value) noexcept {
  const int saved = GetLastError();
  const AnsiStr text = FmtArgs("Val: %s expected, found %s", GetValTypeName(expected), value.GetInfo().GetStr());
  OrvGuiTrace::TraceMsg(OrvGuiTrace::kTraceError, 0x04, "varobj", __LINE__, text.GetStr());
  SetLastError(saved);
}

Val& Val::operator=(const Val& other) noexcept {
  if (other.m_word & kOwner) Link(other.GetType(), other.GetPointer());
  Store(other.m_word);
  return *this;
}

void Val::SetBool(bool value) noexcept { Store(value ? 0x101 : 0x1); }

void Val::SetInt(int64_t value) noexcept {
  const uint64_t bits = static_cast<uint64_t>(value);
  if (Fits(bits)) {
    Store((bits << 8) | VAL_INT);
    return;
  }
  Box* box = NewBox();
  box->integer = value;
  Store(MakeWord(VAL_INT, box, true));
}

void Val::SetFloat(double value) noexcept {
  uint64_t bits;
  memcpy(&bits, &value, sizeof bits);
  if (Fits(bits)) {
    Store((bits << 8) | VAL_FLOAT);
    return;
  }
  if ((m_word & 0xFF) == (kOwner | VAL_FLOAT)) {
    Box* box = static_cast<Box*>(GetPointer());
    if (!box->IsShared()) {  // this value's own box: reused
      box->real = value;
      return;
    }
  }
  Box* box = NewBox();
  box->real = value;
  Store(MakeWord(VAL_FLOAT, box, true));
}

// A DateTime64 uses 56 bits (its top byte is zero), so it always lives in the word.
void Val::SetDate(DateTime64 value) noexcept { Store((value.GetValue() << 8) | VAL_DATE); }

void Val::SetStr(const AnsiStr& text) noexcept {
  void* body = BodyOf(text);
  if (body == nullptr) return Store(VAL_STR);
  static_cast<Reference*>(body)->Link();
  Store(MakeWord(VAL_STR, body, true));
}

void Val::SetStr(AnsiStr&& text) noexcept {
  void* body = BodyOf(text);
  if (body == nullptr) return Store(VAL_STR);
  const uint64_t word = MakeWord(VAL_STR, body, true);
  memset(static_cast<void*>(&text), 0, sizeof text);  // the reference moves into the value
  Store(word);
}

void Val::SetPiu(void* pointer) noexcept { Store(MakeWord(VAL_PIU, pointer, false)); }

void Val::SetDic(const ValDic& dic) noexcept {
  ValDic::Imp* body = dic.GetImp();
  if (body == nullptr) return Store(VAL_DIC);
  body->Link();
  Store(MakeWord(VAL_DIC, body, true));
}

void Val::SetVec(const Array<Val>& vec) noexcept {
  void* body = BodyOf(vec);
  if (body == nullptr) return Store(VAL_VEC);
  ArrayRef(body).Link();
  Store(MakeWord(VAL_VEC, body, true));
}

void Val::SetVec(Array<Val>&& vec) noexcept {
  void* body = BodyOf(vec);
  if (body == nullptr) return Store(VAL_VEC);
  const uint64_t word = MakeWord(VAL_VEC, body, true);
  memset(static_cast<void*>(&vec), 0, sizeof vec);
  Store(word);
}

void Val::SetAgg(VShapedStruct* object) noexcept {
  if (object == nullptr) return Store(0);
  object->Link();
  Store(MakeWord(VAL_AGG, object, true));
}

void Val::SetObj(VShapedObject* object) noexcept {
  if (object == nullptr) return Store(0);
  object->Link();
  Store(MakeWord(VAL_OBJ, object, true));
}

void Val::SetBlob(const Blob& blob) noexcept {
  void* body = BodyOf(blob);
  if (body == nullptr) return Store(VAL_BLOB);
  static_cast<Reference*>(body)->Link();
  Store(MakeWord(VAL_BLOB, body, true));
}

bool Val::GetBool() const noexcept {
  if (GetType() == VAL_BOOL) return (m_word & 0x100) != 0;
  ReportInvalidType(VAL_BOOL, *this);
  return false;
}

int64_t Val::GetInt() const noexcept {
  if (GetType() == VAL_INT)
    return IsOwner() ? static_cast<Box*>(GetPointer())->integer : static_cast<int64_t>(m_word) >> 8;
  ReportInvalidType(VAL_INT, *this);
  return 0;
}

double Val::GetFloat() const noexcept {
  if (GetType() == VAL_FLOAT) {
    if (IsOwner()) return static_cast<Box*>(GetPointer())->real;
    const uint64_t bits = static_cast<uint64_t>(static_cast<int64_t>(m_word) >> 8);
    double value;
    memcpy(&value, &bits, sizeof value);
    return value;
  }
  ReportInvalidType(VAL_FLOAT, *this);
  return 0;
}

DateTime64 Val::GetDate() const noexcept {
  if (GetType() == VAL_DATE) return DateTime64(m_word >> 8);
  ReportInvalidType(VAL_DATE, *this);
  return DateTime64();
}

AnsiStr Val::GetStr() const noexcept {
  if (GetType() == VAL_STR) return LinkedHandle<AnsiStr>(GetPointer());
  ReportInvalidType(VAL_STR, *this);
  return AnsiStr();
}

const char* Val::GetStrData() const noexcept {
  if (GetType() != VAL_STR || GetPointer() == nullptr) return "";
  return static_cast<AnsiStr::Imp*>(GetPointer())->text;
}

uint32_t Val::GetStrLength() const noexcept {
  if (GetType() != VAL_STR || GetPointer() == nullptr) return 0;
  return static_cast<AnsiStr::Imp*>(GetPointer())->length;
}

void* Val::GetPiu() const noexcept {
  if (GetType() == VAL_PIU) return GetPointer();
  ReportInvalidType(VAL_PIU, *this);
  return nullptr;
}

ValDic Val::GetDic() const noexcept {
  if (GetType() != VAL_DIC) {
    ReportInvalidType(VAL_DIC, *this);
    return ValDic();
  }
  ValDic::Imp* body = static_cast<ValDic::Imp*>(GetPointer());
  if (body != nullptr) body->Link();
  return ValDic::Adopt(body);
}

Array<Val> Val::GetVec() const noexcept {
  if (GetType() != VAL_VEC) {
    ReportInvalidType(VAL_VEC, *this);
    return Array<Val>();
  }
  void* body = GetPointer();
  if (body == nullptr) return Array<Val>();
  ArrayRef(body).Link();
  Array<Val> vec;
  memcpy(static_cast<void*>(&vec), &body, sizeof body);
  return vec;
}

const Val* Val::GetVecData(uint32_t* count) const noexcept {
  ArrayImp* body = GetType() == VAL_VEC ? static_cast<ArrayImp*>(GetPointer()) : nullptr;
  *count = body != nullptr ? body->count : 0;
  return body != nullptr ? reinterpret_cast<const Val*>(body->GetSlots()) : nullptr;
}

Blob Val::GetBlob() const noexcept {
  if (GetType() == VAL_BLOB) return LinkedHandle<Blob>(GetPointer());
  ReportInvalidType(VAL_BLOB, *this);
  return Blob();
}

VShapedStruct* Val::GetAgg() const noexcept {
  return GetType() == VAL_AGG ? static_cast<VShapedStruct*>(GetPointer()) : nullptr;
}

VShapedObject* Val::GetObj() const noexcept {
  return GetType() == VAL_OBJ ? static_cast<VShapedObject*>(GetPointer()) : nullptr;
}

uint32_t Val::GetCount() const noexcept {
  void* body = GetPointer();
  if (body == nullptr) return 0;
  switch (GetType()) {
    case VAL_DIC: return static_cast<ValDic::Imp*>(body)->GetCount();
    case VAL_VEC: return static_cast<ArrayImp*>(body)->count;
    case VAL_AGG:
    case VAL_OBJ: return static_cast<VShapedStruct*>(body)->GetCount();
    case VAL_BLOB: return static_cast<AnsiStr::Imp*>(body)->length;
    default: return 0;
  }
}

AnsiStr Val::ToStr() const {
  switch (GetType()) {
    case VAL_NIL: return AnsiStr();
    case VAL_BOOL: return GetBool() ? "true" : "false";
    case VAL_INT: return FmtArgs("%lld", static_cast<long long>(GetInt()));
    case VAL_FLOAT: return FmtArgs("%.*f", static_cast<int>(Setup::GetFractions()), GetFloat());
    case VAL_DATE: return GetDate().GetStr();
    case VAL_STR: return GetStr();
    case VAL_PIU: return FmtArgs("%p", GetPointer());
    case VAL_DIC:
    case VAL_VEC:
    case VAL_AGG:
    case VAL_OBJ: return GetCount() == 1 ? AnsiStr("[1 entry]") : FmtArgs("[%u entries]", GetCount());
    case VAL_BLOB: return FmtArgs("[%u bytes]", GetCount());
    default: return FmtArgs("[unknown type %d]", static_cast<int>(GetType()));
  }
}

AnsiStr Val::GetInfo() const {
  const char* name = GetValTypeName(GetType());
  switch (GetType()) {
    case VAL_NIL: return name;
    case VAL_BOOL: return FmtArgs("%s: %s", name, GetBool() ? "true" : "false");
    case VAL_INT: return FmtArgs("%s: %lld", name, static_cast<long long>(GetInt()));
    case VAL_FLOAT: return FmtArgs("%s: %f", name, GetFloat());
    case VAL_DATE: return FmtArgs("%s: %s", name, GetDate().GetStr().GetStr());
    // The lone closing parenthesis is part of this text on purpose: log scanners match it.
    case VAL_STR: return FmtArgs("%s: len %u %s)", name, GetStrLength(), GetStrData());
    case VAL_PIU: return FmtArgs("%s: %p", name, GetPointer());
    case VAL_DIC:
    case VAL_VEC:
    case VAL_AGG:
    case VAL_BLOB: return FmtArgs("%s: len %u", name, GetCount());
    case VAL_OBJ: {
      const VShapedObject* object = GetObj();
      return FmtArgs("%s: len %u id %llu ident %s", name, GetCount(),
                     static_cast<unsigned long long>(object != nullptr ? object->id : 0),
                     object != nullptr ? object->ident.GetStr() : "");
    }
    default: return FmtArgs("%s: type %d", name, static_cast<int>(GetType()));
  }
}

bool operator==(const Val& a, const Val& b) noexcept {
  if (a.m_word == b.m_word) return true;
  const unsigned type = a.GetType();
  if (type != b.GetType()) return false;
  switch (type) {
    case VAL_INT: return a.GetInt() == b.GetInt();
    case VAL_FLOAT: {
      const double x = a.GetFloat(), y = b.GetFloat();
      return x == y || (std::isnan(x) && std::isnan(y));
    }
    case VAL_STR:
      return a.GetStrLength() == b.GetStrLength() && memcmp(a.GetStrData(), b.GetStrData(), a.GetStrLength()) == 0;
    case VAL_BLOB: {
      const Blob x = a.GetBlob(), y = b.GetBlob();
      return x.GetLength() == y.GetLength() && (x.GetLength() == 0 || memcmp(x.GetData(), y.GetData(), x.GetLength()) == 0);
    }
    case VAL_VEC: {
      const Array<Val> x = a.GetVec(), y = b.GetVec();
      if (x.GetCount() != y.GetCount()) return false;
      for (uint32_t i = 0; i < x.GetCount(); ++i)
        if (!(x.GetData()[i] == y.GetData()[i])) return false;
      return true;
    }
    case VAL_DIC: {
      const ValDic x = a.GetDic(), y = b.GetDic();
      if (x.GetCount() != y.GetCount()) return false;
      for (uint32_t i = 0; i < x.GetCount(); ++i)
        if (!(x.GetKey(i) == y.GetKey(i)) || !(x.GetValue(i) == y.GetValue(i))) return false;
      return true;
    }
    case VAL_AGG:
    case VAL_OBJ: {
      const VShapedStruct* x = a.GetAgg() != nullptr ? a.GetAgg() : a.GetObj();
      const VShapedStruct* y = b.GetAgg() != nullptr ? b.GetAgg() : b.GetObj();
      if (x == nullptr || y == nullptr || x->shape != y->shape || x->GetCount() != y->GetCount()) return x == y;
      for (uint32_t i = 0; i < x->GetCount(); ++i)
        if (!(x->Get(i) == y->Get(i))) return false;
      return true;
    }
    default: return false;  // the words differ
  }
}

void TaggedValue<ValType, Val>::SetVal(Val& word, ValType type, uint64_t payload) noexcept {
  switch (type) {
    case VAL_NIL: word.Store(0); break;
    case VAL_BOOL: word.Store(payload != 0 ? 0x101 : 0x1); break;
    case VAL_INT: word.SetInt(static_cast<int64_t>(payload)); break;
    case VAL_FLOAT: {
      double value;
      memcpy(&value, &payload, sizeof value);
      word.SetFloat(value);
      break;
    }
    case VAL_DATE: word.SetDate(DateTime64(payload)); break;
    default: SetVal(word, type, reinterpret_cast<void*>(payload)); break;
  }
}

void TaggedValue<ValType, Val>::SetVal(Val& word, ValType type, void* object) noexcept {
  if (type == VAL_PIU) return word.SetPiu(object);
  if (type < VAL_STR || type > VAL_BLOB) return SetVal(word, type, reinterpret_cast<uint64_t>(object));
  if (object == nullptr) return word.Store(type == VAL_AGG || type == VAL_OBJ ? uint64_t{0} : uint64_t{type});
  const uint64_t next = Val::MakeWord(type, object, true);
  Val::Link(type, object);
  word.Store(next);
}

// Shaped structures.

VShapeType* VShapeType::Create(const AnsiStr& name, const Array<AnsiStr>& fields) {
  void* block = AllocParticle(sizeof(VShapeType));
  if (block == nullptr) return nullptr;
  VShapeType* shape = new (block) VShapeType;
  shape->name = name;
  shape->fields = fields;
  return shape;
}

void VShapeType::Release(VShapeType* shape) {
  if (shape == nullptr || !shape->Unlink()) return;
  shape->~VShapeType();
  FreeParticle(sizeof(VShapeType), shape);
}

int VShapeType::FindField(const char* field) const {
  for (uint32_t i = 0; i < fields.GetCount(); ++i)
    if (strcmp(fields.GetData()[i].GetStr(), field) == 0) return static_cast<int>(i);
  return -1;
}

bool VShapedStruct::Init(VShapeType* shapeType) {
  if (shapeType == nullptr) return false;
  shapeType->Link();
  shape = shapeType;
  values.SetCount(shapeType->fields.GetCount());
  return true;
}

void VShapedStruct::Clear() {
  values.Clear();
  VShapeType::Release(shape);
  shape = nullptr;
}

VShapedStruct* VShapedStruct::Create(VShapeType* shapeType) {
  if (shapeType == nullptr) return nullptr;
  void* block = AllocParticle(sizeof(VShapedStruct));
  if (block == nullptr) return nullptr;
  VShapedStruct* object = new (block) VShapedStruct;
  object->Init(shapeType);
  return object;
}

void VShapedStruct::Release(VShapedStruct* object) {
  if (object == nullptr || !object->Unlink()) return;
  object->Clear();
  object->~VShapedStruct();
  FreeParticle(sizeof(VShapedStruct), object);
}

uint32_t VShapedStruct::GetCount() const { return values.GetCount(); }

Val VShapedStruct::Get(uint32_t index) const { return index < values.GetCount() ? values.GetData()[index] : Val(); }

Val VShapedStruct::Get(const char* field) const {
  const int index = shape != nullptr ? shape->FindField(field) : -1;
  return index >= 0 ? Get(static_cast<uint32_t>(index)) : Val();
}

bool VShapedStruct::Set(uint32_t index, const Val& value) {
  if (index >= values.GetCount()) return false;
  values[index] = value;
  return true;
}

bool VShapedStruct::Set(const char* field, const Val& value) {
  const int index = shape != nullptr ? shape->FindField(field) : -1;
  return index >= 0 && Set(static_cast<uint32_t>(index), value);
}

VShapedObject* VShapedObject::Create(VShapeType* shapeType, uint64_t objectId, const AnsiStr& identifier) {
  if (shapeType == nullptr) return nullptr;
  void* block = AllocParticle(sizeof(VShapedObject));
  if (block == nullptr) return nullptr;
  VShapedObject* object = new (block) VShapedObject;
  object->Init(shapeType);
  object->id = objectId;
  object->ident = identifier;
  object->lock = new (std::nothrow) pthread_mutex_t;
  if (object->lock != nullptr) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(object->lock, &attributes);
    pthread_mutexattr_destroy(&attributes);
  }
  return object;
}

void VShapedObject::Release(VShapedObject* object) {
  if (object == nullptr || !object->Unlink()) return;
  object->Clear();
  if (object->lock != nullptr) {
    pthread_mutex_destroy(object->lock);
    delete object->lock;
  }
  object->~VShapedObject();
  FreeParticle(sizeof(VShapedObject), object);
}

VShapeLocker::VShapeLocker(VShapedObject* object) : m_object(object) {
  if (m_object != nullptr && m_object->lock != nullptr) pthread_mutex_lock(m_object->lock);
}

VShapeLocker::~VShapeLocker() {
  if (m_object != nullptr && m_object->lock != nullptr) pthread_mutex_unlock(m_object->lock);
}

}  // namespace OrvGuiBase
