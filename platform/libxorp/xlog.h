/* -*- c++ -*- */
/*
 * xlog: the process log. Lines look like
 *   [ 2026/11/22 22:41:55.8529 INFO login LOGIN ] +120 login_main.cc fn message
 * (LOW verbosity: time, level, process, category, then the position prefix
 * and the message). MEDIUM adds the preamble; HIGH adds the preamble and the
 * pid, and puts the position prefix inside the brackets. FATAL is always HIGH.
 * Levels are numbers 0 (fatal) to 6; fatal cannot be disabled.
 */
#ifndef LIBXORP_XLOG_H
#define LIBXORP_XLOG_H

#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    XLOG_LEVEL_MIN = 0,
    XLOG_LEVEL_FATAL = 0,
    XLOG_LEVEL_ERROR = 1,
    XLOG_LEVEL_WARNING = 2,
    XLOG_LEVEL_INFO = 3,
    XLOG_LEVEL_TRACE = 4,
    XLOG_LEVEL_RTRMGR_ONLY_NO_PREAMBLE = 5,
    XLOG_LEVEL_MAX = 6
} xlog_level_t;

typedef enum {
    XLOG_VERBOSE_LOW = 0,
    XLOG_VERBOSE_MEDIUM = 1,
    XLOG_VERBOSE_HIGH = 2,
    XLOG_VERBOSE_RTRMGR_ONLY_NO_PREAMBLE = 3,
    XLOG_VERBOSE_MAX = 4
} xlog_verbose_t;

/* Gets each whole line (with its '\n'); a result < 0 removes the output. */
typedef int (*xlog_output_func_t)(void* obj, xlog_level_t level, const char* msg);

/* Process name = basename of argv0; all levels enabled, verbosity LOW
 * (FATAL HIGH). -1 if already initialised. */
int xlog_init(const char* argv0, const char* preamble_message);
/* Back to the state before xlog_init: outputs gone, every level disabled. */
int xlog_exit(void);
/* Lines are written only between xlog_start and xlog_stop. */
int xlog_start(void);
int xlog_stop(void);
int xlog_is_running(void);

/* Level numbers 0..6; -1 for others, and for disabling 0 (fatal). */
int xlog_enable(int level);
int xlog_disable(int level);
/* 1 if that level number is enabled, else 0 (also for unknown numbers). */
int xlog_get_level_enabled(int level);

/* Verbosity of every level but FATAL. */
void xlog_set_verbose(int verbose);
void xlog_level_set_verbose(int level, int verbose);
void xlog_set_preamble(const char* preamble);
const char* xlog_process_name(void);

/* Syslog facility code 0..23 (kern=0, user=1 ... local0=16 ... local7=23),
 * used by syslog outputs from now on. -1 (and no change) for other numbers. */
int xlog_set_facility(uint32_t facility);
uint32_t xlog_get_facility(void);

/* At most 10 outputs of all kinds. */
int xlog_add_output(FILE* fp);
int xlog_remove_output(FILE* fp);
int xlog_add_output_func(xlog_output_func_t func, void* obj);
int xlog_remove_output_func(xlog_output_func_t func, void* obj);
/* The process's standard error stream. */
int xlog_add_default_output(void);
int xlog_remove_default_output(void);
/* "facility" or "facility.priority" (priority ignored: it follows the level);
 * the facility becomes the current one. */
int xlog_add_syslog_output(const char* syslogspec);
int xlog_remove_syslog_output(void);

/* One line at the level, if the level is enabled and the log is running.
 * `where` is the caller's position prefix ("+%d %s %s": line file function).
 * xlog_fatal writes its line and returns. */
void xlog_fatal(const char* category, const char* where, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));
void xlog_error(const char* category, const char* where, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));
void xlog_warning(const char* category, const char* where, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));
void xlog_info(const char* category, const char* where, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));
void xlog_trace(const char* category, const char* where, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));

/* Entry point of the XLOG_* macros; the position prefix is made from
 * line, file and function. */
void _xlog_with_level(int level, const char* category, int line, const char* file,
                      const char* function, const char* fmt, ...)
    __attribute__((format(printf, 6, 7)));

/* "YYYY/MM/DD HH:MM:SS.usec" of now, in a static buffer. */
const char* xlog_localtime2string(void);

/* The same text for the local time `tv`, in the same buffer. */
struct timeval;
const char* xlog_time2string(const struct timeval* tv);

#ifdef __cplusplus
}
#endif

/* Category of the XLOG_* macros: the module's name if it has one. */
#if defined(XORP_MODULE_NAME)
#define XLOG_CATEGORY_NAME XORP_MODULE_NAME
#elif defined(XORP_LIBRARY_NAME)
#define XLOG_CATEGORY_NAME XORP_LIBRARY_NAME
#else
#define XLOG_CATEGORY_NAME "XORP"
#endif

#define XLOG_FATAL(...) \
    _xlog_with_level(XLOG_LEVEL_FATAL, XLOG_CATEGORY_NAME, __LINE__, __FILE__, __func__, __VA_ARGS__)
#define XLOG_ERROR(...) \
    _xlog_with_level(XLOG_LEVEL_ERROR, XLOG_CATEGORY_NAME, __LINE__, __FILE__, __func__, __VA_ARGS__)
#define XLOG_WARNING(...) \
    _xlog_with_level(XLOG_LEVEL_WARNING, XLOG_CATEGORY_NAME, __LINE__, __FILE__, __func__, __VA_ARGS__)
#define XLOG_INFO(...) \
    _xlog_with_level(XLOG_LEVEL_INFO, XLOG_CATEGORY_NAME, __LINE__, __FILE__, __func__, __VA_ARGS__)
#define XLOG_TRACE(flag, ...)                                                          \
    do {                                                                               \
        if (flag)                                                                      \
            _xlog_with_level(XLOG_LEVEL_TRACE, XLOG_CATEGORY_NAME, __LINE__, __FILE__, \
                             __func__, __VA_ARGS__);                                   \
    } while (0)

#endif /* LIBXORP_XLOG_H */
