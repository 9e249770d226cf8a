// run_login: the four long-lived objects of the process, on its stack.

#include "core/login_module.h"

#include "libxorp/xorp.h"
#include "libxorp/eventloop.hh"
#include "libxipc/xrl_std_router.hh"

#include "core/login_main.hh"
#include "core/run_login.hh"
#include "xrl/xrl_login_target.hh"

void
run_login()
{
    EventLoop eventloop;
    XrlStdRouter xrl_router(eventloop, "login", false);
    // Already installs the limit rules; a failure here reaches main.
    LoginMain login_main(xrl_router);
    login_main.clear_stale_shadow_work_file();
    login_main.finish_class_move();
    XrlLoginTarget xrl_login_target(xrl_router, login_main);

    while (!xrl_router.ready())
        eventloop.run();

    xrl_login_target.register_all_classes();
    xrl_router.set_finder_reconnected_callback(
        callback(&xrl_login_target, &XrlLoginTarget::finder_reconnected));

    while (login_main.is_running())
        eventloop.run();
}
