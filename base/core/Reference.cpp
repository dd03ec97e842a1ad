// Reference.cpp: the fatal paths of the reference count.
#include "base/core/Reference.h"

#include "base/core/DebugAbort.h"

namespace OrvGuiBase {

void Reference::LinkFailed(const void* body, int32_t count) noexcept {
  DebugAbort("Reference::Link: %p: Invalid reference count (%d)", body, count);
}

void Reference::UnlinkFailed(const void* body, int32_t count) noexcept {
  DebugAbort("Reference::Unlink: %p: Invalid reference count (%d)", body, count);
}

}  // namespace OrvGuiBase
