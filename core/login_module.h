// Module identity of the daemon, for the log layer. Included first.

#ifndef LOGIN_CORE_LOGIN_MODULE_H
#define LOGIN_CORE_LOGIN_MODULE_H

#ifndef XORP_MODULE_NAME
#define XORP_MODULE_NAME "LOGIN"
#endif
#ifndef XORP_MODULE_VERSION
#define XORP_MODULE_VERSION "0.1"
#endif

#endif // LOGIN_CORE_LOGIN_MODULE_H
