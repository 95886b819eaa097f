// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_WORKER_JSONTEXT_H
#define VELLUMO_WEB_WORKER_JSONTEXT_H

#include <json/value.h>

#include <string>

namespace vellumo::web::worker {

// `value` as JSON in UTF-8, without blanks.
std::string JsonText(const Json::Value& value);

}  // namespace vellumo::web::worker

#endif
