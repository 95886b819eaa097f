// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_COMMON_RESULTCODE_H
#define VELLUMO_COMMON_RESULTCODE_H

// What conversions and the commands underneath return, as an int.
namespace NAVO::VELLUMO {

constexpr int kResultSuccess = 1000;
constexpr int kResultTimeLimit = 1001;    // the tool reached its time limit
constexpr int kResultToolFailed = 1002;   // the tool did not start, or left no valid product
constexpr int kResultNotPrepared = 1003;  // it never came to the tool

}  // namespace NAVO::VELLUMO

#endif
