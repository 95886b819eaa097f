// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_OFFICE_STATUSES_H
#define VELLUMO_OFFICE_STATUSES_H

namespace vellumo::office {

// Exit statuses of conversions; they are those of unoconv, and those of a tool that reaches the
// same limit.
constexpr int kLoadFailed = 5;
constexpr int kOfficeFailed = 6;
constexpr int kRoomFailed = 125;  // vellumo-tool's: there is no place for the document or the PDF
constexpr int kTakesTooLong = 124;
constexpr int kTakesTooMuchMemory = 137;
constexpr int kTakesTooMuchSpace = 153;

// Exit statuses of the process that keeps the office.
constexpr int kWrongUsage = 64;
constexpr int kPlaceIsGone = 69;
constexpr int kCannotPreload = 78;

}  // namespace vellumo::office

#endif
