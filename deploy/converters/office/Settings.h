// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_OFFICE_SETTINGS_H
#define VELLUMO_OFFICE_SETTINGS_H

#include <chrono>
#include <string>

namespace vellumo::office {

// The settings in this program's environment; --help lists the variables.
struct Settings {
    std::string socket;             // path
    std::string above;              // the directory in which this program makes its own
    std::string rooms;              // the directory of vellumo-tool's rooms; it may not exist
    unsigned users;                 // number of the block of user ids, see jail/users.h
    size_t spares;                  // children that wait for a document
    size_t atOnce;                  // documents that may be converted at a time
    std::chrono::seconds deadline;  // for one document
    size_t memory;                  // bytes for one document
    size_t space;                   // bytes for one file that is made of a document, and for all
};

Settings ReadSettings();

}  // namespace vellumo::office

#endif
