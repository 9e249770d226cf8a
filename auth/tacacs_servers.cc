// The TACACS+ server list and the liveness pass. tacacs_server.sh is always
// told every configured server; /tmp/system/tac_live_servers holds only the
// ones that answered their latest ping, and is rewritten only when that set
// changed (or after a delete, or on the first pass).

#include "core/login_module.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "libxorp/xorp.h"
#include "libxorp/xlog.h"
#include "libxorp/c_format.hh"

#include "core/login_main.hh"

static const char TAC_LIVE_FILE[] = "/tmp/system/tac_live_servers";

// "server=A server=B " in the set's (byte) order; empty for an empty set.
static string
server_list_text(const set<string>& servers)
{
    string text;
    for (set<string>::const_iterator i = servers.begin();
         i != servers.end(); ++i)
        text += "server=" + *i + " ";
    return text;
}

static void
log_tac_live_warning(int line, const char* format)
{
    char where[8000];
    snprintf(where, 8000, "+%d %s %s", line, "login_main.cc", "tac_live");
    xlog_warning("LOGIN", where, format, TAC_LIVE_FILE);
}

// Writes the live-server file under a whole-file lock. False only when the
// file can't be opened.
static bool
write_live_servers(const string& text)
{
    umask(0);
    int fd = open(TAC_LIVE_FILE, O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (fd < 0) {
        log_tac_live_warning(__LINE__, "Open %s error.");
        return false;
    }
    struct flock lock;
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = 0;
    lock.l_len = 0;
    if (fcntl(fd, F_SETLKW, &lock) == -1)
        log_tac_live_warning(__LINE__, "Could not lock %s.");
    if (!text.empty()) {
        ssize_t written = write(fd, text.data(), text.size());
        UNUSED(written);
    }
    lock.l_type = F_UNLCK;
    if (fcntl(fd, F_SETLKW, &lock) == -1)
        log_tac_live_warning(__LINE__, "Could not unlock %s.");
    close(fd);
    return true;
}

int
LoginMain::tac_ping(struct in_addr address)
{
    string command = c_format(
        "ping -c 3 -i 0.2 -w 1 %s|grep '100%% packet loss'|wc -l",
        inet_ntoa(address));
    FILE* output = popen(command.c_str(), "r");
    if (output == NULL)
        return -1;
    int count = 0;
    if (fscanf(output, "%d", &count) != 1)
        count = 0;
    pclose(output);
    return count > 0 ? -1 : 0;
}

bool
LoginMain::tac_live()
{
    for (set<string>::const_iterator i = _tacacs_servers.begin();
         i != _tacacs_servers.end(); ++i) {
        struct in_addr address;
        if (inet_aton(i->c_str(), &address) == 0)
            continue;
        if (tac_ping(address) == 0) {
            if (_tacacs_live_servers.insert(*i).second)
                _tacacs_live_changed = true;
        } else {
            if (_tacacs_live_servers.erase(*i) != 0)
                _tacacs_live_changed = true;
        }
    }
    string text = server_list_text(_tacacs_live_servers);
    if (!_tacacs_live_changed)
        return true;
    // Still marked changed on failure, so that the next pass writes the file.
    if (!write_live_servers(text))
        return false;
    _tacacs_live_changed = false;
    return true;
}

void
LoginMain::set_tacacs_server(const IPv4& server)
{
    _tacacs_servers.insert(server.str());
    tac_live();
    system(("/vela/bin/shell/tacacs_server.sh "
            + server_list_text(_tacacs_servers)).c_str());
}

void
LoginMain::delete_tacacs_server(const IPv4& server)
{
    _tacacs_servers.erase(server.str());
    _tacacs_live_servers.erase(server.str());
    _tacacs_live_changed = true;
    tac_live();
    string text = server_list_text(_tacacs_servers);
    if (text.empty())
        text = "server=0.0.0.0 ";
    system(("/vela/bin/shell/tacacs_server.sh " + text).c_str());
}
