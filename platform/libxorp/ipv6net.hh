// -*- c++ -*-
#ifndef LIBXORP_IPV6NET_HH
#define LIBXORP_IPV6NET_HH

#include "libxorp/ipnet.hh"
#include "libxorp/ipv6.hh"

typedef IPNet<IPv6> IPv6Net;

#endif  // LIBXORP_IPV6NET_HH
