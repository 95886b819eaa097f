// SPDX-License-Identifier: Apache-2.0
#include "DeviceView.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

namespace vellumo::test {

void EnterDeviceView(int argc, char** argv) {
    if (std::getenv("VELLUMO_DEVICE") != nullptr) {
        return;
    }
    const std::string launcher = VELLUMO_DEVICE_LAUNCHER;
    const std::string self = std::filesystem::read_symlink("/proc/self/exe");
    std::vector<std::string> command{launcher, "--tmp", "--log", "none", "--", self};
    command.insert(command.end(), argv + 1, argv + argc);
    std::vector<char*> pointers;
    for (std::string& element : command) {
        pointers.push_back(element.data());
    }
    pointers.push_back(nullptr);
    execv(launcher.c_str(), pointers.data());
    std::cerr << "cannot run " << launcher << ": " << std::strerror(errno) << '\n';
    std::exit(1);
}

}  // namespace vellumo::test
