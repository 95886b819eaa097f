// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_FAILUREKIND_H
#define VELLUMO_LOADER_FAILUREKIND_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "loader/Problem.h"

namespace vellumo::loader {

// What a failed conversion says about its document.
enum class FailureKind {
    kCircumstance,  // nothing: rights, the pool, the engine, the disk, a stop request
    kFinal,         // the tool cannot convert it
    kPassing        // a time limit or a crash: another attempt may succeed
};

FailureKind KindOf(const Problem& problem);

// Whether one of these lines, which a tool has written, can be of the engine that ran it.
bool TellsOfEngine(const std::vector<std::string>& words);

// So many worker processes may die of one document; then it is put aside.
inline constexpr int kDeathsPutAside = 2;

// The time of the next attempt, in seconds since the epoch; 0: none by itself. `attempts` counts
// this failure too. `deaths`: the worker processes that have died of the document.
int64_t NextTry(FailureKind kind, int attempts, int deaths, int64_t now);

}  // namespace vellumo::loader

#endif
