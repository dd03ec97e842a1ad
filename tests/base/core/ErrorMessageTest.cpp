// Tests of last errors, error texts and error objects.
#include "base/core/ErrorMessage.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "base/core/ErrorInfo.h"
#include "base/core/LastError.h"

namespace OrvGuiBase {
namespace {

std::string Text(int code) { return GetErrorMessage(code).GetStr(); }
std::string Plain(int code) { return GetErrorMessage(code, nullptr, false).GetStr(); }
int Code(uint32_t value) { return static_cast<int>(value); }

TEST(ErrorMessage, FixedTextsAcrossEveryFamily) {
  struct Row {
    uint32_t code;
    const char* text;
  };
  const Row rows[] = {
      {0x80004002, "No such interface supported"},
      {0x80004005, "Unspecified error"},
      {0x8000FFFF, "Catastrophic failure"},
      {0x80010135, "Path too long"},
      {0x80020001, "Unknown interface."},
      {0x80020009, "Exception occurred."},
      {0x80020013, "Buffer too small."},
      {0x80028017, "Field name not defined in the record."},
      {0x8002802B, "Element not found."},
      {0x80029C84, "Circular dependency between types/modules."},
      {0x80030002, "%s could not be found."},
      {0x80030070, "There is insufficient disk space to complete operation."},
      {0x80030112, "The compound file was not created with the STGM_SIMPLE flag"},
      {0x80030202, "The file download has been terminated."},
      {0x00030201, "The storage operation should block until more data is available."},
      {0x00030206, "Consolidation of the storage file is inappropriate. (commit succeeded)."},
      {0x80040005, "Need to run the object to perform this operation"},
      {0x80040011, "Not able to convert object"},
      {0x80040104, "Command group not supported"},
      {0x80040111, "ClassFactory cannot supply requested class"},
      {0x80040154, "Class not registered"},
      {0x800401E4, "Invalid syntax"},
      {0x800401F9, "Error in the DLL"},
      {0x800401FF, "Object has been released"},
      {0x80080008, "Object server is stopping when OLE service contacts it"},
  };
  for (const Row& row : rows) EXPECT_EQ(Plain(Code(row.code)), row.text) << std::hex << row.code;
}

TEST(ErrorMessage, UnlistedCodesFallThroughToTheSystemText) {
  struct Row {
    uint32_t code;
    const char* reason;
  };
  const Row rows[] = {
      {0x80004006, "inside the general family without a row"},
      {0x80020002, "a hole in the dispatch family"},
      {0x80030007, "a hole in the storage family"},
      {0x80040006, "a hole in the object family"},
      {0x800401FD, "a hole in the class-object family"},
      {0x80070002, "facility 7 unwraps to its low 16 bits"},
      {0x00070005, "facility 7 without the failure bit unwraps too"},
      {13, "a plain system error number"},
  };
  for (const Row& row : rows) {
    const uint32_t number = (row.code >> 16 & 0x1FFF) == 7 ? row.code & 0xFFFF : row.code;
    char buffer[2048];
    const std::string system = strerror_r(static_cast<int>(number), buffer, sizeof buffer);
    const std::string code = Text(Code(row.code));
    char suffix[64];
    snprintf(suffix, sizeof suffix, " (0x%08X/%u)", number, number);
    EXPECT_EQ(code, system + suffix) << row.reason;
  }
}

TEST(ErrorMessage, StorageSuccessCodesWithoutRowReadAsConversion) {
  // 0x00030200..0x00030206: all have rows here, so check the first and the range end.
  EXPECT_EQ(Plain(0x00030200), "The underlying file was converted to compound file format.");
  EXPECT_EQ(GetFixedErrorText(0x00030207), nullptr);
  EXPECT_EQ(GetFixedErrorText(0x000301FF), nullptr);
}

TEST(ErrorMessage, CodeSuffixAndSpecialCodes) {
  EXPECT_EQ(Text(0), "Unknown error (0x00000000/0)");
  EXPECT_EQ(Text(Code(0x80040154)), "Class not registered (0x80040154/2147746132)");
  EXPECT_EQ(Text(Code(0x80070002)).substr(Text(Code(0x80070002)).size() - 14), "(0x00000002/2)");
}

TEST(ErrorMessage, MessageCodeReadsTheThreadsMessage) {
  SetErrorMessage("disk full");
  EXPECT_EQ(GetLastError(), 44444);
  EXPECT_EQ(Text(44444), "disk full (0x0000AD9C/44444)");
  EXPECT_EQ(Plain(Code(0x8007AD9C)), "disk full");
  std::thread other([] {
    EXPECT_EQ(Plain(44444), "Unknown error") << "another thread has no message";
    SetErrorMessage("other thread");
  });
  other.join();
  EXPECT_EQ(Plain(44444), "disk full");
}

std::string WithArgs(int code, bool withCode, ...) {
  va_list args;
  va_start(args, withCode);
  std::string text = GetErrorMessage(code, &args, withCode).GetStr();
  va_end(args);
  return text;
}

TEST(ErrorMessage, ArgumentsFillTheTextsThatNameAFile) {
  EXPECT_EQ(WithArgs(Code(0x80030002), false, "config.ini"), "config.ini could not be found.");
  EXPECT_EQ(WithArgs(Code(0x80030050), true, "a.txt"), "a.txt already exists. (0x80030050/2147680336)");
}

TEST(ErrorMessage, KeepsTheCallersLastError) {
  SetLastError(7);
  (void)Text(Code(0x80070005));
  EXPECT_EQ(GetLastError(), 7);
}

TEST(LastError, ResultCodeConversions) {
  EXPECT_EQ(HResultFromError(0), S_OK);
  EXPECT_EQ(static_cast<uint32_t>(HResultFromError(2)), 0x80070002u);
  EXPECT_EQ(static_cast<uint32_t>(HResultFromError(44444)), 0x8007AD9Cu);
  EXPECT_EQ(ErrorFromHResult(HResultFromError(13)), 13);
  EXPECT_EQ(static_cast<uint32_t>(ErrorFromHResult(E_POINTER)), 0x80004003u);
  SetLastError(0);
  EXPECT_EQ(HResultFromLastError(), E_FAIL);
}

TEST(ErrorInfo, HandedOutOnceAndKeptOnNull) {
  ICreateErrorInfo* create = nullptr;
  ASSERT_EQ(CreateErrorInfo(&create), S_OK);
  EXPECT_EQ(CreateErrorInfo(nullptr), E_POINTER);
  IErrorInfo* info = nullptr;
  ASSERT_EQ(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)), S_OK);
  void* unknown = nullptr;
  EXPECT_EQ(create->QueryInterface(IID_IUnknown, &unknown), S_OK);
  EXPECT_EQ(unknown, static_cast<void*>(info)) << "IUnknown is the IErrorInfo side";
  static_cast<IUnknown*>(unknown)->Release();
  EXPECT_EQ(create->QueryInterface(IID_IUnknown, nullptr), E_POINTER);

