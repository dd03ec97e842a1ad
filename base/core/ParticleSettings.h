// ParticleSettings.h: whether the small-block allocator is in use, and why not.
//
//   if (!UseParticles()) printf("particles off: %s\n", GetParticlesDisabledReason());
//
// Decided once per process: the environment variable PARTICLEREPLACEMENT, set to any value at
// all, turns particles off ("environment"); otherwise running under Valgrind does ("Valgrind"),
// so that the memory checker sees every block.
#pragma once

#include "base/core/Export.h"

namespace OrvGuiBase {

// UseParticles: true while particle management is enabled.
ORVGUI_API bool UseParticles();
// GetParticlesDisabledReason: "environment", "Valgrind", or "" while enabled.
ORVGUI_API const char* GetParticlesDisabledReason();

}  // namespace OrvGuiBase
