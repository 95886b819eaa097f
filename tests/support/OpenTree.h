// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_OPENTREE_H
#define VELLUMO_TESTS_OPENTREE_H

namespace vellumo::test {

// Lets other users run what has been built, and read the source tree, though they lie where only
// their owner may go, such as in root's home. For this process and those that it starts later, and
// for nobody else, the folder that is closed is another one, open and with nothing in it but the
// way to the trees. Does nothing for who is not root, and no harm when it is called again.
void OpenTreeToOtherUsers();

}  // namespace vellumo::test

#endif
