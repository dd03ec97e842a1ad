// TraceRecord.h: the trace layer's per-thread record and its line writer (never installed).
//
// Trace.cpp builds lines, TraceOutput.cpp sends them on, TraceServer.cpp wakes its reader with
// an empty record; they share what is declared here.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "base/core/ThreadData.h"

namespace OrvGuiTrace::Internal {

inline constexpr unsigned kContextCount = 4;
inline constexpr size_t kContextSize = 1025;

// TraceThreadData: a thread's mask, stop count, format override, indentation, stack figures
// and context buffers. Created on first use, freed when the thread ends.
struct TraceThreadData {
  TraceThreadData() noexcept;
  uint64_t threadId;
  uint32_t stopCount = 0;
  uint32_t mask = 0xFFF;
  bool hasOutput = false;
  uint32_t output = 7;
  uint32_t indent = 0;
  uint32_t inPipeWrite = 0;  // the re-entry guard of the pipe writer
  char work[2048] = {};      // getpwuid_r's buffer
  uint64_t maxDepth = 0;
  uintptr_t stackBase;
  uint64_t threshold = 65536;
  uint32_t contextCount = 0;
  char contexts[kContextCount][kContextSize];
};

using TraceThreadRecord = OrvGuiBase::ThreadData<TraceThreadData, -1004>;

// GetTraceRecord: the calling thread's own record (created on first use), or null when the
// thread can have none any more (its record was released); the shared fallback record is never
// returned here.
inline TraceThreadData* GetTraceRecord() noexcept {
  TraceThreadData* record = TraceThreadRecord::Get();
  return TraceThreadRecord::GetState() == 2 ? record : nullptr;
}

// IsTraceInitialised: set at load, cleared by TraceShutdown. Inline: every trace call, even
// one whose bits are masked out, asks first.
extern std::atomic<bool> g_traceInitialised;
inline bool IsTraceInitialised() noexcept { return g_traceInitialised.load(std::memory_order_relaxed); }

// GetSharedFormat: the shared format word, or null when it could not be mapped.
volatile uint32_t* GetSharedFormat() noexcept;

// MapSharedFormat: maps the format word shared by every process ("/ZelTraceMap"), creating it
// with the value 7 when it is missing; null (descriptor -1) when that fails.
// UnmapSharedFormat undoes it.
volatile uint32_t* MapSharedFormat(int& descriptor, void*& mapping) noexcept;
void UnmapSharedFormat(int& descriptor, void*& mapping) noexcept;

// WriteTraceLine: hands one finished line (length bytes, zero-terminated) to the hook and the
// destinations.
void WriteTraceLine(const char* line, size_t length) noexcept;

// WritePipeRecord: writes record (length bytes, its zero included) into the trace pipe in one
// write; force ignores the pause after a failure. True when it was written.
bool WritePipeRecord(const char* record, size_t length, bool force) noexcept;

}  // namespace OrvGuiTrace::Internal
