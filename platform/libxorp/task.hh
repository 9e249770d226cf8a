// -*- c++ -*-
// Priorities of timers and I/O callbacks. A lower number runs first.
#ifndef LIBXORP_TASK_HH
#define LIBXORP_TASK_HH

#include "libxorp/callback.hh"

class XorpTask {
public:
    static const int PRIORITY_HIGHEST = 0;
    static const int PRIORITY_XRL_KEEPALIVE = 1;
    static const int PRIORITY_HIGH = 2;
    static const int PRIORITY_DEFAULT = 4;
    static const int PRIORITY_BACKGROUND = 7;
    static const int PRIORITY_LOWEST = 9;
    static const int PRIORITY_INFINITY = 255;
    static const int WEIGHT_DEFAULT = 1;
};

typedef XorpCallback0<void>::RefPtr OneoffTaskCallback;
typedef XorpCallback0<bool>::RefPtr RepeatedTaskCallback;

#endif  // LIBXORP_TASK_HH
