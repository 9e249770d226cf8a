// run_login: builds the daemon's objects, turns the event loop while the
// daemon runs, and tears them down in reverse order.

#ifndef LOGIN_CORE_RUN_LOGIN_HH
#define LOGIN_CORE_RUN_LOGIN_HH

// Lets a LoginException from the construction of LoginMain pass to main.
void run_login();

#endif // LOGIN_CORE_RUN_LOGIN_HH
