// -*- c-basic-offset: 4; tab-width: 8; indent-tabs-mode: t -*-

// 32-bit numbers in network byte order, as the wire formats carry them.

#ifndef __LIBXIPC_BIG_ENDIAN_HH__
#define __LIBXIPC_BIG_ENDIAN_HH__

#include <cstdint>

inline uint32_t
get_u32(const char* p)
{
    const unsigned char* u = reinterpret_cast<const unsigned char*>(p);
    return (uint32_t(u[0]) << 24) | (uint32_t(u[1]) << 16)
	| (uint32_t(u[2]) << 8) | uint32_t(u[3]);
}

inline void
put_u32(char* p, uint32_t v)
{
    p[0] = char(v >> 24);
    p[1] = char(v >> 16);
    p[2] = char(v >> 8);
    p[3] = char(v);
}

#endif // __LIBXIPC_BIG_ENDIAN_HH__
