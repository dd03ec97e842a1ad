// ErrorMessage.cpp: the code-to-text table and GetErrorMessage.
//
// The table is a list of families, each a contiguous code range with a dense array of texts
// indexed by (code - first). The lookup is a range test followed by one index, so an unlisted
// code inside a family (a null slot) falls through to the runtime library's text like any
// other code. The texts are the platform's published system messages for these codes.
#include "base/core/ErrorMessage.h"

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "base/core/LastError.h"
#include "base/text/Escapes.h"
#include "base/text/Formatter.h"

namespace OrvGuiBase {

namespace {

struct Family {
  uint32_t first;
  uint32_t last;
  const char* const* texts;  // last - first + 1 slots; null = no text of its own
  const char* fallback;      // text for a null slot inside the range, or null to fall through
};

const char* const kGeneral[] = {
    "No such interface supported",  // 0x80004002
    "Invalid pointer",              // 0x80004003
    "Operation aborted",            // 0x80004004
    "Unspecified error",            // 0x80004005
    nullptr,                        // 0x80004006
};
const char* const kUnexpected[] = {"Catastrophic failure"};  // 0x8000FFFF
const char* const kPathTooLong[] = {"Path too long"};         // 0x80010135

const char* const kDispatch[] = {
    "Unknown interface.",              // 0x80020001
    nullptr,                           // 0x80020002
    "Member not found.",               // 0x80020003
    "Parameter not found.",            // 0x80020004
    "Type mismatch.",                  // 0x80020005
    "Unknown name.",                   // 0x80020006
    "No named arguments.",             // 0x80020007
    "Bad variable type.",              // 0x80020008
    "Exception occurred.",             // 0x80020009
    "Out of present range.",           // 0x8002000A
    "Invalid index.",                  // 0x8002000B
    "Unknown language.",               // 0x8002000C
    "Memory is locked.",               // 0x8002000D
    "Invalid number of parameters.",   // 0x8002000E
    "Parameter not optional.",         // 0x8002000F
    "Invalid callee.",                 // 0x80020010
    "Does not support a collection.",  // 0x80020011
    "Division by zero.",               // 0x80020012
    "Buffer too small.",               // 0x80020013
    nullptr,                           // 0x80020014
};

// Type-library codes are sparse; each is its own one-slot family inside 0x80028016..0x80029C84.
const char* const kTypeBufferTooSmall[] = {"Buffer too small."};                            // 0x80028016
const char* const kTypeFieldNotFound[] = {"Field name not defined in the record.",          // 0x80028017
                                          "Old format or invalid type library.",            // 0x80028018
                                          "Old format or invalid type library."};           // 0x80028019
const char* const kTypeRegistry[] = {"Error accessing the OLE registry.",                   // 0x8002801C
                                      "Library not registered."};                           // 0x8002801D
const char* const kTypeBinding[] = {
    "Bound to unknown type.",                                       // 0x80028027
    "Qualified name disallowed.",                                   // 0x80028028
    "Invalid forward reference, or reference to uncompiled type.",  // 0x80028029
    "Type mismatch.",                                               // 0x8002802A
    "Element not found.",                                           // 0x8002802B
    "Ambiguous name.",                                              // 0x8002802C
    "Name already exists in the library.",                          // 0x8002802D
    "Unknown LCID.",                                                // 0x8002802E
    "Function not defined in specified DLL.",                       // 0x8002802F
};
const char* const kTypeModuleKind[] = {"Wrong module kind for the operation."};             // 0x800288BD
const char* const kTypeSize[] = {"Size may not exceed 64K.",                                // 0x800288C5
                                 "Duplicate ID in inheritance hierarchy."};                 // 0x800288C6
const char* const kTypeInvalidId[] = {"Incorrect inheritance depth in standard OLE hmember."};  // 0x800288CF
const char* const kTypeIo[] = {"Type mismatch.",                   // 0x80028CA0
                               "Invalid number of arguments.",     // 0x80028CA1
                               "I/O Error.",                       // 0x80028CA2
                               "Error creating unique tmp file."};  // 0x80028CA3
const char* const kTypeLoad[] = {"Error loading type library/DLL."};  // 0x80029C4A
const char* const kTypeCircular[] = {"Inconsistent property functions.",               // 0x80029C83
                                     "Circular dependency between types/modules."};    // 0x80029C84

const char* const kStorageLow[] = {
    "Unable to perform requested operation.",                           // 0x80030001
    "%s could not be found.",                                           // 0x80030002
    "The path %s could not be found.",                                  // 0x80030003
    "There are insufficient resources to open another file.",           // 0x80030004
    "Access Denied.",                                                   // 0x80030005
    "Attempted an operation on an invalid object.",                     // 0x80030006
    nullptr,                                                            // 0x80030007
    "There is insufficient memory available to complete operation.",    // 0x80030008
    "Invalid pointer error.",                                           // 0x80030009
};
const char* const kStorageFiles[] = {"There are no more entries to return.",  // 0x80030012
                                     "Disk is write-protected."};            // 0x80030013
const char* const kStorageSeek[] = {"An error occurred during a seek operation."};  // 0x80030019
const char* const kStorageFaults[] = {
    "A disk error occurred during a write operation.",  // 0x8003001D
    "A disk error occurred during a read operation.",   // 0x8003001E
    nullptr,                                            // 0x8003001F
    "A share violation has occurred.",                  // 0x80030020
    "A lock violation has occurred.",                   // 0x80030021
};
const char* const kStorageExists[] = {"%s already exists."};                  // 0x80030050
const char* const kStorageParameter[] = {"Invalid parameter error."};         // 0x80030057
const char* const kStorageMedium[] = {"There is insufficient disk space to complete operation."};  // 0x80030070
const char* const kStorageProps[] = {"Illegal write of non-simple property to simple property set."};  // 0x800300F0
const char* const kStorageHigh[] = {
    "An API call exited abnormally.",                                                // 0x800300FA
    "The file %s is not a valid compound file.",                                     // 0x800300FB
    "The name %s is not valid.",                                                     // 0x800300FC
    "An unexpected error occurred.",                                                 // 0x800300FD
    "That function is not implemented.",                                             // 0x800300FE
    "Invalid flag error.",                                                           // 0x800300FF
    "Attempted to use an object that is busy.",                                      // 0x80030100
    "The storage has been changed since the last commit.",                           // 0x80030101
    "Attempted to use an object that has ceased to exist.",                          // 0x80030102
    "Can't save.",                                                                   // 0x80030103
    "The compound file %s was produced with an incompatible version of storage.",    // 0x80030104
    "The compound file %s was produced with a newer version of storage.",            // 0x80030105
    "Share.exe or equivalent is required for operation.",                            // 0x80030106
    "Illegal operation called on non-file based storage.",                           // 0x80030107
    "Illegal operation called on object with extant marshallings.",                  // 0x80030108
    "The docfile has been corrupted.",                                               // 0x80030109
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,                            // 0x8003010A..F
    "OLE32.DLL has been loaded at the wrong address.",                               // 0x80030110
    "The compound file is too large for the current implementation",                 // 0x80030111
    "The compound file was not created with the STGM_SIMPLE flag",                   // 0x80030112
    nullptr,                                                                         // 0x80030113
};
const char* const kStorageDownload[] = {
    "The file download was aborted abnormally. The file is incomplete.",  // 0x80030201
    "The file download has been terminated.",                             // 0x80030202
};
// Storage successes: every code of the range without a row of its own reads as 0x00030200.
const char* const kStorageSuccess[] = {
    "The underlying file was converted to compound file format.",              // 0x00030200
    "The storage operation should block until more data is available.",        // 0x00030201
    "The storage operation should retry immediately.",                         // 0x00030202
    "The notified event sink will not influence the storage operation.",       // 0x00030203
    "Multiple opens prevent consolidated. (commit succeeded).",                // 0x00030204
    "Consolidation of the storage file failed. (commit succeeded).",           // 0x00030205
    "Consolidation of the storage file is inappropriate. (commit succeeded).",  // 0x00030206
};

const char* const kObject[] = {"Need to run the object to perform this operation",  // 0x80040005
                               nullptr,                                             // 0x80040006
                               "Uninitialized object"};                             // 0x80040007
const char* const kConvert[] = {"Not able to convert object"};  // 0x80040011
const char* const kCommandClass[] = {
    "Command not supported",                                           // 0x80040100
    "Command disabled",                                                // 0x80040101
    "Command help not available",                                      // 0x80040102
    "Command execution cancelled",                                     // 0x80040103
    "Command group not supported",                                     // 0x80040104
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,     // 0x80040105..B
    nullptr, nullptr, nullptr, nullptr,                                // 0x8004010C..F
    "Class does not support aggregation (or class object is remote)",  // 0x80040110
    "ClassFactory cannot supply requested class",                      // 0x80040111
    nullptr,                                                           // 0x80040112
};
const char* const kClassNotRegistered[] = {"Class not registered"};  // 0x80040154
const char* const kMoniker[] = {
    "Invalid syntax",               // 0x800401E4
    nullptr, nullptr, nullptr,      // 0x800401E5..7
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,  // 0x800401E8..F
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,  // 0x800401F0..7
    "DLL for class not found",      // 0x800401F8
    "Error in the DLL",             // 0x800401F9
    nullptr,                        // 0x800401FA
    "Object is not registered",     // 0x800401FB
    "Object is already registered", // 0x800401FC
    nullptr,                        // 0x800401FD
    nullptr,                        // 0x800401FE
    "Object has been released",     // 0x800401FF
};
const char* const kServerStopping[] = {"Object server is stopping when OLE service contacts it"};  // 0x80080008

#define ORVGUI_FAMILY(first, texts, fallback) \
  Family { first, first + sizeof(texts) / sizeof(texts[0]) - 1, texts, fallback }

// Sorted by first code, as unsigned numbers.
const Family kFamilies[] = {
    ORVGUI_FAMILY(0x00030200u, kStorageSuccess, kStorageSuccess[0]),
    ORVGUI_FAMILY(0x80004002u, kGeneral, nullptr),
    ORVGUI_FAMILY(0x8000FFFFu, kUnexpected, nullptr),
    ORVGUI_FAMILY(0x80010135u, kPathTooLong, nullptr),
    ORVGUI_FAMILY(0x80020001u, kDispatch, nullptr),
    ORVGUI_FAMILY(0x80028016u, kTypeBufferTooSmall, nullptr),
    ORVGUI_FAMILY(0x80028017u, kTypeFieldNotFound, nullptr),
    ORVGUI_FAMILY(0x8002801Cu, kTypeRegistry, nullptr),
    ORVGUI_FAMILY(0x80028027u, kTypeBinding, nullptr),
    ORVGUI_FAMILY(0x800288BDu, kTypeModuleKind, nullptr),
    ORVGUI_FAMILY(0x800288C5u, kTypeSize, nullptr),
    ORVGUI_FAMILY(0x800288CFu, kTypeInvalidId, nullptr),
    ORVGUI_FAMILY(0x80028CA0u, kTypeIo, nullptr),
    ORVGUI_FAMILY(0x80029C4Au, kTypeLoad, nullptr),
    ORVGUI_FAMILY(0x80029C83u, kTypeCircular, nullptr),
    ORVGUI_FAMILY(0x80030001u, kStorageLow, nullptr),
    ORVGUI_FAMILY(0x80030012u, kStorageFiles, nullptr),
    ORVGUI_FAMILY(0x80030019u, kStorageSeek, nullptr),
    ORVGUI_FAMILY(0x8003001Du, kStorageFaults, nullptr),
    ORVGUI_FAMILY(0x80030050u, kStorageExists, nullptr),
    ORVGUI_FAMILY(0x80030057u, kStorageParameter, nullptr),
    ORVGUI_FAMILY(0x80030070u, kStorageMedium, nullptr),
    ORVGUI_FAMILY(0x800300F0u, kStorageProps, nullptr),
    ORVGUI_FAMILY(0x800300FAu, kStorageHigh, nullptr),
    ORVGUI_FAMILY(0x80030201u, kStorageDownload, nullptr),
    ORVGUI_FAMILY(0x80040005u, kObject, nullptr),
    ORVGUI_FAMILY(0x80040011u, kConvert, nullptr),
    ORVGUI_FAMILY(0x80040100u, kCommandClass, nullptr),
    ORVGUI_FAMILY(0x80040154u, kClassNotRegistered, nullptr),
    ORVGUI_FAMILY(0x800401E4u, kMoniker, nullptr),
    ORVGUI_FAMILY(0x80080008u, kServerStopping, nullptr),
};
#undef ORVGUI_FAMILY

}  // namespace

const char* GetFixedErrorText(int code) {
  const uint32_t c = static_cast<uint32_t>(code);
  size_t lo = 0, hi = sizeof kFamilies / sizeof kFamilies[0];
  while (lo < hi) {  // the last family whose first code is <= c
    const size_t mid = (lo + hi) / 2;
    if (kFamilies[mid].first <= c) lo = mid + 1;
    else hi = mid;
  }
  if (lo == 0) return nullptr;
  const Family& family = kFamilies[lo - 1];
  if (c > family.last) return nullptr;
  const char* text = family.texts[c - family.first];
  return text != nullptr ? text : family.fallback;
}

AnsiStr GetErrorMessage(int code, void* /*reserved*/, va_list* args, bool withCode) {
  const int saved = errno;
  AnsiStr text;
  uint32_t number = static_cast<uint32_t>(code);
  if (code == 0) {
    text = "Unknown error";
  } else if (code == kErrorMessageCode || static_cast<uint32_t>(code) == 0x8007AD9Cu) {
    text = GetLastErrorMessage();
    if (text.IsEmpty()) text = "Unknown error";
  } else if (const char* fixed = GetFixedErrorText(code)) {
    text = fixed;
  } else {
    if (HRESULT_FACILITY(code) == FACILITY_SYSTEM_ERROR) number &= 0xFFFFu;
    char buffer[2048];
    buffer[0] = 0;
    const char* system = strerror_r(static_cast<int>(number), buffer, sizeof buffer);
    text = CleanStr(AnsiStr(system != nullptr ? system : buffer));
  }
  if (args != nullptr) text = FmtList(text.GetStr(), *args);
  if (withCode) text = FmtArgs("%s (0x%08X/%u)", text.GetStr(), number, number);
  errno = saved;
  return text;
}

AnsiStr GetErrorMessage(int code, va_list* args, bool withCode) {
  return GetErrorMessage(code, nullptr, args, withCode);
}

AnsiStr GetErrorMessage(int code) { return GetErrorMessage(code, nullptr, nullptr, true); }

}  // namespace OrvGuiBase
