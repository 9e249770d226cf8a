// XrlSender: anything that can send an XRL and report its answer later.

#ifndef __LIBXIPC_XRL_SENDER_HH__
#define __LIBXIPC_XRL_SENDER_HH__

#include "libxorp/xorp.h"
#include "libxorp/callback.hh"
#include "libxipc/xrl.hh"
#include "libxipc/xrl_args.hh"
#include "libxipc/xrl_error.hh"

class XrlSender {
public:
    // Called once with the outcome; the XrlArgs* holds the reply's values
    // and is null when the call failed.
    typedef XorpCallback2<void, const XrlError&, XrlArgs*>::RefPtr Callback;

    virtual ~XrlSender() {}

    // False when the XRL cannot be sent at all; the callback is then never
    // called.
    virtual bool send(const Xrl& xrl, const Callback& cb) = 0;

    // True while answers are still outstanding.
    virtual bool pending() const { return false; }
};

typedef XrlSender::Callback XrlCallback;

#endif // __LIBXIPC_XRL_SENDER_HH__
