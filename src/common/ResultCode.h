// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_COMMON_RESULTCODE_H
#define VELLUMO_COMMON_RESULTCODE_H

// The int results of conversions and of the commands that they run.
namespace NAVO::VELLUMO {

constexpr int kResultSuccess = 1000;
constexpr int kResultTimeLimit = 1001;    // the tool reached its time limit
constexpr int kResultToolFailed = 1002;   // the tool did not start, or left no valid product
constexpr int kResultNotPrepared = 1003;  // failed before the tool was started

}  // namespace NAVO::VELLUMO

#endif
