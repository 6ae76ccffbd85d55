/*
 * A log line with the six system calls that it requires: open, size, lock, seek, write,
 * close.
 */
#ifndef BARE_LOG_H
#define BARE_LOG_H

#ifdef __cplusplus
extern "C" {
#endif

/* Gets the path of a file in the folder of the library's log. Returns 0 if VMPATH is
 * missing or too long. */
int bare_log_path(char* path, unsigned capacity);

/* Appends a line of typical length. */
void bare_log_line(const char* path);

#ifdef __cplusplus
}
#endif

#endif
