// SPDX-License-Identifier: Apache-2.0
#include "convert/Report.h"

#include "loader/Text.h"

namespace vellumo::cli {
namespace {

Json::Value TextOrNull(const std::string& text) {
    return text.empty() ? Json::Value() : Json::Value(text);
}

// Which exit status tells most about a whole run.
int Weight(ExitCode code) {
    if (code == ExitCode::kInterrupted) {
        return 3;
    }
    if (code == ExitCode::kRunTimeLimit) {
        return 2;
    }
    return code == ExitCode::kDone ? 0 : 1;
}

}  // namespace

Json::Value ToJson(const Job& job) {
    Json::Value entry(Json::objectValue);
    entry["source"] = job.sharePath;
    entry["ok"] = !job.problem;
    entry["fromCache"] = job.state == Job::State::kFresh;
    entry["output"] = job.IsDone() ? TextOrNull(job.output) : Json::Value();
    entry["kept"] = job.IsDone() ? TextOrNull(job.kept) : Json::Value();
    entry["seconds"] = job.seconds;
    if (job.state == Job::State::kPlanned) {
        entry["wouldConvert"] = true;
    }
    if (job.problem) {
        entry["error"] = ToJson(*job.problem);
    }
    return entry;
}

std::string Summary(const Tally& tally) {
    const std::string total = " of " + loader::Count(tally.total, "document");
    std::string text = tally.planned == 0
                           ? std::to_string(tally.converted) + total + " converted"
                           : std::to_string(tally.planned) + total + " would be converted";
    const auto add = [&text](size_t number, const char* what) {
        if (number != 0) {
            text += ", " + std::to_string(number) + what;
        }
    };
    add(tally.fresh, " fresh already");
    add(tally.failed, " failed");
    add(tally.notTried, " not tried");
    return text;
}

CommandResult ResultOf(const Jobs& jobs) {
    CommandResult result{ExitCode::kDone, Json::Value(Json::objectValue)};
    Json::Value& json = result.json;
    json["results"] = Json::Value(Json::arrayValue);
    for (const Job& job : jobs) {
        json["results"].append(ToJson(job));
        if (!job.problem) {
            continue;
        }
        if (Weight(job.problem->code) > Weight(result.code)) {
            result.code = job.problem->code;
            json["error"] = ToJson(*job.problem);
        }
    }
    const Tally tally = Tally::Of(jobs);
    json["total"] = Json::UInt64{tally.total};
    json["converted"] = Json::UInt64{tally.converted};
    json["fresh"] = Json::UInt64{tally.fresh};
    json["wouldConvert"] = Json::UInt64{tally.planned};
    json["failed"] = Json::UInt64{tally.failed};
    json["notTried"] = Json::UInt64{tally.notTried};
    return result;
}

}  // namespace vellumo::cli
