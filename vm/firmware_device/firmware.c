#include "firmware.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

enum {
    command_offset = 4,           // 4 bytes, little-endian, of a request
    response_status_offset = 12,  // 4 bytes; zero: done
    default_max_message_length = 16384,
    protocol_version = 1,
    max_text_size = 64,
    max_response_size = 1024 * 1024,
};

static const struct {
    const char* file;
    uint32_t command;
} response_rows[response_count] = {
    {"get_version.bin", 10},
    {"feature_get_state.bin", 7},
    {"gm_file_get.bin", 1},
    {"feature_deactivate.bin", 6},
};
enum { deactivate_row = 3 };

static const char deactivated_mark[] = "deactivated";

// {2FD631C9-1309-4FE6-BEC6-85732778AB01}
static const uint8_t client_identifier[identifier_size] = {0xC9, 0x31, 0xD6, 0x2F, 0x09, 0x13, 0xE6, 0x4F,
                                                           0xBE, 0xC6, 0x85, 0x73, 0x27, 0x78, 0xAB, 0x01};

static void put_little_endian(uint8_t* out, uint32_t value, size_t width) {
    for (size_t i = 0; i < width; ++i) {
        out[i] = (uint8_t)(value >> (8 * i));
    }
}

static uint32_t little_endian(const uint8_t* bytes) {
    return bytes[0] | (uint32_t)bytes[1] << 8 | (uint32_t)bytes[2] << 16 | (uint32_t)bytes[3] << 24;
}

// False when the file is there and cannot be read whole; `out` is empty without a file.
static bool read_file(int folder, const char* name, size_t limit, struct response* out) {
    memset(out, 0, sizeof(*out));
    const int file = openat(folder, name, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) {
        return errno == ENOENT;
    }
    struct stat state;
    bool whole = fstat(file, &state) == 0 && S_ISREG(state.st_mode) && state.st_size <= (off_t)limit;
    if (whole) {
        out->size = (size_t)state.st_size;
        out->bytes = (uint8_t*)malloc(out->size + 1);  // an empty file is a response too
        whole = out->bytes != NULL && read(file, out->bytes, out->size) == (ssize_t)out->size;
    }
    close(file);
    if (whole) {
        out->bytes[out->size] = 0;  // so that it can be read as text
    }
    return whole;
}

// Four numbers, the first three of 8 bits and the last of 16.
static bool parse_version(const char* text, uint8_t out[control_size]) {
    unsigned parts[4];
    int end = 0;
    const int read = sscanf(text, "%3u.%3u.%3u.%5u %n", &parts[0], &parts[1], &parts[2], &parts[3], &end);
    if (read != 4 || text[end] != 0 || parts[0] > 255 || parts[1] > 255 || parts[2] > 255 || parts[3] > 65535) {
        return false;
    }
    for (size_t i = 0; i < 3; ++i) {
        out[i] = (uint8_t)parts[i];
    }
    put_little_endian(out + 3, parts[3], 2);
    return true;
}

static bool parse_length(const char* text, uint32_t* out) {
    int end = 0;
    return sscanf(text, "%9u %n", out, &end) == 1 && text[end] == 0;
}

static bool load_texts(struct firmware* out, int folder, const char** wrong) {
    struct response text;
    *wrong = "driver_version";
    bool good = read_file(folder, *wrong, max_text_size, &text);
    good = good && parse_version(text.bytes != NULL ? (const char*)text.bytes : "1.0.0.0", out->version);
    free(text.bytes);
    if (!good) {
        return false;
    }
    *wrong = "max_message_length";
    out->max_message_length = default_max_message_length;
    good = read_file(folder, *wrong, max_text_size, &text);
    good = good && (text.bytes == NULL || parse_length((const char*)text.bytes, &out->max_message_length));
    free(text.bytes);
    return good;
}

static bool load_responses(struct response out[response_count], int folder, const char** wrong) {
    for (size_t i = 0; i < response_count; ++i) {
        *wrong = response_rows[i].file;
        if (!read_file(folder, *wrong, max_response_size, &out[i])) {
            return false;
        }
    }
    return true;
}

