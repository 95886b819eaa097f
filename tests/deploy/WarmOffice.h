// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_DEPLOY_WARMOFFICE_H
#define VELLUMO_TESTS_DEPLOY_WARMOFFICE_H

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "Shell.h"

namespace vellumo::test {

// Somewhere an office can be kept warm. It is gone, with all that is in it, with the object.
class WarmPlace {
public:
    WarmPlace() = default;
    virtual ~WarmPlace() = default;
    WarmPlace(const WarmPlace&) = delete;
    WarmPlace& operator=(const WarmPlace&) = delete;

    // Why no office can be kept warm there; empty when one can.
    virtual std::string Missing() = 0;

    // Has an office kept warm with `settings`, each VARIABLE=VALUE, and runs `script` when it is.
    // The script finds what kOfficeScript tells, and besides
    //   office_socket           where the office listens
    //   without_cold            lets no cold office answer any more
    //   end_caller SIGNAL NAME  sends it to whoever waits for that document to be converted
    virtual Said RunWarm(const std::vector<std::string>& settings, const std::string& script) = 0;
};

// A kind of such places.
struct WarmPlaceKind {
    const char* name;
    std::unique_ptr<WarmPlace> (*make)();
};
inline void PrintTo(const WarmPlaceKind& kind, std::ostream* stream) {
    *stream << kind.name;
}

// That of a class.
template <typename Place>
WarmPlaceKind KindOf(const char* name) {
    return {name, [] { return std::unique_ptr<WarmPlace>(std::make_unique<Place>()); }};
}

// What holds of a warm office wherever it is kept.
class WarmOffice : public testing::TestWithParam<WarmPlaceKind> {
protected:
    void SetUp() override {
        _place = GetParam().make();
        if (const std::string missing = _place->Missing(); !missing.empty()) {
            GTEST_SKIP() << missing;
        }
    }

    Said Warm(const std::string& script, const std::vector<std::string>& settings = {}) const {
        return _place->RunWarm(settings, script);
    }

private:
    std::unique_ptr<WarmPlace> _place;
};

}  // namespace vellumo::test

#endif
