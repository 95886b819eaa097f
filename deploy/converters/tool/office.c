// SPDX-License-Identifier: Apache-2.0
#include "office.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include "exchange/request.h"
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

// Opens a new file without a name in the target directory. Ends this program on failure.
static int open_product(Call* call, const Request* request) {
    const int target = open_target(call, request);
    const int product = exchange_scratch(target);
    if (product < 0) {
        fail_at_product(call, request);
    }
    (void)close(target);
    return product;
}

// Sends the fields of the request, each ended by a zero byte, with the two files.
static bool ask(const Call* call, int office, const Request* request, int product) {
    char text[REQUEST_SIZE];
    const int length = snprintf(text, sizeof text, "%s%c%d%c%s%c%s%c", request->mode, 0,
                                request->fit, 0, request->pages, 0, file_name(call->document), 0);
    const int files[REQUEST_FILES] = {call->content.file, product};
    union {
        struct cmsghdr header;
        char space[CMSG_SPACE(sizeof files)];
    } control = {.header = {.cmsg_len = CMSG_LEN(sizeof files),
                            .cmsg_level = SOL_SOCKET,
                            .cmsg_type = SCM_RIGHTS}};
    memcpy(CMSG_DATA(&control.header), files, sizeof files);
    struct iovec data = {text, (size_t)length};
    const struct msghdr message = {.msg_iov = &data,
                                   .msg_iovlen = 1,
                                   .msg_control = &control,
                                   .msg_controllen = sizeof control};
    return length < (int)sizeof text && sendmsg(office, &message, MSG_NOSIGNAL) == length;
}

// Waits for at most `limit` ms (-1: no limit) for an answer, which has REQUEST_SIZE bytes; false
// when none arrives.
static bool receive(Call* call, int office, int limit, char* answer) {
    struct pollfd events[] = {{.fd = office, .events = POLLIN},
                              {.fd = call->signals, .events = POLLIN}};
    const int ready = poll(events, 2, limit);
    if (ready > 0 && events[1].revents != 0) {
        finish(call, ENDED_BY_SIGNAL + next_signal(call->signals));
    }
    const ssize_t length = ready > 0 ? recv(office, answer, REQUEST_SIZE - 1, 0) : 0;
    answer[length > 0 ? length : 0] = '\0';
    return length > 0;
}

// Waits for the result, "STATUS TEXT"; false when there is none. An office that has not begun tells
// every half second that it is there.
static bool await_result(Call* call, int office, int limit, char* answer) {
    while (receive(call, office, limit, answer)) {
        if (strcmp(answer, ANSWER_BEGUN) == 0) {
            limit = -1;
        } else if (strcmp(answer, ANSWER_QUEUED) != 0) {
            return true;
        }
    }
    return false;
}

// Ends this program if there is nothing in the product: the fork may lie, which the document may have
// taken over.
static void publish_product(Call* call, const Request* request, int product) {
    struct stat status;
    if (fstat(product, &status) != 0 || status.st_size == 0) {
        fail(call, REFUSED, call->document, "the office has not made a PDF");
    }
    const int target = open_target(call, request);
    if (exchange_publish_file(product, target, request->product) != 0) {
        fail_at_product(call, request);
    }
    (void)close(target);
}

// Acts on the result and returns its exit status; -1 when it has none.
static int heed(Call* call, const Request* request, const char* result, int product) {
    char* text = NULL;
    const long status = strtol(result, &text, 10);
    if (text == result || *text != ' ') {
        return -1;
    }
    if (status == 0) {
        publish_product(call, request, product);
    } else {
        (void)fprintf(stderr, "%s: %s:%s\n", call->tool, call->document, text);
    }
    return (int)status;
}

static int convert_in(Call* call, int office, const Request* request, int limit) {
    const int product = open_product(call, request);
    char result[REQUEST_SIZE] = "";
    int status = -1;
    if (ask(call, office, request, product) && await_result(call, office, limit, result)) {
        status = heed(call, request, result, product);
    }
    (void)close(product);
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
