// Val.h: Val, the library's dynamically typed value, and the shaped structures it can hold.
//
//   Val v(800);                               // the word 0x32002: an integer in place
//   Val s("text");                            // a counted reference to an AnsiStr (type byte 0x85)
//   AnsiStr t = s.ToStr();                    // "text"; s.GetInfo() is "VAL_STR: len 4 text)"
//
// A Val is one 64-bit word. Bits 0 to 6 hold the type code (ValType), bit 7 says that the word
// owns a counted reference, bits 8 to 63 hold the payload: an integer shifted left by eight, a
// pointer shifted left by eight (so only addresses whose top nine bits are all equal can be
// held; anything else ends the process with "Pointer value %p not within supported range"), or
// a double's bit pattern shifted left by eight when its top nine bits are all equal. Doubles
// that do not fit live in a 16-byte box (reference count, double) and the word's type byte is
// 0x83; integers beyond 56 bits are boxed the same way (type byte 0x82), so no value is lost.
// The all-zero word is nil. A word without the owner bit and with a zero payload is the empty
// value of its type (VAL_STR "", VAL_VEC [], VAL_BLOB of no bytes).
//
// Copying a Val links the referenced object, destroying it unlinks it (Val::Link/Val::Unlink),
// so values may be copied and released on many threads; one Val must not be changed by two
// threads at once. Nothing throws: a value of the wrong type read through an accessor is
// traced (ReportInvalidType) and reads as the type's empty value.
//
// Depends on core (references, particles, DebugAbort), text (AnsiStr, Array, Blob, the
// formatter) and time (DateTime64 and its text).
#pragma once

#include <pthread.h>

#include <cstdint>
#include <cstring>
#include <utility>

#include "base/core/Export.h"
#include "base/core/Reference.h"
#include "base/text/AnsiStr.h"
#include "base/text/Array.h"
#include "base/text/Blob.h"
#include "base/time/DateTime.h"

namespace OrvGuiBase {

// ValType: the type code of a value (7 bits).
enum ValType : unsigned {
  VAL_NIL = 0,
  VAL_BOOL = 1,
  VAL_INT = 2,
  VAL_FLOAT = 3,
  VAL_DATE = 4,
  VAL_STR = 5,
  VAL_PIU = 6,
  VAL_DIC = 7,
  VAL_VEC = 8,
  VAL_AGG = 9,
  VAL_OBJ = 10,
  VAL_BLOB = 11,
};

// GetValTypeName: "VAL_NIL" ... "VAL_BLOB"; "VAL_???" for any other code.
ORVGUI_API const char* GetValTypeName(unsigned type);

class Val;
template <class K, class V, class D, unsigned N>
class KVMap;
using ValDic = KVMap<AnsiStr, Val, Val, 13>;

struct VShapedStruct;
struct VShapedObject;

class ORVGUI_API Val {
 public:
  static constexpr uint64_t kTypeMask = 0x7F;
  static constexpr uint64_t kOwner = 0x80;

  Val() noexcept = default;
  Val(const Val& other) noexcept : m_word(other.m_word) {
    if (m_word & kOwner) Link(GetType(), other.GetPointer());
  }
  Val(Val&& other) noexcept : m_word(std::exchange(other.m_word, 0)) {}
  ~Val() {
    if (m_word & kOwner) Unlink(GetType(), GetPointer());
  }
  Val& operator=(const Val& other) noexcept;
  Val& operator=(Val&& other) noexcept {
    if (this != &other) {
      const uint64_t old = std::exchange(m_word, std::exchange(other.m_word, 0));
      if (old & kOwner) Unlink(static_cast<unsigned>(old & kTypeMask), WordPointer(old));
    }
    return *this;
  }

