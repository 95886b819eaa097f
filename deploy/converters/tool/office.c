// SPDX-License-Identifier: Apache-2.0
#include "office.h"

#include <ctype.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include "exchange/request.h"
#include "exchange/words.h"
#include "settings.h"
#include "signals.h"

enum {
    LOOK = 20,  // ms
};

// A request to the warm office.
typedef struct {
    const char* mode;                 // "soffice" or "unoconv"; null for every other command
    char product[EXCHANGE_NAME + 8];  // file name
    const char* pages;
    bool fit;
} Request;

// Space for one descriptor. The kernel finds that there is enough for two.
typedef union {
    struct cmsghdr header;
    char space[CMSG_SPACE(sizeof(int))];
} Control;

// An answer of the office, or of a fork that the document may have taken over.
typedef struct {
    char text[REQUEST_SIZE];
    int product;  // descriptor of the PDF; -1 if there is none
} Answer;

static const char PAGES[] = "PageRange=";

// soffice --headless --convert-to pdf --outdir TARGET DOCUMENT
static void read_soffice(const Call* call, Request* request) {
    char** words = call->words;
    if (call->count != 7 || strcmp(words[1], "--headless") != 0 ||
        strcmp(words[2], "--convert-to") != 0 || strcmp(words[3], "pdf") != 0 ||
        strcmp(words[4], "--outdir") != 0 || words[6] != call->document) {
        return;
    }
    const char* directory = words_within(words[5], target_directory());
    if (directory == NULL || *directory != '\0') {
        return;
    }
    const char* document = words_file_name(call->document);
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
    const char* product = words_within(words[2], target_directory());
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
    memcpy(address.sun_path, path, strlen(path) + 1);
    const int office = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (office >= 0 && connect(office, (struct sockaddr*)&address, sizeof address) != 0) {
        const int error = errno;
        (void)close(office);
        errno = error;
        return -1;
    }
    return office;
}

// If the connection is refused, the office is about to be started again.
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

_Noreturn static void fail_at_product(Call* call, const Request* request) {
    const int error = errno;
    char directory[PATH_MAX];
    char place[PATH_MAX];
    locate(call, directory, target_directory());
    join(call, place, directory, request->product);
    fail(call, ROOM_FAILED, place, strerror(error));
}

// Opens the target directory. Ends this program on failure.
static int open_target(Call* call, const Request* request) {
    char directory[PATH_MAX];
    locate(call, directory, target_directory());
    const int target = open(directory, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (target < 0) {
        fail_at_product(call, request);
    }
    return target;
}

// Sends the fields of the request, each ended by a zero byte, with the document.
static bool ask(const Call* call, int office, const Request* request) {
    char text[REQUEST_SIZE];
    const int length =
        snprintf(text, sizeof text, "%s%c%d%c%s%c%s%c", request->mode, 0, request->fit, 0,
                 request->pages, 0, words_file_name(call->document), 0);
    Control control = {.header = {.cmsg_len = CMSG_LEN(sizeof(int)),
                                  .cmsg_level = SOL_SOCKET,
                                  .cmsg_type = SCM_RIGHTS}};
    memcpy(CMSG_DATA(&control.header), &call->content.file, sizeof(int));
    struct iovec data = {text, (size_t)length};
    const struct msghdr message = {.msg_iov = &data,
                                   .msg_iovlen = 1,
                                   .msg_control = &control,
                                   .msg_controllen = sizeof control};
    return length < (int)sizeof text && sendmsg(office, &message, MSG_NOSIGNAL) == length;
}

static void keep_one(int* kept, int file) {
    if (*kept >= 0) {
        (void)close(*kept);
    }
    *kept = file;
}

// Receives a packet whose descriptors, if there are any, replace that of the answer.
static bool receive_packet(int office, Answer* answer) {
    Control control;
    struct iovec data = {answer->text, sizeof answer->text - 1};
    struct msghdr message = {.msg_iov = &data,
                             .msg_iovlen = 1,
                             .msg_control = &control,
                             .msg_controllen = sizeof control};
    const ssize_t length = recvmsg(office, &message, MSG_CMSG_CLOEXEC);
    answer->text[length > 0 ? length : 0] = '\0';
    const struct cmsghdr* part = length > 0 ? CMSG_FIRSTHDR(&message) : NULL;
    if (part != NULL && part->cmsg_level == SOL_SOCKET && part->cmsg_type == SCM_RIGHTS) {
        int files[2];
        const size_t count = (part->cmsg_len - CMSG_LEN(0)) / sizeof *files;
        memcpy(files, CMSG_DATA(part), count * sizeof *files);
        for (size_t i = 0; i < count; ++i) {
            keep_one(&answer->product, files[i]);
        }
    }
    return length > 0;
}

// Waits for at most `limit` ms (-1: no limit) for an answer; false when none arrives.
static bool receive(Call* call, int office, int limit, Answer* answer) {
    struct pollfd events[] = {{.fd = office, .events = POLLIN},
                              {.fd = call->signals, .events = POLLIN}};
    const int ready = poll(events, 2, limit);
    if (ready > 0 && events[1].revents != 0) {
        finish(call, ENDED_BY_SIGNAL + next_signal(call->signals));
    }
    return ready > 0 && receive_packet(office, answer);
}

// Waits for the result, "STATUS TEXT"; false when there is none. An office that has not begun tells
// every half second that it is there.
static bool await_result(Call* call, int office, int limit, Answer* answer) {
    while (receive(call, office, limit, answer)) {
        if (strcmp(answer->text, ANSWER_BEGUN) == 0) {
            limit = -1;
        } else if (strcmp(answer->text, ANSWER_QUEUED) != 0) {
            return true;
        }
    }
    return false;
}

// Ends this program if there is nothing in the product: the fork may lie, which the document may
// have taken over.
static void publish_product(Call* call, const Request* request, int product) {
    struct stat status;
    if (product < 0 || fstat(product, &status) != 0 || status.st_size == 0) {
        fail(call, REFUSED, call->document, "the office has not made a PDF");
    }
    const int target = open_target(call, request);
    if (exchange_publish_file(product, target, request->product) != 0) {
        fail_at_product(call, request);
    }
    (void)close(target);
}

// Prints one line without control characters.
static void print_reason(const Call* call, char* reason) {
    for (char* c = reason; *c != '\0'; ++c) {
        *c = iscntrl((unsigned char)*c) ? '?' : *c;
    }
    (void)fprintf(stderr, "%s: %s:%s\n", call->tool, call->document, reason);
}

// Acts on the result and returns its exit status; -1 when it has none.
static int heed(Call* call, const Request* request, Answer* result) {
    char* reason = NULL;
    const long status = strtol(result->text, &reason, 10);
    if (reason == result->text || *reason != ' ' || status < 0 || status > UINT8_MAX) {
        return -1;
    }
    if (status == 0) {
        publish_product(call, request, result->product);
    } else {
        print_reason(call, reason);
    }
    return (int)status;
}

static int convert_in(Call* call, int office, const Request* request, int limit) {
    Answer result = {.text = "", .product = -1};
    int status = -1;
    if (ask(call, office, request) && await_result(call, office, limit, &result)) {
        status = heed(call, request, &result);
    }
    keep_one(&result.product, -1);
    return status;
}

int run_warm(Call* call) {
    const int limit = (int)number("VELLUMO_OFFICE_WAIT", 1200);
    const Request request = request_of(call);
    const int office = request.mode != NULL ? connect_to_office(limit) : -1;
    if (office < 0) {
        return -1;
    }
    const int status = convert_in(call, office, &request, limit);
    (void)close(office);
    return status;
}
