// The rewrite of /etc/hosts that follows a new host name, on any path so
// that it can be tried on files elsewhere.

#ifndef LOGIN_SYSTEM_HOSTS_FILE_HH
#define LOGIN_SYSTEM_HOSTS_FILE_HH

#include <string>

// The line that names the host: "127.0.0.1", seven blanks, the name, newline.
std::string host_line(const std::string& name);

enum class HostsRewrite {
    kWritten,       // the new text is in place
    kNotWritable,   // the file can't be opened for writing; it is unchanged
    kReadError,     // reading failed before the end; nothing was written
    kWriteError,    // writing or closing failed; the file may be cut short
    kNoRoom,        // the file system has no room for the new text; unchanged
};

// Rewrites the file at `path`: every line it holds except those equal to
// `old_line`, in their order, then `new_line`. A missing file counts as
// empty. A last line without a newline is compared and kept as if it had one.
HostsRewrite rewrite_hosts_file(const char* path, const std::string& old_line,
                                const std::string& new_line);

#endif  // LOGIN_SYSTEM_HOSTS_FILE_HH
