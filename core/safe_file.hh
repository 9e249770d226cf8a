// Opening a file that the daemon writes as root, where a local user could
// otherwise have it write through a link or into a directory of theirs.

#ifndef LOGIN_CORE_SAFE_FILE_HH
#define LOGIN_CORE_SAFE_FILE_HH

#include <sys/types.h>

#include <cstdio>

// Opens the file at the absolute `path` with `flags` (O_WRONLY or O_RDWR,
// with O_CREAT, O_TRUNC or O_APPEND as wanted). Refused, -1 with errno set:
//   ELOOP   a symbolic link anywhere on the path, the file included;
//   EPERM   a directory on the way not owned by root (or this process's
//           user) or writable by group or others, where a sticky one is
//           allowed above the file's own directory only; a file owned by
//           another user, or with a second hard link;
//   EINVAL  a file that is not a regular file (a fifo, a device);
//   and whatever open itself gives (ENOENT for a missing directory).
// A file it creates gets exactly `mode`, whatever the file mask; an existing
// one loses the write bits of group and others. The descriptor is
// close-on-exec. errno is left as it was when the file is opened.
int open_safe_file(const char* path, int flags, mode_t mode);

// The same as a stream, for fopen's modes "w", "w+" and "a" (with or
// without "b"); the file is created with 0644. NULL with errno set.
FILE* fopen_safe_file(const char* path, const char* mode);

// Takes a write lock on the whole of `fd` without ever blocking: `tries`
// attempts 100 ms apart. False, with errno set, when it is not had.
bool lock_whole_file(int fd, int tries);

// Drops the lock that lock_whole_file took.
bool unlock_whole_file(int fd);

#endif  // LOGIN_CORE_SAFE_FILE_HH
