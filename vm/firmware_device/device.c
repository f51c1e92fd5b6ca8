// firmware_device FOLDER [--never | --late MILLISECONDS | --short BYTES] [--leave-after ANSWERS]: the firmware in
// FOLDER as the character device /dev/peli0, until a signal ends it. A request is taken at once; its answer comes
// later or not at all, which a reader that does not block waits for with poll.
#define FUSE_USE_VERSION 35

#include <cuse_lowlevel.h>
#include <errno.h>
#include <fuse_lowlevel.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "firmware.h"

struct options {
    bool never;
    long late;         // milliseconds
    long short_size;   // bytes of each answer; 0: whole
    long leave_after;  // answers; 0: it stays
};

// One open handle. Only one reader waits at a time.
struct session {
    struct connection connection;
    long long ready_at;  // milliseconds; when the waiting answer may be read
    struct fuse_pollhandle* watcher;
    struct session* next;
};

static struct firmware firmware;
static struct options options;
static struct session* sessions;
static long answers;

static long long now(void) {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return (long long)time.tv_sec * 1000 + time.tv_nsec / 1000000;
}

static struct session* session_of(const struct fuse_file_info* info) {
    return (struct session*)(uintptr_t)info->fh;
}

static bool has_answer(const struct session* session) {
    return session->connection.waiting != NULL && !options.never && now() >= session->ready_at;
}

static void forget_watcher(struct session* session) {
    if (session->watcher != NULL) {
        fuse_pollhandle_destroy(session->watcher);
        session->watcher = NULL;
    }
}

static void device_open(fuse_req_t request, struct fuse_file_info* info) {
    struct session* session = calloc(1, sizeof(*session));
    if (session == NULL) {
        fuse_reply_err(request, ENOMEM);
        return;
    }
    session->next = sessions;
    sessions = session;
    info->fh = (uint64_t)(uintptr_t)session;
    fuse_reply_open(request, info);
}

static void device_release(fuse_req_t request, struct fuse_file_info* info) {
    struct session* ended = session_of(info);
    for (struct session** at = &sessions; *at != NULL; at = &(*at)->next) {
        if (*at == ended) {
            *at = ended->next;
            break;
        }
    }
    forget_watcher(ended);
    free(ended);
    fuse_reply_err(request, 0);
}

// The codes carry no sizes: the first call of the kernel brings no memory, and is told which to bring.
static void device_ioctl(fuse_req_t request, int command, void* argument, struct fuse_file_info* info, unsigned flags,
                         const void* input, size_t input_size, size_t output_size) {
    const uint32_t code = (uint32_t)command;
    struct iovec in = {argument, 0};
    struct iovec out = {argument, control_size};
    (void)flags;
    if (!control_input_size(code, &in.iov_len)) {
        fuse_reply_err(request, ENOTTY);
    } else if (input_size < in.iov_len || output_size < control_size) {
        fuse_reply_ioctl_retry(request, &in, in.iov_len > 0 ? 1 : 0, &out, 1);
    } else {
        uint8_t answer[control_size];
        const int error = firmware_control(&firmware, &session_of(info)->connection, code, input, answer);
        if (error != 0) {
            fuse_reply_err(request, error);
        } else {
            fuse_reply_ioctl(request, 0, answer, sizeof(answer));
        }
    }
}

static void device_write(fuse_req_t request, const char* bytes, size_t size, off_t offset,
                         struct fuse_file_info* info) {
    struct session* session = session_of(info);
    (void)offset;
    const int error = firmware_write(&firmware, &session->connection, (const uint8_t*)bytes, size);
    session->ready_at = now() + options.late;
    if (error != 0) {
        fuse_reply_err(request, error);
    } else {
        fuse_reply_write(request, size);
    }
}

// An answer that is not there yet is waited for with poll, as the driver's caller does.
static void device_read(fuse_req_t request, size_t size, off_t offset, struct fuse_file_info* info) {
    struct session* session = session_of(info);
    (void)offset;
    if (!session->connection.connected) {
        fuse_reply_err(request, ENOTCONN);
    } else if (!has_answer(session)) {
        fuse_reply_err(request, EAGAIN);
    } else {
        const size_t limit =
            options.short_size > 0 && (size_t)options.short_size < size ? (size_t)options.short_size : size;
        const struct response answer = firmware_read(&firmware, &session->connection, limit);
        fuse_reply_buf(request, (const char*)answer.bytes, answer.size);
        ++answers;
    }
}

