// SPDX-License-Identifier: Apache-2.0
#include "worker/JsonText.h"

#include <json/writer.h>

namespace vellumo::web::worker {

std::string JsonText(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

}  // namespace vellumo::web::worker
