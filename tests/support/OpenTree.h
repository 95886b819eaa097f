// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_OPENTREE_H
#define VELLUMO_TESTS_OPENTREE_H

namespace vellumo::test {

// Lets other users read the source tree and run the programs in the build tree, even if these trees
// are in a folder that only its owner may enter, such as root's home. For this process and the
// processes that it starts later, and for no others, another folder covers the closed one. All
// users may enter it, and it contains only the path to the trees. Does nothing if the process is
// not root. A second call does no harm.
void OpenTreeToOtherUsers();

}  // namespace vellumo::test

#endif
