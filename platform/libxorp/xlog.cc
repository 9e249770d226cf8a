#include "libxorp/xlog.h"

#include <sys/time.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "libxorp/c_format.hh"

namespace {

const int kLevels = XLOG_LEVEL_MAX + 1;  // level numbers 0..6
const size_t kMaxOutputs = 10;
const uint32_t kFacilities = 24;         // syslog facility codes 0..23

const char* const kLevelWords[kLevels] = {
    "FATAL", "ERROR", "WARNING", "INFO", "TRACE", "RTRMGR_ONLY_NO_PREAMBLE", "MAX",
};

const char* const kFacilityNames[kFacilities] = {
    "kern",   "user",   "mail",   "daemon", "auth",   "syslog", "lpr",    "news",
    "uucp",   "cron",   "authpriv", "ftp",  "ntp",    "security", "console", "clock",
    "local0", "local1", "local2", "local3", "local4", "local5", "local6", "local7",
};

struct Output {
    FILE* fp;                 // a stream, or
    xlog_output_func_t func;  // a function with its object, or
    void* obj;
    bool syslog;              // the system log
};

struct State {
    bool initialised = false;
    bool running = false;
    bool writing = false;  // guards against an output function that logs
    std::string process;
    std::string preamble;
    int enabled[kLevels] = {};
    int verbose[kLevels] = {};
    uint32_t facility = LOG_USER >> 3;
    std::vector<Output> outputs;
};

State& state()
{
    static State s;
    return s;
}

bool valid_level(int level)
{
    return level >= 0 && level < kLevels;
}

int syslog_priority(int level)
{
    switch (level) {
    case XLOG_LEVEL_FATAL: return LOG_CRIT;
    case XLOG_LEVEL_ERROR: return LOG_ERR;
    case XLOG_LEVEL_WARNING: return LOG_WARNING;
    case XLOG_LEVEL_INFO: return LOG_INFO;
    default: return LOG_DEBUG;
    }
}

std::string vformat(const char* fmt, va_list ap)
{
    va_list copy;
    va_copy(copy, ap);
    char small[512];
    int len = vsnprintf(small, sizeof(small), fmt, copy);
    va_end(copy);
    if (len < 0)
        return std::string();
    if (static_cast<size_t>(len) < sizeof(small))
        return std::string(small, len);
    std::vector<char> big(static_cast<size_t>(len) + 1);
    vsnprintf(big.data(), big.size(), fmt, ap);
    return std::string(big.data(), len);
}

std::string make_line(int level, const char* category, const char* where,
                      const std::string& message)
{
    State& s = state();
    std::string cat = category != nullptr ? category : "";
    std::string pos = where != nullptr ? where : "";
    std::string line;
    switch (s.verbose[level]) {
    case XLOG_VERBOSE_LOW:
        line = c_format("[ %s %s %s %s ] ", xlog_localtime2string(), kLevelWords[level],
                        s.process.c_str(), cat.c_str());
        break;
    case XLOG_VERBOSE_MEDIUM:
        line = c_format("[ %s %s %s %s %s ] ", xlog_localtime2string(), s.preamble.c_str(),
                        kLevelWords[level], s.process.c_str(), cat.c_str());
        break;
    case XLOG_VERBOSE_HIGH:
        // The position goes inside the brackets, where XORP puts file:line function.
        line = c_format("[ %s %s %s %s:%d %s %s ] ", xlog_localtime2string(),
                        s.preamble.c_str(), kLevelWords[level], s.process.c_str(),
                        static_cast<int>(getpid()), cat.c_str(), pos.c_str());
        pos.clear();
        break;
    default:  // no preamble at all
        pos.clear();
        break;
    }
    if (!pos.empty())
        line += pos + " ";
    line += message;
    if (line.empty() || line.back() != '\n')
        line += '\n';
    return line;
}

void vlog(int level, const char* category, const char* where, const char* fmt, va_list ap)
{
    State& s = state();
    if (!s.initialised || !s.running || s.writing || !valid_level(level) ||
        !s.enabled[level] || level == XLOG_LEVEL_MAX)
        return;
    int saved_errno = errno;  // logging must not disturb the caller's errno
    s.writing = true;
    std::string line = make_line(level, category, where, vformat(fmt, ap));
    for (size_t i = 0; i < s.outputs.size();) {
        Output& o = s.outputs[i];
        if (o.fp != nullptr) {
            fputs(line.c_str(), o.fp);
            fflush(o.fp);
        } else if (o.syslog) {
            std::string text = line.substr(0, line.size() - 1);
            syslog(LOG_MAKEPRI(s.facility << 3, syslog_priority(level)), "%s", text.c_str());
        } else if (o.func(o.obj, static_cast<xlog_level_t>(level), line.c_str()) < 0) {
            s.outputs.erase(s.outputs.begin() + i);
            continue;
        }
        i++;
    }
    s.writing = false;
    errno = saved_errno;
}

int add_output(const Output& o)
{
    State& s = state();
    if (s.outputs.size() >= kMaxOutputs)
        return -1;
    s.outputs.push_back(o);
    return 0;
}

template <class Match>
int remove_output(Match match)
{
    State& s = state();
    for (size_t i = 0; i < s.outputs.size(); i++) {
        if (match(s.outputs[i])) {
            s.outputs.erase(s.outputs.begin() + i);
            return 0;
        }
    }
    return -1;
}

}  // namespace