  // Construction from the scalar and referenced types. Val(text) is a string value.
  Val(bool value) noexcept : m_word(value ? 0x101 : 0x1) {}  // NOLINT(google-explicit-constructor)
  Val(int value) noexcept { SetInt(value); }  // NOLINT(google-explicit-constructor)
  Val(unsigned value) noexcept { SetInt(value); }  // NOLINT(google-explicit-constructor)
  Val(int64_t value) noexcept { SetInt(value); }  // NOLINT(google-explicit-constructor)
  Val(double value) noexcept { SetFloat(value); }  // NOLINT(google-explicit-constructor)
  explicit Val(DateTime64 value) noexcept { SetDate(value); }
  Val(const char* text) { SetStr(AnsiStr(text)); }  // NOLINT(google-explicit-constructor)
  Val(const AnsiStr& text) noexcept { SetStr(text); }  // NOLINT(google-explicit-constructor)
  Val(const ValDic& dic) noexcept { SetDic(dic); }  // NOLINT(google-explicit-constructor)
  Val(const Array<Val>& vec) noexcept { SetVec(vec); }  // NOLINT(google-explicit-constructor)
  explicit Val(const Blob& blob) noexcept { SetBlob(blob); }

  // GetWord: the raw word. DetachWord: hands the word and its reference to the caller and
  // leaves nil. AdoptWord: a value that takes over a word and its reference.
  uint64_t GetWord() const noexcept { return m_word; }
  uint64_t DetachWord() noexcept { return std::exchange(m_word, 0); }
  static Val AdoptWord(uint64_t word) noexcept {
    Val value;
    value.m_word = word;
    return value;
  }

  unsigned GetType() const noexcept { return static_cast<unsigned>(m_word & kTypeMask); }
  bool IsNil() const noexcept { return m_word == 0; }
  // IsOwner: the word holds a counted reference.
  bool IsOwner() const noexcept { return (m_word & kOwner) != 0; }

  // Setters: release what the value held, then store the new one.
  void SetNil() noexcept { *this = Val(); }
  void SetBool(bool value) noexcept;
  void SetInt(int64_t value) noexcept;
  // SetFloat: in place when it fits, else boxed; a box this value owns alone is reused.
  void SetFloat(double value) noexcept;
  void SetDate(DateTime64 value) noexcept;
  void SetStr(const AnsiStr& text) noexcept;
  void SetStr(AnsiStr&& text) noexcept;
  void SetPiu(void* pointer) noexcept;
  void SetDic(const ValDic& dic) noexcept;
  void SetVec(const Array<Val>& vec) noexcept;
  void SetVec(Array<Val>&& vec) noexcept;
  void SetAgg(VShapedStruct* object) noexcept;  // takes a new reference
  void SetObj(VShapedObject* object) noexcept;  // takes a new reference
  void SetBlob(const Blob& blob) noexcept;

  // Accessors. The wrong type is reported (ReportInvalidType) and gives the empty value.
  bool GetBool() const noexcept;
  int64_t GetInt() const noexcept;
  double GetFloat() const noexcept;
  DateTime64 GetDate() const noexcept;
  // GetStr: the string of a VAL_STR value (a linked copy).
  AnsiStr GetStr() const noexcept;
  void* GetPiu() const noexcept;
  // GetDic / GetVec / GetBlob: linked copies of the referenced object (empty for another type).
  ValDic GetDic() const noexcept;
  Array<Val> GetVec() const noexcept;
  Blob GetBlob() const noexcept;
  VShapedStruct* GetAgg() const noexcept;  // no reference taken; null for another type
  VShapedObject* GetObj() const noexcept;

  // GetStrData / GetStrLength: the text of a VAL_STR value without copying ("" otherwise).
  const char* GetStrData() const noexcept;
  uint32_t GetStrLength() const noexcept;
  // GetVecData: the elements of a VAL_VEC value in place and their count (null and 0 for
  // another type or an empty array). Valid while this value holds the array.
  const Val* GetVecData(uint32_t* count) const noexcept;

  // GetCount: the elements of a dic, vec, agg or obj value, the bytes of a blob, else 0.
  uint32_t GetCount() const noexcept;

  // ToStr: the display text of the value ("", "true", "12", "[3 entries]", "[5 bytes]", ...).
  AnsiStr ToStr() const;
  // GetInfo: the type name and a type-specific diagnostic part ("VAL_INT: 12").
  AnsiStr GetInfo() const;

