// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_IMAGE_CONTAINER_H
#define VELLUMO_TESTS_IMAGE_CONTAINER_H

#include <string>

#include "Shell.h"

namespace vellumo::test {

// A converter container with the scratch tree of a device in $folder/root. The destructor removes
// the container.
class Container : public Shell {
public:
    ~Container();

    // The reason why no container is possible; empty when one is. Call it first.
    std::string Missing();

    // Starts the container with further options of docker run, and waits until its office is warm.
    Said Up(const std::string& options) const;

    // Runs a script on the host. The script can use the functions of kOfficeScript and
    //   $container, $image      the name of the container and of its image
    //   $source, $target        the scratch directories in the container; $S and $T, on the host
    //   run NAME OPTION…        starts another container with the same scratch directories
    //   render PRODUCT NAME     a further command of converters
    //   process WORD            prints the id, on the host, of a process with WORD in its command
    //   in_view SCRIPT          runs SCRIPT in a device view over $folder/root, with the real
    //                           engine; SCRIPT can also use $vellumo, $samples and $make
    Said Do(const std::string& script) const;

private:
    bool _isPossible = false;
};

// A test with its own container. Without an engine, the test is skipped with the reason.
class ContainerTest : public testing::Test, protected Container {
protected:
    void SetUp() override;

    void Start(const std::string& options = "") const;
};

}  // namespace vellumo::test

#endif
