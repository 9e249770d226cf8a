// A daemon's objects built as run_login builds them, with helpers to read the
// command journal and the INPUT chain. Only for tests inside scripts/sandbox.

#ifndef LOGIN_TESTS_UNIT_DAEMON_DAEMON_FIXTURE_HH
#define LOGIN_TESTS_UNIT_DAEMON_DAEMON_FIXTURE_HH

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "libxorp/eventloop.hh"
#include "libxorp/xlog.h"
#include "libxipc/xrl_std_router.hh"

#include "core/login_main.hh"
#include "xrl/xrl_login_target.hh"

namespace daemon_test {

const char JOURNAL[] = "/var/log/sandbox/commands.log";

// The lines of a stream, without their newlines.
inline std::vector<std::string> lines_of(FILE* f)
{
    std::vector<std::string> lines;
    char buf[4096];
    while (f != nullptr && fgets(buf, sizeof(buf), f) != nullptr)
        lines.push_back(std::string(buf, strcspn(buf, "\n")));
    return lines;
}

// Lines of the journal (or another record) since it was last cleared.
inline std::vector<std::string> journal(const char* path = JOURNAL)
{
    std::unique_ptr<FILE, int (*)(FILE*)> f(fopen(path, "r"), fclose);
    return f ? lines_of(f.get()) : std::vector<std::string>();
}

inline void clear_journal() { fclose(fopen(JOURNAL, "w")); }

// The rules of INPUT as iptables prints them, policy line left out.
inline std::vector<std::string> input_chain()
{
    std::unique_ptr<FILE, int (*)(FILE*)> p(
        popen("/sbin/iptables -S INPUT | grep -v '^-P '", "r"), pclose);
    return lines_of(p.get());
}

// Collects the lines the daemon writes to its log while it lives.
class LogCapture {
public:
    LogCapture() { xlog_add_output_func(&LogCapture::collect, this); }
    ~LogCapture() { xlog_remove_output_func(&LogCapture::collect, this); }
    const std::vector<std::string>& lines() const { return _lines; }
    void clear() { _lines.clear(); }

private:
    static int collect(void* obj, xlog_level_t, const char* msg)
    {
        static_cast<LogCapture*>(obj)->_lines.push_back(msg);
        return 0;
    }
    std::vector<std::string> _lines;
};

// Each test starts from an empty INPUT chain and journal. No finder runs.
class DaemonTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(0, system("/sbin/iptables -F INPUT"));
        clear_journal();
        errno = 0;
    }

    // On the test's own loop, or another (e.g. one driven by a virtual clock).
    void build() { build(_eventloop); }
    void build(EventLoop& loop)
    {
        _router.reset(new XrlStdRouter(loop, "login", false));
        _login.reset(new LoginMain(*_router));
        _target.reset(new XrlLoginTarget(*_router, *_login));
    }

    // Before the members of a derived fixture (its own loop) go.
    void TearDown() override
    {
        _target.reset();
        _login.reset();
        _router.reset();
    }

    EventLoop                       _eventloop;
    std::unique_ptr<XrlStdRouter>   _router;
    std::unique_ptr<LoginMain>      _login;
    std::unique_ptr<XrlLoginTarget> _target;
};

} // namespace daemon_test

#endif // LOGIN_TESTS_UNIT_DAEMON_DAEMON_FIXTURE_HH
