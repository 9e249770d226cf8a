// Whether a file can be replaced without running out of room half way: the
// files under /etc are rewritten in place, so a full file system would
// otherwise leave them cut short.

#ifndef LOGIN_SYSTEM_ROOM_HH
#define LOGIN_SYSTEM_ROOM_HH

#include <cstddef>

// True when the file system of `path` (of its directory if the file is
// missing) has room for `size` bytes in place of what the file holds now,
// or when that can't be told.
bool room_to_replace(const char* path, size_t size);

#endif  // LOGIN_SYSTEM_ROOM_HH
