// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_SANDBOX_WORDS_H
#define VELLUMO_ENGINE_SANDBOX_WORDS_H

#include <string>
#include <vector>

namespace vellumo::engine {

// The words of a command line.
using Words = std::vector<std::string>;

inline void Append(Words& words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
}

}  // namespace vellumo::engine

#endif
