/* Requests of both devices. */
#ifndef REQUESTS_H
#define REQUESTS_H

#include <ntddk.h>

enum device_kind { info_device, config_device };

/* A request. `buffer` has the input and receives the output; `written` is the size of
 * the output. */
struct request {
    ULONG code;
    void* buffer;
    ULONG input_size;
    ULONG output_size;
    ULONG written;
};

/* Handles a request and returns its native status. */
NTSTATUS handle_request(enum device_kind device, struct request* request);

#endif
