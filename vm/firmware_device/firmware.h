// What the firmware of a sealed device answers, taken from the folder of a recorded one (docs/recorded-device.md),
// and the driver's control codes on the way to it. The folder may have another in it, after_deactivation: what lies
// there is answered from a deactivation on, which a file "deactivated" keeps in mind. Knows nothing of how it is
// asked: no calls of the file system in user space.
#pragma once

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#if defined(__cplusplus)
extern "C" {
#endif

enum {
    control_get_version = 0,
    control_connect_client = 1,
    control_size = 5,      // bytes of either answer
    identifier_size = 16,  // bytes that a connect request brings
    response_count = 4,
};

#define GET_VERSION_CODE 0x8000E000u
#define CONNECT_CLIENT_CODE 0x8000E004u

struct response {
    uint8_t* bytes;  // null: the firmware does not answer
    size_t size;
};

struct firmware {
    bool loaded;
    int folder;
    struct response responses[response_count];
    struct response later_responses[response_count];  // in place of the former once the feature was deactivated
    bool has_later_responses;
    bool deactivated;
    bool client_absent;
    uint8_t version[control_size];
    uint32_t max_message_length;  // bytes
    int sent;                     // the folder that keeps the requests; -1: there is none
    unsigned last_sent;
};

// One open handle of the device.
struct connection {
    bool connected;
    const struct response* waiting;  // null: nothing will come
};

// Reads the folder. Null, or what is wrong with it: the name of a file or a reason, of static memory. An `out` that
// was loaded before is unloaded first by whoever calls.
const char* firmware_load(struct firmware* out, const char* folder);

// Of one that was never loaded, and is all zeros, too.
void firmware_unload(struct firmware* firmware);

// Bytes that a control request of this code brings; they answer with control_size bytes. False for an unknown code.
bool control_input_size(uint32_t code, size_t* out);

// Zero and the answer, or the error number. ENOTTY to a connect request says that there is no such client.
int firmware_control(const struct firmware* firmware, struct connection* connection, uint32_t code,
                     const uint8_t* input, uint8_t answer[control_size]);

// Takes a request and keeps it. Zero or the error number: ENOTCONN before a connect request, EMSGSIZE of a request
// that is longer than a message may be, EIO of one that cannot be kept, or kept in mind.
int firmware_write(struct firmware* firmware, struct connection* connection, const uint8_t* request, size_t size);

// The waiting response, which is taken by this, no longer than a message may be and no longer than `limit`.
struct response firmware_read(const struct firmware* firmware, struct connection* connection, size_t limit);

#if defined(__cplusplus)
}
#endif
