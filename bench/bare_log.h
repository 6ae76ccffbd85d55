/*
 * A log line as the six system calls that it cannot do without: open, size, lock,
 * seek, write, close.
 */
#ifndef BARE_LOG_H
#define BARE_LOG_H

#ifdef __cplusplus
extern "C" {
#endif

/* The path of a file beside the library's log; 0 when VMPATH does not say where
 * that is. */
int bare_log_path(char* path, unsigned capacity);

/* Appends a line of a usual length. */
void bare_log_line(const char* path);

#ifdef __cplusplus
}
#endif

#endif
