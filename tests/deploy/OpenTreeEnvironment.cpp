// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "OpenTree.h"

namespace vellumo::test {
namespace {

// Tests of the device view and the embedded engine run programs of the tree as other users. Tests
// with a container engine do not, and must keep the mounts that the engine sees.
class OpenTree : public testing::Environment {
    void SetUp() override { OpenTreeToOtherUsers(); }
};

// GoogleTest deletes it. NOLINTNEXTLINE(*-owning-memory)
[[maybe_unused]] const testing::Environment* const kOpenTree =
    testing::AddGlobalTestEnvironment(new OpenTree);

}  // namespace
}  // namespace vellumo::test
