// The process entry of the daemon.

#include "core/login_module.h"

#include <sys/stat.h>

#include "libxorp/xorp.h"
#include "libxorp/xlog.h"

#include "core/login_exception.hh"
#include "core/run_login.hh"

int
main(int argc, char* argv[])
{
    UNUSED(argc);
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
