// SPDX-License-Identifier: Apache-2.0
#include "convert/Report.h"

#include "loader/Text.h"

namespace vellumo::cli {
namespace {

Json::Value TextOrNull(const std::string& text) {
    return text.empty() ? Json::Value() : Json::Value(text);
}

Json::Value ToJson(const Job& job) {
    Json::Value entry(Json::objectValue);
    entry["source"] = job.sharePath;
    entry["ok"] = job.IsDone();
    entry["fromCache"] = job.state == Job::State::kFresh;
    entry["output"] = job.IsDone() ? TextOrNull(job.output) : Json::Value();
    entry["kept"] = job.IsDone() ? TextOrNull(job.kept) : Json::Value();
    entry["seconds"] = job.seconds;
    if (job.problem) {
        entry["error"] = ToJson(*job.problem);
    }
    return entry;
}

}  // namespace

std::string Summary(const Tally& tally) {
    std::string text = std::to_string(tally.converted) + " of " +
                       loader::Count(tally.total, "document") + " converted";
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
        if (result.code == ExitCode::kDone || job.problem->code == ExitCode::kInterrupted) {
            result.code = job.problem->code;
            json["error"] = ToJson(*job.problem);
        }
    }
    const Tally tally = Tally::Of(jobs);
    json["total"] = Json::UInt64{tally.total};
    json["converted"] = Json::UInt64{tally.converted};
    json["fresh"] = Json::UInt64{tally.fresh};
    json["failed"] = Json::UInt64{tally.failed};
    json["notTried"] = Json::UInt64{tally.notTried};
    return result;
}

}  // namespace vellumo::cli
