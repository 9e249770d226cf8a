// NTP servers: the file /etc/ntp-server is the list, one "server ADDRESS"
// line per server. Each change stops the ntp service and starts it again;
// adding a server also sets both clocks from it once.

#include "core/login_module.h"

#include <cstdio>
#include <cstdlib>
#include <list>

#include "libxorp/xorp.h"

#include "core/login_main.hh"
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

}  // namespace

void
LoginMain::set_ntp_server(const IPv4& server)
{
    system("/etc/init.d/ntp stop");
    system(("ntpdate " + server.str()).c_str());
    system("hwclock -w -u");

    FILE* file = fopen(kNtpServers, "a");
    if (file != NULL) {
        string line = "server " + server.str() + "\n";
        fwrite(line.data(), 1, line.size(), file);
        fclose(file);
    }
    start_ntp();
}

void
LoginMain::delete_ntp_server(const IPv4& server)
{
    system("/etc/init.d/ntp stop");

    string kept;
    // A file that can't be read whole, or written whole, is left as it was.
    if (read_ntp_servers_except(kNtpServers, "server " + server.str(),
                                kept)
        && room_to_replace(kNtpServers, kept.size())) {
        FILE* file = fopen(kNtpServers, "wb");
        if (file != NULL) {
            fwrite(kept.data(), 1, kept.size(), file);
            fclose(file);
        }
    }
    start_ntp();
}
