// -*- c++ -*-
#ifndef LIBXORP_IPV4NET_HH
#define LIBXORP_IPV4NET_HH

#include "libxorp/ipnet.hh"
#include "libxorp/ipv4.hh"

typedef IPNet<IPv4> IPv4Net;

#endif  // LIBXORP_IPV4NET_HH
