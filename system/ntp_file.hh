// The reader of the NTP server file, on any path so that it can be tried on
// files elsewhere.

#ifndef LOGIN_SYSTEM_NTP_FILE_HH
#define LOGIN_SYSTEM_NTP_FILE_HH

#include <string>

// Reads the file at `path` a pair of words at a time (words are separated by
// any white space) and sets `kept` to every pair that differs from `target`,
// as the two words joined by one blank and ended by a newline, in file order.
// A last word without a partner is kept on a line of its own. Words have no
// length limit. False, with `kept` undefined, when the file can't be opened
// or a read fails.
bool read_ntp_servers_except(const char* path, const std::string& target,
                             std::string& kept);

#endif  // LOGIN_SYSTEM_NTP_FILE_HH
