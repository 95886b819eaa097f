// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_EMBEDDEDENGINE_H
#define VELLUMO_TOOLS_EMBEDDEDENGINE_H

#include "pool/Engine.h"

namespace vellumo::cli {

// The embedded engine, which runs each command in a sandbox of its own. A container is only a name
// here; Provide keeps an office warm for it.
class EmbeddedEngine final : public Engine {
public:
    const char* Name() const override { return "embedded"; }
    void Prepare(const PoolWishes& /*wishes*/, Steps& /*steps*/) const override {}
    void Provide(const std::string& name, const PoolWishes& wishes, Steps& steps) const override;
    void End(const std::string& name, Steps& steps) const override;
    std::vector<std::string> Running() const override;
    bool IsDispensable(const std::string& /*name*/) const override { return true; }
    // Always false: a sandbox ends with its client.
    bool RunsCommand(const std::string& /*name*/) const override { return false; }
    std::string HealthOf(const std::string& /*name*/) const override { return ""; }
    std::string WhyCold(const std::string& name) const override;
    Condition ConditionOf(const std::string& name,
                          const std::vector<loader::RunningCommand>& running) const override;
};

}  // namespace vellumo::cli

#endif
