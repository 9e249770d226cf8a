// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-

#include "libxipc/xrl_std_router.hh"

#include <cstdlib>

const char*
finder_env_address()
{
    const char* v = getenv("XORP_FINDER_SERVER_ADDRESS");
    return (v != NULL && *v != '\0') ? v : FinderConstants::FINDER_DEFAULT_HOST();
}

uint16_t
finder_env_port()
{
    const char* v = getenv("XORP_FINDER_SERVER_PORT");
    if (v != NULL && *v != '\0') {
	long p = strtol(v, NULL, 10);
	if (p > 0 && p < 65536)
	    return static_cast<uint16_t>(p);
    }
    return FinderConstants::FINDER_DEFAULT_PORT();
}

XrlStdRouter::XrlStdRouter(EventLoop& e, const char* class_name, bool)
    : XrlRouter(e, class_name, finder_env_address(), finder_env_port())
{
}

XrlStdRouter::XrlStdRouter(EventLoop& e, const char* class_name,
			   const char* finder_addr, bool)
    : XrlRouter(e, class_name, finder_addr, finder_env_port())
{
}

XrlStdRouter::XrlStdRouter(EventLoop& e, const char* class_name,
			   const char* finder_addr, uint16_t finder_port, bool)
    : XrlRouter(e, class_name, finder_addr, finder_port)
{
}
