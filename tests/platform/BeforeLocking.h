// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_TESTS_BEFORELOCKING_H
#define NAVO_TESTS_BEFORELOCKING_H

#include <functional>

namespace navo::test {

// What happens once, the next time that this process calls flock: between the moment when libnavo
// has opened a file and the one when it locks it. Empty when it has happened.
extern std::function<void()> beforeLocking;

}  // namespace navo::test

#endif
