// Collects the lines the daemon writes to its log while it lives.

#ifndef LOGIN_TESTS_UNIT_DAEMON_LOG_CAPTURE_HH
#define LOGIN_TESTS_UNIT_DAEMON_LOG_CAPTURE_HH

#include <string>
#include <vector>

#include "libxorp/xlog.h"

namespace daemon_test {

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

} // namespace daemon_test

#endif // LOGIN_TESTS_UNIT_DAEMON_LOG_CAPTURE_HH
