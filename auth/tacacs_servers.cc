// The TACACS+ server list and the liveness pass. tacacs_server.sh is always
// told every configured server; /tmp/system/tac_live_servers holds only the
// ones that answered their latest ping, and is rewritten only when that set
// changed (or after a delete, or on the first pass). A pass runs on the loop
// (auth/tac_live_pass.cc); the file is written when it ends.

#include "core/login_module.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "libxorp/xorp.h"
#include "libxorp/xlog.h"
#include "libxorp/c_format.hh"

#include "libxorp/eventloop.hh"
#include "libxipc/xrl_std_router.hh"

#include "auth/tac_live_pass.hh"
#include "core/login_main.hh"
#include "core/safe_file.hh"

static const char TAC_LIVE_FILE[] = "/tmp/system/tac_live_servers";
// 30 tries 100 ms apart: the password-files lock's budget.
static const int kLockTries = 30;

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

enum class LiveFile { kWritten, kNotOpened, kNotLocked };

// Replaces the content of the live-server file with `text`, under a write
// lock. The file is opened without following a link, only in a directory
// closed to others, readable by all and writable by root only. The lock is
// waited for about 3 s at most, since anyone who can read the file can hold
// it; without it nothing is written and the old content stays whole.
static LiveFile
write_live_servers(const string& text)
{
    int fd = open_safe_file(TAC_LIVE_FILE, O_WRONLY | O_CREAT, 0644);
    if (fd < 0) {
        log_tac_live_warning(__LINE__, "Open %s error.");
        return LiveFile::kNotOpened;
    }
    if (!lock_whole_file(fd, kLockTries)) {
        log_tac_live_warning(__LINE__, "Could not lock %s.");
        close(fd);
        return LiveFile::kNotLocked;
    }
    if (ftruncate(fd, 0) == 0 && !text.empty()) {
        ssize_t written = write(fd, text.data(), text.size());
        UNUSED(written);
    }
    if (!unlock_whole_file(fd))
        log_tac_live_warning(__LINE__, "Could not unlock %s.");
    close(fd);
    return LiveFile::kWritten;
}

bool
LoginMain::tac_live()
{
    if (_tac_pass && _tac_pass->running()) {
        // Never two passes at once: one more follows this one.
        _tac_pass_again = true;
        return true;
    }
    vector<string> servers;
    for (set<string>::const_iterator i = _tacacs_servers.begin();
         i != _tacacs_servers.end(); ++i) {
        struct in_addr address;
        if (inet_aton(i->c_str(), &address) != 0)
            servers.push_back(*i);
    }
    // The pass that ended may be the caller: it is kept until the next start.
    _tac_spent_pass = std::move(_tac_pass);
    _tac_pass.reset(new TacLivePass(_xrl_router.eventloop(), servers,
                                    [this] { tac_live_done(); }));
    // A failed write is tried again by the next pass: the timer goes on.
    return true;
}

void
LoginMain::tac_live_done()
{
    vector<string> servers = _tac_pass->servers();
    for (vector<string>::const_iterator i = servers.begin();
         i != servers.end(); ++i) {
        // Deleted while the pass ran: already out of both sets.
        if (_tacacs_servers.count(*i) == 0)
            continue;
        if (_tac_pass->is_live(*i)) {
            if (_tacacs_live_servers.insert(*i).second)
                _tacacs_live_changed = true;
        } else {
            if (_tacacs_live_servers.erase(*i) != 0)
                _tacacs_live_changed = true;
        }
    }
    write_live_servers_if_changed();
    if (_tac_pass_again) {
        _tac_pass_again = false;
        tac_live();
    }
}

void
LoginMain::write_live_servers_if_changed()
{
    // Still marked changed on failure (not opened, or not locked in time), so
    // that the next pass writes the file.
    if (_tacacs_live_changed
        && write_live_servers(server_list_text(_tacacs_live_servers))
               == LiveFile::kWritten)
        _tacacs_live_changed = false;
}

bool
LoginMain::tac_pass_running() const
{
    return _tac_pass && _tac_pass->running();
}

void
LoginMain::set_tacacs_server(const IPv4& server)
{
    _tacacs_servers.insert(server.str());
    // The script first: its line comes before the pass's in every case, also
    // when the pass has to wait for one under way.
    system(("/vela/bin/shell/tacacs_server.sh "
            + server_list_text(_tacacs_servers)).c_str());
    tac_live();
}

void
LoginMain::delete_tacacs_server(const IPv4& server)
{
    _tacacs_servers.erase(server.str());
    _tacacs_live_servers.erase(server.str());
    _tacacs_live_changed = true;
    string text = server_list_text(_tacacs_servers);
    if (text.empty())
        text = "server=0.0.0.0 ";
    system(("/vela/bin/shell/tacacs_server.sh " + text).c_str());
    tac_live();
}
