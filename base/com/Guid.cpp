// Guid.cpp: the text form of class and interface identifiers.
#include "base/com/Guid.h"

#include <cstdio>

namespace OrvGuiBase {

GUID Str2GUID(const char* text) {
  if (text == nullptr) return GUID_NULL;
  if (*text == '{') ++text;
  // Deliberately scanf's own reading of the pattern: callers hand in texts written by other
  // tools (lower case, fields with fewer digits) and rely on them reading as they always did.
  unsigned data1 = 0, data2 = 0, data3 = 0, b[8] = {};
  const int fields = std::sscanf(text, "%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X", &data1, &data2, &data3,
                                 &b[0], &b[1], &b[2], &b[3], &b[4], &b[5], &b[6], &b[7]);
  if (fields != 11) return GUID_NULL;
  GUID guid;
  guid.Data1 = data1;
  guid.Data2 = static_cast<uint16_t>(data2);
  guid.Data3 = static_cast<uint16_t>(data3);
  for (int i = 0; i < 8; ++i) guid.Data4[i] = static_cast<uint8_t>(b[i]);
  return guid;
}

char* GUID2Chars(const GUID& guid, char* buffer) {
  static const char kDigits[] = "0123456789ABCDEF";
  char* out = buffer;
  auto hex = [&out](unsigned value, int digits) {
    for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) *out++ = kDigits[(value >> shift) & 15];
  };
  *out++ = '{';
  hex(guid.Data1, 8);
  *out++ = '-';
  hex(guid.Data2, 4);
  *out++ = '-';
  hex(guid.Data3, 4);
  *out++ = '-';
  hex(guid.Data4[0], 2);
  hex(guid.Data4[1], 2);
  *out++ = '-';
  for (int i = 2; i < 8; ++i) hex(guid.Data4[i], 2);
  *out++ = '}';
  *out = 0;
  return buffer;
}

AnsiStr GUID2Str(const GUID& guid) {
  char buffer[40];
  return AnsiStr(GUID2Chars(guid, buffer), 38);
}

}  // namespace OrvGuiBase
