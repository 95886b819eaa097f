// SPDX-License-Identifier: Apache-2.0
// Signals that would end this program, and a child's end: read from a descriptor, so that a room is
// left in order.
#ifndef VELLUMO_TOOL_SIGNALS_H
#define VELLUMO_TOOL_SIGNALS_H

// From now on they are read from the descriptor that is returned.
int take_signals(void);

// A child that is to become a tool gets them as every program does.
void give_signals_back(void);

// Waits for the next one; 0 when it cannot be read.
int next_signal(int signals);

#endif
