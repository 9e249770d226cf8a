// The login banners: the announcement in /etc/motd and the message in
// /etc/issue. The files are the only store; they are written in place.

#include "core/login_module.h"

#include <cstdio>

#include "libxorp/xorp.h"
#include "libxorp/c_format.hh"

#include "core/login_main.hh"
#include "core/safe_file.hh"
#include "core/text_checks.hh"
#include "system/room.hh"

namespace {

const char kMotd[] = "/etc/motd";
const char kIssue[] = "/etc/issue";

// Cuts the file to nothing and writes text, followed by a newline when asked.
// A failed write is reported; the file may then hold only part of the text,
// which a full disk no longer causes: the room is looked at first.
void write_banner(const char* path, const string& text, bool newline)
{
    // Refused while the file is whole, rather than cut short by a full disk.
    if (!room_to_replace(path, text.size() + (newline ? 1 : 0))) {
        throw LoginException("login_main.cc", __LINE__,
                             c_format("No space left on device for %s", path));
    }
    FILE* file = fopen_safe_file(path, "w+");
    if (file == NULL) {
        throw LoginException("login_main.cc", __LINE__,
                             c_format("Failed to open file: %s", path));
    }
    bool written = fputs(text.c_str(), file) != EOF
        && (!newline || fputc('\n', file) != EOF);
    if (fclose(file) != 0 || !written) {
        throw LoginException("login_main.cc", __LINE__,
                             c_format("Failed to write file: %s", path));
    }
}

}  // namespace

void
LoginMain::set_login_announcement(const string& announcement)
{
    // fputs would write only the part before it.
    check_no_nul_byte(announcement, "Announcement");
    write_banner(kMotd, announcement, true);
}

void
LoginMain::delete_login_announcement(const string& announcement)
{
    if (!announcement.empty()) {
        throw LoginException("login_main.cc", __LINE__,
                             "Announcement is not an empty string");
    }
    write_banner(kMotd, "", false);
}

void
LoginMain::set_login_message(const string& message)
{
    check_no_nul_byte(message, "Message");
    write_banner(kIssue, message, false);
}

void
LoginMain::delete_login_message(const string& message)
{
    if (!message.empty()) {
        throw LoginException("login_main.cc", __LINE__,
                             "Message is not an empty string");
    }
    write_banner(kIssue, "", false);
}