static void device_poll(fuse_req_t request, struct fuse_file_info* info, struct fuse_pollhandle* watcher) {
    struct session* session = session_of(info);
    if (watcher != NULL) {
        forget_watcher(session);
        session->watcher = watcher;
    }
    fuse_reply_poll(request, POLLOUT | (has_answer(session) ? POLLIN : 0u));
}

static const struct cuse_lowlevel_ops operations = {
    .open = device_open,
    .release = device_release,
    .read = device_read,
    .write = device_write,
    .ioctl = device_ioctl,
    .poll = device_poll,
};

// Milliseconds until the next answer is ready that somebody waits for; -1: nobody waits for one.
static int time_to_next_answer(void) {
    long long next = -1;
    for (const struct session* session = sessions; session != NULL; session = session->next) {
        if (session->watcher != NULL && session->connection.waiting != NULL && !options.never) {
            const long long left = session->ready_at > now() ? session->ready_at - now() : 0;
            next = next < 0 || left < next ? left : next;
        }
    }
    return (int)next;
}

static void wake_watchers(void) {
    for (struct session* session = sessions; session != NULL; session = session->next) {
        if (session->watcher != NULL && has_answer(session)) {
            fuse_lowlevel_notify_poll(session->watcher);
            forget_watcher(session);
        }
    }
}

static bool has_left(void) {
    return options.leave_after > 0 && answers >= options.leave_after;
}

// One request after another, so that nothing here is touched by two threads.
static void serve(struct fuse_session* kernel) {
    struct fuse_buf buffer = {0};
    while (!fuse_session_exited(kernel) && !has_left()) {
        struct pollfd ready = {fuse_session_fd(kernel), POLLIN, 0};
        const int count = poll(&ready, 1, time_to_next_answer());
        if (count > 0) {
            const int size = fuse_session_receive_buf(kernel, &buffer);
            if (size > 0) {
                fuse_session_process_buf(kernel, &buffer);
            } else if (size != -EINTR && size != -EAGAIN) {
                break;
            }
        } else if (count < 0 && errno != EINTR) {
            break;
        }
        wake_watchers();
    }
    free(buffer.mem);
}

static bool parse_number(const char* text, long* out) {
    char* end = NULL;
    errno = 0;
    *out = text != NULL ? strtol(text, &end, 10) : 0;
    return text != NULL && errno == 0 && end != text && *end == 0 && *out > 0;
}

static bool parse_options(char** words) {
    const struct {
        const char* name;
        long* value;
    } rows[] = {{"--late", &options.late}, {"--short", &options.short_size}, {"--leave-after", &options.leave_after}};
    for (; *words != NULL; ++words) {
        bool known = strcmp(*words, "--never") == 0;
        options.never = options.never || known;
        for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]) && !known; ++i) {
            if (strcmp(*words, rows[i].name) == 0) {
                if (!parse_number(*++words, rows[i].value)) {
                    return false;
                }
                known = true;
            }
        }
        if (!known) {
            return false;
        }
    }
    return true;
}

static int serve_device(void) {
    static const char* names[] = {"DEVNAME=peli0"};
    const struct cuse_info info = {.dev_info_argc = 1, .dev_info_argv = names, .flags = CUSE_UNRESTRICTED_IOCTL};
    char* words[] = {"firmware_device", "-f", "-s", NULL};
    int threaded = 0;
    struct fuse_session* kernel = cuse_lowlevel_setup(3, words, &info, &operations, &threaded, NULL);
    if (kernel == NULL) {
        return 1;
    }
    serve(kernel);
    // What is still open fails from here on, as with a device that has been pulled out.
    cuse_lowlevel_teardown(kernel);
    return 0;
}

int main(int argc, char** argv) {
    if (argc < 2 || !parse_options(argv + 2)) {
        fputs(
            "usage: firmware_device FOLDER [--never | --late MILLISECONDS | --short BYTES] [--leave-after ANSWERS]\n",
            stderr);
        return 3;
    }
    const char* wrong = firmware_load(&firmware, argv[1]);
    if (wrong != NULL) {
        fprintf(stderr, "firmware_device: %s: %s\n", argv[1], wrong);
        return 1;
    }
    const int code = serve_device();
    firmware_unload(&firmware);
    return code;
}
