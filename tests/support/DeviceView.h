// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_DEVICEVIEW_H
#define VELLUMO_TESTS_DEVICEVIEW_H

namespace vellumo::test {

// Executes this program again in a new device view. Returns at once when it is in a view already.
// Ends the process when no view can be created.
void EnterDeviceView(int argc, char** argv);

}  // namespace vellumo::test

#endif
