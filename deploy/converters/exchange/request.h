// SPDX-License-Identifier: Apache-2.0
// What vellumo-tool and the process that keeps the office say to each other, over a Unix socket of
// the type SOCK_SEQPACKET. Each packet is a text.
//
// A request has the descriptor of the open document with it, and these fields, each ended by a zero
// byte:
//   mode    "soffice" or "unoconv"
//   fit     "1" to scale each sheet to the width of one page, else "0"
//   pages   the page range; empty for all pages
//   name    the document's file name
//
// The answers to it are QUEUED every half second while it waits, BEGUN, and at the end the result:
// STATUS, a blank, and the reason if STATUS is not 0. With STATUS 0 comes the descriptor of the
// PDF, a file that the sender may still change. If the connection is closed without a result, the
// caller should start an office of its own.
//
// The request REQUEST_STATE, without descriptors, is answered at once by one line for people.
#ifndef VELLUMO_CONVERTERS_REQUEST_H
#define VELLUMO_CONVERTERS_REQUEST_H

enum {
    REQUEST_FIELDS = 4,
    REQUEST_SIZE = 4096,  // bytes of a request or an answer
};

#define REQUEST_STATE "state"
#define ANSWER_QUEUED "Q"
#define ANSWER_BEGUN "A"

#endif
