// SPDX-License-Identifier: Apache-2.0
#include <json/writer.h>

#include "Device.h"
#include "PlatformDouble.h"
#include "StateFile.h"
#include "vellumo/Constants.h"
#include "vellumo/ContainerPoolManager.h"

using namespace NAVO::VELLUMO;
using namespace vellumo::test;

// The state file is written by several programs and may hold anything: no content may stop an
// operation or make it throw.
namespace {

using Pool = ContainerPoolManager;

const std::string kWhole =
    R"({"navo1":{"using":0,"used":3},"runningFiles":{"/volume1/a:origin":{}},)"
    R"("runningQueue":{"other":true},"waitingQueue":[{},{"w":true},{}]})";

class StateFileContent : public DeviceTest {
protected:
    StateFileContent() { PlatformDouble::Get().Reset(); }

    // Every operation of the pool once, each on a pool that has seen nothing but `content`.
    static void UseEveryOperationOn(const std::string& content) {
        SCOPED_TRACE(content.substr(0, 200));
        const std::string key = "job";
        const std::vector<std::string> command{"tool"};
        const Pool::Task task{key, command, Pool::PRIORITY_HIGH};
        std::string container;
        std::vector<std::string> names;
        const std::vector<std::function<void(Pool&)>> operations{
            [&](Pool& pool) { EXPECT_FALSE(pool.IsJobExist(task)); },
            [&](Pool& pool) { pool.AddWaitingQueue(task); },
            [&](Pool& pool) { pool.RemoveWatitingQueue(task); },
            [&](Pool& pool) { pool.AddRunningQueue(task); },
            [&](Pool& pool) { pool.RemoveRunningQueue(task); },
            [&](Pool& pool) { pool.IsHighestPriority(task); },
            [&](Pool& pool) { pool.IncUsingCount("navo1"); },
            [&](Pool& pool) { pool.DecUsingCount("navo1"); },
            [&](Pool& pool) { pool.GetContainerNames(names); },
            [&](Pool& pool) { pool.GetAvailContainer(task, container); },
            [&](Pool& pool) { pool.IsReadyToExecute(task, container); },
        };
        for (const auto& operation : operations) {
            WriteState(content);
            Pool pool(0, 0, 1);
            EXPECT_NO_THROW(operation(pool));
        }
    }

    // A whole job goes through whatever the file held, once it names a container.
    static void RunAJobOn(const std::string& content) {
        SCOPED_TRACE(content.substr(0, 200));
        WriteState(content);
        Pool pool(0, 0, 1);
        pool.AdjustUsingCount("navo1", 0);
        EXPECT_EQ(pool.Execute({"tool"}, Pool::PRIORITY_HIGH), 1000);
        EXPECT_EQ(State()["navo1"]["using"], 0);
        EXPECT_FALSE(State()["runningQueue"].isMember("tool"));
        EXPECT_FALSE(State()["waitingQueue"][2].isMember("tool"));
    }
};

std::vector<Json::Value> EveryKindOfValue() {
    return {Json::Value(),         Json::Value(true),
            Json::Value(-7),       Json::Value(Json::Int64{1} << 40),
            Json::Value(0.5),      Json::Value(1e300),
            Json::Value("text"),   Json::Value(Json::arrayValue),
            Parsed("[1,[2],{}]"),  Json::Value(Json::objectValue),
            Parsed(R"({"x":[1]})")};
}

std::string Text(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

}  // namespace

TEST_F(StateFileContent, EmptyOrMissingIsAnEmptyDocument) {
    UseEveryOperationOn("");
    RunAJobOn("");
}

TEST_F(StateFileContent, CutOffAtEveryByte) {
    for (size_t length = 0; length < kWhole.size(); ++length) {
        UseEveryOperationOn(kWhole.substr(0, length));
    }
}

TEST_F(StateFileContent, CutOffAnywhereJobsStillRun) {
    for (size_t length = 0; length < kWhole.size(); length += 7) {
        RunAJobOn(kWhole.substr(0, length));
    }
}

TEST_F(StateFileContent, NotJsonAtAll) {
    for (const std::string& content :
         {std::string("hello"), std::string("\xff\xfe\0\0", 4), std::string(4096, '\0'),
          std::string("<config/>"), std::string("{\"a\":}"), std::string("}{"), std::string("\""),
          std::string(5000, '['), std::string(5000, '{')}) {
        UseEveryOperationOn(content);
        RunAJobOn(content);
    }
}

TEST_F(StateFileContent, RootOfEveryKind) {
    for (const Json::Value& root : EveryKindOfValue()) {
        UseEveryOperationOn(Text(root));
        RunAJobOn(Text(root));
    }
}

TEST_F(StateFileContent, EveryMemberOfEveryKind) {
    for (const Json::Value& value : EveryKindOfValue()) {
        for (const char* member : {"waitingQueue", "runningQueue", "navo1"}) {
            Json::Value root = Parsed(kWhole);
            root[member] = value;
            UseEveryOperationOn(Text(root));
            RunAJobOn(Text(root));
        }
        for (Json::ArrayIndex priority = 0; priority < 3; ++priority) {
            Json::Value root = Parsed(kWhole);
            root["waitingQueue"][1] = Json::Value(Json::objectValue);
            root["waitingQueue"][priority] = value;
            UseEveryOperationOn(Text(root));
        }
    }
}

TEST_F(StateFileContent, CountsOfTheWrongKindReadAsZeroAndAreReplaced) {
    for (const Json::Value& value : EveryKindOfValue()) {
        if (value.isInt()) {
            continue;
        }
        Json::Value root = Parsed(kWhole);
        root["navo1"]["using"] = value;
        root["navo1"]["used"] = value;
        WriteState(Text(root));
        Pool pool(0, 0, 1);
        pool.IncUsingCount("navo1");
        EXPECT_EQ(State()["navo1"], Parsed(R"({"using":1,"used":1})")) << Text(value);
    }
}

TEST_F(StateFileContent, NegativeCountIsStoredAsZero) {
    WriteState(R"({"navo1":{"using":-5}})");
    Pool pool(0, 0, 1);
    pool.IncUsingCount("navo1");
    EXPECT_EQ(State()["navo1"]["using"], 0);
}

TEST_F(StateFileContent, WrongQueueIsReplacedWhenItIsWrittenAndOthersAreKept) {
    WriteState(R"({"waitingQueue":"text","runningQueue":[],"kept":1,"navo1":"x"})");
    const std::string key = "job";
    const std::vector<std::string> command;
    Pool pool(0, 0, 1);
    pool.AddWaitingQueue({key, command, Pool::PRIORITY_NORMAL});
    pool.AddRunningQueue({key, command, Pool::PRIORITY_NORMAL});
    pool.IncUsingCount("navo1");
    EXPECT_EQ(State(), Parsed(R"({"waitingQueue":[{},{"job":true},{}],"runningQueue":{"job":true},
                                  "kept":1,"navo1":{"using":1,"used":1}})"));
}
