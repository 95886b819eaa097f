// SPDX-License-Identifier: Apache-2.0
#include "Differences.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>

namespace vellumo::test {

void ExpectDifferences(const std::vector<std::string>& found,
                       const std::vector<Difference>& known) {
    std::map<std::string, std::string> reasons;
    for (const Difference& difference : known) {
        reasons[difference.document + ": " + difference.what] = difference.why;
    }
    for (const std::string& difference : std::set<std::string>(found.begin(), found.end())) {
        EXPECT_EQ(reasons.erase(difference), 1) << "not known: " << difference;
    }
    for (const auto& [difference, reason] : reasons) {
        ADD_FAILURE() << "no longer so: " << difference << " (" << reason << ")";
    }
}

std::string Quoted(const std::string& text) {
    std::string word = "'";
    for (const char letter : text) {
        letter == '\'' ? word += R"('\'')" : word += letter;
    }
    return word + "'";
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

}  // namespace vellumo::test
