// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_DOCKERENGINE_H
#define VELLUMO_TOOLS_DOCKERENGINE_H

#include "pool/Engine.h"

namespace vellumo::cli {

// A container engine such as Docker: runs containers of the converters' image.
class DockerEngine final : public Engine {
public:
    const char* Name() const override { return "docker"; }
    void Prepare(const PoolWishes& wishes, Steps& steps) const override;
    void Provide(const std::string& name, const PoolWishes& wishes, Steps& steps) const override;
    void End(const std::string& name, Steps& steps) const override;
    std::vector<std::string> Running() const override;
    bool IsDispensable(const std::string& name) const override;
    bool RunsCommand(const std::string& name) const override;
    std::string HealthOf(const std::string& name) const override;
    std::string WhyCold(const std::string& name) const override;
    Condition ConditionOf(const std::string& name,
                          const std::vector<loader::RunningCommand>& running) const override;
};

}  // namespace vellumo::cli

#endif
