// SPDX-License-Identifier: Apache-2.0
#include "StateFile.h"

#include <json/reader.h>

#include <memory>

#include "Device.h"

namespace vellumo::test {

void WriteState(const std::string& text) {
    WriteFile(kStateFile, text);
}

std::string StateText() {
    return ReadFile(kStateFile);
}

Json::Value State() {
    return Parsed(StateText());
}

Json::Value Parsed(const std::string& text) {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value value;
    return reader->parse(text.data(), text.data() + text.size(), &value, nullptr) ? value
                                                                                  : Json::Value();
}

}  // namespace vellumo::test
