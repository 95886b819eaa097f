// SPDX-License-Identifier: Apache-2.0
#include "office.h"

#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include "settings.h"
#include "signals.h"

enum {
    MAX_REPLY = 1024,
    LOOK = 20,           // ms
    START_WAIT = 20000,  // ms for an office that is starting: a second one would not be faster
};

// A request to the warm office.
typedef struct {
    const char* mode;                 // "soffice" or "unoconv"; null for every other command
    char product[EXCHANGE_NAME + 8];  // file name
    const char* pages;
    bool fit;
} Request;

static const char PAGES[] = "PageRange=";

// soffice --headless --convert-to pdf --outdir TARGET DOCUMENT
static void read_soffice(const Call* call, Request* request) {
    char** words = call->words;
    if (call->count != 7 || strcmp(words[1], "--headless") != 0 ||
        strcmp(words[2], "--convert-to") != 0 || strcmp(words[3], "pdf") != 0 ||
        strcmp(words[4], "--outdir") != 0 || words[6] != call->document) {
        return;
    }
    const char* directory = within(words[5], target_directory());
    if (directory == NULL || *directory != '\0') {
        return;
    }
    const char* document = file_name(call->document);
    const char* dot = strrchr(document, '.');
    const int stem = (int)(dot != NULL ? (size_t)(dot - document) : strlen(document));
    (void)snprintf(request->product, sizeof request->product, "%.*s.pdf", stem, document);
    request->mode = "soffice";
}

// unoconv -o PRODUCT --format=pdf [--spreadsheet-fitpage=x] [-e PageRange=PAGES] DOCUMENT
static void read_unoconv(const Call* call, Request* request) {
    char** words = call->words;
    int at = 4;
    if (call->count < 5 || strcmp(words[1], "-o") != 0 || strcmp(words[3], "--format=pdf") != 0) {
        return;
    }
    if (strcmp(words[at], "--spreadsheet-fitpage=x") == 0) {
        request->fit = true;
        ++at;
    }
    if (at + 2 < call->count && strcmp(words[at], "-e") == 0 &&
        strncmp(words[at + 1], PAGES, strlen(PAGES)) == 0) {
        request->pages = words[at + 1] + strlen(PAGES);
        at += 2;
    }
    const char* product = within(words[2], target_directory());
    if (at + 1 != call->count || words[at] != call->document || product == NULL ||
        *product == '\0' || strlen(product) >= sizeof request->product) {
        return;
    }
    memcpy(request->product, product, strlen(product) + 1);
    request->mode = "unoconv";
}

// Reads the command, which must have one of the forms that the library uses.
static Request request_of(const Call* call) {
    Request request = {.mode = NULL, .product = "", .pages = "", .fit = false};
    if (call->document != NULL && strcmp(call->tool, "soffice") == 0) {
        read_soffice(call, &request);
    } else if (call->document != NULL && strcmp(call->tool, "unoconv") == 0) {
        read_unoconv(call, &request);
    }
    return request;
}

static int connect_once(const char* path) {
    struct sockaddr_un address = {.sun_family = AF_UNIX};
    if (strlen(path) >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return -1;
    }
    memcpy(address.sun_path, path, strlen(path));
    // Non-blocking: when the socket's queue is full, a cold office is faster than waiting.
    const int office = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (office >= 0 && connect(office, (struct sockaddr*)&address, sizeof address) != 0) {
        const int error = errno;
        (void)close(office);
        errno = error;
        return -1;
    }
    return office;
}

// If the connection is refused, the keeper has just died and is about to be restarted.
static int connect_to_office(int limit) {
    const char* path = setting("VELLUMO_OFFICE_SOCKET", "/run/vellumo/office");
    int office = connect_once(path);
    for (int waited = 0; office < 0 && errno == ECONNREFUSED && waited < limit; waited += LOOK) {
        const struct timespec time = {0, LOOK * 1000000L};
        (void)nanosleep(&time, NULL);
        office = connect_once(path);
    }
    return office;
}

// Sends the fields of the request, each ended by a zero byte.
static bool ask(Call* call, int office, const Request* request) {
    char made[PATH_MAX];
    char text[3 * PATH_MAX];
    join(call, made, call->room.out, request->product);
    const int length = snprintf(text, sizeof text, "%s%c%d%c%s%c%s%c%s%c", request->mode, 0,
                                request->fit, 0, request->pages, 0, call->room.in, 0, made, 0);
    return length < (int)sizeof text &&
           send(office, text, (size_t)length, MSG_NOSIGNAL) == (ssize_t)length;
}

// Waits for at most `limit` ms (-1: no limit) and reads one byte; false when none arrives.
static bool receive(Call* call, int office, int limit, char* byte) {
    struct pollfd events[] = {{.fd = office, .events = POLLIN},
                              {.fd = call->signals, .events = POLLIN}};
    const int ready = poll(events, 2, limit);
    if (ready > 0 && events[1].revents != 0) {
        finish(call, ENDED_BY_SIGNAL + next_signal(call->signals));
    }
    return ready > 0 && read(office, byte, 1) == 1;
}

// Waits until the office has begun with the document; false when it does not begin.
static bool has_begun(Call* call, int office, int limit) {
    char byte = '\0';
    bool answered = receive(call, office, limit, &byte);
    // The second time is for an office that hangs while it starts and is replaced by another.
    for (int starts = 0; answered && byte == 'W' && starts < 2; ++starts) {
        answered = receive(call, office, START_WAIT, &byte);
    }
    return answered && byte == 'A';
}

// Reads the office's answer, "STATUS TEXT"; empty when there is none.
static void read_answer(Call* call, int office, char* answer) {
    size_t length = 0;
    while (length + 1 < MAX_REPLY && receive(call, office, -1, answer + length)) {
        ++length;
    }
    answer[length] = '\0';
}

// Acts on the answer and returns its exit status; -1 when the answer has none.
static int heed(Call* call, const char* answer) {
    char* text = NULL;
    const long status = strtol(answer, &text, 10);
    if (text == answer || *text != ' ') {
        leave_room(&call->room);
        return -1;
    }
    if (status == 0) {
        publish_products(call);
    } else {
        (void)fprintf(stderr, "%s: %s:%s", call->tool, call->document, text);
    }
    return (int)status;
}

int run_warm(Call* call) {
    const int limit = (int)number("VELLUMO_OFFICE_WAIT", 1200);
    const Request request = request_of(call);
    const int office = request.mode != NULL ? connect_to_office(limit) : -1;
    if (office < 0) {
        return -1;
    }
    enter_room(call, user("VELLUMO_OFFICE_UID"));
    char answer[MAX_REPLY] = "";
    if (ask(call, office, &request) && has_begun(call, office, limit)) {
        read_answer(call, office, answer);
    }
    (void)close(office);
    return heed(call, answer);
}
