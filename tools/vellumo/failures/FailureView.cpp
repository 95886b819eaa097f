// SPDX-License-Identifier: Apache-2.0
#include "failures/FailureView.h"

#include <sstream>

#include "app/Messages.h"
#include "loader/Text.h"

namespace vellumo::cli {

std::string NextTry(const loader::RememberedFailure& failure) {
    return failure.next == 0 ? "never" : loader::Date(failure.next);
}

std::vector<std::string> WordsOf(const loader::RememberedFailure& failure) {
    std::vector<std::string> lines;
    std::istringstream said(failure.said);
    for (std::string line; std::getline(said, line);) {
        lines.push_back(line);
    }
    return lines;
}

Json::Value ToJson(const loader::RememberedFailure& failure) {
    Json::Value value(Json::objectValue);
    value["document"] = failure.path;
    value["product"] = failure.product;
    value["reason"] = failure.reason;
    value["why"] = failure.why;
    value["toolOutput"] = JsonArray(WordsOf(failure));
    value["attempts"] = failure.attempts;
    value["workerDeaths"] = failure.deaths;
    value["firstFailure"] = loader::Date(failure.first);
    value["lastFailure"] = loader::Date(failure.last);
    value["nextTry"] = failure.next == 0 ? Json::Value() : loader::Date(failure.next);
    return value;
}

}  // namespace vellumo::cli
