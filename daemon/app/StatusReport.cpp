// SPDX-License-Identifier: Apache-2.0
// What the daemon says about itself when somebody asks.
#include <json/writer.h>
#include <unistd.h>

#include "app/Daemon.h"
#include "loader/cache/CacheIndex.h"

namespace vellumo::daemon {
namespace {

Json::Value SecondsSinceEpoch(std::chrono::system_clock::time_point time) {
    return Json::Int64{std::chrono::system_clock::to_time_t(time)};
}

Json::Value ToJson(const DocumentJob& job) {
    Json::Value value(Json::objectValue);
    value["document"] = job.SharePath();
    value["lane"] = NameOf(job.What().lane);
    value["activity"] = job.Activity();
    value["seconds"] = job.Seconds();
    return value;
}

Json::Value ToJson(const Crew::Ended& ended) {
    Json::Value value(Json::objectValue);
    value["document"] = ended.sharePath;
    value["outcome"] = NameOf(ended.outcome);
    value["reason"] = loader::NameOf(ended.why->reason);
    value["why"] = ended.why->why;
    return value;
}

Json::Value ToJson(const watch::WatchedRoot& root) {
    Json::Value value(Json::objectValue);
    value["folder"] = root.path;
    value["way"] = NameOf(root.way);
    value["ready"] = root.isReady;
    value["why"] = root.note;
    return value;
}

std::string Text(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = false;
    return Json::writeString(builder, value) + "\n";
}

}  // namespace

std::optional<std::string> Daemon::Answer(const std::string& question) {
    if (question == "status") {
        return Text(Status());
    }
    if (question == "metrics") {
        return MetricsText();
    }
    if (question == "health") {
        const auto health = _health.Ask();
        return health ? std::optional(Text(*health)) : std::nullopt;
    }
    return "unknown question\n";
}

Json::Value Daemon::Status() {
    const auto now = Clock::now();
    LookAtPool();
    Json::Value status(Json::objectValue);
    status["pid"] = getpid();
    status["started"] = SecondsSinceEpoch(_started);
    status["obstacle"] = Obstacle();
    status["looksAfterShares"] = _settings.looksAfterShares;
    status["watching"] = Json::Value(Json::arrayValue);
    for (const watch::WatchedRoot& root : _shares.Status()) {
        status["watching"].append(ToJson(root));
    }
    status["health"] = _health.Last();
    status["housekeeping"] = _housekeeping.IsRunning() ? "running" : _housekeeping.LastResult();
    status["unsettled"] = Json::UInt64{_shares.Unsettled()};
    Json::Value& waiting = status["waiting"];
    size_t left = _crew.Count();
    for (const Lane lane : kLanes) {
        waiting[NameOf(lane)] = Json::UInt64{_backlog.Count(lane)};
        left += _backlog.Count(lane);
    }
    const auto queued = _backlog.Queued();
    status["queue"] = queued ? Json::Value(Json::Int64{*queued}) : Json::Value();
    status["deferred"] = Json::UInt64{_backlog.DeferredCount()};
    status["folder"] = _backlog.Folder();
    status["running"] = Json::Value(Json::arrayValue);
    for (const DocumentJob& job : _crew.Jobs()) {
        status["running"].append(ToJson(job));
    }
    for (const Outcome outcome : {Outcome::kFresh, Outcome::kDone, Outcome::kFailed,
                                  Outcome::kPutOff, Outcome::kGone, Outcome::kDeferred}) {
        status["done"][NameOf(outcome)] = Json::UInt64{_metrics.CountOf(outcome)};
    }
    status["perMinute"] = _rate.PerMinute(now);
    const auto time = _rate.TimeFor(left, now);
    status["secondsLeft"] =
        time && left > 0 ? Json::Value(Json::Int64{time->count()}) : Json::Value();
    status["lastFailures"] = Json::Value(Json::arrayValue);
    for (const Crew::Ended& failure : _lastFailures) {
        status["lastFailures"].append(ToJson(failure));
    }
    return status;
}

std::string Daemon::MetricsText() {
    LookAtPool();
    std::vector<Gauge> gauges;
    gauges.reserve(kLanes.size());
    for (const Lane lane : kLanes) {
        gauges.push_back({"vellumo_documents_waiting", "Documents that are next, by lane.",
                          std::string("lane=\"") + NameOf(lane) + "\"",
                          static_cast<double>(_backlog.Count(lane))});
    }
    if (const auto queued = _backlog.Queued()) {
        gauges.push_back(
            {"vellumo_queue_tasks", "Tasks in the queue.", "", static_cast<double>(*queued)});
    }
    gauges.push_back({"vellumo_documents_running", "Documents that are converted now.", "",
                      static_cast<double>(_crew.Count())});
    gauges.push_back({"vellumo_pool_slots", "Slots of the pool.", "",
                      static_cast<double>(_pool.containers.size())});
    gauges.push_back({"vellumo_pool_waiting", "Jobs that wait for a slot.", "",
                      static_cast<double>(_pool.Waiting())});
    if (_settings.cacheLimit) {
        gauges.push_back({"vellumo_cache_limit_bytes", "How much kept PDFs may take.", "",
                          static_cast<double>(*_settings.cacheLimit)});
    }
    try {
        const loader::CacheTotals totals = loader::CacheIndex("").Totals();
        gauges.push_back({"vellumo_cache_documents", "Documents with a kept PDF.", "",
                          static_cast<double>(totals.documents)});
        gauges.push_back({"vellumo_cache_bytes", "Size of all kept PDFs.", "",
                          static_cast<double>(totals.bytes)});
    } catch (const loader::Failure&) {
        // A gauge that is not known is left out.
    }
    gauges.push_back({"vellumo_start_time_seconds", "When the daemon started.", "",
                      static_cast<double>(std::chrono::system_clock::to_time_t(_started))});
    return _metrics.Text(gauges);
}

}  // namespace vellumo::daemon
