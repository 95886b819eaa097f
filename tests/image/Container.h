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
    //   tool COMMAND…           runs a command in it as the core does
    //   document KIND NAME …    makes a source that belongs to another user
    //   office NAME, unoconv PRODUCT … SOURCE, cut PRODUCT NAME, render PRODUCT NAME
    //                           the converters' commands
    //   office_process, keeper_process     process numbers, as the host sees them
    //   warm                    waits for a warm office, and fails without one after 20 s
    //   next_is_good            converts a document and says how, should it take over 5 s or fail,
    //                           or leave anything but its product; the next two have to be warm
    Said Do(const std::string& script) const;
};

}  // namespace vellumo::test

#endif
