// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_DEVICEVIEW_H
#define VELLUMO_TESTS_DEVICEVIEW_H

namespace vellumo::test {

// Goes on in a fresh device view, by running this program again in one; returns at once when it is
// in one already. Ends the process when no view can be had.
void EnterDeviceView(int argc, char** argv);

}  // namespace vellumo::test

#endif
