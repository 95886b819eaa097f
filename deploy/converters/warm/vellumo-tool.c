// SPDX-License-Identifier: Apache-2.0
// The converters' tools as a container has them on its search path: this program under the tools'
// names. The document is copied into a room of its own, which belongs to a user without rights, and
// the tool runs there as that user: it sees this document and no other, and what it makes goes to
// the target directory in one step when it has ended well. The office's usual commands are answered
// by the warm office, if it is free.
//
// Exit status: the tool's own, 128 + N when signal N ended it; 1 for a document that is refused;
// 125 when the room cannot be made; 127 when there is no such tool.
//
// Environment, for places other than a container's:
//   VELLUMO_SOURCE, VELLUMO_TARGET   the scratch directories (/Vellumo/@tmp/source, …/target)
//   VELLUMO_ROOT                     what stands before these names where this program runs ("")
//   VELLUMO_ROOMS                    where rooms are made (/tmp)
//   VELLUMO_OFFICE_SOCKET            where the warm office listens (/run/vellumo/office)
//   VELLUMO_OFFICE_WAIT              how long to wait for it before a cold one is started (1200 ms)
//   VELLUMO_OFFICE_UID, VELLUMO_TOOL_UID   users of the warm office and of the tools (65534)
//   VELLUMO_COLD_STATUS              exit status instead of running a tool here: the caller has
//                                    another place for what the warm office does not do
#define _GNU_SOURCE
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <grp.h>
#include <limits.h>
#include <poll.h>
#include <signal.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

enum {
    REFUSED = 1,
    ROOM_FAILED = 125,
    NO_SUCH_TOOL = 127,
    ENDED_BY_SIGNAL = 128,
    SIGNATURE_RANGE = 1024,  // how far into a file PDF readers look for its signature
    MAX_ARGUMENTS = 64,
    MAX_REPLY = 1024,
    POLL = 20,           // ms
    START_WAIT = 20000,  // ms for an office that is just starting: a second one would not be sooner
};

typedef struct {
    char path[PATH_MAX];  // where all of it lies; empty when there is none
    char in[PATH_MAX];    // the copy of the document
    char out[PATH_MAX];   // the directory of what is made
    char home[PATH_MAX];
    uid_t owner;
    int lock;  // held as long as the room is used, so that nobody sweeps it
} Room;

typedef struct {
    char** words;
    int count;
    const char* document;  // the document's path, in the source directory; null when there is none
    int file;              // the document, open
} Command;

static const char* name_;  // what this program was called by
static Room room_;
static sigset_t awaited_;  // blocked but where they are waited for: a child's end, and our own
static volatile sig_atomic_t ended_by_;

static const char* setting(const char* variable, const char* otherwise) {
    const char* value = getenv(variable);
    return value != NULL && *value != '\0' ? value : otherwise;
}

static long number(const char* variable, long otherwise) {
    const char* value = getenv(variable);
    return value != NULL && *value != '\0' ? strtol(value, NULL, 10) : otherwise;
}

// A user namespace of one user has nobody else to become.
static uid_t user(const char* variable) {
    return geteuid() == 0 ? (uid_t)number(variable, 65534) : geteuid();
}

