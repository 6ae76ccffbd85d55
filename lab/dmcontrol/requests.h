/* The requests of both devices. */
#ifndef REQUESTS_H
#define REQUESTS_H

#include <ntddk.h>

enum device_kind { info_device, config_device };

/* A request's code and its buffer, in which input and output lie. `written` is
 * the output's size. */
struct request {
    ULONG code;
    void* buffer;
    ULONG input_size;
    ULONG output_size;
    ULONG written;
};

/* Does it; returns the native status that it answers. */
NTSTATUS handle_request(enum device_kind device, struct request* request);

#endif
