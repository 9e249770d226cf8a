// NTP servers: the file /etc/ntp-server is the list, one "server ADDRESS"
// line per server. Each change stops the ntp service and starts it again;
// adding a server also sets both clocks from it once.

#include "core/login_module.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <list>

#include "libxorp/xorp.h"
#include "libxorp/c_format.hh"

#include "core/login_main.hh"
#include "core/safe_file.hh"
#include "system/room.hh"
#include "vela/vela_common.hh"
#include "system/ntp_file.hh"

namespace {

const char kNtpServers[] = "/etc/ntp-server";

void start_ntp()
{
    std::list<string> args;
    args.push_back("start");
    execute_command("/etc/init.d/ntp", args, false, false);
}

// Writes `text` to the file opened with `mode`; false if it isn't all there.
bool write_ntp_file(const char* mode, const string& text)
{
    FILE* file = fopen_safe_file(kNtpServers, mode);
    if (file == NULL)
        return false;
    bool written = fwrite(text.data(), 1, text.size(), file) == text.size();
    return fclose(file) == 0 && written;
}

// The service is started again on every path; a file left unchanged is then
// reported, never answered as success.
void start_ntp_and_report(bool recorded)
{
    start_ntp();
    if (!recorded) {
        throw LoginException("login_main.cc", __LINE__,
                             c_format("Failed to write file: %s", kNtpServers));
    }
}

}  // namespace

void
LoginMain::set_ntp_server(const IPv4& server)
{
    system("/etc/init.d/ntp stop");
    system(("ntpdate " + server.str()).c_str());
    system("hwclock -w -u");

    start_ntp_and_report(write_ntp_file("a", "server " + server.str() + "\n"));
}

void
LoginMain::delete_ntp_server(const IPv4& server)
{
    system("/etc/init.d/ntp stop");

    string kept;
    // A file that can't be read whole, or written whole, is left as it was.
    // A missing one holds no server, so there is nothing to delete.
    bool done = !read_ntp_servers_except(kNtpServers, "server " + server.str(),
                                        kept)
        ? errno == ENOENT
        : room_to_replace(kNtpServers, kept.size())
          && write_ntp_file("wb", kept);
    start_ntp_and_report(done);
}
