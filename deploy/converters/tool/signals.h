// SPDX-License-Identifier: Apache-2.0
// Reads SIGCHLD and the signals that would end this program from a descriptor, so that this program
// can remove its room first.
#ifndef VELLUMO_TOOL_SIGNALS_H
#define VELLUMO_TOOL_SIGNALS_H

// Blocks these signals and returns the descriptor from which they are read.
int take_signals(void);

// Unblocks all signals, in a child that becomes a tool.
void give_signals_back(void);

// Waits for the next signal and returns its number; 0 when it cannot be read.
int next_signal(int signals);

#endif
