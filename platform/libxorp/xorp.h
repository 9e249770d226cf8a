// -*- c++ -*-
// Common base header of every XORP-style source file: standard headers,
// the std namespace at global scope, status values and small helpers.
#ifndef LIBXORP_XORP_H
#define LIBXORP_XORP_H

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "libxorp/utility.h"

// XORP code writes string, map, list... without the prefix.
using namespace std;

#define XORP_OK 0
#define XORP_ERROR (-1)

// Base class that forbids copying, as XORP's NONCOPYABLE.
class xorp_noncopyable {
protected:
    xorp_noncopyable() = default;
    ~xorp_noncopyable() = default;

public:
    xorp_noncopyable(const xorp_noncopyable&) = delete;
    xorp_noncopyable& operator=(const xorp_noncopyable&) = delete;
};
#define NONCOPYABLE xorp_noncopyable

#endif  // LIBXORP_XORP_H
