// Running the firewall tools for the access operations, and saying when they
// did not do what was asked.

#ifndef LOGIN_ACCESS_FIREWALL_COMMANDS_HH
#define LOGIN_ACCESS_FIREWALL_COMMANDS_HH

#include <string>

// Runs `command` through system() and returns its status.
int run_firewall_command(const std::string& command);

// True when the command ran and exited with 0.
bool command_succeeded(int status);

// The tool's own exit status, or -1 when no shell could run it.
int command_exit_status(int status);

// The tools' exit status for a rule to delete that is not in the chain.
const int kNoSuchRuleStatus = 1;

// Logs `reason` at error level, in the name of `function`.
void log_access_error(const char* function, int line, const std::string& reason);

#endif // LOGIN_ACCESS_FIREWALL_COMMANDS_HH
