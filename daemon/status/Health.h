// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DAEMON_HEALTH_H
#define VELLUMO_DAEMON_HEALTH_H

#include <json/value.h>

#include <chrono>
#include <memory>
#include <optional>

#include "jobs/DocumentJob.h"
#include "loader/pool/CanaryFolder.h"

namespace vellumo::daemon {

// Whether the whole road works, from a document to its kept PDF, shown by the conversion of a
// sample.
class Health {
public:
    // The result for somebody who asks now; nothing while the conversion goes on. A result serves
    // all who ask within a minute.
    std::optional<Json::Value> Ask();

    // Follows the conversion. Call it about ten times a second.
    void Step();

    // Requests the conversion to stop; a second call ends every wait.
    void Stop();

    bool IsRunning() const { return _job != nullptr; }

    // The last result; null before the first one.
    const Json::Value& Last() const { return _last; }

private:
    using Clock = std::chrono::steady_clock;

    void Begin();
    void End(bool isHealthy, const std::string& why, double seconds);
    void RemoveProduct() const;

    std::unique_ptr<loader::CanaryFolder> _folder;
    std::unique_ptr<DocumentJob> _job;
    Json::Value _last;
    std::optional<Clock::time_point> _ended;
};

}  // namespace vellumo::daemon

#endif
