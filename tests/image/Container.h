// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_IMAGE_CONTAINER_H
#define VELLUMO_TESTS_IMAGE_CONTAINER_H

#include <string>

#include "Shell.h"

namespace vellumo::test {

// A converter container, over the scratch tree of a device in $folder/root. It ends, and everything
// in it, with the object.
class Container : public Shell {
public:
    ~Container();

    // Why there can be none; empty when there can. To be asked first.
    std::string Missing();

    // Starts it with further options of docker run, and waits until its office is warm.
    Said Up(const std::string& options) const;

    // Runs a script on the host. It finds what kOfficeScript tells, and
    //   $container, $image      its name, and its image's
    //   $source, $target        the scratch directories in it; $S and $T, on the host
    //   run NAME OPTION…        starts another container over the same scratch directories
    //   cut PRODUCT NAME, render PRODUCT NAME      further commands of converters
    //   order NAME COMMANDS     makes NAME.pdf, which tells `cut` what to do in a container that
    //                           has $folder/obedient as its /opt/vellumo/bin/pdftk
    //   process WORD            the number, as the host sees it, of a process with that in its
    //                           command
    //   in_view SCRIPT          runs it in a device view over $folder/root, with the real engine;
    //   it
    //                           finds $vellumo, $samples and $make besides
    Said Do(const std::string& script) const;

private:
    bool _isPossible = false;
};

// A test with a container of its own. Skipped, with the reason, without an engine.
class ContainerTest : public testing::Test, protected Container {
protected:
    void SetUp() override;

    void Start(const std::string& options = "") const;
};

}  // namespace vellumo::test

#endif
