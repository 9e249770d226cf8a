// -*- c++ -*-
// Stand-ins for the switch's hardware library. Each call appends one line
// naming itself to the vela log (/var/log/sandbox/vela_common.log when that
// directory exists; the environment variable VELA_COMMON_LOG overrides the
// path), so tests can see which hardware jobs ran.
#ifndef VELA_VELA_COMMON_HH
#define VELA_VELA_COMMON_HH

#include <list>
#include <string>

// Runs `program` with `args` (fork/execv, no shell, no PATH search) and waits
// for it. Returns its exit status, or -1 when it cannot be run or did not
// exit normally. The two flags are accepted and not used.
int execute_command(const std::string& program, const std::list<std::string>& args,
                    bool, bool);

void fan_controller();
void rpsu_controller();
void syslog_rpsu_info();
void syslog_sfp_info();

#endif  // VELA_VELA_COMMON_HH
