/* -*- c++ -*- */
/* Process states, as answered by common/0.1/get_status. */
#ifndef LIBXORP_STATUS_CODES_H
#define LIBXORP_STATUS_CODES_H

typedef enum {
    PROC_NULL = 0,
    PROC_STARTUP = 1,
    PROC_NOT_READY = 2,
    PROC_READY = 3,
    PROC_SHUTDOWN = 4,
    PROC_FAILED = 5,
    PROC_DONE = 6
} ProcessStatus;

#endif /* LIBXORP_STATUS_CODES_H */
