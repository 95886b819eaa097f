// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_SANDBOX_INTERIOR_H
#define VELLUMO_ENGINE_SANDBOX_INTERIOR_H

#include "sandbox/Words.h"

namespace vellumo::engine {

// Returns the bubblewrap options that all sandboxes have in common: the system's programs and the
// files that they read, the engine's settings and wrappers for the tools, writable memory file
// systems, and the environment variables. Throws Failure when the engine's own files are missing.
Words Interior();

}  // namespace vellumo::engine

#endif
