// XrlCmdMap: the handlers a process offers, by command "iface/version/method".

#ifndef __LIBXIPC_XRL_CMD_MAP_HH__
#define __LIBXIPC_XRL_CMD_MAP_HH__

#include "libxorp/xorp.h"
#include "libxorp/callback.hh"
#include "libxipc/xrl.hh"
#include "libxipc/xrl_args.hh"
#include "libxipc/xrl_error.hh"

typedef const XrlCmdError XrlCmdRT;
typedef XrlArgs* XrlCmdOT;

// A handler reads the call's arguments and adds the reply's to the XrlArgs*.
typedef XorpCallback2<const XrlCmdError, const XrlArgs&, XrlArgs*>::RefPtr
    XrlRecvSyncCallback;

class XrlCmdEntry {
public:
    XrlCmdEntry(const std::string& name, const XrlRecvSyncCallback& cb)
        : _name(name), _cb(cb) {}

    const std::string& name() const { return _name; }
    const XrlRecvSyncCallback& callback() const { return _cb; }

private:
    std::string         _name;
    XrlRecvSyncCallback _cb;
};

class XrlCmdMap {
public:
    explicit XrlCmdMap(const std::string& name = "anonymous");
    virtual ~XrlCmdMap();

    const std::string& name() const { return _name; }

    // False (and nothing changes) for a duplicate command or an empty callback.
    virtual bool add_handler(const std::string& cmd,
                             const XrlRecvSyncCallback& cb);
    virtual bool remove_handler(const std::string& cmd);

    const XrlCmdEntry* get_handler(const std::string& cmd) const;
    size_t count_handlers() const { return _cmds.size(); }
    void get_command_names(std::list<std::string>& names) const;  // sorted

    // Called once every handler of a target is in; a router overrides it to
    // announce the handlers.
    virtual void finalize();
    bool finalized() const { return _finalized; }

    // Runs the handler of `command` with `in`, its results going to `out`
    // (cleared first, and again if the handler fails). NO_SUCH_METHOD for an
    // unknown command. errno is 0 when the handler starts; exceptions from
    // the handler are not caught.
    XrlError dispatch(const std::string& command, const XrlArgs& in,
                      XrlArgs* out) const;
    XrlError dispatch(const Xrl& xrl, XrlArgs* out) const;
    // dispatch() of a handler found already by get_handler().
    XrlError dispatch(const XrlCmdEntry& entry, const XrlArgs& in,
                      XrlArgs* out) const;

    // Changes with every handler added or removed: an entry of
    // get_handler() stays valid while this stays the same.
    uint64_t generation() const { return _generation; }

private:
    XrlCmdMap(const XrlCmdMap&) = delete;
    XrlCmdMap& operator=(const XrlCmdMap&) = delete;

    std::string                        _name;
    std::map<std::string, XrlCmdEntry> _cmds;
    bool                               _finalized;
    uint64_t                           _generation = 0;
};

#endif // __LIBXIPC_XRL_CMD_MAP_HH__