// Removes what is in a directory, and never anything else: its owner may be at work in it, so no
// name is looked up twice and no link is followed. What cannot be removed keeps the room, which the
// office's keeper sweeps.
static void empty(int directory) {
    DIR* entries = fdopendir(directory);
    if (entries == NULL) {
        (void)close(directory);
        return;
    }
    for (const struct dirent* entry = readdir(entries); entry != NULL; entry = readdir(entries)) {
        const bool self = strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0;
        if (self || unlinkat(directory, entry->d_name, 0) == 0) {
            continue;
        }
        const int below =
            openat(directory, entry->d_name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (below >= 0) {
            empty(below);
        }
        (void)unlinkat(directory, entry->d_name, AT_REMOVEDIR);
    }
    (void)closedir(entries);
}

static void leave_room(void) {
    if (room_.path[0] == '\0') {
        return;
    }
    empty(dup(room_.lock));
    (void)rmdir(room_.path);
    (void)close(room_.lock);
    room_.path[0] = '\0';
}

_Noreturn static void finish(int status) {
    leave_room();
    exit(status);
}

_Noreturn static void fail(int status, const char* what, const char* why) {
    fprintf(stderr, "%s: %s: %s\n", name_, what, why);
    finish(status);
}

static void join(char* result, const char* directory, const char* name) {
    if (snprintf(result, PATH_MAX, "%s/%s", directory, name) >= PATH_MAX) {
        fail(REFUSED, name, "its path is too long");
    }
}

static const char* file_name(const char* path) {
    const char* slash = strrchr(path, '/');
    return slash != NULL ? slash + 1 : path;
}

// The file name in a path right in `directory` ("" for the directory itself); null for every other.
static const char* within(const char* path, const char* directory) {
    size_t length = strlen(directory);
    while (length > 0 && directory[length - 1] == '/') {
        --length;
    }
    if (strncmp(path, directory, length) != 0 || path[length] != '/') {
        return NULL;
    }
    const char* name = path + length + 1;
    return strchr(name, '/') == NULL && strcmp(name, "..") != 0 && strcmp(name, ".") != 0 ? name
                                                                                          : NULL;
}

// The path in an argument PATH, A=PATH or --option=PATH.
static const char* path_in(const char* word) {
    const char* equals = strchr(word, '=');
    return word[0] != '/' && equals != NULL ? equals + 1 : word;
}

static const char* source_directory(void) {
    return setting("VELLUMO_SOURCE", "/Vellumo/@tmp/source");
}

static const char* target_directory(void) {
    return setting("VELLUMO_TARGET", "/Vellumo/@tmp/target");
}

// Where this program finds `path`, one in the scratch directories.
static void locate(char* place, const char* path) {
    if (snprintf(place, PATH_MAX, "%s%s", setting("VELLUMO_ROOT", ""), path) >= PATH_MAX) {
        fail(REFUSED, path, "its path is too long");
    }
}

static void find_document(Command* command) {
    for (int i = 1; i < command->count; ++i) {
        const char* path = path_in(command->words[i]);
        const char* name = within(path, source_directory());
        if (name == NULL || *name == '\0' ||
            (command->document != NULL && strcmp(command->document, path) == 0)) {
            continue;
        }
        if (command->document != NULL) {
            fail(REFUSED, path, "a second document; convert each on its own");
        }
        command->document = path;
    }
}

// --- the room

static bool is_pdf_in_name_only(int file, const char* path) {
    const char* dot = strrchr(path, '.');
    if (dot == NULL || strcasecmp(dot, ".pdf") != 0) {
        return false;
    }
    char head[SIGNATURE_RANGE];
    const ssize_t length = pread(file, head, sizeof head, 0);
    return length <= 0 || memmem(head, (size_t)length, "%PDF-", 5) == NULL;
}

static int open_document(const char* path) {
    char place[PATH_MAX];
    locate(place, path);
    // Non-blocking, so that a pipe in its place is refused instead of waited for.
    const int file = open(place, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    struct stat status;
    if (file < 0 || fstat(file, &status) != 0) {
        fail(REFUSED, path, strerror(errno));
    }
    if (!S_ISREG(status.st_mode)) {
        fail(REFUSED, path, "is no regular file; give a document");
    }
    if (status.st_size == 0) {
        fail(REFUSED, path, "is empty, so there is nothing to convert");
    }
    if (is_pdf_in_name_only(file, path)) {
        fail(REFUSED, path, "is no PDF in spite of its name; give it the name of what it is");
    }
    return file;
}

static bool copy_content(int from, int to) {
    ssize_t copied = 0;
    do {
        copied = sendfile(to, from, NULL, (size_t)1 << 30);
    } while (copied > 0 || (copied < 0 && errno == EINTR));
    return copied == 0;
}

static void copy_document(const Command* command) {
    char directory[PATH_MAX];
    join(directory, room_.path, "in");
    join(room_.in, directory, file_name(command->document));
    if (mkdir(directory, 0755) != 0) {
        fail(ROOM_FAILED, directory, strerror(errno));
    }
    const int to = open(room_.in, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0444);
    if (to < 0 || lseek(command->file, 0, SEEK_SET) != 0 || !copy_content(command->file, to)) {
        fail(ROOM_FAILED, room_.in, strerror(errno));
    }
    (void)close(to);
}

static void give(const char* path) {
    if (room_.owner != geteuid() && lchown(path, room_.owner, room_.owner) != 0) {
        fail(ROOM_FAILED, path, strerror(errno));
    }
}

// Makes and locks the room. Between the two a sweeper may have taken it for a leftover.
static void make_room(void) {
    struct stat status;
    do {
        char path[PATH_MAX];
        join(path, setting("VELLUMO_ROOMS", "/tmp"), "vellumo-room-XXXXXX");
        if (mkdtemp(path) == NULL) {
            fail(ROOM_FAILED, path, strerror(errno));
        }
        memcpy(room_.path, path, sizeof path);
        room_.lock = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    } while (flock(room_.lock, LOCK_EX) != 0 || fstat(room_.lock, &status) != 0 ||
             status.st_nlink == 0);
}

static void make_own(char* path, const char* name) {
    join(path, room_.path, name);
    if (mkdir(path, 0700) != 0) {
        fail(ROOM_FAILED, path, strerror(errno));
    }
    give(path);
}

// A room for `owner`: in/ with the document, which stays this program's, out/ and home/. The room
// itself is only passed through, so nothing in it can be exchanged.
static void enter_room(const Command* command, uid_t owner) {
    make_room();
    room_.owner = owner;
    make_own(room_.out, "out");
    make_own(room_.home, "home");
    if (command->document != NULL) {
        copy_document(command);
    }
    if (geteuid() != owner &&
        (chown(room_.path, (uid_t)-1, owner) != 0 || chmod(room_.path, 0710) != 0)) {
        fail(ROOM_FAILED, room_.path, strerror(errno));
    }
}

// The word with its path moved into the room; the word itself if it names nothing there.
static char* into_room(const Command* command, char* word) {
    const char* path = path_in(word);
    const int option = (int)(path - word);
    const char* made = within(path, target_directory());
    char* moved = NULL;
    if (command->document != NULL && strcmp(path, command->document) == 0) {
        (void)asprintf(&moved, "%.*s%s", option, word, room_.in);
    } else if (made != NULL) {
        (void)asprintf(&moved, "%.*s%s/%s", option, word, room_.out, made);
    }
    return moved != NULL ? moved : word;
}

// --- what was made

static bool is_product(const char* name) {
    const size_t length = strlen(name);
    const bool temporary =
        strncmp(name, "lu", 2) == 0 && length > 4 && strcmp(name + length - 4, ".tmp") == 0;
    return name[0] != '.' && !temporary;
}

// Copies a product beside its place and renames it: whoever looks sees all of it or nothing.
static void publish(int from, const char* name) {
    char directory[PATH_MAX];
    char part[PATH_MAX];
    char place[PATH_MAX];
    char hidden[NAME_MAX + 1];
    if (snprintf(hidden, sizeof hidden, ".%s.part", name) >= (int)sizeof hidden) {
        fail(REFUSED, name, "its name is too long");
    }
    locate(directory, target_directory());
    join(part, directory, hidden);
    join(place, directory, name);
    (void)unlink(part);
    const int to = open(part, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    const bool copied = to >= 0 && copy_content(from, to) && fchmod(to, 0644) == 0;
    const int error = errno;
    if (!copied || rename(part, place) != 0) {
        const int reason = copied ? errno : error;
        (void)unlink(part);
        fail(ROOM_FAILED, place, strerror(reason));
    }
    (void)close(to);
}

static void publish_all(void) {
    DIR* made = opendir(room_.out);
    if (made == NULL) {
        fail(ROOM_FAILED, room_.out, strerror(errno));
    }
    for (const struct dirent* entry = readdir(made); entry != NULL; entry = readdir(made)) {
        const int file =
            openat(dirfd(made), entry->d_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        struct stat status;
        if (file >= 0 && fstat(file, &status) == 0 && S_ISREG(status.st_mode) &&
            status.st_uid == room_.owner && is_product(entry->d_name)) {
            publish(file, entry->d_name);
        }
        (void)close(file);
    }
    (void)closedir(made);
}

// --- a tool started for this document alone

static void become(uid_t owner) {
    if (geteuid() == owner) {
        return;
    }
    if (setgroups(0, NULL) != 0 || setresgid(owner, owner, owner) != 0 ||
        setresuid(owner, owner, owner) != 0) {
        perror(name_);
        _exit(ROOM_FAILED);
    }
}

// Makes the memory limit meet this process before the office's keeper.
static void offer_to_memory_limit(void) {
    const int file = open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
    if (file >= 0) {
        (void)!write(file, "500", 3);
        (void)close(file);
    }
}

_Noreturn static void run_tool(char** words) {
    char here[PATH_MAX];
    char tool[PATH_MAX];
    sigset_t none;
    (void)setpgid(0, 0);
    (void)sigemptyset(&none);
    (void)sigprocmask(SIG_SETMASK, &none, NULL);
    const ssize_t length = readlink("/proc/self/exe", here, sizeof here - 1);
    here[length > 0 ? length : 0] = '\0';
    *strrchr(here, '/') = '\0';
    (void)setenv("HOME", room_.home, 1);
    (void)setenv("TMPDIR", room_.home, 1);
    const struct rlimit no_core = {0, 0};
    (void)setrlimit(RLIMIT_CORE, &no_core);
    offer_to_memory_limit();
    become(room_.owner);
    (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (snprintf(tool, sizeof tool, "%s/../bin/%s", here, name_) < (int)sizeof tool) {
        (void)execv(tool, words);
    }
    join(tool, "/usr/bin", name_);
    (void)execv(tool, words);
    perror(tool);
    _exit(NO_SUCH_TOOL);
}

static int status_of(int ending) {
    return WIFEXITED(ending) ? WEXITSTATUS(ending) : ENDED_BY_SIGNAL + WTERMSIG(ending);
}

// Waits for the tool, or for a signal to end both.
static int wait_for(pid_t tool) {
    int ending = 0;
    while (waitpid(tool, &ending, WNOHANG) == 0) {
        const int signal = sigwaitinfo(&awaited_, NULL);
        if (signal > 0 && signal != SIGCHLD) {
            (void)kill(-tool, SIGKILL);
            (void)waitpid(tool, &ending, 0);
            return ENDED_BY_SIGNAL + signal;
        }
    }
    return status_of(ending);
}

static int run_cold(const Command* command) {
    enter_room(command, user("VELLUMO_TOOL_UID"));
    char* words[MAX_ARGUMENTS + 1] = {command->words[0]};
    for (int i = 1; i < command->count; ++i) {
        words[i] = into_room(command, command->words[i]);
    }
    const pid_t tool = fork();
    if (tool == 0) {
        run_tool(words);
    }
    (void)setpgid(tool, tool);
    if (tool < 0) {
        fail(ROOM_FAILED, name_, strerror(errno));
    }
    const int status = wait_for(tool);
    (void)kill(-tool, SIGKILL);  // what it may have left running
    if (status < ENDED_BY_SIGNAL) {
        publish_all();
    }
    return status;
}

// --- the warm office

// What the warm office is asked for; `mode` is null for a command that is none of the usual ones.
typedef struct {
    const char* mode;
    const char* product;  // file name
    const char* pages;
    bool fit;
} Request;

static void parse_soffice(const Command* command, Request* request) {
    static char product[NAME_MAX + 8];
    char** words = command->words;
    if (command->count != 7 || strcmp(words[1], "--headless") != 0 ||
        strcmp(words[2], "--convert-to") != 0 || strcmp(words[3], "pdf") != 0 ||
        strcmp(words[4], "--outdir") != 0 || words[6] != command->document) {
        return;
    }
    const char* directory = within(words[5], target_directory());
    if (directory == NULL || *directory != '\0') {
        return;
    }
    const char* document = file_name(command->document);
    const char* dot = strrchr(document, '.');
    const int stem = (int)(dot != NULL ? (size_t)(dot - document) : strlen(document));
    (void)snprintf(product, sizeof product, "%.*s.pdf", stem, document);
    request->product = product;
    request->mode = "soffice";
}

static void parse_unoconv(const Command* command, Request* request) {
    char** words = command->words;
    int at = 4;
    if (command->count < 5 || strcmp(words[1], "-o") != 0 ||
        strcmp(words[3], "--format=pdf") != 0) {
        return;
    }
    if (strcmp(words[at], "--spreadsheet-fitpage=x") == 0) {
        request->fit = true;
        ++at;
    }
    if (at + 2 < command->count && strcmp(words[at], "-e") == 0 &&
        strncmp(words[at + 1], "PageRange=", 10) == 0) {
        request->pages = words[at + 1] + 10;
        at += 2;
    }
    request->product = within(words[2], target_directory());
    if (at + 1 == command->count && words[at] == command->document && request->product != NULL &&
        *request->product != '\0') {
        request->mode = "unoconv";
    }
}

static Request parse(const Command* command) {
    Request request = {NULL, NULL, "", false};
    if (command->document == NULL) {
        return request;
    }
    if (strcmp(name_, "soffice") == 0) {
        parse_soffice(command, &request);
    } else if (strcmp(name_, "unoconv") == 0) {
        parse_unoconv(command, &request);
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
    // Non-blocking: when so many wait already that there is no room to queue, a cold one is sooner.
    const int office = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (office >= 0 && connect(office, (struct sockaddr*)&address, sizeof address) != 0) {
        const int error = errno;
        (void)close(office);
        errno = error;
        return -1;
    }
    return office;
}

// A socket that nobody listens at belongs to a keeper that has just died and will be back.
static int connect_to_office(int limit) {
    const char* path = setting("VELLUMO_OFFICE_SOCKET", "/run/vellumo/office");
    int office = connect_once(path);
    for (int waited = 0; office < 0 && errno == ECONNREFUSED && waited < limit; waited += POLL) {
        const struct timespec time = {0, POLL * 1000000L};
        (void)nanosleep(&time, NULL);
        office = connect_once(path);
    }
    return office;
}

// The fields of a request, each ended by a zero byte.
static bool ask(int office, const Request* request) {
    char made[PATH_MAX];
    char text[3 * PATH_MAX];
    join(made, room_.out, request->product);
    const int length = snprintf(text, sizeof text, "%s%c%d%c%s%c%s%c%s%c", request->mode, 0,
                                request->fit, 0, request->pages, 0, room_.in, 0, made, 0);
    return length < (int)sizeof text &&
           send(office, text, (size_t)length, MSG_NOSIGNAL) == (ssize_t)length;
}

static void note_end(int signal) {
    ended_by_ = signal;
}

// Reads one byte, waiting at most `limit` ms (-1: for ever); false when there is none.
static bool receive(int office, int limit, char* byte) {
    struct pollfd wait = {.fd = office, .events = POLLIN};
    sigset_t none;
    (void)sigemptyset(&none);
    const struct timespec time = {limit / 1000, limit % 1000 * 1000000L};
    const int ready = ppoll(&wait, 1, limit < 0 ? NULL : &time, &none);
    if (ended_by_ != 0) {
        finish(ENDED_BY_SIGNAL + ended_by_);
    }
    return ready == 1 && read(office, byte, 1) == 1;
}

// The office's answer, "STATUS TEXT"; an empty one when it gave none.
static void read_answer(int office, char* answer) {
    size_t length = 0;
    while (length + 1 < MAX_REPLY && receive(office, -1, answer + length)) {
        ++length;
    }
    answer[length] = '\0';
}

// Waits until the office has begun.
static bool has_begun(int office, int limit) {
    char byte = '\0';
    bool answered = receive(office, limit, &byte);
    // Twice when the one that was just starting stands still, and another takes its place.
    for (int starts = 0; answered && byte == 'W' && starts < 2; ++starts) {
        answered = receive(office, START_WAIT, &byte);
    }
    return answered && byte == 'A';
}

// Has the warm office do it. Gives the exit status, or -1 when a cold one is needed.
static int run_warm(const Command* command, const Request* request) {
    const int limit = (int)number("VELLUMO_OFFICE_WAIT", 1200);
    const int office = connect_to_office(limit);
    if (office < 0) {
        return -1;
    }
    enter_room(command, user("VELLUMO_OFFICE_UID"));
    char answer[MAX_REPLY] = "";
    if (ask(office, request) && has_begun(office, limit)) {
        read_answer(office, answer);
    }
    (void)close(office);
    char* text = NULL;
    const long status = strtol(answer, &text, 10);
    if (text == answer || *text != ' ') {
        leave_room();
        return -1;
    }
    if (status == 0) {
        publish_all();
    } else {
        fprintf(stderr, "%s: %s:%s", name_, command->document, text);
    }
    return (int)status;
}

static void arrange_signals(void) {
    const struct sigaction action = {.sa_handler = note_end};
    (void)sigemptyset(&awaited_);
    (void)sigaddset(&awaited_, SIGCHLD);
    for (const int* signal = (const int[]){SIGTERM, SIGINT, SIGHUP, 0}; *signal != 0; ++signal) {
        (void)sigaddset(&awaited_, *signal);
        (void)sigaction(*signal, &action, NULL);
    }
    (void)sigprocmask(SIG_BLOCK, &awaited_, NULL);
    // Should `timeout` itself be killed, nothing else would end this. Without it the parent is the
    // engine's starter, outside of this process namespace, which ends at any moment.
    if (getppid() != 0) {
        (void)prctl(PR_SET_PDEATHSIG, SIGTERM);
    }
}

int main(int argc, char** argv) {
    name_ = file_name(argv[0]);
    if (argc > MAX_ARGUMENTS) {
        fail(REFUSED, name_, "too many arguments");
    }
    (void)umask(022);
    arrange_signals();
    Command command = {argv, argc, NULL, -1};
    find_document(&command);
    if (command.document != NULL) {
        command.file = open_document(command.document);
    }
    const Request request = parse(&command);
    int status = request.mode != NULL ? run_warm(&command, &request) : -1;
    if (status < 0) {
        const int instead = (int)number("VELLUMO_COLD_STATUS", -1);
        status = instead >= 0 ? instead : run_cold(&command);
    }
    finish(status);
}
