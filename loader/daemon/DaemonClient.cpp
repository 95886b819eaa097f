// SPDX-License-Identifier: Apache-2.0
#include "loader/daemon/DaemonClient.h"

#include "loader/daemon/LocalSocket.h"

namespace vellumo::loader {

std::optional<std::string> AskDaemon(const std::string& question, std::chrono::seconds limit) {
    return AskSocket(kDaemonSocket, question + "\n", limit);
}

}  // namespace vellumo::loader