extern "C" {

int xlog_init(const char* argv0, const char* preamble_message)
{
    State& s = state();
    if (s.initialised)
        return -1;
    s.initialised = true;
    s.running = false;
    const char* base = argv0 != nullptr ? strrchr(argv0, '/') : nullptr;
    s.process = base != nullptr ? base + 1 : (argv0 != nullptr ? argv0 : "");
    s.preamble = preamble_message != nullptr ? preamble_message : "";
    for (int l = 0; l < kLevels; l++) {
        s.enabled[l] = 1;
        s.verbose[l] = XLOG_VERBOSE_LOW;
    }
    s.verbose[XLOG_LEVEL_FATAL] = XLOG_VERBOSE_HIGH;
    return 0;
}

int xlog_exit(void)
{
    State& s = state();
    if (!s.initialised)
        return -1;
    if (s.running)
        xlog_stop();
    s = State();
    return 0;
}

int xlog_start(void)
{
    State& s = state();
    if (!s.initialised || s.running)
        return -1;
    s.running = true;
    return 0;
}

int xlog_stop(void)
{
    State& s = state();
    if (!s.running)
        return -1;
    s.running = false;
    return 0;
}

int xlog_is_running(void)
{
    return state().running ? 1 : 0;
}

int xlog_enable(int level)
{
    if (!valid_level(level))
        return -1;
    state().enabled[level] = 1;
    return 0;
}

int xlog_disable(int level)
{
    if (!valid_level(level) || level == XLOG_LEVEL_FATAL)
        return -1;
    state().enabled[level] = 0;
    return 0;
}

int xlog_get_level_enabled(int level)
{
    return valid_level(level) && state().enabled[level] ? 1 : 0;
}

void xlog_set_verbose(int verbose)
{
    for (int l = XLOG_LEVEL_FATAL + 1; l < kLevels; l++)
        xlog_level_set_verbose(l, verbose);
}

void xlog_level_set_verbose(int level, int verbose)
{
    if (valid_level(level) && verbose >= XLOG_VERBOSE_LOW && verbose < XLOG_VERBOSE_MAX)
        state().verbose[level] = verbose;
}

void xlog_set_preamble(const char* preamble)
{
    state().preamble = preamble != nullptr ? preamble : "";
}

const char* xlog_process_name(void)
{
    return state().process.c_str();
}

int xlog_set_facility(uint32_t facility)
{
    if (facility >= kFacilities)
        return -1;
    state().facility = facility;
    return 0;
}

uint32_t xlog_get_facility(void)
{
    return state().facility;
}

int xlog_add_output(FILE* fp)
{
    if (fp == nullptr)
        return -1;
    return add_output(Output{fp, nullptr, nullptr, false});
}

int xlog_remove_output(FILE* fp)
{
    return remove_output([fp](const Output& o) { return o.fp != nullptr && o.fp == fp; });
}

int xlog_add_output_func(xlog_output_func_t func, void* obj)
{
    if (func == nullptr)
        return -1;
    return add_output(Output{nullptr, func, obj, false});
}

int xlog_remove_output_func(xlog_output_func_t func, void* obj)
{
    return remove_output(
        [func, obj](const Output& o) { return o.func == func && o.obj == obj; });
}

int xlog_add_default_output(void)
{
    return xlog_add_output(stderr);
}

int xlog_remove_default_output(void)
{
    return xlog_remove_output(stderr);
}

int xlog_add_syslog_output(const char* syslogspec)
{
    if (syslogspec == nullptr)
        return -1;
    std::string name(syslogspec);
    name = name.substr(0, name.find('.'));
    for (uint32_t f = 0; f < kFacilities; f++) {
        if (name == kFacilityNames[f]) {
            if (add_output(Output{nullptr, nullptr, nullptr, true}) < 0)
                return -1;
            state().facility = f;
            openlog(state().process.c_str(), LOG_PID | LOG_NDELAY | LOG_CONS, f << 3);
            return 0;
        }
    }
    return -1;
}

int xlog_remove_syslog_output(void)
{
    if (remove_output([](const Output& o) { return o.syslog; }) < 0)
        return -1;
    closelog();
    return 0;
}

#define XLOG_ENTRY(_name, _level)                                               \
    void _name(const char* category, const char* where, const char* fmt, ...)   \
    {                                                                           \
        va_list ap;                                                             \
        va_start(ap, fmt);                                                      \
        vlog(_level, category, where, fmt, ap);                                 \
        va_end(ap);                                                             \
    }

XLOG_ENTRY(xlog_fatal, XLOG_LEVEL_FATAL)
XLOG_ENTRY(xlog_error, XLOG_LEVEL_ERROR)
XLOG_ENTRY(xlog_warning, XLOG_LEVEL_WARNING)
XLOG_ENTRY(xlog_info, XLOG_LEVEL_INFO)
XLOG_ENTRY(xlog_trace, XLOG_LEVEL_TRACE)

void _xlog_with_level(int level, const char* category, int line, const char* file,
                      const char* function, const char* fmt, ...)
{
    char where[8000];
    snprintf(where, sizeof(where), "+%d %s %s", line, file, function);
    va_list ap;
    va_start(ap, fmt);
    vlog(level, category, where, fmt, ap);
    va_end(ap);
}

// The stamps are wall-clock time: with a 32-bit time_t they would go wrong in
// January 2038 (32-bit machines build with _TIME_BITS=64).
static_assert(sizeof(time_t) == 8, "the log's time stamps need a 64-bit time_t");

const char* xlog_localtime2string(void)
{
    timeval tv;
    gettimeofday(&tv, nullptr);
    return xlog_time2string(&tv);
}

const char* xlog_time2string(const struct timeval* tvp)
{
    static char buf[96];
    const timeval& tv = *tvp;
    time_t secs = tv.tv_sec;
    struct tm tm;
    localtime_r(&secs, &tm);
    size_t n = strftime(buf, sizeof(buf), "%Y/%m/%d %H:%M:%S", &tm);
    snprintf(buf + n, sizeof(buf) - n, ".%lu", static_cast<unsigned long>(tv.tv_usec));
    return buf;
}

}  // extern "C"