static bool load_later_responses(struct firmware* out, const char** wrong) {
    *wrong = "after_deactivation";
    const int folder = openat(out->folder, *wrong, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (folder < 0) {
        return errno == ENOENT;
    }
    out->has_later_responses = true;
    out->deactivated = faccessat(out->folder, deactivated_mark, F_OK, 0) == 0;
    const bool loaded = load_responses(out->later_responses, folder, wrong);
    close(folder);
    return loaded;
}

// Numbering goes on after the highest number that is there.
static bool load_sent(struct firmware* out, const char** wrong) {
    *wrong = "sent";
    out->sent = openat(out->folder, *wrong, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (out->sent < 0) {
        return errno == ENOENT;
    }
    DIR* list = fdopendir(dup(out->sent));
    if (list == NULL) {
        return false;
    }
    for (const struct dirent* entry = readdir(list); entry != NULL; entry = readdir(list)) {
        unsigned number = 0;
        int end = 0;
        if (sscanf(entry->d_name, "%9u.bin%n", &number, &end) == 1 && end > 0 && entry->d_name[end] == 0 &&
            number > out->last_sent) {
            out->last_sent = number;
        }
    }
    closedir(list);
    return true;
}

const char* firmware_load(struct firmware* out, const char* folder) {
    memset(out, 0, sizeof(*out));
    out->sent = -1;
    out->folder = open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (out->folder < 0) {
        return "cannot be opened";
    }
    out->loaded = true;
    const char* wrong = NULL;
    out->client_absent = faccessat(out->folder, "client_absent", F_OK, 0) == 0;
    const bool loaded = load_texts(out, out->folder, &wrong) && load_responses(out->responses, out->folder, &wrong) &&
                        load_later_responses(out, &wrong) && load_sent(out, &wrong);
    if (!loaded) {
        firmware_unload(out);
    }
    return loaded ? NULL : wrong;
}

void firmware_unload(struct firmware* firmware) {
    if (!firmware->loaded) {
        return;
    }
    for (size_t i = 0; i < response_count; ++i) {
        free(firmware->responses[i].bytes);
        free(firmware->later_responses[i].bytes);
    }
    close(firmware->folder);
    if (firmware->sent >= 0) {
        close(firmware->sent);
    }
    memset(firmware, 0, sizeof(*firmware));
}

bool control_input_size(uint32_t code, size_t* out) {
    *out = code == CONNECT_CLIENT_CODE ? identifier_size : 0;
    return code == CONNECT_CLIENT_CODE || code == GET_VERSION_CODE;
}

int firmware_control(const struct firmware* firmware, struct connection* connection, uint32_t code,
                     const uint8_t* input, uint8_t answer[control_size]) {
    if (code == GET_VERSION_CODE) {
        memcpy(answer, firmware->version, control_size);
        return 0;
    }
    connection->connected = code == CONNECT_CLIENT_CODE && !firmware->client_absent &&
                            memcmp(input, client_identifier, identifier_size) == 0;
    if (!connection->connected) {
        return ENOTTY;
    }
    put_little_endian(answer, firmware->max_message_length, 4);
    answer[4] = protocol_version;
    return 0;
}

// A file of the next free number; false when it cannot be made and filled.
static bool keep(struct firmware* firmware, const uint8_t* request, size_t size) {
    if (firmware->sent < 0) {
        return true;
    }
    int file = -1;
    do {
        char name[32];
        snprintf(name, sizeof(name), "%04u.bin", ++firmware->last_sent);
        file = openat(firmware->sent, name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    } while (file < 0 && errno == EEXIST);
    const bool written = file >= 0 && write(file, request, size) == (ssize_t)size;
    return file >= 0 && close(file) == 0 && written;
}

// Null when there is none.
static const struct response* answer_of(const struct firmware* firmware, size_t row) {
    const struct response* later = &firmware->later_responses[row];
    const struct response* answer = firmware->deactivated && later->bytes != NULL ? later : &firmware->responses[row];
    return answer->bytes != NULL ? answer : NULL;
}

static bool is_done(const struct response* answer) {
    return answer->size >= response_status_offset + 4 && little_endian(answer->bytes + response_status_offset) == 0;
}

// By a file, so that it stays deactivated when the device is started again.
static bool remember_deactivation(struct firmware* firmware) {
    const int file = openat(firmware->folder, deactivated_mark, O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644);
    firmware->deactivated = file >= 0;
    return file >= 0 && close(file) == 0;
}

int firmware_write(struct firmware* firmware, struct connection* connection, const uint8_t* request, size_t size) {
    if (!connection->connected) {
        return ENOTCONN;
    }
    if (size > firmware->max_message_length) {
        return EMSGSIZE;
    }
    if (!keep(firmware, request, size)) {
        return EIO;
    }
    connection->waiting = NULL;
    for (size_t i = 0; i < response_count && size >= command_offset + 4; ++i) {
        if (response_rows[i].command == little_endian(request + command_offset)) {
            connection->waiting = answer_of(firmware, i);
        }
    }
    const bool deactivates = !firmware->deactivated && connection->waiting == &firmware->responses[deactivate_row] &&
                             firmware->has_later_responses && is_done(connection->waiting);
    if (deactivates && !remember_deactivation(firmware)) {
        connection->waiting = NULL;
        return EIO;
    }
    return 0;
}

struct response firmware_read(const struct firmware* firmware, struct connection* connection, size_t limit) {
    struct response taken = {NULL, 0};
    if (connection->waiting != NULL) {
        taken = *connection->waiting;
        connection->waiting = NULL;
    }
    if (taken.size > firmware->max_message_length) {
        taken.size = firmware->max_message_length;
    }
    if (taken.size > limit) {
        taken.size = limit;
    }
    return taken;
}
