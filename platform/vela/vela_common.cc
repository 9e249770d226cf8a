#include "vela/vela_common.hh"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

const char kDefaultLog[] = "/var/log/sandbox/vela_common.log";
const char kDefaultLogDir[] = "/var/log/sandbox";

// Appends one line to the vela log, if there is one to write to.
void record(const std::string& line)
{
    int saved_errno = errno;  // the daemon looks at errno after these calls
    const char* path = getenv("VELA_COMMON_LOG");
    if (path == nullptr || *path == '\0') {
        struct stat st;
        if (stat(kDefaultLogDir, &st) != 0 || !S_ISDIR(st.st_mode)) {
            errno = saved_errno;
            return;
        }
        path = kDefaultLog;
    }
    FILE* fp = fopen(path, "a");
    if (fp != nullptr) {
        fprintf(fp, "%s\n", line.c_str());
        fclose(fp);
    }
    errno = saved_errno;
}

}  // namespace

namespace {

int run_program(const std::string& program, const std::list<std::string>& args)
{
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(program.c_str()));
    for (const std::string& a : args)
        argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);

    fflush(nullptr);  // no buffered output may be written twice by the child
    pid_t pid = fork();
    if (pid < 0)
        return -1;
    if (pid == 0) {
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR)
            return -1;
    }
    if (!WIFEXITED(status))
        return -1;
    // 127 is what the child gives when execv failed.
    if (WEXITSTATUS(status) == 127 && access(program.c_str(), X_OK) != 0)
        return -1;
    return WEXITSTATUS(status);
}

}  // namespace

int execute_command(const std::string& program, const std::list<std::string>& args, bool,
                    bool)
{
    std::string line = "execute_command " + program;
    for (const std::string& a : args)
        line += " " + a;
    record(line);

    int saved_errno = errno;
    int status = run_program(program, args);
    errno = saved_errno;
    return status;
}

void fan_controller()
{
    record("fan_controller");
}

void rpsu_controller()
{
    record("rpsu_controller");
}

void syslog_rpsu_info()
{
    record("syslog_rpsu_info");
}

void syslog_sfp_info()
{
    record("syslog_sfp_info");
}
