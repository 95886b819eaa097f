// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_DEPLOY_WARMOFFICE_H
#define VELLUMO_TESTS_DEPLOY_WARMOFFICE_H

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "Shell.h"

namespace vellumo::test {

// A place where an office can be kept warm. The destructor removes it with all its contents.
class WarmPlace {
public:
    WarmPlace() = default;
    virtual ~WarmPlace() = default;
    WarmPlace(const WarmPlace&) = delete;
    WarmPlace& operator=(const WarmPlace&) = delete;

    // The reason why no office can be kept warm there; empty when one can.
    virtual std::string Missing() = 0;

    // Starts a warm office with `settings`, each VARIABLE=VALUE, then runs `script`.
    // The script can use the functions of kOfficeScript and
    //   office_socket           prints the path of the office's socket
    //   obey                    puts $folder/obedient in pdftk's place, see `order`
    //   without_cold            makes cold conversions impossible from now on
    //   end_caller SIGNAL NAME  sends the signal to the process that waits for that document
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

// The kind for a class of places.
template <typename Place>
WarmPlaceKind KindOf(const char* name) {
    return {name, [] { return std::unique_ptr<WarmPlace>(std::make_unique<Place>()); }};
}

// Tests that apply to a warm office in every kind of place.
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

// Tests of a tool that a document has taken over: a pdftk that does what its document says.
class WorstTool : public WarmOffice {
protected:
    Said Obey(const std::string& script) const { return Warm("obey\n" + script); }
};

}  // namespace vellumo::test

#endif
