// SPDX-License-Identifier: Apache-2.0
#include "loader/queue/Operation.h"

#include <algorithm>
#include <array>

namespace vellumo::loader {
namespace {

// By the number.
constexpr std::array kOperations{"convert", "now", "remove", "reindex"};
constexpr std::array kProducts{"both", "pdf", "thumbnail"};

template <typename Value, typename Names>
std::optional<Value> ByNumber(const Names& names, int32_t number) {
    return number >= 0 && static_cast<size_t>(number) < names.size()
               ? std::optional(static_cast<Value>(number))
               : std::nullopt;
}

template <typename Value, typename Names>
std::optional<Value> ByName(const Names& names, const std::string& name) {
    const auto found = std::find(names.begin(), names.end(), name);
    return found == names.end() ? std::nullopt
                                : std::optional(static_cast<Value>(found - names.begin()));
}

}  // namespace

std::optional<Operation> OperationOf(int32_t number) {
    return ByNumber<Operation>(kOperations, number);
}

std::optional<Products> ProductsOf(int32_t number) {
    return ByNumber<Products>(kProducts, number);
}

const char* NameOf(Operation operation) {
    return kOperations.at(static_cast<size_t>(operation));
}

const char* NameOf(Products products) {
    return kProducts.at(static_cast<size_t>(products));
}

std::optional<Operation> OperationOf(const std::string& name) {
    return ByName<Operation>(kOperations, name);
}

std::optional<Products> ProductsOf(const std::string& name) {
    return ByName<Products>(kProducts, name);
}

std::vector<std::string> OperationNames() {
    return {kOperations.begin(), kOperations.end()};
}

std::vector<std::string> ProductsNames() {
    return {kProducts.begin(), kProducts.end()};
}

}  // namespace vellumo::loader
