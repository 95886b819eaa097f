// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_EMBEDDEDENGINE_H
#define VELLUMO_TOOLS_EMBEDDEDENGINE_H

#include "pool/Engine.h"

namespace vellumo::cli {

// The embedded engine, which makes a sandbox for each command. What can be provided for a name is
// an office that stays warm.
class EmbeddedEngine final : public Engine {
public:
    const char* Name() const override { return "embedded"; }
    void Prepare(const PoolWishes& /*wishes*/, Steps& /*steps*/) const override {}
    void Provide(const std::string& name, const PoolWishes& wishes, Steps& steps) const override;
    void End(const std::string& name, Steps& steps) const override;
    bool IsDispensable(const std::string& /*name*/) const override { return true; }
    // A sandbox ends with its client.
    bool RunsCommand(const std::string& /*name*/) const override { return false; }
    std::string HealthOf(const std::string& /*name*/) const override { return ""; }
    Condition ConditionOf(const std::string& name,
                          const std::vector<loader::RunningCommand>& running) const override;
};

}  // namespace vellumo::cli

#endif
