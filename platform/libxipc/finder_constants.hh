// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-
//
// Where the finder is, unless told otherwise.

#ifndef __LIBXIPC_FINDER_CONSTANTS_HH__
#define __LIBXIPC_FINDER_CONSTANTS_HH__

#include <cstdint>

struct FinderConstants {
    static const char* FINDER_DEFAULT_HOST() { return "127.0.0.1"; }
    static uint16_t FINDER_DEFAULT_PORT() { return 19999; }
};

// The finder's address and port: the environment's
// XORP_FINDER_SERVER_ADDRESS / XORP_FINDER_SERVER_PORT, else the defaults.
const char* finder_env_address();
uint16_t finder_env_port();

#endif // __LIBXIPC_FINDER_CONSTANTS_HH__
