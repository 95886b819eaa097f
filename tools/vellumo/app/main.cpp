// SPDX-License-Identifier: Apache-2.0
#include "app/CommandLine.h"

int main(int argc, char** argv) {
    return vellumo::cli::CommandLine().Run(argc, argv);
}
