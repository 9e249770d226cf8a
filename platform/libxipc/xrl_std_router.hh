// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-
//
// XrlStdRouter: the router a daemon makes.  The finder is at 127.0.0.1:19999
// unless the environment names another (XORP_FINDER_SERVER_ADDRESS,
// XORP_FINDER_SERVER_PORT) or the constructor is given one.

#ifndef __LIBXIPC_XRL_STD_ROUTER_HH__
#define __LIBXIPC_XRL_STD_ROUTER_HH__

#include "libxipc/finder_constants.hh"
#include "libxipc/xrl_router.hh"

class XrlStdRouter : public XrlRouter {
public:
    // The bool is XORP's choice of a unix-socket transport between
    // processes; here the environment's XORP_PF decides (unix sockets
    // unless it is "t"), so it is unused.
    XrlStdRouter(EventLoop& e, const char* class_name, bool unix_socket = true);
    XrlStdRouter(EventLoop& e, const char* class_name, const char* finder_addr,
		 bool unix_socket = true);
    XrlStdRouter(EventLoop& e, const char* class_name, const char* finder_addr,
		 uint16_t finder_port, bool unix_socket = true);
};

#endif // __LIBXIPC_XRL_STD_ROUTER_HH__
