// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_IMAGE_CONTAINER_H
#define VELLUMO_TESTS_IMAGE_CONTAINER_H

#include "Shell.h"

namespace vellumo::test {

// A test with a converter container of its own, over the scratch tree of a device in $folder/root.
// It ends, and everything in it, with the test. Skipped, with the reason, without an engine.
class ContainerTest : public ShellTest {
protected:
    void SetUp() override;
    void TearDown() override;

    // Starts the container with further options of docker run, and waits until its office is warm.
    void Start(const std::string& options = "") const;

    // Runs a script on the host. It finds
    //   $container, $source and $target (the scratch directories in it), $S and $T (on the host)
    //   run NAME OPTION…        starts another container over the same scratch directories
    //   tool COMMAND…           runs a command in it as the core does
    //   document KIND NAME …    makes a source that belongs to another user
    //   office NAME, unoconv PRODUCT … SOURCE, cut PRODUCT NAME, render PRODUCT NAME
    //                           the converters' commands
    //   cold COMMAND…           has one of those done without the warm office
    //   order NAME COMMANDS     makes NAME.pdf, which tells `cut` what to do in a container that
    //   has
    //                           $folder/obedient as its /opt/vellumo/bin/pdftk
    //   process WORD            the number, as the host sees it, of a process with that in its
    //   command office_process, keeper_process     likewise works                   tells whether a
    //   document is being converted warm                    waits for a warm office, and fails
    //   without one next_is_good            converts a document and says how, should it fail or
    //   take over 2 s (more
    //                           on a busy machine), should the one after it not meet a warm office,
    //                           or should anything be left running or lying about
    //   in_view SCRIPT          runs it in a device view over $folder/root, with the real engine;
    //   it
    //                           finds $vellumo, $samples and $make besides
    Said Do(const std::string& script) const;
};

}  // namespace vellumo::test

#endif