  // Equal: the same type and the same contents, compared deeply (maps in key order).
  friend ORVGUI_API bool operator==(const Val& a, const Val& b) noexcept;

  // Link / Unlink: take or drop a reference of the object that a value of the type holds;
  // Unlink destroys the object with its last reference.
  static void Link(unsigned type, void* object) noexcept;
  static void Unlink(unsigned type, void* object) noexcept;
  // ReportInvalidType: traces an accessor that met a value of another type than expected.
  static void ReportInvalidType(unsigned expected, const Val& value) noexcept;
  // MakeWord: the word of a type and an object address; ends the process when the address does
  // not fit the 56-bit payload.
  static uint64_t MakeWord(unsigned type, const void* object, bool owner) noexcept;

  void* GetPointer() const noexcept { return WordPointer(m_word); }

 private:
  template <class, class>
  friend class TaggedValue;
  static void* WordPointer(uint64_t word) noexcept {
    return reinterpret_cast<void*>(static_cast<intptr_t>(word) >> 8);
  }
  // Store: replace the word, releasing the old one (the new word's reference is already taken).
  void Store(uint64_t word) noexcept {
    const uint64_t old = std::exchange(m_word, word);
    if (old & kOwner) Unlink(static_cast<unsigned>(old & kTypeMask), WordPointer(old));
  }

  uint64_t m_word = 0;
};
static_assert(sizeof(Val) == 8, "a value is one word");

// VShapeType: the shape of a structure: its field names, shared by every structure of that
// shape. Made with one reference (Create); linked by each structure that uses it.
struct ORVGUI_API VShapeType : Reference {
  AnsiStr name;
  Array<AnsiStr> fields;

  // Create: a shape of the given name and field names; null (last error 12) without memory.
  static VShapeType* Create(const AnsiStr& name, const Array<AnsiStr>& fields);
  static void Release(VShapeType* shape);
  // FindField: the index of a field name, or -1.
  int FindField(const char* field) const;
};

// VShapedStruct: a value of a shape: one Val per field of its shape (VAL_AGG).
struct ORVGUI_API VShapedStruct : Reference {
  VShapeType* shape = nullptr;  // linked
  Array<Val> values;  // one per field, nil at first

  static VShapedStruct* Create(VShapeType* shape);
  static void Release(VShapedStruct* object);
  uint32_t GetCount() const;
  // Get / Set: the value of a field by index or name (nil for an unknown field; Set then fails).
  Val Get(uint32_t index) const;
  Val Get(const char* field) const;
  bool Set(uint32_t index, const Val& value);
  bool Set(const char* field, const Val& value);

 protected:
  bool Init(VShapeType* shapeType);
  void Clear();
};

// VShapedObject: a shaped structure with an identity: a 64-bit id and an identifier text
// (VAL_OBJ). Its recursive lock (VShapeLocker) serialises callers that change one object from
// several threads.
struct ORVGUI_API VShapedObject : VShapedStruct {
  uint64_t id = 0;
  AnsiStr ident;
  pthread_mutex_t* lock = nullptr;

  static VShapedObject* Create(VShapeType* shape, uint64_t objectId, const AnsiStr& identifier);
  static void Release(VShapedObject* object);
};

// VShapeLocker: holds a shaped object's lock for a scope.
class ORVGUI_API VShapeLocker {
 public:
  explicit VShapeLocker(VShapedObject* object);
  ~VShapeLocker();
  VShapeLocker(const VShapeLocker&) = delete;
  VShapeLocker& operator=(const VShapeLocker&) = delete;

 private:
  VShapedObject* m_object;
};

// TaggedValue<ValType, Val>: the typed store of a value word.
template <class Tag, class Value>
class TaggedValue;

template <>
class ORVGUI_API TaggedValue<ValType, Val> {
 public:
  // SetVal: stores into word the value of the given type: the payload for in-place types, an
  // object address (a new reference is taken) for referenced ones. What word held is released.
  static void SetVal(Val& word, ValType type, uint64_t payload) noexcept;
  static void SetVal(Val& word, ValType type, void* object) noexcept;
};

}  // namespace OrvGuiBase
