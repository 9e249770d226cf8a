// The process entry of the daemon.

#include "core/login_module.h"

#include <getopt.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>

#include "libxorp/xorp.h"
#include "libxorp/xlog.h"

#include "core/login_exception.hh"
#include "core/run_login.hh"

static void
usage(FILE* to, const char* argv0)
{
    fprintf(to,
            "Usage: %s [-h|--help]\n"
            "Runs the system-administration daemon of the switch: registers "
            "the XRL target\n\"login\" with the finder "
            "(XORP_FINDER_SERVER_ADDRESS, XORP_FINDER_SERVER_PORT)\n"
            "and applies each XRL it receives to the system.\n", argv0);
}

int
main(int argc, char* argv[])
{
    // Options are read before anything is built: a wrong one changes nothing.
    static const struct option opts[] = {
        { "help", no_argument, NULL, 'h' },
        { NULL, 0, NULL, 0 }
    };
    int ch;
    while ((ch = getopt_long(argc, argv, "h", opts, NULL)) != -1) {
        if (ch == 'h') {
            usage(stdout, argv[0]);
            return 0;
        }
        usage(stderr, argv[0]);
        return 2;
    }
    if (optind != argc) {
        usage(stderr, argv[0]);
        return 2;
    }
    // Every command and script the daemon starts, and whatever they create,
    // gets the normal mask, whatever mask the daemon was started with.
    umask(022);

    xlog_init(argv[0], NULL);
    xlog_set_verbose(XLOG_VERBOSE_LOW);
    xlog_add_default_output();
    xlog_start();

    try {
        run_login();
    } catch (const LoginException& e) {
        char where[8000];
        snprintf(where, 8000, "+%d %s %s", __LINE__, "login_main.cc",
                 __FUNCTION__);
        xlog_fatal("LOGIN", where, "LoginException: %s", e.str().c_str());
    }

    // Both paths end here: the exit value is always 0.
    xlog_stop();
    xlog_exit();
    exit(0);
}