  EXPECT_EQ(SetErrorInfo(0, info), S_OK);
  EXPECT_EQ(SetErrorInfo(0, nullptr), E_POINTER) << "null deliberately leaves the slot as it is";
  IErrorInfo* got = nullptr;
  EXPECT_EQ(GetErrorInfo(0, &got), S_OK);
  EXPECT_EQ(got, info);
  IErrorInfo* again = reinterpret_cast<IErrorInfo*>(1);
  EXPECT_EQ(GetErrorInfo(0, &again), S_FALSE);
  EXPECT_EQ(again, nullptr);
  EXPECT_EQ(GetErrorInfo(0, nullptr), E_POINTER);
  got->Release();
  info->Release();
  EXPECT_EQ(create->Release(), 0u) << "the last reference frees the object";
}

TEST(ErrorInfo, TextsAreCopiesAndMissingOnesFail) {
  ICreateErrorInfo* create = nullptr;
  ASSERT_EQ(CreateErrorInfo(&create), S_OK);
  IErrorInfo* info = nullptr;
  create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info));
  BSTR text = reinterpret_cast<BSTR>(1);
  EXPECT_EQ(static_cast<uint32_t>(info->GetSource(&text)), 0x8007000Cu);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(info->GetDescription(nullptr), E_POINTER);

  wchar_t source[] = L"Printer";
  create->SetSource(source);
  source[0] = L'X';  // the object keeps its own copy
  ASSERT_EQ(info->GetSource(&text), S_OK);
  EXPECT_STREQ(text, L"Printer");
  free(text);
  create->SetSource(nullptr);
  EXPECT_EQ(static_cast<uint32_t>(info->GetSource(&text)), 0x8007000Cu) << "null clears the text";

  const GUID guid = {0x12345678, 0x1234, 0x5678, {1, 2, 3, 4, 5, 6, 7, 8}};
  create->SetGUID(guid);
  create->SetHelpContext(77);
  GUID readGuid{};
  DWORD context = 0;
  info->GetGUID(&readGuid);
  info->GetHelpContext(&context);
  EXPECT_TRUE(readGuid == guid);
  EXPECT_EQ(context, 77u);
  info->Release();
  create->Release();
}

TEST(ErrorInfo, EachThreadHasItsOwnSlot) {
  ICreateErrorInfo* create = nullptr;
  CreateErrorInfo(&create);
  IErrorInfo* info = nullptr;
  create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info));
  std::thread other([info] { SetErrorInfo(0, info); });  // released at that thread's end
  other.join();
  IErrorInfo* got = nullptr;
  EXPECT_EQ(GetErrorInfo(0, &got), S_FALSE);
  info->Release();
  EXPECT_EQ(create->Release(), 0u) << "the ended thread dropped its reference";
}

}  // namespace
}  // namespace OrvGuiBase
