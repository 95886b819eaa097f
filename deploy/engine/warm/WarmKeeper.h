// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_WARM_WARMKEEPER_H
#define VELLUMO_ENGINE_WARM_WARMKEEPER_H

#include <string>

#include "scratch/Scratch.h"

namespace vellumo::engine {

// Turns the calling process, a new child, into the process that keeps an office warm for the
// container `name`, until it ends. If the office cannot be started, writes the reason to standard
// error and ends with the failure's exit status. Once it has detached from its caller, the exit
// status is 0.
//
// The office runs in a sandbox like a command's. Instead of the scratch directories, the sandbox
// has the socket's directory of its WarmPlace, under the same path as outside. vellumo-office in
// the sandbox may give a room to another user, become that user and end what it runs; a fork that
// converts a document has fewer rights than any tool. vellumo-office gets the VELLUMO_OFFICE_…
// variables of the engine's environment.
[[noreturn]] void BecomeKeeper(const ScratchTree& tree, const std::string& name);

}  // namespace vellumo::engine

#endif
