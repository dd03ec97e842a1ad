// NamedMutex.h: mutexes that exclude threads and processes by name, across the machine.
//
//   MutexHandleData* mutex = CreateMutex(false, "spooler");    // null: see GetLastError()
//   if (mutex != nullptr && WaitForMutex(mutex, 5000)) {       // or Wait(mutex, 5000)
//     ...                                                      // no other holder anywhere
//     DropMutex(mutex);
//   }
//   CloseMutex(mutex);
//
// A named mutex is an advisory whole-file lock (flock) on the file "/tmp/.mutexes/<name>".
// CreateMutex makes the directory (mode 0777) and the file (mode 0666) when they are missing;
// the file's content is never used and closing never removes it. Any program that flocks the
// same file (util-linux flock(1), for one) takes part in the exclusion.
//
// Handles belong to the thread that opened them: each thread keeps its own handles in its
// MutexHandleList record, so two threads of one process hold separate open files and exclude
// each other like two processes do. A handle must only be used on its own thread. Within a
// thread the lock is recursive: every successful wait must be matched by a drop. A thread's
// remaining handles are closed when the thread ends (which releases any lock they still hold);
// a process that ends or is killed releases its locks with its files.
//
// Safety: the directory and the file are opened without following symbolic links. A link at
// either place is refused with last error 40 (ELOOP), the directory being something else than a
// directory with 20 (ENOTDIR), and a mutex file that is not a regular file (a FIFO, a device)
// with 22 (EINVAL); a directory at the file's place gives 21 (EISDIR). A name is a path
// relative to the directory whose components are neither empty, "." nor ".."; a name that
// reaches into a sub-directory needs that sub-directory to exist, and links are not followed
// there either. So nothing outside the directory is ever opened or created.
//
// After fork the child's copy of the forking thread's handles shares the open files, and thus
// the locks, with the parent: a DropMutex in the child releases the parent's lock too. A child
// that does not need them should let them go with CloseMutex only.
//
// Failures return null or false with the last error set: 22 for a bad handle or name, 38 for
// a null name given to CreateMutex, 110 for a wait that timed out, or the error of the failing
// system call. Depends on ThreadData, AnsiStr, WaitObjects and the platform layer.
#pragma once

#include <cstdint>

#include "base/core/Export.h"
#include "base/core/WaitObjects.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

// MutexHandleData: one thread's handle on one name. Read-only for callers.
struct MutexHandleData {
  AnsiStr name;            // the name as given
  int fd = -1;             // the open mutex file: read-write, close-on-exec
  uint32_t openCount = 0;  // how often this thread opened the name
  uint32_t lockDepth = 0;  // how often this thread holds the lock
};

// GetMutexDirectory: "/tmp/.mutexes", where the mutex files live.
ORVGUI_API const char* GetMutexDirectory();
// GetMutexFileName: the file of a name, "/tmp/.mutexes/<name>"; empty for a null or empty name.
ORVGUI_API AnsiStr GetMutexFileName(const char* name);

// IsValidMutexName: a non-empty relative path whose components are neither empty, "." nor "..".
ORVGUI_API bool IsValidMutexName(const char* name);

// CreateMutex: makes sure the directory and the file exist, then opens the name like
// OpenMutex. The boolean has no effect (there is no initial owner). A null name fails with
// last error 38.
ORVGUI_API MutexHandleData* CreateMutex(bool initialOwner, const char* name);
// OpenMutex: the calling thread's handle on name. When the thread already has one (names are
// compared byte for byte) its open count grows by 1 and it is returned; otherwise the existing
// file is opened (it is not created: 2 (ENOENT) when it is missing) and a new handle with open
// count 1 and lock depth 0 joins the thread's list. A null or empty name fails with 22.
ORVGUI_API MutexHandleData* OpenMutex(const char* name);

// WaitForMutex: acquires the lock. A thread that holds it already only counts one level more.
// With kInfinite it blocks until the lock is free. Otherwise it tries without blocking and,
// while the lock is held elsewhere and time remains, sleeps between tries: 10 ms after each of
// the first 10 tries, 50 ms after the next 40, then 100 ms (never past the remaining time). A
// timeout of 0 makes exactly one try; 100 ms makes 11. A signal does not shorten a sleep.
// False with last error 110 when the time ran out, 22 for a null handle.
ORVGUI_API bool WaitForMutex(MutexHandleData* handle, uint32_t timeoutMs);
// DropMutex: releases one level; the lock is free for others once the last level is dropped.
// False with 22 for a null handle and with 1 (EPERM) when the thread does not hold it.
ORVGUI_API bool DropMutex(MutexHandleData* handle);
// CloseMutex: undoes one open. At the last, the handle leaves the thread's list and is freed
// and the file is closed (which also releases a lock still held); the result is then whether
// closing succeeded. False with 22 for a null handle or one that is not open on this thread.
ORVGUI_API bool CloseMutex(MutexHandleData* handle);

// WaitForMutexList: acquires all count handles or none. They are taken in the order of their
// names, so that threads that lock overlapping sets this way cannot deadlock; when one cannot
// be had within what remains of timeoutMs, those taken by this call are dropped again and the
// result is false with that one's last error (110 on a timeout). A null list, a count of 0 or
// a null handle fail with 22. The same handle may appear more than once (it is held once per
// appearance, like repeated waits).
ORVGUI_API bool WaitForMutexList(MutexHandleData* const* handles, uint32_t count, uint32_t timeoutMs);

// Wait: WaitForMutex and WaitForMutexList as wait overloads.
ORVGUI_API bool Wait(MutexHandleData* handle, uint32_t timeoutMs = kInfinite);
ORVGUI_API bool Wait(MutexHandleData* const* handles, uint32_t count, uint32_t timeoutMs = kInfinite);

// MutexSleeper: how WaitForMutex sleeps between tries. The default sleeps the whole time,
// resumed after signals. SetMutexSleeper installs another for the whole process (null restores
// the default) and returns the previous one; tests use it to observe the schedule of tries.
using MutexSleeper = void (*)(uint32_t milliseconds);
ORVGUI_API MutexSleeper SetMutexSleeper(MutexSleeper sleeper);

}  // namespace OrvGuiBase
