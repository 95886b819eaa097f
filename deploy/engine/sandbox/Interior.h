// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_SANDBOX_INTERIOR_H
#define VELLUMO_ENGINE_SANDBOX_INTERIOR_H

#include "sandbox/Words.h"

namespace vellumo::engine {

// What every sandbox has, as options of bubblewrap: the system's programs and what they read, the
// settings and replacements that come with the engine, memory to write to, an environment of its
// own. Throws Failure when the engine's own files are missing.
Words Interior();

}  // namespace vellumo::engine

#endif
