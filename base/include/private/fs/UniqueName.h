// UniqueName.h: the one loop behind every "first free name" operation of the file layer
// (never installed).
#pragma once

#include <cerrno>

#include "base/fs/Directory.h"

namespace OrvGuiBase {

// TryUniqueNames: calls attempt(path) for path = parent / name(n), n = 0, 1, ..., skipping the
// paths that test (when given) refuses, until attempt succeeds (true). An attempt that fails
// with EEXIST or ENOTEMPTY (the name is taken) moves on; any other failure ends the search
// with that error. After kUniqueNameAttempts names the result is false with last error 17.
template <class Name, class Attempt>
bool TryUniqueNames(const AnsiStr& parent, Name name, UniqueNameTest test, void* context, Attempt attempt) {
  for (unsigned n = 0; n < kUniqueNameAttempts; ++n) {
    AnsiStr path = parent;
    if (path.IsEmpty()) path = name(n);
    else SimpleAppendPath(path, name(n));
    if (test != nullptr && !test(path, context)) continue;
    if (attempt(path)) return true;
    if (errno != EEXIST && errno != ENOTEMPTY) return false;
  }
  errno = EEXIST;
  return false;
}

// CheckGenerator: false with last error 22 when there is no name generator.
inline bool CheckGenerator(UniqueNameGenerator generator) {
  if (generator != nullptr) return true;
  errno = EINVAL;
  return false;
}

}  // namespace OrvGuiBase
