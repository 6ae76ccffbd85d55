/* A disabled-level call of spdlog, in a DLL of its own: spdlog needs the
 * toolchain's other thread model. */
#ifndef SPDLOG_PROBE_H
#define SPDLOG_PROBE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Logs `calls` times below the logger's level. */
__declspec(dllexport) void spdlog_suppressed(uint64_t calls);

#ifdef __cplusplus
}
#endif

#endif
